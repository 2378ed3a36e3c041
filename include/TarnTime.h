/*
 * TarnTime.h - calendar time values and date-time text.
 *
 * A time value is a `long` of whole seconds since 1970-01-01 00:00:00 UTC, handled as a signed
 * 32-bit count on every build. The UTC flag is non-zero for UTC; zero asks for local time, whose
 * conversions fail on this platform (code 29) wherever a given value is converted.
 * Codes: 16 null pointer, 29 local conversion failed, 30 system conversion failed, 31 format.
 */
#ifndef TARNTIME_H
#define TARNTIME_H

#include <wchar.h>

#include "ZVTypes.h"

/* Date-time text shapes for the format selector. */
enum {
    TARN_DTF_YMDHMSM = 0, /* "%04u/%02u/%02u %02u:%02u:%02u:%03u" */
    TARN_DTF_YMDHMS = 1,  /* "%04u/%02u/%02u %02u:%02u:%02u" */
    TARN_DTF_YMDHM = 2,   /* "%04u/%02u/%02u %02u:%02u" */
    TARN_DTF_YMD = 3,     /* "%04u/%02u/%02u" */
    TARN_DTF_yMDHMS = 4,  /* "%02u/%02u/%02u %02u:%02u:%02u", year modulo 100 */
    TARN_DTF_yMDHM = 5,   /* "%02u/%02u/%02u %02u:%02u" */
    TARN_DTF_yMD = 6,     /* "%02u/%02u/%02u" */
    TARN_DTF_HMSM = 7,    /* "%02u:%02u:%02u:%03u" */
    TARN_DTF_HMS = 8,     /* "%02u:%02u:%02u" */
    TARN_DTF_HM = 9       /* "%02u:%02u" */
};

ZV_BEGIN_C

/* Gregorian leap-year rule: 1 or 0. */
ZV_API int TarnIsLeapYear(unsigned short year);
/* Kept as a stub: looks at nothing, sets nothing, returns 0. */
ZV_API int TarnDiffTime(const long* earlier, const long* later, int unit);
/* Stores 0 (the epoch): 1. Null: code 16, 0. */
ZV_API int TarnInitTime(long* value);
/* Passes the record to OS_SetLocalTime (which does nothing here): 1. Null: code 16, 0. */
ZV_API int TarnSetLocalTime(const _SYSTEMTIME* st);
/* OS_GetLocalTime (which writes nothing here): 1. Null: code 16, 0. */
ZV_API int TarnGetLocalTime(_SYSTEMTIME* st);
/* Time value to record; a null value means now. Null record: code 16; codes 29, 30. */
ZV_API int TarnGetSystemTime(const long* value, _SYSTEMTIME* st, int utc);
/* Clamps the record into range in place (milliseconds above 999 become 59): 1. Null: 16. */
ZV_API int TarnValidateTime(_SYSTEMTIME* st);
/* Record (clamped on a copy) to time value; a null record means now. Codes 16, 29, 30. */
ZV_API int TarnGetTime(const _SYSTEMTIME* st, long* value, int utc);

/*
 * Writes *value in the shape of format. With size non-zero the text goes into buffer (cut to
 * size - 1 bytes), and buffer is the result; with size 0 the result is a static buffer that the
 * next such call overwrites. On failure the result is "---" (codes 16, 29, 30, 31).
 */
ZV_API const char* TarnGetDateTimeStrA(const long* value, int format, char* buffer,
                                       unsigned int size, int utc);
ZV_API const wchar_t* TarnGetDateTimeStrW(const long* value, int format, wchar_t* buffer,
                                          unsigned int size, int utc);

/*
 * Reads text in the shape of format into *value (separators matched loosely, ranges clamped).
 * Returns where reading stopped; null for null arguments (code 16); the text start for an
 * unknown format (code 31).
 */
ZV_API const char* TarnParseDateTimeStrA(const char* text, int format, long* value, int utc);
ZV_API const wchar_t* TarnParseDateTimeStrW(const wchar_t* text, int format, long* value, int utc);

ZV_END_C

#endif /* TARNTIME_H */
