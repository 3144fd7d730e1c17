#pragma once

#include "common/control.h"
#include "common/streams.h"

namespace tarnel
{

struct felm_data_files {
    input_file& text;   // "t-felm-data.txt"
    output_file& felms; // "t-felms-struct.tmp"
};

// Reads the finite elements: a head line with number, type code and property, then the node numbers, at most 8 a line.
// Writes one record an element, the end record last.
//   errors  those of the data lines, "finite element type no. is illegal.", no end line, "(w)"
void t_rd_felm_data(control cntl, felm_data_files files, std::FILE* log);

} // namespace tarnel
