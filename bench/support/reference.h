// What must come out of a reference model before a figure counts.
#pragma once

#include "support/energy.h"

#include <optional>
#include <string>

namespace tarnel_bench
{

inline constexpr double energy_tolerance = 1e-6; // relative

struct reference {
    std::string name, size;
    double energy;
};

// Of the model in a directory; nothing when it is not a reference model.
//   errors  std::runtime_error for a damaged file
std::optional<reference> read_reference(const std::filesystem::path& directory);

// How far an energy is off, relative to the reference.
//   errors  std::runtime_error beyond the tolerance; `whose` says who computed it
double checked_energy_error(double energy, const reference& expected, const char* whose);

// The same of a finished run. The energy comes out twice, by way of the assembly and by way of the results.
double checked_energy_error(const solved_energy& energy, const reference& expected);

} // namespace tarnel_bench
