/*
** blutils.h: time of libfound (BLUTILS_).
**
** Timestamps are milliseconds since 1970-01-01 00:00 UTC (wall clock);
** monotonic times are milliseconds of a clock that never goes back, for
** measuring intervals. All functions are thread-safe.
*/
#ifndef BLUTILS_H
#define BLUTILS_H

#include <stdbool.h>
#include <stdint.h>

#include "found_export.h"

FOUND_EXTERN_C_BEGIN

/* A broken-down UTC time. A zeroed record (year 0) means "no time". */
typedef struct BLtime {
    int32_t year;        /* e.g. 2026 */
    int32_t month;       /* 1..12 */
    int32_t day;         /* 1..31 */
    int32_t hour;        /* 0..23 */
    int32_t minute;      /* 0..59 */
    int32_t second;      /* 0..60 (a leap second is kept as given) */
    int32_t millisecond; /* 0..999 */
} BLtime;

/* ---- clocks ------------------------------------------------------------ */

FOUND_API int64_t BLUTILS_GetTimestamp(void);
FOUND_API int64_t BLUTILS_MonotonicTime(void);

/* Sleeps at least `milliseconds` (0 yields the processor). False for a
** negative count. */
FOUND_API bool BLUTILS_sleep_msec(int32_t milliseconds);

/* ---- conversions ------------------------------------------------------- */

/* The timestamp of a UTC time; 0 for a zeroed record or one with a field
** out of range. */
FOUND_API int64_t BLUTILS_BLtimeToTimestamp(BLtime time);

/* The UTC time of a timestamp (negative timestamps are before 1970). False
** for a null output. */
FOUND_API bool BLUTILS_TimestampToBLtime(int64_t timestamp, BLtime *time);

FOUND_EXTERN_C_END

#endif
