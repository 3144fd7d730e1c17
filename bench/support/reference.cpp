#include "support/reference.h"

#include "reference_models.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace tarnel_bench
{

constexpr double near_tolerance = 1e-2; // where the element results only come near, see energy.h

std::optional<reference> read_reference(const std::filesystem::path& directory)
{
    std::ifstream in(directory / reference_file);
    if (!in) return {};
    reference read;
    if (!(in >> read.name >> read.size >> read.energy)) throw std::runtime_error("the model's reference is damaged");
    return read;
}

static double relative_error(double value, double expected)
{
    return std::fabs(value / expected - 1.0);
}

double checked_energy_error(double energy, const reference& expected, const char* whose)
{
    const double error = relative_error(energy, expected.energy);
    if (error < energy_tolerance) return error;
    std::fprintf(stderr, "%s: energy %.12g, expected %.12g\n", whose, energy, expected.energy);
    throw std::runtime_error("an energy is wrong: its times count for nothing");
}

double checked_energy_error(const solved_energy& energy, const reference& expected)
{
    const double error = relative_error(energy.of_sources, expected.energy);
    const double field_error = relative_error(energy.of_fields, expected.energy);
    if (!(error < energy_tolerance) || !(field_error < (energy.axisymmetric ? near_tolerance : energy_tolerance))) {
        std::fprintf(stderr, "energy %.12g of the sources, %.12g of the fields, expected %.12g\n", energy.of_sources,
                     energy.of_fields, expected.energy);
        throw std::runtime_error("the model's energy is wrong: its times count for nothing");
    }
    return error;
}

} // namespace tarnel_bench
