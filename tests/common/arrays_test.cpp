#include "common/arrays.h"

#include "support/stage.h"

#include <cstdint>
#include <limits>

// The address sanitizer would end the program where the platform's calls return null.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1";
}

using namespace tarnel;
using namespace tarnel_test;

using arrays = stage_test;

constexpr std::size_t all_bytes = std::numeric_limits<std::size_t>::max();

// Sizes that the compiler cannot see through.
static std::size_t opaque(std::size_t n)
{
    volatile std::size_t hidden = n;
    return hidden;
}

TEST_F(arrays, arrays_of_large_pages_hold_what_small_ones_do)
{
    const stage_outcome outcome = run_stage([](std::FILE* log) {
        constexpr std::size_t most = std::size_t{1} << 20U; // 8 MiB
        const owned_array<double> values = zero_array<double>(log, "values", most);
        for (std::size_t k = 0; k < most; k += 509) EXPECT_EQ(values[k], 0.0);
        EXPECT_EQ(values[most - 1], 0.0);
        growing_array<double> grown;
        for (std::size_t k = 0; k < most; ++k) append(log, "grown", grown, static_cast<double>(k));
        for (std::size_t k = 0; k < most; k += 509) EXPECT_EQ(grown.values[k], static_cast<double>(k));
        EXPECT_EQ(grown.values[most - 1], static_cast<double>(most - 1));
    });
    EXPECT_FALSE(outcome.failed);
}

TEST_F(arrays, new_array_holds_zeros)
{
    const stage_outcome outcome = run_stage([](std::FILE* log) {
        for (const std::size_t n : {1U, 2U, 1000U, 100000U}) {
            const owned_array<double> values = zero_array<double>(log, "values", n);
            std::size_t zeros = 0;
            for (std::size_t k = 0; k < n; ++k) zeros += values[k] == 0.0 ? 1U : 0U;
            EXPECT_EQ(zeros, n);
            for (std::size_t k = 0; k < n; ++k) values[k] = 1.0; // used again: the next one must be cleared
        }
    });
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, "");
}

TEST_F(arrays, array_of_nothing_is_an_array)
{
    const stage_outcome outcome = run_stage([](std::FILE* log) {
        EXPECT_NE(zero_array<double>(log, "values", 0), nullptr);
        EXPECT_NE(zero_array<char>(log, "values", 0), nullptr);
        EXPECT_NE(empty_array<double>(log, "values", opaque(0)), nullptr);
    });
    EXPECT_FALSE(outcome.failed);
}

TEST_F(arrays, array_beyond_all_memory_is_refused_by_its_name)
{
    // The product with the size of a double overflows, fits exactly, or is merely absurd.
    for (const std::size_t n : {all_bytes, all_bytes / 2, all_bytes / 8 + 1, all_bytes / 8, all_bytes / 16}) {
        // Kept where the compiler must follow, or it leaves the allocation out.
        static const double* volatile place;
        const stage_outcome outcome = run_stage([&](std::FILE* log) {
            const owned_array<double> values = zero_array<double>(log, "amatr", opaque(n));
            place = values.get();
        });
        EXPECT_TRUE(outcome.failed) << n;
        EXPECT_EQ(outcome.log, "      Error. Can't allocate (amatr).\n");
        const stage_outcome without_zeros = run_stage([&](std::FILE* log) {
            const owned_array<double> values = empty_array<double>(log, "pvecr", opaque(n));
            place = values.get();
        });
        EXPECT_TRUE(without_zeros.failed) << n;
        EXPECT_EQ(without_zeros.log, "      Error. Can't allocate (pvecr).\n");
        EXPECT_EQ(place, nullptr);
    }
}

TEST_F(arrays, growing_array_keeps_its_values)
{
    const stage_outcome outcome = run_stage([](std::FILE* log) {
        growing_array<std::int32_t> numbers;
        EXPECT_EQ(numbers.size, 0U);
        EXPECT_EQ(numbers.capacity, 0U);
        std::size_t moves = 0, capacity = 0;
        for (std::int32_t k = 0; k < 100000; ++k) {
            append(log, "numbers", numbers, 3 * k);
            if (numbers.capacity != capacity) ++moves;
            capacity = numbers.capacity;
            ASSERT_EQ(numbers.size, static_cast<std::size_t>(k) + 1);
            ASSERT_LE(numbers.size, numbers.capacity);
        }
        EXPECT_LE(moves, 14U); // 16 doubled thirteen times holds 131072
        std::size_t kept = 0;
        for (std::size_t k = 0; k < numbers.size; ++k) kept += numbers.values[k] == 3 * static_cast<int>(k) ? 1U : 0U;
        EXPECT_EQ(kept, 100000U);
    });
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, "");
}

TEST_F(arrays, reserved_room_is_enough_and_changes_no_size)
{
    const stage_outcome outcome = run_stage([](std::FILE* log) {
        growing_array<double> values;
        reserve(log, "values", values, 0);
        EXPECT_EQ(values.capacity, 0U);
        reserve(log, "values", values, 1000);
        EXPECT_GE(values.capacity, 1000U);
        EXPECT_EQ(values.size, 0U);
        const double* place = values.values.get();
        for (int k = 0; k < 1000; ++k) append(log, "values", values, 1.0);
        EXPECT_EQ(values.values.get(), place);
        reserve(log, "values", values, 5); // never less
        EXPECT_GE(values.capacity, 1000U);
        EXPECT_EQ(values.values.get(), place);
    });
    EXPECT_FALSE(outcome.failed);
}

TEST_F(arrays, absurd_growth_is_refused_and_loses_nothing)
{
    for (const std::size_t n : {all_bytes, all_bytes / 2, all_bytes / 8 + 1, all_bytes / 8, all_bytes / 16}) {
        growing_array<double> values;
        const stage_outcome outcome = run_stage([&](std::FILE* log) {
            append(log, "mindex", values, 2.5);
            reserve(log, "mindex", values, opaque(n));
        });
        EXPECT_TRUE(outcome.failed) << n;
        EXPECT_EQ(outcome.log, "      Error. Can't allocate (mindex).\n");
        EXPECT_EQ(values.size, 1U);
        EXPECT_LT(values.capacity, 100U);
        EXPECT_EQ(values.values[0], 2.5);
    }
}
