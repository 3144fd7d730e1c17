#include "circuit/voltr.h"

#include "support/stage.h"

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

using namespace tarnel_test;

namespace
{

// Reproducible values in -1 .. 1.
struct random_values {
    std::uint64_t state = 12345;
    double next()
    {
        state = state * 6364136223846793005u + 1442695040888963407u;
        return static_cast<double>(static_cast<std::int64_t>(state) >> 11) / 4503599627370496.0;
    }
};

struct dense_system {
    std::size_t n;
    std::vector<double> f, b;
};

dense_system random_system(std::size_t n, double diagonal)
{
    random_values random;
    dense_system s{n, std::vector<double>(n * n), std::vector<double>(n)};
    for (double& value : s.f) value = random.next();
    for (double& value : s.b) value = random.next();
    for (std::size_t i = 0; i < n; ++i) s.f[i * n + i] += diagonal;
    return s;
}

// The elimination as a textbook has it: a column of the matrix at a time.
void eliminate_plainly(dense_system& s)
{
    const std::size_t n = s.n;
    for (std::size_t i = 0; i < n; ++i) {
        const double reciprocal = 1.0 / s.f[i * n + i];
        s.f[i * n + i] = reciprocal;
        for (std::size_t k = i + 1; k < n; ++k) {
            const double factor = s.f[k * n + i] * reciprocal;
            for (std::size_t j = i + 1; j < n; ++j) s.f[k * n + j] -= factor * s.f[i * n + j];
            s.b[k] -= factor * s.b[i];
        }
    }
    for (std::size_t i = n; i-- > 0;) {
        for (std::size_t j = i + 1; j < n; ++j) s.b[i] -= s.f[i * n + j] * s.b[j];
        s.b[i] *= s.f[i * n + i];
    }
}

// Reference with row exchanges in extended precision.
std::vector<long double> solve_with_pivots(const dense_system& s)
{
    const std::size_t n = s.n;
    std::vector<long double> f(s.f.begin(), s.f.end()), b(s.b.begin(), s.b.end());
    for (std::size_t i = 0; i < n; ++i) {
        std::size_t best = i;
        for (std::size_t k = i; k < n; ++k)
            if (std::fabs(f[k * n + i]) > std::fabs(f[best * n + i])) best = k;
        for (std::size_t j = 0; j < n; ++j) std::swap(f[i * n + j], f[best * n + j]);
        std::swap(b[i], b[best]);
        for (std::size_t k = i + 1; k < n; ++k) {
            const long double factor = f[k * n + i] / f[i * n + i];
            for (std::size_t j = i; j < n; ++j) f[k * n + j] -= factor * f[i * n + j];
            b[k] -= factor * b[i];
        }
    }
    for (std::size_t i = n; i-- > 0;) {
        for (std::size_t j = i + 1; j < n; ++j) b[i] -= f[i * n + j] * b[j];
        b[i] /= f[i * n + i];
    }
    return b;
}

class full_matrix : public stage_test
{
protected:
    static stage_outcome solve(dense_system& s, double eps_zero = 1e-60)
    {
        return run_stage(
            [&](std::FILE* log) { tarnel::solve_full_matrix(s.n, s.f.data(), s.b.data(), eps_zero, log); });
    }
    static std::string singular(int row)
    {
        return "      Error. the full-matrix is singular.\n             at i = " + std::to_string(row) + ".\n";
    }
};

} // namespace

TEST_F(full_matrix, small_system_by_hand)
{
    // 2x + y = 4, 4x + 4y + z = 7, 2y + 5z = 3: the pivots are 2, 2 and 4, so that z = 1, y = -1, x = 5/2.
    dense_system s{3, {2, 1, 0, 4, 4, 1, 0, 2, 5}, {4, 7, 3}};
    EXPECT_FALSE(solve(s).failed);
    EXPECT_EQ(s.b, (std::vector<double>{2.5, -1, 1}));
}

TEST_F(full_matrix, has_the_bits_of_the_plain_loop_at_every_size)
{
    for (const std::size_t n : {1u, 2u, 3u, 31u, 32u, 33u, 63u, 64u, 65u, 96u, 130u}) {
        dense_system s = random_system(n, 3.0), plain = s;
        EXPECT_FALSE(solve(s).failed);
        eliminate_plainly(plain);
        EXPECT_EQ(std::memcmp(s.b.data(), plain.b.data(), n * sizeof(double)), 0) << n;
    }
}

TEST_F(full_matrix, agrees_with_a_reference_that_exchanges_rows)
{
    for (const std::size_t n : {5u, 40u, 100u}) {
        dense_system s = random_system(n, static_cast<double>(n));
        const std::vector<long double> expected = solve_with_pivots(s);
        EXPECT_FALSE(solve(s).failed);
        for (std::size_t i = 0; i < n; ++i) EXPECT_NEAR(s.b[i], static_cast<double>(expected[i]), 1e-13) << n;
    }
}

TEST_F(full_matrix, a_zero_on_the_diagonal_is_singular_though_an_exchange_would_help)
{
    dense_system s{2, {0, 1, 1, 0}, {1, 1}};
    const stage_outcome outcome = solve(s);
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, singular(0));
}

TEST_F(full_matrix, the_first_pivot_below_the_threshold_is_named_from_0)
{
    for (const std::size_t row : {1u, 31u, 32u, 45u}) {
        dense_system s{50, std::vector<double>(2500), std::vector<double>(50, 1.0)};
        for (std::size_t i = 0; i < 50; ++i) s.f[i * 50 + i] = i < row ? 2.0 : 0.0;
        EXPECT_EQ(solve(s).log, singular(static_cast<int>(row)));
    }
    dense_system vanishing{2, {2, 4, 1, 2}, {1, 1}}; // the second pivot is 2 - 1/2 4
    EXPECT_EQ(solve(vanishing).log, singular(1));
}

TEST_F(full_matrix, a_pivot_of_the_threshold_passes_whatever_its_sign)
{
    for (const double pivot : {0.5, -0.5}) {
        dense_system s{1, {pivot}, {1}};
        EXPECT_FALSE(solve(s, 0.5).failed);
        EXPECT_EQ(s.b[0], 1 / pivot);
        dense_system below{1, {pivot}, {1}};
        EXPECT_EQ(solve(below, 0.5000001).log, singular(0));
    }
}

TEST_F(full_matrix, a_pivot_that_is_not_a_number_is_refused)
{
    dense_system s{1, {std::numeric_limits<double>::quiet_NaN()}, {1}};
    EXPECT_EQ(solve(s).log, singular(0));
}
