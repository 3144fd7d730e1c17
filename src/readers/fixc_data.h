#pragma once

#include "common/control.h"
#include "common/streams.h"

#include <algorithm>
#include <cstdint>

namespace tarnel
{

struct fixc_data_files {
    input_file& text;        // "at-fixc-data.txt"
    output_file& conditions; // "at-fixc-data.tmp"
};

// Section a of the fixed conditions ends within this many lines, or records.
inline std::int32_t edge_section_limit(const control& cntl)
{
    return std::max(cntl.maxedg, 1);
}

// Reads the fixed conditions and writes them field by field: section a, pair records that are carried for the host
// alone, then section f, node number, prescribed potential [Wb/m], independent node (0 for none) and coefficient.
//   errors  those of the data lines, a section without an end line, "(w-a1)" to "(w-a6)", "(w-f1)" to "(w-f4)"
void at_rd_fixc_data(control cntl, fixc_data_files files, std::FILE* log);

} // namespace tarnel
