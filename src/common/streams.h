// Files of a run. Each has one large buffer of ours over an unbuffered stream: small records cost a copy, long runs of
// numbers pass straight through. A short transfer is reported with the file's name and the tag of the item.
#pragma once

#include "common/arrays.h"
#include "common/failure.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <type_traits>

namespace tarnel
{

struct close_file {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using owned_file = std::unique_ptr<std::FILE, close_file>;

inline constexpr std::size_t stream_buffer_bytes = 131072;
inline constexpr std::size_t file_name_characters = 80;

struct input_file {
    owned_file stream;
    char name[file_name_characters] = {}; // as messages call it
    owned_array<char> buffer;
    std::size_t at = 0;                      // next byte of the buffer
    std::size_t filled = 0;                  // bytes in the buffer
    std::size_t piece = stream_buffer_bytes; // bytes that are asked of the system at a time
    std::size_t kept = 0;                    // bytes of the file that the buffer has room for, where they stay in it
};

struct output_file {
    owned_file stream;
    char name[file_name_characters] = {};
    const char* tag = "w"; // of the last item accepted, for a failure seen later
    owned_array<char> buffer;
    std::size_t filled = 0;
    std::uint64_t written = 0;   // bytes that the system has taken
    std::uint64_t old_bytes = 0; // of the file that is written over, whose end may still stand

    output_file() = default;
    output_file(const output_file&) = delete;
    output_file& operator=(const output_file&) = delete;
    ~output_file(); // a run that ends early leaves the file as far as it was written
};

// Opens a file for reading (binary, so that line ends are seen as they are).
//   path    in the working directory
//   name    as messages call it
//   returns false when the file cannot be opened
//   errors  "      Error. Can't allocate (stream).\n"
bool open_input(std::FILE* log, input_file& file, const char* path, const char* name);

// Opens a file for writing, a new one or one that is there; text files get the platform's line ends.
//   returns false when the file cannot be opened
//   errors  "      Error. Can't allocate (stream).\n"
enum class content { binary, text };
bool open_output(std::FILE* log, output_file& file, const char* path, const char* name, content kind);

// Removes a file, no directory, if that is possible.
void remove_file(const char* path);

// Makes up to `want` bytes (at most the buffer's size) stand in a row from file.at on; fewer only at the end of file.
//   returns the number of bytes in a row
std::size_t fill_buffer(input_file& file, std::size_t want);

// Bytes from here to the end of file; an upper bound for whatever a count in the file promises.
//   returns unknown_size for a file without an end, such as a pipe
inline constexpr std::uint64_t unknown_size = ~std::uint64_t{0};
std::uint64_t bytes_left(input_file& file);

// Lets the bytes from here on stay in the buffer, the first of them at its start, if there are any and no more than
// `most`: a file that is small is read once and looked at twice. It is read in its order from here on.
//   errors  "      Error. Can't allocate (stream).\n"
void keep_rest(std::FILE* log, input_file& file, std::size_t most);

// Goes to a place of the file, in bytes from its start; false where the system does not.
bool seek_to(input_file& file, std::uint64_t place);

// Reads n bytes; false when the file ends before.
bool read_bytes_slowly(input_file& file, void* to, std::size_t n);
inline bool read_bytes(input_file& file, void* to, std::size_t n)
{
    if (n > file.filled - file.at) return read_bytes_slowly(file, to, n);
    std::memcpy(to, file.buffer.get() + file.at, n);
    file.at += n;
    return true;
}

// Says that an item of a file could not be read or written, or is not what it must be, and ends the run.
[[noreturn]] void fail_in_file(std::FILE* log, const char* name, const char* tag);

// Reads n values of T.
//   errors  a short read: "      Error. in NAME(tag).\n"
template <class T> void read_values(std::FILE* log, input_file& file, T* to, std::size_t n, const char* tag)
{
    static_assert(std::is_trivially_copyable_v<T> && !std::is_pointer_v<T>);
    if (!read_bytes(file, to, n * sizeof(T))) fail_in_file(log, file.name, tag);
}

template <class T> T read_value(std::FILE* log, input_file& file, const char* tag)
{
    T value{};
    read_values(log, file, &value, 1, tag);
    return value;
}

// Writes n bytes.
//   errors  "      Error. in NAME(tag).\n", with the tag of the item that the system refused
void write_bytes_slowly(std::FILE* log, output_file& file, const void* from, std::size_t n);
inline void write_bytes(std::FILE* log, output_file& file, const void* from, std::size_t n, const char* tag)
{
    file.tag = tag;
    if (n > stream_buffer_bytes - file.filled) return write_bytes_slowly(log, file, from, n);
    std::memcpy(file.buffer.get() + file.filled, from, n);
    file.filled += n;
}

// Writes what `put` makes, at most `most` bytes: it is given a place and returns the end; mostly a place in the buffer.
//   errors  as for write_bytes
template <std::size_t most, class maker>
void write_made(std::FILE* log, output_file& file, const char* tag, const maker& put)
{
    if (most > stream_buffer_bytes - file.filled) {
        char aside[most];
        const char* end = put(aside);
        return write_bytes(log, file, aside, static_cast<std::size_t>(end - aside), tag);
    }
    file.tag = tag;
    const char* end = put(file.buffer.get() + file.filled);
    file.filled = static_cast<std::size_t>(end - file.buffer.get());
}

template <class T> void write_values(std::FILE* log, output_file& file, const T* from, std::size_t n, const char* tag)
{
    static_assert(std::is_trivially_copyable_v<T> && !std::is_pointer_v<T>);
    write_bytes(log, file, from, n * sizeof(T), tag);
}

// What the slow path takes the address of is a copy, so that the value itself need not stand in memory.
template <class T> void write_value(std::FILE* log, output_file& file, const T& value, const char* tag)
{
    static_assert(std::is_trivially_copyable_v<T> && !std::is_pointer_v<T>);
    if (sizeof(T) > stream_buffer_bytes - file.filled) {
        const T copy = value;
        return write_bytes(log, file, &copy, sizeof copy, tag);
    }
    file.tag = tag;
    std::memcpy(file.buffer.get() + file.filled, &value, sizeof value);
    file.filled += sizeof(T);
}

// Hands bytes to the system past the buffer, which is empty.
//   returns false where it refuses
bool pass_to_system(output_file& file, const void* from, std::size_t n);

// Hands everything to the system and cuts off what an older, longer file leaves; a stage does so before it returns.
//   errors  as for the file's last write
void flush_output(std::FILE* log, output_file& file);

// Flushes and closes, and reports what a destructor would swallow.
//   errors  as for the file's last write
void close_output(std::FILE* log, output_file& file);

} // namespace tarnel
