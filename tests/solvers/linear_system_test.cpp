// How every solver reads its system and writes its solution: each item's tag and each mismatch.
#include "solvers/linear_system.h"

#include "assembly/hand_files.h"

#include <cmath>
#include <limits>

using namespace tarnel_test;

namespace
{

const char* const index_name = "t-matrix-index.tmp";
const char* const matrix_name = "t-femr-matrix.tmp";
const char* const vector_name = "t-femr-vector.tmp";

// [4 1 0; 1 5 2; 0 2 6] x = (7, 8, 9); offsets of the items are those of the formats.
const column_lists columns = {{0, 1}, {1, 2}, {2}};
const value_rows values = {{4, 1}, {5, 2}, {6}};

class linear_system : public stage_test
{
protected:
    linear_system()
    {
        write_file(index_name, index_file(columns));
        write_file(matrix_name, matrix_file(values));
        write_file(vector_name, vector_file({7, 8, 9}));
    }
    // Reads everything as a solver does.
    stage_outcome read(tarnel::trailers ends = tarnel::trailers::read) const
    {
        return run_stage([&](std::FILE* log) {
            opened_input index(index_name), matrix(matrix_name), vector(vector_name);
            const tarnel::system_head head = tarnel::read_matrix(cntl, index, matrix, ends, log);
            const int ndim1 = ends == tarnel::trailers::read ? head.ndim1 : head.rows.ndim;
            const auto uvecr = tarnel::read_right_side(vector, head.rows.ndim, ndim1, log);
            EXPECT_EQ(head.rows.ndim, 3);
            EXPECT_EQ(head.ndim1, ends == tarnel::trailers::read ? ndim1 : 0);
            std::size_t at = 0;
            for (std::size_t i = 0; i < 3; ++i) {
                EXPECT_EQ(head.rows.start[i], static_cast<std::int64_t>(at));
                for (std::size_t k = 0; k < columns[i].size(); ++k, ++at) {
                    EXPECT_EQ(head.rows.mindex[at], columns[i][k]);
                    EXPECT_EQ(head.rows.amatr[at], values[i][k]);
                }
                EXPECT_EQ(uvecr[i], 7.0 + static_cast<double>(i));
            }
            EXPECT_EQ(head.rows.start[3], 5);
        });
    }
    void expect_read(tarnel::trailers ends = tarnel::trailers::read) const
    {
        const stage_outcome outcome = read(ends);
        EXPECT_FALSE(outcome.failed);
        EXPECT_EQ(outcome.log, start);
    }
    void expect_failure(const std::string& lines, tarnel::trailers ends = tarnel::trailers::read) const
    {
        const stage_outcome outcome = read(ends);
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, lines);
    }
    static std::string different(const char* name, const char* tag, const char* what)
    {
        return file_error(name, tag) + "             " + what + " is different.\n";
    }
    const std::string start = "      ndim = 3 \n";
    tarnel::control cntl = small_control();
};

} // namespace

TEST_F(linear_system, is_read_item_by_item)
{
    expect_read();
    for (const char* name : {index_name, matrix_name, vector_name}) write_file(name, read_file(name) + "more");
    expect_read();
}

TEST_F(linear_system, number_of_unknowns_must_lie_between_1_and_maxdim)
{
    cntl.maxdim = 3;
    expect_read();
    cntl.maxdim = 2;
    expect_failure(start + "      Error. ndim over the limit.\n");
    cntl.maxdim = 100;
    const std::string index = read_file(index_name);
    for (const int ndim : {0, -1, 101}) {
        write_file(index_name, patched(index, 0, ndim));
        expect_failure("      ndim = " + std::to_string(ndim) + " \n      Error. ndim over the limit.\n");
    }
}

TEST_F(linear_system, row_counts_must_lie_between_1_and_maxnzero)
{
    cntl.maxnzero = 2;
    expect_read();
    cntl.maxnzero = 1;
    expect_failure(start +
                   "      Error. no. of non-zero term 2 is over the limit.\n             no. of unknown = 0 \n");
    cntl.maxnzero = 30;
    const std::string index = read_file(index_name);
    const std::size_t counts[] = {4, 16, 28};
    for (int row = 0; row < 3; ++row)
        for (const int count : {0, -1, 31}) {
            write_file(index_name, patched(index, counts[row], count));
            expect_failure(start + "      Error. no. of non-zero term " + std::to_string(count) +
                           " is over the limit.\n             no. of unknown = " + std::to_string(row) + " \n");
        }
}

TEST_F(linear_system, column_outside_the_matrix_is_a_damaged_column_list)
{
    const std::string index = read_file(index_name);
    for (const int column : {-1, 3, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        write_file(index_name, patched(index, 12, column));
        expect_failure(start + file_error(index_name, "r3"));
    }
}

TEST_F(linear_system, trailer_of_the_index_must_not_exceed_the_number_of_unknowns)
{
    const std::string index = read_file(index_name), matrix = read_file(matrix_name), vector = read_file(vector_name);
    write_file(index_name, patched(index, 36, 4));
    expect_failure(start + "      Error. ndim1 > ndim \n");
    for (const int ndim1 : {0, 2}) { // smaller ones are for the other files to repeat
        write_file(index_name, patched(index, 36, ndim1));
        write_file(matrix_name, patched(matrix, 56, ndim1));
        write_file(vector_name, patched(vector, 28, ndim1));
        expect_read();
    }
}

TEST_F(linear_system, numbers_of_matrix_and_right_hand_side_must_repeat_those_of_the_index)
{
    struct row {
        const char* name;
        std::size_t offset;
        int right;
        const char* tag;
        const char* what;
    };
    const row rows[] = {{matrix_name, 0, 3, "r1", "ndim"},   {matrix_name, 4, 2, "r2", "nzero"},
                        {matrix_name, 24, 2, "r2", "nzero"}, {matrix_name, 44, 1, "r2", "nzero"},
                        {matrix_name, 56, 3, "r4", "ndim1"}, {vector_name, 0, 3, "r1", "ndim"},
                        {vector_name, 28, 3, "r3", "ndim1"}};
    for (const row& r : rows) {
        SCOPED_TRACE(std::string(r.name) + " " + std::to_string(r.offset));
        const std::string whole = read_file(r.name);
        ASSERT_EQ(int_at(whole, r.offset), r.right);
        for (const int wrong : {r.right + 1, r.right - 1, -r.right}) {
            write_file(r.name, patched(whole, r.offset, wrong));
            expect_failure(start + different(r.name, r.tag, r.what));
        }
        write_file(r.name, whole);
    }
    // a trailer of the index that differs from both is seen in the matrix first
    write_file(index_name, patched(read_file(index_name), 36, 2));
    expect_failure(start + different(matrix_name, "r4", "ndim1"));
    write_file(matrix_name, patched(read_file(matrix_name), 56, 2));
    expect_failure(start + different(vector_name, "r3", "ndim1"));
}

TEST_F(linear_system, each_file_cut_at_each_byte_gives_the_tag_of_the_item)
{
    struct item {
        std::size_t end; // offset after it
        const char* tag;
    };
    struct file {
        const char* name;
        std::vector<item> items;
    };
    const std::vector<file> files = {
        {index_name, {{4, "r1"}, {8, "r2"}, {16, "r3"}, {20, "r2"}, {28, "r3"}, {32, "r2"}, {36, "r3"}, {40, "r4"}}},
        {matrix_name, {{4, "r1"}, {8, "r2"}, {24, "r3"}, {28, "r2"}, {44, "r3"}, {48, "r2"}, {56, "r3"}, {60, "r4"}}},
        {vector_name, {{4, "r1"}, {28, "r2"}, {32, "r3"}}}};
    for (const file& f : files) {
        const std::string whole = read_file(f.name);
        ASSERT_EQ(whole.size(), f.items.back().end);
        for (std::size_t size = 0; size < whole.size(); ++size) {
            SCOPED_TRACE(std::string(f.name) + " " + std::to_string(size));
            write_file(f.name, whole.substr(0, size));
            std::size_t k = 0;
            while (f.items[k].end <= size) ++k;
            const bool before_ndim = f.name == index_name && size < 4;
            expect_failure((before_ndim ? "" : start) + file_error(f.name, f.items[k].tag));
        }
        write_file(f.name, whole);
    }
}

TEST_F(linear_system, faults_are_reported_in_the_order_index_matrix_right_hand_side)
{
    for (const char* name : {index_name, matrix_name, vector_name}) write_file(name, read_file(name).substr(0, 3));
    expect_failure(file_error(index_name, "r1"));
    write_file(index_name, index_file(columns));
    expect_failure(start + file_error(matrix_name, "r1"));
    write_file(matrix_name, matrix_file(values));
    expect_failure(start + file_error(vector_name, "r1"));
}

TEST_F(linear_system, trailers_may_be_left_unread)
{
    const std::string index = read_file(index_name), matrix = read_file(matrix_name);
    write_file(index_name, index.substr(0, 36));
    write_file(matrix_name, matrix.substr(0, 56));
    expect_read(tarnel::trailers::left);
    write_file(index_name, index.substr(0, 35));
    expect_failure(start + file_error(index_name, "r3"), tarnel::trailers::left);
}

TEST_F(linear_system, index_that_promises_more_than_it_holds_is_not_believed)
{
    cntl.maxdim = cntl.maxnzero = std::numeric_limits<int>::max();
    const std::string index = read_file(index_name);
    write_file(index_name, patched(index, 0, 2000000000).substr(0, 36));
    expect_failure("      ndim = 2000000000 \n" + file_error(index_name, "r2"));
    write_file(index_name, patched(index, 16, 2000000000));
    expect_failure(start + file_error(index_name, "r3"));
}

TEST_F(linear_system, solution_is_the_count_and_the_values)
{
    const std::vector<double> x = {1.5, -2, 1e300};
    const stage_outcome outcome = run_stage([&](std::FILE* log) {
        opened_output out("solution");
        tarnel::write_solution(out, 3, x.data(), log);
    });
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, "");
    const std::string file = read_file("solution");
    ASSERT_EQ(file.size(), 28U);
    EXPECT_EQ(int_at(file, 0), 3);
    EXPECT_EQ(double_at(file, 4), 1.5);
    EXPECT_EQ(double_at(file, 12), -2.0);
    EXPECT_EQ(double_at(file, 20), 1e300);
}

TEST_F(linear_system, full_disk_is_reported_with_the_solutions_values)
{
    for (const std::int32_t n : {1, 8192, 100000}) {
        const std::vector<double> x(static_cast<std::size_t>(n));
        const stage_outcome outcome = run_stage([&](std::FILE* log) {
            opened_output out("/dev/full", "t-femr-solution-00012.tmp");
            tarnel::write_solution(out, n, x.data(), log);
        });
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, file_error("t-femr-solution-00012.tmp", "w2"));
    }
}

TEST_F(linear_system, scaling_gives_a_unit_diagonal_and_keeps_its_factors_in_slot_0)
{
    // [4 6 2; 6 16 0; 2 0 64]: factors 1/2, 1/4, 1/8
    const stage_outcome outcome = run_stage([&](std::FILE* log) {
        tarnel::matrix_rows rows;
        rows.ndim = 3;
        rows.start = tarnel::zero_array<std::int64_t>(log, "start", 4);
        rows.mindex = tarnel::zero_array<std::int32_t>(log, "mindex", 5);
        rows.amatr = tarnel::zero_array<double>(log, "amatr", 5);
        const std::int64_t starts[] = {0, 3, 4, 5};
        const std::int32_t at[] = {0, 1, 2, 1, 2};
        const double a[] = {4, 6, 2, 16, 64};
        std::copy(starts, starts + 4, rows.start.get());
        std::copy(at, at + 5, rows.mindex.get());
        std::copy(a, a + 5, rows.amatr.get());
        double b[] = {2, 8, 24};
        tarnel::scale_system(1e-60, rows, b, log);
        const double scaled[] = {0.5, 0.75, 0.125, 0.25, 0.125}, scaled_b[] = {1, 2, 3};
        for (std::size_t k = 0; k < 5; ++k) EXPECT_EQ(rows.amatr[k], scaled[k]) << k;
        for (std::size_t k = 0; k < 3; ++k) EXPECT_EQ(b[k], scaled_b[k]) << k;
    });
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, "");
}

TEST_F(linear_system, scaling_refuses_the_first_diagonal_below_the_threshold)
{
    const auto scale = [](double first, double second, double threshold) {
        return run_stage([&](std::FILE* log) {
                   tarnel::matrix_rows rows;
                   rows.ndim = 2;
                   rows.start = tarnel::zero_array<std::int64_t>(log, "start", 3);
                   rows.mindex = tarnel::zero_array<std::int32_t>(log, "mindex", 2);
                   rows.amatr = tarnel::zero_array<double>(log, "amatr", 2);
                   rows.start[1] = rows.mindex[1] = 1, rows.start[2] = 2;
                   rows.amatr[0] = first, rows.amatr[1] = second;
                   double b[] = {1, 1};
                   tarnel::scale_system(threshold, rows, b, log);
               })
            .log;
    };
    const auto singular = [](int row) {
        return "      Error. The global matrix is singular.\n             unknown no. = " + std::to_string(row) + " \n";
    };
    EXPECT_EQ(scale(0.5, 0.5, 0.5), "");
    EXPECT_EQ(scale(0.5, std::nextafter(0.5, 0), 0.5), singular(1));
    EXPECT_EQ(scale(0, 0, 1e-60), singular(0));
    EXPECT_EQ(scale(1, -1e300, 1e-60), singular(1));
}
