#include "solvers/skyline_factor.h"

#include <algorithm>
#include <cmath>

namespace tarnel
{

constexpr std::int32_t most_group_columns = 128;

column_group make_group(std::FILE* log, std::int32_t nband, std::int32_t work_length, const tile_kernel& kernel)
{
    column_group group;
    group.tile_room = (static_cast<std::size_t>(nband) + tile_rows) * tile_rows;
    const auto tiles = static_cast<std::int32_t>(static_cast<std::size_t>(work_length) / 4 / group.tile_room);
    group.most = std::clamp(tiles, 1, most_group_columns / tile_rows) * tile_rows;
    const auto most_tiles = static_cast<std::size_t>(group.most / tile_rows);
    group.packed = zero_array<double>(log, "work2", most_tiles * group.tile_room);
    group.top = zero_array<std::int32_t>(log, "work2", most_tiles);
    group.kernel = &kernel;
    return group;
}

void start_group(column_group& group, std::int32_t first)
{
    group.first = first;
    group.count = 0;
}

static double* tile_of(const column_group& group, std::int32_t m)
{
    return group.packed.get() + static_cast<std::size_t>(m) * group.tile_room;
}

// The topmost row of the columns [first, end).
static std::int32_t tile_top(const skyline_profile& profile, std::int32_t first, std::int32_t end)
{
    std::int32_t top = column_top(profile, first);
    for (std::int32_t i = first + 1; i < end; ++i) top = std::min(top, column_top(profile, i));
    return top;
}

// Starts tile m with zeros in its rows from `zeros` (its top at the earliest) on; returns its topmost row.
static std::int32_t start_tile(const skyline_profile& profile, column_group& group, std::int32_t m, std::int32_t zeros)
{
    const std::int32_t first = group.first + m * tile_rows;
    const std::int32_t top = tile_top(profile, first, std::min(first + tile_rows, profile.ndim));
    group.top[static_cast<std::size_t>(m)] = top;
    double* tile = tile_of(group, m);
    std::fill(tile + static_cast<std::size_t>(std::max(zeros, top) - top) * tile_rows,
              tile + static_cast<std::size_t>(first + tile_rows - top) * tile_rows, 0.0);
    return top;
}

void add_column(const skyline_profile& profile, column_group& group, const double* terms, const double pivots[])
{
    const std::int32_t i = group.first + group.count;
    const std::int32_t m = group.count / tile_rows, slot = group.count % tile_rows;
    if (slot == 0) start_tile(profile, group, m, 0);
    const std::int32_t top = group.top[static_cast<std::size_t>(m)];
    double* w = tile_of(group, m) + slot;
    for (std::int32_t k = column_top(profile, i); k < i; ++k)
        w[static_cast<std::size_t>(k - top) * tile_rows] = terms[i - k] * pivots[k];
    ++group.count;
}

// Up to eight columns j of a block beside one another; those missing stand for the last with nothing of their own.
struct column_set {
    std::int32_t first, count;
    std::int32_t top[tile_columns]; // topmost row of each
    std::int32_t highest, lowest;   // of the tops
    double* diagonal[tile_columns]; // term of row i at diagonal[c][first - i]
    const double* longest;          // of these, that of a highest top
};

static void take_columns(const skyline_profile& profile, const skyline_block& block, std::int32_t j, std::int32_t count,
                         column_set& set)
{
    set.first = j;
    set.count = count;
    for (std::int32_t c = 0; c < tile_columns; ++c) {
        const std::int32_t column = j + std::min(c, count - 1);
        set.top[c] = column_top(profile, column);
        set.diagonal[c] = block_column(profile, block, column) + (column - j);
    }
    const std::int32_t* highest = std::min_element(set.top, set.top + tile_columns);
    set.highest = *highest;
    set.longest = set.diagonal[highest - set.top];
    set.lowest = *std::max_element(set.top, set.top + tile_columns);
}

// Adds the rows [from, end) to the sums of a tile, as far as the tile and each column reach up.
static void add_rows(const column_group& group, std::int32_t m, const column_set& set, std::int32_t from,
                     std::int32_t end, double sums[tile_columns][tile_rows])
{
    constexpr std::int32_t most_alone = 16; // rows that columns which began higher up may have to themselves
    const std::int32_t w_top = group.top[static_cast<std::size_t>(m)];
    const double* u[tile_columns];
    std::ptrdiff_t begin[tile_columns];
    std::int32_t to = end;
    for (from = std::max({from, w_top, set.highest}); from < end; from = to, to = end) {
        const bool all = set.lowest <= from;
        for (std::int32_t c = 0; !all && c < tile_columns; ++c) {
            begin[c] = std::max(0, set.top[c] - from);
            if (begin[c] > most_alone) to = std::min(to, set.top[c]);
        }
        for (std::int32_t c = 0; c < tile_columns; ++c)
            u[c] = (all || begin[c] < to - from ? set.diagonal[c] : set.longest) + (set.first - from);
        group.kernel->add_columns(to - from, tile_of(group, m) + static_cast<std::size_t>(from - w_top) * tile_rows, u,
                                  all ? nullptr : begin, sums);
    }
}

// Finishes the rows of tile m in the columns, their sums over the rows before it being complete.
static void finish_rows(const column_group& group, std::int32_t m, std::int32_t rows, const column_set& set,
                        const double pivots[], const double sums[tile_columns][tile_rows])
{
    const std::int32_t first = group.first + m * tile_rows;
    const std::int32_t w_top = group.top[static_cast<std::size_t>(m)];
    double* u[tile_columns];
    for (std::int32_t c = 0; c < tile_columns; ++c) u[c] = set.diagonal[c] + (set.first - first);
    int top[tile_columns];
    for (std::int32_t c = 0; c < tile_columns; ++c) top[c] = c < set.count ? set.top[c] - first : rows;
    group.kernel->finish_rows(rows, tile_of(group, m) + static_cast<std::size_t>(first - w_top) * tile_rows,
                              pivots + first, u, top, sums);
}

// Finishes the rows of the tiles [m_first, m_end) of a group in the columns [from, end) of a block.
static void apply_tiles(const skyline_profile& profile, const column_group& group, std::int32_t m_first,
                        std::int32_t m_end, const skyline_block& block, std::int32_t from, std::int32_t end,
                        const double pivots[])
{
    constexpr std::int32_t rows_at_a_time = 192; // of the columns, which every tile passes while they are in cache
    const std::int32_t rows_first = group.first + m_first * tile_rows;
    const std::int32_t rows_end = std::min(group.first + m_end * tile_rows, group.first + group.count);
    const std::int32_t group_top = *std::min_element(group.top.get() + m_first, group.top.get() + m_end);
    column_set set;
    for (std::int32_t j = from; j < end; j += tile_columns) {
        take_columns(profile, block, j, std::min(tile_columns, end - j), set);
        if (set.highest >= rows_end) continue; // these columns do not reach up to the group
        double sums[most_group_columns / tile_rows][tile_columns][tile_rows] = {};
        for (std::int32_t k = std::max(group_top, set.highest); k < rows_first; k += rows_at_a_time)
            for (std::int32_t m = m_first; m < m_end; ++m)
                add_rows(group, m, set, k, std::min(k + rows_at_a_time, rows_first), sums[m]);
        for (std::int32_t m = m_first; m < m_end; ++m) {
            const std::int32_t first = group.first + m * tile_rows;
            const std::int32_t rows = std::min(tile_rows, rows_end - first);
            if (set.highest >= first + rows) continue;
            add_rows(group, m, set, rows_first, first, sums[m]);
            finish_rows(group, m, rows, set, pivots, sums[m]);
        }
    }
}

void apply_group(const skyline_profile& profile, const column_group& group, const skyline_block& block,
                 const double pivots[])
{
    if (group.count == 0) return;
    const std::int32_t tiles = (group.count + tile_rows - 1) / tile_rows;
    const std::int32_t from = std::max(block.first, group.first + group.count);
    apply_tiles(profile, group, 0, tiles, block, from, block.end, pivots);
}

// The pivot of column j once its rows are finished, with the sum over the rows before the tile.
static double finish_pivot(double diagonal, double sum, std::int32_t j, double eps_zero, std::FILE* log)
{
    const double pivot = diagonal - sum;
    if (!(std::fabs(pivot) >= eps_zero))
        fail(log,
             "      Error. The global matrix is singular.\n"
             "             unknown no. = %d \n",
             j);
    return pivot;
}

// w[k][i] = u_ki d_k for the columns of a tile and the rows from its top to its first column, and the sums of
// (u_ki u_ki) d_k; a few rows at a time, so that they are turned in cache.
static void pack_tile(const skyline_profile& profile, const skyline_block& block, std::int32_t first,
                      std::int32_t columns, std::int32_t top, const double pivots[], double* w,
                      double squares[tile_rows])
{
    constexpr std::int32_t rows_at_a_time = 32;
    for (std::int32_t from = top; from < first; from += rows_at_a_time) {
        const std::int32_t end = std::min(from + rows_at_a_time, first);
        double u[rows_at_a_time][tile_rows] = {};
        for (std::int32_t c = 0; c < columns; ++c) {
            const std::int32_t i = first + c;
            const double* terms = block_column(profile, block, i);
            for (std::int32_t k = std::max(from, column_top(profile, i)); k < end; ++k) u[k - from][c] = terms[i - k];
        }
        for (std::int32_t k = from; k < end; ++k, w += tile_rows)
            for (std::int32_t c = 0; c < tile_rows; ++c) {
                const double term = u[k - from][c];
                w[c] = term * pivots[k];
                squares[c] += term * term * pivots[k];
            }
    }
}

// The columns of one tile among themselves: rows before the tile are finished; rows in it and pivots become so.
static void factorise_tile(const skyline_profile& profile, const skyline_block& block, column_group& group,
                           std::int32_t m, std::int32_t columns, double eps_zero, double pivots[], std::FILE* log)
{
    const std::int32_t first = group.first + m * tile_rows;
    const std::int32_t top = start_tile(profile, group, m, first);
    const auto rows_before = static_cast<std::size_t>(first - top);
    double* w = tile_of(group, m);
    double squares[tile_rows] = {}; // sum of (u_kj u_kj) d_k
    pack_tile(profile, block, first, columns, top, pivots, w, squares);
    double sums[tile_rows][tile_rows] = {}; // by column, then row
    column_set set;
    for (std::int32_t c = 0; c < columns; c += tile_columns) {
        take_columns(profile, block, first + c, std::min(tile_columns, columns - c), set);
        add_rows(group, m, set, top, first, sums + c);
    }

    double* in_tile = w + rows_before * tile_rows; // rows of the tile itself
    for (std::int32_t c = 0; c < columns; ++c) {
        const std::int32_t j = first + c;
        double* terms = block_column(profile, block, j);
        for (std::int32_t r = std::max(0, column_top(profile, j) - first); r < c; ++r) {
            const std::int32_t i = first + r;
            const double u = (terms[c - r] - sums[c][r]) / pivots[i];
            terms[c - r] = u;
            in_tile[r * tile_rows + c] = u * pivots[i];
            squares[c] += u * u * pivots[i];
            for (std::int32_t s = r + 1; s < c; ++s) sums[c][s] += in_tile[r * tile_rows + s] * u;
        }
        pivots[j] = terms[0] = finish_pivot(terms[0], squares[c], j, eps_zero, log);
    }
}

void factorise_block(const skyline_profile& profile, const skyline_block& block, column_group& group, double eps_zero,
                     double pivots[], std::FILE* log)
{
    for (std::int32_t first = block.first; first < block.end; first += group.most) {
        const std::int32_t end = std::min(first + group.most, block.end);
        start_group(group, first);
        for (std::int32_t i = first; i < end; i += tile_rows) {
            const std::int32_t m = (i - first) / tile_rows, columns = std::min(tile_rows, end - i);
            factorise_tile(profile, block, group, m, columns, eps_zero, pivots, log);
            group.count = i + columns - first;
            apply_tiles(profile, group, m, m + 1, block, i + columns, end, pivots);
        }
        apply_group(profile, group, block, pivots);
    }
}

} // namespace tarnel
