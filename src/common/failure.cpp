#include "common/failure.h"

#include <algorithm>
#include <cstdarg>
#include <utility>

namespace tarnel
{

static void make_sure(std::FILE* log, bool arrived)
{
#if defined(_WIN32)
    arrived = std::fflush(log) == 0 && arrived; // there buffering by lines is full buffering
#endif
    if (!arrived || std::ferror(log) != 0) {
        std::fputs("      Error. in tarnel.log(w).\n", stdout);
        throw run_ended{};
    }
}

[[gnu::format(printf, 2, 0)]] static void write_lines(std::FILE* log, const char* lines, std::va_list values)
{
    make_sure(log, std::vfprintf(log, lines, values) >= 0);
}

void log_lines(std::FILE* log, const char* lines, ...)
{
    std::va_list values;
    va_start(values, lines);
    write_lines(log, lines, values);
    va_end(values);
}

void gather_line(gathered_lines& lines, std::size_t work, const char* line, ...)
{
    constexpr std::size_t longest = 1000;        // characters
    constexpr std::size_t much_work = 1U << 20U; // unknowns: some hundredth of a second
    if (sizeof lines.text - lines.filled <= longest) hand_over(lines);
    std::va_list values;
    va_start(values, line);
    const int length = std::vsnprintf(lines.text + lines.filled, longest + 1, line, values);
    va_end(values);
    if (length < 0) make_sure(lines.log, false);
    lines.filled += std::min(static_cast<std::size_t>(length), longest);
    lines.work += work;
    if (lines.work >= much_work) hand_over(lines);
}

void hand_over(gathered_lines& lines)
{
    const std::size_t filled = std::exchange(lines.filled, 0);
    lines.work = 0;
    if (filled > 0) make_sure(lines.log, std::fwrite(lines.text, 1, filled, lines.log) == filled);
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
