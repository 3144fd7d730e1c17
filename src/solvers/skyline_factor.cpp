#include "solvers/skyline_factor.h"

#include <algorithm>
#include <cstring>

namespace tarnel
{

constexpr std::int32_t most_group_columns = 64; // of a thousand rows they stay in a cache of 1 MB

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

// Starts tile m; returns its topmost row.
static std::int32_t start_tile(const skyline_profile& profile, column_group& group, std::int32_t m)
{
    const std::int32_t first = group.first + m * tile_rows;
    return group.top[static_cast<std::size_t>(m)] = tile_top(profile, first, std::min(first + tile_rows, profile.ndim));
}

void add_column(const skyline_profile& profile, column_group& group, const double* terms, const double pivots[])
{
    const std::int32_t i = group.first + group.count;
    const std::int32_t m = group.count / tile_rows, slot = group.count % tile_rows;
    if (slot == 0)
        std::fill_n(tile_of(group, m),
                    static_cast<std::size_t>(i + tile_rows - start_tile(profile, group, m)) * tile_rows, 0.0);
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
    const bool whole = rows == tile_rows && set.count == tile_columns && set.lowest <= first;
    int top[tile_columns];
    for (std::int32_t c = 0; !whole && c < tile_columns; ++c) top[c] = c < set.count ? set.top[c] - first : rows;
    group.kernel->finish_rows(rows, tile_of(group, m) + static_cast<std::size_t>(first - w_top) * tile_rows,
                              pivots + first, u, whole ? nullptr : top, sums);
}

// Finishes the rows of the tiles [m_first, m_end) of a group in the columns [from, end) of a block.
static void apply_tiles(const skyline_profile& profile, const column_group& group, std::int32_t m_first,
                        std::int32_t m_end, const skyline_block& block, std::int32_t from, std::int32_t end,
                        const double pivots[])
{
    constexpr std::int32_t rows_at_a_time = 256; // of the columns, which every tile passes while they are in cache
    const std::int32_t rows_first = group.first + m_first * tile_rows;
    const std::int32_t rows_end = std::min(group.first + m_end * tile_rows, group.first + group.count);
    const std::int32_t group_top = *std::min_element(group.top.get() + m_first, group.top.get() + m_end);
    if (end - rows_end >= profile.nband) end = rows_end + profile.nband - 1; // none beyond reaches up to the group
    column_set set;
    alignas(64) double sums[most_group_columns / tile_rows][tile_columns][tile_rows];
    for (std::int32_t j = from; j < end; j += tile_columns) {
        take_columns(profile, block, j, std::min(tile_columns, end - j), set);
        if (set.highest >= rows_end) continue; // these columns do not reach up to the group
        std::memset(sums[m_first], 0, static_cast<std::size_t>(m_end - m_first) * sizeof sums[0]);
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

// The columns of one tile among themselves: rows before the tile are finished; rows in it and pivots become so.
static void factorise_tile(const skyline_profile& profile, const skyline_block& block, column_group& group,
                           std::int32_t m, std::int32_t columns, double eps_zero, double pivots[], std::FILE* log)
{
    const std::int32_t first = group.first + m * tile_rows;
    const std::int32_t top = start_tile(profile, group, m);
    double* w = tile_of(group, m);
    double* u[tile_rows]; // those missing stand for the last with nothing of their own
    int top_in_tile[tile_rows];
    std::ptrdiff_t begin[tile_rows];
    for (std::int32_t c = 0; c < tile_rows; ++c) {
        const std::int32_t i = first + std::min(c, columns - 1);
        u[c] = block_column(profile, block, i) + (i - first);
        top_in_tile[c] = column_top(profile, i) - first;
        begin[c] = c < columns ? column_top(profile, i) - top : first - top;
    }
    const double* above[tile_rows];
    for (std::int32_t c = 0; c < tile_rows; ++c) above[c] = u[c] + (first - top);
    double squares[tile_rows] = {}; // sums of (u_kj u_kj) d_k
    group.kernel->pack_columns(first - top, above, begin, pivots + top, w, squares);
    alignas(64) double sums[tile_rows][tile_rows] = {}; // by column, then row
    column_set set;
    for (std::int32_t c = 0; c < columns; c += tile_columns) {
        take_columns(profile, block, first + c, std::min(tile_columns, columns - c), set);
        add_rows(group, m, set, top, first, sums + c);
    }
    const int done = group.kernel->factorise_tile(columns, eps_zero, u, top_in_tile,
                                                  w + static_cast<std::size_t>(first - top) * tile_rows, pivots + first,
                                                  squares, sums);
    if (done < columns)
        fail(log,
             "      Error. The global matrix is singular.\n"
             "             unknown no. = %d \n",
             first + done);
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
