#include "results/node_resl.h"

#include "assembly/hand_files.h"

#include <cstdio>
#include <limits>

using namespace tarnel_test;

namespace
{

const std::string heading = "    === in func. eat_calc_node_resl ===\n";
const std::string table_head =
    "\n  ORVAN  <tarnel> May.2006\n\n  Copyright (c) the tarnel authors\n    === nodal results ===\n\n";
const std::string planar_columns = "      nog, x, y, Az ... \n";

std::string row(int nog, double x, double y, double potential)
{
    char text[200];
    std::snprintf(text, sizeof text, "  %10d %15.5e %15.5e %15.5e \n", nog, x, y, potential);
    return text;
}

std::string result(int nog, double potential)
{
    return bytes().add_i(nog).add_i(0).add_d(potential).text();
}

const std::string result_end(16, '\0');

class node_results : public stage_test
{
protected:
    stage_outcome run(const std::string& table_at = "at-node-resl.txt",
                      const std::string& results_at = "at-nresl-struct.tmp") const
    {
        return run_stage([&](std::FILE* log) {
            opened_input nodes("at-node-struct.tmp"), solution("t-femr-solution.tmp");
            opened_output table(table_at, "at-node-resl.txt"), results(results_at, "at-nresl-struct.tmp");
            tarnel::eat_calc_node_resl(cntl, {nodes, solution, table, results}, log);
        });
    }
    void set(const std::vector<hand_node>& nodes, const std::vector<double>& solution) const
    {
        write_file("at-node-struct.tmp", node_file(nodes));
        write_file("t-femr-solution.tmp", solution_file(solution));
    }
    void expect_done(int ndim) const
    {
        const stage_outcome outcome = run();
        EXPECT_FALSE(outcome.failed);
        EXPECT_EQ(outcome.log, start(ndim));
    }
    void expect_failure(const std::string& log) const
    {
        const stage_outcome outcome = run();
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, log);
    }
    static std::string start(int ndim) { return heading + "      ndim = " + std::to_string(ndim) + " \n"; }
    tarnel::control cntl = small_control();
};

} // namespace

TEST_F(node_results, list_free_fixed_and_dependent_nodes_and_leave_out_nodes_without_an_element)
{
    set({{1, 0.5, -2, 1, 0, 1, 9},
         {2, 1, 3, 1, 0.25, -1, 9},  // its master's potential negated, plus a constant
         {3, 7, 8, 0, 100, 100, 9},  // no element uses it
         {5, 4, 5, -1, 3.5, 100, 9}, // fixed
         {9, 6, 6, -7, 2.5, 100, 9}, // fixed too
         {10, 1e-9, 1e9, 2, -1, 0.5}},
        {6, 8});
    expect_done(2);
    EXPECT_EQ(read_file("at-node-resl.txt"), table_head + planar_columns + row(1, 0.5, -2, 6) + row(2, 1, 3, -5.75) +
                                                 row(5, 4, 5, 3.5) + row(9, 6, 6, 2.5) + row(10, 1e-9, 1e9, 3));
    EXPECT_EQ(read_file("at-nresl-struct.tmp"),
              result(1, 6) + result(2, -5.75) + result(5, 3.5) + result(9, 2.5) + result(10, 3) + result_end);
}

TEST_F(node_results, table_rows_hold_these_characters)
{
    set({{7, 0.5, -2, 1, 0, 1}}, {-1234567.5});
    expect_done(1);
    EXPECT_EQ(read_file("at-node-resl.txt"),
              table_head + planar_columns + "           7     5.00000e-01    -2.00000e+00    -1.23457e+06 \n");
}

TEST_F(node_results, numbers_of_any_size_keep_their_columns)
{
    const double infinite = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
    cntl.maxnog = std::numeric_limits<int>::max();
    set({{2147483646, 1e-310, -1e300, 1, 0, 1}, {1, -0.0, 0.5e-5, 2, 0, 1}, {2, infinite, -infinite, 3, 0, 1}},
        {-9.999996, 0.1000005, nan});
    expect_done(3);
    EXPECT_EQ(read_file("at-node-resl.txt"), table_head + planar_columns + row(2147483646, 1e-310, -1e300, -9.999996) +
                                                 row(1, -0.0, 0.5e-5, 0.1000005) + row(2, infinite, -infinite, nan));
}

TEST_F(node_results, column_heads_follow_the_geometry)
{
    set({{1, 2, 3, 1}}, {4});
    const std::string heads[] = {planar_columns, "      nog, r, z, Atheta ... \n", "", ""};
    const int kinds[] = {0, 1, 2, -1};
    for (std::size_t k = 0; k < 4; ++k) {
        cntl.iax = kinds[k];
        expect_done(1);
        EXPECT_EQ(read_file("at-node-resl.txt"), table_head + heads[k] + row(1, 2, 3, 4));
    }
}

TEST_F(node_results, empty_node_list_still_gives_the_heads_and_the_end_record)
{
    set({}, {4});
    expect_done(1);
    EXPECT_EQ(read_file("at-node-resl.txt"), table_head + planar_columns);
    EXPECT_EQ(read_file("at-nresl-struct.tmp"), result_end);
}

TEST_F(node_results, number_of_unknowns_must_be_positive_and_maxdim_is_not_asked)
{
    cntl.maxdim = 1;
    set({{1, 2, 3, 2}}, {4, 5});
    expect_done(2);
    for (const int ndim : {0, -1, std::numeric_limits<int>::min()}) {
        write_file("t-femr-solution.tmp", patched(solution_file({4}), 0, ndim));
        expect_failure(start(ndim) + "      Error. ndim <= 0.\n");
    }
}

TEST_F(node_results, solution_cut_at_any_byte_is_reported_and_bytes_after_it_are_not_looked_at)
{
    set({{1, 2, 3, 1}}, {4, 5});
    const std::string whole = read_file("t-femr-solution.tmp");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        write_file("t-femr-solution.tmp", whole.substr(0, size));
        expect_failure(size < 4 ? heading + file_error("t-femr-solution.tmp", "r1")
                                : start(2) + file_error("t-femr-solution.tmp", "r2"));
    }
    write_file("t-femr-solution.tmp", whole + "more");
    expect_done(2);
    write_file("t-femr-solution.tmp", patched(whole, 0, std::numeric_limits<int>::max()));
    expect_failure(start(std::numeric_limits<int>::max()) + file_error("t-femr-solution.tmp", "r2"));
}

TEST_F(node_results, node_file_cut_at_any_byte_is_reported_and_bytes_after_its_end_are_not_looked_at)
{
    set({{1, 2, 3, 1}}, {4});
    const std::string whole = read_file("at-node-struct.tmp");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        write_file("at-node-struct.tmp", whole.substr(0, size));
        expect_failure(start(1) + file_error("at-node-struct.tmp", "r"));
    }
    write_file("at-node-struct.tmp", whole + "more");
    expect_done(1);
}

TEST_F(node_results, node_numbers_and_the_end_of_the_list_are_checked_against_maxnog)
{
    set({{1, 2, 3, 1}, {3, 2, 3, 1}}, {4});
    cntl.maxnog = 3;
    expect_done(1);
    cntl.maxnog = 2; // the second number comes before the missing end
    expect_failure(start(1) + "      Error. node no. over the limit.\n");
    set({{1, 2, 3, 1}, {2, 2, 3, 1}}, {4});
    expect_failure(start(1) + no_end("at-node-struct.tmp", "nog", "maxnog"));
    for (const int limit : {0, -1}) {
        cntl.maxnog = limit;
        expect_failure(start(1) + no_end("at-node-struct.tmp", "nog", "maxnog"));
    }
    cntl.maxnog = 100;
    for (const int nog : {-1, 101}) {
        set({{nog, 2, 3, 99}}, {4});
        expect_failure(start(1) + "      Error. node no. over the limit.\n");
    }
}

TEST_F(node_results, unknown_number_of_a_node_must_not_exceed_ndim)
{
    set({{1, 2, 3, 2}, {4, 2, 3, 3}}, {4, 5});
    expect_failure(start(2) + "      Error. node.nufai > ndim.  nog = 4 \n");
    EXPECT_EQ(read_file("at-node-resl.txt"), table_head + planar_columns + row(1, 2, 3, 5)); // as far as it came
}

TEST_F(node_results, full_disk_is_reported_for_either_file)
{
    set({{1, 2, 3, 1}}, {4});
    EXPECT_EQ(run("/dev/full").log, start(1) + file_error("at-node-resl.txt", "w"));
    EXPECT_EQ(run("at-node-resl.txt", "/dev/full").log, start(1) + file_error("at-nresl-struct.tmp", "w"));
    // more than the stream holds: the records are found out before the table is done
    const std::vector<hand_node> many(5000, {1, 2, 3, 1});
    cntl.maxnog = 6000;
    set(many, {4});
    EXPECT_EQ(run("at-node-resl.txt", "/dev/full").log, start(1) + file_error("at-nresl-struct.tmp", "w"));
    EXPECT_EQ(run("/dev/full").log, start(1) + file_error("at-node-resl.txt", "w"));
}
