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

// Powers of ten to the nearest double.
constexpr int least_power = -25, most_power = 35;
constexpr double powers_of_ten[] = {
    1e-25, 1e-24, 1e-23, 1e-22, 1e-21, 1e-20, 1e-19, 1e-18, 1e-17, 1e-16, 1e-15, 1e-14, 1e-13, 1e-12, 1e-11, 1e-10,
    1e-9,  1e-8,  1e-7,  1e-6,  1e-5,  1e-4,  1e-3,  1e-2,  1e-1,  1e0,   1e1,   1e2,   1e3,   1e4,   1e5,   1e6,
    1e7,   1e8,   1e9,   1e10,  1e11,  1e12,  1e13,  1e14,  1e15,  1e16,  1e17,  1e18,  1e19,  1e20,  1e21,  1e22,
    1e23,  1e24,  1e25,  1e26,  1e27,  1e28,  1e29,  1e30,  1e31,  1e32,  1e33,  1e34,  1e35};
static_assert(std::size(powers_of_ten) == most_power - least_power + 1);

constexpr double power_of_ten(int power)
{
    return powers_of_ten[power - least_power];
}

// Binary exponents of the doubles that have a quick road, and the decimal exponent of their least: theirs is the same
// or one more. log10(2) = 1233 / 4096 from below.
constexpr int least_log2 = -66, most_log2 = 96;
constexpr int log10_of_power(int log2)
{
    return (log2 * 1233) >> 12;
}
constexpr bool decimal_exponents_fit()
{
    double power = 1.0;
    for (int log2 = 0; log2 > least_log2; --log2) power /= 2;
    for (int log2 = least_log2; log2 <= most_log2; ++log2, power *= 2) {
        const int least = log10_of_power(log2);
        if (5 - (least + 1) < least_power || 5 - least > most_power) return false;
        if (power < power_of_ten(least) || 2 * power > power_of_ten(least + 2)) return false;
    }
    return true;
}
static_assert(decimal_exponents_fit());

// Digits of a positive number, d.ddddd times ten to the exponent.
struct six_digits {
    std::uint32_t digits; // 100000 .. 999999
    int exponent;
};

// One multiplication by a power is wrong by some units in the last place at most, so the six digits are right unless
// what follows them is a half to within far more than that.
//   returns false when it cannot tell
static bool find_digits(double value, six_digits& found)
{
    const int log2 = static_cast<int>(std::bit_cast<std::uint64_t>(value) >> 52U) - 1023;
    if (log2 < least_log2 || log2 > most_log2) return false;
    const int least = log10_of_power(log2);
    found.exponent = least + static_cast<int>(value >= power_of_ten(least + 1));
    const double s = value * power_of_ten(5 - found.exponent);
    const double above = s + 0.5;
    const auto nearest = static_cast<std::int32_t>(above);
    if (std::fabs(s - nearest) > 0.5 - 1e-7 || nearest < 100000 || nearest > 999999) return false;
    found.digits = static_cast<std::uint32_t>(nearest);
    return true;
}

// The digits of numbers below 1000 as bytes 0 to 9, the first in the lowest byte.
struct digit_triples {
    std::uint32_t of[1000];
};

constexpr digit_triples write_triples()
{
    digit_triples written{};
    for (std::uint32_t k = 0; k < 1000; ++k) written.of[k] = k / 100 | k / 10 % 10 << 8U | k % 10 << 16U;
    return written;
}
constexpr digit_triples triples = write_triples();

static std::uint64_t six_digit_bytes(std::uint32_t number)
{
    return triples.of[number / 1000] | std::uint64_t{triples.of[number % 1000]} << 24U;
}

constexpr std::uint64_t zeros = 0x3030303030303030;  // '0' in each byte
constexpr std::uint64_t blanks = 0x2020202020202020; // ' ' in each byte

// Stores eight or four characters, the first in the lowest byte.
template <class word> static void put_word(char* to, word characters)
{
    if constexpr (std::endian::native == std::endian::big)
        for (std::size_t k = 0; k < sizeof(word); ++k) to[k] = static_cast<char>(characters >> 8 * k & 0xffU);
    else
        std::memcpy(to, &characters, sizeof characters);
}

// The four characters of each exponent, as in "e-05".
struct exponent_texts {
    std::uint32_t of[most_power - least_power + 1];
};

constexpr exponent_texts write_exponents()
{
    exponent_texts texts{};
    for (int exponent = least_power; exponent <= most_power; ++exponent) {
        const auto size = static_cast<std::uint32_t>(exponent < 0 ? -exponent : exponent);
        const std::uint32_t letter{'e'}, plus{'+'}, minus{'-'}, sign = exponent < 0 ? minus : plus;
        texts.of[exponent - least_power] = letter | sign << 8U | ('0' + size / 10) << 16U | ('0' + size % 10) << 24U;
    }
    return texts;
}
constexpr exponent_texts exponents = write_exponents();

[[gnu::noinline]] static char* put_e15_5_exactly(char* to, double value)
{
    char text[40];
    return put_padded(to, text, static_cast<std::size_t>(put_scientific(text, value, 5) - text), 15);
}

char* put_e15_5(char* to, double value)
{
    six_digits found{0, 0};
    if (value != 0.0 && !find_digits(std::fabs(value), found)) return put_e15_5_exactly(to, value);
    const std::uint64_t digits = six_digit_bytes(found.digits) | zeros;
    const std::uint64_t mantissa = (digits & 0xffU) | std::uint64_t{'.'} << 8U | (digits & ~std::uint64_t{0xff}) << 8U;
    const std::uint64_t sign = std::signbit(value) ? std::uint64_t{'-'} : std::uint64_t{' '};
    const std::uint64_t exponent = exponents.of[found.exponent - least_power];
    put_word(to, (blanks & 0xffffffU) | sign << 24U | mantissa << 32U);
    put_word(to + 7, (mantissa >> 24U & 0xffffffffU) | exponent << 32U);
    return to + 15;
}

char* put_int(char* to, std::int32_t value, int width)
{
    if (value >= 0 && value < 100000000 && width >= 4) {
        const auto number = static_cast<std::uint32_t>(value);
        const std::uint64_t digits = triples.of[number / 1000000] >> 8U | six_digit_bytes(number % 1000000) << 16U;
        const int leading = std::countr_zero(digits | std::uint64_t{1} << 56U) / 8; // zeros before the first digit
        const std::uint64_t text = digits | blanks | (zeros - blanks) << 8 * leading;
        if (width >= 8 && width <= 16) {
            put_word(to, blanks);
            put_word(to + width - 8, text);
            return to + width;
        }
        if (width < 8 && leading + width >= 8) {
            put_word(to, static_cast<std::uint32_t>(text >> 8 * (8 - width) & 0xffffffffU));
            put_word(to + width - 4, static_cast<std::uint32_t>(text >> 32U));
            return to + width;
        }
    }
    char text[16];
    const char* end = std::to_chars(text, text + sizeof text, value).ptr;
    return put_padded(to, text, static_cast<std::size_t>(end - text), static_cast<std::size_t>(width));
}

} // namespace tarnel
