#include "common/number_index.h"

#include <algorithm>

namespace tarnel
{

// Sorted by number and, within a number, by place; the last place of each number is kept.
static void sort_places(std::FILE* log, const char* name, number_index& index)
{
    const std::size_t n = index.numbers.size;
    index.sorted = zero_array<numbered_place>(log, name, n);
    for (std::size_t k = 0; k < n; ++k) index.sorted[k] = {index.numbers.values[k], static_cast<std::int32_t>(k)};
    std::sort(index.sorted.get(), index.sorted.get() + n, [](const numbered_place& a, const numbered_place& b) {
        return a.number != b.number ? a.number < b.number : a.place < b.place;
    });
    std::size_t kept = 0;
    for (std::size_t k = 0; k < n; ++k)
        if (k + 1 == n || index.sorted[k + 1].number != index.sorted[k].number) index.sorted[kept++] = index.sorted[k];
    index.count = static_cast<std::int32_t>(kept);
}

void finish_index(std::FILE* log, const char* name, number_index& index)
{
    const std::size_t n = index.numbers.size;
    index.count = static_cast<std::int32_t>(n);
    index.direct.reset(); // of an earlier finish
    if (!index.ascending) sort_places(log, name, index);
    index.first = n > 0 ? static_cast<std::uint32_t>(index.numbers.values[0]) : 0;
    index.run = index.without_gaps ? static_cast<std::uint32_t>(n) : 0;
    if (index.without_gaps) return;
    if (static_cast<std::size_t>(index.largest) > 8 * n + 1024) return; // too sparse: binary search
    index.direct = zero_array<std::int32_t>(log, name, static_cast<std::size_t>(index.largest) + 1);
    for (std::size_t k = 0; k < n; ++k) // the last place stands
        index.direct[static_cast<std::size_t>(index.numbers.values[k])] = static_cast<std::int32_t>(k) + 1;
}

std::int32_t search_place(const number_index& index, std::int32_t number)
{
    if (number < 1 || number > index.largest) return -1; // so that a search below ends at a number
    if (index.direct != nullptr) return index.direct[static_cast<std::size_t>(number)] - 1;
    if (index.ascending) {
        const std::int32_t* begin = index.numbers.values.get();
        const std::int32_t* end = begin + index.count;
        const std::int32_t* at = std::lower_bound(begin, end, number);
        return *at == number ? static_cast<std::int32_t>(at - begin) : -1;
    }
    const numbered_place* begin = index.sorted.get();
    const numbered_place* end = begin + index.count;
    const numbered_place* at = std::lower_bound(
        begin, end, number, [](const numbered_place& place, std::int32_t wanted) { return place.number < wanted; });
    return at->number == number ? at->place : -1;
}

} // namespace tarnel
