// How the log of a run that ended itself ends.
#pragma once

#include <string_view>

namespace tarnel_test
{

inline bool is_error_line(std::string_view line)
{
    return line.starts_with("      Error. ") || line.starts_with("  Error. ");
}

// Whether the last lines are an error and what belongs to it: detail lines, and the echo of a text line, which may hold
// any byte.
inline bool ends_with_message(std::string_view log)
{
    bool message = false;
    while (!log.empty()) {
        const std::size_t newline = log.find('\n');
        const std::string_view line = log.substr(0, newline);
        if (is_error_line(line))
            message = true;
        else if (message && line.starts_with("             at line : "))
            return newline == std::string_view::npos || newline + 1 == log.size();
        else if (!line.starts_with("             "))
            message = false;
        if (newline == std::string_view::npos) return false;
        log.remove_prefix(newline + 1);
    }
    return message;
}

// Whether a line begins so.
inline bool has_line(std::string_view log, std::string_view start)
{
    for (std::size_t at = 0; at < log.size();) {
        if (log.substr(at).starts_with(start)) return true;
        const std::size_t newline = log.find('\n', at);
        if (newline == std::string_view::npos) return false;
        at = newline + 1;
    }
    return false;
}

inline bool has_error(std::string_view log)
{
    return has_line(log, "      Error. ") || has_line(log, "  Error. ");
}

inline bool has_refused_allocation(std::string_view log)
{
    return has_line(log, "      Error. Can't allocate (");
}

} // namespace tarnel_test
