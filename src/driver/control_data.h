#pragma once

#include "common/control.h"
#include "common/streams.h"

namespace tarnel
{

// Reads "at-cntl-data.txt" into the control record, line by line:
//   limits; switches; time step; solver; its parameters (not for the skyline solver); zero threshold; family 3.
//   errors  those of the data lines, "no. of parameters is illegal."
void read_control_data(control& cntl, input_file& in, std::FILE* log);

// Reads "t-dimension-data.txt", the geometry kind alone.
void read_dimension_data(control& cntl, input_file& in, std::FILE* log);

} // namespace tarnel
