#include "prep/matrix_index.h"
#include "prep/work_files.h"

#include <limits>

using namespace tarnel_test;
using matrix_index = stage_test;

static const std::string heading = "    === in func. eat_set_matrix_index ===\n";

// Nodes 1, 2, ... with these unknown numbers.
static std::string unknowns(const std::vector<int>& nufai)
{
    std::string text;
    int nog = 0;
    for (const int number : nufai) text += node_struct_record(++nog, 0, 0, number, 0, 1);
    return text + node_struct_end;
}

static file_outcome index_of(const std::string& nodes, const std::string& felms,
                             const tarnel::control& cntl = small_control())
{
    renew_file("at-node-struct.tmp", nodes);
    renew_file("t-felms-struct.tmp", felms);
    opened_input node_file("at-node-struct.tmp"), felm_file("t-felms-struct.tmp");
    return run_writing("t-matrix-index.tmp", [&](tarnel::output_file& out, std::FILE* log) {
        tarnel::eat_set_matrix_index(cntl, {node_file, felm_file, out}, log);
    });
}

static void expect_index(const file_outcome& outcome, const std::vector<int>& items)
{
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, heading);
    ASSERT_EQ(outcome.file.size(), 4 * items.size());
    for (std::size_t k = 0; k < items.size(); ++k) EXPECT_EQ(int_at(outcome.file, 4 * k), items[k]) << "item " << k;
}
static void expect_refused(const file_outcome& outcome, const std::string& tail)
{
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, heading + tail);
}
static std::string bad_unknowns(int ndim)
{
    return "      Error. unknown no. over the limit, or, 0.\n             ndim = " + std::to_string(ndim) + "\n";
}
static std::string empty_row(int index)
{
    return "      Error. no. of non-zero term is 0.\n             unknown no. = " + std::to_string(index) + " \n";
}
static const std::string full_row = "      Error. no. of non-zero term. over the limit.\n";

TEST_F(matrix_index, triangle_gives_its_three_rows)
{
    const std::string felm = felm_record(1, 203, {1, 2, 3}) + felm_end;
    expect_index(index_of(unknowns({1, 2, 3}), felm), {3, 3, 0, 1, 2, 2, 1, 2, 1, 2, 3});
    for (const auto& order : {std::vector{3, 2, 1}, {2, 3, 1}, {3, 1, 2}})
        expect_index(index_of(unknowns({1, 2, 3}), felm_record(1, 203, order) + felm_end),
                     {3, 3, 0, 1, 2, 2, 1, 2, 1, 2, 3});
}

TEST_F(matrix_index, elements_that_share_an_edge_add_new_couplings_alone)
{
    const std::string two = felm_record(1, 203, {1, 2, 4}) + felm_record(2, 203, {2, 3, 4}) + felm_end;
    const std::vector<int> rows = {4, 3, 0, 1, 3, 3, 1, 2, 3, 2, 2, 3, 1, 3, 4};
    expect_index(index_of(unknowns({1, 2, 3, 4}), two), rows);
    expect_index(index_of(unknowns({1, 2, 3, 4}), felm_record(7, 203, {2, 3, 4}) + two), rows); // twice is once
}

TEST_F(matrix_index, every_type_couples_all_its_nodes)
{
    for (const auto& [code, n] : {std::pair{203, 3}, {204, 4}, {206, 6}, {208, 8}}) {
        std::vector<int> nodes, rows = {n}, numbers;
        for (int i = 0; i < n; ++i) {
            nodes.push_back(n - i);
            numbers.push_back(i + 1);
            rows.push_back(n - i);
            for (int j = i; j < n; ++j) rows.push_back(j);
        }
        rows.push_back(n);
        expect_index(index_of(unknowns(numbers), felm_record(1, code, nodes) + felm_end), rows);
    }
}

TEST_F(matrix_index, fixed_and_unused_nodes_contribute_nothing)
{
    expect_index(index_of(unknowns({1, -1, 2}), felm_record(1, 203, {1, 2, 3}) + felm_end), {2, 2, 0, 1, 1, 1, 2});
    expect_index(index_of(unknowns({1, 0, 2}), felm_record(1, 203, {1, 2, 3}) + felm_end), {2, 2, 0, 1, 1, 1, 2});
    expect_index(index_of(unknowns({1, std::numeric_limits<std::int32_t>::min(), -2}),
                          felm_record(1, 203, {1, 2, 3}) + felm_end),
                 {1, 1, 0, 1});
    // an element of fixed nodes alone; nodes without a record
    expect_index(index_of(unknowns({1, -1, -1, -1}),
                          felm_record(2, 203, {2, 3, 4}) + felm_record(1, 203, {50, 1, 60}) + felm_end),
                 {1, 1, 0, 1});
}

TEST_F(matrix_index, dependent_node_adds_the_couplings_of_its_unknown)
{
    // Node 4 shares the unknown of node 1: the second element couples it with node 3, and with itself but once.
    const std::string two = felm_record(1, 203, {1, 2, 5}) + felm_record(2, 203, {4, 3, 1}) + felm_end;
    expect_index(index_of(unknowns({1, 2, 3, 1, -1}), two), {3, 3, 0, 1, 2, 1, 1, 1, 2, 3});
}

TEST_F(matrix_index, nodes_stand_in_any_order_with_gaps_and_repeats)
{
    const std::string nodes = node_struct_record(90, 0, 0, 3, 0, 1) + node_struct_record(7, 0, 0, 1, 0, 1) +
                              node_struct_record(90, 0, 0, 2, 0, 1) + node_struct_record(33, 0, 0, 3, 0, 1) +
                              node_struct_end;
    expect_index(index_of(nodes, felm_record(1, 203, {90, 33, 7}) + felm_end), {3, 3, 0, 1, 2, 2, 1, 2, 1, 2, 3});
}

TEST_F(matrix_index, number_of_unknowns_is_the_largest_seen_and_within_the_limit)
{
    const std::string felm = felm_record(1, 203, {1, 2, 3}) + felm_end;
    tarnel::control cntl = small_control();
    cntl.maxdim = 3;
    EXPECT_FALSE(index_of(unknowns({1, 2, 3}), felm, cntl).failed);
    cntl.maxdim = 2;
    expect_refused(index_of(unknowns({1, 2, 3}), felm, cntl), bad_unknowns(3));
    expect_refused(index_of(unknowns({-1, 0, -5}), felm), bad_unknowns(0));
    expect_refused(index_of(node_struct_end, felm), bad_unknowns(0));
    expect_refused(index_of(unknowns({1, 2, 3}), "", cntl), bad_unknowns(3)); // before the elements
    // a record that a later one replaces counts for the number of unknowns
    expect_refused(index_of(node_struct_record(1, 0, 0, 101, 0, 1) + unknowns({1, 2, 3}), felm), bad_unknowns(101));
    expect_refused(index_of(node_struct_record(1, 0, 0, 4, 0, 1) + unknowns({1, 2, 3}), felm), empty_row(3));
}

TEST_F(matrix_index, unknown_without_an_element_is_named_by_its_index)
{
    const std::string felm = felm_record(1, 203, {1, 2, 3}) + felm_end;
    expect_refused(index_of(unknowns({1, 2, 3, 4}), felm), empty_row(3));
    expect_refused(index_of(unknowns({2, 3, 4}), felm), empty_row(0));
    expect_refused(index_of(unknowns({1, 3, 5}), felm), empty_row(1)); // the lowest
    expect_refused(index_of(unknowns({1, 2, 3}), felm_end), empty_row(0));
    const file_outcome outcome = index_of(unknowns({1, 3, 5}), felm);
    EXPECT_EQ(outcome.file, bytes().add_i(5).add_i(3).add_i(0).add_i(2).add_i(4).text()); // as far as it was written
}

TEST_F(matrix_index, row_as_long_as_the_limit_passes)
{
    tarnel::control cntl = small_control();
    const std::string felm = felm_record(1, 203, {1, 2, 3}) + felm_end;
    cntl.maxnzero = 3;
    EXPECT_FALSE(index_of(unknowns({1, 2, 3}), felm, cntl).failed);
    cntl.maxnzero = 2;
    for (const auto& order : {std::vector{1, 2, 3}, {3, 2, 1}, {2, 3, 1}, {1, 3, 2}}) { // appended and inserted alike
        const file_outcome outcome = index_of(unknowns({1, 2, 3}), felm_record(1, 203, order) + felm_end, cntl);
        expect_refused(outcome, full_row);
        EXPECT_EQ(outcome.file, "");
    }
    EXPECT_FALSE(index_of(unknowns({1, 2, -1}), felm, cntl).failed);
    cntl.maxnzero = 1;
    EXPECT_FALSE(index_of(unknowns({1, -1, 1}), felm, cntl).failed); // the diagonal alone
    expect_refused(index_of(unknowns({1, 2, -1}), felm, cntl), full_row);
    cntl.maxnzero = 0; // no control file gives it: the first term of a row is not counted
    EXPECT_FALSE(index_of(unknowns({1, -1, 1}), felm, cntl).failed);
}

TEST_F(matrix_index, row_filled_by_several_elements_is_counted_once_a_coupling)
{
    // A fan of four triangles about node 1: its row is 0 .. 5, the others have at most 3 terms.
    const std::string fan = felm_record(1, 203, {1, 2, 3}) + felm_record(2, 203, {1, 3, 4}) +
                            felm_record(3, 203, {1, 4, 5}) + felm_record(4, 203, {1, 5, 6}) + felm_end;
    tarnel::control cntl = small_control();
    cntl.maxnzero = 6;
    expect_index(index_of(unknowns({1, 2, 3, 4, 5, 6}), fan, cntl),
                 {6, 6, 0, 1, 2, 3, 4, 5, 2, 1, 2, 2, 2, 3, 2, 3, 4, 2, 4, 5, 1, 5, 6});
    cntl.maxnzero = 5;
    expect_refused(index_of(unknowns({1, 2, 3, 4, 5, 6}), fan, cntl), full_row);
    // with the highest unknown in the middle every row has 2 or 3 terms, but that one
    cntl.maxnzero = 3;
    EXPECT_FALSE(index_of(unknowns({6, 1, 2, 3, 4, 5}), fan, cntl).failed);
}

TEST_F(matrix_index, faults_of_elements_are_reported_in_file_order)
{
    tarnel::control cntl = small_control();
    cntl.maxnzero = 2;
    const std::string nodes = unknowns({1, 2, 3, 4});
    const std::string overflow = felm_record(1, 203, {1, 2, 3}), fits = felm_record(3, 203, {1, 2, 50});
    const struct {
        std::string felm, tail;
    } faults[] = {{felm_record(2, 999, {1, 2, 3}), bad_type(2)},
                  {felm_record(-2, 203, {1, 2, 3}), felm_limit},
                  {felm_record(2, 203, {1, 2, 0}), bad_connection("fem", 2, 3)},
                  {"", short_read("t-felms-struct.tmp")}};
    for (const auto& fault : faults) {
        expect_refused(index_of(nodes, overflow + fault.felm, cntl), full_row);
        expect_refused(index_of(nodes, fits + fault.felm, cntl), fault.tail);
        if (!fault.felm.empty()) expect_refused(index_of(nodes, fault.felm + overflow, cntl), fault.tail);
    }
    // within an element the node numbers come first; a list without end comes after its last element
    expect_refused(index_of(nodes, felm_record(1, 204, {1, 2, 3, 101}), cntl), bad_connection("fem", 1, 4));
    cntl.maxfelm = 1;
    expect_refused(index_of(nodes, overflow + felm_end, cntl), full_row);
}

TEST_F(matrix_index, numbers_are_bounded)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = 9, cntl.maxfelm = 8;
    const int low = std::numeric_limits<std::int32_t>::min(), high = std::numeric_limits<std::int32_t>::max();
    const std::string nodes = unknowns({1, 2, 3});
    for (const int bad : {-1, 10, low, high}) {
        expect_refused(index_of(node_struct_record(bad, 0, 0, 1, 0, 1) + nodes, felm_end, cntl), node_limit);
        expect_refused(index_of(nodes, felm_record(5, 203, {1, bad, 3}) + felm_end, cntl), bad_connection("fem", 5, 2));
    }
    expect_refused(index_of(nodes, felm_record(5, 203, {0, 10, 3}) + felm_end, cntl), bad_connection("fem", 5, 1));
    for (const int bad : {-1, 9, low, high})
        expect_refused(index_of(nodes, felm_record(bad, 999, {}) + felm_end, cntl), felm_limit);
    for (const int code : {0, 102, 202, 205, 207, 209, 304, 306, 308, 310, 315, 320})
        expect_refused(index_of(nodes, felm_record(8, code, {1, 2, 3, 1, 2, 3, 1, 2}) + felm_end, cntl), bad_type(8));
    EXPECT_FALSE(
        index_of(node_struct_record(9, 0, 0, 4, 0, 1) + nodes, felm_record(8, 204, {1, 2, 3, 9}) + felm_end, cntl)
            .failed);
}

TEST_F(matrix_index, end_records_count_against_the_limits)
{
    tarnel::control cntl = small_control();
    const std::string nodes = unknowns({1, 2, 3});
    const std::string felms = felm_record(1, 203, {1, 2, 3}) + felm_record(2, 203, {1, 2, 3}) + felm_end;
    cntl.maxnog = 3;
    expect_refused(index_of(nodes, felms, cntl), no_end("at-node-struct.tmp", "nog", "maxnog"));
    cntl.maxnog = 4;
    cntl.maxfelm = 2;
    expect_refused(index_of(nodes, felms, cntl), no_end("t-felms-struct.tmp", "noe", "maxfelm"));
    cntl.maxfelm = 3;
    EXPECT_FALSE(index_of(nodes, felms, cntl).failed);
}

TEST_F(matrix_index, files_cut_at_any_byte_are_short_reads)
{
    const std::string nodes = unknowns({1, 2, 3}), felms = felm_record(1, 203, {1, 2, 3}) + felm_end;
    for (std::size_t n = 0; n < nodes.size(); ++n)
        expect_refused(index_of(nodes.substr(0, n), felms), short_read("at-node-struct.tmp"));
    for (std::size_t n = 0; n < felms.size(); ++n)
        expect_refused(index_of(nodes, felms.substr(0, n)), short_read("t-felms-struct.tmp"));
    EXPECT_FALSE(index_of(nodes + "x", felms + "x").failed);
}

TEST_F(matrix_index, limits_of_900_million_are_bounds_and_nothing_else)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = cntl.maxfelm = cntl.maxdim = 900000000;
    cntl.maxnzero = 10000;
    const int top = 900000000;
    const std::string nodes = node_struct_record(top, 0, 0, 1, 0, 1) + node_struct_record(4, 0, 0, 3, 0, 1) +
                              node_struct_record(77777, 0, 0, 2, 0, 1);
    const std::string felm = felm_record(top, 203, {4, 77777, top}) + felm_end;
    expect_index(index_of(nodes + node_struct_end, felm, cntl), {3, 3, 0, 1, 2, 2, 1, 2, 1, 2, 3});
    // unknown numbers of a hand-made file may be as large as the limit
    const std::string far = node_struct_record(5, 0, 0, top, 0, 1) + node_struct_end;
    expect_refused(index_of(nodes + far, felm, cntl), empty_row(3));
    cntl.maxdim = top - 1;
    expect_refused(index_of(nodes + far, felm, cntl), bad_unknowns(top));
}

TEST_F(matrix_index, refused_write_names_its_item)
{
    renew_file("at-node-struct.tmp", unknowns({1, 2}));
    renew_file("t-felms-struct.tmp", felm_record(1, 203, {1, 2, 50}) + felm_end);
    // header 4; count 4 and columns 8; count 4 and column 4; trailer 4
    const struct {
        std::size_t room;
        const char* tag;
    } rows[] = {{0, "w1"},
                {3, "w1"},
                {4, "w2"},
                {8, "w3"},
                {15, "w3"},
                {16, "w2"},
                {20, "w3"},
                {24, "w4"},
                {27, "w4"},
                {28, "w4"},
                {tarnel::stream_buffer_bytes, "w4"}};
    for (const auto& row : rows) {
        opened_input nodes("at-node-struct.tmp"), felms("t-felms-struct.tmp");
        const stage_outcome outcome =
            run_on_full_device("t-matrix-index.tmp", row.room, [&](tarnel::output_file& out, std::FILE* log) {
                tarnel::eat_set_matrix_index(small_control(), {nodes, felms, out}, log);
            });
        EXPECT_TRUE(outcome.failed) << row.room;
        EXPECT_EQ(outcome.log, heading + short_read("t-matrix-index.tmp", row.tag)) << row.room;
    }
}
