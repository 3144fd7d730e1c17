// The conversion of fields beside the C library's scan, which is what defines them.
#include "dataline/field_scan.h"

#include "common/comma_locale.h"
#include "support/stage.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>

using namespace tarnel;
using namespace tarnel_test;

using field_scans = stage_test;

// These tests run in the "C" locale, as every program starts.
static bool double_of_library(const std::string& field, double& value)
{
    int sentinel = 0;
    value = 0.0;
    return std::sscanf((field + " 0").c_str(), "%le %d", &value, &sentinel) == 2;
}

static bool integer_of_library(const std::string& field, std::int32_t& value)
{
    int sentinel = 0;
    value = 0;
    return std::sscanf((field + " 0").c_str(), "%d %d", &value, &sentinel) == 2;
}

static std::string shown(const std::string& field)
{
    std::string text;
    for (const char c : field) {
        char code[8];
        std::snprintf(code, sizeof code, c > 32 && c < 127 ? "%c" : "<%02x>",
                      static_cast<unsigned>(static_cast<unsigned char>(c)));
        text += code;
    }
    return text;
}

// Returns whether the field is a number.
static bool expect_double_as_library(const std::string& field)
{
    double ours = 7.0, theirs = 0.0;
    const bool we_read = scan_double_field(field.data(), field.data() + field.size(), ours);
    const bool they_read = double_of_library(field, theirs);
    EXPECT_EQ(we_read, they_read) << shown(field);
    if (!we_read || !they_read) return false;
    EXPECT_EQ(std::isnan(ours), std::isnan(theirs)) << shown(field);
    if (!std::isnan(theirs)) {
        EXPECT_EQ(std::bit_cast<std::uint64_t>(ours), std::bit_cast<std::uint64_t>(theirs)) << shown(field);
    }
    return true;
}

static bool expect_integer_as_library(const std::string& field)
{
    std::int32_t ours = 7, theirs = 0;
    const bool we_read = scan_integer_field(field.data(), field.data() + field.size(), ours);
    const bool they_read = integer_of_library(field, theirs);
    EXPECT_EQ(we_read, they_read) << shown(field);
    if (!we_read || !they_read) return false;
    EXPECT_EQ(ours, theirs) << shown(field);
    return true;
}

TEST_F(field_scans, odd_fields_read_as_the_c_library_reads_them)
{
    const std::string odd[] = {"1e",
                               "1E",
                               "1e+",
                               "1e-",
                               "1e+x",
                               "1e5e5",
                               "1.e5",
                               ".e5",
                               ".5e5",
                               "1e05",
                               "1e0005",
                               "1e+5",
                               "1e5.",
                               "1e5.5",
                               "0x",
                               "0X",
                               "0x1",
                               "0xg",
                               "0x1p",
                               "0x1p+",
                               "0x1.8",
                               "0x1.8p3",
                               "0x.p1",
                               "0x.",
                               "0x1p-1074",
                               "0x1p-1075",
                               "0x1.fffffffffffff",
                               "-0x1p1023",
                               "0x1p1024",
                               "00x1",
                               "nan",
                               "NAN",
                               "-nan",
                               "nan()",
                               "nan(1)",
                               "nan(x",
                               "nanx",
                               "nan0",
                               "na",
                               "n",
                               "inf",
                               "INF",
                               "-inf",
                               "+inf",
                               "infi",
                               "infinit",
                               "infinity",
                               "INFINITY",
                               "infinityx",
                               "inf0",
                               "inf-1",
                               "i",
                               "in",
                               "+",
                               "-",
                               ".",
                               "+.",
                               "-.",
                               "+-1",
                               "-+1",
                               "++1",
                               "--1",
                               "..1",
                               "1..",
                               "1.+2",
                               "1+",
                               "1-",
                               "1+2",
                               "1-2",
                               "1+2+3",
                               "1-x",
                               "1--2",
                               "\t",
                               "\t1",
                               "1\t",
                               "1\t2",
                               "1\t2.5",
                               "1\tx",
                               "1\t+",
                               "\t\t1\t\t2",
                               "\r1",
                               "1\r",
                               "\v1",
                               "\f1\f",
                               "1,5",
                               "1.000,5",
                               "1.5f",
                               "1.5l",
                               "1.5d0",
                               "1_0",
                               "1'000",
                               "\x80",
                               "1\x80",
                               "\xa0"
                               "1",
                               "1\xff",
                               "\xb2",
                               "9e307",
                               "9e308",
                               "1.7976931348623e308",
                               "1e309",
                               "-1e309",
                               "1e99999999999999",
                               "1e-99999999999999",
                               "1e-307",
                               "1e-308",
                               "2e-308",
                               "1e-320",
                               "5e-324",
                               "3e-324",
                               "2e-324",
                               "2.5e-324",
                               "1e-400",
                               "-1e-400",
                               "-0",
                               "-0.0",
                               "+0",
                               "-0e5",
                               "0e99999",
                               "00000000000000000",
                               "99999999999999999",
                               "9007199254740993",
                               "9007199254740992.5",
                               "9007199254740993.0",
                               "1e22",
                               "1e23",
                               "8.5e22",
                               "2147483647",
                               "2147483648",
                               "4294967296",
                               "12345678901234567",
                               "1-99999999999999",
                               "1+4294967296",
                               "",
                               std::string("\0", 1),
                               std::string("1\0", 2),
                               std::string("1\0"
                                           "2",
                                           3),
                               std::string("\0"
                                           "1",
                                           2),
                               std::string("1\t2\0", 4),
                               std::string("1e\0", 3)};
    for (const std::string& field : odd) {
        if (field.size() <= 17) expect_double_as_library(field);
        if (field.size() <= 9) expect_integer_as_library(field);
    }
}

TEST_F(field_scans, every_field_of_two_bytes_reads_as_the_c_library_reads_it)
{
    for (int a = 0; a < 256; ++a)
        for (int b = -1; b < 256; ++b) {
            std::string field(1, static_cast<char>(a));
            if (b >= 0) field += static_cast<char>(b);
            expect_double_as_library(field);
            expect_integer_as_library(field);
        }
}

TEST_F(field_scans, random_fields_read_as_the_c_library_reads_them)
{
    std::mt19937_64 random(20240229);
    const std::string alphabets[] = {"0123456789+-.eE", "0123456789", "01.eE+-xXpPaAfF", "0123456789.-infatyINFATY()",
                                     std::string("0123456789+-.eE,\t\r\v\0_xd\x80\xff", 25)};
    int doubles = 0, integers = 0;
    constexpr int rounds = 60000;
    for (const std::string& alphabet : alphabets)
        for (int k = 0; k < rounds; ++k) {
            std::string field(1 + random() % 17, ' ');
            for (char& c : field) c = alphabet[random() % alphabet.size()];
            doubles += expect_double_as_library(field) ? 1 : 0;
            field.resize(std::min<std::size_t>(field.size(), 9));
            integers += expect_integer_as_library(field) ? 1 : 0;
        }
    // The comparison means something: both verdicts are common.
    EXPECT_GT(doubles, rounds);
    EXPECT_GT(integers, rounds);
    EXPECT_LT(doubles, 4 * rounds);
    EXPECT_LT(integers, 4 * rounds);
}

TEST_F(field_scans, printed_doubles_read_with_the_c_librarys_bits)
{
    std::mt19937_64 random(5489);
    int exponent = 0;
    for (int k = 0; k < 200000; ++k) {
        const auto value = std::bit_cast<double>(random());
        const int digits = static_cast<int>(random() % 17) + 1;
        char text[400];
        if (k % 2 == 0)
            std::snprintf(text, sizeof text, "%.*g", digits, value);
        else // of ordinary size, with decimals
            std::snprintf(text, sizeof text, "%+.*f", digits % 12,
                          std::ldexp(std::frexp(value, &exponent), k % 40 - 10));
        std::string field = text;
        if (field.size() > 17) field.resize(17);
        expect_double_as_library(field);
    }
}

TEST_F(field_scans, last_digits_are_rounded_to_the_nearest_double)
{
    // Halves between doubles, and one unit of the last digit beside them: 2^53 + 1 lies half way and goes to even.
    const struct {
        const char* field;
        double value;
    } rows[] = {{"9007199254740993", 0x1p53},
                {"9007199254740995", 0x1.0000000000002p53},
                {"9007199254740991.", 0x1.fffffffffffffp52},
                {"0.1", 0x1.999999999999ap-4},
                {"5e-324", 0x1p-1074},
                {"+1e22", 1e22}};
    for (const auto& row : rows) {
        const std::string field = row.field;
        double value = 0.0;
        EXPECT_TRUE(scan_double_field(field.data(), field.data() + field.size(), value)) << field;
        EXPECT_EQ(value, row.value) << field;
        expect_double_as_library(field);
    }
}

static void expect_plain_numbers(const comma_host& host)
{
    const struct {
        const char* field;
        bool number;
        double value;
    } rows[] = {{"1.5", true, 1.5},    {"-2.25e1", true, -22.5}, {"+.5", true, 0.5}, {"0x1.8p0", true, 1.5},
                {"1.5-3", true, 1.5},  {"\t1.5", true, 1.5},     {"1.5x", false, 0}, {"1,5", false, 0},
                {"1.000,5", false, 0}, {"1.000", true, 1},       {",5", false, 0},   {"0x1,8p0", false, 0},
                {"1,5-3", false, 0},   {"\t1,5", false, 0}};
    for (const auto& row : rows) {
        const std::string field = row.field;
        double value = 0.0;
        const bool number = scan_double_field(field.data(), field.data() + field.size(), value);
        EXPECT_EQ(number, row.number) << field;
        if (row.number) {
            EXPECT_EQ(value, row.value) << field;
        }
        host.expect_unchanged();
    }
    std::int32_t integer = 0;
    const std::string field = "1.000";
    EXPECT_FALSE(scan_integer_field(field.data(), field.data() + field.size(), integer));
    host.expect_unchanged();
}

TEST_F(field_scans, point_is_the_decimal_sign_in_a_thread_that_writes_commas)
{
    const comma_host host(set_for::thread);
    if (!host.available()) GTEST_SKIP() << "no locale with a decimal comma";
    host.expect_unchanged();
    expect_plain_numbers(host);
}

TEST_F(field_scans, point_is_the_decimal_sign_in_a_process_that_writes_commas)
{
    const comma_host host(set_for::process);
    if (!host.available()) GTEST_SKIP() << "no locale with a decimal comma";
    host.expect_unchanged();
    expect_plain_numbers(host);
}
