#include "prep/check_node_data.h"
#include "prep/work_files.h"

#include <limits>

using namespace tarnel_test;
using check_node_data = stage_test;

static const std::string heading = "    === in func. eat_check_node_data ===\n";
static const std::string nodes_1_to_4 = node_record(1) + node_record(2) + node_record(3) + node_record(4) + node_end;
static const std::string triangle = felm_record(1, 203, {1, 2, 3}) + felm_end;

static stage_outcome check(const std::string& nodes, const std::string& felms, const std::string& belms,
                           tarnel::control cntl = small_control())
{
    renew_file("t-nodes-struct.tmp", nodes);
    renew_file("t-felms-struct.tmp", felms);
    renew_file("at-belm-struct.tmp", belms);
    opened_input node_file("t-nodes-struct.tmp"), felm_file("t-felms-struct.tmp"), belm_file("at-belm-struct.tmp");
    cntl.iopt_belm = 1;
    return run_stage([&](std::FILE* log) {
        tarnel::eat_check_node_data(cntl, {node_file, felm_file, &belm_file}, log);
    });
}
static stage_outcome check(const std::string& nodes, const std::string& felms,
                           const tarnel::control& cntl = small_control())
{
    renew_file("t-nodes-struct.tmp", nodes);
    renew_file("t-felms-struct.tmp", felms);
    opened_input node_file("t-nodes-struct.tmp"), felm_file("t-felms-struct.tmp");
    return run_stage([&](std::FILE* log) { tarnel::eat_check_node_data(cntl, {node_file, felm_file, nullptr}, log); });
}

static void expect_passed(const stage_outcome& outcome)
{
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, heading);
}
static void expect_refused(const stage_outcome& outcome, const std::string& tail)
{
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, heading + tail);
}

static std::string undefined(int nog)
{
    return "      Error. node no. " + std::to_string(nog) + " not defined.\n";
}
static std::string boundary_only(int nog)
{
    return "      Error. node no. " + std::to_string(nog) +
           " is illegal.\n"
           "             Because, the node in boundary element\n"
           "             refered by no finite element.\n";
}

TEST_F(check_node_data, used_nodes_that_are_defined_pass)
{
    expect_passed(check(nodes_1_to_4, triangle)); // node 4 is used by none
    expect_passed(check(nodes_1_to_4, felm_end));
    expect_passed(check(node_end, felm_end));
    expect_passed(check(nodes_1_to_4, triangle, belm_record(1, 102, {3, 1}) + belm_end));
    expect_passed(check(nodes_1_to_4, triangle, belm_record(9, 103, {1, 2, 3}) + belm_end));
    expect_passed(check(nodes_1_to_4, triangle, belm_end));
}

TEST_F(check_node_data, every_type_has_its_node_count)
{
    const std::vector<int> used = {1, 2, 3, 4, 1, 2, 3, 4};
    const struct {
        int code;
        std::size_t nodes;
    } rows[] = {{203, 3}, {204, 4}, {206, 6}, {208, 8}};
    for (const auto& row : rows) {
        std::vector<int> nodes(used.begin(), used.begin() + static_cast<std::ptrdiff_t>(row.nodes));
        std::vector<int> more = nodes;
        more.push_back(77); // beyond the count: not looked at
        expect_passed(check(nodes_1_to_4, felm_record(1, row.code, more) + felm_end));
        nodes.back() = 5; // the last is
        expect_refused(check(nodes_1_to_4, felm_record(1, row.code, nodes) + felm_end), undefined(5));
    }
    for (const int code : {0, 102, 202, 205, 207, 209, 304, 306, 308, 310, 315, 320, -203})
        expect_refused(check(nodes_1_to_4, felm_record(6, code, used) + felm_end), bad_type(6));
}

TEST_F(check_node_data, boundary_types_have_2_and_3_nodes)
{
    expect_passed(check(nodes_1_to_4, triangle, belm_record(1, 102, {1, 2, 4}) + belm_end)); // the third is not read
    expect_refused(check(nodes_1_to_4, triangle, belm_record(1, 102, {1, 4}) + belm_end), boundary_only(4));
    expect_refused(check(nodes_1_to_4, triangle, belm_record(1, 103, {1, 2, 4}) + belm_end), boundary_only(4));
    for (const int code : {0, 101, 104, 203, -102})
        expect_refused(check(nodes_1_to_4, triangle, belm_record(8, code, {1, 2, 3}) + belm_end),
                       "      Error. boundary element type no. is illegal.\n             nob = 8 .\n");
}

TEST_F(check_node_data, lowest_faulty_node_is_reported)
{
    const std::string quadrilateral = felm_record(1, 204, {1, 30, 2, 20}) + felm_end;
    expect_refused(check(nodes_1_to_4, quadrilateral), undefined(20));
    const struct {
        std::vector<int> nodes; // of a boundary element
        std::string tail;
    } rows[] = {
        {{4, 3}, boundary_only(3)},    // both defined, neither used
        {{4, 50}, boundary_only(4)},   // one not even defined
        {{10, 50}, boundary_only(10)}, // not defined either
        {{10, 3}, boundary_only(3)},   {{50, 25}, undefined(20)},
        {{1, 20}, undefined(20)}, // undefined goes before boundary-only
        {{30, 25}, undefined(20)},     {{1, 2}, undefined(20)},
    };
    for (const auto& row : rows)
        expect_refused(check(nodes_1_to_4, quadrilateral, belm_record(1, 102, row.nodes) + belm_end), row.tail);
    // a used and undefined node among boundary-only ones that are higher and lower
    const std::string high = felm_record(1, 203, {1, 2, 60}) + felm_end;
    expect_refused(check(nodes_1_to_4, high, belm_record(1, 103, {60, 70, 50}) + belm_end), boundary_only(50));
    expect_refused(check(nodes_1_to_4, high, belm_record(1, 103, {60, 70, 80}) + belm_end), undefined(60));
    expect_refused(check(nodes_1_to_4, triangle, belm_record(1, 102, {99, 98}) + belm_end), boundary_only(98));
}

TEST_F(check_node_data, unordered_and_repeated_nodes_are_known)
{
    const std::string nodes = node_record(90) + node_record(7) + node_record(90) + node_record(8) + node_record(7);
    const std::string felms = felm_record(1, 203, {90, 8, 7}) + felm_end;
    expect_passed(check(nodes + node_end, felms, belm_record(1, 103, {7, 8, 90}) + belm_end));
    expect_refused(check(nodes + node_record(6) + node_end, felms, belm_record(1, 103, {7, 6, 90}) + belm_end),
                   boundary_only(6));
    expect_refused(check(nodes + node_end, felm_record(1, 203, {90, 89, 9}) + felm_end), undefined(9));
}

TEST_F(check_node_data, without_the_switch_boundary_elements_are_not_read)
{
    renew_file("at-belm-struct.tmp", belm_record(1, 999, {4, 50}));
    expect_passed(check(nodes_1_to_4, triangle));
}

TEST_F(check_node_data, numbers_of_the_lists_are_bounded)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = 9, cntl.maxfelm = 8, cntl.maxbelm = 7;
    const int low = std::numeric_limits<std::int32_t>::min();
    for (const int nog : {-1, 10, low}) expect_refused(check(node_record(nog), triangle, cntl), node_limit);
    for (const int noe : {-1, 9, low}) expect_refused(check(nodes_1_to_4, felm_record(noe, 999, {}), cntl), felm_limit);
    for (const int nob : {-1, 8, low})
        expect_refused(check(nodes_1_to_4, triangle, belm_record(nob, 999, {}), cntl),
                       "      Error. boundary element no. over the limit.\n");
    expect_passed(check(node_record(9) + nodes_1_to_4, felm_record(8, 203, {9, 1, 2}) + felm_end,
                        belm_record(7, 102, {9, 1}) + belm_end, cntl));
}

TEST_F(check_node_data, node_numbers_of_elements_are_bounded)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = 9;
    for (const int bad :
         {0, -1, 10, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()})
        for (std::size_t j = 0; j < 3; ++j) {
            std::vector<int> nodes = {1, 2, 3};
            nodes[j] = bad;
            const int position = static_cast<int>(j) + 1;
            expect_refused(check(nodes_1_to_4, felm_record(5, 203, nodes) + felm_end, cntl),
                           bad_connection("fem", 5, position));
            expect_refused(check(nodes_1_to_4, triangle, belm_record(6, 103, nodes) + belm_end, cntl),
                           bad_connection("bem", 6, position));
        }
    expect_refused(check(nodes_1_to_4, felm_record(5, 208, {1, 2, 3, 4, 1, 2, 3, 10}) + felm_end, cntl),
                   bad_connection("fem", 5, 8));
    expect_refused(check(nodes_1_to_4, felm_record(5, 204, {1, 2, 0, 10}) + felm_end, cntl),
                   bad_connection("fem", 5, 3)); // the first of two
    expect_refused(check(nodes_1_to_4, felm_record(5, 204, {1, 9, 0, 1}) + felm_end, cntl),
                   bad_connection("fem", 5, 3)); // before a node that is not defined
}

TEST_F(check_node_data, end_records_count_against_the_limits)
{
    tarnel::control cntl = small_control();
    const std::string two_felms = felm_record(1, 203, {1, 2, 3}) + felm_record(2, 203, {1, 2, 3}) + felm_end;
    const std::string two_belms = belm_record(1, 102, {1, 2}) + belm_record(2, 102, {2, 3}) + belm_end;
    cntl.maxnog = 4;
    expect_refused(check(nodes_1_to_4, two_felms, cntl), no_end("t-nodes-struct.tmp", "nog", "maxnog"));
    cntl.maxnog = 5;
    cntl.maxfelm = 2;
    expect_refused(check(nodes_1_to_4, two_felms, cntl), no_end("t-felms-struct.tmp", "noe", "maxfelm"));
    cntl.maxfelm = 3;
    cntl.maxbelm = 2;
    expect_refused(check(nodes_1_to_4, two_felms, two_belms, cntl), no_end("at-belm-struct.tmp", "nob", "maxbelm"));
    cntl.maxbelm = 0; // not one record may be read
    expect_refused(check(nodes_1_to_4, two_felms, belm_end, cntl), no_end("at-belm-struct.tmp", "nob", "maxbelm"));
    cntl.maxbelm = 3;
    expect_passed(check(nodes_1_to_4, two_felms, two_belms, cntl));
    cntl.maxbelm = 1;
    expect_passed(check(nodes_1_to_4, two_felms, belm_end, cntl));
}

TEST_F(check_node_data, last_record_within_the_limit_is_checked_before_its_end_is_missed)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = 5, cntl.maxfelm = 1;
    expect_refused(check(nodes_1_to_4, felm_record(2, 203, {1, 2, 3}) + felm_end, cntl), felm_limit);
    expect_refused(check(nodes_1_to_4, felm_record(1, 203, {1, 0, 3}) + felm_end, cntl), bad_connection("fem", 1, 2));
}

TEST_F(check_node_data, files_cut_at_any_byte_are_short_reads)
{
    const std::string belms = belm_record(1, 102, {1, 2}) + belm_end;
    const std::string nodes = node_record(1) + node_record(2) + node_record(3) + node_end;
    for (std::size_t n = 0; n < nodes.size(); ++n)
        expect_refused(check(nodes.substr(0, n), triangle, belms), short_read("t-nodes-struct.tmp"));
    for (std::size_t n = 0; n < triangle.size(); ++n)
        expect_refused(check(nodes, triangle.substr(0, n), belms), short_read("t-felms-struct.tmp"));
    for (std::size_t n = 0; n < belms.size(); ++n)
        expect_refused(check(nodes, triangle, belms.substr(0, n)), short_read("at-belm-struct.tmp"));
    expect_passed(check(nodes + "x", triangle + "x", belms + "x")); // nothing behind an end record is looked at
}

TEST_F(check_node_data, faults_are_reported_in_reading_order)
{
    const std::string bad_nodes = node_record(-1), bad_felms = felm_record(1, 999, {}),
                      bad_belms = belm_record(1, 9, {});
    const std::string far = felm_record(1, 203, {1, 2, 99}) + felm_end;
    expect_refused(check(bad_nodes, bad_felms, bad_belms), node_limit);
    expect_refused(check(nodes_1_to_4, bad_felms, bad_belms), bad_type(1));
    expect_refused(check(nodes_1_to_4, far, bad_belms),
                   "      Error. boundary element type no. is illegal.\n             nob = 1 .\n");
    expect_refused(check(nodes_1_to_4, far, belm_end), undefined(99));
}

TEST_F(check_node_data, end_records_hold_anything_behind_their_number)
{
    expect_passed(check(node_record(1) + node_record(2) + node_record(3) + node_record(0, -1, 2, 3),
                        felm_record(1, 203, {1, 2, 3}) + felm_record(0, 999, {-1, -1, -1}),
                        belm_record(0, 999, {-1, -1, -1})));
}

TEST_F(check_node_data, limits_of_900_million_are_bounds_and_nothing_else)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = cntl.maxfelm = cntl.maxbelm = 900000000;
    const int top = 900000000;
    const std::string nodes = node_record(top) + node_record(5) + node_record(40000);
    const std::string felms = felm_record(top, 203, {top, 5, 40000}) + felm_end;
    const std::string belms = belm_record(top, 103, {5, top, 40000}) + belm_end;
    expect_passed(check(nodes + node_end, felms, belms, cntl));
    expect_refused(check(nodes + node_end, felm_record(1, 203, {top, top - 1, 5}) + felm_end, cntl),
                   undefined(top - 1));
    expect_refused(check(nodes + node_end, felms, belm_record(1, 102, {top, 39999}) + belm_end, cntl),
                   boundary_only(39999));
    expect_refused(check(node_record(top + 1), felms, cntl), node_limit);
}
