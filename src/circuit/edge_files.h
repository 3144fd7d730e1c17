// Numbered files of the circuit edges, and the direction in which an edge acts on an element.
#pragma once

#include "circuit/volt_files.h"
#include "readers/lcs.h"

#include <cstdarg>
#include <cstdio>

namespace tarnel
{

struct edge_file_name {
    char text[file_name_characters];
};

// A formatted print, cut at the buffer's size.
[[gnu::format(printf, 2, 3)]] inline void t_sprintf(char (&buffer)[file_name_characters], const char* format, ...)
{
    std::va_list values;
    va_start(values, format);
    std::vsnprintf(buffer, sizeof buffer, format, values);
    va_end(values);
}

// The file of an edge, counted from 1; the number takes five digits or more.
inline edge_file_name edge_vector_name(std::int32_t edge)
{
    edge_file_name name;
    t_sprintf(name.text, "t-femr-vector-%05d.tmp", edge);
    return name;
}
inline edge_file_name edge_solution_name(std::int32_t edge)
{
    edge_file_name name;
    t_sprintf(name.text, "t-femr-solution-%05d.tmp", edge);
    return name;
}

// The direction of a voltage source in global components at an element's centre.
//   errors  "lnon no. over the limit."; "lcs_data not defined."
inline void global_direction(const control& cntl, const lcs_table& systems, const conductor& source,
                             const double centre[3], double direction[3], std::FILE* log)
{
    for (int c = 0; c < 3; ++c) direction[c] = source.nvect[c];
    if (source.lnon < 0 || source.lnon > cntl.maxprp)
        fail(log,
             "      Error. lnon no. over the limit.\n"
             "             nop = %d novlt = %d lnon = %d \n",
             source.nop, source.novlt, source.lnon);
    if (source.lnon > 0) t_lcs_vector(direction, centre, cntl.eps_zero, t_get_lcs(systems, source.lnon, log));
}

} // namespace tarnel
