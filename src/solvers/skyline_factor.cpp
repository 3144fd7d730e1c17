#include "solvers/skyline_factor.h"

#include <algorithm>
#include <cmath>

namespace tarnel
{

constexpr std::int32_t most_group_columns = 64;

column_group make_group(std::FILE* log, std::int32_t nband, std::int32_t work_length, tile_product product)
{
    column_group group;
    group.tile_room = (static_cast<std::size_t>(nband) + tile_rows) * tile_rows;
    const auto tiles = static_cast<std::int32_t>(static_cast<std::size_t>(work_length) / 4 / group.tile_room);
    group.most = std::clamp(tiles, 1, most_group_columns / tile_rows) * tile_rows;
    const auto most_tiles = static_cast<std::size_t>(group.most / tile_rows);
    group.packed = zero_array<double>(log, "work2", most_tiles * group.tile_room);
    group.top = zero_array<std::int32_t>(log, "work2", most_tiles);
    group.panel = zero_array<double>(
        log, "work2", (static_cast<std::size_t>(nband) + static_cast<std::size_t>(group.most)) * tile_columns);
    group.product = product;
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

static void start_tile(const skyline_profile& profile, column_group& group, std::int32_t m)
{
    const std::int32_t first = group.first + m * tile_rows;
    const std::int32_t end = std::min(first + tile_rows, profile.ndim);
    const std::int32_t top = tile_top(profile, first, end);
    group.top[static_cast<std::size_t>(m)] = top;
    double* tile = tile_of(group, m);
    std::fill(tile, tile + static_cast<std::size_t>(first + tile_rows - top) * tile_rows, 0.0);
}

// w[k][i] = u_ki d_k for the rows [from, end) of column i.
static void pack_rows(const skyline_profile& profile, const column_group& group, std::int32_t i, std::int32_t from,
                      std::int32_t end, const double* terms, const double pivots[])
{
    const std::int32_t m = (i - group.first) / tile_rows, slot = (i - group.first) % tile_rows;
    const std::int32_t top = group.top[static_cast<std::size_t>(m)];
    double* w = tile_of(group, m) + slot;
    for (std::int32_t k = std::max(from, column_top(profile, i)); k < end; ++k)
        w[static_cast<std::size_t>(k - top) * tile_rows] = terms[i - k] * pivots[k];
}

void add_column(const skyline_profile& profile, column_group& group, const double* terms, const double pivots[])
{
    const std::int32_t i = group.first + group.count;
    if (group.count % tile_rows == 0) start_tile(profile, group, group.count / tile_rows);
    pack_rows(profile, group, i, 0, i, terms, pivots);
    ++group.count;
}

// Eight columns j, k by k from row `from`: finished terms up to row `finished`, zeros from there to row `end` and above
// each column's top.
static void pack_panel(const skyline_profile& profile, const skyline_block& block, std::int32_t j, std::int32_t columns,
                       std::int32_t from, std::int32_t finished, std::int32_t end, double* panel)
{
    constexpr std::int32_t rows_at_a_time = 32; // so that a line of the panel is written while it is in cache
    for (std::int32_t first = from; first < end; first += rows_at_a_time) {
        const std::int32_t last = std::min(first + rows_at_a_time, end);
        double* to = panel + static_cast<std::size_t>(first - from) * tile_columns;
        for (std::int32_t c = 0; c < tile_columns; ++c) {
            const std::int32_t top = c < columns ? std::clamp(column_top(profile, j + c), first, last) : last;
            const std::int32_t bottom = std::clamp(finished, top, last);
            std::int32_t k = first;
            for (; k < top; ++k) to[(k - first) * tile_columns + c] = 0.0;
            if (k < bottom) {
                const double* terms = block_column(profile, block, j + c);
                for (; k < bottom; ++k) to[(k - first) * tile_columns + c] = terms[j + c - k];
            }
            for (; k < last; ++k) to[(k - first) * tile_columns + c] = 0.0;
        }
    }
}

// Rows [first, first + rows) of a tile in up to eight columns: divided by the pivots in turn, each finished row
// entering the panel and the sums of the rows below.
//   w      the tile's rows from `first` on
//   panel  its rows from `from` on
static void finish_rows(const skyline_profile& profile, const skyline_block& block, const double* w, std::int32_t first,
                        std::int32_t rows, std::int32_t j, std::int32_t columns, const double pivots[],
                        const double sums[tile_columns][tile_rows], std::int32_t from, double* panel)
{
    double by_row[tile_rows][tile_columns]; // the sums, so that the columns of a row stand side by side
    for (int r = 0; r < tile_rows; ++r)
        for (int c = 0; c < tile_columns; ++c) by_row[r][c] = sums[c][r];
    double* column[tile_columns] = {}; // column c's term of row `first`
    std::int32_t top[tile_columns];    // first of the tile's rows that it has
    for (std::int32_t c = 0; c < tile_columns; ++c) {
        top[c] = c < columns ? std::max(0, column_top(profile, j + c) - first) : rows;
        if (c < columns) column[c] = block_column(profile, block, j + c);
    }
    for (std::int32_t r = 0; r < rows; ++r) {
        const std::int32_t i = first + r;
        double term[tile_columns];
        for (std::int32_t c = 0; c < tile_columns; ++c) term[c] = r >= top[c] ? column[c][j + c - i] : 0.0;
        for (std::int32_t c = 0; c < tile_columns; ++c) term[c] = (term[c] - by_row[r][c]) / pivots[i];
        for (std::int32_t c = 0; c < tile_columns; ++c) {
            if (r >= top[c])
                column[c][j + c - i] = term[c];
            else
                term[c] = 0.0;
        }
        if (i >= from) std::copy(term, term + tile_columns, panel + static_cast<std::size_t>(i - from) * tile_columns);
        const double* below = w + static_cast<std::size_t>(r) * tile_rows;
        for (std::int32_t s = r + 1; s < rows; ++s)
            for (std::int32_t c = 0; c < tile_columns; ++c) by_row[s][c] += below[s] * term[c];
    }
}

// Adds the rows [from, end) to the sums of a tile, as far as the tile and the panel reach up.
static void add_rows(const column_group& group, std::int32_t m, std::int32_t from, std::int32_t end, std::int32_t start,
                     const double* panel, double sums[tile_columns][tile_rows])
{
    const std::int32_t w_top = group.top[static_cast<std::size_t>(m)];
    const std::int32_t k = std::max({from, w_top, start});
    if (k >= end) return;
    group.product(static_cast<std::size_t>(end - k),
                  tile_of(group, m) + static_cast<std::size_t>(k - w_top) * tile_rows,
                  panel + static_cast<std::size_t>(k - start) * tile_columns, sums);
}

// Finishes the rows of the tiles [m_first, m_end) of a group in the columns [from, end) of a block.
static void apply_tiles(const skyline_profile& profile, const column_group& group, std::int32_t m_first,
                        std::int32_t m_end, const skyline_block& block, std::int32_t from, std::int32_t end,
                        const double pivots[])
{
    constexpr std::int32_t rows_at_a_time = 192; // of the panel, which every tile passes while they are in cache
    const std::int32_t rows_first = group.first + m_first * tile_rows;
    const std::int32_t rows_end = std::min(group.first + m_end * tile_rows, group.first + group.count);
    const std::int32_t group_top = *std::min_element(group.top.get() + m_first, group.top.get() + m_end);
    double* panel = group.panel.get();
    for (std::int32_t j = from; j < end; j += tile_columns) {
        const std::int32_t columns = std::min(tile_columns, end - j);
        const std::int32_t top = tile_top(profile, j, j + columns);
        if (top >= rows_end) continue; // these columns do not reach up to the group
        const std::int32_t start = std::max(group_top, top);
        pack_panel(profile, block, j, columns, start, rows_first, rows_end, panel);
        double sums[most_group_columns / tile_rows][tile_columns][tile_rows] = {};
        for (std::int32_t k = start; k < rows_first; k += rows_at_a_time)
            for (std::int32_t m = m_first; m < m_end; ++m)
                add_rows(group, m, k, std::min(k + rows_at_a_time, rows_first), start, panel, sums[m]);
        for (std::int32_t m = m_first; m < m_end; ++m) {
            const std::int32_t first = group.first + m * tile_rows;
            const std::int32_t rows = std::min(tile_rows, rows_end - first);
            if (top >= first + rows) continue;
            add_rows(group, m, rows_first, first, start, panel, sums[m]);
            const std::int32_t w_top = group.top[static_cast<std::size_t>(m)];
            finish_rows(profile, block, tile_of(group, m) + static_cast<std::size_t>(first - w_top) * tile_rows, first,
                        rows, j, columns, pivots, sums[m], start, panel);
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

// The columns of one tile among themselves: rows before the tile are finished; rows in it and pivots become so.
static void factorise_tile(const skyline_profile& profile, const skyline_block& block, column_group& group,
                           std::int32_t m, std::int32_t columns, double eps_zero, double pivots[], std::FILE* log)
{
    const std::int32_t first = group.first + m * tile_rows;
    start_tile(profile, group, m);
    const std::int32_t top = group.top[static_cast<std::size_t>(m)];
    double* w = tile_of(group, m);
    for (std::int32_t i = first; i < first + columns; ++i)
        pack_rows(profile, group, i, 0, first, block_column(profile, block, i), pivots);

    double sums[tile_rows][tile_rows] = {}; // by column, then row
    double squares[tile_rows] = {};         // sum of (u_kj u_kj) d_k
    const auto rows_before = static_cast<std::size_t>(first - top);
    double* panel = group.panel.get();
    for (std::int32_t c = 0; c < columns; c += tile_columns) {
        pack_panel(profile, block, first + c, std::min(tile_columns, columns - c), top, first, first, panel);
        group.product(rows_before, w, panel, sums + c);
        for (std::size_t k = 0; k < rows_before; ++k)
            for (std::size_t s = 0; s < tile_columns; ++s) {
                const double u = panel[k * tile_columns + s];
                squares[static_cast<std::size_t>(c) + s] += u * u * pivots[static_cast<std::size_t>(top) + k];
            }
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
