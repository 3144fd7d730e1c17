#include "solvers/couplings.h"

#include <algorithm>

namespace tarnel
{

constexpr std::size_t room = 3 * static_cast<std::size_t>(threes_ahead); // places before the first and behind the last

coupling_pattern make_coupling_pattern(std::FILE* log, const char* name, const matrix_rows& rows)
{
    coupling_pattern pattern;
    pattern.n = static_cast<std::size_t>(rows.ndim);
    for (std::int32_t i = 0; i < rows.ndim; ++i) pattern.count += threes_for(terms_of(rows, i) - 1);
    const std::size_t places = static_cast<std::size_t>(pattern.count) * 3;
    pattern.opens = zero_array<std::uint8_t>(log, name, static_cast<std::size_t>(pattern.count) + 1);
    pattern.opens[static_cast<std::size_t>(pattern.count)] = 1;
    pattern.unknown = empty_array<std::int32_t>(log, name, places + 2 * room);
    pattern.reach = zero_array<std::int32_t>(log, name, pattern.n / rows_of_a_block + 1);
    std::int32_t reach = 0;
    std::size_t place = room;
    for (std::size_t i = 0; i < pattern.n; ++i) {
        pattern.opens[place / 3 - static_cast<std::size_t>(threes_ahead)] = 1;
        const std::int32_t* columns = rows.mindex.get() + rows.start[i] + 1;
        const std::int64_t terms = rows.start[i + 1] - rows.start[i] - 1;
        const std::size_t end = place + static_cast<std::size_t>(threes_for(terms)) * 3;
        std::int32_t* fillers = std::copy_n(columns, terms, pattern.unknown.get() + place);
        std::fill(fillers, pattern.unknown.get() + end, rows.ndim);
        place = end;
        for (std::int64_t k = 0; k < terms; ++k) reach = std::max(reach, columns[k] + 1);
        pattern.reach[i / rows_of_a_block] = reach;
    }
    return pattern;
}

std::size_t reach_of(const coupling_pattern& pattern, std::size_t first, std::size_t pieces)
{
    const std::size_t end =
        std::max(first + rows_of_a_block, static_cast<std::size_t>(pattern.reach[first / rows_of_a_block]));
    return std::min((end + pieces - 1) / pieces * pieces, pattern.n);
}

owned_array<double> make_coupling_values(std::FILE* log, const char* name, const coupling_pattern& pattern,
                                         const matrix_rows& rows, const double values[])
{
    const std::size_t places = static_cast<std::size_t>(pattern.count) * 3;
    owned_array<double> threes = empty_array<double>(log, name, places + 2 * room);
    std::size_t place = room;
    for (std::size_t i = 0; i < pattern.n; ++i) {
        const std::int64_t terms = rows.start[i + 1] - rows.start[i] - 1;
        const std::size_t end = place + static_cast<std::size_t>(threes_for(terms)) * 3;
        double* own = std::copy_n(values + rows.start[i] + 1, terms, threes.get() + place);
        std::fill(own, threes.get() + end, -0.0);
        place = end;
    }
    return threes;
}

} // namespace tarnel
