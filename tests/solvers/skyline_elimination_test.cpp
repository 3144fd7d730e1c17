#include "solvers/skyline_elimination.h"

#include "solvers/skyline_systems.h"

#include <cstring>
#include <limits>

using namespace tarnel_test;
using tarnel::columns_together;

namespace
{

std::vector<const tarnel::elimination_kernel*> every_form()
{
    const tarnel::elimination_kernels available = tarnel::available_eliminations();
    return {available.form, available.form + available.count};
}

double wide_ranging(std::mt19937& random)
{
    std::normal_distribution<double> normal;
    std::uniform_int_distribution<int> exponent(-20, 20);
    return std::ldexp(normal(random), exponent(random));
}

// Columns first, first + 1, ... of a factor, each in memory of its own so that a step beyond its ends is seen.
struct column_set {
    std::int32_t first = 0;
    std::vector<std::vector<double>> columns; // the diagonal first
    std::vector<double> x;                    // up to the last column
};

column_set make_set(std::int32_t first, const std::vector<std::int32_t>& heights, std::mt19937& random)
{
    column_set set;
    set.first = first;
    for (std::size_t c = 0; c < heights.size(); ++c) {
        const std::int32_t highest = first + static_cast<std::int32_t>(c) + 1;
        std::vector<double> terms(static_cast<std::size_t>(std::clamp(heights[c], 1, highest)));
        for (double& term : terms) term = wide_ranging(random);
        set.columns.push_back(terms);
    }
    set.x.resize(static_cast<std::size_t>(first) + heights.size());
    for (double& value : set.x) value = wide_ranging(random);
    return set;
}

// By the formulas, column by column.
std::vector<double> textbook_forward(const column_set& set)
{
    std::vector<double> x = set.x;
    for (std::size_t c = 0; c < set.columns.size(); ++c) {
        const std::size_t j = static_cast<std::size_t>(set.first) + c;
        double sum = 0.0;
        for (std::size_t i = j + 1 - set.columns[c].size(); i < j; ++i) {
            const double term = set.columns[c][j - i] * x[i];
            sum = sum + term;
        }
        x[j] = x[j] - sum;
    }
    return x;
}

std::vector<double> textbook_backward(const column_set& set)
{
    std::vector<double> x = set.x;
    for (std::size_t c = set.columns.size(); c-- > 0;) {
        const std::size_t j = static_cast<std::size_t>(set.first) + c;
        for (std::size_t i = j + 1 - set.columns[c].size(); i < j; ++i) {
            const double term = set.columns[c][j - i] * x[j];
            x[i] = x[i] - term;
        }
    }
    return x;
}

void expect_textbook(const column_set& set)
{
    std::vector<tarnel::column_terms> columns;
    for (std::size_t c = 0; c < set.columns.size(); ++c) {
        const std::int32_t j = set.first + static_cast<std::int32_t>(c);
        columns.push_back({j - static_cast<std::int32_t>(set.columns[c].size()) + 1, set.columns[c].data()});
    }
    const auto count = static_cast<std::int32_t>(columns.size());
    const std::vector<double> forward = textbook_forward(set), backward = textbook_backward(set);
    const std::size_t bytes = set.x.size() * sizeof(double);
    for (const tarnel::elimination_kernel* form : every_form()) {
        std::vector<double> x = set.x;
        form->columns(set.first, count, columns.data(), x.data());
        ASSERT_EQ(std::memcmp(x.data(), forward.data(), bytes), 0) << "forward, first " << set.first;
        x = set.x;
        form->rows_above(set.first, count, columns.data(), x.data());
        ASSERT_EQ(std::memcmp(x.data(), backward.data(), bytes), 0) << "backward, first " << set.first;
    }
}

} // namespace

TEST(skyline_elimination, columns_of_one_height_give_what_one_term_at_a_time_gives)
{
    std::mt19937 random(1);
    for (std::int32_t count = 1; count <= columns_together; ++count)
        for (std::int32_t height = 1; height <= 60; ++height)
            for (const std::int32_t first : {0, 1, 7, 8, 9, 15, 16, 200})
                expect_textbook(
                    make_set(first, std::vector<std::int32_t>(static_cast<std::size_t>(count), height), random));
}

TEST(skyline_elimination, columns_that_reach_the_first_unknown_do_not_go_beyond_it)
{
    std::mt19937 random(2);
    const std::vector<std::int32_t> all_the_way(columns_together, 1000);
    for (std::int32_t first = 0; first <= 120; ++first) {
        expect_textbook(make_set(first, all_the_way, random));
        for (std::size_t lower = 0; lower < all_the_way.size(); ++lower) { // one column is lower by some terms
            std::vector<std::int32_t> heights = all_the_way;
            heights[lower] = first / 2 + 1;
            expect_textbook(make_set(first, heights, random));
            std::fill(heights.begin(), heights.end(), first / 2 + 1);
            heights[lower] = 1000; // and one is higher than all others
            expect_textbook(make_set(first, heights, random));
        }
    }
}

TEST(skyline_elimination, columns_of_any_heights_give_what_one_term_at_a_time_gives)
{
    std::mt19937 random(3);
    std::uniform_int_distribution<std::int32_t> any_first(0, 150), any_height(1, 160), step(-20, 20);
    for (int trial = 0; trial < 20000; ++trial) {
        std::vector<std::int32_t> heights(columns_together, any_height(random));
        for (std::int32_t& height : heights) {
            if (trial % 3 == 0) height = any_height(random);
            if (trial % 3 == 1) height += step(random);
            if (trial % 7 == 0 && step(random) > 10) height = step(random);
        }
        heights.resize(1 + static_cast<std::size_t>(trial) % heights.size());
        expect_textbook(make_set(any_first(random), heights, random));
    }
}

// What only the taller columns have is not a number, so that taking it for a shorter one's would show.
TEST(skyline_elimination, shorter_columns_take_nothing_from_taller_ones)
{
    std::mt19937 random(4);
    for (std::int32_t shorter = 1; shorter <= 40; ++shorter)
        for (std::size_t at = 0; at < columns_together; ++at) {
            std::vector<std::int32_t> heights(columns_together, 50);
            heights[at] = shorter;
            column_set set = make_set(60, heights, random);
            set.x[20] = std::numeric_limits<double>::quiet_NaN();
            expect_textbook(set);
            set.x[20] = std::numeric_limits<double>::infinity();
            for (double& term : set.columns[at]) term = 0.0;
            expect_textbook(set);
        }
}

TEST(skyline_elimination, portable_form_is_always_there_and_last)
{
    EXPECT_EQ(every_form().back(), &tarnel::portable_elimination);
    EXPECT_EQ(every_form().front(), &tarnel::fastest_elimination());
}
