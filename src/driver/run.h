#pragma once

#include <cstdio>

namespace tarnel
{

// One complete run in the current working directory, from the opened log to the end line.
//   errors  every failure's lines are in the log; the run unwinds with run_ended
void run_analysis(std::FILE* log);

} // namespace tarnel
