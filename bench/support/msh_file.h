// Triangle meshes as Gmsh writes them: MSH 2.2, text.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace tarnel_bench
{

struct point {
    double x, y; // [m]
};

struct triangle {
    std::array<std::uint32_t, 3> node; // indices from 0
    int region;                        // physical surface
};

struct mesh {
    std::vector<point> nodes;
    std::vector<triangle> triangles;
    std::vector<std::uint32_t> border; // nodes on physical lines, ascending, each once
};

// Reads the nodes, the three-node triangles and the two-node lines; nodes come in the order of the file.
//   errors  std::runtime_error for a file that is not such a mesh
mesh read_msh(const std::filesystem::path& path);

} // namespace tarnel_bench
