#include "dataline/data_line.h"

#include "support/stage.h"

#include <limits>
#include <string>
#include <vector>

using namespace tarnel;
using namespace tarnel_test;

using data_lines = stage_test;

static std::string at_line(const std::string& shown)
{
    return "             at line : " + shown;
}

// The buffer of a line without a newline, as it is echoed.
static std::string whole_buffer(const std::string& characters)
{
    return characters + std::string(101 - characters.size(), ' ');
}

// Reads the first line of a file with these bytes.
static stage_outcome read_first(const std::string& content, data_line& line)
{
    write_file("line.txt", content);
    return run_stage([&](std::FILE* log) {
        opened_input in("line.txt");
        t_rd_line(line, in, log);
    });
}

static std::vector<std::string> fields_of(const data_line& line)
{
    std::vector<std::string> fields;
    for (std::int32_t k = 0; k < line.naprm; ++k)
        fields.emplace_back(line.text + line.is[k], static_cast<std::size_t>(line.ie[k] - line.is[k]));
    return fields;
}

static void expect_fields(const std::string& content, const std::vector<std::string>& expected)
{
    data_line line;
    const stage_outcome outcome = read_first(content, line);
    EXPECT_FALSE(outcome.failed) << content;
    EXPECT_EQ(outcome.log, "") << content;
    if (outcome.failed) return;
    EXPECT_EQ(fields_of(line), expected) << content;
}

static void expect_fault(const std::string& content, const std::string& expected_log)
{
    data_line line;
    const stage_outcome outcome = read_first(content, line);
    EXPECT_TRUE(outcome.failed) << content;
    EXPECT_EQ(outcome.log, expected_log) << content;
}

// A file of one line, for the conversions.
static data_line line_of(const std::string& fields)
{
    data_line line;
    const stage_outcome outcome = read_first(fields + "\n", line);
    EXPECT_FALSE(outcome.failed) << outcome.log;
    return line;
}

static const std::string eof_error = "      Error. EOF found in data line. \n";
static const std::string length_error = "      Error. no. of character a line over the limit(101). \n";
static const std::string fields_error = "      Error. no. of parameter a line over the limit(10). \n";
static const std::string ten = "1 2 3 4 5 6 7 8 9 10";

TEST_F(data_lines, fields_are_what_blanks_separate)
{
    expect_fields("\n", {});
    expect_fields("     \n", {});
    expect_fields("a\n", {"a"});
    expect_fields("a b\n", {"a", "b"});
    expect_fields("   a    bc   \n", {"a", "bc"});
    expect_fields("1,2 3\n", {"1,2", "3"});
    expect_fields(ten + "\n", {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10"});
    expect_fields(" " + ten + " \n", {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10"});
}

TEST_F(data_lines, first_and_last_places_of_the_fields_are_given)
{
    data_line line;
    EXPECT_FALSE(read_first("  ab c\n", line).failed);
    EXPECT_EQ(line.naprm, 2);
    EXPECT_EQ(line.is[0], 2);
    EXPECT_EQ(line.ie[0], 4);
    EXPECT_EQ(line.is[1], 5);
    EXPECT_EQ(line.ie[1], 6); // the newline
    for (int k = 2; k < 10; ++k) {
        EXPECT_EQ(line.is[k], 0);
        EXPECT_EQ(line.ie[k], 0);
    }
    EXPECT_EQ(std::string(line.text, 101), "  ab c\n" + std::string(94, ' '));
}

TEST_F(data_lines, tabs_returns_nuls_and_high_bytes_belong_to_fields)
{
    expect_fields("a\tb c\n", {"a\tb", "c"});
    expect_fields("\t\n", {"\t"});
    expect_fields("a\rb \r c\n", {"a\rb", "\r", "c"});
    expect_fields("\v\f 1\n", {"\v\f", "1"});
    expect_fields(std::string("1\0 \0\n", 5), {std::string("1\0", 2), std::string("\0", 1)});
    expect_fields("\x80\xff \xa0 \xc3\xa4\n", {"\x80\xff", "\xa0", "\xc3\xa4"});
}

TEST_F(data_lines, carriage_return_of_a_line_end_is_no_character)
{
    expect_fields("\r\n", {});
    expect_fields("a b\r\n", {"a", "b"});
    expect_fields("a \r\n", {"a"});
    expect_fields("a\r\r\n", {"a\r"}); // only the one before the newline
    expect_fields(ten + "\r\n", {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10"});
    expect_fault(ten + " 11\r\n", fields_error + at_line(ten + " 11\n"));
    expect_fault("a\r", eof_error + at_line(whole_buffer("a\r")));
}

TEST_F(data_lines, hundred_characters_are_a_line_and_one_more_is_not)
{
    const std::string hundred(100, 'x');
    expect_fields(std::string(99, 'x') + "\n", {std::string(99, 'x')});
    expect_fields(hundred + "\n", {hundred});
    expect_fields(hundred + "\r\n", {hundred});
    expect_fields(std::string(100, ' ') + "\n", {});
    expect_fields(std::string(99, 'x') + "\r\r\n", {std::string(99, 'x') + "\r"});
    expect_fault(hundred + "y\n", length_error + at_line(hundred + "y"));
    expect_fault(hundred + "y\r\n", length_error + at_line(hundred + "y"));
    expect_fault(hundred + "yz\n", length_error + at_line(hundred + "y"));
    expect_fault(hundred + "y", length_error + at_line(hundred + "y"));
    expect_fault(hundred + " \n", length_error + at_line(hundred + " "));
    // A carriage return that ends no line counts.
    expect_fault(hundred + "\ry\n", length_error + at_line(hundred + "\r"));
    expect_fault(hundred + "\r\r\n", length_error + at_line(hundred + "\r"));
    expect_fault(hundred + "\r", length_error + at_line(hundred + "\r"));
    expect_fault(std::string(200000, 'x'), length_error + at_line(std::string(101, 'x')));
}

TEST_F(data_lines, eleventh_field_is_refused_at_a_blank_and_at_the_newline)
{
    expect_fault(ten + " 11\n", fields_error + at_line(ten + " 11\n"));
    expect_fault(ten + " 11 \n", fields_error + at_line(ten + " 11 \n"));
    expect_fault(ten + " 11 12 13\n", fields_error + at_line(ten + " 11 12 13\n"));
}

TEST_F(data_lines, end_of_file_before_a_newline_is_refused_with_the_whole_buffer)
{
    expect_fault("", eof_error + at_line(whole_buffer("")));
    expect_fault("1 2", eof_error + at_line(whole_buffer("1 2")));
    expect_fault(std::string(100, 'x'), eof_error + at_line(std::string(100, 'x') + " "));
    expect_fault(std::string("1\0\x80", 3), eof_error + at_line(whole_buffer(std::string("1\0\x80", 3))));
    expect_fault(ten + " 11", eof_error + at_line(whole_buffer(ten + " 11")));
}

TEST_F(data_lines, end_of_file_comes_after_the_last_line)
{
    write_file("line.txt", "1\n2\r\n");
    const stage_outcome outcome = run_stage([](std::FILE* log) {
        opened_input in("line.txt");
        data_line line;
        t_rd_line(line, in, log);
        EXPECT_EQ(fields_of(line), std::vector<std::string>{"1"});
        t_rd_line(line, in, log);
        EXPECT_EQ(fields_of(line), std::vector<std::string>{"2"});
        t_rd_line(line, in, log);
    });
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, eof_error + at_line(whole_buffer(""))); // nothing of the line before is left
}

TEST_F(data_lines, echo_ends_at_the_first_newline)
{
    data_line line{};
    std::memset(line.text, ' ', sizeof line.text);
    std::memcpy(line.text, "a\0\tb\nc", 6);
    const stage_outcome outcome = run_stage([&](std::FILE* log) { t_err_line(line, log); });
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, at_line(std::string("a\0\tb\n", 5)));
}

// A longest line with CR LF is laid across the end of the 64 KiB buffer in every way.
TEST_F(data_lines, lines_are_whole_wherever_the_buffer_ends)
{
    const std::string filler = std::string(100, 'f') + "\n";
    const std::string longest = std::string(50, 'a') + " " + std::string(49, 'b');
    for (std::size_t before = stream_buffer_bytes - 110; before <= stream_buffer_bytes + 2; ++before) {
        std::string content;
        while (content.size() + filler.size() <= before) content += filler;
        const std::size_t rest = before - content.size();
        if (rest > 0) content += std::string(rest - 1, 'r') + "\n";
        const std::size_t lines = content.size() / filler.size() + (rest > 0 ? 1 : 0);
        write_file("line.txt", content + longest + "\r\n7\r\n");
        const stage_outcome outcome = run_stage([&](std::FILE* log) {
            opened_input in("line.txt");
            data_line line;
            for (std::size_t k = 0; k < lines; ++k) t_rd_line(line, in, log);
            t_rd_line(line, in, log);
            EXPECT_EQ(std::string(line.text, 101), longest + "\n");
            EXPECT_EQ(line.naprm, 2);
            t_rd_line(line, in, log);
            EXPECT_EQ(fields_of(line), std::vector<std::string>{"7"});
            EXPECT_EQ(bytes_left(in), 0U);
        });
        EXPECT_FALSE(outcome.failed) << before << outcome.log;
    }
}

TEST_F(data_lines, line_of_a_fixed_count_has_no_field_less_or_more)
{
    const struct {
        const char* content;
        std::int32_t fields;
        const char* log;
    } rows[] = {
        {"1 2\n", 2, ""},
        {"\n", 0, ""},
        {"1 2\n", 3, "      Error. no. of parameters is illegal.\n             at line : 1 2\n"},
        {" 1 2 \r\n", 1, "      Error. no. of parameters is illegal.\n             at line :  1 2 \n"},
        {"\n", 1, "      Error. no. of parameters is illegal.\n             at line : \n"},
    };
    for (const auto& row : rows) {
        write_file("line.txt", row.content);
        const stage_outcome outcome = run_stage([&](std::FILE* log) {
            opened_input in("line.txt");
            data_line line;
            read_line_of(line, row.fields, in, log);
        });
        EXPECT_EQ(outcome.failed, *row.log != '\0') << row.content;
        EXPECT_EQ(outcome.log, row.log);
    }
}

static void expect_double(const std::string& fields, std::int32_t ip, double expected, double dmin = -any_size,
                          double dmax = any_size)
{
    const data_line line = line_of(fields);
    double value = std::numeric_limits<double>::quiet_NaN();
    const stage_outcome outcome = run_stage([&](std::FILE* log) { value = t_get_dprm(line, ip, dmin, dmax, log); });
    EXPECT_FALSE(outcome.failed) << outcome.log;
    EXPECT_EQ(value, expected) << fields;
}

static void expect_integer(const std::string& fields, std::int32_t ip, std::int32_t expected,
                           std::int32_t imin = -999999999, std::int32_t imax = 999999999)
{
    const data_line line = line_of(fields);
    std::int32_t value = -77;
    const stage_outcome outcome = run_stage([&](std::FILE* log) { value = t_get_iprm(line, ip, imin, imax, log); });
    EXPECT_FALSE(outcome.failed) << outcome.log;
    EXPECT_EQ(value, expected) << fields;
}

static void expect_no_double(const std::string& fields, std::int32_t ip, const std::string& error,
                             double dmin = -any_size, double dmax = any_size)
{
    const data_line line = line_of(fields);
    const stage_outcome outcome = run_stage([&](std::FILE* log) { t_get_dprm(line, ip, dmin, dmax, log); });
    EXPECT_TRUE(outcome.failed) << fields;
    EXPECT_EQ(outcome.log, "      Error. " + error + "\n" + at_line(fields + "\n"));
}

static void expect_no_integer(const std::string& fields, std::int32_t ip, const std::string& error,
                              std::int32_t imin = -999999999, std::int32_t imax = 999999999)
{
    const data_line line = line_of(fields);
    const stage_outcome outcome = run_stage([&](std::FILE* log) { t_get_iprm(line, ip, imin, imax, log); });
    EXPECT_TRUE(outcome.failed) << fields;
    EXPECT_EQ(outcome.log, "      Error. " + error + "\n" + at_line(fields + "\n"));
}

TEST_F(data_lines, fields_become_doubles)
{
    expect_double("12", 1, 12.0);
    expect_double("1.5 -2.25 3e2", 1, 1.5);
    expect_double("1.5 -2.25 3e2", 2, -2.25);
    expect_double("1.5 -2.25 3e2", 3, 300.0);
    expect_double("+.5", 1, 0.5);
    expect_double("5.", 1, 5.0);
    expect_double("-.5E+1", 1, -5.0);
    expect_double("0x1p4", 1, 16.0);
    expect_double("-0X.8p1", 1, -1.0);
    expect_double("1e-400", 1, 0.0);
    expect_double("a b c d e f g h i 9.5", 10, 9.5);
}

TEST_F(data_lines, fields_become_integers)
{
    expect_integer("12", 1, 12);
    expect_integer("+7 -8 007 -0", 1, 7);
    expect_integer("+7 -8 007 -0", 2, -8);
    expect_integer("+7 -8 007 -0", 3, 7);
    expect_integer("+7 -8 007 -0", 4, 0);
    expect_integer("a b c d e f g h i 9", 10, 9);
}

TEST_F(data_lines, number_followed_by_an_integer_is_the_number)
{
    expect_double("3-4", 1, 3.0);
    expect_double("1e5+3", 1, 100000.0);
    expect_double("1.5+3.5x", 1, 1.5); // +3 is enough
    expect_double("\t2\t3", 1, 2.0);   // the scan skips any white space
    expect_integer("3-4", 1, 3);
    expect_integer("3+4", 1, 3);
    expect_integer("3\t4", 1, 3);
    expect_integer("-3-4x", 1, -3);
}

TEST_F(data_lines, white_space_around_a_number_is_skipped)
{
    for (const char space : {'\t', '\r', '\v', '\f'}) {
        expect_double(std::string("2.5") + space, 1, 2.5);
        expect_double(std::string(1, space) + "2.5", 1, 2.5);
        expect_integer(std::string("25") + space + " 1", 1, 25);
        expect_integer(std::string(1, space) + "25", 1, 25);
    }
}

TEST_F(data_lines, field_that_is_no_double_is_illegal)
{
    for (const char* field :
         {"x", "1.0d0", "1.5x", "1,5", ".", "+", "-", "e5", "1.5.5", "--5", "+-5", "5-", "1_000", "\t", "1.5\x80",
          "\xa0"
          "5",
          "nil", "in", "_"}) {
        expect_no_double(field, 1, "illegal double parameter. ip = 1 ");
        expect_no_double(std::string("1 2 ") + field + " 4", 3, "illegal double parameter. ip = 3 ");
    }
    expect_no_double(std::string("5\0", 2), 1, "illegal double parameter. ip = 1 "); // the scan ends at the NUL
    expect_no_double(std::string("\0"
                                 "5",
                                 2),
                     1, "illegal double parameter. ip = 1 ");
    expect_no_double(std::string("5\0"
                                 "4",
                                 3),
                     1, "illegal double parameter. ip = 1 ");
}

TEST_F(data_lines, field_that_is_no_integer_is_illegal)
{
    for (const char* field : {"x",  "3.7", "1e5", "0x1F", "3.", ".",        "+", "-",     "1,5",  "--5", "+-5",
                              "5-", "5+",  "\t",  "12:4", "?",  "1234567<", "/", "5\x80", "\xff", "nan", "inf"}) {
        expect_no_integer(field, 1, "illegal integer parameter. ip = 1 ");
        expect_no_integer(std::string("1 2 ") + field + " 4", 3, "illegal integer parameter. ip = 3 ");
    }
    expect_no_integer(std::string("5\0", 2), 1, "illegal integer parameter. ip = 1 ");
    expect_no_integer(std::string("5\0"
                                  "4",
                                  3),
                      1, "illegal integer parameter. ip = 1 ");
}

TEST_F(data_lines, field_length_has_a_limit)
{
    expect_double("1.000000000000000", 1, 1.0); // 17 characters
    expect_double("00000000000000017", 1, 17.0);
    expect_no_double("000000000000000018", 1, "no. of character per a parameter too large. ip = 1 ");
    expect_no_double("1 xxxxxxxxxxxxxxxxxx", 2, "no. of character per a parameter too large. ip = 2 ");
    expect_no_double(std::string(100, '1'), 1, "no. of character per a parameter too large. ip = 1 ");
    expect_integer("000000009", 1, 9);
    expect_integer("-99999999", 1, -99999999);
    expect_integer("999999999", 1, 999999999);
    expect_no_integer("0000000010", 1, "no. of character per a parameter too large. ip = 1 ");
    expect_no_integer("1 2 1000000000", 3, "no. of character per a parameter too large. ip = 3 ");
    expect_no_integer("-2147483648", 1, "no. of character per a parameter too large. ip = 1 ",
                      std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max());
}

TEST_F(data_lines, doubles_lie_between_both_bounds)
{
    expect_double("-1.25", 1, -1.25, -1.25, 2.5);
    expect_double("2.5", 1, 2.5, -1.25, 2.5);
    expect_double("0.8", 1, 0.8, 0.0, 0.8);
    expect_double("-0", 1, 0.0, 0.0, 1.0);
    expect_double("-1e300", 1, -1e300);
    expect_double("1e300", 1, 1e300);
    const std::string over = "double parameter over the limit. ip = 1 ";
    expect_no_double("-1.2500000001", 1, over, -1.25, 2.5);
    expect_no_double("2.5000000001", 1, over, -1.25, 2.5);
    expect_no_double("0.8000000000000001", 1, "no. of character per a parameter too large. ip = 1 ", 0.0, 0.8);
    expect_no_double(".8000000000000001", 1, over, 0.0, 0.8); // the next double after 0.8
    expect_no_double("-1e-300", 1, over, 0.0, 1.0);
    expect_no_double("-1.0000001e300", 1, over);
    expect_no_double("1.0000001e300", 1, over);
    expect_no_double("1 2 9", 3, "double parameter over the limit. ip = 3 ", 0.0, 8.0);
}

TEST_F(data_lines, neither_infinity_nor_nan_lies_between_bounds)
{
    const std::string over = "double parameter over the limit. ip = 1 ";
    for (const char* field : {"inf", "-inf", "INF", "infinity", "+Infinity", "1e400", "-1e400", "nan", "-nan", "NaN"})
        expect_no_double(field, 1, over);
    constexpr double infinity = std::numeric_limits<double>::infinity();
    expect_no_double("nan", 1, over, -infinity, infinity);
    expect_double("inf", 1, infinity, -infinity, infinity);
}

TEST_F(data_lines, integers_lie_between_both_bounds)
{
    expect_integer("-3", 1, -3, -3, 5);
    expect_integer("5", 1, 5, -3, 5);
    expect_no_integer("-4", 1, "integer parameter over the limit. ip = 1 ", -3, 5);
    expect_no_integer("6", 1, "integer parameter over the limit. ip = 1 ", -3, 5);
    expect_no_integer("1 2 6", 3, "integer parameter over the limit. ip = 3 ", -3, 5);
    expect_no_integer("-1", 1, "integer parameter over the limit. ip = 1 ", 0,
                      std::numeric_limits<std::int32_t>::max());
}

TEST_F(data_lines, field_beyond_the_last_is_refused)
{
    for (const char* fields : {"", "   "}) {
        expect_no_double(fields, 1, "no. of parameter a line <= 0. ");
        expect_no_integer(fields, 1, "no. of parameter a line <= 0. ");
    }
    expect_no_double("", 2, "no. of parameter a line <= 0. "); // before the field's number is looked at
    expect_no_double("1 2", 3, "ip<=0 or ip>naprm. ");
    expect_no_integer("1 2", 3, "ip<=0 or ip>naprm. ");
    expect_double("1 2", 2, 2.0);
    expect_integer("1 2", 2, 2);
}

TEST_F(data_lines, field_that_ends_before_it_starts_is_refused)
{
    data_line line = line_of("1 2");
    line.is[1] = 3;
    line.ie[1] = 2;
    const stage_outcome as_double = run_stage([&](std::FILE* log) { t_get_dprm(line, 2, 0, 9, log); });
    EXPECT_TRUE(as_double.failed);
    EXPECT_EQ(as_double.log, "      Error. ie < is. \n" + at_line("1 2\n"));
    const stage_outcome as_integer = run_stage([&](std::FILE* log) { t_get_iprm(line, 2, 0, 9, log); });
    EXPECT_TRUE(as_integer.failed);
    EXPECT_EQ(as_integer.log, "      Error. ie < is. \n" + at_line("1 2\n"));
    line.ie[1] = 3; // an empty field: the scan finds the sentinel alone
    const stage_outcome empty = run_stage([&](std::FILE* log) { t_get_dprm(line, 2, 0, 9, log); });
    EXPECT_EQ(empty.log, "      Error. illegal double parameter. ip = 2 \n" + at_line("1 2\n"));
    const stage_outcome empty_integer = run_stage([&](std::FILE* log) { t_get_iprm(line, 2, 0, 9, log); });
    EXPECT_EQ(empty_integer.log, "      Error. illegal integer parameter. ip = 2 \n" + at_line("1 2\n"));
}

TEST_F(data_lines, echo_of_a_bad_field_holds_the_bytes_as_they_are)
{
    const std::string fields = std::string("1 \0\x80\xff\t\r 3", 9);
    expect_no_double(fields, 2, "illegal double parameter. ip = 2 ");
    expect_no_integer(fields, 2, "illegal integer parameter. ip = 2 ");
}
