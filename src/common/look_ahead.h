// Elements refer to nodes that stand anywhere in memory. Asking for what the next elements need, some records before
// they are read, hides the wait; it changes nothing else and may ask for too little.
#pragma once

#include "common/number_index.h"
#include "common/record_list.h"
#include "common/records.h"

#include <cstddef>
#include <cstring>

namespace tarnel
{

inline constexpr std::size_t looked_at = 4; // nodes of an element

// Places of the first nodes of the element `ahead` records further on.
//   returns how many: 0 where that record is not in the buffer yet or numbers do not tell their places
template <class element_record>
std::size_t places_ahead(const record_list& list, const number_index& index, std::size_t ahead,
                         std::size_t places[looked_at])
{
    const std::size_t at = list.file.at + ahead * sizeof(element_record);
    if (index.run == 0 || at + sizeof(element_record) > list.file.filled) return 0;
    std::int32_t node[looked_at];
    std::memcpy(node, list.file.buffer.get() + at + offsetof(element_record, node), sizeof node);
    std::size_t count = 0;
    for (const std::int32_t number : node) {
        const std::int32_t place = place_of(index, number);
        if (place >= 0) places[count++] = static_cast<std::size_t>(place);
    }
    return count;
}

inline void ask_for(const void* place)
{
    __builtin_prefetch(place);
}

} // namespace tarnel
