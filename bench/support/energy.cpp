// The files are read through as they stand, value by value: a large process here would show in the memory of the runs
// that it starts.
#include "support/energy.h"

#include "common/records.h"

#include <fstream>
#include <stdexcept>
#include <string>

namespace tarnel_bench
{

class file_of_values
{
public:
    file_of_values(const std::filesystem::path& directory, const char* name)
        : name_(name), in_(directory / name, std::ios::binary)
    {
    }
    template <class T> T next()
    {
        T value{};
        if (!in_.read(reinterpret_cast<char*>(&value), sizeof value))
            throw std::runtime_error("can't read " + name_ + " of the run");
        return value;
    }

private:
    std::string name_;
    std::ifstream in_;
};

static void must_be(bool so, const char* what)
{
    if (!so) throw std::runtime_error(what);
}

static bool is_axisymmetric(const std::filesystem::path& directory)
{
    int iax = -1;
    std::ifstream(directory / tarnel::dimension_text) >> iax;
    must_be(iax == 0 || iax == 1, "the geometry of the run is unknown");
    return iax == 1;
}

solved_energy energy_of_run(const std::filesystem::path& directory)
{
    solved_energy energy{};
    file_of_values vector(directory, tarnel::vector_file), solution(directory, tarnel::solution_file);
    energy.unknowns = solution.next<std::int32_t>();
    must_be(vector.next<std::int32_t>() == energy.unknowns, "right-hand side and solution differ in length");
    for (std::int32_t i = 0; i < energy.unknowns; ++i)
        energy.of_sources += 0.5 * vector.next<double>() * solution.next<double>();

    energy.axisymmetric = is_axisymmetric(directory);
    file_of_values results(directory, tarnel::felm_results_file), areas(directory, tarnel::areas_file);
    file_of_values centres(directory, tarnel::centres_file);
    while (const auto noe = areas.next<std::int32_t>()) {
        const auto area = areas.next<double>();
        const auto result = results.next<tarnel::felm_result_record>();
        must_be(result.noe == noe && centres.next<std::int32_t>() == noe, "the element files differ");
        const auto radius = centres.next<double>();
        centres.next<double>();
        centres.next<double>();
        const double b_h = result.b[0] * result.h[0] + result.b[1] * result.h[1];
        energy.of_fields += 0.5 * area * b_h * (energy.axisymmetric ? radius : 1.0);
    }
    return energy;
}

} // namespace tarnel_bench
