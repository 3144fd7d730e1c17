#include "common/number_text.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace tarnel
{

// Writes mantissa and exponent and returns the end; to_chars rounds exactly, as the C library does.
static char* put_scientific(char* to, double value, int decimals)
{
    if (std::signbit(value)) {
        *to++ = '-';
        value = -value;
    }
    if (std::isnan(value)) return put_text(to, "nan");
    if (std::isinf(value)) return put_text(to, "inf");
    return std::to_chars(to, to + 32, value, std::chars_format::scientific, decimals).ptr;
}

number_text as_e(double value)
{
    number_text number;
    *put_scientific(number.text, value, 6) = '\0';
    return number;
}

static char* put_padded(char* to, const char* text, std::size_t length, std::size_t width)
{
    if (length < width) {
        std::memset(to, ' ', width - length);
        to += width - length;
    }
    std::memcpy(to, text, length);
    return to + length;
}

// Powers of ten that a double holds exactly.
constexpr double powers_of_ten[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
static_assert(std::size(powers_of_ten) == 5 + 16 + 2);

static double scaled(double value, int power)
{
    return power < 0 ? value / powers_of_ten[-power] : value * powers_of_ten[power];
}

// Digits of a positive number, d.ddddd times ten to the exponent.
struct six_digits {
    int digits; // 100000 .. 999999
    int exponent;
};

// One multiplication or division by an exact power is wrong by half a unit in the last place at most, so the six
// digits are right unless what follows them is a half to within far more than that.
//   returns false when it cannot tell
static bool find_digits(double value, six_digits& found)
{
    if (!(value >= 1e-16 && value < 1e22)) return false;
    const int log2 = static_cast<int>(std::bit_cast<std::uint64_t>(value) >> 52U) - 1023;
    found.exponent = (log2 * 1233) >> 12; // log10(2) = 1233 / 4096 from below; or one more
    double s = scaled(value, 5 - found.exponent);
    if (s >= 1e6) s = scaled(value, 5 - ++found.exponent);
    found.digits = static_cast<int>(s);
    const double rest = s - found.digits;
    if (std::fabs(rest - 0.5) < 1e-7 || s < 100000.0) return false;
    if (rest > 0.5) ++found.digits;
    return found.digits < 1000000;
}

char* put_e15_5(char* to, double value)
{
    six_digits found;
    if (value == 0.0)
        found = {0, 0};
    else if (!find_digits(std::fabs(value), found)) {
        char text[40];
        return put_padded(to, text, static_cast<std::size_t>(put_scientific(text, value, 5) - text), 15);
    }
    put_text(to, "    0.00000e+00");
    if (std::signbit(value)) to[3] = '-';
    for (int at = 10; at > 5; --at) {
        to[at] = static_cast<char>('0' + found.digits % 10);
        found.digits /= 10;
    }
    to[4] = static_cast<char>('0' + found.digits);
    if (found.exponent < 0) to[12] = '-';
    const int size = std::abs(found.exponent);
    to[13] = static_cast<char>('0' + size / 10);
    to[14] = static_cast<char>('0' + size % 10);
    return to + 15;
}

char* put_int(char* to, std::int32_t value, int width)
{
    char text[16];
    const char* end = std::to_chars(text, text + sizeof text, value).ptr;
    return put_padded(to, text, static_cast<std::size_t>(end - text), static_cast<std::size_t>(width));
}

} // namespace tarnel
