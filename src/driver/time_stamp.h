#pragma once

#include <ctime>

namespace tarnel
{

struct time_stamp {
    char date[80];  // of the UTC day, as in "Feb 03,2024(Saturday)"
    char clock[10]; // of the local clock, as in "07:05:09"
};

// The stamp of a moment, with English names whatever locale the host has set.
time_stamp stamp_of(std::time_t moment);

} // namespace tarnel
