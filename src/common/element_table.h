// Element types: what each code means, in one row.
#pragma once

#include "common/failure.h"

#include <bit>
#include <cstdint>

namespace tarnel
{

enum class shape { triangle, quadrilateral };

// Shape values at the centre of the reference element, by node: the weights of its centre.
inline constexpr double third_below_one = std::bit_cast<double>(std::uint64_t{0x3FD5555555555557}); // 1 - 2/3

struct element_type {
    std::int32_t code;
    std::int32_t nodes; // corners first, then mid-side nodes
    std::int32_t corners;
    shape reference;
    double measure; // area of the reference element
    double centre_xi, centre_eta;
    double centre_weight[8];
};

inline constexpr element_type element_types[] = {
    {203, 3, 3, shape::triangle, 0.5, 1.0 / 3, 1.0 / 3, {0.3333333333333333, 0.3333333333333333, third_below_one}},
    {204, 4, 4, shape::quadrilateral, 4.0, 0, 0, {0.25, 0.25, 0.25, 0.25}},
    {206,
     6,
     3,
     shape::triangle,
     0.5,
     1.0 / 3,
     1.0 / 3,
     {-0.11111111111111112, -0.11111111111111112, -0.11111111111111108, 0.4444444444444444, 0.44444444444444453,
      0.44444444444444453}},
    {208, 8, 4, shape::quadrilateral, 4.0, 0, 0, {-0.25, -0.25, -0.25, -0.25, 0.5, 0.5, 0.5, 0.5}},
};

// Solid elements, which only a spatial model (geometry kind 2) can hold: their node counts and centre weights.
struct solid_type {
    std::int32_t code;
    std::int32_t nodes;
    double centre_weight[20];
};

inline constexpr double sixth = 1.0 / 6, two_ninths = 2.0 / 9, third = 1.0 / 3;
inline constexpr solid_type solid_types[] = {
    {304, 4, {0.25, 0.25, 0.25, 0.25}},
    {306, 6, {sixth, sixth, sixth, sixth, sixth, sixth}},
    {308, 8, {0.125, 0.125, 0.125, 0.125, 0.125, 0.125, 0.125, 0.125}},
    // (2L - 1)L and 4 L L' at L = 1/4
    {310, 10, {-0.125, -0.125, -0.125, -0.125, 0.25, 0.25, 0.25, 0.25, 0.25, 0.25}},
    // quadratic wedge at L = 1/3, zeta = 0: corners L((2L - 1) - 1)/2, edges of the triangles 2 L L', upright edges L
    {315,
     15,
     {-two_ninths, -two_ninths, -two_ninths, -two_ninths, -two_ninths, -two_ninths, two_ninths, two_ninths, two_ninths,
      two_ninths, two_ninths, two_ninths, third, third, third}},
    {320, 20, {-0.25, -0.25, -0.25, -0.25, -0.25, -0.25, -0.25, -0.25, 0.25, 0.25,
               0.25,  0.25,  0.25,  0.25,  0.25,  0.25,  0.25,  0.25,  0.25, 0.25}},
};

// The row of a type code; nullptr for a code that is no planar element.
constexpr const element_type* find_element_type(std::int32_t code)
{
    for (const element_type& type : element_types)
        if (type.code == code) return &type;
    return nullptr;
}

constexpr const solid_type* find_solid_type(std::int32_t code)
{
    for (const solid_type& type : solid_types)
        if (type.code == code) return &type;
    return nullptr;
}

// Says that an element's type is none of the table, and ends the run; `point` ends the detail line of some stages.
[[noreturn]] inline void fail_element_type(std::FILE* log, std::int32_t noe, const char* point)
{
    fail(log,
         "      Error. finite element type no. is illegal.\n"
         "             noe = %d %s\n",
         noe, point);
}

// The row of an element's type.
//   errors  those of fail_element_type
inline const element_type& element_type_of(std::FILE* log, std::int32_t code, std::int32_t noe, const char* point)
{
    const element_type* type = find_element_type(code);
    if (type == nullptr) fail_element_type(log, noe, point);
    return *type;
}

// Node counts of boundary elements; 0 for another code.
constexpr std::int32_t boundary_nodes(std::int32_t code)
{
    return code == 102 ? 2 : code == 103 ? 3 : 0;
}

// Says that an element names a node number that cannot be, and ends the run; position j from 1.
[[noreturn]] inline void fail_connection(std::FILE* log, const char* kind, std::int32_t number, std::int32_t j)
{
    fail(log,
         "      Error. %s-connection node no. over the limit.\n"
         "             element no. = %d j = %d .\n",
         kind, number, j);
}

} // namespace tarnel
