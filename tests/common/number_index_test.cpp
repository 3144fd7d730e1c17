#include "common/number_index.h"

#include "support/stage.h"

#include <algorithm>
#include <limits>
#include <map>
#include <random>
#include <vector>

using namespace tarnel;
using namespace tarnel_test;

using number_indices = stage_test;

static number_index index_of(const std::vector<std::int32_t>& numbers)
{
    number_index index;
    const stage_outcome outcome = run_stage([&](std::FILE* log) {
        for (const std::int32_t number : numbers) add_number(log, "places", index, number);
        finish_index(log, "places", index);
    });
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, "");
    return index;
}

// Beside a map that keeps the last place of each number.
static void expect_places(const std::vector<std::int32_t>& numbers)
{
    const number_index index = index_of(numbers);
    std::map<std::int32_t, std::int32_t> places;
    for (std::size_t k = 0; k < numbers.size(); ++k) places[numbers[k]] = static_cast<std::int32_t>(k);
    ASSERT_EQ(index.count, static_cast<std::int32_t>(places.size()));
    std::int32_t k = 0;
    for (const auto& [number, place] : places) {
        ASSERT_EQ(place_of(index, number), place) << number;
        const numbered_place ascending = ascending_place(index, k++);
        ASSERT_EQ(ascending.number, number);
        ASSERT_EQ(ascending.place, place);
        for (const std::int32_t near : {number - 1, number + 1})
            ASSERT_EQ(place_of(index, near) == -1, !places.contains(near)) << near;
    }
    for (const std::int32_t other : {0, -1, 1, 2, 1023, 1024, 999999999, std::numeric_limits<std::int32_t>::max(),
                                     std::numeric_limits<std::int32_t>::min()})
        ASSERT_EQ(place_of(index, other) == -1, !places.contains(other)) << other;
}

TEST_F(number_indices, no_numbers_have_no_places)
{
    const number_index index = index_of({});
    EXPECT_EQ(index.count, 0);
    EXPECT_EQ(place_of(index, 1), -1);
    EXPECT_EQ(place_of(index, 0), -1);
    EXPECT_EQ(place_of(index, -5), -1);
}

TEST_F(number_indices, one_number_has_the_first_place)
{
    expect_places({1});
    expect_places({7});
    expect_places({999999999});
}

TEST_F(number_indices, numbers_without_gaps_follow_their_places)
{
    expect_places({1, 2, 3, 4, 5});
    expect_places({11, 12, 13});
    const number_index index = index_of({11, 12, 13});
    EXPECT_TRUE(index.without_gaps);
    EXPECT_EQ(index.direct, nullptr); // a subtraction needs no table
    EXPECT_EQ(index.sorted, nullptr);
}

TEST_F(number_indices, gaps_are_no_places)
{
    expect_places({1, 3});
    expect_places({2, 3, 5, 6, 1000});
    expect_places({1, 2, 3, 100000});
}

TEST_F(number_indices, order_does_not_matter)
{
    expect_places({3, 2, 1});
    expect_places({2, 1});
    expect_places({1, 2, 4, 3});
    expect_places({999999999, 1});
    expect_places({5, 999999999, 6, 7});
}

TEST_F(number_indices, last_place_of_a_repeated_number_stands)
{
    const number_index index = index_of({5, 6, 5, 7, 5});
    EXPECT_EQ(index.count, 3);
    EXPECT_EQ(place_of(index, 5), 4);
    EXPECT_EQ(place_of(index, 6), 1);
    EXPECT_EQ(place_of(index, 7), 3);
    expect_places({5, 6, 5, 7, 5});
    expect_places({1, 1});
    expect_places({1, 2, 2, 3});
    expect_places({800000000, 3, 800000000, 3}); // too far apart for a table
    expect_places({9, 9, 9, 999999999, 9});
}

TEST_F(number_indices, few_large_numbers_take_little_memory)
{
    const number_index index = index_of({1, 2, 900000000});
    EXPECT_EQ(index.direct, nullptr);
    expect_places({1, 2, 900000000});
    expect_places({900000000, 2, 1});
}

// The table by number serves up to 8 n + 1024.
TEST_F(number_indices, places_are_the_same_on_both_sides_of_the_table_limit)
{
    for (const std::int32_t largest : {1039, 1040, 1041, 1042}) {
        expect_places({1, largest});
        expect_places({largest, 1});
        expect_places({1, largest, 1});
    }
    EXPECT_NE(index_of({1, 1040}).direct, nullptr);
    EXPECT_EQ(index_of({1, 1041}).direct, nullptr);
}

TEST_F(number_indices, random_lists_have_the_places_of_a_map)
{
    std::mt19937 random(42);
    for (int round = 0; round < 400; ++round) {
        const std::uint32_t reach = std::uint32_t{1} << (2 + round % 28);
        std::vector<std::int32_t> numbers(1 + random() % 200);
        for (std::int32_t& number : numbers) number = static_cast<std::int32_t>(1 + random() % reach);
        expect_places(numbers);
        std::sort(numbers.begin(), numbers.end()); // repeated, in order
        expect_places(numbers);
        numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
        expect_places(numbers);
        ASSERT_FALSE(HasFatalFailure());
    }
}
