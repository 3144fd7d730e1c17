// Lists with an end record: at most `limit` records are read until the number is 0, so that at most limit - 1 real
// records fit, and every number lies in 0 .. limit.
#pragma once

#include "common/arrays.h"
#include "common/streams.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace tarnel
{

struct record_list {
    input_file& file;
    std::int32_t limit;
    const char* number_name; // of the number that ends the list, as in "nog"
    const char* limit_name;  // as in "maxnog"
    const char* range_line;  // for a number outside 0 .. limit
    std::int32_t count = 0;  // records read
};

// Says that a list has no end within its limit, and ends the run. The tag is "r", or "r-a" for a section.
[[noreturn]] inline void fail_without_end(std::FILE* log, const char* file, const char* tag, const char* number,
                                          const char* limit)
{
    fail(log,
         "      Error. in %s(%s).\n"
         "             There is no end-data(%s=0),\n"
         "             or, %s is too small.\n",
         file, tag, number, limit);
}

// Counts a record that has been read and checks its number, the first four bytes.
inline std::int32_t checked_number(std::FILE* log, record_list& list, const void* record)
{
    ++list.count;
    std::int32_t number;
    std::memcpy(&number, record, sizeof number);
    if (number < 0 || number > list.limit) fail(log, "      Error. %s\n", list.range_line);
    return number;
}

// Reads the next record; its first four bytes are its number.
//   returns false at the end record, which is stored too
//   errors  a short read "(r)", the list's range line, or the three lines of a list without an end
template <class record> bool next_record(std::FILE* log, record_list& list, record& to)
{
    if (list.count >= list.limit) fail_without_end(log, list.file.name, "r", list.number_name, list.limit_name);
    read_values(log, list.file, &to, 1, "r");
    return checked_number(log, list, &to) != 0;
}

// The same without a copy: the record stands in the file's buffer until the next read, or in `copy` where the buffer
// holds it in parts or at an odd place.
//   returns nullptr at the end record
template <class record> const record* next_in_place(std::FILE* log, record_list& list, record& copy)
{
    if (list.count >= list.limit) fail_without_end(log, list.file.name, "r", list.number_name, list.limit_name);
    input_file& file = list.file;
    const void* at = file.buffer.get() + file.at;
    if (sizeof(record) <= file.filled - file.at && reinterpret_cast<std::uintptr_t>(at) % alignof(record) == 0) {
        file.at += sizeof(record);
    } else {
        read_values(log, file, &copy, 1, "r");
        at = &copy;
    }
    return checked_number(log, list, at) == 0 ? nullptr : static_cast<const record*>(at);
}

// Records of this size that the file can still hold, at most the limit; what arrays are sized by. 0 when the file does
// not tell: its arrays grow as it is read.
inline std::size_t record_capacity(input_file& file, std::size_t record_bytes, std::int32_t limit)
{
    const std::uint64_t bytes = bytes_left(file);
    if (bytes == unknown_size) return 0;
    return static_cast<std::size_t>(
        std::min<std::uint64_t>(bytes / record_bytes, static_cast<std::uint64_t>(std::max(limit, 0))));
}

// The lists of a run.
inline record_list node_list(input_file& file, std::int32_t maxnog)
{
    return {file, maxnog, "nog", "maxnog", "node no. over the limit."};
}
inline record_list felm_list(input_file& file, std::int32_t maxfelm)
{
    return {file, maxfelm, "noe", "maxfelm", "finite element no. over the limit."};
}
inline record_list belm_list(input_file& file, std::int32_t maxbelm)
{
    return {file, maxbelm, "nob", "maxbelm", "boundary element no. over the limit."};
}
inline record_list property_list(input_file& file, std::int32_t maxprp)
{
    return {file, maxprp, "nop", "maxprp", "prop no. over the limit."};
}
inline record_list lcs_list(input_file& file, std::int32_t maxprp)
{
    return {file, maxprp, "lno", "maxprp", "lcs-data no. over the limit."};
}

} // namespace tarnel
