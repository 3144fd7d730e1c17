#include "readers/lcs.h"
#include "readers/stage_files.h"

#include <array>

using namespace tarnel_test;
using lcs_data = stage_test;

static const std::string heading = "    === in func. t_rd_lcs_data ===\n"
                                   "        Now, reading t-lcs-data.txt. \n";
static const std::string global_axes = "0 0 0\n0 0 1\n1 0 0\n";

static file_outcome read_systems(const std::string& text, const tarnel::control& cntl = small_control())
{
    renew_file("t-lcs-data.txt", text);
    opened_input in("t-lcs-data.txt");
    return run_writing("t-lcs-struct.tmp", [&](tarnel::output_file& out, std::FILE* log) {
        tarnel::t_rd_lcs_data(cntl, {in, out}, log);
    });
}

static void expect_rotation(const std::string& file, std::size_t record, const std::array<double, 9>& rotation)
{
    for (std::size_t k = 0; k < 9; ++k)
        EXPECT_DOUBLE_EQ(double_at(file, record + 32 + 8 * k), rotation[k]) << "entry " << k;
}

TEST_F(lcs_data, end_line_alone_writes_one_record_of_zeros)
{
    const file_outcome read = read_systems("0 0 0\n");
    EXPECT_FALSE(read.failed);
    EXPECT_EQ(read.log, heading);
    EXPECT_EQ(read.file, std::string(104, '\0'));
}

TEST_F(lcs_data, end_record_is_all_zero_whatever_type_and_unit_the_end_line_gives)
{
    EXPECT_EQ(read_systems("0 1 3\n1 0 0\n").file, std::string(104, '\0'));
}

TEST_F(lcs_data, record_holds_number_type_origin_and_rotation_by_offset)
{
    // z along global x, then x towards global y: y is global z. No length of the points shows in the axes.
    const file_outcome read = read_systems("7 1 0\n1 2 3\n3 2 3\n5 6 3\n0 0 0\n");
    EXPECT_FALSE(read.failed);
    EXPECT_EQ(read.log, heading);
    ASSERT_EQ(read.file.size(), 208u);
    EXPECT_EQ(int_at(read.file, 0), 7);
    EXPECT_EQ(int_at(read.file, 4), 1);
    EXPECT_EQ(double_at(read.file, 8), 1.0);
    EXPECT_EQ(double_at(read.file, 16), 2.0);
    EXPECT_EQ(double_at(read.file, 24), 3.0);
    const double rotation[] = {0, 0, 1, 1, 0, 0, 0, 1, 0}; // columns: x axis (0,1,0), y axis (0,0,1), z axis (1,0,0)
    for (std::size_t k = 0; k < 9; ++k) EXPECT_EQ(double_at(read.file, 32 + 8 * k), rotation[k]) << "entry " << k;
    EXPECT_EQ(read.file.substr(104), std::string(104, '\0'));
}

TEST_F(lcs_data, global_axes_give_the_unit_rotation)
{
    const file_outcome read = read_systems("1 0 0\n" + global_axes + "0 0 0\n");
    ASSERT_EQ(read.file.size(), 208u);
    expect_rotation(read.file, 0, {1, 0, 0, 0, 1, 0, 0, 0, 1});
    EXPECT_EQ(int_at(read.file, 4), 0);
}

TEST_F(lcs_data, oblique_axes_are_unit_vectors)
{
    // b = (3,4,0)/5; c = b x (0,0,2) = (8,-6,0)/10; a = c x b = (0,0,1)
    const file_outcome read = read_systems("1 0 0\n0 0 0\n3 4 0\n0 0 2\n0 0 0\n");
    ASSERT_EQ(read.file.size(), 208u);
    expect_rotation(read.file, 0, {0, 0.8, 0.6, 0, -0.6, 0.8, 1, 0, 0});
}

TEST_F(lcs_data, unit_scales_the_origin_alone)
{
    const struct {
        const char* unit;
        double factor;
    } rows[] = {{"0", 1.0}, {"1", 0.01}, {"2", 0.001}, {"3", 1e-6}};
    for (const auto& row : rows) {
        const file_outcome read =
            read_systems(std::string("1 0 ") + row.unit + "\n10 -20 40\n10 -20 48\n12 -20 41\n0 0 0\n");
        ASSERT_EQ(read.file.size(), 208u);
        EXPECT_DOUBLE_EQ(double_at(read.file, 8), 10 * row.factor);
        EXPECT_DOUBLE_EQ(double_at(read.file, 16), -20 * row.factor);
        EXPECT_DOUBLE_EQ(double_at(read.file, 24), 40 * row.factor);
        expect_rotation(read.file, 0, {1, 0, 0, 0, 1, 0, 0, 0, 1});
    }
}

TEST_F(lcs_data, systems_stand_in_file_order_with_gaps_and_repeats)
{
    const file_outcome read =
        read_systems("9 0 0\n" + global_axes + "2 1 0\n" + global_axes + "9 1 0\n" + global_axes + "0 0 0\n");
    ASSERT_EQ(read.file.size(), 416u);
    EXPECT_EQ(int_at(read.file, 0), 9);
    EXPECT_EQ(int_at(read.file, 104), 2);
    EXPECT_EQ(int_at(read.file, 208), 9);
    EXPECT_EQ(int_at(read.file, 312), 0);
}

TEST_F(lcs_data, end_line_counts_against_the_limit)
{
    tarnel::control cntl = small_control();
    cntl.maxprp = 2;
    const std::string systems = "2 0 0\n" + global_axes + "1 0 0\n" + global_axes;
    const file_outcome full = read_systems(systems + "0 0 0\n", cntl);
    EXPECT_TRUE(full.failed);
    EXPECT_EQ(full.log, heading + "      Error. in t-lcs-data.txt(r).\n"
                                  "             There is no end-data(lno=0),\n"
                                  "             or, maxprp is too small.\n");
    EXPECT_EQ(full.file.size(), 208u); // as far as it was written
    cntl.maxprp = 3;
    EXPECT_FALSE(read_systems(systems + "0 0 0\n", cntl).failed);
    cntl.maxprp = 1;
    EXPECT_FALSE(read_systems("0 0 0\n", cntl).failed);
}

TEST_F(lcs_data, points_that_give_no_axes_are_refused)
{
    const std::string place = "      Error. in t-lcs-data.txt(r).\n";
    const struct {
        const char* points;
        const char* line;
    } rows[] = {
        {"1 2 3\n1 2 3\n4 5 6\n", "             b-vector is 0.  lno = 12 \n"},
        {"1 2 3\n1 2 3\n1 2 3\n", "             b-vector is 0.  lno = 12 \n"}, // b is looked at first
        {"1e300 -1e300 1e300\n1e300 -1e300 1e300\n0 0 0\n", "             b-vector is 0.  lno = 12 \n"},
        {"1 2 3\n2 3 4\n3 4 5\n", "             c-vector is 0.  lno = 12 \n"},
        {"1 2 3\n2 3 4\n1 2 3\n", "             c-vector is 0.  lno = 12 \n"},
    };
    for (const auto& row : rows) {
        const file_outcome read = read_systems(std::string("12 0 0\n") + row.points + "0 0 0\n");
        EXPECT_TRUE(read.failed);
        EXPECT_EQ(read.log, heading + place + row.line);
        EXPECT_EQ(read.file, "");
    }
}

TEST_F(lcs_data, axes_as_long_as_the_threshold_pass)
{
    tarnel::control cntl = small_control();
    cntl.eps_zero = 4;
    const std::string end = "0 0 0\n";
    // |b|2 = 4, and |c|2 = 4 since c comes from b as it stands; from the unit vector it would be 1
    EXPECT_FALSE(read_systems("1 0 0\n0 0 0\n0 0 2\n1 0 0\n" + end, cntl).failed);
    EXPECT_EQ(read_systems("1 0 0\n0 0 0\n0 0 1.9999999\n9 0 0\n" + end, cntl).log,
              heading + "      Error. in t-lcs-data.txt(r).\n             b-vector is 0.  lno = 1 \n");
    EXPECT_EQ(read_systems("1 0 0\n0 0 0\n0 0 2\n0.9999999 0 0\n" + end, cntl).log,
              heading + "      Error. in t-lcs-data.txt(r).\n             c-vector is 0.  lno = 1 \n");
}

TEST_F(lcs_data, fields_are_counted_and_bounded)
{
    const std::string head = "1 0 0\n", end = "0 0 0\n";
    const struct {
        std::string text, tail;
    } rows[] = {
        {"1 0\n", wrong_count("1 0")},
        {"1 0 0 0\n", wrong_count("1 0 0 0")},
        {"0\n", wrong_count("0")},
        {"\n", wrong_count("")},
        {"-1 0 0\n", over_the_limit("integer", 1, "-1 0 0")},
        {"101 0 0\n", over_the_limit("integer", 1, "101 0 0")},
        {"1 -1 0\n", over_the_limit("integer", 2, "1 -1 0")},
        {"1 2 0\n", over_the_limit("integer", 2, "1 2 0")},
        {"1 0 -1\n", over_the_limit("integer", 3, "1 0 -1")},
        {"1 0 4\n", over_the_limit("integer", 3, "1 0 4")},
        {"0 2 0\n", over_the_limit("integer", 2, "0 2 0")},
        {"0 0 4\n", over_the_limit("integer", 3, "0 0 4")},
        {"1 x 0\n", "      Error. illegal integer parameter. ip = 2 \n" + at_line("1 x 0")},
        {head + "0 0\n", wrong_count("0 0")},
        {head + "0 0 0 0\n", wrong_count("0 0 0 0")},
        {head + "0 0 0\n0\n", wrong_count("0")},
        {head + "0 0 0\n0 0 1\n1 0 0 9\n", wrong_count("1 0 0 9")},
        {head + "0 0 0\n0 0 0\n1 0\n", wrong_count("1 0")}, // all three points are read before their axes are formed
        {head + "1.01e300 0 0\n", over_the_limit("double", 1, "1.01e300 0 0")},
        {head + "0 -1.01e300 0\n", over_the_limit("double", 2, "0 -1.01e300 0")},
        {head + "0 0 0\n0 0 1.01e300\n", over_the_limit("double", 3, "0 0 1.01e300")},
        {head + "0 0 0\n0 0 1\nnan 0 0\n", over_the_limit("double", 1, "nan 0 0")},
        {"", at_end_of_file("")},
        {"0 0 0", at_end_of_file("0 0 0")},
        {head + global_axes, at_end_of_file("")},
        {head + "0 0 0\n", at_end_of_file("")},
    };
    for (const auto& row : rows) {
        const file_outcome read = read_systems(row.text);
        EXPECT_TRUE(read.failed) << row.text;
        EXPECT_EQ(read.log, heading + row.tail);
    }
    tarnel::control cntl = small_control();
    cntl.maxprp = 900000000;
    EXPECT_EQ(int_at(read_systems("900000000 1 3\n" + global_axes + end, cntl).file, 0), 900000000);
    EXPECT_EQ(read_systems("900000001 0 0\n", cntl).log, heading + over_the_limit("integer", 1, "900000001 0 0"));
}

TEST_F(lcs_data, records_before_a_fault_are_kept)
{
    const file_outcome read = read_systems("3 0 0\n" + global_axes + "4 0 0\n0 0 0\n0 0 0\n0 0 0\n");
    EXPECT_TRUE(read.failed);
    ASSERT_EQ(read.file.size(), 104u);
    EXPECT_EQ(int_at(read.file, 0), 3);
}

TEST_F(lcs_data, refused_write_is_reported)
{
    renew_file("t-lcs-data.txt", "3 0 0\n" + global_axes + "0 0 0\n");
    for (const std::size_t room : {0u, 103u, 104u, 207u, 208u, 65536u}) {
        opened_input in("t-lcs-data.txt");
        const stage_outcome read =
            run_on_full_device("t-lcs-struct.tmp", room, [&](tarnel::output_file& out, std::FILE* log) {
                tarnel::t_rd_lcs_data(small_control(), {in, out}, log);
            });
        EXPECT_TRUE(read.failed) << room;
        EXPECT_EQ(read.log, heading + "      Error. in t-lcs-struct.tmp(w).\n");
    }
}
