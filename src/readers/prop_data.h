#pragma once

#include "common/control.h"
#include "common/streams.h"

namespace tarnel
{

struct prop_data_files {
    input_file& text;        // "at-prop-data.txt"
    output_file& properties; // "at-prop-struct.tmp"
};

// Reads the property table, five lines a property: number and switches; permeability [H/m] and conductivity [S/m]; then
// magnetisation [T], magnetisation [A/m] and source current density [A/m2], each a local system, a direction and a
// magnitude. Vectors are stored scaled; the current always flows out of the plane.
//   errors  those of the data lines, no end line, "(w)"
void at_rd_prop_data(control cntl, prop_data_files files, std::FILE* log);

} // namespace tarnel
