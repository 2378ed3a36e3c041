/**
 * @file TarnTime.h
 * @brief Calendar time values and date-time text.
 *
 * A time value is a `long` of whole seconds since 1970-01-01 00:00:00 UTC, handled as a signed
 * 32-bit count on every build (a 64-bit build uses the low 32 bits of the long). The UTC flag is
 * non-zero for UTC; zero asks for local time, whose conversions fail on this platform (code 29)
 * wherever a given value is converted. A record is turned into a value by mktime(), which reads
 * it in the process's time zone, and a value into a record by gmtime(): the round trip is exact
 * where the process runs in UTC, as the device does.
 * Codes: 16 null pointer, 29 local conversion failed, 30 system conversion failed, 31 format.
 */
#ifndef TARNTIME_H
#define TARNTIME_H

#include <wchar.h>

#include "ZVTypes.h"

/**
 * @addtogroup time
 * @{
 */

/**
 * Date-time text shapes: the format selector of the writers and readers. Two-digit years are
 * the year modulo 100; the milliseconds written are always "000", since a time value has whole
 * seconds only.
 */
enum {
    TARN_DTF_YMDHMSM = 0, /**< "%04u/%02u/%02u %02u:%02u:%02u:%03u", "2009/03/07 14:05:09:000" */
    TARN_DTF_YMDHMS = 1,  /**< "%04u/%02u/%02u %02u:%02u:%02u" */
    TARN_DTF_YMDHM = 2,   /**< "%04u/%02u/%02u %02u:%02u" */
    TARN_DTF_YMD = 3,     /**< "%04u/%02u/%02u" */
    TARN_DTF_yMDHMS = 4,  /**< "%02u/%02u/%02u %02u:%02u:%02u", year modulo 100 */
    TARN_DTF_yMDHM = 5,   /**< "%02u/%02u/%02u %02u:%02u" */
    TARN_DTF_yMD = 6,     /**< "%02u/%02u/%02u" */
    TARN_DTF_HMSM = 7,    /**< "%02u:%02u:%02u:%03u" */
    TARN_DTF_HMS = 8,     /**< "%02u:%02u:%02u" */
    TARN_DTF_HM = 9       /**< "%02u:%02u" */
};

ZV_BEGIN_C

/**
 * The Gregorian leap-year rule. Never fails.
 *
 * @param year the four-digit year.
 * @return 1 for a leap year (2000, 2008), else 0 (1900, 2009).
 */
ZV_API int TarnIsLeapYear(unsigned short year);

/**
 * Kept as a stub: looks at nothing, sets nothing, returns 0.
 *
 * @param earlier ignored (may be null).
 * @param later ignored (may be null).
 * @param unit ignored; no unit is examined, so code 32 is never reported.
 * @return 0 for any arguments.
 * @quirk The error history's flush timing compares its interval with this result, so every
 *        interval that is not negative as a signed number passes.
 */
ZV_API int TarnDiffTime(const long* earlier, const long* later, int unit);

/**
 * Stores 0 (the epoch).
 *
 * @param value receives 0.
 * @return 1; 0 for a null value.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null value.
 */
ZV_API int TarnInitTime(long* value);

/**
 * Passes the record to OS_SetLocalTime(), which does nothing on this platform.
 *
 * @param st the local time to set.
 * @return 1 whatever OS_SetLocalTime() reports (the clock is not changed); 0 for a null st.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null st.
 */
ZV_API int TarnSetLocalTime(const _SYSTEMTIME* st);

/**
 * Calls OS_GetLocalTime(), which writes nothing on this platform.
 *
 * @param st the record; it keeps what the caller put there.
 * @return 1; 0 for a null st.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null st.
 */
ZV_API int TarnGetLocalTime(_SYSTEMTIME* st);

/**
 * Breaks a time value down into a record (gmtime(); milliseconds 0).
 *
 * @param value the time value; null means now (OS_GetSystemTime() with the UTC flag, which
 *        leaves the day of week as it was, or TarnGetLocalTime() without it, which writes
 *        nothing).
 * @param st receives the record.
 * @param utc non-zero for UTC; zero converts through local time, which fails for a given value.
 * @return 1, or 0.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null st; ::TARN_ERR_LOCAL_TIME_CONVERSION (29) for
 *        a given value with the UTC flag clear (the record is left untouched);
 *        ::TARN_ERR_SYSTEM_TIME_CONVERSION (30) when the breakdown fails.
 */
ZV_API int TarnGetSystemTime(const long* value, _SYSTEMTIME* st, int utc);

/**
 * Clamps a record into range in place; a record is never rejected.
 *
 * Month 0 becomes 1 and above 12 becomes 12; day 0 becomes 1 and past the month's last day
 * (February 29 in leap years) becomes that day; hour above 23 becomes 23, minute and second
 * above 59 become 59. The year and the day of week are not looked at.
 *
 * @param st the record.
 * @return 1; 0 for a null st.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null st.
 * @quirk Milliseconds above 999 become 59, not 999: the clamp reuses the second's limit.
 */
ZV_API int TarnValidateTime(_SYSTEMTIME* st);

/**
 * Turns a record into a time value. The record is clamped on a copy as TarnValidateTime() does
 * (the caller's record keeps a month of 14) and read by mktime(); milliseconds are lost.
 *
 * @param st the record; null means now, read as UTC whatever the flag says.
 * @param value receives the time value. A date outside the signed 32-bit range gives -1 (with
 *        the result 1), as mktime() does on the device: 2040-01-01 is -1 on every build.
 * @param utc non-zero for UTC; zero converts through local time, which fails for a given record.
 * @return 1, or 0 (value not written).
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null value; ::TARN_ERR_LOCAL_TIME_CONVERSION (29)
 *        for a given record with the UTC flag clear; ::TARN_ERR_SYSTEM_TIME_CONVERSION (30)
 *        when the conversion fails.
 * @quirk mktime() reads the record in the process's time zone even with the UTC flag set: the
 *        value is UTC only where the process runs in UTC.
 */
ZV_API int TarnGetTime(const _SYSTEMTIME* st, long* value, int utc);

/**
 * Writes a time value as text in one of the ten shapes.
 *
 * @param value the time value ("now" is not offered: null fails).
 * @param format a TARN_DTF_ selector, 0 to 9.
 * @param buffer the caller's buffer; with size non-zero its first byte is cleared at once, so a
 *        failure leaves "" there. May be null when size is 0.
 * @param size size of buffer in bytes. Non-zero: the text goes into buffer, cut to size - 1
 *        bytes without an error ("2009/03/0" in 10 bytes), and buffer is the result. 0: the
 *        result is a static buffer of the library.
 * @param utc non-zero for UTC; zero fails with code 29.
 * @return buffer, the static buffer, or the constant "---" on failure. Never null.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null value, or a null buffer with a non-zero size;
 *        ::TARN_ERR_INVALID_FORMAT (31) for a selector outside 0 to 9;
 *        ::TARN_ERR_LOCAL_TIME_CONVERSION (29) with the UTC flag clear;
 *        ::TARN_ERR_SYSTEM_TIME_CONVERSION (30) when the breakdown fails.
 * @quirk The static buffer is shared by every caller: the next call with size 0 overwrites the
 *        text seen through an earlier result. Not safe for concurrent use without a buffer.
 */
ZV_API const char* TarnGetDateTimeStrA(const long* value, int format, char* buffer,
                                       unsigned int size, int utc);

/**
 * Writes a time value as wide text: TarnGetDateTimeStrA() into a working buffer of its own,
 * then converted into buffer (or, with size 0, into a wide static buffer of 32 characters).
 *
 * @param value the time value.
 * @param format a TARN_DTF_ selector, 0 to 9.
 * @param buffer the caller's buffer; not cleared first.
 * @param size size of buffer in bytes (4 per character); 0 for the static buffer.
 * @param utc non-zero for UTC; zero fails with code 29.
 * @return buffer, the wide static buffer, or the constant L"---" on failure. Never null.
 * @codes Those of TarnGetDateTimeStrA(); for a non-zero size, those of
 *        TarnCopyAnsiToWideString(): ::TARN_ERR_NULL_POINTER (16) for a null buffer and
 *        ::TARN_ERR_INVALID_BUFFER_SIZE (11) for a size of 1 to 3 bytes.
 * @quirk The wide static buffer is shared by every caller, as in TarnGetDateTimeStrA(); the
 *        narrow static buffer is never touched from here.
 */
ZV_API const wchar_t* TarnGetDateTimeStrW(const long* value, int format, wchar_t* buffer,
                                          unsigned int size, int utc);

/**
 * Reads text in the shape of a format into a time value.
 *
 * Fields are read as decimal numbers (saturated to the signed 32-bit range, then cut to 16
 * bits); separators are matched loosely: after each field the reader steps up to and over the
 * next separator of the shape and then over anything that is not a digit, so a sign is never
 * read and "2009-03/07 ..." reads the month as 7. Missing fields read as 0. The record is then
 * clamped and converted as TarnGetTime() does: "2009/13/40 25:61:61:999" gives
 * 2009-12-31 23:59:59. Date-only shapes (3, 6) keep the time of day of the value passed in;
 * time-only shapes (7 to 9) give a date of 1970-01-01.
 *
 * @param text the text.
 * @param format a TARN_DTF_ selector, 0 to 9.
 * @param value the time value: read for the date-only shapes, written with the result. A failed
 *        conversion leaves it as it was and shows only in the last-error code.
 * @param utc non-zero for UTC; zero fails the conversion with code 29.
 * @return where reading stopped, just behind the digits of the last field read ("xyz" of
 *         "2009/03/07 14:05:09:000xyz"); the text start for an unknown format, and for a
 *         date-only shape whose value passed in cannot be broken down (UTC flag clear: code 29,
 *         the value untouched); null for a null text or value.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null text or value; ::TARN_ERR_INVALID_FORMAT (31)
 *        for a selector outside 0 to 9 (the value is not touched);
 *        ::TARN_ERR_LOCAL_TIME_CONVERSION (29) and ::TARN_ERR_SYSTEM_TIME_CONVERSION (30) from
 *        the conversion.
 * @quirk Two-digit years are not widened: "09/03/07" in shape 6 is the year 9, which converts
 *        to -1. Milliseconds are read and lost.
 */
ZV_API const char* TarnParseDateTimeStrA(const char* text, int format, long* value, int utc);

/**
 * Reads wide text in the shape of a format into a time value, as TarnParseDateTimeStrA() does
 * (the numbers are read with _wtoi()).
 *
 * @param text the text.
 * @param format a TARN_DTF_ selector, 0 to 9.
 * @param value the time value, read for the date-only shapes and written with the result.
 * @param utc non-zero for UTC; zero fails the conversion with code 29.
 * @return where reading stopped; the text start for an unknown format; null for a null text or
 *         value.
 * @codes As TarnParseDateTimeStrA().
 */
ZV_API const wchar_t* TarnParseDateTimeStrW(const wchar_t* text, int format, long* value, int utc);

ZV_END_C

/** @} */

#endif /* TARNTIME_H */
