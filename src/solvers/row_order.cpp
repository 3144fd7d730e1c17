#include "solvers/row_order.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <span>

namespace tarnel
{

constexpr std::int32_t levels_apart = 20;   // that a row stands behind the deepest: neighbours stay close in memory
constexpr std::int32_t rows_of_a_level = 8; // on average, or else rows may stand as far behind as they can
constexpr int groups_open = 64;             // the last groups that a row may still join
constexpr int kinds = 8;                    // groups of one three a row, of two, ... of eight and more

// The unknowns that a row couples below it.
static std::span<const std::int32_t> coupled_by(const matrix_rows& rows, std::size_t i)
{
    return {rows.mindex.get() + rows.start[i] + 1, rows.mindex.get() + rows.start[i + 1]};
}

// The first level, or group, that the row may have: next[j] is that of unknown j for what has been placed so far, and
// one behind the last row that couples j.
static std::int32_t first_free(const matrix_rows& rows, std::size_t i, const std::int32_t next[])
{
    std::int32_t first = next[i];
    for (const std::int32_t j : coupled_by(rows, i)) first = std::max(first, next[j]);
    return first;
}

static void set_next(const matrix_rows& rows, std::size_t i, std::int32_t own, std::int32_t next[])
{
    for (const std::int32_t j : coupled_by(rows, i)) next[j] = own + 1;
}

// Gives each row the first level that it may have and that is at most `apart` behind the deepest so far.
//   returns the deepest, or -1 if it would be beyond `most`
static std::int32_t set_levels(const matrix_rows& rows, std::int32_t apart, std::int32_t most, std::int32_t level[])
{
    const auto n = static_cast<std::size_t>(rows.ndim);
    std::fill(level, level + n, 0); // level is `next` of the rows to come
    std::int32_t deepest = 0;
    for (std::size_t i = 0; i < n; ++i) {
        level[i] = std::max(first_free(rows, i, level), deepest - apart);
        deepest = std::max(deepest, level[i]);
        if (deepest > most) return -1;
        set_next(rows, i, level[i], level);
    }
    return deepest;
}

// The rows sorted by level, of a level those of one three first, as they stand in the matrix. Rows of a level are free
// of each other.
static owned_array<std::int32_t> rows_by_level(std::FILE* log, const char* name, const matrix_rows& rows)
{
    const auto n = static_cast<std::size_t>(rows.ndim);
    const owned_array<std::int32_t> level = empty_array<std::int32_t>(log, name, n);
    std::int32_t deepest = set_levels(rows, levels_apart, rows.ndim / rows_of_a_level, level.get());
    if (deepest < 0) deepest = set_levels(rows, rows.ndim, rows.ndim, level.get());
    const auto shelf = [&](std::size_t i) {
        return 2 * static_cast<std::size_t>(level[i]) + (coupled_by(rows, i).size() > 3 ? 1 : 0);
    };
    const std::size_t shelves = 2 * (static_cast<std::size_t>(deepest) + 1);
    const owned_array<std::int32_t> end = zero_array<std::int32_t>(log, name, shelves + 1); // of the shelf before
    for (std::size_t i = 0; i < n; ++i) ++end[shelf(i) + 1];
    for (std::size_t s = 0; s < shelves; ++s) end[s + 1] += end[s];
    owned_array<std::int32_t> sorted = empty_array<std::int32_t>(log, name, n);
    for (std::size_t i = 0; i < n; ++i)
        sorted[static_cast<std::size_t>(end[shelf(i)]++)] = static_cast<std::int32_t>(i);
    return sorted;
}

// The last groups, each at its number modulo their count.
struct open_groups {
    std::uint64_t open[kinds] = {};        // a bit for each group of the kind that is not full
    std::uint8_t filled[groups_open] = {}; // rows
    std::int32_t groups = 0;               // so far
};
static_assert(groups_open == 64);

// Takes a place in the oldest open group of the kind from `first` on, or in a new one.
static std::int32_t take_place(open_groups& last, std::size_t kind, std::int32_t first)
{
    const std::int32_t oldest = std::max(first, last.groups - groups_open + 1);
    const std::uint64_t from_oldest = std::rotr(last.open[kind], oldest % groups_open);
    std::int32_t group = oldest + std::countr_zero(from_oldest);
    if (group >= last.groups) { // what was open there is too old by now
        group = last.groups++;
        const std::uint64_t bit = std::uint64_t{1} << group % groups_open;
        for (std::uint64_t& open : last.open) open &= ~bit;
        last.open[kind] |= bit;
        last.filled[group % groups_open] = 0;
    }
    std::uint8_t& filled = last.filled[group % groups_open];
    const std::int32_t place = static_cast<std::int32_t>(most_lanes) * group + filled;
    if (++filled == most_lanes) last.open[kind] &= ~(std::uint64_t{1} << group % groups_open);
    return place;
}

// Fills groups with the rows, level by level.
//   returns the groups, or 0 where more than a third of the places would be empty
static std::int32_t fill_groups(std::FILE* log, const char* name, const matrix_rows& rows, std::int32_t place[])
{
    const auto n = static_cast<std::size_t>(rows.ndim);
    const owned_array<std::int32_t> sorted = rows_by_level(log, name, rows);
    const owned_array<std::int32_t> next = zero_array<std::int32_t>(log, name, n);
    const std::size_t most = std::min<std::size_t>((n + n / 2) / most_lanes + 8, INT32_MAX / 8);
    open_groups last;
    for (std::size_t k = 0; k < n; ++k) {
        const auto i = static_cast<std::size_t>(sorted[k]);
        const std::int64_t threes = threes_for(rows.start[i + 1] - rows.start[i] - 1);
        const auto kind = static_cast<std::size_t>(std::min<std::int64_t>(threes, kinds) - 1);
        place[i] = take_place(last, kind, first_free(rows, i, next.get()));
        if (static_cast<std::size_t>(last.groups) > most) return 0;
        set_next(rows, i, place[i] / static_cast<std::int32_t>(most_lanes), next.get());
    }
    return last.groups;
}

// Empty places hold ndim.
static void set_rows(std::FILE* log, const char* name, std::size_t n, row_order& order)
{
    order.row = empty_array<std::int32_t>(log, name, order.places);
    std::int32_t* row = order.row.get();
    std::fill(row, row + order.places, static_cast<std::int32_t>(n));
    for (std::size_t i = 0; i < n; ++i) row[order.place[i]] = static_cast<std::int32_t>(i);
}

row_order order_rows(std::FILE* log, const char* name, const matrix_rows& rows)
{
    const auto n = static_cast<std::size_t>(rows.ndim);
    row_order order{.lanes = most_lanes, .place = empty_array<std::int32_t>(log, name, n), .row = {}};
    const auto groups = static_cast<std::size_t>(fill_groups(log, name, rows, order.place.get()));
    if (groups == 0) return rows_as_they_stand(log, name, n);
    order.places = (groups + 1) / 2 * 2 * most_lanes;
    set_rows(log, name, n, order);
    return order;
}

row_order rows_as_they_stand(std::FILE* log, const char* name, std::size_t n)
{
    row_order order{.lanes = 1, .places = n, .place = empty_array<std::int32_t>(log, name, n), .row = {}};
    std::iota(order.place.get(), order.place.get() + n, 0);
    set_rows(log, name, n, order);
    return order;
}

} // namespace tarnel
