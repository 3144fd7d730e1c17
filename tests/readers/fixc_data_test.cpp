#include "readers/fixc_data.h"
#include "readers/stage_files.h"

using namespace tarnel_test;
using fixc_data = stage_test;

static const std::string heading = "    === in func. at_rd_fixc_data ===\n"
                                   "        Now, reading at-fixc-data.txt. \n";
static const std::string end_a = "0 0 0 0 0 0\n", end_f = "0 0 0 0\n";

static file_outcome read_conditions(const std::string& text, const tarnel::control& cntl = small_control())
{
    renew_file("at-fixc-data.txt", text);
    opened_input in("at-fixc-data.txt");
    return run_writing("at-fixc-data.tmp", [&](tarnel::output_file& out, std::FILE* log) {
        tarnel::at_rd_fixc_data(cntl, {in, out}, log);
    });
}

TEST_F(fixc_data, two_end_lines_write_two_zeros)
{
    for (const std::string& text :
         {end_a + end_f, std::string("0 100 -1e300 100 100 1e300\n0 1e300 100 -1e300\nnot read\n")}) {
        const file_outcome read = read_conditions(text);
        EXPECT_FALSE(read.failed);
        EXPECT_EQ(read.log, heading);
        EXPECT_EQ(read.file, std::string(8, '\0'));
    }
}

TEST_F(fixc_data, items_stand_without_padding_by_offset)
{
    const file_outcome read = read_conditions("1 2 0.5 3 4 -0.25\n5 6 1e300 7 8 -1e300\n" + end_a +
                                              "9 0.125 10 -2\n100 -1e300 100 1e300\n" + end_f);
    EXPECT_FALSE(read.failed);
    EXPECT_EQ(read.log, heading);
    bytes expected;
    expected.add_i(1).add_i(2).add_d(0.5).add_i(3).add_i(4).add_d(-0.25);
    expected.add_i(5).add_i(6).add_d(1e300).add_i(7).add_i(8).add_d(-1e300).add_i(0);
    expected.add_i(9).add_d(0.125).add_i(10).add_d(-2);
    expected.add_i(100).add_d(-1e300).add_i(100).add_d(1e300).add_i(0);
    EXPECT_EQ(read.file.size(), 120u);
    EXPECT_EQ(read.file, expected.text());
}

TEST_F(fixc_data, node_section_is_not_checked_for_sense)
{
    const file_outcome read = read_conditions(end_a + "5 0.0 5 0\n5 1 0 0\n" + end_f);
    EXPECT_FALSE(read.failed);
    EXPECT_EQ(read.file.size(), 4u + 24 + 24 + 4);
    EXPECT_EQ(read_conditions(end_a + "5 0.0 0 0\n" + end_f).file.size(), 4u + 24 + 4);
}

TEST_F(fixc_data, end_line_of_the_pair_section_counts_against_its_limit)
{
    const std::string missing = heading + "      Error. in at-fixc-data.txt(r-a).\n"
                                          "             There is no end-data(n1=0),\n"
                                          "             or, maxedg is too small.\n";
    const std::string pair = "1 2 0 3 4 0\n";
    tarnel::control cntl = small_control();
    for (const int maxedg : {1, 0, -5}) { // never less than one line
        cntl.maxedg = maxedg;
        const file_outcome read = read_conditions(pair + end_a + end_f, cntl);
        EXPECT_TRUE(read.failed);
        EXPECT_EQ(read.log, missing);
        EXPECT_EQ(read.file.size(), 32u);
        EXPECT_FALSE(read_conditions(end_a + end_f, cntl).failed);
    }
    cntl.maxedg = 2;
    EXPECT_FALSE(read_conditions(pair + end_a + end_f, cntl).failed);
    EXPECT_EQ(read_conditions(pair + pair + end_a + end_f, cntl).log, missing);
}

TEST_F(fixc_data, end_line_of_the_node_section_counts_against_its_limit)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = 2;
    const std::string two = end_a + "1 0 0 0\n2 0 0 0\n";
    for (const std::string& after : {std::string(), end_f}) {
        const file_outcome read = read_conditions(two + after, cntl);
        EXPECT_TRUE(read.failed);
        EXPECT_EQ(read.log, heading + "      Error. in at-fixc-data.txt(r-f).\n"
                                      "             There is no end-data(nog=0),\n"
                                      "             or, maxnog is too small.\n");
        EXPECT_EQ(read.file.size(), 52u);
    }
    EXPECT_FALSE(read_conditions(end_a + "2 0 0 0\n" + end_f, cntl).failed);
    cntl.maxnog = 3;
    EXPECT_FALSE(read_conditions(two + end_f, cntl).failed);
}

TEST_F(fixc_data, fields_are_counted_and_bounded)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = 50;
    const struct {
        std::string text, tail;
    } rows[] = {
        {"0\n", wrong_count("0")},
        {"0 0 0 0 0\n", wrong_count("0 0 0 0 0")},
        {"0 0 0 0 0 0 0\n", wrong_count("0 0 0 0 0 0 0")},
        {"1 0 0 0 0\n", wrong_count("1 0 0 0 0")},
        {"-1 0 0 0 0 0\n", over_the_limit("integer", 1, "-1 0 0 0 0 0")},
        {"51 0 0 0 0 0\n", over_the_limit("integer", 1, "51 0 0 0 0 0")},
        {"50 -1 0 0 0 0\n", over_the_limit("integer", 2, "50 -1 0 0 0 0")},
        {"50 51 0 0 0 0\n", over_the_limit("integer", 2, "50 51 0 0 0 0")},
        {"50 50 1.01e300 0 0 0\n", over_the_limit("double", 3, "50 50 1.01e300 0 0 0")},
        {"50 50 -1.01e300 0 0 0\n", over_the_limit("double", 3, "50 50 -1.01e300 0 0 0")},
        {"50 50 0 -1 0 0\n", over_the_limit("integer", 4, "50 50 0 -1 0 0")},
        {"50 50 0 51 0 0\n", over_the_limit("integer", 4, "50 50 0 51 0 0")},
        {"50 50 0 50 -1 0\n", over_the_limit("integer", 5, "50 50 0 50 -1 0")},
        {"50 50 0 50 51 0\n", over_the_limit("integer", 5, "50 50 0 50 51 0")},
        {"50 50 0 50 50 1.01e300\n", over_the_limit("double", 6, "50 50 0 50 50 1.01e300")},
        {"50 50 0 50 50 nan\n", over_the_limit("double", 6, "50 50 0 50 50 nan")},
        {"0 0 0 0 51 0\n", over_the_limit("integer", 5, "0 0 0 0 51 0")}, // an end line's fields count too
        {"0 0 0 0 0 1.01e300\n", over_the_limit("double", 6, "0 0 0 0 0 1.01e300")},
        {end_a + "0\n", wrong_count("0")},
        {end_a + "0 0 0\n", wrong_count("0 0 0")},
        {end_a + "0 0 0 0 0\n", wrong_count("0 0 0 0 0")},
        {end_a + "-1 0 0 0\n", over_the_limit("integer", 1, "-1 0 0 0")},
        {end_a + "51 0 0 0\n", over_the_limit("integer", 1, "51 0 0 0")},
        {end_a + "50 1.01e300 0 0\n", over_the_limit("double", 2, "50 1.01e300 0 0")},
        {end_a + "50 -1.01e300 0 0\n", over_the_limit("double", 2, "50 -1.01e300 0 0")},
        {end_a + "50 0 -1 0\n", over_the_limit("integer", 3, "50 0 -1 0")},
        {end_a + "50 0 51 0\n", over_the_limit("integer", 3, "50 0 51 0")},
        {end_a + "50 0 50 1.01e300\n", over_the_limit("double", 4, "50 0 50 1.01e300")},
        {end_a + "50 0 50 -1.01e300\n", over_the_limit("double", 4, "50 0 50 -1.01e300")},
        {end_a + "0 0 51 0\n", over_the_limit("integer", 3, "0 0 51 0")},
        {end_a + "0 0 0 1.01e300\n", over_the_limit("double", 4, "0 0 0 1.01e300")},
        {end_a + "5 0 1.5 0\n", "      Error. illegal integer parameter. ip = 3 \n" + at_line("5 0 1.5 0")},
        {"", at_end_of_file("")},
        {end_a, at_end_of_file("")},
        {end_a + "5 0 0 0\n", at_end_of_file("")},
        {end_a + "0 0 0 0", at_end_of_file("0 0 0 0")},
    };
    for (const auto& row : rows) {
        const file_outcome read = read_conditions(row.text, cntl);
        EXPECT_TRUE(read.failed) << row.text;
        EXPECT_EQ(read.log, heading + row.tail);
    }
}

TEST_F(fixc_data, line_is_converted_whole_before_it_is_written)
{
    const file_outcome read = read_conditions("1 2 0 3 4 0\n" + end_a + "7 0 0 0\n8 0 0 x\n");
    EXPECT_TRUE(read.failed);
    EXPECT_EQ(read.file.size(), 32u + 4 + 24);
}

TEST_F(fixc_data, limits_of_900_million_are_bounds_and_nothing_else)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = cntl.maxedg = 900000000;
    const file_outcome read = read_conditions(
        "900000000 900000000 0 900000000 900000000 0\n" + end_a + "900000000 0 900000000 1\n" + end_f, cntl);
    EXPECT_FALSE(read.failed);
    for (const std::size_t offset : {0u, 4u, 16u, 20u, 36u, 48u}) EXPECT_EQ(int_at(read.file, offset), 900000000);
    EXPECT_EQ(read_conditions(end_a + "900000001 0 0 1\n", cntl).log,
              heading + over_the_limit("integer", 1, "900000001 0 0 1"));
}

TEST_F(fixc_data, refused_write_names_its_item)
{
    renew_file("at-fixc-data.txt", "1 2 0.5 3 4 0.5\n" + end_a + "5 0.5 6 0.5\n" + end_f);
    // bytes that still fit before the item: a1 4, a2 4, a3 8, a4 4, a5 4, a6 8, the end 4, f1 4, f2 8, f3 4, f4 8, 4
    const struct {
        std::size_t room;
        const char* tag;
    } rows[] = {{0, "a1"},  {3, "a1"},  {4, "a2"},  {8, "a3"},  {15, "a3"}, {16, "a4"}, {20, "a5"}, {24, "a6"},
                {32, "a1"}, {36, "f1"}, {40, "f2"}, {48, "f3"}, {52, "f4"}, {59, "f4"}, {60, "f1"}, {65536, "f1"}};
    for (const auto& row : rows) {
        opened_input in("at-fixc-data.txt");
        const stage_outcome read =
            run_on_full_device("at-fixc-data.tmp", row.room, [&](tarnel::output_file& out, std::FILE* log) {
                tarnel::at_rd_fixc_data(small_control(), {in, out}, log);
            });
        EXPECT_TRUE(read.failed) << row.room;
        EXPECT_EQ(read.log, heading + "      Error. in at-fixc-data.tmp(w-" + row.tag + ").\n") << row.room;
    }
}
