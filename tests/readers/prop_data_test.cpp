#include "readers/prop_data.h"
#include "readers/stage_files.h"

#include <cmath>

using namespace tarnel_test;
using prop_data = stage_test;

static const std::string heading = "    === in func. at_rd_prop_data ===\n"
                                   "        Now, reading at-prop-data.txt. \n";

static file_outcome read_properties(const std::string& text, const tarnel::control& cntl = small_control())
{
    renew_file("at-prop-data.txt", text);
    opened_input in("at-prop-data.txt");
    return run_writing("at-prop-struct.tmp", [&](tarnel::output_file& out, std::FILE* log) {
        tarnel::at_rd_prop_data(cntl, {in, out}, log);
    });
}

static const std::string end = "0 0 0 0\n";
static const std::string values = "2 3\n", no_vector = "0 0 0 0 0\n";

static void expect_vector(const std::string& file, std::size_t offset, double x, double y, double z)
{
    EXPECT_EQ(double_at(file, offset), x);
    EXPECT_EQ(double_at(file, offset + 8), y);
    EXPECT_EQ(double_at(file, offset + 16), z);
}

TEST_F(prop_data, end_line_alone_writes_the_end_record)
{
    for (const char* text : {"0 0 0 0\n", "0 100 1 1\nnever read\n"}) {
        const file_outcome read = read_properties(text);
        EXPECT_FALSE(read.failed);
        EXPECT_EQ(read.log, heading);
        EXPECT_EQ(read.file, std::string(120, '\0'));
    }
}

TEST_F(prop_data, block_is_stored_by_offset)
{
    const file_outcome read = read_properties("4 9 1 1\n"
                                              "0.5 1e300\n"
                                              "5 0 2 0 8\n"  // along y
                                              "6 0 0 -4 3\n" // against z
                                              "7 1 2 3 16\n" +
                                              end);
    EXPECT_FALSE(read.failed);
    EXPECT_EQ(read.log, heading);
    ASSERT_EQ(read.file.size(), 240u);
    EXPECT_EQ(int_at(read.file, 0), 4);
    EXPECT_EQ(int_at(read.file, 4), 9);
    EXPECT_EQ(int_at(read.file, 8), 1);
    EXPECT_EQ(int_at(read.file, 12), 1);
    EXPECT_EQ(double_at(read.file, 16), 0.5);
    expect_vector(read.file, 24, 0, 8, 0);
    expect_vector(read.file, 48, 0, 0, -3);
    expect_vector(read.file, 72, 0, 0, 16);
    EXPECT_EQ(double_at(read.file, 96), 1e300);
    EXPECT_EQ(int_at(read.file, 104), 5);
    EXPECT_EQ(int_at(read.file, 108), 6);
    EXPECT_EQ(int_at(read.file, 112), 0);
    EXPECT_EQ(int_at(read.file, 116), 0);
    EXPECT_EQ(read.file.substr(120), std::string(120, '\0'));
}

TEST_F(prop_data, vector_has_the_magnitude_along_the_direction)
{
    const file_outcome read = read_properties("1 0 0 0\n" + values + "0 3 4 0 10\n0 -2 0 0 0.5\n" + no_vector + end);
    expect_vector(read.file, 24, 6, 8, 0);
    expect_vector(read.file, 48, -0.5, 0, 0);
    const file_outcome negative = read_properties("1 0 0 0\n" + values + "0 2 3 6 -14\n" + no_vector + no_vector + end);
    expect_vector(negative.file, 24, -4, -6, -12); // |(2,3,6)| = 7
}

TEST_F(prop_data, zero_direction_is_stored_without_division)
{
    const file_outcome read = read_properties("1 0 0 0\n" + values + "0 0 0 0 5\n" + no_vector + no_vector + end);
    expect_vector(read.file, 24, 0, 0, 0);
}

TEST_F(prop_data, direction_up_to_the_threshold_is_taken_unnormalised)
{
    tarnel::control cntl = small_control();
    const std::string text = "1 0 0 0\n" + values + "0 2 0 0 8\n0 0 0 2 8\n" + no_vector + end;
    cntl.eps_zero = 4; // q = 4
    const file_outcome at = read_properties(text, cntl);
    expect_vector(at.file, 24, 16, 0, 0);
    expect_vector(at.file, 48, 0, 0, 16);
    cntl.eps_zero = std::nextafter(4.0, 0.0);
    const file_outcome below = read_properties(text, cntl);
    expect_vector(below.file, 24, 8, 0, 0);
    expect_vector(below.file, 48, 0, 0, 8);
}

TEST_F(prop_data, third_vector_is_perpendicular_to_the_model)
{
    for (const int iax : {0, 1})
        for (const char* line : {"0 0 0 0 32\n", "99 1 0 0 32\n", "3 0 0 -5 32\n"}) {
            tarnel::control cntl = small_control();
            cntl.iax = iax;
            const file_outcome read = read_properties("1 0 0 0\n" + values + no_vector + no_vector + line + end, cntl);
            expect_vector(read.file, 72, 0, 0, 32);
            EXPECT_EQ(int_at(read.file, 112), 0);
        }
    tarnel::control cntl = small_control();
    cntl.eps_zero = 1; // the direction (0, 0, 1) has the length 1 either way
    expect_vector(read_properties("1 0 0 0\n" + values + no_vector + no_vector + "0 1 0 0 -4\n" + end, cntl).file, 72,
                  0, 0, -4);
}

TEST_F(prop_data, third_vector_of_geometry_kind_2_stays_as_given)
{
    tarnel::control cntl = small_control();
    cntl.iax = 2;
    const file_outcome read =
        read_properties("1 0 0 0\n" + values + no_vector + no_vector + "9 0 4 0 32\n" + end, cntl);
    expect_vector(read.file, 72, 0, 32, 0);
    EXPECT_EQ(int_at(read.file, 112), 9);
}

TEST_F(prop_data, first_vector_has_unit_length_when_a_table_by_element_brings_it)
{
    const struct {
        int iopt_proptv;
        const char* head;
        double length;
    } rows[] = {
        {0, "1 0 0 0\n", 16}, {0, "1 1 0 0\n", 16}, {1, "1 0 0 0\n", 16}, {1, "1 1 0 0\n", 1}, {1, "1 2 0 0\n", 1}};
    for (const auto& row : rows) {
        tarnel::control cntl = small_control();
        cntl.iopt_proptv = row.iopt_proptv;
        const file_outcome read =
            read_properties(row.head + values + "0 2 0 0 16\n0 2 0 0 16\n0 0 0 0 16\n" + end, cntl);
        expect_vector(read.file, 24, row.length, 0, 0);
        expect_vector(read.file, 48, 16, 0, 0); // the others keep theirs
        expect_vector(read.file, 72, 0, 0, 16);
    }
}

TEST_F(prop_data, blocks_stand_in_file_order_with_gaps_and_repeats)
{
    const std::string rest = values + no_vector + no_vector + no_vector;
    const file_outcome read = read_properties("9 0 0 0\n" + rest + "2 0 0 0\n" + rest + "9 1 0 0\n" + rest + end);
    ASSERT_EQ(read.file.size(), 480u);
    EXPECT_EQ(int_at(read.file, 0), 9);
    EXPECT_EQ(int_at(read.file, 120), 2);
    EXPECT_EQ(int_at(read.file, 240), 9);
    EXPECT_EQ(int_at(read.file, 244), 1);
}

TEST_F(prop_data, end_line_counts_against_the_limit)
{
    const std::string one = "1 0 0 0\n" + values + no_vector + no_vector + no_vector;
    const std::string missing = heading + "      Error. in at-prop-data.txt(r).\n"
                                          "             There is no end-data(nop=0),\n"
                                          "             or, maxprp is too small.\n";
    tarnel::control cntl = small_control();
    cntl.maxprp = 1;
    const file_outcome read = read_properties(one + end, cntl);
    EXPECT_TRUE(read.failed);
    EXPECT_EQ(read.log, missing);
    EXPECT_EQ(read.file.size(), 120u);
    EXPECT_FALSE(read_properties(end, cntl).failed);
    cntl.maxprp = 2;
    EXPECT_FALSE(read_properties(one + end, cntl).failed);
    EXPECT_EQ(read_properties(one + one + end, cntl).log, missing);
}

TEST_F(prop_data, fields_are_counted_and_bounded)
{
    tarnel::control cntl = small_control();
    cntl.maxprp = 8;
    const std::string head = "1 0 0 0\n";
    const std::string two = head + values, three = two + no_vector, four = three + no_vector;
    const struct {
        std::string text, tail;
    } rows[] = {
        {"0\n", wrong_count("0")},
        {"0 0 0\n", wrong_count("0 0 0")},
        {"0 0 0 0 0\n", wrong_count("0 0 0 0 0")},
        {head + "1\n", wrong_count("1")},
        {head + "1 2 3\n", wrong_count("1 2 3")},
        {two + "0 0 0 0\n", wrong_count("0 0 0 0")},
        {two + "0 0 0 0 0 0\n", wrong_count("0 0 0 0 0 0")},
        {three + "0 0 0 0\n", wrong_count("0 0 0 0")},
        {four + "0 0 0 0 0 0\n", wrong_count("0 0 0 0 0 0")},
        {"-1 0 0 0\n", over_the_limit("integer", 1, "-1 0 0 0")},
        {"9 0 0 0\n", over_the_limit("integer", 1, "9 0 0 0")},
        {"8 -1 0 0\n", over_the_limit("integer", 2, "8 -1 0 0")},
        {"8 9 0 0\n", over_the_limit("integer", 2, "8 9 0 0")},
        {"8 8 -1 0\n", over_the_limit("integer", 3, "8 8 -1 0")},
        {"8 8 2 0\n", over_the_limit("integer", 3, "8 8 2 0")},
        {"8 8 1 -1\n", over_the_limit("integer", 4, "8 8 1 -1")},
        {"8 8 1 2\n", over_the_limit("integer", 4, "8 8 1 2")},
        {"0 9 0 0\n", over_the_limit("integer", 2, "0 9 0 0")},
        {"0 0 0 2\n", over_the_limit("integer", 4, "0 0 0 2")},
        {head + "1.01e300 0\n", over_the_limit("double", 1, "1.01e300 0")},
        {head + "0 -1.01e300\n", over_the_limit("double", 2, "0 -1.01e300")},
        {head + "nan 0\n", over_the_limit("double", 1, "nan 0")},
        {head + "1.0d0 0\n", "      Error. illegal double parameter. ip = 1 \n" + at_line("1.0d0 0")},
        {two + "-1 0 0 0 0\n", over_the_limit("integer", 1, "-1 0 0 0 0")},
        {two + "9 0 0 0 0\n", over_the_limit("integer", 1, "9 0 0 0 0")},
        {two + "8 1.01e300 0 0 0\n", over_the_limit("double", 2, "8 1.01e300 0 0 0")},
        {two + "8 0 -1.01e300 0 0\n", over_the_limit("double", 3, "8 0 -1.01e300 0 0")},
        {two + "8 0 0 1.01e300 0\n", over_the_limit("double", 4, "8 0 0 1.01e300 0")},
        {two + "8 0 0 0 -1.01e300\n", over_the_limit("double", 5, "8 0 0 0 -1.01e300")},
        {three + "9 0 0 0 0\n", over_the_limit("integer", 1, "9 0 0 0 0")},
        {three + "8 0 0 0 1.01e300\n", over_the_limit("double", 5, "8 0 0 0 1.01e300")},
        {four + "9 0 0 0 0\n", over_the_limit("integer", 1, "9 0 0 0 0")}, // though the number is replaced
        {four + "8 1.01e300 0 0 0\n", over_the_limit("double", 2, "8 1.01e300 0 0 0")},
        {head, at_end_of_file("")},
        {two, at_end_of_file("")},
        {four, at_end_of_file("")},
        {four + "0 0 0 0 0", at_end_of_file("0 0 0 0 0")},
        {four + no_vector, at_end_of_file("")},
    };
    for (const auto& row : rows) {
        const file_outcome read = read_properties(row.text, cntl);
        EXPECT_TRUE(read.failed) << row.text;
        EXPECT_EQ(read.log, heading + row.tail);
    }
    EXPECT_FALSE(
        read_properties("8 8 1 1\n-1e300 1e300\n8 0 0 0 -1e300\n8 0 0 0 1e300\n8 0 0 0 1e300\n" + end, cntl).failed);
    cntl.maxprp = 900000000;
    const file_outcome largest = read_properties(
        "900000000 900000000 0 0\n" + values + "900000000 0 0 0 0\n900000000 0 0 0 0\n" + no_vector + end, cntl);
    EXPECT_FALSE(largest.failed);
    for (const std::size_t offset : {0u, 4u, 104u, 108u}) EXPECT_EQ(int_at(largest.file, offset), 900000000);
}

TEST_F(prop_data, records_before_a_fault_are_kept)
{
    const file_outcome read =
        read_properties("3 0 0 0\n" + values + no_vector + no_vector + no_vector + "4 0 0 0\n1\n");
    EXPECT_TRUE(read.failed);
    ASSERT_EQ(read.file.size(), 120u);
    EXPECT_EQ(int_at(read.file, 0), 3);
}

TEST_F(prop_data, refused_write_is_reported)
{
    renew_file("at-prop-data.txt", "3 0 0 0\n" + values + no_vector + no_vector + no_vector + end);
    for (const std::size_t room : {0u, 119u, 120u, 239u, 240u, 65536u}) {
        opened_input in("at-prop-data.txt");
        const stage_outcome read =
            run_on_full_device("at-prop-struct.tmp", room, [&](tarnel::output_file& out, std::FILE* log) {
                tarnel::at_rd_prop_data(small_control(), {in, out}, log);
            });
        EXPECT_TRUE(read.failed) << room;
        EXPECT_EQ(read.log, heading + "      Error. in at-prop-struct.tmp(w).\n");
    }
}
