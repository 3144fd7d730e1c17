#include "driver/time_stamp.h"

#include <cstdio>

namespace tarnel
{

static std::tm broken_down(std::time_t moment, bool utc)
{
    std::tm parts{};
#if defined(_WIN32)
    if (utc)
        gmtime_s(&parts, &moment);
    else
        localtime_s(&parts, &moment);
#else
    tzset(); // a host may have changed its time zone since the last run
    if (utc)
        gmtime_r(&moment, &parts);
    else
        localtime_r(&moment, &parts);
#endif
    return parts;
}

time_stamp stamp_of(std::time_t moment)
{
    constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    constexpr const char* days[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
    const std::tm day = broken_down(moment, true);
    const std::tm clock = broken_down(moment, false);
    time_stamp stamp;
    std::snprintf(stamp.date, sizeof stamp.date, "%s %02d,%d(%s)", months[day.tm_mon % 12], day.tm_mday,
                  day.tm_year + 1900, days[day.tm_wday % 7]);
    std::snprintf(stamp.clock, sizeof stamp.clock, "%02u:%02u:%02u", static_cast<unsigned>(clock.tm_hour) % 24U,
                  static_cast<unsigned>(clock.tm_min) % 60U, static_cast<unsigned>(clock.tm_sec) % 62U);
    return stamp;
}

} // namespace tarnel
