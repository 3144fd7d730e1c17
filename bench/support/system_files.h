// The assembled system that a run leaves, as the peers take it.
#pragma once

#include "support/reference.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace tarnel_bench
{

// Upper triangle by rows, diagonal first, columns ascending.
struct assembled_system {
    std::int32_t n = 0;
    std::vector<std::int32_t> start;  // n + 1
    std::vector<std::int32_t> column; // from 0
    std::vector<double> value;
    std::vector<double> right_side;
};

// Couplings, each counted once.
std::size_t couplings(const assembled_system& system);

//   errors  std::runtime_error for files that are missing or do not fit each other
assembled_system read_system(const std::filesystem::path& directory);

// Scales a system to a unit diagonal: a_ij d_i d_j and b_i d_i with d_i = 1 / sqrt(a_ii). The product of right-hand
// side and solution is the same before and after.
void scale_to_unit_diagonal(assembled_system& system);

// Both triangles, by rows, columns ascending.
struct full_matrix {
    std::vector<std::int32_t> start, column;
    std::vector<double> value;
};
full_matrix both_triangles(const assembled_system& system);

// Half the product of right-hand side and solution.
double energy_of(const assembled_system& system, std::span<const double> solution);
//   errors  std::runtime_error for a solution file of another length
double energy_of(const assembled_system& system, const std::filesystem::path& solution_file);

// Runs the model, holds its energy against the reference and leaves its files.
//   errors  std::runtime_error when the model has no reference or another energy
reference run_for_files(const std::filesystem::path& directory);

} // namespace tarnel_bench
