// Tables for the terminal that are Markdown too.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace tarnel_bench
{

using table_row = std::vector<std::string>;

// Prints rows of equal length, the first as the heading; `left` columns are set to the left, the others to the right.
void print_table(std::FILE* out, const std::vector<table_row>& rows, std::size_t left);

// A number with a fixed number of decimals.
std::string decimal(double value, int decimals);

// Seconds with three decimals below ten, fewer above.
std::string seconds_text(double seconds);

// An integer with commas between its thousands.
std::string grouped(long long value);

// Bytes as megabytes of a million bytes.
std::string megabytes(long long bytes);

} // namespace tarnel_bench
