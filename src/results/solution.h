// What the two result stages share: the solution's values and the heads of the text tables.
#pragma once

#include "common/arrays.h"
#include "common/records.h"
#include "common/streams.h"

#include <cstring>

namespace tarnel
{

// Reads the ndim values of "t-femr-solution.tmp" after its count. A file that cannot hold them is refused before
// anything is sized by its count.
//   errors  "(r2)", "Can't allocate (xvecr)"
inline owned_array<double> read_solution_values(input_file& in, std::int32_t ndim, std::FILE* log)
{
    const auto n = static_cast<std::size_t>(ndim);
    if (bytes_left(in) / sizeof(double) < n) fail_in_file(log, in.name, "r2");
    owned_array<double> xvecr = zero_array<double>(log, "xvecr", n);
    read_values(log, in, xvecr.get(), n, "r2");
    return xvecr;
}

inline void write_text(std::FILE* log, output_file& out, const char* text)
{
    write_bytes(log, out, text, std::strlen(text), "w");
}

// Writes the banner, the owner notice, the table's title and its column heads.
inline void write_table_head(std::FILE* log, output_file& out, const char* title, const char* columns)
{
    write_text(log, out, banner);
    write_text(log, out, owner_notice);
    write_text(log, out, title);
    write_text(log, out, columns);
}

} // namespace tarnel
