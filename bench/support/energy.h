// The field energy of a finished run, from the files it leaves: what a time is worth depends on it.
#pragma once

#include <cstdint>
#include <filesystem>

namespace tarnel_bench
{

struct solved_energy {
    bool axisymmetric;
    std::int32_t unknowns;
    double of_sources; // half the product of right-hand side and solution
    double of_fields;  // sum over the elements of area . B . H / 2, axisymmetric times the centre's radius
};

// Planar [J/m], axisymmetric by radian [J]. Without magnets and with A = 0 on the border, half the work of the sources
// is the energy of the field, exactly so in the discrete system. The element results give the same in the plane, where
// B is constant in an element; in axisymmetric geometry, where it is not, they come near it.
//   errors  std::runtime_error for a file that is missing or does not fit the others
solved_energy energy_of_run(const std::filesystem::path& directory);

} // namespace tarnel_bench
