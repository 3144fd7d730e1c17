#include "solvers/skyline.h"

#include "solvers/skyline_systems.h"

#include <cstdlib>
#include <limits>
#include <numeric>

using namespace tarnel_test;

namespace
{

const std::string heading = "    === in func. t_real_mtsolv_skylin1 ===\n";
const std::string index_error = "      Error. in t-matrix-index.tmp(",
                  matrix_error = "      Error. in t-femr-matrix.tmp(";
const std::string header_error = "      Error. in header of work file for sky-line solver(";
const std::string column_error = "      Error. in work file for sky-line solver(";

tarnel::control wide_limits()
{
    tarnel::control cntl = small_control();
    cntl.maxdim = cntl.maxnzero = 1000000;
    return cntl;
}

stage_outcome factorise(const tarnel::control& cntl = wide_limits())
{
    return run_stage([&](std::FILE* log) {
        opened_input index("t-matrix-index.tmp"), matrix("t-femr-matrix.tmp");
        t_real_mtsolv_skylin1(cntl, index, matrix, log);
    });
}

void write_matrix(const skyline_columns& columns)
{
    const hand_system system = rows_of(columns);
    write_new_file("t-matrix-index.tmp", index_bytes(system));
    write_new_file("t-femr-matrix.tmp", matrix_bytes(system));
}

std::string head_log(int ndim)
{
    return heading + "      ndim = " + std::to_string(ndim) + " \n";
}

std::string band_log(int nband)
{
    return "      Band width(nband) === " + std::to_string(nband) + " \n";
}

std::string division_log(int matdiv)
{
    return "      No. of the work file for sky-line(matdiv) === " + std::to_string(matdiv) + " \n";
}

// The blocks of a matrix when a column that would end beyond the work array opens the next one: first columns, closed
// by the number of columns.
std::vector<int> blocks_of(const skyline_columns& columns, int work_length)
{
    std::vector<int> first = {0};
    int filled = 0;
    for (std::size_t j = 0; j < columns.size(); ++j) {
        const int height = static_cast<int>(columns[j].size());
        if (filled + height > work_length) {
            first.push_back(static_cast<int>(j));
            filled = 0;
        }
        filled += height;
    }
    first.push_back(static_cast<int>(columns.size()));
    return first;
}

// The bytes of a block's file.
std::string block_bytes(const skyline_columns& factor, const std::vector<int>& first, std::size_t block)
{
    bytes file;
    file.add_i(static_cast<std::int32_t>(first.size()) - 1).add_i(static_cast<std::int32_t>(block));
    file.add_i(first[block]).add_i(first[block + 1]);
    std::int32_t address = 0;
    for (int j = first[block]; j < first[block + 1]; ++j) {
        const auto& column = factor[static_cast<std::size_t>(j)];
        file.add_i(static_cast<std::int32_t>(column.size())).add_i(address);
        for (const double term : column) file.add_d(term);
        address += static_cast<std::int32_t>(column.size());
    }
    return file.text();
}

// Factorises with each work array and compares every byte of every block's file with the textbook.
void expect_textbook(const skyline_columns& a, const std::vector<int>& work_lengths, const std::string& what)
{
    write_matrix(a);
    const skyline_columns factor = textbook_factor(a);
    for (const int work_length : work_lengths) {
        const std::vector<int> first = blocks_of(a, work_length);
        const std::size_t blocks = first.size() - 1;
        write_names(work_length, static_cast<int>(blocks));
        const stage_outcome outcome = factorise();
        ASSERT_FALSE(outcome.failed) << what << outcome.log;
        for (std::size_t b = 0; b < blocks; ++b) {
            const std::string name = block_name(static_cast<int>(b) + 1);
            ASSERT_TRUE(read_file(name) == block_bytes(factor, first, b))
                << what << ", work array " << work_length << ", block " << b;
            std::filesystem::remove(name);
        }
    }
}

std::vector<int> divisions(const skyline_columns& a, std::mt19937& random)
{
    int nband = 0, all = 0;
    for (const auto& column : a) {
        nband = std::max(nband, static_cast<int>(column.size()));
        all += static_cast<int>(column.size());
    }
    std::uniform_int_distribution<int> between(nband, all);
    return {nband, nband + 1, std::max(nband, all / 7), between(random), std::max(nband, all - 1), all, all + 1};
}

enum class profile_kind { ragged, band, dense, diagonal, arrow, waves };

std::vector<int> heights_of(profile_kind kind, int n, std::mt19937& random)
{
    std::vector<int> heights;
    std::uniform_int_distribution<int> some(1, std::max(2, n / 4)), any(1, n);
    const int band = some(random);
    for (int j = 0; j < n; ++j) {
        int height = 1;
        if (kind == profile_kind::ragged) height = some(random) == 1 ? any(random) : some(random);
        if (kind == profile_kind::band) height = band;
        if (kind == profile_kind::dense) height = n;
        if (kind == profile_kind::arrow && j + 3 >= n) height = n;
        if (kind == profile_kind::waves) height = 1 + j % (band + 3);
        heights.push_back(std::min(height, j + 1));
    }
    return heights;
}

} // namespace

using skylin1 = stage_test;

TEST_F(skylin1, every_division_of_many_profiles_gives_the_textbooks_bits_and_files)
{
    std::mt19937 random(20240602);
    std::vector<int> sizes = {45, 63, 64, 65, 71, 72, 73, 100, 129, 200, 257, 300};
    for (int n = 1; n <= 33; ++n) sizes.push_back(n);
    int turn = 0;
    for (const int n : sizes)
        for (const auto kind : {profile_kind::ragged, profile_kind::band, profile_kind::dense, profile_kind::diagonal,
                                profile_kind::arrow, profile_kind::waves}) {
            const auto sign = ++turn % 2 == 0 ? definiteness::positive : definiteness::indefinite;
            const skyline_columns a = random_matrix(heights_of(kind, n, random), sign, random);
            std::vector<int> lengths = divisions(a, random);
            if (n > 129) lengths.erase(lengths.begin(), lengths.begin() + 2); // a file for almost every column
            expect_textbook(a, lengths,
                            std::to_string(n) + " unknowns, kind " + std::to_string(static_cast<int>(kind)));
            if (HasFatalFailure()) return;
        }
}

TEST_F(skylin1, every_work_array_from_the_band_up_to_everything_gives_the_textbooks_bits)
{
    std::mt19937 random(5);
    const skyline_columns a =
        random_matrix(heights_of(profile_kind::ragged, 30, random), definiteness::positive, random);
    const std::vector<int> some = divisions(a, random);
    std::vector<int> all(static_cast<std::size_t>(some.back() - some.front()) + 1);
    std::iota(all.begin(), all.end(), some.front());
    expect_textbook(a, all, "30 unknowns");
}

TEST_F(skylin1, hand_worked_matrix_leaves_its_factor_in_one_file)
{
    // A = U^T D U with d = (4, -2, 3), u_01 = 1/2, u_02 = -1, u_12 = 2
    write_matrix({{4}, {-1, 2}, {-1, -6, -4}});
    write_names(6, 1);
    const stage_outcome outcome = factorise();
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, head_log(3) + names_log(1) + band_log(3) + division_log(1) + writing_log(1));
    const std::string file = read_file("sky-1.tmp");
    ASSERT_EQ(file.size(), 16U + 3 * 8 + 6 * 8);
    const int integers[][2] = {{0, 1}, {4, 0}, {8, 0}, {12, 3}, {16, 1}, {20, 0}, {32, 2}, {36, 1}, {56, 3}, {60, 3}};
    for (const auto& [offset, value] : integers)
        EXPECT_EQ(int_at(file, static_cast<std::size_t>(offset)), value) << offset;
    EXPECT_EQ(double_at(file, 24), 4.0);
    EXPECT_EQ(double_at(file, 40), -2.0);
    EXPECT_EQ(double_at(file, 48), 0.5);
    EXPECT_EQ(double_at(file, 64), 3.0);
    EXPECT_EQ(double_at(file, 72), 2.0);
    EXPECT_EQ(double_at(file, 80), -1.0);
}

TEST_F(skylin1, column_that_ends_with_the_work_array_fits_and_one_place_less_opens_a_block)
{
    // Heights 1, 2, 3, 1: the first three end at 6.
    write_matrix({{4}, {9, 1}, {9, 1, 1}, {5}});
    write_names(6, 2);
    EXPECT_EQ(factorise().log, head_log(4) + names_log(2) + band_log(3) + division_log(2) + writing_log(1) +
                                   reading_log(1) + writing_log(2));
    const std::string first = read_file("sky-1.tmp"), second = read_file("sky-2.tmp");
    EXPECT_EQ(int_at(first, 8), 0);
    EXPECT_EQ(int_at(first, 12), 3);
    ASSERT_EQ(second.size(), 32U);
    EXPECT_EQ(int_at(second, 0), 2);
    EXPECT_EQ(int_at(second, 4), 1);
    EXPECT_EQ(int_at(second, 8), 3);
    EXPECT_EQ(int_at(second, 12), 4);
    EXPECT_EQ(int_at(second, 16), 1);
    EXPECT_EQ(int_at(second, 20), 0); // addresses start anew
    EXPECT_EQ(double_at(second, 24), 5.0);

    write_names(5, 2);
    factorise();
    EXPECT_EQ(int_at(read_file("sky-1.tmp"), 12), 2);
    EXPECT_EQ(int_at(read_file("sky-2.tmp"), 8), 2);
    EXPECT_EQ(int_at(read_file("sky-2.tmp"), 20), 0);
    EXPECT_EQ(int_at(read_file("sky-2.tmp"), 16 + 8 + 24 + 4), 3); // column 3 follows three terms

    write_names(7, 1);
    EXPECT_FALSE(factorise().failed);
}

TEST_F(skylin1, each_earlier_block_within_reach_is_read_once_and_those_out_of_reach_are_not)
{
    // Ten blocks of two columns; all columns but the first are 3 high, so block b reaches its own first row - 2:
    // only the block before it. Its end column must lie beyond the highest row of the band.
    skyline_columns a(20, {9.0, 1.0, 1.0});
    a[0].resize(1);
    a[1].resize(2);
    write_matrix(a);
    write_names(6, 10);
    std::string log = head_log(20) + names_log(10) + band_log(3);
    // 1 + 2 + 3 fill the first block; then two columns of 3 each.
    log += division_log(10) + writing_log(1);
    for (int b = 2; b <= 10; ++b) log += reading_log(b - 1) + writing_log(b);
    EXPECT_EQ(factorise().log, log);

    // One long column makes the band wide for all: now each block reads all before it within 11 rows.
    a[10].assign(11, 1.0);
    a[10][0] = 99.0;
    write_matrix(a);
    write_names(11, 10);
    const std::vector<int> first = blocks_of(a, 11);
    const int blocks = static_cast<int>(first.size()) - 1;
    log = head_log(20) + names_log(10) + band_log(11) + division_log(blocks);
    for (int b = 0; b < blocks; ++b) {
        const int reach = std::max(0, first[static_cast<std::size_t>(b)] - 10);
        for (int earlier = 0; earlier < b; ++earlier)
            if (first[static_cast<std::size_t>(earlier) + 1] > reach) log += reading_log(earlier + 1);
        log += writing_log(b + 1);
    }
    EXPECT_EQ(factorise().log, log);
}

TEST_F(skylin1, memory_follows_the_work_array_and_not_the_factor)
{
    // 40,000 columns of 200: the factor takes 64 MB, twenty times the work array. The process may grow by a third of
    // it.
    constexpr int n = 40000, nband = 200;
    constexpr std::size_t factor = 8U * nband * n - 8U * nband * (nband - 1) / 2;
    constexpr int work_length = static_cast<int>(factor / 8 / 20);
    static_assert(factor >= 20 * (8U * work_length));
    hand_system system;
    for (int i = 0; i < n; ++i) {
        system.rows.push_back({{i, 4.0}});
        if (i + 1 < n) system.rows.back().push_back({i + 1, -1.0});
        if (i + nband - 1 < n) system.rows.back().push_back({i + nband - 1, -1.0});
    }
    std::vector<double> x(n);
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = std::sin(0.37 * static_cast<double>(i));
    system.b = product(system, x);
    write_system(system);
    write_names(work_length, 30);
    const int status = status_of_child([&] {
#ifndef TARNEL_TEST_SANITIZED
        constexpr std::size_t growth = factor / 3;
        if (!limit_memory(growth)) return 2;
        void* volatile whole = std::malloc(factor); // volatile: else a compiler may leave the allocation out
        if (whole != nullptr) return 3;             // the whole factor must not fit
#endif
        if (factorise().failed) return 4;
        const stage_outcome solved = run_stage([&](std::FILE* log) {
            opened_input vector("t-femr-vector.tmp");
            opened_output solution("t-femr-solution.tmp");
            t_real_mtsolv_skylin2(wide_limits(), vector, solution, log);
        });
        return solved.failed ? 5 : 0;
    });
    ASSERT_EQ(status, 0);
    std::uintmax_t written = 0;
    for (int block = 1; std::filesystem::exists(block_name(block)); ++block)
        written += std::filesystem::file_size(block_name(block));
    EXPECT_GE(written, factor);
    const std::string solution = read_file("t-femr-solution.tmp");
    ASSERT_EQ(solution.size(), 4U + 8U * n);
    double worst = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i)
        worst = std::max(worst, std::fabs(double_at(solution, 4 + 8 * i) - x[i]));
    EXPECT_LT(worst, 1e-13);
}

TEST_F(skylin1, huge_limits_cost_a_tiny_model_nothing)
{
#ifdef TARNEL_TEST_SANITIZED
    GTEST_SKIP() << "the address space is the sanitizer's";
#endif
    write_matrix({{4}, {9, 1}});
    write_file("t-skylin.txt", "999999999 1 999999999\nblock\n");
    EXPECT_EQ(status_of_child([] { return limit_memory(16 << 20) ? factorise().failed ? 1 : 0 : 2; }), 0);
    EXPECT_EQ(read_file("block").size(), 16U + 2 * 8 + 3 * 8);
}

TEST_F(skylin1, band_wider_than_the_work_array_is_refused_before_any_file_is_written)
{
    write_matrix({{4}, {9, 1}, {9, 1, 1}});
    for (const int work_length : {0, 1, 2}) {
        write_names(work_length, 3);
        const stage_outcome outcome = factorise();
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log,
                  head_log(3) + names_log(3) + band_log(3) + "      Error. the band width(nband) exceeds the limit.\n");
        EXPECT_FALSE(std::filesystem::exists("sky-1.tmp"));
    }
    write_names(3, 3);
    EXPECT_FALSE(factorise().failed);
}

TEST_F(skylin1, more_blocks_than_names_are_refused_before_any_file_is_written)
{
    write_matrix({{4}, {9, 1}, {9, 1, 1}});
    write_names(3, 1);
    EXPECT_EQ(factorise().log, head_log(3) + names_log(1) + band_log(3) +
                                   "      Error. the no. of matrix division(matdiv) exceeds the limit.\n");
    EXPECT_FALSE(std::filesystem::exists("sky-1.tmp"));
    write_names(3, 2);
    EXPECT_FALSE(factorise().failed);
}

TEST_F(skylin1, no_names_at_all_fail_at_the_first_file)
{
    write_matrix({{4}, {9, 1}});
    write_names(3, 0);
    const stage_outcome outcome = factorise();
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, head_log(2) + names_log(0) + band_log(2) + division_log(1) +
                               "      Error. file no. exceeds the limit. im = 1 \n");
}

TEST_F(skylin1, column_without_terms_is_named_from_one)
{
    // Row 1 of the index holds no diagonal and nothing else ends in column 1.
    write_file("t-matrix-index.tmp", bytes().add_i(3).add_i(1).add_i(0).add_i(1).add_i(2).add_i(1).add_i(2).text());
    write_file("t-femr-matrix.tmp", bytes().add_i(3).add_i(1).add_d(4).add_i(1).add_d(1).add_i(1).add_d(4).text());
    write_names(10, 1);
    EXPECT_EQ(factorise().log, head_log(3) + names_log(1) +
                                   "      Error. the height of sky-line(linsky) is 0.\n                 i = 2 \n");
}

TEST_F(skylin1, pivot_below_the_threshold_is_singular_wherever_its_block_is)
{
    const auto singular = [](int unknown) {
        return "      Error. The global matrix is singular.\n             unknown no. = " + std::to_string(unknown) +
               " \n";
    };
    write_matrix({{4}, {1, 2}, {9}, {8}}); // 1 - 2 * 2 / 4 = 0
    write_names(10, 4);
    EXPECT_EQ(factorise().log, head_log(4) + names_log(4) + band_log(2) + division_log(1) + singular(1));
    EXPECT_FALSE(std::filesystem::exists("sky-1.tmp"));
    write_matrix({{9}, {4}, {1, 2}, {8}});
    write_names(2, 4);
    EXPECT_EQ(factorise().log, head_log(4) + names_log(4) + band_log(2) + division_log(3) + writing_log(1) +
                                   reading_log(1) + singular(2));

    tarnel::control cntl = wide_limits();
    cntl.eps_zero = 3.0;
    write_names(10, 1);
    for (const double pivot : {3.0, -3.0}) {
        write_matrix({{pivot}});
        EXPECT_FALSE(factorise(cntl).failed);
    }
    for (const double pivot : {std::nextafter(3.0, 0.0), std::nextafter(-3.0, 0.0), 0.0}) {
        write_matrix({{pivot}});
        EXPECT_EQ(factorise(cntl).log, head_log(1) + names_log(1) + band_log(1) + division_log(1) + singular(0));
    }
}

TEST_F(skylin1, trailing_counts_are_not_read)
{
    hand_system system = rows_of({{4}, {9, 1}});
    system.ndim1 = 77;
    write_names(10, 1);
    write_file("t-matrix-index.tmp", index_bytes(system));
    write_file("t-femr-matrix.tmp", matrix_bytes(rows_of({{4}, {9, 1}})));
    EXPECT_FALSE(factorise().failed);
    const std::string index = index_bytes(system), matrix = matrix_bytes(system);
    write_file("t-matrix-index.tmp", index.substr(0, index.size() - 4));
    write_file("t-femr-matrix.tmp", matrix.substr(0, matrix.size() - 4));
    EXPECT_FALSE(factorise().failed);
}

TEST_F(skylin1, each_truncation_is_a_short_read_of_the_item_it_cuts)
{
    const hand_system system = rows_of({{4}, {9, 1}, {9, 1, 1}}); // rows of 3, 2 and 1 terms
    const std::string index = index_bytes(system), matrix = matrix_bytes(system);
    const auto tag = [](std::size_t kept, std::size_t value_bytes) {
        std::size_t at = 4;
        if (kept < at) return "r1).\n";
        for (const std::size_t count : {3U, 2U, 1U}) {
            if (kept < at + 4) return "r2).\n";
            at += 4 + count * value_bytes;
            if (kept < at) return "r3).\n";
        }
        return "";
    };
    write_file("t-femr-matrix.tmp", matrix);
    for (std::size_t kept = 0; kept < index.size() - 4; ++kept) {
        write_file("t-matrix-index.tmp", index.substr(0, kept));
        EXPECT_EQ(factorise().log, (kept < 4 ? heading : head_log(3)) + index_error + tag(kept, 4));
    }
    write_file("t-matrix-index.tmp", index);
    for (std::size_t kept = 0; kept < matrix.size() - 4; ++kept) {
        write_file("t-femr-matrix.tmp", matrix.substr(0, kept));
        EXPECT_EQ(factorise().log, head_log(3) + matrix_error + tag(kept, 8)); // "t-skylin.txt" does not exist yet
    }
}

TEST_F(skylin1, counts_and_columns_outside_their_limits_are_refused)
{
    const hand_system system = rows_of({{4}, {9, 1}, {9, 1, 1}});
    const std::string index = index_bytes(system), matrix = matrix_bytes(system);
    const auto log_of = [&](std::size_t index_offset, int index_value, std::size_t matrix_offset, int matrix_value) {
        std::string changed_index = index, changed_matrix = matrix;
        changed_index.replace(index_offset, 4, bytes().add_i(index_value).text());
        changed_matrix.replace(matrix_offset, 4, bytes().add_i(matrix_value).text());
        write_file("t-matrix-index.tmp", changed_index);
        write_file("t-femr-matrix.tmp", changed_matrix);
        tarnel::control cntl = wide_limits();
        cntl.maxdim = cntl.maxnzero = 3;
        const stage_outcome outcome = factorise(cntl);
        EXPECT_TRUE(outcome.failed);
        return outcome.log;
    };
    for (const int ndim : {0, -1, 4, std::numeric_limits<int>::min()})
        EXPECT_EQ(log_of(0, ndim, 0, 3), head_log(ndim) + "      Error. ndim over the limit.\n");
    for (const int count : {0, -1, 4, std::numeric_limits<int>::max()})
        EXPECT_EQ(log_of(20, count, 0, 9), head_log(3) + "      Error. no. of non-zero term " + std::to_string(count) +
                                               " is over the limit.\n             no. of unknown = 1 \n");
    for (const int column : {0, -1, 3, std::numeric_limits<int>::min()}) // of row 1
        EXPECT_EQ(log_of(28, column, 0, 9), head_log(3) + index_error + "r3).\n");
    EXPECT_EQ(log_of(0, 3, 0, 2), head_log(3) + matrix_error + "r1).\n             ndim is different.\n");
    EXPECT_EQ(log_of(0, 3, 4, 2), head_log(3) + matrix_error + "r2).\n             nzero is different.\n");
}

TEST_F(skylin1, names_are_read_after_the_matrix)
{
    write_matrix({{4}});
    EXPECT_EQ(factorise().log, head_log(1) + "    === read t-skylin.txt ===\n      Error. Can't open t-skylin.txt.\n");
}

TEST_F(skylin1, file_that_cannot_be_written_gives_the_two_lines)
{
    write_matrix({{4}});
    for (const std::string name : {"", "no-folder/a", "."}) {
        write_file("t-skylin.txt", "10 1 20\n" + name + "\n");
        const stage_outcome outcome = factorise();
        EXPECT_TRUE(outcome.failed);
        EXPECT_TRUE(outcome.log.ends_with(division_log(1) + "      Error. Can't open the work file for sky-line. \n"
                                                            "             The work file no. === 1 \n"))
            << outcome.log;
    }
}

TEST_F(skylin1, full_disk_is_reported_for_the_item_that_it_refuses)
{
    // Records of 16 bytes after a header of 16 fill the buffer.
    const std::size_t fit = tarnel::stream_buffer_bytes / 16 - 1;
    write_file("t-skylin.txt", "10000 1 20\n/dev/full\n");
    write_matrix(skyline_columns(fit, {4.0}));
    EXPECT_TRUE(factorise().log.ends_with(writing_log(1) + column_error + "w2).\n"));
    write_matrix(skyline_columns(fit + 1, {4.0}));
    EXPECT_TRUE(factorise().log.ends_with(writing_log(1) + column_error + "w1).\n"));
    write_matrix({{4}});
    const stage_outcome outcome = factorise();
    EXPECT_TRUE(outcome.failed);
    EXPECT_TRUE(outcome.log.ends_with(writing_log(1) + column_error + "w2).\n"));
}

TEST_F(skylin1, name_given_twice_is_noticed_when_the_overwritten_block_is_read)
{
    write_matrix({{4}, {9, 1}, {9, 1, 1}});
    write_file("t-skylin.txt", "3 2 20\nsame\nsame\n"); // two blocks: the first is not needed again here
    EXPECT_FALSE(factorise().failed);
    write_matrix({{4}, {9, 1}, {9, 1, 1}, {9, 1, 1, 1}});
    write_file("t-skylin.txt", "4 3 20\nsame\nsame\nlast\n");
    const stage_outcome outcome = factorise();
    EXPECT_TRUE(outcome.failed);
    EXPECT_TRUE(outcome.log.ends_with(reading_log(1) + header_error + "r3).\n")) << outcome.log;
}

TEST_F(skylin1, device_without_content_is_refused_when_read_back)
{
    write_matrix({{4}, {9, 1}, {9, 1, 1}});
    write_file("t-skylin.txt", "3 2 20\n/dev/null\nb\n");
    EXPECT_TRUE(factorise().log.ends_with(reading_log(1) + header_error + "r1).\n"));
    write_file("t-skylin.txt", "3 2 20\n/dev/zero\nb\n");
    EXPECT_TRUE(factorise().log.ends_with(reading_log(1) + header_error + "r2).\n"));
}

TEST_F(skylin1, block_changed_behind_its_back_is_refused_item_by_item)
{
    // Blocks of columns 0 .. 1 and 2; the second reads the first.
    const skyline_columns a = {{4}, {9, 1}, {9, 1, 1}}, factor = textbook_factor(a);
    write_matrix(a);
    const std::string whole = block_bytes(factor, {0, 2, 3}, 0);
    struct row {
        std::size_t offset;
        std::int32_t value;
        std::string error;
    };
    const std::vector<row> rows = {
        {0, 1, header_error + "r2).\n"},  {4, 1, header_error + "r3).\n"},   {8, -1, header_error + "r4).\n"},
        {8, 4, header_error + "r4).\n"},  {12, 4, header_error + "r5).\n"},  {12, -1, header_error + "r5).\n"},
        {8, 1, header_error + "r6).\n"},  {12, 3, header_error + "r7).\n"},  {12, 1, header_error + "r7).\n"},
        {16, 0, column_error + "r2).\n"}, {16, 2, column_error + "r2).\n"},  {32, 1, column_error + "r2).\n"},
        {32, 3, column_error + "r2).\n"}, {20, -1, column_error + "r3).\n"}, {20, 3, column_error + "r5).\n"},
        {36, 2, column_error + "r5).\n"},
    };
    write_names(3, 2);
    const auto log_with = [&](const std::string& fed) {
        std::filesystem::remove("sky-1.tmp");
        scripted_file first("sky-1.tmp", scripted_file::first_opening::writes, {fed});
        const stage_outcome outcome = factorise();
        EXPECT_EQ(first.met(), 1);
        return outcome.log;
    };
    const std::string before =
        head_log(3) + names_log(2) + band_log(3) + division_log(2) + writing_log(1) + reading_log(1);
    EXPECT_EQ(log_with(whole), before + writing_log(2));
    EXPECT_EQ(read_file("sky-2.tmp"), block_bytes(factor, {0, 2, 3}, 1));
    for (const row& now : rows) {
        std::string changed = whole;
        changed.replace(now.offset, 4, bytes().add_i(now.value).text());
        EXPECT_EQ(log_with(changed), before + now.error) << now.offset << " " << now.value;
    }
    for (std::size_t kept = 0; kept < whole.size(); ++kept) {
        const std::string error = kept < 16   ? header_error + "r1).\n"
                                  : kept < 24 ? column_error + "r1).\n"
                                  : kept < 32 ? column_error + "r6).\n"
                                  : kept < 40 ? column_error + "r1).\n"
                                              : column_error + "r6).\n";
        EXPECT_EQ(log_with(whole.substr(0, kept)), before + error) << kept;
    }
}
