// Counting stand-ins for the platform's calls, linked in place of the platform's own (the linker's --wrap). While they
// are armed, a call of one kind can be made to fail, and a file can be damaged just before it is opened for reading.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace tarnel_test
{

enum class call { open, read, write, seek, close, buffer, flush, cut, remove, rename, allocate };
inline constexpr std::size_t kinds_of_call = 11;
inline constexpr const char* call_names[kinds_of_call] = {"open",  "read", "write",  "seek",   "close",   "buffer",
                                                          "flush", "cut",  "remove", "rename", "allocate"};

// A read fails with EIO; a write passes half of its bytes and then finds the disk full; a close closes and then fails;
// an open finds no descriptor left; an allocation finds no memory.
struct fault {
    call kind = call::open;
    int number = 0;       // of the call that fails, from 1; 0: none does
    bool lasting = false; // so do all later ones of its kind
};

// What befalls a file when it is opened for reading for the n-th time: an int32 put into it, or bytes that cannot be
// read any more, from a place on.
struct damage {
    char path[80] = {}; // empty: none
    int opening = 1;
    std::size_t offset = 0;
    std::int32_t value = 0;
    bool unreadable = false;
};

inline constexpr std::size_t failures_kept = 64;
inline constexpr std::int64_t place_unknown = -1;

// What a run did with the platform; in memory shared with the process that runs it.
struct platform_record {
    int calls[kinds_of_call];
    int failures;                        // calls that failed, counted once when they follow each other on a file
    char failed_path[failures_kept][80]; // empty for an allocation
    // Byte of the file that a read asked for; end of the bytes that output handed over, with that call and before.
    std::int64_t failed_place[failures_kept];
    long arrays, streams;          // allocated and not freed, opened and not closed
    std::size_t bytes, peak_bytes; // allocated, and the most that were at a time
    bool output_failed;            // a write, a flush, a cut, or the closing of a file that was written
    bool damaged;                  // the damage was done
    bool ended_itself;             // by exit; what was left then:
    long arrays_at_exit, streams_at_exit;
};

// Counts from here on, into `record`, until the process ends or disarm_platform.
void arm_platform(platform_record& record, const fault& planned, const damage& done);
void disarm_platform();

} // namespace tarnel_test
