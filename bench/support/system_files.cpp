#include "support/system_files.h"

#include "common/records.h"
#include "support/measured_run.h"

#include <cmath>
#include <fstream>
#include <stdexcept>

namespace tarnel_bench
{

static std::ifstream open_file(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("can't open " + path.string());
    return in;
}

template <class T> static void read_run(std::ifstream& in, T* to, std::size_t count)
{
    in.read(reinterpret_cast<char*>(to), static_cast<std::streamsize>(count * sizeof(T)));
    if (!in) throw std::runtime_error("a file of the assembled system is short");
}

static std::int32_t read_count(std::ifstream& in)
{
    std::int32_t count = 0;
    read_run(in, &count, 1);
    return count;
}

static void must_equal(std::int32_t value, std::int32_t expected)
{
    if (value != expected) throw std::runtime_error("the files of the assembled system do not fit each other");
}

std::size_t couplings(const assembled_system& system)
{
    return system.column.size() - static_cast<std::size_t>(system.n);
}

assembled_system read_system(const std::filesystem::path& directory)
{
    assembled_system system;
    std::ifstream index = open_file(directory / tarnel::index_file);
    std::ifstream matrix = open_file(directory / tarnel::matrix_file);
    std::ifstream vector = open_file(directory / tarnel::vector_file);
    system.n = read_count(index);
    must_equal(read_count(matrix), system.n);
    must_equal(read_count(vector), system.n);
    system.start.push_back(0);
    for (std::int32_t i = 0; i < system.n; ++i) {
        const std::int32_t terms = read_count(index);
        must_equal(read_count(matrix), terms);
        const std::size_t at = system.column.size();
        system.column.resize(at + static_cast<std::size_t>(terms));
        system.value.resize(system.column.size());
        read_run(index, system.column.data() + at, static_cast<std::size_t>(terms));
        read_run(matrix, system.value.data() + at, static_cast<std::size_t>(terms));
        system.start.push_back(static_cast<std::int32_t>(system.column.size()));
    }
    system.right_side.resize(static_cast<std::size_t>(system.n));
    read_run(vector, system.right_side.data(), system.right_side.size());
    return system;
}

void scale_to_unit_diagonal(assembled_system& system)
{
    const auto n = static_cast<std::size_t>(system.n);
    std::vector<double> d(n);
    for (std::size_t i = 0; i < n; ++i) d[i] = 1.0 / std::sqrt(system.value[static_cast<std::size_t>(system.start[i])]);
    for (std::size_t i = 0; i < n; ++i) {
        system.right_side[i] *= d[i];
        const auto first = static_cast<std::size_t>(system.start[i]);
        system.value[first] = 1.0;
        for (std::size_t t = first + 1; t < static_cast<std::size_t>(system.start[i + 1]); ++t)
            system.value[t] *= d[i] * d[static_cast<std::size_t>(system.column[t])];
    }
}

full_matrix both_triangles(const assembled_system& system)
{
    const auto n = static_cast<std::size_t>(system.n);
    full_matrix full;
    full.start.assign(n + 1, 0);
    for (std::size_t i = 0; i < n; ++i) {
        full.start[i + 1] += system.start[i + 1] - system.start[i];
        for (std::int32_t t = system.start[i] + 1; t < system.start[i + 1]; ++t)
            ++full.start[static_cast<std::size_t>(system.column[static_cast<std::size_t>(t)]) + 1];
    }
    for (std::size_t i = 0; i < n; ++i) full.start[i + 1] += full.start[i];
    full.column.resize(static_cast<std::size_t>(full.start[n]));
    full.value.resize(full.column.size());
    std::vector<std::int32_t> next(full.start.begin(), full.start.end() - 1);
    const auto put = [&](std::size_t row, std::int32_t column, double value) {
        const auto at = static_cast<std::size_t>(next[row]++);
        full.column[at] = column;
        full.value[at] = value;
    };
    // Row j takes its lower columns from the rows above it, which come first: all columns ascend.
    for (std::size_t i = 0; i < n; ++i)
        for (std::int32_t t = system.start[i]; t < system.start[i + 1]; ++t) {
            const auto at = static_cast<std::size_t>(t);
            put(i, system.column[at], system.value[at]);
            if (t > system.start[i])
                put(static_cast<std::size_t>(system.column[at]), static_cast<std::int32_t>(i), system.value[at]);
        }
    return full;
}

double energy_of(const assembled_system& system, std::span<const double> solution)
{
    double sum = 0;
    for (std::size_t i = 0; i < system.right_side.size(); ++i) sum += system.right_side[i] * solution[i];
    return 0.5 * sum;
}

double energy_of(const assembled_system& system, const std::filesystem::path& solution_file)
{
    std::ifstream in = open_file(solution_file);
    must_equal(read_count(in), system.n);
    std::vector<double> solution(static_cast<std::size_t>(system.n));
    read_run(in, solution.data(), solution.size());
    return energy_of(system, solution);
}

reference run_for_files(const std::filesystem::path& directory)
{
    const std::optional<reference> expected = read_reference(directory);
    if (!expected) throw std::runtime_error("it is not a reference model");
    run_measured(directory);
    checked_energy_error(energy_of_run(directory), *expected);
    return *expected;
}

} // namespace tarnel_bench
