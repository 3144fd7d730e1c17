// The two reference models, each in four sizes, with what must come out before a time counts: the mesh that Gmsh makes
// of models/NAME.geo at mesh size lc, and the field energy, on which independent programs agree to nine digits.
#pragma once

#include <cstddef>
#include <string_view>

namespace tarnel_bench
{

enum class geometry { planar = 0, axisymmetric = 1 };

struct reference_model {
    std::string_view name;
    std::string_view size; // by the order of its number of nodes
    geometry kind;
    std::string_view lc; // mesh size, as Gmsh is given it [m]
    std::size_t nodes, triangles;
    std::string_view energy; // planar [J/m], axisymmetric by radian [J]
};

inline constexpr reference_model reference_models[] = {
    {"ccore", "3k", geometry::planar, "0.00763", 2990, 5914, "33.778395577"},
    {"ccore", "30k", geometry::planar, "0.00241", 26319, 52436, "33.999106834"},
    {"ccore", "300k", geometry::planar, "0.000763", 254988, 509342, "34.042417398"},
    {"ccore", "1m", geometry::planar, "0.000418", 839588, 1678022, "34.048561116"},
    {"solenoid", "3k", geometry::axisymmetric, "0.0036", 2405, 4654, "0.023365342127"},
    {"solenoid", "30k", geometry::axisymmetric, "0.00114", 21341, 42200, "0.023626883753"},
    {"solenoid", "300k", geometry::axisymmetric, "0.00036", 205629, 409744, "0.023665251359"},
    {"solenoid", "1m", geometry::axisymmetric, "0.000197", 681457, 1360150, "0.023669187485"},
};

// The file beside a model's inputs that says what it is and what must come out: "NAME SIZE ENERGY\n".
inline constexpr const char* reference_file = "reference.txt";

} // namespace tarnel_bench
