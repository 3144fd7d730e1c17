// One line of a text input: fields separated by blanks, numbers within limits. Every fault echoes the line and ends
// the run.
#pragma once

#include "common/streams.h"

#include <cstdint>
#include <cstdio>

namespace tarnel
{

inline constexpr int line_characters = 101;  // the newline counts
inline constexpr int most_fields = 10;       // of a line
inline constexpr int double_characters = 17; // of a field
inline constexpr int integer_characters = 9; // of a field
inline constexpr double any_size = 1e300;    // bound of a double without limits of its own

struct data_line {
    char text[line_characters + 11];  // a word may begin anywhere; blanks beyond the newline; not a terminated string
    std::int32_t is[most_fields + 1]; // first character of each field
    std::int32_t ie[most_fields + 1]; // one past its last; an eleventh field starts before the limit is seen
    std::int32_t naprm;               // fields found
};

// Reads the next line and finds its fields; the carriage return of a CR LF pair is dropped before anything is counted.
//   errors  end of file before a newline, more than 100 characters, more than 10 fields
void t_rd_line(data_line& line, input_file& in, std::FILE* log);

// Reads the next line, which must have exactly `fields` fields.
//   errors  those of t_rd_line; "      Error. no. of parameters is illegal.\n" with the echo
void read_line_of(data_line& line, std::int32_t fields, input_file& in, std::FILE* log);

// Field ip (from 1) as a number within its bounds, both inclusive; what the C library's scan makes of the field in the
// "C" locale.
//   errors  no such field, too many characters, no number, over the limit (a NaN too)
double t_get_dprm(const data_line& line, std::int32_t ip, double dmin, double dmax, std::FILE* log);
std::int32_t t_get_iprm(const data_line& line, std::int32_t ip, std::int32_t imin, std::int32_t imax, std::FILE* log);

// Echoes the line and ends the run.
[[noreturn]] void t_err_line(const data_line& line, std::FILE* log);

// Says that the field count is wrong, echoes the line and ends the run.
[[noreturn]] void fail_field_count(const data_line& line, std::FILE* log);

} // namespace tarnel
