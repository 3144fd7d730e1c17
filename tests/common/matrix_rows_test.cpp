#include "common/matrix_rows.h"

#include "support/stage.h"

#include <string>
#include <vector>

#include <malloc.h>
#include <sys/stat.h>

using namespace tarnel;
using namespace tarnel_test;

using matrix_row_lists = stage_test;

// What follows the header of an index file.
static std::string rows_text(const std::vector<std::vector<std::int32_t>>& rows)
{
    bytes text;
    for (const auto& row : rows) {
        text.add_i(static_cast<std::int32_t>(row.size()));
        for (const std::int32_t column : row) text.add_i(column);
    }
    return text.text();
}

static stage_outcome read_rows(const std::string& content, std::int32_t ndim, std::int32_t maxnzero, column_check check,
                               matrix_rows& matrix)
{
    write_file("index.tmp", content);
    matrix.ndim = ndim;
    return run_stage([&](std::FILE* log) {
        opened_input in("index.tmp", "t-matrix-index.tmp");
        read_index_rows(log, in, maxnzero, check, matrix);
    });
}

static void expect_refused(const std::string& content, std::int32_t ndim, std::int32_t maxnzero, column_check check,
                           const std::string& log)
{
    matrix_rows matrix;
    const stage_outcome outcome = read_rows(content, ndim, maxnzero, check, matrix);
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, log);
}

static const std::string r2 = "      Error. in t-matrix-index.tmp(r2).\n";
static const std::string r3 = "      Error. in t-matrix-index.tmp(r3).\n";

static std::string over(std::int32_t count, std::int32_t row)
{
    return "      Error. no. of non-zero term " + std::to_string(count) +
           " is over the limit.\n             no. of unknown = " + std::to_string(row) + " \n";
}

TEST_F(matrix_row_lists, rows_stand_one_after_another)
{
    write_file("index.tmp", rows_text({{0, 1, 3}, {1, 2}, {2, 3}, {3}}) + bytes().add_i(77).text());
    const stage_outcome outcome = run_stage([](std::FILE* log) {
        opened_input in("index.tmp");
        matrix_rows matrix;
        matrix.ndim = 4;
        read_index_rows(log, in, 3, column_check::inside, matrix);
        const std::int64_t start[] = {0, 3, 5, 7, 8};
        const std::int32_t columns[] = {0, 1, 3, 1, 2, 2, 3, 3}, terms[] = {3, 2, 2, 1};
        for (std::size_t k = 0; k < 5; ++k) EXPECT_EQ(matrix.start[k], start[k]);
        for (std::size_t k = 0; k < 8; ++k) EXPECT_EQ(matrix.mindex[k], columns[k]);
        for (std::size_t k = 0; k < 8; ++k) EXPECT_EQ(matrix.amatr[k], 0.0);
        for (std::int32_t row = 0; row < 4; ++row) EXPECT_EQ(terms_of(matrix, row), terms[row]);
        EXPECT_EQ(read_value<std::int32_t>(log, in, "r4"), 77); // what follows is the caller's
    });
    EXPECT_FALSE(outcome.failed) << outcome.log;
    EXPECT_EQ(outcome.log, "");
}

TEST_F(matrix_row_lists, file_of_unknown_size_is_read_row_by_row)
{
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    owned_file holder(std::fopen("pipe", "r+b")); // neither opening waits
    ASSERT_NE(holder, nullptr);
    const std::string content = rows_text({{0, 1}, {1}});
    ASSERT_EQ(std::fwrite(content.data(), 1, content.size(), holder.get()), content.size());
    std::fflush(holder.get());
    const stage_outcome outcome = run_stage([&holder](std::FILE* log) {
        opened_input in("pipe");
        holder.reset(); // what was written is all there is
        matrix_rows matrix;
        matrix.ndim = 2;
        read_index_rows(log, in, 30, column_check::inside, matrix);
        const std::int32_t columns[] = {0, 1, 1};
        for (std::size_t k = 0; k < 3; ++k) EXPECT_EQ(matrix.mindex[k], columns[k]);
    });
    EXPECT_FALSE(outcome.failed) << outcome.log;
}

TEST_F(matrix_row_lists, many_rows_grow_with_the_file)
{
    std::vector<std::vector<std::int32_t>> rows(30000);
    for (std::int32_t i = 0; i < 30000; ++i)
        for (std::int32_t j = i; j < 30000 && j <= i + i % 5; ++j) rows[static_cast<std::size_t>(i)].push_back(j);
    matrix_rows matrix;
    const stage_outcome outcome = read_rows(rows_text(rows), 30000, 5, column_check::inside, matrix);
    ASSERT_FALSE(outcome.failed) << outcome.log;
    std::size_t at = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        ASSERT_EQ(matrix.start[i], static_cast<std::int64_t>(at));
        for (const std::int32_t column : rows[i]) ASSERT_EQ(matrix.mindex[at++], column);
    }
    EXPECT_EQ(matrix.start[rows.size()], static_cast<std::int64_t>(at));
}

TEST_F(matrix_row_lists, count_of_a_row_lies_between_one_and_the_limit)
{
    const std::string content = rows_text({{0, 1, 2}, {1, 2}, {2}});
    matrix_rows matrix;
    EXPECT_FALSE(read_rows(content, 3, 3, column_check::inside, matrix).failed);
    expect_refused(content, 3, 2, column_check::inside, over(3, 0));
    expect_refused(rows_text({{0}, {1, 2}, {2}}), 3, 1, column_check::none, over(2, 1));
    const std::string first = rows_text({{0, 1}, {1}});
    for (const std::int32_t count : {0, -1, -2147483647 - 1, 31, 2147483647})
        expect_refused(first + bytes().add_i(count).add_zeros(400).text(), 3, 30, column_check::none, over(count, 2));
}

TEST_F(matrix_row_lists, columns_lie_inside_the_upper_triangle_where_that_is_checked)
{
    for (const std::int32_t column : {3, 0, -1, 2147483647, -2147483647 - 1}) {
        const std::string content = rows_text({{0, 1}, {1, column}, {2}});
        expect_refused(content, 3, 30, column_check::inside, r3);
        matrix_rows matrix;
        EXPECT_FALSE(read_rows(content, 3, 30, column_check::none, matrix).failed);
        EXPECT_EQ(matrix.mindex[3], column);
    }
    matrix_rows matrix;
    EXPECT_FALSE(read_rows(rows_text({{0, 2}, {1, 2}, {2}}), 3, 30, column_check::inside, matrix).failed);
}

TEST_F(matrix_row_lists, file_that_ends_at_any_byte_is_a_short_read)
{
    const std::string content = rows_text({{0, 1, 2}, {1, 2}, {2}});
    for (std::size_t length = 0; length < content.size(); ++length) {
        const std::size_t item = length / 4;
        const bool count = item == 0 || item == 4 || item == 7;
        expect_refused(content.substr(0, length), 3, 30, column_check::inside, count ? r2 : r3);
        expect_refused(content.substr(0, length), 3, 30, column_check::none, count ? r2 : r3);
    }
}

TEST_F(matrix_row_lists, memory_follows_the_file_and_not_its_promises)
{
    for (const std::int32_t ndim : {999999999, 2147483647}) {
        matrix_rows matrix;
        const stage_outcome outcome = read_rows(rows_text({{0, 1}, {1}}), ndim, 30, column_check::inside, matrix);
        EXPECT_EQ(outcome.log, r2);
        EXPECT_LT(malloc_usable_size(matrix.start.get()), 1024U);
    }
    for (const std::int32_t count : {4, 999999999, 2147483647}) { // three columns are there
        const std::string content = bytes().add_i(count).add_i(0).add_i(1).add_i(2).text();
        expect_refused(content, 5, 2147483647, column_check::none, r3);
    }
    expect_refused("", 2147483647, 30, column_check::none, r2);
}
