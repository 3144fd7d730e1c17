// The order of the rows by its promises: whatever the pattern, sums keep their terms in their order.
#include "solvers/row_order.h"

#include "solvers/sparse_systems.h"

#include <numeric>
#include <set>

using namespace tarnel_test;

namespace
{

using row_ordering = stage_test;

// An upper triangle of ones.
tarnel::matrix_rows pattern_of(const column_lists& columns, std::FILE* log)
{
    sparse_system system{.columns = columns, .values = {}, .b = {}};
    for (const auto& row : columns) system.values.emplace_back(row.size(), 1.0);
    return flat_rows(system, log);
}

// The order as plain numbers.
struct plain_order {
    std::size_t lanes, places;
    std::vector<int> place, row;
    int group(int i) const { return place[static_cast<std::size_t>(i)] / static_cast<int>(lanes); }
};

plain_order order_of(const column_lists& columns)
{
    plain_order plain{};
    const stage_outcome outcome = run_stage([&](std::FILE* log) {
        const tarnel::row_order order = tarnel::order_rows(log, "order", pattern_of(columns, log));
        plain = {order.lanes,
                 order.places,
                 {order.place.get(), order.place.get() + columns.size()},
                 {order.row.get(), order.row.get() + order.places}};
    });
    EXPECT_EQ(outcome.log, "");
    return plain;
}

void expect_promises(const column_lists& columns, const plain_order& order)
{
    const int n = static_cast<int>(columns.size());
    ASSERT_LE(columns.size(), order.places);
    ASSERT_EQ(order.lanes == 1 ? order.places : order.places % 8, order.lanes == 1 ? columns.size() : 0);
    std::set<int> taken;
    for (int i = 0; i < n; ++i) {
        const int place = order.place[static_cast<std::size_t>(i)];
        ASSERT_TRUE(place >= 0 && static_cast<std::size_t>(place) < order.places) << i;
        ASSERT_TRUE(taken.insert(place).second) << i;
        ASSERT_EQ(order.row[static_cast<std::size_t>(place)], i);
    }
    for (std::size_t place = 0; place < order.places; ++place)
        ASSERT_TRUE(taken.contains(static_cast<int>(place)) || order.row[place] == n) << place;
    // Above each unknown its rows, ascending: groups ascend too, and end before the unknown's own.
    std::vector<int> last(columns.size(), -1);
    for (int i = 0; i < n; ++i) {
        const auto& row = columns[static_cast<std::size_t>(i)];
        ASSERT_LT(last[static_cast<std::size_t>(i)], order.group(i)) << i;
        for (std::size_t k = 1; k < row.size(); ++k) {
            const auto j = static_cast<std::size_t>(row[k]);
            ASSERT_LT(last[j], order.group(i)) << i << " couples " << j;
            last[j] = order.group(i);
        }
    }
}

// The largest distance between the places of two rows that are coupled.
int places_apart(const column_lists& columns, const plain_order& order)
{
    int apart = 0;
    for (std::size_t i = 0; i < columns.size(); ++i)
        for (const int j : columns[i])
            apart = std::max(apart, order.place[static_cast<std::size_t>(j)] - order.place[i]);
    return apart;
}

} // namespace

TEST_F(row_ordering, a_row_follows_those_that_couple_it_and_none_shares_an_unknown_with_its_neighbours)
{
    int side_by_side = 0, one_by_one = 0;
    for (const sparse_system& system : many_systems()) {
        const plain_order order = order_of(system.columns);
        expect_promises(system.columns, order);
        ++(order.lanes > 1 ? side_by_side : one_by_one);
    }
    EXPECT_GT(side_by_side, 5);
    EXPECT_GT(one_by_one, 5);
    for (const int width : {2, 9, 40, 300}) {
        const column_lists grid = grid_system(width, 5000 / width).columns;
        expect_promises(grid, order_of(grid));
    }
}

TEST_F(row_ordering, a_grid_of_triangles_fills_its_groups)
{
    const plain_order order = order_of(grid_system(200, 200).columns);
    EXPECT_EQ(order.lanes, 4U);
    EXPECT_LT(order.places, 40040U);
}

TEST_F(row_ordering, a_row_stands_groups_behind_those_it_waits_for_where_others_can_come_between)
{
    const column_lists grid = grid_system(200, 200).columns;
    const plain_order order = order_of(grid);
    int at_once = 0;
    for (std::size_t i = 0; i < grid.size(); ++i)
        for (std::size_t k = 1; k < grid[i].size(); ++k)
            at_once += order.group(grid[i][k]) - order.group(static_cast<int>(i)) < 3 ? 1 : 0;
    EXPECT_LT(at_once, 4000); // of 119,201: where the grid begins and ends
}

TEST_F(row_ordering, neighbours_stay_within_a_few_widths_of_the_grid)
{
    const column_lists grid = grid_system(100, 1000).columns;
    const plain_order order = order_of(grid);
    EXPECT_EQ(order.lanes, 4U);
    EXPECT_LT(places_apart(grid, order), 1000);
}

TEST_F(row_ordering, parts_that_could_be_visited_all_at_once_are_visited_a_few_at_a_time)
{
    column_lists columns;
    for (int part = 0; part < 1000; ++part)
        for (std::vector<int> row : grid_system(10, 10).columns) {
            for (int& column : row) column += 100 * part;
            columns.push_back(row);
        }
    const plain_order order = order_of(columns);
    EXPECT_EQ(order.lanes, 4U);
    EXPECT_LT(places_apart(columns, order), 2000); // twenty parts
}

TEST_F(row_ordering, rows_free_of_each_other_stand_as_they_are)
{
    for (const int n : {21, 63, 64, 65, 4095, 4096, 4097, 262143, 262144, 262145}) {
        const plain_order order = order_of(diagonal_rows(n));
        EXPECT_EQ(order.lanes, 4U);
        EXPECT_EQ(order.places, static_cast<std::size_t>((n + 7) / 8 * 8));
        std::vector<int> as_they_stand(static_cast<std::size_t>(n));
        std::iota(as_they_stand.begin(), as_they_stand.end(), 0);
        EXPECT_EQ(order.place, as_they_stand) << n;
    }
}

TEST_F(row_ordering, rows_of_more_threes_stand_together)
{
    // 16 rows with one coupling and 16 with four, in turn, to unknowns of their own
    column_lists columns;
    for (int i = 0; i < 32; ++i) {
        columns.push_back({i});
        for (int k = 0; k < (i % 2 == 0 ? 1 : 4); ++k) columns.back().push_back(32 + 4 * i + k);
    }
    for (int i = 32; i < 160; ++i) columns.push_back({i});
    const plain_order order = order_of(columns);
    ASSERT_EQ(order.lanes, 4U);
    const auto threes = [&](std::size_t place) {
        return columns[static_cast<std::size_t>(order.row[place])].size() > 4 ? 2 : 1;
    };
    for (std::size_t place = 0; place < order.places; ++place) EXPECT_EQ(threes(place), threes(place / 4 * 4)) << place;
}

TEST_F(row_ordering, rows_that_all_wait_for_each_other_are_taken_one_by_one)
{
    column_lists chain{{0}};
    for (int i = 1; i < 1000; ++i) chain.back().push_back(i), chain.push_back({i});
    for (const column_lists& columns : {full_rows(100), chain}) {
        const plain_order order = order_of(columns);
        EXPECT_EQ(order.lanes, 1U);
        expect_promises(columns, order);
    }
}

TEST_F(row_ordering, rows_that_couple_an_unknown_twice_or_themselves_have_places_too)
{
    for (const bool first : {false, true}) // nobody couples the row before
        for (const bool itself : {false, true}) {
            column_lists columns = grid_system(20, 20).columns;
            std::vector<int>& row = columns[first ? 0 : 210];
            row.insert(row.begin() + 1, itself ? row[0] : row[1]);
            const plain_order order = order_of(columns);
            std::vector<int> sorted = order.place;
            std::sort(sorted.begin(), sorted.end());
            EXPECT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end());
            EXPECT_GE(sorted.front(), 0);
            EXPECT_LT(static_cast<std::size_t>(sorted.back()), order.places);
        }
}

TEST_F(row_ordering, single_unknown_has_a_place)
{
    expect_promises({{0}}, order_of({{0}}));
}

TEST(threes_of_a_row, are_at_least_one_and_hold_every_coupling)
{
    EXPECT_EQ(tarnel::threes_for(0), 1);
    EXPECT_EQ(tarnel::threes_for(3), 1);
    EXPECT_EQ(tarnel::threes_for(4), 2);
    EXPECT_EQ(tarnel::threes_for(6), 2);
    EXPECT_EQ(tarnel::threes_for(7), 3);
}
