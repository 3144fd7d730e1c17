// Work files of the skyline solver: one a block of consecutive columns, named by "t-skylin.txt". A file holds a header
// and then one record a column:
//   header  int32 matdiv (number of blocks), block from 0, first column, one past the last column
//   record  int32 height, int32 address in the block's array, then height doubles, the diagonal first, going up
// Before the factorisation a column's terms are a_ij; after it the pivot d_j and above it the factor u_ij.
#pragma once

#include "common/arrays.h"
#include "common/streams.h"

#include <cstdint>

namespace tarnel
{

struct skyline_setup {
    std::int32_t work_length = 0;       // of the array that holds a block [doubles]
    std::int32_t max_matdiv = 0;        // names that follow, the largest number of blocks
    growing_array<char> names;          // each ends with a zero byte
    growing_array<std::size_t> name_at; // place of each block's name
};

// Reads "t-skylin.txt" and logs each name.
//   errors  the file cannot be opened; the first line; too few names; a name longer than the file says
skyline_setup read_skyline_setup(std::FILE* log);

struct block_header {
    std::int32_t matdiv = 0, block = 0, first = 0, end = 0;
};
static_assert(sizeof(block_header) == 16);

// Opens and announces the file of a block.
//   errors  "file no. exceeds the limit. im = %d", from 1; "Can't open the work file for sky-line." and its number
void open_block(std::FILE* log, const skyline_setup& setup, std::int32_t block, input_file& file);
void create_block(std::FILE* log, const skyline_setup& setup, std::int32_t block, output_file& file);

// Says which item of a header is wrong, and ends the run.
[[noreturn]] void fail_in_header(std::FILE* log, const char* tag);

// Reads a header and checks its block number and bounds; with `matdiv` above 0 the number of blocks as well.
//   errors  "(r1)" short, "(r2)" matdiv, "(r3)" block, "(r4)" first column, "(r5)" end column
block_header read_header(std::FILE* log, input_file& file, std::int32_t block, std::int32_t matdiv, std::int32_t ndim);

// What a column record must agree with.
struct column_expectation {
    std::int32_t height = 0;   // 0: any
    std::int32_t address = -1; // -1: any
    std::int32_t running = -1; // address at which the columns before end; -1: any
};

struct column_record {
    std::int32_t height, address;
};

// Checks the two integers of the record of column j.
//   name    of the file, as messages call it
//   errors  "(r2)" height outside 1 .. j + 1 or not the expected one; "(r3)" address negative or not the
//           expected one; "(r4)" not the running address; "(r5)" beyond the work array
void check_column(std::FILE* log, const char* name, column_record column, std::int32_t j, std::int32_t work_length,
                  const column_expectation& expected);

// Reads the two integers of the record of column j and checks them.
//   errors  "(r1)" short; those of check_column
column_record read_column_head(std::FILE* log, input_file& file, std::int32_t j, std::int32_t work_length,
                               const column_expectation& expected);

// Reads the terms of a column, or passes over them.
//   errors  "(r6)"
void read_column_terms(std::FILE* log, input_file& file, double* to, std::int32_t height);
void skip_column_terms(std::FILE* log, input_file& file, std::int32_t height);

// A block in memory as it stands in its file, in doubles.
inline constexpr std::int32_t header_room = 2, head_room = 1;

// Puts a header at the start of a block's image, and the head of a record in the place before its terms.
void put_header(double* image, const block_header& header);
void put_column_head(double* terms, column_record column);

// Writes a block from its image of `length` doubles, one column at least. The first `cleared` of them become zeros,
// piece by piece, while what was written is still in cache.
//   errors  at the end of the piece of the stream's buffer that the system refused: "(w1)" the integers, "(w2)" the
//           terms of a column
void write_image(std::FILE* log, output_file& file, double* image, std::size_t length, std::size_t cleared);

} // namespace tarnel
