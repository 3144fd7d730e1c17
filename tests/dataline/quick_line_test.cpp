// Quick lines against the ways of the data line: what they take they take as those do, what those refuse they refuse.
#include "dataline/quick_line.h"

#include "support/stage.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

using namespace tarnel;
using namespace tarnel_test;

using quick_lines = stage_test;

namespace
{

constexpr std::int32_t least = 0, most = 12345678;

struct values_of_line {
    bool taken = false;
    std::size_t read = 0; // characters
    std::int32_t integer = 0;
    double number[2] = {};
};

// A file whose buffer holds these characters; nothing is ever asked of its stream.
void hold(const std::string& content, input_file& in)
{
    in.buffer = empty_array<char>(stdout, "stream", content.size());
    content.copy(in.buffer.get(), content.size());
    in.filled = content.size();
}

// An integer and two numbers.
values_of_line take_quickly(const std::string& content)
{
    values_of_line values;
    input_file in;
    hold(content, in);
    quick_line line;
    values.taken = begin_quick_line(in, line) && next_quick_integer(line, least, most, values.integer) &&
                   next_quick_double(line, values.number[0]) && next_quick_double(line, values.number[1]) &&
                   end_quick_line(line, in);
    values.read = in.at;
    return values;
}

values_of_line take_slowly(const std::string& content)
{
    values_of_line values;
    input_file in;
    hold(content, in);
    const stage_outcome outcome = run_stage([&](std::FILE* log) {
        data_line line;
        read_line_of(line, 3, in, log);
        values.integer = t_get_iprm(line, 1, least, most, log);
        for (int k = 0; k < 2; ++k) values.number[k] = t_get_dprm(line, 2 + k, -any_size, any_size, log);
    });
    values.taken = !outcome.failed;
    values.read = in.at;
    return values;
}

const std::string beyond(200, '7'); // the lines that follow

void expect_refused(const std::string& line)
{
    const values_of_line values = take_quickly(line + beyond);
    EXPECT_FALSE(values.taken) << line;
    EXPECT_EQ(values.read, 0U) << line;
}

void expect_same(const std::string& line)
{
    const values_of_line quick = take_quickly(line + beyond), slow = take_slowly(line + beyond);
    ASSERT_TRUE(quick.taken) << line;
    ASSERT_TRUE(slow.taken) << line;
    EXPECT_EQ(quick.read, line.size()) << line;
    EXPECT_EQ(slow.read, line.size()) << line;
    EXPECT_EQ(quick.integer, slow.integer) << line;
    for (int k = 0; k < 2; ++k)
        EXPECT_EQ(std::bit_cast<std::uint64_t>(quick.number[k]), std::bit_cast<std::uint64_t>(slow.number[k])) << line;
}

} // namespace

TEST_F(quick_lines, plain_lines_are_taken_as_the_data_line_takes_them)
{
    if (std::endian::native != std::endian::little) GTEST_SKIP() << "every line takes the other way here";
    for (const char* line :
         {"1 0 0\n", "0 -0 -0.0\n", "12345678 0.1 -0.1\n", "00000007 5. .5\n", "  7   1.5    2.25  \n", "7 1 2\r\n",
          "7 1 2 \r\n", "7 -0.1879926054 12345678.1234567\n", "3 0.12345678901234 -12345678.\n",
          "3 .123456789012345 99999999\n", "3 0.00000000000001 1.00000000000000\n"})
        expect_same(line);
    const std::string most_blanks = "1" + std::string(96, ' ') + "2 3\n"; // a hundred characters
    expect_same(most_blanks);
}

TEST_F(quick_lines, whatever_is_not_plain_is_refused_and_left_unread)
{
    for (const char* line : {"\n",
                             "1 2\n",
                             "1 2 3 4\n",
                             "1 2 3x\n",
                             "1 2 3\t\n",
                             "1 2 3\r",
                             "1 2 \r3\n",
                             "1\r 2 3\n",
                             "1\t2 3\n",
                             "12345679 2 3\n",  // over the limit
                             "123456780 2 3\n", // nine digits
                             "-1 2 3\n",
                             "+1 2 3\n",
                             "1. 2 3\n",
                             "1 . 3\n",
                             "1 - 3\n",
                             "1 +2 3\n",
                             "1 --2 3\n",
                             "1 2e1 3\n",
                             "1 0x1 3\n",
                             "1 inf 3\n",
                             "1 1.5.5 3\n",
                             "1 123456789 3\n",
                             "1 0.1234567890123456 3\n", // sixteen digits after the point
                             "1 12.34567890123456 3\n",  // sixteen in all
                             "1 12345678.12345678 3\n"})
        expect_refused(line);
    expect_refused("1" + std::string(97, ' ') + "2 3\n"); // 101 characters
}

TEST_F(quick_lines, line_that_may_go_on_beyond_the_buffer_is_refused)
{
    const std::string line = "1 2 3\n";
    EXPECT_FALSE(take_quickly(line + std::string(line_characters - line.size(), ' ')).taken);
    EXPECT_FALSE(take_quickly("").taken);
}

// Lines of random fields, separators and ends.
TEST_F(quick_lines, random_lines_are_taken_alike_or_refused)
{
    const std::vector<std::string> fields = {"1",
                                             "0",
                                             "77",
                                             "12345678",
                                             "123456789",
                                             "-3",
                                             "0.5",
                                             "-0.25",
                                             ".5",
                                             "5.",
                                             "1e3",
                                             "0.1234567890123",
                                             "-1234.56789012345",
                                             "99999999.9999999",
                                             "x",
                                             "",
                                             "1.2.3",
                                             "+4",
                                             "0.30000000000000004"};
    const std::vector<std::string> separators = {" ", " ", " ", "  ", "\t", "", "\r"};
    const std::vector<std::string> ends = {"\n", "\n", "\n", "\r\n", " \n", "\r", "x\n"};
    std::mt19937 random(3);
    const auto one_of = [&](const std::vector<std::string>& from) { return from[random() % from.size()]; };
    int taken = 0;
    for (int k = 0; k < 60000; ++k) {
        std::string line;
        const auto count = random() % 8 == 0 ? random() % 5 : 3;
        for (std::size_t f = 0; f < count; ++f) line += (f > 0 ? one_of(separators) : "") + one_of(fields);
        line += one_of(ends);
        if (!take_quickly(line + beyond).taken) continue;
        ++taken;
        expect_same(line);
    }
    EXPECT_GT(taken, 300);
}

TEST_F(quick_lines, random_decimals_are_those_of_the_data_line)
{
    std::mt19937_64 random(4);
    for (int k = 0; k < 3000; ++k) {
        std::string digits = std::to_string(random() % 1000000000000000U);
        digits.insert(digits.size() - std::min<std::size_t>(digits.size(), random() % 16), ".");
        if (digits.find('.') > 8) continue; // refused: more than eight before the point
        expect_same("5 " + digits + " -" + digits + "\n");
    }
}
