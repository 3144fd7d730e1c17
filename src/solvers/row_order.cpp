#include "solvers/row_order.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <span>

namespace tarnel
{

constexpr int kinds = 8;                  // of rows: of one three, of two, ... of eight and more
constexpr std::size_t groups_between = 2; // a row and those it waits for, where there is a choice: what they store is
                                          // at hand only some time later

// The unknowns that a row couples below it.
static std::span<const std::int32_t> coupled_by(const matrix_rows& rows, std::size_t i)
{
    return {rows.mindex.get() + rows.start[i] + 1, rows.mindex.get() + rows.start[i + 1]};
}

// What each row waits for. The rows that couple an unknown, and its own row behind them, follow one another.
struct followers {
    owned_array<std::int32_t> row;   // that follows at the unknown of each coupling; behind a row that couples itself,
                                     // which a damaged file may hold, the row itself
    owned_array<std::int32_t> waits; // couplings that each row follows
};

static followers find_followers(std::FILE* log, const char* name, const matrix_rows& rows)
{
    const auto n = static_cast<std::size_t>(rows.ndim);
    const std::int64_t terms = rows.start[n];
    followers next{.row = empty_array<std::int32_t>(log, name, static_cast<std::size_t>(terms) + 1),
                   .waits = empty_array<std::int32_t>(log, name, n)};
    const owned_array<std::int64_t> last = empty_array<std::int64_t>(log, name, n); // term that couples each unknown
    std::fill(last.get(), last.get() + n, terms);                                   // none: a term behind them all
    for (std::size_t i = 0; i < n; ++i) {
        next.row[static_cast<std::size_t>(last[i])] = static_cast<std::int32_t>(i);
        std::int32_t waits = last[i] < terms ? 1 : 0;
        std::int64_t term = rows.start[i];
        for (const std::int32_t j : coupled_by(rows, i)) {
            std::int64_t& last_of_j = last[static_cast<std::size_t>(j)];
            next.row[static_cast<std::size_t>(last_of_j)] = static_cast<std::int32_t>(i);
            waits += last_of_j < terms ? 1 : 0;
            last_of_j = ++term;
            next.row[static_cast<std::size_t>(term)] = static_cast<std::int32_t>(i);
        }
        next.waits[i] = waits;
    }
    return next;
}

// A set of rows of which the lowest is at hand: a bit for each row, a bit for each word of them that is not empty, and
// so on up to a single word.
struct row_set {
    std::uint64_t* level[6]; // 64 to the 6 is more than all rows
    int levels;
    std::size_t size;
};

static std::size_t words_for(std::size_t n)
{
    return n / 64 + 1;
}

static void add_row(row_set& set, std::size_t i)
{
    ++set.size;
    for (int level = 0; level < set.levels; ++level) {
        set.level[level][i / 64] |= std::uint64_t{1} << i % 64;
        i /= 64;
    }
}

static std::size_t take_lowest(row_set& set)
{
    --set.size;
    std::size_t i = 0;
    for (int level = set.levels; level-- > 0;)
        i = 64 * i + static_cast<std::size_t>(std::countr_zero(set.level[level][i]));
    bool empty = true; // what stands below
    for (std::size_t level = 0, at = i / 64; level < static_cast<std::size_t>(set.levels); ++level, at /= 64) {
        std::uint64_t& word = set.level[level][at];
        word = empty ? word & (word - 1) : word;
        empty = word == 0;
    }
    return i;
}

// The rows that may be placed, by kind.
struct free_rows {
    owned_array<std::uint64_t> words;
    row_set of_kind[kinds];
};

static free_rows no_rows(std::FILE* log, const char* name, std::size_t n)
{
    std::size_t words = 0;
    int levels = 0;
    for (std::size_t bits = n; levels == 0 || bits > 1; ++levels) words += bits = words_for(bits);
    free_rows free{.words = zero_array<std::uint64_t>(log, name, words * kinds), .of_kind = {}};
    std::uint64_t* at = free.words.get();
    for (row_set& set : free.of_kind) {
        set.levels = levels;
        std::size_t bits = n;
        for (int level = 0; level < levels; ++level) {
            set.level[level] = at;
            at += bits = words_for(bits);
        }
    }
    return free;
}

static void add_free(free_rows& free, const matrix_rows& rows, std::size_t i)
{
    const std::int64_t threes = threes_for(rows.start[i + 1] - rows.start[i] - 1);
    add_row(free.of_kind[std::min<std::int64_t>(threes, kinds) - 1], i);
}

// The longest kind of so many rows, or null.
static row_set* longest(free_rows& free, std::size_t size)
{
    for (int kind = kinds; kind-- > 0;)
        if (free.of_kind[kind].size >= size) return &free.of_kind[kind];
    return nullptr;
}

// Fills group after group with the lowest rows of one kind, so that neighbours stay close in memory.
//   returns the groups, or 0 where more than a third of the places would be empty, or a row waits for itself because it
//           couples an unknown twice
static std::int32_t fill_groups(std::FILE* log, const char* name, const matrix_rows& rows, std::int32_t place[])
{
    const auto n = static_cast<std::size_t>(rows.ndim);
    const auto most = static_cast<std::int32_t>(std::min<std::size_t>((n + n / 2) / most_lanes + 8, INT32_MAX / 8));
    const followers next = find_followers(log, name, rows);
    free_rows free = no_rows(log, name, n);
    const owned_array<std::int32_t> line = empty_array<std::int32_t>(log, name, n + 1); // rows as they became free
    std::size_t end = 0, taken = 0;         // of the line; those of it that are in `free`
    std::size_t end_before[groups_between]; // its end before each of the last groups was placed
    const auto join = [&](std::size_t i) {
        line[end] = static_cast<std::int32_t>(i);
        end += static_cast<std::size_t>(next.waits[i] == 0);
    };
    for (std::size_t i = 0; i < n; ++i) join(i);
    std::fill(end_before, end_before + groups_between, end);
    std::int32_t groups = 0;
    for (std::size_t placed = 0; placed < n; ++groups) {
        if (groups == most) return 0;
        std::size_t& ripe = end_before[static_cast<std::size_t>(groups) % groups_between];
        while (taken < ripe) add_free(free, rows, static_cast<std::size_t>(line[taken++]));
        row_set* kind = longest(free, most_lanes);
        for (; kind == nullptr && taken < end; kind = longest(free, most_lanes))
            add_free(free, rows, static_cast<std::size_t>(line[taken++]));
        ripe = end;
        for (std::size_t lane = 0; lane < most_lanes; ++lane) {
            row_set* from = kind != nullptr ? kind : longest(free, 1);
            if (from == nullptr) break;
            const std::size_t i = take_lowest(*from);
            place[i] = groups * static_cast<std::int32_t>(most_lanes) + static_cast<std::int32_t>(lane);
            ++placed;
            for (std::int64_t k = rows.start[i] + 1; k < rows.start[i + 1]; ++k) {
                const auto follower = static_cast<std::size_t>(next.row[static_cast<std::size_t>(k)]);
                --next.waits[follower];
                join(follower);
            }
        }
    }
    return groups;
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
