#include "readers/node_data.h"
#include "readers/stage_files.h"

using namespace tarnel_test;
using node_data = stage_test;

static const std::string head = "    === in func. t_rd_node_data ===\n";
static const std::string heading = head + "        Now, reading t-node-data.txt. \n";
static const std::string no_systems(104, '\0');

static std::string system_record(int lno, int type, double x, double y, double z)
{
    bytes record; // local x, y, z axes along global y, z, x
    record.add_i(lno).add_i(type).add_d(x).add_d(y).add_d(z);
    for (const double r : {0, 0, 1, 1, 0, 0, 0, 1, 0}) record.add_d(r);
    return record.text();
}

static file_outcome read_nodes(const std::string& text, const tarnel::control& cntl = small_control(),
                               const std::string& systems = no_systems)
{
    renew_file("t-node-data.txt", text);
    renew_file("t-lcs-struct.tmp", systems);
    opened_input in("t-node-data.txt"), lcs("t-lcs-struct.tmp");
    return run_writing("t-nodes-struct.tmp", [&](tarnel::output_file& out, std::FILE* log) {
        tarnel::t_rd_node_data(cntl, {lcs, in, out}, log);
    });
}

TEST_F(node_data, global_coordinates_are_stored_unchanged_by_offset)
{
    const file_outcome read = read_nodes("12 0 0.1 -2.5 1e300\n 3   0 -1e300 0 7 \n0 0 1 2 3\n");
    EXPECT_FALSE(read.failed);
    EXPECT_EQ(read.log, heading);
    ASSERT_EQ(read.file.size(), 96u);
    EXPECT_EQ(int_at(read.file, 0), 12);
    EXPECT_EQ(int_at(read.file, 4), 0);
    EXPECT_EQ(double_at(read.file, 8), 0.1);
    EXPECT_EQ(double_at(read.file, 16), -2.5);
    EXPECT_EQ(double_at(read.file, 24), 1e300);
    EXPECT_EQ(int_at(read.file, 32), 3);
    EXPECT_EQ(double_at(read.file, 40), -1e300);
    EXPECT_EQ(double_at(read.file, 48), 0.0);
    EXPECT_EQ(double_at(read.file, 56), 7.0);
    EXPECT_EQ(read.file.substr(64), std::string(32, '\0')); // whatever coordinates the end line gives
}

TEST_F(node_data, end_line_alone_writes_the_end_record)
{
    const file_outcome read = read_nodes("0 0 0 0 0\nnever read\n");
    EXPECT_FALSE(read.failed);
    EXPECT_EQ(read.log, heading);
    EXPECT_EQ(read.file, std::string(32, '\0'));
}

TEST_F(node_data, repeated_and_unordered_numbers_are_written_line_by_line)
{
    const file_outcome read = read_nodes("5 0 1 0 0\n2 0 2 0 0\n5 0 3 0 0\n0 0 0 0 0\n");
    ASSERT_EQ(read.file.size(), 128u);
    EXPECT_EQ(int_at(read.file, 0), 5);
    EXPECT_EQ(int_at(read.file, 32), 2);
    EXPECT_EQ(int_at(read.file, 64), 5);
    EXPECT_EQ(double_at(read.file, 72), 3.0);
}

TEST_F(node_data, local_coordinates_are_turned_into_global_ones)
{
    const std::string systems = system_record(4, 1, 1, 2, 3) + system_record(1, 0, 10, 20, 30) + std::string(104, '\0');
    const file_outcome read =
        read_nodes("1 1 1 2 3\n2 4 2 0 5\n3 0 1 2 3\n4 4 2 90 5\n0 0 0 0 0\n", small_control(), systems);
    EXPECT_FALSE(read.failed);
    ASSERT_EQ(read.file.size(), 160u);
    EXPECT_EQ(double_at(read.file, 8), 13.0); // local z
    EXPECT_EQ(double_at(read.file, 16), 21.0);
    EXPECT_EQ(double_at(read.file, 24), 32.0);
    EXPECT_EQ(double_at(read.file, 40), 6.0); // 2 at 0 deg: along local x, which is global y
    EXPECT_EQ(double_at(read.file, 48), 4.0);
    EXPECT_EQ(double_at(read.file, 56), 3.0);
    EXPECT_EQ(double_at(read.file, 72), 1.0);
    EXPECT_EQ(double_at(read.file, 80), 2.0);
    EXPECT_EQ(double_at(read.file, 88), 3.0);
    // 90 deg with the truncated factor 3.1415926/180 is 2.679489662e-8 short of the right angle
    EXPECT_EQ(double_at(read.file, 104), 6.0);
    EXPECT_NEAR(double_at(read.file, 112), 2 + 2 * 2.679489662e-8, 1e-15);
    EXPECT_DOUBLE_EQ(double_at(read.file, 120), 5.0);
}

TEST_F(node_data, system_that_is_not_defined_ends_the_run_at_a_node_and_not_at_the_end_line)
{
    const file_outcome node = read_nodes("1 0 1 2 3\n2 7 1 2 3\n0 0 0 0 0\n");
    EXPECT_TRUE(node.failed);
    EXPECT_EQ(node.log, heading + "      Error. lcs_data not defined. lno = 7 \n");
    EXPECT_EQ(node.file.size(), 32u); // the records written so far
    EXPECT_EQ(int_at(node.file, 0), 1);
    const file_outcome end = read_nodes("0 7 1 2 3\n");
    EXPECT_FALSE(end.failed);
    EXPECT_EQ(end.file, std::string(32, '\0'));
}

TEST_F(node_data, end_line_counts_against_the_limit)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = 3;
    const std::string three = "1 0 0 0 0\n2 0 0 0 0\n3 0 0 0 0\n";
    for (const char* after : {"", "0 0 0 0 0\n"}) {
        const file_outcome read = read_nodes(three + after, cntl);
        EXPECT_TRUE(read.failed);
        EXPECT_EQ(read.log, heading + "      Error. in t-node-data.txt(r).\n"
                                      "             There is no end-data(nog=0),\n"
                                      "             or, maxnog is too small.\n");
        EXPECT_EQ(read.file.size(), 96u);
    }
    cntl.maxnog = 4;
    EXPECT_FALSE(read_nodes(three + "0 0 0 0 0\n", cntl).failed);
}

TEST_F(node_data, fields_are_counted_and_bounded)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = 50;
    cntl.maxprp = 7;
    const struct {
        std::string text, tail;
    } rows[] = {
        {"1 0 0 0\n", wrong_count("1 0 0 0")},
        {"1 0 0 0 0 0\n", wrong_count("1 0 0 0 0 0")},
        {"0\n", wrong_count("0")},
        {"\n", wrong_count("")},
        {"1 0 0 0 0\n0 0 0 0\n", wrong_count("0 0 0 0")},
        {"-1 0 0 0 0\n", over_the_limit("integer", 1, "-1 0 0 0 0")},
        {"51 0 0 0 0\n", over_the_limit("integer", 1, "51 0 0 0 0")},
        {"50 -1 0 0 0\n", over_the_limit("integer", 2, "50 -1 0 0 0")},
        {"50 8 0 0 0\n", over_the_limit("integer", 2, "50 8 0 0 0")},
        {"0 8 0 0 0\n", over_the_limit("integer", 2, "0 8 0 0 0")},
        {"51 8 0 0 0\n", over_the_limit("integer", 1, "51 8 0 0 0")},
        {"1 0 1.01e300 0 0\n", over_the_limit("double", 3, "1 0 1.01e300 0 0")},
        {"1 0 0 -1.01e300 0\n", over_the_limit("double", 4, "1 0 0 -1.01e300 0")},
        {"1 0 0 0 1.01e300\n", over_the_limit("double", 5, "1 0 0 0 1.01e300")},
        {"0 0 0 0 1.01e300\n", over_the_limit("double", 5, "0 0 0 0 1.01e300")},
        {"1 3 0 0 nan\n", over_the_limit("double", 5, "1 3 0 0 nan")}, // before the system is looked up
        {"1 0 0 1.5x 0\n", "      Error. illegal double parameter. ip = 4 \n" + at_line("1 0 0 1.5x 0")},
        {"1 0 0 0 0\n", at_end_of_file("")},
        {"0 0 0 0 0", at_end_of_file("0 0 0 0 0")},
    };
    const auto read = [&](const std::string& text) { return read_nodes(text, cntl); };
    for (const auto& row : rows) expect_refused_anywhere(read, "1 0 0 0 0\n", row.text, heading + row.tail);
    const file_outcome largest =
        read_nodes("50 7 0 0 0\n0 0 0 0 0\n", cntl, system_record(7, 0, 0, 0, 0) + std::string(104, '\0'));
    EXPECT_FALSE(largest.failed);
    EXPECT_EQ(int_at(largest.file, 0), 50);
}

TEST_F(node_data, faults_of_the_systems_come_before_the_first_line)
{
    const struct {
        std::string systems, tail;
    } rows[] = {
        {"", "      Error. in t-lcs-struct.tmp(r).\n"},
        {std::string(103, '\0'), "      Error. in t-lcs-struct.tmp(r).\n"},
        {system_record(101, 0, 0, 0, 0), "      Error. lcs-data no. over the limit.\n"},
        {system_record(-1, 0, 0, 0, 0), "      Error. lcs-data no. over the limit.\n"},
    };
    for (const auto& row : rows) {
        const file_outcome read = read_nodes("not a node\n", small_control(), row.systems);
        EXPECT_TRUE(read.failed);
        EXPECT_EQ(read.log, head + row.tail);
        EXPECT_EQ(read.file, "");
    }
    tarnel::control cntl = small_control();
    cntl.maxprp = 1;
    EXPECT_EQ(read_nodes("0 0 0 0 0\n", cntl, system_record(1, 0, 0, 0, 0) + no_systems).log,
              head + "      Error. in t-lcs-struct.tmp(r).\n"
                     "             There is no end-data(lno=0),\n"
                     "             or, maxprp is too small.\n");
}

TEST_F(node_data, limits_of_900_million_are_bounds_and_nothing_else)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = cntl.maxprp = 900000000;
    const std::string systems = system_record(900000000, 0, 1, 1, 1) + std::string(104, '\0');
    const file_outcome read = read_nodes("900000000 900000000 1 2 3\n0 0 0 0 0\n", cntl, systems);
    EXPECT_FALSE(read.failed);
    EXPECT_EQ(int_at(read.file, 0), 900000000);
    EXPECT_EQ(double_at(read.file, 8), 4.0);
    EXPECT_EQ(read_nodes("900000001 0 1 2 3\n", cntl).log, heading + over_the_limit("integer", 1, "900000001 0 1 2 3"));
    EXPECT_EQ(read_nodes("1 900000001 1 2 3\n", cntl).log, heading + over_the_limit("integer", 2, "1 900000001 1 2 3"));
}

TEST_F(node_data, refused_write_is_reported)
{
    renew_file("t-node-data.txt", "1 0 0 0 0\n0 0 0 0 0\n");
    renew_file("t-lcs-struct.tmp", no_systems);
    for (const std::size_t room : {0u, 31u, 32u, 63u, 64u, 65536u}) {
        opened_input in("t-node-data.txt"), lcs("t-lcs-struct.tmp");
        const stage_outcome read =
            run_on_full_device("t-nodes-struct.tmp", room, [&](tarnel::output_file& out, std::FILE* log) {
                tarnel::t_rd_node_data(small_control(), {lcs, in, out}, log);
            });
        EXPECT_TRUE(read.failed) << room;
        EXPECT_EQ(read.log, heading + "      Error. in t-nodes-struct.tmp(w).\n");
    }
}
