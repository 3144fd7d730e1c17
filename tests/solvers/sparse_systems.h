// Sparse symmetric systems made at random, for the conjugate gradients and what they are built from.
#pragma once

#include "assembly/hand_files.h"
#include "common/matrix_rows.h"

#include <cmath>
#include <random>
#include <vector>

namespace tarnel_test
{

// The upper triangle, row by row, as column and value.
struct sparse_system {
    column_lists columns;
    value_rows values;
    std::vector<double> b;
};

// A random symmetric matrix with a heavy diagonal; entries of magnitude 1, diagonals spread over six decades by a
// scaling from both sides.
inline sparse_system random_system(int n, double density, unsigned seed)
{
    std::mt19937 random(seed);
    const auto uniform = [&random] { return static_cast<double>(random()) / 4294967296.0; };
    std::vector<double> scale(static_cast<std::size_t>(n)), sum(static_cast<std::size_t>(n), 0.1);
    for (double& s : scale) s = std::pow(10.0, 3 * uniform());
    sparse_system system;
    for (int i = 0; i < n; ++i) {
        const auto row = static_cast<std::size_t>(i);
        system.columns.push_back({i});
        system.values.push_back({0});
        system.b.push_back(2 * uniform() - 1);
        for (int j = i + 1; j < n; ++j) {
            if (uniform() >= density) continue;
            const double value = 2 * uniform() - 1;
            sum[row] += std::fabs(value), sum[static_cast<std::size_t>(j)] += std::fabs(value);
            system.columns.back().push_back(j);
            system.values.back().push_back(value);
        }
    }
    for (std::size_t i = 0; i < sum.size(); ++i) {
        system.values[i][0] = sum[i];
        system.b[i] *= scale[i];
        for (std::size_t k = 0; k < system.values[i].size(); ++k)
            system.values[i][k] *= scale[i] * scale[static_cast<std::size_t>(system.columns[i][k])];
    }
    return system;
}

inline tarnel::matrix_rows flat_rows(const sparse_system& system, std::FILE* log)
{
    tarnel::matrix_rows rows;
    rows.ndim = static_cast<std::int32_t>(system.columns.size());
    std::size_t terms = 0;
    for (const auto& row : system.columns) terms += row.size();
    rows.start = tarnel::zero_array<std::int64_t>(log, "start", system.columns.size() + 1);
    rows.mindex = tarnel::zero_array<std::int32_t>(log, "mindex", terms);
    rows.amatr = tarnel::zero_array<double>(log, "amatr", terms);
    std::size_t at = 0;
    for (std::size_t i = 0; i < system.columns.size(); ++i) {
        for (std::size_t k = 0; k < system.columns[i].size(); ++k, ++at) {
            rows.mindex[at] = system.columns[i][k];
            rows.amatr[at] = system.values[i][k];
        }
        rows.start[i + 1] = static_cast<std::int64_t>(at);
    }
    return rows;
}

// A random pattern of a diagonal near 1, as after the scaling. Off-diagonals are small for odd seeds, which makes the
// matrix positive definite, and large for even ones, where every rounding shows.
inline sparse_system scaled_system(int n, double density, unsigned seed)
{
    sparse_system system = random_system(n, density, seed);
    for (auto& row : system.values) {
        row[0] = 1.0 + 0.001 * static_cast<double>(seed);
        for (std::size_t k = 1; k < row.size(); ++k) row[k] = std::sin(1e3 * row[k]) / (seed % 2 == 1 ? n : 2);
    }
    return system;
}

// A set of systems with every kind of row: full, sparse, empty, neighbours only.
inline std::vector<sparse_system> many_systems()
{
    std::vector<sparse_system> systems;
    for (unsigned seed = 1; seed <= 40; ++seed) {
        const int n = static_cast<int>(1 + seed * 7 % 61);
        systems.push_back(scaled_system(n, seed % 4 == 0 ? 1.0 : 0.05 * (1 + seed % 9), seed));
    }
    return systems;
}

// A grid of triangles, numbered row by row: three neighbours behind most nodes.
inline sparse_system grid_system(int width, int height)
{
    sparse_system system;
    const auto value = [](int i, int j) { return std::sin(1e3 * i + 7.0 * j) / 7; };
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const int i = y * width + x;
            std::vector<int> columns{i};
            if (x + 1 < width) columns.push_back(i + 1);
            if (y + 1 < height) columns.push_back(i + width);
            if (x + 1 < width && y + 1 < height) columns.push_back(i + width + 1);
            system.values.push_back({1.25});
            for (std::size_t k = 1; k < columns.size(); ++k) system.values.back().push_back(value(i, columns[k]));
            system.columns.push_back(columns);
            system.b.push_back(std::cos(0.1 * i));
        }
    return system;
}

} // namespace tarnel_test
