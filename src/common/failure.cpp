#include "common/failure.h"

#include <cstdarg>

namespace tarnel
{

[[gnu::format(printf, 2, 0)]] static void write_lines(std::FILE* log, const char* lines, std::va_list values)
{
    bool arrived = std::vfprintf(log, lines, values) >= 0;
#if defined(_WIN32)
    arrived = std::fflush(log) == 0 && arrived; // there buffering by lines is full buffering
#endif
    if (!arrived || std::ferror(log) != 0) {
        std::fputs("      Error. in tarnel.log(w).\n", stdout);
        throw run_ended{};
    }
}

void log_lines(std::FILE* log, const char* lines, ...)
{
    std::va_list values;
    va_start(values, lines);
    write_lines(log, lines, values);
    va_end(values);
}

void fail(std::FILE* log, const char* lines, ...)
{
    std::va_list values;
    va_start(values, lines);
    write_lines(log, lines, values);
    va_end(values);
    throw run_ended{};
}

} // namespace tarnel
