#include "prep/felm_cntr.h"
#include "prep/work_files.h"

#include <bit>
#include <limits>

using namespace tarnel_test;
using felm_cntr = stage_test;

static const std::string heading = "    === in func. t_set_felm_cntr ===\n";

static file_outcome centres_of(const std::string& nodes, const std::string& felms,
                               const tarnel::control& cntl = small_control())
{
    renew_file("t-nodes-struct.tmp", nodes);
    renew_file("t-felms-struct.tmp", felms);
    opened_input node_file("t-nodes-struct.tmp"), felm_file("t-felms-struct.tmp");
    return run_writing("t-felm-cntr.tmp", [&](tarnel::output_file& out, std::FILE* log) {
        tarnel::t_set_felm_cntr(cntl, {node_file, felm_file, out}, log);
    });
}

static void expect_refused(const file_outcome& outcome, const std::string& tail)
{
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, heading + tail);
}

struct point {
    double x, y, z;
};

// The centre of one element of nodes 1, 2, ... at these points.
static point centre_of(int code, const std::vector<point>& points)
{
    std::string nodes;
    std::vector<int> numbers;
    for (const point& p : points) {
        numbers.push_back(static_cast<int>(numbers.size()) + 1);
        nodes += node_record(numbers.back(), p.x, p.y, p.z);
    }
    const file_outcome outcome = centres_of(nodes + node_end, felm_record(3, code, numbers) + felm_end);
    EXPECT_FALSE(outcome.failed) << code;
    EXPECT_EQ(outcome.log, heading);
    EXPECT_EQ(outcome.file.size(), 32u);
    EXPECT_EQ(int_at(outcome.file, 0), 3);
    EXPECT_EQ(int_at(outcome.file, 28), 0);
    return {double_at(outcome.file, 4), double_at(outcome.file, 12), double_at(outcome.file, 20)};
}

static void expect_centre(const point& got, double x, double y, double z)
{
    EXPECT_DOUBLE_EQ(got.x, x);
    EXPECT_DOUBLE_EQ(got.y, y);
    EXPECT_DOUBLE_EQ(got.z, z);
}

TEST_F(felm_cntr, end_record_alone_gives_four_zero_bytes)
{
    const file_outcome outcome = centres_of(node_end, felm_end);
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, heading);
    EXPECT_EQ(outcome.file, std::string(4, '\0'));
}

TEST_F(felm_cntr, records_follow_the_element_file_without_padding)
{
    const std::string nodes = node_record(40, 4, 8, 1) + node_record(2, 0, 0, 1) + node_record(13, 4, 0, 1) +
                              node_record(7, 0, 8, 1) + node_end;
    const file_outcome outcome =
        centres_of(nodes, felm_record(9, 204, {2, 13, 40, 7}) + felm_record(5, 204, {2, 2, 2, 13}) + felm_end);
    EXPECT_FALSE(outcome.failed);
    bytes expected;
    expected.add_i(9).add_d(2).add_d(4).add_d(0);
    expected.add_i(5).add_d(1).add_d(0).add_d(0).add_i(0);
    EXPECT_EQ(outcome.file, expected.text());
}

TEST_F(felm_cntr, planar_shapes_have_their_known_centres)
{
    expect_centre(centre_of(203, {{0, 0, 0}, {3, 0, 0}, {0, 3, 0}}), 1, 1, 0);
    const point square = centre_of(204, {{0, 0, 5}, {1, 0, 5}, {1, 1, 5}, {0, 1, 5}}); // z does not show
    EXPECT_EQ(square.x, 0.5);
    EXPECT_EQ(square.y, 0.5);
    EXPECT_EQ(square.z, 0.0);
    // mid-side nodes at the edges' midpoints: as with the corners alone
    expect_centre(centre_of(206, {{0, 0, 0}, {6, 0, 0}, {0, 6, 0}, {3, 0, 0}, {3, 3, 0}, {0, 3, 0}}), 2, 2, 0);
    const point eight =
        centre_of(208, {{0, 0, 1}, {4, 0, 1}, {6, 8, 1}, {0, 4, 1}, {2, 0, 1}, {5, 4, 1}, {3, 6, 1}, {0, 2, 1}});
    const point four = centre_of(204, {{0, 0, 1}, {4, 0, 1}, {6, 8, 1}, {0, 4, 1}});
    EXPECT_EQ(eight.x, four.x);
    EXPECT_EQ(eight.y, four.y);
    EXPECT_EQ(eight.x, 2.5);
    EXPECT_EQ(eight.y, 3.0);
}

TEST_F(felm_cntr, curved_side_moves_the_centre_off_the_corners_centroid)
{
    // the middle of side 1-2 lies 9 below its chord: 4/9 of that
    expect_centre(centre_of(206, {{0, 0, 0}, {6, 0, 0}, {0, 6, 0}, {3, -9, 0}, {3, 3, 0}, {0, 3, 0}}), 2, 2 - 4, 0);
}

struct weights {
    int code;
    std::vector<double> by_node;
};

// Shape functions at the reference centre, by hand:
//   quadratic tetrahedron (2L - 1) L and 4 L L' at L = 1/4; quadratic wedge at L = 1/3, zeta = 0: corners
//   L (2L - 1)/2 - L/2, triangle edges 2 L L', upright edges L; serendipity brick -1/4 and 1/4.
static const double two_ninths = 2.0 / 9;
static const std::vector<weights> solids = {
    {304, std::vector<double>(4, 0.25)},
    {306, std::vector<double>(6, 1.0 / 6)},
    {308, std::vector<double>(8, 0.125)},
    {310, {-0.125, -0.125, -0.125, -0.125, 0.25, 0.25, 0.25, 0.25, 0.25, 0.25}},
    {315,
     {-two_ninths, -two_ninths, -two_ninths, -two_ninths, -two_ninths, -two_ninths, two_ninths, two_ninths, two_ninths,
      two_ninths, two_ninths, two_ninths, 1.0 / 3, 1.0 / 3, 1.0 / 3}},
    {320, {-0.25, -0.25, -0.25, -0.25, -0.25, -0.25, -0.25, -0.25, 0.25, 0.25,
           0.25,  0.25,  0.25,  0.25,  0.25,  0.25,  0.25,  0.25,  0.25, 0.25}},
};

TEST_F(felm_cntr, weights_of_planar_types_are_these_doubles)
{
    const std::vector<weights> planar = {
        {203, {0.3333333333333333, 0.3333333333333333, std::bit_cast<double>(std::uint64_t{0x3FD5555555555557})}},
        {204, std::vector<double>(4, 0.25)},
        {206,
         {-0.11111111111111112, -0.11111111111111112, -0.11111111111111108, 0.4444444444444444, 0.44444444444444453,
          0.44444444444444453}},
        {208, {-0.25, -0.25, -0.25, -0.25, 0.5, 0.5, 0.5, 0.5}},
    };
    for (const weights& type : planar)
        for (std::size_t k = 0; k < type.by_node.size(); ++k) {
            std::vector<point> points(type.by_node.size(), {0, 0, 1});
            points[k] = {1, -2, 1};
            const point centre = centre_of(type.code, points);
            EXPECT_EQ(centre.x, type.by_node[k]) << type.code << " node " << k + 1;
            EXPECT_EQ(centre.y, -2 * type.by_node[k]);
            EXPECT_EQ(centre.z, 0.0);
        }
}

TEST_F(felm_cntr, weights_of_solid_types_are_the_shape_functions_at_the_centre)
{
    for (const weights& type : solids)
        for (std::size_t k = 0; k < type.by_node.size(); ++k) {
            std::vector<point> points(type.by_node.size(), {0, 0, 0});
            points[k] = {1, -2, 4};
            const double w = type.by_node[k];
            expect_centre(centre_of(type.code, points), w, -2 * w, 4 * w);
        }
}

TEST_F(felm_cntr, weights_of_every_type_sum_to_one)
{
    for (const auto& [code, n] : {std::pair{203, 3},
                                  {204, 4},
                                  {206, 6},
                                  {208, 8},
                                  {304, 4},
                                  {306, 6},
                                  {308, 8},
                                  {310, 10},
                                  {315, 15},
                                  {320, 20}}) {
        const point centre = centre_of(code, std::vector<point>(static_cast<std::size_t>(n), {1, 3, 8}));
        expect_centre(centre, 1, 3, code < 300 ? 0 : 8);
    }
}

TEST_F(felm_cntr, solid_shapes_have_their_known_centres)
{
    expect_centre(centre_of(304, {{0, 0, 0}, {4, 0, 0}, {0, 4, 0}, {0, 0, 4}}), 1, 1, 1);
    expect_centre(centre_of(306, {{0, 0, 0}, {3, 0, 0}, {0, 3, 0}, {0, 0, 2}, {3, 0, 2}, {0, 3, 2}}), 1, 1, 1);
    std::vector<point> brick = {{0, 0, 0}, {2, 0, 0}, {2, 4, 0}, {0, 4, 0}, {0, 0, 8}, {2, 0, 8}, {2, 4, 8}, {0, 4, 8}};
    expect_centre(centre_of(308, brick), 1, 2, 4);
    const auto middle = [](const point& a, const point& b) {
        return point{(a.x + b.x) / 2, (a.y + b.y) / 2, (a.z + b.z) / 2};
    };
    for (const auto& [a, b] :
         {std::pair{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6}, {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}})
        brick.push_back(middle(brick[static_cast<std::size_t>(a)], brick[static_cast<std::size_t>(b)]));
    expect_centre(centre_of(320, brick), 1, 2, 4);
    std::vector<point> tetrahedron = {{0, 0, 0}, {4, 0, 0}, {0, 4, 0}, {0, 0, 4}};
    for (const auto& [a, b] : {std::pair{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}})
        tetrahedron.push_back(
            middle(tetrahedron[static_cast<std::size_t>(a)], tetrahedron[static_cast<std::size_t>(b)]));
    expect_centre(centre_of(310, tetrahedron), 1, 1, 1);
    std::vector<point> wedge = {{0, 0, 0}, {3, 0, 0}, {0, 3, 0}, {0, 0, 2}, {3, 0, 2}, {0, 3, 2}};
    for (const auto& [a, b] : {std::pair{0, 1}, {1, 2}, {2, 0}, {3, 4}, {4, 5}, {5, 3}, {0, 3}, {1, 4}, {2, 5}})
        wedge.push_back(middle(wedge[static_cast<std::size_t>(a)], wedge[static_cast<std::size_t>(b)]));
    expect_centre(centre_of(315, wedge), 1, 1, 1);
}

TEST_F(felm_cntr, coordinates_are_summed_in_node_order)
{
    const double large = 36028797018963968.0; // 2^55: 1 is lost beside its quarter 2^53
    EXPECT_EQ(centre_of(204, {{large, 4, 0}, {4, large, 0}, {-large, -large, 0}, {0, 0, 0}}).x, 0.0);
    EXPECT_EQ(centre_of(204, {{large, 0, 0}, {-large, 0, 0}, {4, 0, 0}, {0, 0, 0}}).x, 1.0);
}

TEST_F(felm_cntr, last_of_repeated_nodes_stands_in_any_order)
{
    const std::string nodes = node_record(90, 100, 0) + node_record(8, 4, 0) + node_record(90, 8, 4) +
                              node_record(33, 0, 4) + node_record(8, 12, 8) + node_end;
    const file_outcome outcome = centres_of(nodes, felm_record(1, 204, {90, 33, 8, 33}) + felm_end);
    EXPECT_EQ(double_at(outcome.file, 4), 5.0);
    EXPECT_EQ(double_at(outcome.file, 12), 5.0);
}

TEST_F(felm_cntr, node_without_a_record_counts_as_the_origin)
{
    for (const int undefined : {3, 50, 100}) {
        const file_outcome outcome = centres_of(node_record(1, 4, 8) + node_record(9, 8, 8) + node_end,
                                                felm_record(1, 204, {1, undefined, 9, 1}) + felm_end);
        EXPECT_FALSE(outcome.failed);
        EXPECT_EQ(double_at(outcome.file, 4), 4.0);
        EXPECT_EQ(double_at(outcome.file, 12), 6.0);
    }
}

TEST_F(felm_cntr, without_any_node_every_centre_is_the_origin)
{
    const file_outcome outcome =
        centres_of(node_end, felm_record(1, 203, {1, 2, 3}) + felm_record(2, 203, {3, 2, 1}) + felm_end);
    EXPECT_FALSE(outcome.failed);
    for (const std::size_t at : {4U, 12U, 20U, 32U, 40U, 48U}) EXPECT_EQ(double_at(outcome.file, at), 0.0) << at;
}

TEST_F(felm_cntr, numbers_and_types_are_checked)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = 9, cntl.maxfelm = 8;
    const std::string nodes = node_record(1) + node_record(2) + node_record(9) + node_end;
    const int low = std::numeric_limits<std::int32_t>::min();
    for (const int bad : {-1, 10, low}) expect_refused(centres_of(node_record(bad), felm_end, cntl), node_limit);
    for (const int bad : {-1, 9, low}) expect_refused(centres_of(nodes, felm_record(bad, 9, {}), cntl), felm_limit);
    EXPECT_FALSE(centres_of(nodes, felm_record(8, 203, {1, 2, 9}) + felm_end, cntl).failed);
    for (const int code : {0, 102, 202, 205, 207, 209, 303, 305, 307, 309, 311, 314, 316, 319, 321})
        expect_refused(centres_of(nodes, felm_record(4, code, {1, 2, 9}), cntl), bad_type(4, " ")); // no point
}

TEST_F(felm_cntr, node_number_outside_the_limit_is_not_taken_for_an_array_place)
{
    for (const int bad : {0, -1, 101, std::numeric_limits<std::int32_t>::max()}) {
        const file_outcome outcome =
            centres_of(node_record(1, 4, 8) + node_end, felm_record(6, 203, {1, bad, 1}) + felm_end);
        expect_refused(outcome, bad_connection("fem", 6, 2));
    }
}

TEST_F(felm_cntr, centres_before_a_fault_are_kept)
{
    const std::string nodes = node_record(1, 4, 8) + node_end;
    const file_outcome outcome = centres_of(nodes, felm_record(6, 204, {1, 1, 1, 1}) + felm_record(7, 99, {}));
    expect_refused(outcome, bad_type(7, " "));
    EXPECT_EQ(outcome.file, bytes().add_i(6).add_d(4).add_d(8).add_d(0).text());
}

TEST_F(felm_cntr, end_records_count_against_the_limits)
{
    tarnel::control cntl = small_control();
    const std::string nodes = node_record(1) + node_record(2) + node_end;
    const std::string felms = felm_record(1, 203, {1, 2, 2}) + felm_record(2, 203, {1, 2, 2}) + felm_end;
    cntl.maxnog = 2;
    expect_refused(centres_of(nodes, felms, cntl), no_end("t-nodes-struct.tmp", "nog", "maxnog"));
    cntl.maxnog = 3;
    cntl.maxfelm = 2;
    expect_refused(centres_of(nodes, felms, cntl), no_end("t-felms-struct.tmp", "noe", "maxfelm"));
    cntl.maxfelm = 3;
    EXPECT_FALSE(centres_of(nodes, felms, cntl).failed);
}

TEST_F(felm_cntr, files_cut_at_any_byte_are_short_reads)
{
    const std::string nodes = node_record(1) + node_end, felms = felm_record(1, 203, {1, 1, 1}) + felm_end;
    for (std::size_t n = 0; n < nodes.size(); ++n)
        expect_refused(centres_of(nodes.substr(0, n), felms), short_read("t-nodes-struct.tmp"));
    for (std::size_t n = 0; n < felms.size(); ++n)
        expect_refused(centres_of(nodes, felms.substr(0, n)), short_read("t-felms-struct.tmp"));
    EXPECT_FALSE(centres_of(nodes + "x", felms + "x").failed);
}

TEST_F(felm_cntr, limits_of_900_million_are_bounds_and_nothing_else)
{
    tarnel::control cntl = small_control();
    cntl.maxnog = cntl.maxfelm = 900000000;
    const std::string nodes = node_record(900000000, 8, 4) + node_record(3, 4, 0) + node_end;
    const file_outcome outcome =
        centres_of(nodes, felm_record(900000000, 204, {3, 900000000, 3, 899999999}) + felm_end, cntl);
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.file, bytes().add_i(900000000).add_d(4).add_d(1).add_d(0).add_i(0).text());
}

TEST_F(felm_cntr, refused_write_names_its_item)
{
    renew_file("t-nodes-struct.tmp", node_record(1) + node_end);
    renew_file("t-felms-struct.tmp", felm_record(1, 203, {1, 1, 1}) + felm_end);
    const struct {
        std::size_t room;
        const char* tag;
    } rows[] = {{0, "w1"},  {3, "w1"},  {4, "w2"},  {27, "w2"},
                {28, "w3"}, {31, "w3"}, {32, "w3"}, {tarnel::stream_buffer_bytes, "w3"}};
    for (const auto& row : rows) {
        opened_input nodes("t-nodes-struct.tmp"), felms("t-felms-struct.tmp");
        const stage_outcome outcome =
            run_on_full_device("t-felm-cntr.tmp", row.room, [&](tarnel::output_file& out, std::FILE* log) {
                tarnel::t_set_felm_cntr(small_control(), {nodes, felms, out}, log);
            });
        EXPECT_TRUE(outcome.failed) << row.room;
        EXPECT_EQ(outcome.log, heading + short_read("t-felm-cntr.tmp", row.tag)) << row.room;
    }
}
