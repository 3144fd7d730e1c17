// Lines as programs write them, of short plain numbers, read where they stand in the buffer. Whatever is not plain,
// out of bounds or not whole in the buffer is refused and left unread; the ways of data_line.h then say what it is.
#pragma once

#include "dataline/data_line.h"

#include <bit>
#include <cstring>

namespace tarnel
{

struct quick_line {
    const char* at;
    const char* end; // past the last place where a newline may stand
};

// Digits at the front of a word, the first character in the lowest byte.
struct leading_digits {
    int count;          // 0 to 8
    std::uint64_t word; // their values, the last in the highest byte, zeros before them
};

inline leading_digits find_leading_digits(const char* at)
{
    constexpr std::uint64_t ones = 0x0101010101010101, tops = 0x80 * ones;
    std::uint64_t word;
    std::memcpy(&word, at, sizeof word);
    word ^= '0' * ones;
    const std::uint64_t others = (((word & ~tops) + (0x80 - 10) * ones) | word) & tops; // above 9
    const int count = others == 0 ? 8 : std::countr_zero(others) / 8;
    return {count, count == 0 ? 0 : word << 8 * (8 - count)};
}

// The number that eight digits stand for, the first in the lowest byte: 10 a + b for all pairs at once, three times.
inline std::uint64_t join_eight_digits(std::uint64_t word)
{
    word = (word * 10 + (word >> 8U)) & 0x00ff00ff00ff00ff;
    word = (word * 100 + (word >> 16U)) & 0x0000ffff0000ffff;
    return (word * 10000 + (word >> 32U)) & 0xffffffff;
}

// Begins the line that comes next.
//   returns false where it may not be whole in the buffer, with room for the words that a scan takes beyond it
inline bool begin_quick_line(const input_file& in, quick_line& line)
{
    constexpr std::size_t words_beyond = 32; // fields of at most 17 characters, then a word
    if (std::endian::native != std::endian::little || in.filled - in.at < line_characters + words_beyond) return false;
    line.at = in.buffer.get() + in.at;
    line.end = line.at + line_characters;
    return true;
}

inline void skip_blanks(quick_line& line)
{
    while (line.at < line.end && *line.at == ' ') ++line.at;
}

inline bool is_blank_or_end(char c)
{
    return c == ' ' || c == '\n' || c == '\r';
}

// The next field as one to eight digits.
inline bool next_quick_integer(quick_line& line, std::int32_t least, std::int32_t most, std::int32_t& value)
{
    skip_blanks(line);
    const leading_digits digits = find_leading_digits(line.at);
    line.at += digits.count;
    value = static_cast<std::int32_t>(join_eight_digits(digits.word));
    return digits.count > 0 && is_blank_or_end(*line.at) && value >= least && value <= most;
}

// The next field as a decimal number of up to 15 digits, point and sign: digits and power of ten are exact, so that
// their one division rounds as it must.
inline bool next_quick_double(quick_line& line, double& value)
{
    constexpr std::uint64_t powers[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};
    constexpr double divisors[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    skip_blanks(line);
    const bool negative = *line.at == '-';
    if (negative) ++line.at;
    leading_digits digits = find_leading_digits(line.at);
    line.at += digits.count;
    std::uint64_t number = join_eight_digits(digits.word);
    int count = digits.count, decimals = 0;
    if (*line.at == '.') {
        ++line.at;
        do {
            digits = find_leading_digits(line.at);
            line.at += digits.count;
            number = number * powers[digits.count] + join_eight_digits(digits.word);
            decimals += digits.count;
        } while (digits.count == 8 && decimals == 8);
        count += decimals;
    }
    if (count < 1 || count > 15 || !is_blank_or_end(*line.at)) return false;
    value = static_cast<double>(number) / divisors[decimals];
    if (negative) value = -value;
    return true;
}

// Ends the line: nothing but blanks may be left of it. The file then stands at the next one.
inline bool end_quick_line(quick_line& line, input_file& in)
{
    skip_blanks(line);
    if (*line.at == '\r') ++line.at; // of a line end
    if (line.at >= line.end || *line.at != '\n') return false;
    in.at = static_cast<std::size_t>(line.at + 1 - in.buffer.get());
    return true;
}

} // namespace tarnel
