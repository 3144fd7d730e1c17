#include "solvers/seidel.h"

#include "common/number_text.h"
#include "solvers/row_order.h"
#include "solvers/vector_kernel.h"

#include <algorithm>
#include <cmath>

namespace tarnel
{

constexpr std::size_t rows_of_a_step = 512;
constexpr std::size_t pieces_ahead = 32; // asked of memory while a row is visited

// Three of a row's couplings; most rows of a mesh of triangles have no more. A piece that is not full is filled with
// couplings of -0 to the place behind the last unknown, which holds a one: they leave every sum as it is. All that a
// row needs stands together, so that a sweep reads one stream.
struct row_piece {
    double value[3];
    std::int32_t unknown[3];
    std::int32_t more; // pieces of the row that follow
};

struct matrix_pieces {
    owned_array<row_piece> piece; // row by row, at least one a row, and room to ask memory ahead
    std::size_t band = 1;         // a row couples unknowns less than `band` behind it
};

// Couplings of the scaled matrix.
//   errors  "Can't allocate (amatr)"
static matrix_pieces cut_into_pieces(const matrix_rows& rows, std::FILE* log)
{
    const auto n = static_cast<std::size_t>(rows.ndim);
    std::size_t count = 0;
    for (std::size_t i = 0; i < n; ++i)
        count += static_cast<std::size_t>(threes_for(rows.start[i + 1] - rows.start[i] - 1));
    matrix_pieces matrix{.piece = empty_array<row_piece>(log, "amatr", count + pieces_ahead)};
    row_piece* piece = matrix.piece.get();
    for (std::size_t i = 0; i < n; ++i) {
        auto at = static_cast<std::size_t>(rows.start[i]) + 1; // behind the diagonal
        const auto end = static_cast<std::size_t>(rows.start[i + 1]);
        auto more = static_cast<std::int32_t>(threes_for(static_cast<std::int64_t>(end - at)));
        while (more-- > 0) {
            piece->more = more;
            for (int k = 0; k < 3; ++k, ++at) {
                piece->value[k] = at < end ? rows.amatr[at] : -0.0;
                piece->unknown[k] = at < end ? rows.mindex[at] : rows.ndim;
                if (at < end) matrix.band = std::max(matrix.band, static_cast<std::size_t>(rows.mindex[at]) - i + 1);
            }
            ++piece;
        }
    }
    return matrix;
}

// What all sweeps share; x0 has n + 1 places.
struct sweep_system {
    std::size_t n;
    std::size_t group; // unknowns of the first group
    std::size_t band;
    const row_piece* pieces;
    const double* b;
    double omega;
    double* x0;
    const vector_kernel& kernel;
};

// Sums of squares over a group of unknowns.
struct change_sums {
    part_sums change; // of x - x0
    part_sums size;   // of x
};

// A sweep under way; x has n + 1 places and has taken b as far as `band` ahead of the next row.
struct sweep_state {
    double* x;
    std::size_t row = 0;               // to be visited next
    const row_piece* piece;            // its first
    change_sums first = {}, rest = {}; // of the first group and of the other unknowns
};

static sweep_state open_sweep(const sweep_system& system, double x[])
{
    x[system.n] = 1.0;
    std::copy_n(system.b, system.band, x);
    return {.x = x, .piece = system.pieces};
}

// x_i of a row of several pieces.
[[gnu::noinline]] static double visit_long_row(const row_piece* first, double xi, double x[], const double x0[])
{
    const row_piece* end = first + 1 + first->more;
    double behind = 0.0;
    for (const row_piece* piece = first; piece != end; ++piece)
        for (int k = 0; k < 3; ++k) behind += piece->value[k] * x0[piece->unknown[k]];
    xi -= behind;
    for (const row_piece* piece = first; piece != end; ++piece)
        for (int k = 0; k < 3; ++k) x[piece->unknown[k]] -= piece->value[k] * xi;
    return xi;
}

// x_i is final once the rows before it have been visited and its own couplings to the previous iterate are subtracted.
//   returns the first piece of the next row
[[gnu::always_inline]] static inline const row_piece* visit_row(const row_piece* piece, std::size_t i, double x[],
                                                                const double x0[])
{
    if (piece->more != 0) [[unlikely]] {
        x[i] = visit_long_row(piece, x[i], x, x0);
        return piece + 1 + piece->more;
    }
    const double a0 = piece->value[0], a1 = piece->value[1], a2 = piece->value[2];
    const std::ptrdiff_t j0 = piece->unknown[0], j1 = piece->unknown[1], j2 = piece->unknown[2];
    const double xi = x[i] - (0.0 + a0 * x0[j0] + a1 * x0[j1] + a2 * x0[j2]);
    x[j0] -= a0 * xi;
    x[j1] -= a1 * xi;
    x[j2] -= a2 * xi;
    x[i] = xi;
    return piece + 1;
}

// Visits the rows up to `end`; with `two`, the next sweep visits as many, so far back that it meets the relaxed iterate
// alone: each row waits for the one before it, and the two sweeps wait side by side. With `take`, the sweep takes b row
// by row, so that no row waits for b; the next sweep always has some left to take.
template <bool two, bool take>
static void visit_rows(const sweep_system& system, sweep_state& s, sweep_state& next, std::size_t end)
{
    const double *b = system.b, *x0 = system.x0;
    double *x = s.x, *x_next = next.x;
    const std::size_t behind = s.row - next.row, band = system.band;
    const row_piece *piece = s.piece, *piece_next = next.piece;
    for (std::size_t i = s.row; i < end; ++i) {
        __builtin_prefetch(piece + pieces_ahead);
        if (take) x[i + band] = b[i + band];
        piece = visit_row(piece, i, x, x0);
        if (two) {
            x_next[i - behind + band] = b[i - behind + band];
            piece_next = visit_row(piece_next, i - behind, x_next, x0);
        }
    }
    s.piece = piece;
    if (two) next.piece = piece_next;
}

// The sums and the relaxed iterate of the rows visited.
static void close_rows(const sweep_system& system, sweep_state& s, std::size_t end)
{
    const std::size_t split = std::clamp(system.group, s.row, end);
    system.kernel.relax(s.first.change, s.first.size, system.omega, s.x, system.x0, s.row, split);
    system.kernel.relax(s.rest.change, s.rest.size, system.omega, s.x, system.x0, split, end);
    s.row = end;
}

// The next rows of a sweep, not beyond `limit`; with `two`, as many of the next sweep.
template <bool two>
static void step_on(const sweep_system& system, sweep_state& s, sweep_state& next, std::size_t limit)
{
    const std::size_t all_taken = system.n - system.band; // from this row on nothing of b is left
    const bool take = s.row < all_taken;
    const std::size_t first = s.row, end = std::min({first + rows_of_a_step, limit, take ? all_taken : limit});
    if (take)
        visit_rows<two, true>(system, s, next, end);
    else
        visit_rows<two, false>(system, s, next, end);
    close_rows(system, s, end);
    if (two) close_rows(system, next, next.row + (end - first));
}

// One sweep and, with `two`, the next one close behind it: the matrix comes from memory once for both. The next sweep
// keeps so many rows back that what its rows couple has been relaxed.
static void sweep_through(const sweep_system& system, sweep_state& s, sweep_state& next, bool two)
{
    const std::size_t behind = (system.band + rows_of_a_step + sum_parts - 1) / sum_parts * sum_parts;
    const std::size_t alone = two ? std::min(behind, system.n) : system.n;
    while (s.row < alone) step_on<false>(system, s, next, alone);
    while (s.row < system.n) step_on<true>(system, s, next, system.n);
    while (two && next.row < system.n) step_on<false>(system, next, s, system.n);
}

// 0 where a sum counts as zero; a NaN stays one, so that a diverged iterate never counts as converged.
static double relative_change(const change_sums& sums, double eps_zero)
{
    const double change = total(sums.change), size = total(sums.size);
    if (change <= eps_zero || size <= eps_zero) return 0.0;
    return std::sqrt(change) / std::sqrt(size);
}

// Tells the change of a sweep; true where it has converged. The groups are judged apart, the larger change counts.
static bool has_converged(const control& cntl, std::int32_t iter, const sweep_state& s, gathered_lines& lines)
{
    if (iter == 0) return false;
    double eps = relative_change(s.first, cntl.eps_zero);
    const double eps_rest = relative_change(s.rest, cntl.eps_zero);
    if (!(eps_rest <= eps)) eps = eps_rest;
    gather_line(lines, s.row, "      GS solver convergence iter = %d  eps = %s \n", iter, as_e(eps).text);
    return eps < cntl.eps_solv;
}

// Sweeps two by two; `x` is zero on entry.
//   returns the iterate that the last sweep left, `x` or `x_next`
static const double* sweep(const control& cntl, const sweep_system& system, double x[], double x_next[], std::FILE* log)
{
    gathered_lines lines{.log = log};
    const double* last = x;
    system.x0[system.n] = 1.0;
    for (std::int32_t iter = 0; iter < cntl.itermax_solv; iter += 2) {
        sweep_state s = open_sweep(system, x), next = open_sweep(system, x_next);
        const bool two = iter + 1 < cntl.itermax_solv;
        sweep_through(system, s, next, two);
        last = x;
        if (has_converged(cntl, iter, s, lines) || !two) break;
        last = x_next;
        if (has_converged(cntl, iter + 1, next, lines)) break;
    }
    hand_over(lines);
    return last;
}

void t_real_mtsolv_seidel(control cntl, solver_files files, std::FILE* log)
{
    log_lines(log, "    === in func. t_real_mtsolv_seidel ===\n");
    system_head head = read_matrix(cntl, files.index, files.matrix, trailers::read, log);
    matrix_rows& rows = head.rows;
    const auto n = static_cast<std::size_t>(rows.ndim);
    const owned_array<double> uvecr = read_right_side(files.vector, rows.ndim, head.ndim1, log);
    const owned_array<double> xvecr = zero_array<double>(log, "xvecr", n + 1);
    const owned_array<double> xvecr_next = empty_array<double>(log, "xvecr", n + 1);
    const owned_array<double> xvecr0 = zero_array<double>(log, "xvecr0", n + 1);
    scale_system(cntl.eps_zero, rows, uvecr.get(), log);

    double size = 0.0;
    for (std::size_t i = 0; i < n; ++i) size += uvecr[i] * uvecr[i];
    if (size < cntl.eps_zero) {
        log_lines(log, "      Warning. norm of right-side vector is zero.\n");
    } else {
        const matrix_pieces matrix = cut_into_pieces(rows, log);
        const sweep_system system{.n = n,
                                  .group = static_cast<std::size_t>(head.ndim1),
                                  .band = matrix.band,
                                  .pieces = matrix.piece.get(),
                                  .b = uvecr.get(),
                                  .omega = cntl.accel_solv,
                                  .x0 = xvecr0.get(),
                                  .kernel = fastest_vector_kernel()};
        const double* x = sweep(cntl, system, xvecr.get(), xvecr_next.get(), log);
        for (std::size_t i = 0; i < n; ++i) xvecr[i] = rows.amatr[static_cast<std::size_t>(rows.start[i])] * x[i];
    }
    write_solution(files.solution, rows.ndim, xvecr.get(), log);
}

} // namespace tarnel
