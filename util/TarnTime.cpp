/*
 * TarnTime.cpp - calendar time values and date-time text.
 *
 * A time value is a `long` of whole seconds since 1970-01-01 00:00:00 UTC, handled as a signed
 * 32-bit count; a _SYSTEMTIME record is its broken-down form. Every conversion between the two
 * goes through the OS_ time calls, so the record-to-value direction reads the record as local
 * time (mktime) and the value-to-record direction produces UTC (gmtime). The local-time
 * conversions of the OS_ layer do nothing and report failure on this platform, so every call
 * with the UTC flag clear that has to convert a given value fails with code 29.
 *
 * The date-time writers keep their text in two static buffers shared by all callers when no
 * caller buffer is given; the readers keep no state.
 */
#include "TarnTime.h"

#include <errno.h>
#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "OSUtils.h"
#include "TarnError.h"
#include "TarnString.h"

namespace {

/* Last day of each month by month number; entry 0 is a placeholder. February is 28 here and
 * gains a day in a leap year. */
const uint16_t wMonLasDay[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

/* What the writers return on failure; never written into. */
const char kNoDateTimeA[] = "---";
const wchar_t kNoDateTimeW[] = L"---";

/* Size of the narrow text buffers, terminator included (the longest shape has 23 characters). */
const unsigned int kDateTimeTextSize = 32;
/* Size in bytes of the wide static result (32 wide characters). */
const unsigned int kDateTimeWideBytes = kDateTimeTextSize * sizeof(wchar_t);

/* Clamps month, day, hour, minute, second and milliseconds of a record into range. */
void ClampRecord(_SYSTEMTIME* st) {
    uint16_t lastDay;
    if (st->wMonth == 0) {
        st->wMonth = 1;
        lastDay = wMonLasDay[1];
    } else if (st->wMonth > 12) {
        st->wMonth = 12;
        lastDay = wMonLasDay[12];
    } else {
        lastDay = wMonLasDay[st->wMonth];
        if (st->wMonth == 2 && TarnIsLeapYear(st->wYear)) {
            lastDay = static_cast<uint16_t>(lastDay + 1);
        }
    }
    if (st->wDay == 0) {
        st->wDay = 1;
    } else if (st->wDay > lastDay) {
        st->wDay = lastDay;
    }
    if (st->wHour > 23) {
        st->wHour = 23;
    }
    if (st->wMinute > 59) {
        st->wMinute = 59;
    }
    if (st->wSecond > 59) {
        st->wSecond = 59;
    }
    /* Kept as it has always been: the milliseconds clamp reuses the minute/second limit, so
     * 1000 and above become 59, not 999. */
    if (st->wMilliseconds > 999) {
        st->wMilliseconds = 59;
    }
}

/*
 * Formats the record in the shape of format into text (kDateTimeTextSize bytes). Returns 0 for
 * an unknown format. The text of a record made from a 32-bit time value always fits. A time value
 * has no sub-second part, so the milliseconds field of a record made from one is always 0 and the
 * shapes with milliseconds end in "000".
 */
int FormatRecord(const _SYSTEMTIME* st, int format, char* text) {
    const unsigned int y = st->wYear;
    const unsigned int yy = y % 100u;
    const unsigned int mo = st->wMonth;
    const unsigned int d = st->wDay;
    const unsigned int h = st->wHour;
    const unsigned int mi = st->wMinute;
    const unsigned int s = st->wSecond;
    const unsigned int ms = st->wMilliseconds;
    const size_t n = kDateTimeTextSize;
    int len;
    switch (format) {
        case TARN_DTF_YMDHMSM:
            len = snprintf(text, n, "%04u/%02u/%02u %02u:%02u:%02u:%03u", y, mo, d, h, mi, s, ms);
            break;
        case TARN_DTF_YMDHMS:
            len = snprintf(text, n, "%04u/%02u/%02u %02u:%02u:%02u", y, mo, d, h, mi, s);
            break;
        case TARN_DTF_YMDHM:
            len = snprintf(text, n, "%04u/%02u/%02u %02u:%02u", y, mo, d, h, mi);
            break;
        case TARN_DTF_YMD:
            len = snprintf(text, n, "%04u/%02u/%02u", y, mo, d);
            break;
        case TARN_DTF_yMDHMS:
            len = snprintf(text, n, "%02u/%02u/%02u %02u:%02u:%02u", yy, mo, d, h, mi, s);
            break;
        case TARN_DTF_yMDHM:
            len = snprintf(text, n, "%02u/%02u/%02u %02u:%02u", yy, mo, d, h, mi);
            break;
        case TARN_DTF_yMD:
            len = snprintf(text, n, "%02u/%02u/%02u", yy, mo, d);
            break;
        case TARN_DTF_HMSM:
            len = snprintf(text, n, "%02u:%02u:%02u:%03u", h, mi, s, ms);
            break;
        case TARN_DTF_HMS:
            len = snprintf(text, n, "%02u:%02u:%02u", h, mi, s);
            break;
        case TARN_DTF_HM:
            len = snprintf(text, n, "%02u:%02u", h, mi);
            break;
        default:
            return 0;
    }
    return len >= 0 ? 1 : 0;
}

/* Which fields a reader format holds. */
enum ReadShape { kShapeNone, kShapeDateTime, kShapeDate, kShapeTime };

ReadShape ShapeOf(int format) {
    switch (format) {
        case TARN_DTF_YMDHMSM:
        case TARN_DTF_YMDHMS:
        case TARN_DTF_YMDHM:
        case TARN_DTF_yMDHMS:
        case TARN_DTF_yMDHM:
            return kShapeDateTime;
        case TARN_DTF_YMD:
        case TARN_DTF_yMD:
            return kShapeDate;
        case TARN_DTF_HMSM:
        case TARN_DTF_HMS:
        case TARN_DTF_HM:
            return kShapeTime;
        default:
            return kShapeNone;
    }
}

/* Whether the date-and-time or time-only format carries seconds / milliseconds. */
bool HasSeconds(int format) {
    return format == TARN_DTF_YMDHMSM || format == TARN_DTF_YMDHMS || format == TARN_DTF_yMDHMS ||
           format == TARN_DTF_HMSM || format == TARN_DTF_HMS;
}

bool HasMilliseconds(int format) {
    return format == TARN_DTF_YMDHMSM || format == TARN_DTF_HMSM;
}

/* The decimal reading of the two text widths; both give a value in the int32_t range. */
long ReadNumber(const char* cur) {
    long v = strtol(cur, nullptr, 10);
    /* A 32-bit strtol saturates at the int32_t limits (and reports ERANGE); a 64-bit one is
     * brought to the same result so that every build reads the same field. */
    if (v > INT32_MAX) {
        errno = ERANGE;
        v = INT32_MAX;
        // GCOVR_EXCL_START the reader never reads a sign, so the number is never negative
        // (its cursor stands on a digit or at the end)
    } else if (v < INT32_MIN) {
        errno = ERANGE;
        v = INT32_MIN;
    }
    // GCOVR_EXCL_STOP
    return v;
}

long ReadNumber(const wchar_t* cur) {
    return _wtoi(cur);
}

/* The moves of the date-time reader over a text of either width. */
template <typename Ch>
struct DateTimeCursor {
    const Ch* cur;

    static bool IsDigit(Ch c) { return c >= Ch('0') && c <= Ch('9'); }

    /* Steps over everything that is neither a digit nor the terminator (signs included). */
    void Skip() {
        while (*cur != Ch(0) && !IsDigit(*cur)) {
            ++cur;
        }
    }
    /* Stores the number at the cursor, cut to 16 bits; the cursor stays. */
    void Read(uint16_t* field) const { *field = static_cast<uint16_t>(ReadNumber(cur)); }
    /* Steps over characters until one equal to sep has been stepped over (or up to the
     * terminator), then skips. */
    void Pass(Ch sep) {
        while (*cur != Ch(0)) {
            if (*cur++ == sep) {
                break;
            }
        }
        Skip();
    }
    /* Steps over the digits at the cursor. */
    void Finish() {
        while (IsDigit(*cur)) {
            ++cur;
        }
    }
};

/* Reads year, month and day. */
template <typename Ch>
void ReadDate(DateTimeCursor<Ch>* c, _SYSTEMTIME* st) {
    c->Skip();
    c->Read(&st->wYear);
    c->Pass(Ch('/'));
    c->Read(&st->wMonth);
    c->Pass(Ch('/'));
    c->Read(&st->wDay);
}

/* Reads hour and minute, then seconds and milliseconds where the format has them. The cursor
 * is at the hour's digits. */
template <typename Ch>
void ReadTime(DateTimeCursor<Ch>* c, _SYSTEMTIME* st, int format) {
    c->Read(&st->wHour);
    c->Pass(Ch(':'));
    c->Read(&st->wMinute);
    if (HasSeconds(format)) {
        c->Pass(Ch(':'));
        c->Read(&st->wSecond);
    }
    if (HasMilliseconds(format)) {
        c->Pass(Ch(':'));
        c->Read(&st->wMilliseconds);
    }
}

/* The reader for both text widths; see TarnParseDateTimeStrA. */
template <typename Ch>
const Ch* ParseDateTime(const Ch* text, int format, long* value, int utc) {
    if (text == nullptr || value == nullptr) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return nullptr;
    }
    _SYSTEMTIME st;
    memset(&st, 0, sizeof(st));
    DateTimeCursor<Ch> c = {text};
    switch (ShapeOf(format)) {
        case kShapeDateTime:
            ReadDate(&c, &st);
            c.Pass(Ch(' '));
            ReadTime(&c, &st, format);
            break;
        case kShapeDate:
            /* The time of day comes from the value passed in. */
            if (!TarnGetSystemTime(value, &st, utc)) {
                return text;
            }
            ReadDate(&c, &st);
            break;
        case kShapeTime:
            /* The text has no date: the date is fixed at 1970-01-01, so the value read is the
             * time of day as seconds since the epoch. */
            st.wYear = 1970;
            st.wMonth = 1;
            st.wDay = 1;
            c.Skip();
            ReadTime(&c, &st, format);
            break;
        default:
            TarnSetLastError(TARN_ERR_INVALID_FORMAT);
            return text;
    }
    c.Finish();
    /* A failed conversion leaves the value as it was and shows only in the last error. */
    TarnGetTime(&st, value, utc);
    return c.cur;
}

}  // namespace

ZV_BEGIN_C

int TarnIsLeapYear(unsigned short year) {
    if (year % 400 == 0) {
        return 1;
    }
    if (year % 100 == 0) {
        return 0;
    }
    return year % 4 == 0 ? 1 : 0;
}

/* Kept as a stub on purpose: the error history's flush timing compares its interval against
 * this result, so every non-negative interval passes. No unit is examined. */
int TarnDiffTime(const long* earlier, const long* later, int unit) {
    (void)earlier;
    (void)later;
    (void)unit;
    return 0;
}

int TarnInitTime(long* value) {
    if (value == nullptr) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    *value = 0;
    return 1;
}

int TarnSetLocalTime(const _SYSTEMTIME* st) {
    if (st == nullptr) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    /* The OS_ call does nothing here and reports failure; the clock is set elsewhere. */
    OS_SetLocalTime(st);
    return 1;
}

int TarnGetLocalTime(_SYSTEMTIME* st) {
    if (st == nullptr) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    /* Writes nothing on this platform: the record keeps what the caller put there. */
    OS_GetLocalTime(st);
    return 1;
}

int TarnGetSystemTime(const long* value, _SYSTEMTIME* st, int utc) {
    if (st == nullptr) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    if (value == nullptr) {
        if (utc) {
            OS_GetSystemTime(st);
        } else {
            TarnGetLocalTime(st);
        }
        return 1;
    }
    long local;
    if (!utc) {
        if (!OS_FileTimeToLocalFileTime(value, &local)) {
            TarnSetLastError(TARN_ERR_LOCAL_TIME_CONVERSION);
            return 0;
        }
        value = &local;
    }
    if (!OS_FileTimeToSystemTime(value, st)) {
        TarnSetLastError(TARN_ERR_SYSTEM_TIME_CONVERSION);
        return 0;
    }
    return 1;
}

int TarnValidateTime(_SYSTEMTIME* st) {
    if (st == nullptr) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    ClampRecord(st);
    return 1;
}

int TarnGetTime(const _SYSTEMTIME* st, long* value, int utc) {
    if (value == nullptr) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    if (st == nullptr) {
        /* "Now" is taken as UTC whatever the flag says. */
        _SYSTEMTIME now;
        memset(&now, 0, sizeof(now));
        OS_GetSystemTime(&now);
        if (!OS_SystemTimeToFileTime(&now, value)) {
            TarnSetLastError(TARN_ERR_SYSTEM_TIME_CONVERSION);
            return 0;
        }
        return 1;
    }
    _SYSTEMTIME copy = *st;
    ClampRecord(&copy);
    if (utc) {
        if (!OS_SystemTimeToFileTime(&copy, value)) {
            TarnSetLastError(TARN_ERR_SYSTEM_TIME_CONVERSION);
            return 0;
        }
        return 1;
    }
    long local;
    if (!OS_SystemTimeToFileTime(&copy, &local)) {
        TarnSetLastError(TARN_ERR_SYSTEM_TIME_CONVERSION);
        return 0;
    }
    if (!OS_LocalFileTimeToFileTime(&local, value)) {
        TarnSetLastError(TARN_ERR_LOCAL_TIME_CONVERSION);
        return 0;
    }
    return 1;
}

const char* TarnGetDateTimeStrA(const long* value, int format, char* buffer, unsigned int size,
                                int utc) {
    static char cDateTimeStr[kDateTimeTextSize];
    if (size != 0) {
        if (buffer == nullptr) {
            TarnSetLastError(TARN_ERR_NULL_POINTER);
            return kNoDateTimeA;
        }
        /* Every later failure leaves an empty string in the caller's buffer. */
        buffer[0] = '\0';
    }
    if (value == nullptr) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return kNoDateTimeA;
    }
    _SYSTEMTIME st;
    if (!TarnGetSystemTime(value, &st, utc)) {
        return kNoDateTimeA;
    }
    char text[kDateTimeTextSize];
    if (!FormatRecord(&st, format, text)) {
        TarnSetLastError(TARN_ERR_INVALID_FORMAT);
        return kNoDateTimeA;
    }
    /* A short buffer receives a cut text without error (no truncation check). */
    if (size != 0 && TarnCopyStringA(text, buffer, size, 0) >= 0) {
        return buffer;
    }
    memcpy(cDateTimeStr, text, strlen(text) + 1);
    return cDateTimeStr;
}

const wchar_t* TarnGetDateTimeStrW(const long* value, int format, wchar_t* buffer,
                                   unsigned int size, int utc) {
    static wchar_t cDateTimeStr[kDateTimeTextSize];
    /* A working buffer of our own: the narrow static result is never touched from here. */
    char work[kDateTimeTextSize];
    const char* text = TarnGetDateTimeStrA(value, format, work, kDateTimeTextSize, utc);
    if (memcmp(text, kNoDateTimeA, sizeof(kNoDateTimeA)) == 0) {
        return kNoDateTimeW;
    }
    if (size != 0) {
        /* The conversion itself reports a null or too small buffer. */
        if (TarnCopyAnsiToWideString(text, buffer, size, 0) < 0) {
            return kNoDateTimeW;
        }
        return buffer;
    }
    if (TarnCopyAnsiToWideString(text, cDateTimeStr, kDateTimeWideBytes, 0) < 0) {
        return kNoDateTimeW;
    }
    return cDateTimeStr;
}

/*
 * The reader. Moves: skip steps over non-digits; read stores the decimal number at the cursor
 * (cut to 16 bits) without moving; pass X steps up to and over the next X and then skips; finish
 * steps over the digits of the last field. Separators are therefore matched loosely and a sign
 * is never read. Date-only formats keep the time of day of the value passed in; time-only
 * formats give a date of 1970-01-01. The record is clamped and converted by TarnGetTime, whose
 * failure leaves the value as it was.
 */
const char* TarnParseDateTimeStrA(const char* text, int format, long* value, int utc) {
    return ParseDateTime<char>(text, format, value, utc);
}

const wchar_t* TarnParseDateTimeStrW(const wchar_t* text, int format, long* value, int utc) {
    return ParseDateTime<wchar_t>(text, format, value, utc);
}

ZV_END_C
