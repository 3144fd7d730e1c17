// How a stage speaks to the log and how a run ends. A failure writes its lines and unwinds to the entry point, so that
// every file and array is released on the way and every stage can be called from a test.
#pragma once

#include <cstddef>
#include <cstdio>

namespace tarnel
{

// Carries nothing: the lines are in the log. The entry point alone catches it.
struct run_ended {
};

// Writes to the log and makes sure that the line arrived.
//   errors  a log that cannot be written: "      Error. in tarnel.log(w).\n" on standard output, and the run ends
// Doubles are passed as text (number_text.h): the C library's own conversion follows the host's locale.
[[gnu::format(printf, 2, 3)]] void log_lines(std::FILE* log, const char* lines, ...);

// Lines of a loop that may turn faster than the system takes lines one by one. They go to the log together: when there
// is no room for more, when a host that follows the run would begin to miss them, and when the loop hands them over.
struct gathered_lines {
    std::FILE* log;
    std::size_t work = 0; // unknowns visited since lines went to the log
    std::size_t filled = 0;
    char text[4096] = {};
};

// Adds a line (at most 1000 characters, else its end is lost) that tells of a visit of so many unknowns.
//   errors  as for log_lines
[[gnu::format(printf, 3, 4)]] void gather_line(gathered_lines& lines, std::size_t work, const char* line, ...);

// Hands what has been gathered to the log.
//   errors  as for log_lines
void hand_over(gathered_lines& lines);

// Writes the message lines and ends the run.
[[noreturn, gnu::format(printf, 2, 3)]] void fail(std::FILE* log, const char* lines, ...);

} // namespace tarnel
