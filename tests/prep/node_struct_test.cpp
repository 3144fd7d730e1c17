#include "prep/node_struct.h"
#include "prep/work_files.h"

#include <cmath>
#include <limits>

using namespace tarnel_test;
using node_struct = stage_test;

static const std::string heading = "    === in func. eat_set_node_struct ===\n";
static std::string ndim_line(int ndim)
{
    return "      ndim(total no. of unknown) = " + std::to_string(ndim) + " \n";
}

// Nodes 1 to 4 of one quadrilateral.
static const std::string square_nodes =
    node_record(1, 0, 0) + node_record(2, 1, 0) + node_record(3, 1, 2) + node_record(4, 0, 2) + node_end;
static const std::string square = felm_record(1, 204, {1, 2, 3, 4}) + felm_end;
static const std::string free_nodes = conditions({});

static file_outcome number(const std::string& nodes, const std::string& felms, const std::string& fixed,
                           const tarnel::control& cntl = small_control())
{
    renew_file("t-nodes-struct.tmp", nodes);
    renew_file("t-felms-struct.tmp", felms);
    renew_file("at-fixc-data.tmp", fixed);
    opened_input node_file("t-nodes-struct.tmp"), felm_file("t-felms-struct.tmp"), fixc_file("at-fixc-data.tmp");
    return run_writing("at-node-struct.tmp", [&](tarnel::output_file& out, std::FILE* log) {
        tarnel::eat_set_node_struct(cntl, {node_file, felm_file, fixc_file, out}, log);
    });
}

static void expect_numbered(const file_outcome& outcome, int ndim, const std::string& records)
{
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, heading + ndim_line(ndim));
    EXPECT_TRUE(outcome.file == records + node_struct_end);
}
static void expect_refused(const file_outcome& outcome, const std::string& tail)
{
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, heading + tail);
    EXPECT_EQ(outcome.file, "");
}
static std::string fixed_independent(int nog)
{
    return "      Error. the independent node is fixed.\n             the dependent node no. === " +
           std::to_string(nog) + " \n";
}
static std::string zero_coefficient(int nog)
{
    return "      Error. coefficient of unknown is zero.\n             the dependent node no. === " +
           std::to_string(nog) + " \n";
}

TEST_F(node_struct, free_nodes_are_numbered_in_node_order)
{
    const file_outcome outcome = number(square_nodes, square, free_nodes);
    expect_numbered(outcome, 4,
                    node_struct_record(1, 0, 0, 1, 0, 1) + node_struct_record(2, 1, 0, 2, 0, 1) +
                        node_struct_record(3, 1, 2, 3, 0, 1) + node_struct_record(4, 0, 2, 4, 0, 1));
}

TEST_F(node_struct, record_items_stand_at_their_offsets)
{
    const std::string nodes = node_record(1, 0.5, -0.25, 8) + node_record(2) + node_record(3) + node_end;
    const file_outcome outcome = number(nodes, felm_record(1, 203, {1, 2, 3}) + felm_end, conditions({{1, 16, 3, -2}}));
    ASSERT_EQ(outcome.file.size(), 4u * 56);
    EXPECT_EQ(int_at(outcome.file, 0), 1);
    EXPECT_EQ(int_at(outcome.file, 4), 0);
    EXPECT_EQ(double_at(outcome.file, 8), 0.5);
    EXPECT_EQ(double_at(outcome.file, 16), -0.25);
    EXPECT_EQ(double_at(outcome.file, 24), 0.0); // the third coordinate is dropped
    EXPECT_EQ(int_at(outcome.file, 32), 2);
    EXPECT_EQ(int_at(outcome.file, 36), 0);
    EXPECT_EQ(double_at(outcome.file, 40), 16.0);
    EXPECT_EQ(double_at(outcome.file, 48), -2.0);
    EXPECT_EQ(int_at(outcome.file, 56), 2);
    EXPECT_EQ(outcome.file.substr(168), std::string(56, '\0'));
}

TEST_F(node_struct, fixed_node_keeps_its_potential_and_takes_no_number)
{
    expect_numbered(number(square_nodes, square, conditions({{2, 0.5, 0, 7}})), 3,
                    node_struct_record(1, 0, 0, 1, 0, 1) + node_struct_record(2, 1, 0, -1, 0.5, 7) +
                        node_struct_record(3, 1, 2, 2, 0, 1) + node_struct_record(4, 0, 2, 3, 0, 1));
}

TEST_F(node_struct, dependent_node_shares_the_unknown_of_its_independent_node)
{
    expect_numbered(number(square_nodes, square, conditions({{4, 0.25, 1, -1}})), 3,
                    node_struct_record(1, 0, 0, 1, 0, 1) + node_struct_record(2, 1, 0, 2, 0, 1) +
                        node_struct_record(3, 1, 2, 3, 0, 1) + node_struct_record(4, 0, 2, 1, 0.25, -1));
    expect_numbered(number(square_nodes, square, conditions({{1, 0, 4, 2}, {2, 0, 3, 4}})), 2,
                    node_struct_record(1, 0, 0, 2, 0, 2) + node_struct_record(2, 1, 0, 1, 0, 4) +
                        node_struct_record(3, 1, 2, 1, 0, 1) + node_struct_record(4, 0, 2, 2, 0, 1));
}

TEST_F(node_struct, chain_of_dependent_nodes_resolves_upwards_only)
{
    // 3 on 2 on 1: the independent node always has the smaller number
    expect_numbered(number(square_nodes, square, conditions({{3, 0, 2, 8}, {2, 0, 1, 4}})), 2,
                    node_struct_record(1, 0, 0, 1, 0, 1) + node_struct_record(2, 1, 0, 1, 0, 4) +
                        node_struct_record(3, 1, 2, 1, 0, 8) + node_struct_record(4, 0, 2, 2, 0, 1));
    expect_refused(number(square_nodes, square, conditions({{1, 0, 4, 1}, {4, 0, 2, 1}})), fixed_independent(1));
    expect_refused(number(square_nodes, square, conditions({{2, 0, 3, 1}, {3, 0, 1, 1}})), fixed_independent(2));
}

TEST_F(node_struct, independent_node_must_have_an_unknown)
{
    expect_refused(number(square_nodes, square, conditions({{3, 0, 2, 1}, {2, 0, 0, 0}})), fixed_independent(3));
    expect_refused(number(square_nodes, square, conditions({{3, 0, 3, 1}})), fixed_independent(3));  // itself
    expect_refused(number(square_nodes, square, conditions({{3, 0, 77, 1}})), fixed_independent(3)); // not defined
    expect_refused(number(node_record(9) + square_nodes, square, conditions({{3, 0, 9, 1}})),
                   fixed_independent(3)); // used by no element
}

TEST_F(node_struct, coefficient_of_a_dependent_node_reaches_the_threshold)
{
    expect_refused(number(square_nodes, square, conditions({{4, 0, 1, 0}})), zero_coefficient(4));
    tarnel::control cntl = small_control();
    cntl.eps_zero = 0.5;
    for (const double acoef : {0.5, -0.5})
        EXPECT_FALSE(number(square_nodes, square, conditions({{4, 0, 1, acoef}}), cntl).failed);
    for (const double acoef : {std::nextafter(0.5, 0.0), -std::nextafter(0.5, 0.0)})
        expect_refused(number(square_nodes, square, conditions({{4, 0, 1, acoef}}), cntl), zero_coefficient(4));
    // looked at before the independent node, and at the lower node first
    expect_refused(number(square_nodes, square, conditions({{4, 0, 4, 0}})), zero_coefficient(4));
    expect_refused(number(square_nodes, square, conditions({{4, 0, 1, 0}, {3, 0, 3, 1}})), fixed_independent(3));
    expect_refused(number(square_nodes, square, conditions({{4, 0, 4, 1}, {3, 0, 1, 0}})), zero_coefficient(3));
}

TEST_F(node_struct, node_that_no_element_uses_has_no_unknown)
{
    const std::string nodes = node_record(6, 5, 5) + node_record(5, 7, 7) + square_nodes;
    expect_numbered(number(nodes, square, conditions({{6, 0.5, 5, 0}})), 4, // its zero coefficient is not looked at
                    node_struct_record(1, 0, 0, 1, 0, 1) + node_struct_record(2, 1, 0, 2, 0, 1) +
                        node_struct_record(3, 1, 2, 3, 0, 1) + node_struct_record(4, 0, 2, 4, 0, 1) +
                        node_struct_record(5, 7, 7, 0, 0, 0) + node_struct_record(6, 5, 5, 0, 0.5, 0));
}

TEST_F(node_struct, condition_of_an_undefined_node_has_no_effect)
{
    const file_outcome with = number(square_nodes, square, conditions({{50, 1, 0, 1}, {51, 1, 50, 0}}));
    EXPECT_FALSE(with.failed);
    EXPECT_TRUE(with.file == number(square_nodes, square, free_nodes).file);
}

TEST_F(node_struct, later_condition_of_a_node_stands)
{
    expect_numbered(number(square_nodes, square, conditions({{2, 0.5, 1, 4}, {1, 8, 0, 2}, {2, 0.25, 0, 16}})), 2,
                    node_struct_record(1, 0, 0, -1, 8, 2) + node_struct_record(2, 1, 0, -1, 0.25, 16) +
                        node_struct_record(3, 1, 2, 1, 0, 1) + node_struct_record(4, 0, 2, 2, 0, 1));
}

TEST_F(node_struct, records_are_ascending_whatever_the_order_gaps_and_repeats)
{
    const std::string nodes = node_record(90, 1, 1) + node_record(8, 2, 2) + node_record(90, 3, 3) +
                              node_record(33, 4, 4) + node_record(8, 5, 5) + node_end;
    expect_numbered(number(nodes, felm_record(1, 203, {90, 33, 8}) + felm_end, conditions({{33, 0, 90, 2}})), 2,
                    node_struct_record(8, 5, 5, 1, 0, 1) + node_struct_record(33, 4, 4, 2, 0, 2) +
                        node_struct_record(90, 3, 3, 2, 0, 1)); // the last of repeated records stands
}

TEST_F(node_struct, undefined_node_of_an_element_takes_a_number_but_no_record)
{
    const std::string nodes = node_record(1, 0, 0) + node_record(3, 1, 0) + node_end;
    const std::string felm = felm_record(1, 203, {3, 2, 1}) + felm_end;
    expect_numbered(number(nodes, felm, free_nodes), 3,
                    node_struct_record(1, 0, 0, 1, 0, 1) + node_struct_record(3, 1, 0, 3, 0, 1));
    expect_numbered(number(nodes, felm, conditions({{1, 0, 2, 4}})), 2,
                    node_struct_record(1, 0, 0, 1, 0, 4) + node_struct_record(3, 1, 0, 2, 0, 1));
    expect_refused(number(nodes, felm, conditions({{2, 0, 1, 0}})), zero_coefficient(2));
    expect_numbered(number(node_end, felm, free_nodes), 3, "");
}

TEST_F(node_struct, undefined_node_far_above_the_defined_ones_is_numbered_too)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = 900000000;
    const std::string nodes = node_record(1) + node_record(3) + node_end;
    const std::string felm = felm_record(1, 203, {1, 3, 900000000}) + felm_end;
    expect_numbered(number(nodes, felm, conditions({{900000000, 0, 3, 2}, {4, 1, 0, 0}}), cntl), 2,
                    node_struct_record(1, 0, 0, 1, 0, 1) + node_struct_record(3, 0, 0, 2, 0, 1));
    expect_refused(number(nodes, felm, conditions({{3, 0, 899999999, 2}}), cntl), fixed_independent(3));
}

TEST_F(node_struct, axisymmetric_radius_is_not_negative)
{
    tarnel::control cntl = small_control();
    const std::string felm = felm_record(1, 203, {1, 2, 3}) + felm_end;
    const auto nodes = [](double x) { return node_record(1) + node_record(2, x, 1) + node_record(3) + node_end; };
    const auto negative = [](int nog) {
        return "      Error. radius < 0.0 for AX.  nog === " + std::to_string(nog) + " \n";
    };
    cntl.iax = 1;
    expect_refused(number(nodes(-1e-9), felm, free_nodes, cntl), negative(2));
    expect_refused(number(nodes(-std::numeric_limits<double>::denorm_min()), felm, free_nodes, cntl), negative(2));
    for (const double x : {0.0, -0.0, 1e-9}) EXPECT_FALSE(number(nodes(x), felm, free_nodes, cntl).failed) << x;
    // a node that no element uses, the first of two, a record that a later one replaces; not the end record
    expect_refused(number(node_record(7, -1) + node_record(6, -1) + nodes(0), felm, free_nodes, cntl), negative(7));
    expect_refused(number(node_record(2, -1) + nodes(0), felm, free_nodes, cntl), negative(2));
    EXPECT_FALSE(
        number(node_record(1) + node_record(2) + node_record(3) + node_record(0, -1), felm, free_nodes, cntl).failed);
    cntl.iax = 0;
    EXPECT_FALSE(number(nodes(-1e-9), felm, free_nodes, cntl).failed);
}

TEST_F(node_struct, radius_is_looked_at_record_by_record)
{
    tarnel::control cntl = small_control();
    cntl.iax = 1;
    expect_refused(number(node_record(1, -1) + node_record(-2), square, free_nodes, cntl),
                   "      Error. radius < 0.0 for AX.  nog === 1 \n");
    expect_refused(number(node_record(-2, -1) + node_record(1, -1), square, free_nodes, cntl), node_limit);
}

TEST_F(node_struct, unknowns_up_to_the_limit_pass)
{
    tarnel::control cntl = small_control();
    cntl.maxdim = 4;
    EXPECT_FALSE(number(square_nodes, square, free_nodes, cntl).failed);
    cntl.maxdim = 3;
    expect_refused(number(square_nodes, square, free_nodes, cntl), "      Error. unknown no. over the limit.\n");
    EXPECT_FALSE(number(square_nodes, square, conditions({{2, 0, 0, 0}}), cntl).failed);
    // before the dependent nodes are looked at
    cntl.maxdim = 2;
    expect_refused(number(square_nodes, square, conditions({{1, 0, 1, 0}}), cntl),
                   "      Error. unknown no. over the limit.\n");
}

TEST_F(node_struct, model_without_unknowns_is_written)
{
    expect_numbered(
        number(square_nodes, square, conditions({{1, 0.5, 0, 0}, {2, 0.5, 0, 0}, {3, 0.5, 0, 0}, {4, 0.5, 0, 0}})), 0,
        node_struct_record(1, 0, 0, -1, 0.5, 0) + node_struct_record(2, 1, 0, -1, 0.5, 0) +
            node_struct_record(3, 1, 2, -1, 0.5, 0) + node_struct_record(4, 0, 2, -1, 0.5, 0));
    expect_numbered(number(node_end, felm_end, free_nodes), 0, "");
}

TEST_F(node_struct, numbers_are_bounded)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = 9, cntl.maxfelm = 8;
    const int low = std::numeric_limits<std::int32_t>::min();
    for (const int bad : {-1, 10, low}) {
        expect_refused(number(node_record(bad), square, free_nodes, cntl), node_limit);
        expect_refused(number(square_nodes, square, conditions({{bad, 0, 10, 0}}), cntl),
                       "      Error. node no. in fix-data over the limit.\n");
        expect_refused(number(square_nodes, square, conditions({{9, 0, bad, 0}}), cntl),
                       "      Error. noi in fix-data over the limit.\n             the dependent node no. === 9 \n");
        expect_refused(number(square_nodes, felm_record(5, 204, {1, 2, 3, bad}), free_nodes, cntl),
                       bad_connection("fem", 5, 4));
    }
    expect_refused(number(square_nodes, felm_record(5, 204, {0, 2, 3, 4}), free_nodes, cntl),
                   bad_connection("fem", 5, 1));
    for (const int bad : {-1, 9, low})
        expect_refused(number(square_nodes, felm_record(bad, 999, {}), free_nodes, cntl), felm_limit);
    EXPECT_FALSE(number(node_record(9) + square_nodes, felm_record(8, 203, {9, 1, 2}) + felm_end,
                        conditions({{9, 0, 0, 0}, {1, 0, 2, 1}}), cntl)
                     .failed);
    for (const int code : {0, 202, 205, 207, 209, 304, 306, 308, 310, 315, 320})
        expect_refused(number(square_nodes, felm_record(4, code, {1, 2, 3, 4, 1, 2, 3, 4}), free_nodes, cntl),
                       bad_type(4));
}

TEST_F(node_struct, every_type_marks_its_nodes)
{
    std::string nodes;
    for (int nog = 1; nog <= 9; ++nog) nodes += node_record(nog);
    const std::vector<int> used = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    for (const auto& [code, count] : {std::pair{203, 3}, {204, 4}, {206, 6}, {208, 8}}) {
        const file_outcome outcome = number(nodes + node_end, felm_record(1, code, used) + felm_end, free_nodes);
        EXPECT_EQ(outcome.log, heading + ndim_line(count));
        for (int k = 0; k < 9; ++k)
            EXPECT_EQ(int_at(outcome.file, 56 * static_cast<std::size_t>(k) + 32), k < count ? k + 1 : 0);
    }
}

static std::string pair_record(int n1)
{
    return bytes().add_i(n1).add_i(-7).add_d(1).add_i(1000).add_i(-7).add_d(2).text();
}

TEST_F(node_struct, pair_section_is_skipped_whatever_it_holds)
{
    const file_outcome with = number(
        square_nodes, square, pair_record(1) + pair_record(-5) + pair_record(500) + conditions({{2, 0.5, 0, 0}}));
    EXPECT_FALSE(with.failed);
    EXPECT_TRUE(with.file == number(square_nodes, square, conditions({{2, 0.5, 0, 0}})).file);
}

TEST_F(node_struct, end_records_count_against_the_limits)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = 4;
    expect_refused(number(square_nodes, square, free_nodes, cntl), no_end("t-nodes-struct.tmp", "nog", "maxnog"));
    cntl.maxnog = 5;
    const std::string all = conditions({{1, 0, 0, 0}, {1, 0, 0, 0}, {1, 0, 0, 0}, {2, 0, 0, 0}});
    EXPECT_FALSE(number(square_nodes, square, all, cntl).failed);
    expect_refused(number(square_nodes, square,
                          conditions({{1, 0, 0, 0}, {1, 0, 0, 0}, {1, 0, 0, 0}, {2, 0, 0, 0}, {3, 0, 0, 0}}), cntl),
                   no_end("at-fixc-data.tmp", "nog", "maxnog", "r-f"));
    cntl.maxfelm = 1;
    expect_refused(number(square_nodes, square, free_nodes, cntl), no_end("t-felms-struct.tmp", "noe", "maxfelm"));
    cntl.maxfelm = 2;
    const std::string pairs = no_end("at-fixc-data.tmp", "n1", "maxedg", "r-a");
    for (const int maxedg : {1, 0, -1}) {
        cntl.maxedg = maxedg;
        expect_refused(number(square_nodes, square, pair_record(1) + free_nodes, cntl), pairs);
        EXPECT_FALSE(number(square_nodes, square, free_nodes, cntl).failed);
    }
    cntl.maxedg = 2;
    EXPECT_FALSE(number(square_nodes, square, pair_record(1) + free_nodes, cntl).failed);
    expect_refused(number(square_nodes, square, pair_record(1) + pair_record(1) + free_nodes, cntl), pairs);
}

TEST_F(node_struct, meshes_cut_at_any_byte_are_short_reads)
{
    const std::string nodes = node_record(1) + node_record(2) + node_end;
    for (std::size_t n = 0; n < nodes.size(); ++n)
        expect_refused(number(nodes.substr(0, n), square, free_nodes), short_read("t-nodes-struct.tmp"));
    for (std::size_t n = 0; n < square.size(); ++n)
        expect_refused(number(square_nodes, square.substr(0, n), free_nodes), short_read("t-felms-struct.tmp"));
}

TEST_F(node_struct, conditions_cut_at_any_byte_name_the_item)
{
    const std::string whole = pair_record(1) + conditions({{2, 0.5, 0, 1}});
    const struct {
        std::size_t end; // of the item in the file
        const char* tag;
    } items[] = {{4, "a1"},  {8, "a2"},  {16, "a3"}, {20, "a4"}, {24, "a5"}, {32, "a6"},
                 {36, "a1"}, {40, "f1"}, {48, "f2"}, {52, "f3"}, {60, "f4"}, {64, "f1"}};
    ASSERT_EQ(whole.size(), 64u);
    std::size_t n = 0;
    for (const auto& item : items)
        for (; n < item.end; ++n)
            expect_refused(number(square_nodes, square, whole.substr(0, n)),
                           short_read("at-fixc-data.tmp", std::string("r-") + item.tag));
    EXPECT_FALSE(number(square_nodes, square, whole + "x").failed);
}

TEST_F(node_struct, items_are_checked_right_after_their_read)
{
    expect_refused(number(square_nodes, square, bytes().add_i(0).add_i(101).text()),
                   "      Error. node no. in fix-data over the limit.\n");
    expect_refused(number(square_nodes, square, bytes().add_i(0).add_i(3).add_d(0).add_i(101).text()),
                   "      Error. noi in fix-data over the limit.\n             the dependent node no. === 3 \n");
}

TEST_F(node_struct, faults_are_reported_in_reading_order)
{
    const std::string bad_node = node_record(-1), bad_felm = felm_record(1, 9, {}), bad_pair(3, '\0');
    expect_refused(number(bad_node, bad_felm, bad_pair), node_limit);
    expect_refused(number(square_nodes, bad_felm, bad_pair), bad_type(1));
    expect_refused(number(square_nodes, square, bad_pair), short_read("at-fixc-data.tmp", "r-a1"));
    tarnel::control cntl = small_control();
    cntl.maxdim = 1;
    expect_refused(number(square_nodes, square, conditions({{101, 0, 0, 0}}), cntl),
                   "      Error. node no. in fix-data over the limit.\n");
}

TEST_F(node_struct, limits_of_900_million_are_bounds_and_nothing_else)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = cntl.maxfelm = cntl.maxdim = cntl.maxedg = 900000000;
    const std::string nodes = node_record(900000000, 1, 2) + node_record(70000, 3, 4) + node_record(6, 5, 6) + node_end;
    expect_numbered(number(nodes, felm_record(900000000, 203, {70000, 6, 900000000}) + felm_end,
                           conditions({{6, 0, 900000000, 2}, {899999999, 1, 0, 1}}), cntl),
                    2,
                    node_struct_record(6, 5, 6, 2, 0, 2) + node_struct_record(70000, 3, 4, 1, 0, 1) +
                        node_struct_record(900000000, 1, 2, 2, 0, 1));
}

TEST_F(node_struct, refused_write_is_reported)
{
    for (const std::size_t room : {std::size_t{0}, std::size_t{55}, std::size_t{56}, std::size_t{4 * 56},
                                   std::size_t{5 * 56 - 1}, std::size_t{5 * 56}, tarnel::stream_buffer_bytes}) {
        renew_file("t-nodes-struct.tmp", square_nodes);
        renew_file("t-felms-struct.tmp", square);
        renew_file("at-fixc-data.tmp", free_nodes);
        opened_input nodes("t-nodes-struct.tmp"), felms("t-felms-struct.tmp"), fixed("at-fixc-data.tmp");
        const stage_outcome outcome =
            run_on_full_device("at-node-struct.tmp", room, [&](tarnel::output_file& out, std::FILE* log) {
                tarnel::eat_set_node_struct(small_control(), {nodes, felms, fixed, out}, log);
            });
        EXPECT_TRUE(outcome.failed) << room;
        EXPECT_EQ(outcome.log, heading + ndim_line(4) + "      Error. in at-node-struct.tmp(w).\n");
    }
}
