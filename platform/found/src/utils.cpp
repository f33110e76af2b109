// Clocks and time conversions.
#include "blutils.h"

#include <chrono>
#include <thread>

int64_t BLUTILS_GetTimestamp(void)
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

int64_t BLUTILS_MonotonicTime(void)
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

bool BLUTILS_sleep_msec(int32_t milliseconds)
{
    if (milliseconds < 0) return false;
    if (milliseconds == 0) std::this_thread::yield();
    else std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    return true;
}

int64_t BLUTILS_BLtimeToTimestamp(BLtime time)
{
    using namespace std::chrono;
    if (time.year == 0) return 0;
    if (time.month < 1 || time.month > 12 || time.hour < 0 || time.hour > 23 || time.minute < 0
        || time.minute > 59 || time.second < 0 || time.second > 60 || time.millisecond < 0
        || time.millisecond > 999)
        return 0;
    const year_month_day date{year{time.year}, month{static_cast<unsigned>(time.month)},
                              day{static_cast<unsigned>(time.day)}};
    if (!date.ok()) return 0;
    const sys_days days{date};
    const auto stamp = days + hours{time.hour} + minutes{time.minute} + seconds{time.second}
                     + milliseconds{time.millisecond};
    return duration_cast<milliseconds>(stamp.time_since_epoch()).count();
}

bool BLUTILS_TimestampToBLtime(int64_t timestamp, BLtime *time)
{
    using namespace std::chrono;
    if (time == nullptr) return false;
    const sys_time<milliseconds> stamp{milliseconds{timestamp}};
    const sys_days days = floor<std::chrono::days>(stamp);
    const year_month_day date{days};
    const hh_mm_ss<milliseconds> clock{stamp - days};
    time->year = static_cast<int>(date.year());
    time->month = static_cast<int32_t>(static_cast<unsigned>(date.month()));
    time->day = static_cast<int32_t>(static_cast<unsigned>(date.day()));
    time->hour = static_cast<int32_t>(clock.hours().count());
    time->minute = static_cast<int32_t>(clock.minutes().count());
    time->second = static_cast<int32_t>(clock.seconds().count());
    time->millisecond = static_cast<int32_t>(clock.subseconds().count());
    return true;
}
