#include "solvers/skyline_factor.h"

#include "solvers/skyline_systems.h"

#include <cstring>
#include <limits>

using namespace tarnel_test;
using tarnel::tile_columns, tarnel::tile_rows;

namespace
{

// The same bits, so that a zero's sign counts and a NaN equals itself.
bool same_bits(const double a[], const double b[], std::size_t n)
{
    return std::memcmp(a, b, n * sizeof(double)) == 0;
}

// The kernels that this processor has, the portable one among them.
std::vector<const tarnel::tile_kernel*> every_form()
{
    const tarnel::tile_kernels available = tarnel::available_tile_kernels();
    return {available.form, available.form + available.count};
}

struct tile_data {
    std::vector<double> w;               // n x 16, k by k
    std::vector<double> u[tile_columns]; // the term of k = 0 at the end
    double sums[tile_columns][tile_rows];
    const double* top[tile_columns]; // of the columns
};

double wide_ranging(std::mt19937& random)
{
    std::normal_distribution<double> normal;
    std::uniform_int_distribution<int> exponent(-40, 40);
    return std::ldexp(normal(random), exponent(random));
}

void fill_tile(std::size_t n, std::mt19937& random, tile_data& tile)
{
    for (std::size_t k = 0; k < n * tile_rows; ++k) tile.w.push_back(wide_ranging(random));
    for (std::size_t c = 0; c < tile_columns; ++c) {
        for (std::size_t k = 0; k < n; ++k) tile.u[c].push_back(wide_ranging(random));
        tile.top[c] = tile.u[c].data() + (n > 0 ? n - 1 : 0);
        for (double& sum : tile.sums[c]) sum = wide_ranging(random);
    }
}

tarnel::skyline_profile profile_of(const skyline_columns& columns, std::FILE* log)
{
    tarnel::skyline_profile profile;
    profile.ndim = static_cast<std::int32_t>(columns.size());
    profile.linsky = tarnel::zero_array<std::int32_t>(log, "linsky", columns.size());
    profile.iadlin = tarnel::zero_array<std::int32_t>(log, "iadlin", columns.size());
    return profile;
}

struct factor_outcome : stage_outcome {
    skyline_columns columns;
    std::vector<double> pivots;
};

// Factorises the columns in one block of the work array, or in two that meet at column `split`: the second then takes
// its earlier columns from groups of at most `most` (0: all the group's room).
factor_outcome factorise(const skyline_columns& a, const tarnel::tile_kernel& kernel, int split = 0, int most = 0,
                         int work_length = 1000000, double eps_zero = 1e-60)
{
    factor_outcome result;
    static_cast<stage_outcome&>(result) = run_stage([&](std::FILE* log) {
        const auto n = static_cast<std::int32_t>(a.size());
        tarnel::skyline_profile profile = profile_of(a, log);
        std::vector<double> terms[2];
        for (std::int32_t j = 0; j < n; ++j) {
            const auto& column = a[static_cast<std::size_t>(j)];
            auto& block = terms[j < split ? 0 : 1];
            profile.linsky[static_cast<std::size_t>(j)] = static_cast<std::int32_t>(column.size());
            profile.iadlin[static_cast<std::size_t>(j)] = static_cast<std::int32_t>(block.size());
            profile.nband = std::max(profile.nband, static_cast<std::int32_t>(column.size()));
            block.insert(block.end(), column.begin(), column.end());
        }
        result.pivots.assign(a.size(), 0.0);
        tarnel::column_group group = tarnel::make_group(log, profile.nband, work_length, kernel);
        EXPECT_GE(group.most, tile_rows);
        if (most == 0) most = group.most;
        const tarnel::skyline_block blocks[2] = {{0, split, terms[0].data()}, {split, n, terms[1].data()}};
        factorise_block(profile, blocks[0], group, eps_zero, result.pivots.data(), log);
        start_group(group, 0);
        for (std::int32_t i = 0; i < split; ++i) {
            add_column(profile, group, block_column(profile, blocks[0], i), result.pivots.data());
            if (group.count < most && i + 1 < split) continue;
            apply_group(profile, group, blocks[1], result.pivots.data());
            start_group(group, i + 1);
        }
        factorise_block(profile, blocks[1], group, eps_zero, result.pivots.data(), log);
        for (std::int32_t j = 0; j < n; ++j) {
            const double* column = block_column(profile, blocks[j < split ? 0 : 1], j);
            result.columns.emplace_back(column, column + profile.linsky[static_cast<std::size_t>(j)]);
        }
    });
    return result;
}

void expect_textbook(const skyline_columns& a, const factor_outcome& got, const std::string& what)
{
    const skyline_columns expected = textbook_factor(a);
    EXPECT_EQ(got.log, "") << what;
    ASSERT_EQ(got.columns.size(), expected.size()) << what;
    for (std::size_t j = 0; j < a.size(); ++j) {
        ASSERT_TRUE(same_bits(got.columns[j].data(), expected[j].data(), expected[j].size()))
            << what << " column " << j;
        ASSERT_EQ(got.pivots[j], expected[j][0]) << what;
    }
}

std::vector<int> ragged(int n, int highest, std::mt19937& random)
{
    std::uniform_int_distribution<int> height(1, highest);
    std::vector<int> heights;
    for (int j = 0; j < n; ++j) heights.push_back(std::min(height(random), j + 1));
    return heights;
}

} // namespace

using skyline_factor_groups = stage_test;

TEST_F(skyline_factor_groups, empty_group_changes_nothing)
{
    const stage_outcome outcome = run_stage([](std::FILE* log) {
        const skyline_columns columns = {{4.0}, {5.0, 2.0}};
        tarnel::skyline_profile profile = profile_of(columns, log);
        profile.linsky[0] = 1, profile.linsky[1] = profile.nband = 2, profile.iadlin[1] = 1;
        double terms[] = {4.0, 5.0, 2.0};
        const double pivots[] = {4.0, 0.0};
        tarnel::column_group group = tarnel::make_group(log, profile.nband, 1000, tarnel::portable_tile_kernel);
        for (const std::int32_t first : {0, 1, 2}) {
            start_group(group, first);
            apply_group(profile, group, {0, 2, terms}, pivots);
        }
        EXPECT_EQ(terms[0], 4.0);
        EXPECT_EQ(terms[1], 5.0);
        EXPECT_EQ(terms[2], 2.0);
    });
    EXPECT_EQ(outcome.log, "");
}

TEST(skyline_kernel, sums_of_every_length_are_those_of_one_entry_at_a_time)
{
    std::mt19937 random(1);
    std::vector<std::size_t> lengths = {1000, 4099};
    for (std::size_t n = 0; n <= 140; ++n) lengths.push_back(n);
    for (const std::size_t n : lengths) {
        tile_data tile;
        fill_tile(n, random, tile);
        double expected[tile_columns][tile_rows];
        for (std::size_t c = 0; c < tile_columns; ++c)
            for (std::size_t r = 0; r < tile_rows; ++r) {
                double sum = tile.sums[c][r];
                for (std::size_t k = 0; k < n; ++k) {
                    const double term = tile.w[k * tile_rows + r] * tile.u[c][n - 1 - k];
                    sum = sum + term;
                }
                expected[c][r] = sum;
            }
        for (const tarnel::tile_kernel* form : every_form()) {
            double sums[tile_columns][tile_rows];
            std::memcpy(sums, tile.sums, sizeof sums);
            form->add_columns(static_cast<std::ptrdiff_t>(n), tile.w.data(), tile.top, nullptr, sums);
            EXPECT_EQ(std::memcmp(sums, expected, sizeof expected), 0) << n;
        }
    }
}

// What stands before the first term is not a number, so that touching it would show.
TEST(skyline_kernel, columns_that_begin_later_add_their_own_terms_only)
{
    std::mt19937 random(6);
    const std::vector<std::vector<std::ptrdiff_t>> begins = {{0, 1, 2, 3, 4, 5, 6, 7}, {7, 6, 5, 4, 3, 2, 1, 0},
                                                             {0, 0, 0, 0, 0, 0, 0, 9}, {5, 50, 0, 20, 21, 19, 99, 5},
                                                             {3, 3, 3, 3, 3, 3, 3, 3}, {9, 9, 9, 9, 0, 0, 0, 0}};
    for (const std::ptrdiff_t n : {0, 1, 3, 8, 20, 21})
        for (const std::vector<std::ptrdiff_t>& begin : begins) {
            tile_data tile;
            fill_tile(static_cast<std::size_t>(n), random, tile);
            double expected[tile_columns][tile_rows];
            std::memcpy(expected, tile.sums, sizeof expected);
            for (std::size_t c = 0; c < tile_columns; ++c)
                for (std::ptrdiff_t k = 0; k < n; ++k) {
                    double& u = tile.u[c][static_cast<std::size_t>(n - 1 - k)];
                    if (k < begin[c]) u = std::numeric_limits<double>::quiet_NaN();
                    for (std::size_t r = 0; k >= begin[c] && r < tile_rows; ++r) {
                        const double term = tile.w[static_cast<std::size_t>(k) * tile_rows + r] * u;
                        expected[c][r] = expected[c][r] + term;
                    }
                }
            for (const tarnel::tile_kernel* form : every_form()) {
                double sums[tile_columns][tile_rows];
                std::memcpy(sums, tile.sums, sizeof sums);
                form->add_columns(n, tile.w.data(), tile.top, begin.data(), sums);
                EXPECT_EQ(std::memcmp(sums, expected, sizeof expected), 0) << n << " rows, last from " << begin[7];
            }
        }
}

// Rows of a tile in columns that begin at the given rows, worked out one entry at a time; everything else is left.
TEST(skyline_kernel, rows_of_whole_and_partial_tiles_are_finished_one_entry_after_another)
{
    std::mt19937 random(5);
    const std::vector<std::vector<int>> tops = {{0, 0, 0, 0, 0, 0, 0, 0},     {-9, -1, 0, -3, 0, -20, 0, -5},
                                                {0, 0, 0, 1, 0, 0, 0, 0},     {16, 16, 16, 16, 16, 16, 16, 16},
                                                {3, -2, 15, 16, 40, 7, 8, 9}, {0, 1, 2, 3, 4, 5, 6, 7}};
    for (int rows = 1; rows <= tile_rows; ++rows)
        for (const std::vector<int>& top : tops) {
            tile_data tile;
            fill_tile(tile_rows, random, tile);
            std::vector<double> pivots;
            for (int r = 0; r < rows; ++r) pivots.push_back(wide_ranging(random));
            std::vector<double> expected[tile_columns];
            for (std::size_t c = 0; c < tile_columns; ++c) {
                expected[c] = tile.u[c];
                double sums[tile_rows];
                std::memcpy(sums, tile.sums[c], sizeof sums);
                for (int r = std::max(top[c], 0); r < rows; ++r) {
                    double& term = expected[c][static_cast<std::size_t>(tile_rows - 1 - r)];
                    term = (term - sums[r]) / pivots[static_cast<std::size_t>(r)];
                    for (int s = r + 1; s < rows; ++s) {
                        const double product = tile.w[static_cast<std::size_t>(r * tile_rows + s)] * term;
                        sums[s] = sums[s] + product;
                    }
                }
            }
            const bool whole = rows == tile_rows && *std::max_element(top.begin(), top.end()) <= 0;
            for (const int* tops_given : {top.data(), static_cast<const int*>(nullptr)})
                for (const tarnel::tile_kernel* form : every_form()) {
                    if (tops_given == nullptr && !whole) continue;
                    std::vector<double> got[tile_columns];
                    double* u[tile_columns];
                    for (std::size_t c = 0; c < tile_columns; ++c) {
                        got[c] = tile.u[c];
                        u[c] = got[c].data() + tile_rows - 1;
                    }
                    form->finish_rows(rows, tile.w.data(), pivots.data(), u, tops_given, tile.sums);
                    for (std::size_t c = 0; c < tile_columns; ++c)
                        EXPECT_TRUE(same_bits(got[c].data(), expected[c].data(), tile_rows))
                            << rows << " rows, column " << c << " from " << top[c];
                }
        }
}

// Terms of sixteen columns with n rows before their tile and the tile's own; what no column has is not a number.
struct own_columns {
    std::vector<double> terms[tile_rows]; // row k from 0 at the end and back
    double* u[tile_rows];                 // the first row of the tile in each
    const double* above[tile_rows];       // row 0
    std::vector<std::ptrdiff_t> begin;
    std::vector<double> pivots;
};

own_columns random_columns(std::ptrdiff_t n, std::mt19937& random)
{
    own_columns made;
    for (std::ptrdiff_t k = 0; k < n; ++k) made.pivots.push_back(wide_ranging(random));
    for (std::size_t c = 0; c < tile_rows; ++c) {
        made.begin.push_back(std::uniform_int_distribution<std::ptrdiff_t>(-3, n)(random));
        made.begin[c] = std::max<std::ptrdiff_t>(made.begin[c], 0);
        for (std::ptrdiff_t k = n + tile_rows - 1; k >= 0; --k)
            made.terms[c].push_back(k < made.begin[c] ? std::numeric_limits<double>::quiet_NaN()
                                                      : wide_ranging(random));
        made.u[c] = made.terms[c].data() + tile_rows - 1;
        made.above[c] = made.u[c] + n;
    }
    return made;
}

TEST(skyline_kernel, columns_are_packed_times_their_pivots_and_their_squares_summed)
{
    std::mt19937 random(7);
    for (std::ptrdiff_t n = 0; n <= 70; ++n) {
        const own_columns columns = random_columns(n, random);
        std::vector<double> expected(static_cast<std::size_t>(n) * tile_rows, 0.0), expected_squares;
        for (std::size_t c = 0; c < tile_rows; ++c) {
            double square = wide_ranging(random);
            const double before = square;
            for (std::ptrdiff_t k = columns.begin[c]; k < n; ++k) {
                const double u = columns.above[c][-k], pivot = columns.pivots[static_cast<std::size_t>(k)];
                expected[static_cast<std::size_t>(k) * tile_rows + c] = u * pivot;
                const double product = u * u * pivot;
                square = square + product;
            }
            expected_squares.push_back(square);
            expected_squares.push_back(before);
        }
        for (const tarnel::tile_kernel* form : every_form()) {
            std::vector<double> w(expected.size() + 1, 5.5);
            double squares[tile_rows];
            for (std::size_t c = 0; c < tile_rows; ++c) squares[c] = expected_squares[2 * c + 1];
            form->pack_columns(n, columns.above, columns.begin.data(), columns.pivots.data(), w.data(), squares);
            EXPECT_EQ(w.back(), 5.5);
            w.pop_back();
            EXPECT_EQ(w, expected) << n; // a zero may have either sign
            for (std::size_t c = 0; c < tile_rows; ++c) EXPECT_EQ(squares[c], expected_squares[2 * c]) << n;
        }
    }
}

// The columns of a tile one after another, each down to its pivot.
TEST(skyline_kernel, tile_is_factorised_in_itself_one_column_after_another)
{
    std::mt19937 random(8);
    for (int round = 0; round < 200; ++round) {
        const int count = 1 + round % tile_rows;
        own_columns columns = random_columns(0, random);
        int top[tile_rows];
        double sums[tile_rows][tile_rows], squares[tile_rows];
        std::vector<double> expected[tile_rows], pivots, w(tile_rows * tile_rows, 0.0);
        for (std::size_t c = 0; c < tile_rows; ++c) {
            top[c] = std::uniform_int_distribution<int>(-9, static_cast<int>(c))(random);
            squares[c] = wide_ranging(random);
            for (double& sum : sums[c]) sum = wide_ranging(random);
            expected[c] = columns.terms[c];
        }
        const auto at = [](std::size_t r) { return tile_rows - 1 - r; };
        for (std::size_t c = 0; c < static_cast<std::size_t>(count); ++c) {
            double own[tile_rows];
            std::memcpy(own, sums[c], sizeof own);
            double square = squares[c];
            for (auto r = static_cast<std::size_t>(std::max(top[c], 0)); r < c; ++r) {
                double& u = expected[c][at(r)];
                u = (u - own[r]) / pivots[r];
                w[r * tile_rows + c] = u * pivots[r];
                const double product = u * u * pivots[r];
                square = square + product;
                for (std::size_t s = r + 1; s < c; ++s) {
                    const double term = w[r * tile_rows + s] * u;
                    own[s] = own[s] + term;
                }
            }
            expected[c][at(c)] = expected[c][at(c)] - square;
            pivots.push_back(expected[c][at(c)]);
        }
        for (const tarnel::tile_kernel* form : every_form()) {
            own_columns got = columns;
            for (std::size_t c = 0; c < tile_rows; ++c) got.u[c] = got.terms[c].data() + tile_rows - 1;
            std::vector<double> got_pivots(tile_rows, 5.5), got_w(tile_rows * tile_rows, 0.0);
            double got_squares[tile_rows];
            std::memcpy(got_squares, squares, sizeof squares);
            ASSERT_EQ(form->factorise_tile(count, 0.0, got.u, top, got_w.data(), got_pivots.data(), got_squares, sums),
                      count);
            for (std::size_t c = 0; c < tile_rows; ++c)
                EXPECT_TRUE(same_bits(got.terms[c].data(), expected[c].data(), tile_rows)) << count << " column " << c;
            EXPECT_TRUE(same_bits(got_pivots.data(), pivots.data(), pivots.size()));
            for (std::size_t r = 0; r < pivots.size(); ++r)
                for (std::size_t c = r + 1; c < pivots.size(); ++c)
                    EXPECT_EQ(got_w[r * tile_rows + c], w[r * tile_rows + c]) << count;
        }
    }
}

TEST(skyline_kernel, portable_form_is_always_there_and_last)
{
    EXPECT_EQ(every_form().back(), &tarnel::portable_tile_kernel);
    EXPECT_EQ(every_form().front(), &tarnel::fastest_tile_kernel());
}

TEST(skyline_kernel, product_and_sum_are_rounded_apart)
{
    // (1 + e)^2 rounds to 1 + 2 e; fused with -(1 + 2 e) the lost e^2 would remain.
    const double e = std::ldexp(1.0, -30);
    for (const tarnel::tile_kernel* form : every_form()) {
        const std::vector<double> w(tile_rows, 1.0 + e), u(1, 1.0 + e);
        const double* columns[tile_columns];
        std::fill(columns, columns + tile_columns, u.data());
        double sums[tile_columns][tile_rows];
        for (auto& column : sums)
            for (double& sum : column) sum = -(1.0 + 2.0 * e);
        form->add_columns(1, w.data(), columns, nullptr, sums);
        for (const auto& column : sums)
            for (const double sum : column) EXPECT_EQ(sum, 0.0);
    }
}

using skyline_factor = stage_test;

TEST_F(skyline_factor, block_of_any_profile_is_factorised_to_the_textbooks_bits_by_every_kernel)
{
    std::mt19937 random(2);
    for (int n = 1; n <= 80; ++n)
        for (const int highest : {1, 3, 9, 33, 300}) {
            const auto kind = n % 2 == 0 ? definiteness::positive : definiteness::indefinite;
            const skyline_columns a = random_matrix(ragged(n, highest, random), kind, random);
            const std::string what = std::to_string(n) + " unknowns, heights up to " + std::to_string(highest);
            for (const tarnel::tile_kernel* form : every_form()) expect_textbook(a, factorise(a, *form), what);
        }
}

TEST_F(skyline_factor, two_blocks_and_groups_of_any_size_give_the_same_bits)
{
    std::mt19937 random(3);
    const int n = 300;
    for (const int highest : {5, 40, 300}) {
        const skyline_columns a = random_matrix(ragged(n, highest, random), definiteness::indefinite, random);
        for (const int split : {1, 15, 16, 17, 64, 65, 200, 299})
            for (const int most : {1, 3, 16, 29, 64}) {
                const std::string what = std::to_string(split) + " columns before, groups of " + std::to_string(most);
                expect_textbook(a, factorise(a, tarnel::fastest_tile_kernel(), split, most), what);
            }
    }
}

TEST_F(skyline_factor, room_for_few_columns_gives_the_same_bits)
{
    std::mt19937 random(4);
    const skyline_columns a = random_matrix(ragged(130, 130, random), definiteness::positive, random);
    for (const int work_length : {130, 5000, 10000, 40000})
        expect_textbook(a, factorise(a, tarnel::fastest_tile_kernel(), 70, 0, work_length), "");
}

TEST_F(skyline_factor, group_holds_at_most_64_columns_and_at_least_a_tile)
{
    run_stage([](std::FILE* log) {
        const auto most = [&](int nband, int work_length) {
            return tarnel::make_group(log, nband, work_length, tarnel::portable_tile_kernel).most;
        };
        EXPECT_EQ(most(100, 100), 16);
        EXPECT_EQ(most(100, 4 * 116 * 16 * 2 - 1), 16);
        EXPECT_EQ(most(100, 4 * 116 * 16 * 2), 32);
        EXPECT_EQ(most(100, 999999999), 64);
    });
}

TEST_F(skyline_factor, hand_worked_matrix_gives_its_factor)
{
    // A = U^T D U with d = (4, -2, 3), u_01 = 1/2, u_02 = -1, u_12 = 2:
    // a_01 = 2, a_11 = 1 - 2 = -1, a_02 = -4, a_12 = -2 - 4 = -6, a_22 = 4 - 8 + 3 = -1
    const factor_outcome got = factorise({{4}, {-1, 2}, {-1, -6, -4}}, tarnel::fastest_tile_kernel());
    EXPECT_EQ(got.columns, (skyline_columns{{4}, {-2, 0.5}, {3, 2, -1}}));
    EXPECT_EQ(got.pivots, (std::vector<double>{4, -2, 3}));
}

TEST_F(skyline_factor, small_pivot_is_singular_at_every_place_of_a_tile)
{
    for (std::size_t j = 0; j < 20; ++j) {
        skyline_columns a;
        for (std::size_t i = 0; i < 20; ++i) a.push_back({i == j ? 0.0 : 2.0});
        const factor_outcome got = factorise(a, tarnel::fastest_tile_kernel());
        EXPECT_TRUE(got.failed);
        EXPECT_EQ(got.log, "      Error. The global matrix is singular.\n             unknown no. = " +
                               std::to_string(j) + " \n");
    }
}

TEST_F(skyline_factor, pivot_of_the_thresholds_magnitude_is_accepted)
{
    const auto failed = [](double pivot) {
        return factorise({{1.0}, {1.0 + pivot, 1.0}}, tarnel::fastest_tile_kernel(), 0, 0, 1000000, 0.25).failed;
    };
    EXPECT_FALSE(failed(0.25));
    EXPECT_FALSE(failed(-0.25));
    EXPECT_TRUE(failed(0.25 - std::ldexp(1.0, -52)));
    EXPECT_TRUE(failed(-0.25 + std::ldexp(1.0, -52)));
    EXPECT_TRUE(failed(0.0));
    EXPECT_TRUE(failed(std::numeric_limits<double>::quiet_NaN()));
}

TEST_F(skyline_factor, first_small_pivot_is_the_one_named)
{
    // Unknowns 3 and 9 repeat unknown 1 exactly.
    skyline_columns a;
    for (std::size_t j = 0; j < 12; ++j) {
        a.push_back({3.0});
        if (j == 3 || j == 9) {
            a[j].resize(j, 0.0);
            a[j][j - 1] = 3.0;
        }
    }
    EXPECT_EQ(factorise(a, tarnel::fastest_tile_kernel()).log,
              "      Error. The global matrix is singular.\n             unknown no. = 3 \n");
}
