// Local coordinate systems: the reader of "t-lcs-data.txt", the table of systems and the turning of points and vectors
// into global components. Shared ground of the stages that work with local systems.
#pragma once

#include "common/control.h"
#include "common/number_index.h"
#include "common/records.h"
#include "common/streams.h"

namespace tarnel
{

struct lcs_data_files {
    input_file& text; // "t-lcs-data.txt"
    output_file& lcs; // "t-lcs-struct.tmp"
};

// Reads the definitions of the local systems, three points each, and writes origins and rotations.
// P0 is the origin, P1 lies on the positive local z axis, P2 in the local x-z half plane of positive x:
//   b = P1 - P0, c = b x (P2 - P0), a = c x b (b and c normalised);  x axis a, y axis c, z axis b.
//   errors  "b-vector is 0", "c-vector is 0", no end line, those of the data lines, "(w)"
void t_rd_lcs_data(control cntl, lcs_data_files files, std::FILE* log);

struct lcs_table {
    growing_array<lcs_record> systems;
    number_index index;
};

// Loads "t-lcs-struct.tmp"; the array is named lcs_data.
//   errors  "(r)", "lcs-data no. over the limit.", no end record, "Can't allocate (lcs_data)"
lcs_table t_rd_lcs_struct(const control& cntl, input_file& in, std::FILE* log);

// The system of a number.
//   errors  "      Error. lcs_data not defined. lno = %d \n"
const lcs_record& t_get_lcs(const lcs_table& table, std::int32_t lno, std::FILE* log);

// Turns a point in local coordinates into global ones, in place: origin + R p, with p = (r cos, r sin, z) in a
// cylindrical system (theta in degrees).
void t_lcs_point(double point[3], double deg2rad, const lcs_record& lcs);

// Turns a vector given at a global point into global components, in place: R v, in a cylindrical system with v the
// (radial, tangential, axial) components at that point; on the axis the radial direction is the local x axis.
//   eps  squared distance from the axis [m2] below which the point counts as lying on it
void t_lcs_vector(double vector[3], const double point[3], double eps, const lcs_record& lcs);

} // namespace tarnel
