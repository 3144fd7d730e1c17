// How a stage speaks to the log and how a run ends. A failure writes its lines and unwinds to the entry point, so that
// every file and array is released on the way and every stage can be called from a test.
#pragma once

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

// Writes the message lines and ends the run.
[[noreturn, gnu::format(printf, 2, 3)]] void fail(std::FILE* log, const char* lines, ...);

} // namespace tarnel
