#include "dataline/data_line.h"

#include "dataline/field_scan.h"
#include "dataline/quick_line.h"

#include <bit>
#include <cstring>

namespace tarnel
{

void t_err_line(const data_line& line, std::FILE* log)
{
    const void* newline = std::memchr(line.text, '\n', line_characters);
    const std::size_t shown = newline == nullptr
                                  ? std::size_t{line_characters}
                                  : static_cast<std::size_t>(static_cast<const char*>(newline) - line.text) + 1;
    log_lines(log, "             at line : ");
    // Character by character: a NUL byte is echoed like any other.
    for (std::size_t k = 0; k < shown; ++k) log_lines(log, "%c", line.text[k]);
    throw run_ended{};
}

void fail_field_count(const data_line& line, std::FILE* log)
{
    log_lines(log, "      Error. no. of parameters is illegal.\n");
    t_err_line(line, log);
}

// Copies the next line into the blank buffer, newline included.
//   returns the characters before the newline
static std::size_t read_characters(data_line& line, input_file& in, std::FILE* log)
{
    std::memset(line.text, ' ', sizeof line.text);
    // A line takes at most 101 characters and the carriage return of its line end.
    const std::size_t have = fill_buffer(in, line_characters + 1);
    const char* from = in.buffer.get() + in.at;
    const void* found = std::memchr(from, '\n', have);
    std::size_t length = found == nullptr ? have : static_cast<std::size_t>(static_cast<const char*>(found) - from);
    if (found != nullptr) {
        const bool pair = length > 0 && from[length - 1] == '\r';
        const std::size_t shown = pair ? length - 1 : length;
        if (shown < line_characters) {
            std::memcpy(line.text, from, shown);
            line.text[shown] = '\n';
            in.at += length + 1;
            return shown;
        }
    }
    if (length >= line_characters) {
        std::memcpy(line.text, from, line_characters);
        in.at += line_characters;
        log_lines(log, "      Error. no. of character a line over the limit(%d). \n", line_characters);
        t_err_line(line, log);
    }
    std::memcpy(line.text, from, length);
    in.at += length;
    log_lines(log, "      Error. EOF found in data line. \n");
    t_err_line(line, log);
}

static void close_field(data_line& line, std::int32_t end, std::FILE* log)
{
    line.ie[line.naprm] = end;
    if (++line.naprm > most_fields) {
        log_lines(log, "      Error. no. of parameter a line over the limit(%d). \n", most_fields);
        t_err_line(line, log);
    }
}

// A bit for each of eight characters, 1 where it is no blank.
static std::uint64_t filled_characters(const char text[8])
{
    constexpr std::uint64_t ones = 0x0101010101010101, tops = 0x80 * ones, others = 0x7f * ones;
    std::uint64_t word;
    std::memcpy(&word, text, sizeof word);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    word ^= ' ' * ones;                                                      // blanks are 0 now
    const std::uint64_t filled = (((word & others) + others) | word) & tops; // top bits of the bytes that are not
    return (filled >> 7U) * 0x0102040810204080U >> 56U;
}

void t_rd_line(data_line& line, input_file& in, std::FILE* log)
{
    std::memset(line.is, 0, sizeof line.is);
    std::memset(line.ie, 0, sizeof line.ie);
    line.naprm = 0;
    const std::size_t length = read_characters(line, in, log);
    bool inside = false;
    std::uint64_t before = 0; // whether the last character of the word before is filled
    for (std::size_t first = 0; first <= length; first += 32) {
        std::uint64_t filled = 0;
        for (std::size_t k = 0; k < 32 && first + k < length; k += 8)
            filled |= filled_characters(line.text + first + k) << k;
        if (length - first < 32) filled &= (std::uint64_t{1} << (length - first)) - 1; // the newline is none
        // A bit where a field begins or has ended, in turn.
        for (std::uint64_t edges = filled ^ (filled << 1U | before); (edges & 0xffffffffU) != 0; edges &= edges - 1) {
            const auto at = static_cast<std::int32_t>(first) + std::countr_zero(edges);
            if (inside)
                close_field(line, at, log);
            else
                line.is[line.naprm] = at;
            inside = !inside;
        }
        before = filled >> 31U & 1U;
    }
}

void read_line_of(data_line& line, std::int32_t fields, input_file& in, std::FILE* log)
{
    t_rd_line(line, in, log);
    if (line.naprm != fields) fail_field_count(line, log);
}

struct field_place {
    const char* first;
    const char* last;
};

static field_place find_field(const data_line& line, std::int32_t ip, std::int32_t most, std::FILE* log)
{
    const char* fault = nullptr;
    if (line.naprm < 1)
        fault = "no. of parameter a line <= 0. ";
    else if (ip > line.naprm)
        fault = "ip<=0 or ip>naprm. ";
    else if (line.ie[ip - 1] < line.is[ip - 1])
        fault = "ie < is. ";
    if (fault != nullptr) {
        log_lines(log, "      Error. %s\n", fault);
        t_err_line(line, log);
    }
    if (line.ie[ip - 1] - line.is[ip - 1] > most) {
        log_lines(log, "      Error. no. of character per a parameter too large. ip = %d \n", ip);
        t_err_line(line, log);
    }
    return {line.text + line.is[ip - 1], line.text + line.ie[ip - 1]};
}

[[noreturn]] static void fail_field(const data_line& line, const char* fault, std::int32_t ip, std::FILE* log)
{
    log_lines(log, "      Error. %s. ip = %d \n", fault, ip);
    t_err_line(line, log);
}

double t_get_dprm(const data_line& line, std::int32_t ip, double dmin, double dmax, std::FILE* log)
{
    const auto [first, last] = find_field(line, ip, double_characters, log);
    double value;
    if (!scan_double_field(first, last, value)) fail_field(line, "illegal double parameter", ip, log);
    if (!(dmin <= value && value <= dmax)) fail_field(line, "double parameter over the limit", ip, log);
    return value;
}

// The number that up to eight digits stand for, -1 where other characters are among them. Takes a whole word, as a line
// has anywhere.
static std::int32_t join_digits(const char* first, std::ptrdiff_t count)
{
    if (std::endian::native != std::endian::little || count < 1) return -1;
    const leading_digits digits = find_leading_digits(first);
    return digits.count == count ? static_cast<std::int32_t>(join_eight_digits(digits.word)) : -1;
}

std::int32_t t_get_iprm(const data_line& line, std::int32_t ip, std::int32_t imin, std::int32_t imax, std::FILE* log)
{
    const auto [first, last] = find_field(line, ip, integer_characters, log);
    std::int32_t value = join_digits(first, last - first);
    if (value < 0 && !scan_integer_field(first, last, value)) fail_field(line, "illegal integer parameter", ip, log);
    if (value < imin || value > imax) fail_field(line, "integer parameter over the limit", ip, log);
    return value;
}

} // namespace tarnel
