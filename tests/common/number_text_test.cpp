#include "common/number_text.h"

#include "common/comma_locale.h"
#include "support/stage.h"

#include <bit>
#include <cfenv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>

using namespace tarnel;
using namespace tarnel_test;

using number_texts = stage_test;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

static std::string e15_5(double value)
{
    char text[40];
    std::memset(text, '#', sizeof text);
    const char* end = put_e15_5(text, value);
    for (const char* at = end; at < text + sizeof text; ++at) EXPECT_EQ(*at, '#') << value;
    return std::string(text, static_cast<std::size_t>(end - text));
}

// What the C library prints; these tests run in the "C" locale, as every program starts.
static void expect_as_library(double value)
{
    char expected[400];
    std::snprintf(expected, sizeof expected, "%e", value);
    ASSERT_STREQ(as_e(value).text, expected);
    std::snprintf(expected, sizeof expected, "%15.5e", value);
    char text[40] = {};
    *put_e15_5(text, value) = '\0';
    ASSERT_STREQ(text, expected);
}

TEST_F(number_texts, e_has_six_decimals_and_two_digits_of_exponent)
{
    EXPECT_STREQ(as_e(0.0).text, "0.000000e+00");
    EXPECT_STREQ(as_e(-0.0).text, "-0.000000e+00");
    EXPECT_STREQ(as_e(1.0).text, "1.000000e+00");
    EXPECT_STREQ(as_e(-12345.678).text, "-1.234568e+04");
    EXPECT_STREQ(as_e(1e-99).text, "1.000000e-99");
    EXPECT_STREQ(as_e(1e-100).text, "1.000000e-100");
    EXPECT_STREQ(as_e(9.9999996).text, "1.000000e+01"); // the carry reaches the exponent
    EXPECT_STREQ(as_e(9.9999994).text, "9.999999e+00");
    EXPECT_STREQ(as_e(5e-324).text, "4.940656e-324");
    EXPECT_STREQ(as_e(std::numeric_limits<double>::max()).text, "1.797693e+308");
    EXPECT_STREQ(as_e(std::numeric_limits<double>::min()).text, "2.225074e-308");
    EXPECT_STREQ(as_e(infinity).text, "inf");
    EXPECT_STREQ(as_e(-infinity).text, "-inf");
    EXPECT_STREQ(as_e(not_a_number).text, "nan");
    EXPECT_STREQ(as_e(std::copysign(not_a_number, -1.0)).text, "-nan");
}

TEST_F(number_texts, column_of_fifteen_has_five_decimals_on_the_right)
{
    EXPECT_EQ(e15_5(0.0), "    0.00000e+00");
    EXPECT_EQ(e15_5(-0.0), "   -0.00000e+00");
    EXPECT_EQ(e15_5(0.5), "    5.00000e-01");
    EXPECT_EQ(e15_5(-1.25663704e-06), "   -1.25664e-06");
    EXPECT_EQ(e15_5(-1e-300), "  -1.00000e-300");
    EXPECT_EQ(e15_5(9.999996), "    1.00000e+01");
    EXPECT_EQ(e15_5(infinity), "            inf");
    EXPECT_EQ(e15_5(-infinity), "           -inf");
    EXPECT_EQ(e15_5(not_a_number), "            nan");
    EXPECT_EQ(e15_5(std::copysign(not_a_number, -1.0)), "           -nan");
}

// Integers of one digit more than the text holds are doubles; the last digit 5 is then a tie that goes to even.
TEST_F(number_texts, ties_go_to_the_even_digit)
{
    EXPECT_EQ(e15_5(1000005.0), "    1.00000e+06");
    EXPECT_EQ(e15_5(1000015.0), "    1.00002e+06");
    EXPECT_EQ(e15_5(9999995.0), "    1.00000e+07");
    EXPECT_STREQ(as_e(10000005.0).text, "1.000000e+07");
    EXPECT_STREQ(as_e(10000015.0).text, "1.000002e+07");
    for (int number = 1000005; number < 9999995; number += 70) {
        const int kept = number / 10 + number / 10 % 2;
        char expected[40];
        std::snprintf(expected, sizeof expected, "    %d.%05de+06", kept / 100000, kept % 100000);
        ASSERT_EQ(e15_5(number), expected);
        // Just off the tie, to either side.
        std::snprintf(expected, sizeof expected, "    %d.%05de+06", number / 1000000, number / 10 % 100000);
        ASSERT_EQ(e15_5(std::nextafter(number, 0.0)), expected);
        std::snprintf(expected, sizeof expected, "   -%d.%05de+06", (number + 5) / 1000000, (number + 5) / 10 % 100000);
        ASSERT_EQ(e15_5(-std::nextafter(number, infinity)), expected);
    }
}

TEST_F(number_texts, binary_fractions_and_powers_are_those_of_the_c_library)
{
    for (int exponent = -1074; exponent <= 1023; ++exponent)
        for (const double mantissa : {1.0, 1.25, 1.5, 1.0 + 1.0 / 1024, 2.0 - 0x1p-52}) {
            expect_as_library(std::ldexp(mantissa, exponent));
            expect_as_library(-std::ldexp(mantissa, exponent));
        }
    for (int k = 1; k < 200000; k += 2) expect_as_library(k / 64.0); // many are ties
    for (int exponent = -323; exponent <= 308; ++exponent) {
        const double power = std::strtod(("1e" + std::to_string(exponent)).c_str(), nullptr);
        expect_as_library(power);
        expect_as_library(std::nextafter(power, 0.0));
        expect_as_library(std::nextafter(power, infinity));
    }
}

TEST_F(number_texts, random_bit_patterns_are_those_of_the_c_library)
{
    std::mt19937_64 random(1234567);
    for (int k = 0; k < 600000 && !HasFatalFailure(); ++k)
        expect_as_library(std::bit_cast<double>(random())); // any exponent, infinities and NaNs of both signs too
}

TEST_F(number_texts, random_denormals_are_those_of_the_c_library)
{
    std::mt19937_64 random(7654321);
    for (int k = 0; k < 200000 && !HasFatalFailure(); ++k) {
        const std::uint64_t bits = random();
        expect_as_library(std::bit_cast<double>((bits & 0x800fffffffffffffU) >> (bits % 2 == 0 ? 0 : 12)));
    }
}

TEST_F(number_texts, random_values_of_ordinary_size_are_those_of_the_c_library)
{
    std::mt19937_64 random(20);
    for (int k = 0; k < 600000 && !HasFatalFailure(); ++k)
        expect_as_library(std::ldexp(static_cast<double>(static_cast<std::int64_t>(random())), k % 60 - 90));
}

TEST_F(number_texts, rounding_mode_of_the_host_does_not_show)
{
    volatile double third = 1.0 / 3.0, two_thirds = 2.0 / 3.0;
    for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        std::fesetround(mode);
        const number_text up = as_e(third), down = as_e(two_thirds);
        char column[40] = {};
        put_e15_5(column, two_thirds);
        std::fesetround(FE_TONEAREST);
        EXPECT_STREQ(up.text, "3.333333e-01");
        EXPECT_STREQ(down.text, "6.666667e-01");
        EXPECT_STREQ(column, "    6.66667e-01");
    }
}

TEST_F(number_texts, point_is_written_in_a_host_that_writes_commas)
{
    for (const set_for whom : {set_for::thread, set_for::process}) {
        const comma_host host(whom);
        if (!host.available()) GTEST_SKIP() << "no locale with a decimal comma";
        EXPECT_STREQ(as_e(1234.5).text, "1.234500e+03");
        EXPECT_EQ(e15_5(1234.5), "    1.23450e+03");
        char text[16] = {};
        put_int(text, 1234567, 0);
        EXPECT_STREQ(text, "1234567");
        host.expect_unchanged();
    }
}

TEST_F(number_texts, integers_stand_on_the_right_of_their_width)
{
    constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    for (const std::int32_t value : {0, 1, -1, 9, 10, 99, 100, -100, 12345678, 999999999, most, -most, least})
        for (int width = 0; width <= 20; ++width) {
            char expected[40], text[40];
            const int length = std::snprintf(expected, sizeof expected, "%*d", width, value);
            std::memset(text, '#', sizeof text);
            const char* end = put_int(text, value, width);
            EXPECT_EQ(std::string(text, static_cast<std::size_t>(end - text)), expected);
            EXPECT_EQ(end - text, length);
            EXPECT_EQ(*end, '#');
        }
}

TEST_F(number_texts, texts_are_appended_without_their_end)
{
    char line[8] = "#######";
    EXPECT_EQ(put_text(line, "abc"), line + 3);
    EXPECT_STREQ(line, "abc####");
    EXPECT_EQ(put_text(line, ""), line);
    EXPECT_STREQ(line, "abc####");
}
