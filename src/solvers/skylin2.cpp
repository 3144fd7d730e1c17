#include "solvers/skyline.h"

#include "solvers/skyline_elimination.h"
#include "solvers/skyline_files.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tarnel
{

// A substitution under way: the factor's profile as the forward pass finds it.
struct substitution {
    const control& cntl;
    const skyline_setup& setup;
    std::int32_t ndim;
    std::int32_t matdiv = 0;
    owned_array<std::int32_t> linsky, iadlin; // height and address of each column
    owned_array<double> work1;                // pivots
    growing_array<std::int32_t> iaddiv;       // first columns of the blocks read, closed by the last end
    growing_array<double> aaa;                // terms of a column, or of a block
    const elimination_kernel* kernel;
    input_file last; // the last block between the passes, where all of it is kept
};

// A last block of so many bytes is read once for both passes: a near cache holds it.
constexpr std::size_t most_kept = std::size_t{1} << 21U;

// What follows the header: the columns are read from the first to the last, and may be kept, or from elsewhere.
enum class after_header { in_order, in_order_and_kept, elsewhere };

static block_header open_with_header(const substitution& work, std::int32_t b, after_header next, input_file& file,
                                     std::FILE* log)
{
    open_block(log, work.setup, b, file);
    if (next == after_header::in_order_and_kept) keep_rest(log, file, most_kept);
    if (next == after_header::elsewhere) file.piece = sizeof(block_header);
    const block_header header = read_header(log, file, b, work.matdiv, work.ndim);
    if (next == after_header::elsewhere) file.piece = stream_buffer_bytes;
    return header;
}

// Opens a block and checks that it goes on where the one before it ends, that it is not empty and that the last one
// ends with the matrix.
static block_header open_checked(const substitution& work, std::int32_t b, std::int32_t first, after_header next,
                                 input_file& file, std::FILE* log)
{
    const block_header header = open_with_header(work, b, next, file, log);
    if (header.first != first) fail_in_header(log, "r4");
    if (header.end <= header.first || (b + 1 == work.matdiv && header.end != work.ndim)) fail_in_header(log, "r5");
    return header;
}

// Makes room for more terms, refusing a height that the file cannot hold before it is paid for.
static double* room_for_terms(substitution& work, input_file& file, std::size_t at, std::int32_t height, std::FILE* log)
{
    const std::size_t n = at + static_cast<std::size_t>(height);
    if (n > work.aaa.capacity) {
        if (bytes_left(file) / sizeof(double) < static_cast<std::size_t>(height)) fail_in_file(log, file.name, "r6");
        reserve(log, "aaa", work.aaa, n);
    }
    return work.aaa.values.get() + at;
}

// What the profile keeps of a column.
static void note_column(substitution& work, std::int32_t j, column_record column, double pivot)
{
    const auto at = static_cast<std::size_t>(j);
    work.linsky[at] = column.height;
    work.iadlin[at] = column.address;
    work.work1[at] = pivot;
}

// Checks the next records, those of the columns first, first + 1, ..., where they stand in the stream's buffer.
//   returns their bytes, which have not been passed over yet, or 0 where they are more than a buffer holds
static std::size_t look_at_columns(substitution& work, std::int32_t first, std::int32_t count, column_terms columns[],
                                   input_file& file, std::FILE* log)
{
    std::size_t place[columns_together]; // of each column's terms, behind file.at
    std::size_t bytes = 0;
    for (std::int32_t c = 0; c < count; ++c) {
        const std::int32_t j = first + c;
        column_record column;
        if (bytes + sizeof column > stream_buffer_bytes) return 0;
        if (fill_buffer(file, bytes + sizeof column) < bytes + sizeof column) fail_in_file(log, file.name, "r1");
        std::memcpy(&column, file.buffer.get() + file.at + bytes, sizeof column);
        check_column(log, file.name, column, j, work.setup.work_length, {});
        place[c] = bytes += sizeof column;
        bytes += static_cast<std::size_t>(column.height) * sizeof(double);
        if (bytes > stream_buffer_bytes) return 0;
        if (fill_buffer(file, bytes) < bytes) fail_in_file(log, file.name, "r6");
        columns[c].top = j - column.height + 1;
        double pivot = 0.0;
        std::memcpy(&pivot, file.buffer.get() + file.at + place[c], sizeof pivot);
        note_column(work, j, column, pivot);
    }
    // The buffer may have moved on the way. All items are whole doubles, so that they stand where a double may.
    for (std::int32_t c = 0; c < count; ++c)
        columns[c].terms = reinterpret_cast<const double*>(file.buffer.get() + file.at + place[c]);
    return bytes;
}

// The same records, read into `aaa`.
static void copy_columns(substitution& work, std::int32_t first, std::int32_t count, column_terms columns[],
                         input_file& file, std::FILE* log)
{
    std::size_t place[columns_together + 1] = {};
    for (std::int32_t c = 0; c < count; ++c) {
        const std::int32_t j = first + c;
        const column_record column = read_column_head(log, file, j, work.setup.work_length, {});
        double* terms = room_for_terms(work, file, place[c], column.height, log);
        read_column_terms(log, file, terms, column.height);
        note_column(work, j, column, terms[0]);
        columns[c].top = j - column.height + 1;
        place[c + 1] = place[c] + static_cast<std::size_t>(column.height);
    }
    for (std::int32_t c = 0; c < count; ++c) columns[c].terms = work.aaa.values.get() + place[c];
}

static void eliminate_forward(substitution& work, double x[], std::FILE* log)
{
    std::int32_t first = 0;
    append(log, "iaddiv", work.iaddiv, first);
    for (std::int32_t b = 0; b < work.matdiv; ++b) {
        const bool last = b + 1 == work.matdiv;
        input_file file;
        const block_header header =
            open_checked(work, b, first, last ? after_header::in_order_and_kept : after_header::in_order, file, log);
        for (std::int32_t j = header.first; j < header.end; j += columns_together) {
            const std::int32_t count = std::min(columns_together, header.end - j);
            column_terms columns[columns_together];
            const std::size_t bytes = look_at_columns(work, j, count, columns, file, log);
            if (bytes == 0) copy_columns(work, j, count, columns, file, log);
            work.kernel->columns(j, count, columns, x);
            file.at += bytes;
        }
        first = header.end;
        append(log, "iaddiv", work.iaddiv, first);
        if (last && file.kept > 0) work.last = std::move(file);
    }
}

static void divide_by_pivots(const substitution& work, double x[], std::FILE* log)
{
    for (std::int32_t j = 0; j < work.ndim; ++j) {
        const double pivot = work.work1[static_cast<std::size_t>(j)];
        if (!(std::fabs(pivot) > 0.0)) // zero or NaN: no factorisation leaves such a pivot
            fail(log,
                 "      Error. The global matrix is singular.\n"
                 "             unknown no. = %d \n",
                 j);
        x[j] = x[j] / pivot;
    }
}

// A record of a column takes as many doubles as it has terms, and one for its two integers.
static_assert(sizeof(column_record) == sizeof(double));

// Records of a block that are in memory together on the way back: what a near cache holds, and no fewer than are
// eliminated together.
constexpr std::int64_t doubles_together = 65536;

// What the record of a column must agree with on the way back.
static column_expectation as_before(const substitution& work, std::int32_t j, std::int32_t running)
{
    const auto at = static_cast<std::size_t>(j);
    return {work.linsky[at], work.iadlin[at], running};
}

// Reads the records of the columns [first, end) one by one, which says at which item a file is cut; their addresses
// start with `running`.
static void read_columns_again(substitution& work, std::int32_t first, std::int32_t end, std::int32_t running,
                               input_file& file, std::FILE* log)
{
    std::size_t place = 0;
    for (std::int32_t j = first; j < end; ++j) {
        const auto column = read_column_head(log, file, j, work.setup.work_length, as_before(work, j, running));
        double* terms = room_for_terms(work, file, place + 1, column.height, log);
        read_column_terms(log, file, terms, column.height);
        place += static_cast<std::size_t>(column.height) + 1;
        running += column.height;
    }
}

static void go_to(input_file& file, std::int64_t offset, std::FILE* log)
{
    if (!seek_to(file, static_cast<std::uint64_t>(offset))) fail_in_file(log, file.name, "r1");
}

// Checks the records of the columns [first, end), which are in memory. Their places follow from the heights found
// before, so that no head waits for the one before it.
static void check_records(const substitution& work, std::int32_t first, std::int32_t end, const double* record,
                          std::int32_t running, const char* name, std::FILE* log)
{
    for (std::int32_t j = first; j < end; ++j) {
        column_record column;
        std::memcpy(&column, record, sizeof column);
        const column_expectation expected = as_before(work, j, running);
        check_column(log, name, column, j, work.setup.work_length, expected);
        record += expected.height + 1;
        running += expected.height;
    }
}

// Reads the records of the columns [first, end) at once.
static void read_records(substitution& work, std::int32_t first, std::int32_t end, std::int64_t offset,
                         std::int64_t doubles, std::int32_t running, input_file& file, std::FILE* log)
{
    go_to(file, offset, log);
    reserve(log, "aaa", work.aaa, static_cast<std::size_t>(doubles));
    if (!read_bytes(file, work.aaa.values.get(), static_cast<std::size_t>(doubles) * sizeof(double))) {
        go_to(file, offset, log);
        return read_columns_again(work, first, end, running, file, log);
    }
    check_records(work, first, end, work.aaa.values.get(), running, file.name, log);
}

// Eliminates the columns [first, end), whose records are in memory, from the last one to the first.
static void eliminate_backward(const substitution& work, std::int32_t first, std::int32_t end, const double* records,
                               double x[])
{
    const std::int32_t* height = work.linsky.get();
    const double* behind = records; // those of the columns left
    for (std::int32_t j = first; j < end; ++j) behind += height[j] + 1;
    while (end > first) {
        const std::int32_t count = std::min(columns_together, end - first);
        column_terms columns[columns_together];
        for (std::int32_t c = count - 1; c >= 0; --c) {
            const std::int32_t j = end - count + c;
            behind -= height[j];
            columns[c] = {j - height[j] + 1, behind};
            --behind;
        }
        end -= count;
        work.kernel->rows_above(end, count, columns, x);
    }
}

// The last block, which the way forward has kept.
static void eliminate_kept(const substitution& work, const block_header& header, double x[], std::FILE* log)
{
    const auto* records = reinterpret_cast<const double*>(work.last.buffer.get() + sizeof header);
    check_records(work, header.first, header.end, records, 0, work.last.name, log);
    eliminate_backward(work, header.first, header.end, records, x);
}

// The columns [header.first, header.end) from the last to the first, a few of them in memory at a time.
static void eliminate_block(substitution& work, const block_header& header, double x[], input_file& file,
                            std::FILE* log)
{
    const std::int32_t* height = work.linsky.get();
    std::int64_t offset = sizeof header; // of the columns left, their end in the file
    std::int32_t running = 0;            // and in the block's array
    for (std::int32_t j = header.first; j < header.end; ++j) {
        offset += (std::int64_t{height[j]} + 1) * std::int64_t{sizeof(double)};
        running += height[j];
    }
    const std::uint64_t left = bytes_left(file);
    if (left == unknown_size || left < static_cast<std::uint64_t>(offset) - sizeof header) {
        read_columns_again(work, header.first, header.end, 0, file, log); // a pipe comes in its order
        return eliminate_backward(work, header.first, header.end, work.aaa.values.get(), x);
    }
    for (std::int32_t end = header.end, first = end; end > header.first; end = first) {
        std::int64_t doubles = 0;
        do {
            --first;
            doubles += height[first] + 1;
            running -= height[first];
        } while (first > header.first && (end - first < columns_together || doubles < doubles_together));
        offset -= doubles * std::int64_t{sizeof(double)};
        read_records(work, first, end, offset, doubles, running, file, log);
        eliminate_backward(work, first, end, work.aaa.values.get(), x);
    }
}

static void substitute_backward(substitution& work, double x[], std::FILE* log)
{
    for (std::int32_t b = work.matdiv - 1; b >= 0; --b) {
        input_file file;
        const auto at = static_cast<std::size_t>(b);
        const block_header header = open_checked(work, b, work.iaddiv.values[at], after_header::elsewhere, file, log);
        if (header.end != work.iaddiv.values[at + 1]) fail_in_header(log, "r5");
        if (b + 1 == work.matdiv && work.last.kept > 0)
            eliminate_kept(work, header, x, log);
        else
            eliminate_block(work, header, x, file, log);
    }
}

void t_real_mtsolv_skylin2(control cntl, input_file& vector, output_file& solution, std::FILE* log)
{
    log_lines(log, "    === in func. t_real_mtsolv_skylin2 ===\n");
    const std::int32_t ndim = read_ndim(cntl, vector, log);
    const auto n = static_cast<std::size_t>(ndim);
    if (bytes_left(vector) / sizeof(double) < n) fail_in_file(log, vector.name, "r2");
    const owned_array<double> uvecr = zero_array<double>(log, "uvecr", n);
    const owned_array<double> xvecr = zero_array<double>(log, "xvecr", n);
    read_values(log, vector, uvecr.get(), n, "r2");
    const skyline_setup setup = read_skyline_setup(log);
    substitution work = {cntl,
                         setup,
                         ndim,
                         0,
                         zero_array<std::int32_t>(log, "linsky", n),
                         zero_array<std::int32_t>(log, "iadlin", n),
                         zero_array<double>(log, "work1", n),
                         {},
                         {},
                         &fastest_elimination(),
                         {}};
    std::copy(uvecr.get(), uvecr.get() + n, xvecr.get());
    {
        input_file file;
        work.matdiv = open_with_header(work, 0, after_header::elsewhere, file, log).matdiv;
    }
    eliminate_forward(work, xvecr.get(), log);
    divide_by_pivots(work, xvecr.get(), log);
    substitute_backward(work, xvecr.get(), log);
    write_solution(solution, ndim, xvecr.get(), log);
}

} // namespace tarnel
