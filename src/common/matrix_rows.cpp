#include "common/matrix_rows.h"

#include <algorithm>

namespace tarnel
{

void read_index_rows(std::FILE* log, input_file& in, std::int32_t maxnzero, column_check check, matrix_rows& matrix)
{
    const std::uint64_t bytes = bytes_left(in);
    const std::size_t most_items = static_cast<std::size_t>(bytes / sizeof(std::int32_t));
    const std::size_t rows = static_cast<std::size_t>(matrix.ndim);
    matrix.start = zero_array<std::int64_t>(log, "nozerot", std::min(rows, most_items) + 1);
    growing_array<std::int32_t> columns;
    if (bytes != unknown_size) reserve(log, "mindex", columns, most_items - std::min(rows, most_items));
    for (std::size_t i = 0; i < rows; ++i) {
        const auto nzero = read_value<std::int32_t>(log, in, "r2");
        if (nzero < 1 || nzero > maxnzero)
            fail(log,
                 "      Error. no. of non-zero term %d is over the limit.\n"
                 "             no. of unknown = %d \n",
                 nzero, static_cast<std::int32_t>(i));
        const std::size_t terms = static_cast<std::size_t>(nzero);
        if (columns.size + terms > most_items) fail_in_file(log, in.name, "r3"); // the file ends before
        reserve(log, "mindex", columns, columns.size + terms);
        read_values(log, in, columns.values.get() + columns.size, terms, "r3");
        if (check == column_check::inside)
            for (std::size_t k = columns.size; k < columns.size + terms; ++k)
                if (columns.values[k] < static_cast<std::int32_t>(i) || columns.values[k] >= matrix.ndim)
                    fail_in_file(log, in.name, "r3");
        columns.size += terms;
        matrix.start[i + 1] = static_cast<std::int64_t>(columns.size);
    }
    matrix.mindex = std::move(columns.values);
    matrix.amatr = zero_array<double>(log, "amatr", columns.size);
}

} // namespace tarnel
