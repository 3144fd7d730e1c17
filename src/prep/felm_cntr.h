#pragma once

#include "common/control.h"
#include "common/streams.h"

namespace tarnel
{

struct felm_cntr_files {
    input_file& nodes;    // "t-nodes-struct.tmp"
    input_file& felms;    // "t-felms-struct.tmp"
    output_file& centres; // "t-felm-cntr.tmp"
};

// Writes the centre of every element [m], the point at the centre of its reference shape: int32 number and three
// doubles, without padding, then an int32 0. Planar elements have z = 0.
//   errors  the lists' own; "finite element type no. is illegal."; "(w1)" to "(w3)"
void t_set_felm_cntr(control cntl, felm_cntr_files files, std::FILE* log);

} // namespace tarnel
