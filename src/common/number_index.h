// From numbers to places. Node, property and coordinate system numbers may have gaps, stand in any order and repeat;
// tables are sized by the records that exist, and this index says where a number's record stands. Numbered lists that
// run on without a gap, the usual case, cost a subtraction.
#pragma once

#include "common/arrays.h"

#include <algorithm>
#include <cstdint>

namespace tarnel
{

struct numbered_place {
    std::int32_t number;
    std::int32_t place;
};

struct number_index {
    growing_array<std::int32_t> numbers; // by place, as added
    std::int32_t count = 0;              // distinct numbers
    bool ascending = true;               // places follow the numbers, none repeated
    bool without_gaps = true;            // and numbers[place] = numbers[0] + place
    owned_array<numbered_place> sorted;  // ascending, when places do not follow the numbers
    owned_array<std::int32_t> direct;    // place + 1 by number, when numbers are dense
    std::int32_t largest = 0;
    std::uint32_t first = 0, run = 0; // of numbers without gaps: first, first + 1, ..., and how many; otherwise none
};

// Adds a number (1 or more) at the next place.
//   errors  "      Error. Can't allocate (name).\n"
inline void add_number(std::FILE* log, const char* name, number_index& index, std::int32_t number)
{
    const std::size_t size = index.numbers.size;
    if (size > 0) {
        const std::int32_t last = index.numbers.values[size - 1];
        if (number <= last) index.ascending = false;
        if (number != last + 1) index.without_gaps = false;
    }
    index.largest = std::max(index.largest, number);
    append(log, name, index.numbers, number);
}

// Makes the index ready; of a number added more than once the last place stands.
//   errors  "      Error. Can't allocate (name).\n"
void finish_index(std::FILE* log, const char* name, number_index& index);

// Place of a number, -1 when it was not added.
std::int32_t search_place(const number_index& index, std::int32_t number);
inline std::int32_t place_of(const number_index& index, std::int32_t number)
{
    const std::uint32_t place = static_cast<std::uint32_t>(number) - index.first;
    if (place < index.run) return static_cast<std::int32_t>(place);
    if (index.without_gaps) return -1;
    return search_place(index, number);
}

// The k-th number in ascending order, k from 0, and its place.
inline numbered_place ascending_place(const number_index& index, std::int32_t k)
{
    return index.ascending ? numbered_place{index.numbers.values[static_cast<std::size_t>(k)], k}
                           : index.sorted[static_cast<std::size_t>(k)];
}

} // namespace tarnel
