#include "solvers/linear_system.h"

#include <cmath>

namespace tarnel
{

std::int32_t read_ndim(const control& cntl, input_file& in, std::FILE* log)
{
    const auto ndim = read_value<std::int32_t>(log, in, "r1");
    log_lines(log, "      ndim = %d \n", ndim);
    if (ndim < 1 || ndim > cntl.maxdim) fail(log, "      Error. ndim over the limit.\n");
    return ndim;
}

void read_equal(std::FILE* log, input_file& in, std::int32_t expected, const char* tag, const char* what)
{
    if (read_value<std::int32_t>(log, in, tag) != expected)
        fail(log,
             "      Error. in %s(%s).\n"
             "             %s is different.\n",
             in.name, tag, what);
}

system_head read_matrix(const control& cntl, input_file& index, input_file& matrix, trailers ends, std::FILE* log)
{
    system_head head;
    matrix_rows& rows = head.rows;
    rows.ndim = read_ndim(cntl, index, log);
    read_index_rows(log, index, cntl.maxnzero, column_check::inside, rows);
    if (ends == trailers::read) {
        head.ndim1 = read_value<std::int32_t>(log, index, "r4");
        if (head.ndim1 > rows.ndim) fail(log, "      Error. ndim1 > ndim \n");
        if (head.ndim1 < 0) fail_in_file(log, index.name, "r4");
    }
    read_equal(log, matrix, rows.ndim, "r1", "ndim");
    for (std::int32_t i = 0; i < rows.ndim; ++i) {
        const std::int32_t terms = terms_of(rows, i);
        read_equal(log, matrix, terms, "r2", "nzero");
        read_values(log, matrix, &rows.amatr[static_cast<std::size_t>(rows.start[static_cast<std::size_t>(i)])],
                    static_cast<std::size_t>(terms), "r3");
    }
    if (ends == trailers::read) read_equal(log, matrix, head.ndim1, "r4", "ndim1");
    return head;
}

owned_array<double> read_right_side(input_file& in, std::int32_t ndim, std::int32_t ndim1, std::FILE* log)
{
    owned_array<double> uvecr = zero_array<double>(log, "uvecr", static_cast<std::size_t>(ndim));
    read_equal(log, in, ndim, "r1", "ndim");
    read_values(log, in, uvecr.get(), static_cast<std::size_t>(ndim), "r2");
    read_equal(log, in, ndim1, "r3", "ndim1");
    return uvecr;
}

void write_solution(output_file& out, std::int32_t ndim, const double values[], std::FILE* log)
{
    write_value(log, out, ndim, "w1");
    write_values(log, out, values, static_cast<std::size_t>(ndim), "w2");
    flush_output(log, out);
}

void scale_system(double eps_zero, matrix_rows& rows, double uvecr[], std::FILE* log)
{
    const auto n = static_cast<std::size_t>(rows.ndim);
    double* a = rows.amatr.get();
    for (std::size_t i = 0; i < n; ++i) {
        double& diagonal = a[rows.start[i]];
        if (!(diagonal >= eps_zero))
            fail(log,
                 "      Error. The global matrix is singular.\n"
                 "             unknown no. = %d \n",
                 static_cast<std::int32_t>(i));
        diagonal = 1.0 / std::sqrt(diagonal);
    }
    for (std::size_t i = 0; i < n; ++i) {
        const double d = a[rows.start[i]];
        uvecr[i] = uvecr[i] * d;
        for (std::int64_t t = rows.start[i] + 1; t < rows.start[i + 1]; ++t)
            a[t] = d * a[t] * a[rows.start[static_cast<std::size_t>(rows.mindex[static_cast<std::size_t>(t)])]];
    }
}

} // namespace tarnel
