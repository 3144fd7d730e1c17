#include "solvers/skyline.h"

#include "solvers/skyline_systems.h"

#include <limits>

using namespace tarnel_test;

namespace
{

const std::string heading = "    === in func. t_real_mtsolv_skylin2 ===\n";
const std::string vector_error = "      Error. in t-femr-vector.tmp(";
const std::string header_error = "      Error. in header of work file for sky-line solver(";
const std::string column_error = "      Error. in work file for sky-line solver(";

stage_outcome factorise()
{
    return run_stage([](std::FILE* log) {
        opened_input index("t-matrix-index.tmp"), matrix("t-femr-matrix.tmp");
        t_real_mtsolv_skylin1(small_control(), index, matrix, log);
    });
}

stage_outcome substitute(const tarnel::control& cntl = small_control(), const char* path = "t-femr-solution.tmp")
{
    if (std::string(path) == "t-femr-solution.tmp") std::filesystem::remove(path);
    return run_stage([&](std::FILE* log) {
        opened_input vector("t-femr-vector.tmp");
        opened_output solution(path, "t-femr-solution.tmp");
        t_real_mtsolv_skylin2(cntl, vector, solution, log);
    });
}

std::string head_log(int ndim)
{
    return heading + "      ndim = " + std::to_string(ndim) + " \n";
}

std::string singular(int unknown)
{
    return "      Error. The global matrix is singular.\n             unknown no. = " + std::to_string(unknown) + " \n";
}

void write_vector(const std::vector<double>& b, int trailer = 0)
{
    bytes file;
    file.add_i(static_cast<std::int32_t>(b.size()));
    for (const double value : b) file.add_d(value);
    write_new_file("t-femr-vector.tmp", file.add_i(trailer).text());
}

std::string solution_bytes(const std::vector<double>& x)
{
    bytes file;
    file.add_i(static_cast<std::int32_t>(x.size()));
    for (const double value : x) file.add_d(value);
    return file.text();
}

// U^T D U with d = (4, -2, 3), u_01 = 1/2, u_02 = -1, u_12 = 2.
const skyline_columns worked = {{4}, {-2, 0.5}, {3, 2, -1}};
// A x for x = (1, 2, -1), A = (4 2 -4; 2 -1 -6; -4 -6 -1).
const std::vector<double> worked_b = {12, 6, -15}, worked_x = {1, 2, -1};

struct block_column {
    int height, address;
    std::vector<double> terms;
};

struct block {
    int matdiv, number, first, end;
    std::vector<block_column> columns;
};

std::string file_of(const block& given)
{
    bytes file;
    file.add_i(given.matdiv).add_i(given.number).add_i(given.first).add_i(given.end);
    for (const block_column& column : given.columns) {
        file.add_i(column.height).add_i(column.address);
        for (const double term : column.terms) file.add_d(term);
    }
    return file.text();
}

block whole_factor()
{
    return {1, 0, 0, 3, {{1, 0, worked[0]}, {2, 1, worked[1]}, {3, 3, worked[2]}}};
}

block first_of_two()
{
    return {2, 0, 0, 2, {{1, 0, worked[0]}, {2, 1, worked[1]}}};
}

block second_of_two()
{
    return {2, 1, 2, 3, {{3, 0, worked[2]}}};
}

void write_blocks(const std::vector<block>& blocks)
{
    for (std::size_t b = 0; b < blocks.size(); ++b)
        write_new_file(block_name(static_cast<int>(b) + 1), file_of(blocks[b]));
}

// Substitution with work files of the test's choice.
stage_outcome with_blocks(const std::vector<block>& blocks, int work_length = 6)
{
    write_vector(worked_b);
    write_names(work_length, static_cast<int>(blocks.size()));
    write_blocks(blocks);
    return substitute();
}

std::string log_before(int names)
{
    return head_log(3) + names_log(names);
}

} // namespace

using skylin2 = stage_test;

TEST_F(skylin2, hand_worked_factor_gives_the_solution_reading_its_block_three_times)
{
    const stage_outcome outcome = with_blocks({whole_factor()});
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, log_before(1) + reading_log(1) + reading_log(1) + reading_log(1));
    EXPECT_EQ(read_file("t-femr-solution.tmp"), solution_bytes(worked_x));
}

TEST_F(skylin2, blocks_are_read_forward_and_backward)
{
    const stage_outcome outcome = with_blocks({first_of_two(), second_of_two()});
    EXPECT_EQ(outcome.log,
              log_before(2) + reading_log(1) + reading_log(1) + reading_log(2) + reading_log(2) + reading_log(1));
    EXPECT_EQ(read_file("t-femr-solution.tmp"), solution_bytes(worked_x));
}

TEST_F(skylin2, every_division_gives_the_same_bits_and_solves_the_system)
{
    std::mt19937 random(11);
    std::normal_distribution<double> normal;
    for (const int n : {1, 2, 9, 40, 100})
        for (const auto kind : {definiteness::positive, definiteness::indefinite}) {
            std::vector<int> heights;
            std::uniform_int_distribution<int> height(1, 1 + n / 3);
            int all = 0, nband = 0;
            for (int j = 0; j < n; ++j) {
                heights.push_back(std::min(j + 1, height(random)));
                all += heights.back();
                nband = std::max(nband, heights.back());
            }
            hand_system system = rows_of(random_matrix(heights, kind, random));
            std::vector<double> x;
            for (int j = 0; j < n; ++j) x.push_back(normal(random));
            system.b = product(system, x);
            write_system(system);
            std::string first;
            for (const int work_length : {nband, nband + 3, std::max(nband, all / 3), all}) {
                write_names(work_length, n);
                ASSERT_FALSE(run_stage([](std::FILE* log) {
                                 tarnel::control cntl = small_control();
                                 cntl.maxnzero = 100;
                                 opened_input index("t-matrix-index.tmp"), matrix("t-femr-matrix.tmp");
                                 t_real_mtsolv_skylin1(cntl, index, matrix, log);
                             }).failed);
                ASSERT_FALSE(substitute().failed);
                const std::string solution = read_file("t-femr-solution.tmp");
                if (first.empty()) first = solution;
                EXPECT_EQ(solution, first) << n << " " << work_length;
                for (int b = 1; b <= n; ++b) std::filesystem::remove(block_name(b));
            }
            for (std::size_t j = 0; j < x.size(); ++j) EXPECT_NEAR(double_at(first, 4 + 8 * j), x[j], 1e-11) << n;
        }
}

// More terms than are in memory together on the way back; columns of all heights beside one another, some of them
// together and some by themselves more than a stream's buffer of 16,384 numbers.
TEST_F(skylin2, each_bit_of_the_solution_is_that_of_the_written_passes)
{
    std::mt19937 random(5);
    std::normal_distribution<double> normal;
    struct shape {
        int n, tall; // unknowns; columns of any height, the last ones, behind short ones
    };
    for (const auto [n, tall] : {shape{7, 7}, {64, 64}, {401, 401}, {900, 900}, {30000, 21}}) {
        std::uniform_int_distribution<int> any(1, n), short_one(1, 4);
        skyline_columns columns; // the pivot, then the factor going up
        std::vector<double> x;
        int all = 0;
        for (int j = 0; j < n; ++j) {
            columns.emplace_back(std::min(j < n - tall ? short_one(random) : any(random), j + 1));
            for (double& term : columns.back()) term = 0.1 * normal(random);
            columns.back()[0] = 2.0 + std::fabs(normal(random));
            all += static_cast<int>(columns.back().size());
            x.push_back(normal(random));
        }
        write_vector(x);
        tarnel::control cntl = small_control();
        cntl.maxdim = n;
        for (const int split : {n, n / 2 + 1}) { // one block, or two
            write_names(all, 2);                 // a work array for one block serves both
            std::vector<block> blocks = {
                {.matdiv = split < n ? 2 : 1, .number = 0, .first = 0, .end = split, .columns = {}}};
            if (split < n) blocks.push_back({.matdiv = 2, .number = 1, .first = split, .end = n, .columns = {}});
            for (block& b : blocks) {
                int address = 0;
                for (int j = b.first; j < b.end; ++j) {
                    const std::vector<double>& terms = columns[static_cast<std::size_t>(j)];
                    b.columns.push_back({static_cast<int>(terms.size()), address, terms});
                    address += static_cast<int>(terms.size());
                }
            }
            write_blocks(blocks);
            const stage_outcome outcome = substitute(cntl);
            EXPECT_FALSE(outcome.failed) << outcome.log;
            std::vector<double> expected = x;
            const auto u = [&](int i, int j) {
                return columns[static_cast<std::size_t>(j)][static_cast<std::size_t>(j - i)];
            };
            const auto top = [&](int j) {
                return j + 1 - static_cast<int>(columns[static_cast<std::size_t>(j)].size());
            };
            for (int j = 0; j < n; ++j) {
                double sum = 0.0;
                for (int i = top(j); i < j; ++i) sum += u(i, j) * expected[static_cast<std::size_t>(i)];
                expected[static_cast<std::size_t>(j)] -= sum;
            }
            for (int j = 0; j < n; ++j) expected[static_cast<std::size_t>(j)] /= u(j, j);
            for (int j = n - 1; j >= 0; --j)
                for (int i = top(j); i < j; ++i)
                    expected[static_cast<std::size_t>(i)] -= u(i, j) * expected[static_cast<std::size_t>(j)];
            EXPECT_EQ(read_file("t-femr-solution.tmp"), solution_bytes(expected)) << n << " " << split;
        }
    }
}

TEST_F(skylin2, zero_right_hand_side_gives_zeros)
{
    write_vector({0, 0, 0});
    write_names(6, 1);
    write_blocks({whole_factor()});
    EXPECT_FALSE(substitute().failed);
    const std::string solution = read_file("t-femr-solution.tmp");
    ASSERT_EQ(solution.size(), 28U);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(double_at(solution, 4 + 8 * i), 0.0); // of either sign
}

TEST_F(skylin2, larger_work_array_and_more_names_than_blocks_serve_as_well)
{
    write_vector(worked_b);
    write_names(999999999, 3);
    write_blocks({whole_factor()});
    EXPECT_EQ(substitute().log, log_before(3) + reading_log(1) + reading_log(1) + reading_log(1));
    EXPECT_EQ(read_file("t-femr-solution.tmp"), solution_bytes(worked_x));
}

TEST_F(skylin2, right_hand_side_cut_anywhere_is_a_short_read_and_its_trailing_count_is_not_read)
{
    write_names(6, 1);
    write_blocks({whole_factor()});
    for (const std::string trailer : {"", "xy", "\xff\xff\xff\xff"}) {
        write_vector(worked_b);
        write_new_file("t-femr-vector.tmp", read_file("t-femr-vector.tmp").substr(0, 28) + trailer);
        EXPECT_FALSE(substitute().failed);
    }
    std::filesystem::remove("t-skylin.txt"); // the right-hand side comes first
    write_vector(worked_b);
    const std::string whole = read_file("t-femr-vector.tmp");
    for (std::size_t kept = 0; kept < 28; ++kept) {
        write_new_file("t-femr-vector.tmp", whole.substr(0, kept));
        const stage_outcome outcome = substitute();
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, kept < 4 ? heading + vector_error + "r1).\n" : head_log(3) + vector_error + "r2).\n");
    }
}

TEST_F(skylin2, number_of_unknowns_is_held_to_its_limit)
{
    write_names(6, 1);
    write_blocks({whole_factor()});
    tarnel::control cntl = small_control();
    write_vector(worked_b);
    cntl.maxdim = 3;
    EXPECT_FALSE(substitute(cntl).failed);
    cntl.maxdim = 2;
    EXPECT_EQ(substitute(cntl).log, head_log(3) + "      Error. ndim over the limit.\n");
    for (const int ndim : {0, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        write_new_file("t-femr-vector.tmp", bytes().add_i(ndim).add_zeros(100).text());
        EXPECT_EQ(substitute(cntl).log, head_log(ndim) + "      Error. ndim over the limit.\n");
    }
}

TEST_F(skylin2, name_list_is_read_after_the_right_hand_side)
{
    write_vector(worked_b);
    EXPECT_EQ(substitute().log, head_log(3) + "    === read t-skylin.txt ===\n      Error. Can't open t-skylin.txt.\n");
    write_names(6, 0);
    EXPECT_EQ(substitute().log, log_before(0) + "      Error. file no. exceeds the limit. im = 1 \n");
    write_file("t-skylin.txt", "6 1\n");
    EXPECT_EQ(substitute().log, head_log(3) +
                                    "    === read t-skylin.txt ===\n        Now, reading t-skylin.txt. \n"
                                    "      Error. no. of parameters is illegal.\n             at line : 6 1\n");
}

TEST_F(skylin2, missing_work_file_is_named_from_one)
{
    const auto cannot_open = [](int number) {
        return "      Error. Can't open the work file for sky-line. \n             The work file no. === " +
               std::to_string(number) + " \n";
    };
    write_vector(worked_b);
    write_names(6, 2);
    EXPECT_EQ(substitute().log, log_before(2) + cannot_open(1));
    write_blocks({first_of_two()});
    EXPECT_EQ(substitute().log, log_before(2) + reading_log(1) + reading_log(1) + cannot_open(2));
}

TEST_F(skylin2, more_blocks_than_names_fail_at_the_first_without_a_name)
{
    write_vector(worked_b);
    write_names(6, 1);
    write_blocks({first_of_two(), second_of_two()});
    EXPECT_EQ(substitute().log,
              log_before(1) + reading_log(1) + reading_log(1) + "      Error. file no. exceeds the limit. im = 2 \n");
}

TEST_F(skylin2, damaged_header_is_refused_where_it_is_first_seen)
{
    struct row {
        block first, second;
        std::string log;
    };
    const auto first = [](auto change) {
        block changed = first_of_two();
        change(changed);
        return changed;
    };
    const auto second = [](auto change) {
        block changed = second_of_two();
        change(changed);
        return changed;
    };
    const std::string one = reading_log(1), pass = one + one, two = pass + reading_log(2);
    const std::vector<row> rows = {
        {first([](block& b) { b.matdiv = 0; }), second_of_two(), one + header_error + "r2).\n"},
        {first([](block& b) { b.matdiv = -2; }), second_of_two(), one + header_error + "r2).\n"},
        {first([](block& b) { b.number = 1; }), second_of_two(), one + header_error + "r3).\n"},
        {first([](block& b) { b.number = -1; }), second_of_two(), one + header_error + "r3).\n"},
        {first([](block& b) { b.first = -1; }), second_of_two(), one + header_error + "r4).\n"},
        {first([](block& b) { b.first = 4; }), second_of_two(), one + header_error + "r4).\n"},
        {first([](block& b) { b.end = 4; }), second_of_two(), one + header_error + "r5).\n"},
        {first([](block& b) { b.end = -1; }), second_of_two(), one + header_error + "r5).\n"},
        // joined and complete: seen by the passes
        {first([](block& b) { b.first = 1; }), second_of_two(), pass + header_error + "r4).\n"},
        {first([](block& b) { b.end = 0; }), second_of_two(), pass + header_error + "r5).\n"},
        {first([](block& b) { b.matdiv = 1; }), second_of_two(), pass + header_error + "r5).\n"}, // ends before ndim
        {first([](block& b) { b.matdiv = 3; }), second_of_two(), two + header_error + "r2).\n"},
        {first_of_two(), second([](block& b) { b.matdiv = 1; }), two + header_error + "r2).\n"},
        {first_of_two(), second([](block& b) { b.number = 0; }), two + header_error + "r3).\n"},
        {first_of_two(), second([](block& b) { b.number = 2; }), two + header_error + "r3).\n"},
        {first_of_two(), second([](block& b) { b.first = 3; }), two + header_error + "r4).\n"}, // a gap
        {first_of_two(), second([](block& b) { b.first = 1; }), two + header_error + "r4).\n"}, // an overlap
        {first_of_two(), second([](block& b) { b.end = 2; }), two + header_error + "r5).\n"},
        {first_of_two(), second([](block& b) { b.end = 4; }), two + header_error + "r5).\n"},
    };
    for (const row& now : rows) {
        const stage_outcome outcome = with_blocks({now.first, now.second});
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, log_before(2) + now.log);
        EXPECT_EQ(read_file("t-femr-solution.tmp"), "");
    }
}

TEST_F(skylin2, damaged_column_is_refused_on_the_way_forward)
{
    const auto log_of = [](std::size_t column, int height, int address, int work_length = 6) {
        block changed = whole_factor();
        changed.columns[column].height = height;
        changed.columns[column].address = address;
        const std::string log = with_blocks({changed}, work_length).log, before = log_before(1) + reading_log(1);
        return log.starts_with(before) ? log.substr(before.size()) : log;
    };
    const std::string forward = reading_log(1);
    constexpr int most = std::numeric_limits<int>::max(), least = std::numeric_limits<int>::min();
    for (const int height : {0, -1, 2, most, least}) EXPECT_EQ(log_of(0, height, 0), forward + column_error + "r2).\n");
    for (const int height : {0, 4, most}) EXPECT_EQ(log_of(2, height, 3), forward + column_error + "r2).\n");
    for (const int address : {-1, least}) EXPECT_EQ(log_of(1, 2, address), forward + column_error + "r3).\n");
    for (const int address : {5, most}) EXPECT_EQ(log_of(1, 2, address), forward + column_error + "r5).\n");
    EXPECT_EQ(log_of(2, 3, 3, 5), forward + column_error + "r5).\n"); // the work array has become shorter
    // An address that fits but leaves a gap, or overlaps, is seen when the block is read as a whole.
    EXPECT_EQ(log_of(1, 2, 2), forward + reading_log(1) + column_error + "r4).\n");
    EXPECT_EQ(log_of(1, 2, 0), forward + reading_log(1) + column_error + "r4).\n");
    EXPECT_EQ(log_of(0, 1, 1), forward + reading_log(1) + column_error + "r4).\n");
}

TEST_F(skylin2, work_file_cut_anywhere_is_refused)
{
    const std::string whole = file_of(whole_factor()), one = reading_log(1);
    write_vector(worked_b);
    write_names(6, 1);
    const auto error_of = [&](std::size_t kept) {
        if (kept < 16) return one + header_error + "r1).\n";
        std::size_t at = 16;
        for (const std::size_t height : {1U, 2U, 3U}) {
            if (kept < at + 8) return one + one + column_error + "r1).\n";
            at += 8 + 8 * height;
            if (kept < at) return one + one + column_error + "r6).\n";
        }
        return std::string();
    };
    for (std::size_t kept = 0; kept < whole.size(); ++kept) {
        write_new_file("sky-1.tmp", whole.substr(0, kept));
        EXPECT_EQ(substitute().log, log_before(1) + error_of(kept)) << kept;
    }
}

// The log of a substitution whose block file holds `backward` on the way back, from a pipe or as a plain file.
enum class comes_as { pipe, plain_file };
static std::string log_of_way_back(const std::string& whole, const std::string& backward, comes_as kind)
{
    std::filesystem::remove("sky-1.tmp");
    const bool plain = kind == comes_as::plain_file;
    std::vector<std::string> fed = {whole, whole};
    std::optional<std::string> left;
    if (plain)
        left = backward;
    else
        fed.push_back(backward);
    scripted_file pipe("sky-1.tmp", scripted_file::first_opening::reads, fed, left);
    const std::string log = substitute().log, before = log_before(1) + reading_log(1) + reading_log(1) + reading_log(1);
    EXPECT_EQ(pipe.met(), plain ? 2 : 3);
    return log.starts_with(before) ? log.substr(before.size()) : log;
}

TEST_F(skylin2, factor_that_changes_between_the_passes_is_refused)
{
    write_vector(worked_b);
    write_names(6, 1);
    const std::string whole = file_of(whole_factor());
    const auto changed = [&](std::size_t offset, int value) {
        std::string text = whole;
        return text.replace(offset, 4, bytes().add_i(value).text());
    };
    for (const comes_as kind : {comes_as::pipe, comes_as::plain_file}) {
        const auto log_with = [&](const std::string& backward) { return log_of_way_back(whole, backward, kind); };
        EXPECT_EQ(log_with(whole), "");
        EXPECT_EQ(read_file("t-femr-solution.tmp"), solution_bytes(worked_x));
        EXPECT_EQ(log_with(whole + "more"), "");
        EXPECT_EQ(log_with(changed(0, 2)), header_error + "r2).\n");
        EXPECT_EQ(log_with(changed(4, 1)), header_error + "r3).\n");
        EXPECT_EQ(log_with(changed(8, 1)), header_error + "r4).\n");
        EXPECT_EQ(log_with(changed(12, 2)), header_error + "r5).\n");
        EXPECT_EQ(log_with(changed(32, 1)), column_error + "r2).\n"); // height of column 1
        EXPECT_EQ(log_with(changed(36, 2)), column_error + "r3).\n"); // its address
        EXPECT_EQ(log_with(changed(60, 0)), column_error + "r3).\n"); // address of column 2
        EXPECT_EQ(log_with(whole.substr(0, 12)), header_error + "r1).\n");
        EXPECT_EQ(log_with(whole.substr(0, 15)), header_error + "r1).\n");
        EXPECT_EQ(log_with(whole.substr(0, 16)), column_error + "r1).\n");
        EXPECT_EQ(log_with(whole.substr(0, 20)), column_error + "r1).\n");
        EXPECT_EQ(log_with(whole.substr(0, 24)), column_error + "r6).\n"); // the terms of column 0
        EXPECT_EQ(log_with(whole.substr(0, 32)), column_error + "r1).\n"); // the integers of column 1
        EXPECT_EQ(log_with(whole.substr(0, whole.size() - 1)), column_error + "r6).\n");
    }
}

TEST_F(skylin2, end_of_an_inner_block_that_changes_between_the_passes_is_refused)
{
    write_vector(worked_b);
    write_names(6, 2);
    write_blocks({first_of_two(), second_of_two()});
    std::filesystem::remove("sky-1.tmp");
    block shorter = first_of_two();
    shorter.end = 1;
    const std::string whole = file_of(first_of_two());
    scripted_file pipe("sky-1.tmp", scripted_file::first_opening::reads, {whole, whole, file_of(shorter)});
    const std::string log = substitute().log;
    EXPECT_TRUE(log.ends_with(reading_log(1) + header_error + "r5).\n")) << log;
}

TEST_F(skylin2, factor_of_another_model_is_refused)
{
    const auto leave_factor = [](std::size_t unknowns, int work_length) {
        skyline_columns a(unknowns, {9.0, 1.0});
        a[0].resize(1);
        const hand_system system = rows_of(a);
        write_new_file("t-matrix-index.tmp", index_bytes(system));
        write_new_file("t-femr-matrix.tmp", matrix_bytes(system));
        write_names(work_length, 9);
        EXPECT_FALSE(factorise().failed);
    };
    const std::string one = reading_log(1);
    leave_factor(4, 100); // more unknowns, one block
    write_vector(worked_b);
    EXPECT_EQ(substitute().log, log_before(9) + one + header_error + "r5).\n");
    leave_factor(2, 100); // fewer unknowns, one block
    EXPECT_EQ(substitute().log, log_before(9) + one + one + header_error + "r5).\n");
    leave_factor(6, 3); // more unknowns, blocks of 2, 1, 1, 1, 1 columns
    EXPECT_EQ(substitute().log, log_before(9) + one + one + reading_log(2) + reading_log(3) + header_error + "r5).\n");
    leave_factor(2, 2); // fewer unknowns, two blocks
    EXPECT_EQ(substitute().log, log_before(9) + one + one + reading_log(2) + header_error + "r5).\n");
    EXPECT_EQ(read_file("t-femr-solution.tmp"), "");
}

TEST_F(skylin2, pivot_of_zero_in_a_damaged_factor_is_singular_rather_than_an_infinite_potential)
{
    for (const double pivot : {0.0, std::numeric_limits<double>::quiet_NaN()}) {
        block changed = whole_factor();
        changed.columns[1].terms[0] = pivot;
        EXPECT_EQ(with_blocks({changed}).log, log_before(1) + reading_log(1) + reading_log(1) + singular(1));
    }
}

TEST_F(skylin2, promises_of_a_damaged_file_cost_nothing)
{
#ifdef TARNEL_TEST_SANITIZED
    GTEST_SKIP() << "the address space is the sanitizer's";
#endif
    EXPECT_EQ(status_of_child([] {
                  tarnel::control cntl = small_control();
                  cntl.maxdim = 1000000000;
                  write_names(999999999, 1);
                  write_new_file("t-femr-vector.tmp", bytes().add_i(999999999).add_d(1).text());
                  write_new_file("sky-1.tmp", bytes().add_i(999999999).add_i(0).add_i(0).add_i(1).text());
                  if (!limit_memory(16 << 20)) return 2;
                  return substitute(cntl).log == head_log(999999999) + vector_error + "r2).\n" ? 0 : 1;
              }),
              0);
}

TEST_F(skylin2, full_disk_is_reported_for_the_solution)
{
    write_vector(worked_b);
    write_names(6, 1);
    write_blocks({whole_factor()});
    const stage_outcome outcome = substitute(small_control(), "/dev/full");
    EXPECT_TRUE(outcome.failed);
    EXPECT_TRUE(outcome.log.ends_with(reading_log(1) + "      Error. in t-femr-solution.tmp(w2).\n")) << outcome.log;
}
