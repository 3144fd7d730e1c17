#include "solvers/couplings.h"

#include <algorithm>

namespace tarnel
{

// Places of terms before the first and behind the last.
static std::size_t room_of(const coupling_pattern& pattern)
{
    return 3 * static_cast<std::size_t>(threes_ahead) * pattern.lanes;
}

// Places of the terms.
static std::size_t terms_of(const coupling_pattern& pattern)
{
    return 3 * pattern.threes * pattern.lanes;
}

static std::int64_t couplings_of(const matrix_rows& rows, const row_order& order, std::size_t place)
{
    const std::int32_t i = order.row[place];
    return i < rows.ndim ? terms_of(rows, i) - 1 : 0;
}

static std::int64_t threes_of_group(const matrix_rows& rows, const row_order& order, std::size_t group)
{
    std::int64_t threes = 1;
    for (std::size_t lane = 0; lane < order.lanes; ++lane)
        threes = std::max(threes, threes_for(couplings_of(rows, order, group * order.lanes + lane)));
    return threes;
}

// Visits the places of the terms, group by group and in a group row by row: with the place of the group and the term's
// index in the rows, or -1 for a filler.
template <class visit>
static void for_each_place(const coupling_pattern& pattern, const matrix_rows& rows, const row_order& order, visit each)
{
    const std::size_t lanes = pattern.lanes;
    std::size_t at = room_of(pattern);
    const std::int32_t* of_three = pattern.place.get() + 1;
    for (std::size_t group = 0; group < pattern.places; group += lanes) {
        std::int64_t terms = 0; // of a row, fillers counted
        while (static_cast<std::size_t>(*of_three) == group) ++of_three, terms += 3;
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            const std::int64_t count = couplings_of(rows, order, group + lane);
            const std::int64_t first =
                count > 0 ? rows.start[static_cast<std::size_t>(order.row[group + lane])] + 1 : 0;
            std::size_t to = at + lane;
            for (std::int64_t k = 0; k < count; ++k, to += lanes) each(to, group, first + k);
            for (std::int64_t k = count; k < terms; ++k, to += lanes) each(to, group, -1);
        }
        at += static_cast<std::size_t>(terms) * lanes;
    }
}

coupling_pattern make_coupling_pattern(std::FILE* log, const char* name, const matrix_rows& rows,
                                       const row_order& order)
{
    coupling_pattern pattern;
    pattern.lanes = order.lanes;
    pattern.places = order.places;
    const std::int32_t* place = order.place.get();
    const std::int32_t* columns = rows.mindex.get();
    const std::size_t groups = order.places / order.lanes;
    const auto couplings = static_cast<std::size_t>(rows.start[static_cast<std::size_t>(rows.ndim)] - rows.ndim);
    pattern.place = empty_array<std::int32_t>(log, name, groups + couplings / 3 + 2); // at most so many
    std::int32_t* of_three = pattern.place.get();
    *of_three++ = -1;
    for (std::size_t group = 0; group < groups; ++group)
        of_three =
            std::fill_n(of_three, threes_of_group(rows, order, group), static_cast<std::int32_t>(group * order.lanes));
    *of_three = static_cast<std::int32_t>(order.places);
    pattern.threes = static_cast<std::size_t>(of_three - pattern.place.get()) - 1;
    if (terms_of(pattern) * (sizeof(double) + sizeof(std::int32_t)) > near_bytes) pattern.from = terms_from::memory;
    pattern.unknown = empty_array<std::int32_t>(log, name, terms_of(pattern) + 2 * room_of(pattern));
    pattern.reach = zero_array<std::int32_t>(log, name, pattern.places / rows_of_a_block + 1);
    std::int32_t reach = 0;
    std::size_t fillers = 0;
    for_each_place(pattern, rows, order, [&](std::size_t at, std::size_t of_row, std::int64_t term) {
        if (term < 0) {
            pattern.unknown[at] = static_cast<std::int32_t>(pattern.places + fillers++ % spare_places);
            return;
        }
        pattern.unknown[at] = place[columns[term]];
        reach = std::max(reach, pattern.unknown[at] + 1);
        pattern.reach[of_row / rows_of_a_block] = reach;
    });
    for (std::size_t block = 1; block < pattern.places / rows_of_a_block + 1; ++block)
        pattern.reach[block] = std::max(pattern.reach[block], pattern.reach[block - 1]);
    return pattern;
}

owned_array<double> make_coupling_values(std::FILE* log, const char* name, const coupling_pattern& pattern,
                                         const matrix_rows& rows, const row_order& order, const double values[])
{
    owned_array<double> all = empty_array<double>(log, name, terms_of(pattern) + 2 * room_of(pattern));
    for_each_place(pattern, rows, order,
                   [&](std::size_t at, std::size_t, std::int64_t term) { all[at] = term < 0 ? -0.0 : values[term]; });
    return all;
}

coupling_at first_group(const coupling_pattern& pattern, const double values[])
{
    return {pattern.place.get() + 1, pattern.unknown.get() + room_of(pattern), values + room_of(pattern)};
}

coupling_at end_of_groups(const coupling_pattern& pattern, const double values[])
{
    const std::size_t end = room_of(pattern) + terms_of(pattern);
    return {pattern.place.get() + 1 + pattern.threes, pattern.unknown.get() + end, values + end};
}

std::size_t reach_of(const coupling_pattern& pattern, std::size_t first, std::size_t pieces)
{
    const std::size_t end =
        std::max(first + rows_of_a_block, static_cast<std::size_t>(pattern.reach[first / rows_of_a_block]));
    return std::min((end + pieces - 1) / pieces * pieces, pattern.places);
}

} // namespace tarnel
