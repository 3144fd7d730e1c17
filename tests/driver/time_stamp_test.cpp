#include "driver/time_stamp.h"

#include "common/comma_locale.h"
#include "support/stage.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include <time.h>

using namespace tarnel;
using namespace tarnel_test;

using time_stamps = stage_test;

// The local clock of a time zone, while one of these lives.
class time_zone
{
public:
    explicit time_zone(const char* zone)
    {
        if (const char* before = std::getenv("TZ"); before != nullptr) before_ = before, had_ = true;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~time_zone()
    {
        if (had_)
            setenv("TZ", before_.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    time_zone(const time_zone&) = delete;
    time_zone& operator=(const time_zone&) = delete;

private:
    std::string before_;
    bool had_ = false;
};

struct expected_stamp {
    std::time_t moment; // seconds since 1970-01-01 00:00:00 UTC
    const char* date;
    const char* clock;
};

static void expect_stamp(const expected_stamp& expected)
{
    const time_stamp stamp = stamp_of(expected.moment);
    EXPECT_STREQ(stamp.date, expected.date) << expected.moment;
    EXPECT_STREQ(stamp.clock, expected.clock) << expected.moment;
}

TEST_F(time_stamps, known_moments_have_their_known_dates)
{
    const time_zone utc("UTC0");
    const expected_stamp rows[] = {
        {0, "Jan 01,1970(Thursday)", "00:00:00"},          {-1, "Dec 31,1969(Wednesday)", "23:59:59"},
        {86399, "Jan 01,1970(Thursday)", "23:59:59"},      {86400, "Jan 02,1970(Friday)", "00:00:00"},
        {1000000000, "Sep 09,2001(Sunday)", "01:46:40"},   {1234567890, "Feb 13,2009(Friday)", "23:31:30"},
        {2147483647, "Jan 19,2038(Tuesday)", "03:14:07"},  {2147483648, "Jan 19,2038(Tuesday)", "03:14:08"},
        {253402300799, "Dec 31,9999(Friday)", "23:59:59"},
    };
    for (const expected_stamp& row : rows) expect_stamp(row);
}

TEST_F(time_stamps, leap_days_are_in_their_years_alone)
{
    const time_zone utc("UTC0");
    const expected_stamp rows[] = {
        {951782400, "Feb 29,2000(Tuesday)", "00:00:00"},   // divisible by 400
        {1709164800, "Feb 29,2024(Thursday)", "00:00:00"}, // by 4
        {1709251199, "Feb 29,2024(Thursday)", "23:59:59"}, {1709251200, "Mar 01,2024(Friday)", "00:00:00"},
        {1677542400, "Feb 28,2023(Tuesday)", "00:00:00"},  {1677628800, "Mar 01,2023(Wednesday)", "00:00:00"},
        {4107456000, "Feb 28,2100(Sunday)", "00:00:00"}, // by 100
        {4107542400, "Mar 01,2100(Monday)", "00:00:00"},
    };
    for (const expected_stamp& row : rows) expect_stamp(row);
}

TEST_F(time_stamps, date_is_utc_and_clock_is_local)
{
    {
        const time_zone east("JST-9");
        expect_stamp({1709236800, "Feb 29,2024(Thursday)", "05:00:00"}); // the next day there
    }
    {
        const time_zone west("HST10");
        expect_stamp({1709164800, "Feb 29,2024(Thursday)", "14:00:00"}); // the day before there
    }
    {
        const time_zone half("NST3:30");
        expect_stamp({1709164800, "Feb 29,2024(Thursday)", "20:30:00"});
    }
}

TEST_F(time_stamps, clock_follows_summer_time)
{
    const time_zone eastern("EST5EDT,M3.2.0,M11.1.0");
    expect_stamp({1710053999, "Mar 10,2024(Sunday)", "01:59:59"});
    expect_stamp({1710054000, "Mar 10,2024(Sunday)", "03:00:00"});
    expect_stamp({1730613599, "Nov 03,2024(Sunday)", "01:59:59"});
    expect_stamp({1730613600, "Nov 03,2024(Sunday)", "01:00:00"});
}

// Every day of four centuries, at changing times of day, beside the C library in the "C" locale.
TEST_F(time_stamps, every_day_reads_as_strftime_has_it)
{
    const time_zone utc("UTC0");
    constexpr std::time_t first = -2208988800; // 1900-01-01
    for (std::time_t day = 0; day < 146097; ++day) {
        const std::time_t moment = first + 86400 * day + (day * 7919) % 86400;
        std::tm parts{};
        gmtime_r(&moment, &parts);
        char date[80], clock[10];
        std::strftime(date, sizeof date, "%b %d,%Y(%A)", &parts);
        std::strftime(clock, sizeof clock, "%H:%M:%S", &parts);
        const time_stamp stamp = stamp_of(moment);
        ASSERT_STREQ(stamp.date, date) << moment;
        ASSERT_STREQ(stamp.clock, clock) << moment;
    }
}

static void expect_english_names(const comma_host& host)
{
    const time_zone utc("UTC0");
    std::tm parts{};
    const std::time_t moment = 1714521600;
    gmtime_r(&moment, &parts);
    char foreign[80];
    std::strftime(foreign, sizeof foreign, "%A", &parts);
    EXPECT_STREQ(foreign, "Mittwoch"); // the host's own way
    expect_stamp({moment, "May 01,2024(Wednesday)", "00:00:00"});
    expect_stamp({1709287200, "Mar 01,2024(Friday)", "10:00:00"});
    host.expect_unchanged();
}

TEST_F(time_stamps, names_are_english_in_a_host_that_speaks_german)
{
    for (const set_for whom : {set_for::thread, set_for::process}) {
        const comma_host host(whom);
        if (!host.available()) GTEST_SKIP() << "no German locale";
        expect_english_names(host);
    }
}
