/**
 * @file ZVTypes.h
 * @brief Records shared by the zvsupport interfaces, and the export macro.
 *
 * The 32-bit x86 build is the reference layout. Records that are also file or buffer bytes use
 * fixed-width fields, so they keep their size on 64-bit builds too.
 */
#ifndef ZVTYPES_H
#define ZVTYPES_H

#include <stddef.h>
#include <stdint.h>
#include <sys/stat.h>

/**
 * @addtogroup util
 * @{
 */

/** Marks the names a host program may link against; everything else stays hidden. */
#define ZV_API __attribute__((visibility("default")))

#ifdef __cplusplus
/** Opens the C linkage of the plain functions (empty in C). */
#define ZV_BEGIN_C extern "C" {
/** Closes the C linkage of the plain functions (empty in C). */
#define ZV_END_C }
/** A compile-time check that works in C and C++. */
#define ZV_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#else
#define ZV_BEGIN_C
#define ZV_END_C
#define ZV_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

#if defined(__i386__)
#define ZV_DEVICE_ABI 1 /* the reference ABI: `long` and pointers are 32 bits */
#endif

/** @} */

/**
 * Broken-down calendar time: eight unsigned 16-bit fields, 16 bytes.
 * @ingroup time
 */
typedef struct _SYSTEMTIME {
    uint16_t wYear;         /**< four digits, 2009 */
    uint16_t wMonth;        /**< 1-12 */
    uint16_t wDayOfWeek;    /**< 0 (Sunday) to 6; never read by the conversions' checks */
    uint16_t wDay;          /**< 1-31 */
    uint16_t wHour;         /**< 0-23 */
    uint16_t wMinute;       /**< 0-59 */
    uint16_t wSecond;       /**< 0-59 */
    uint16_t wMilliseconds; /**< 0-999; a time value has none, so records made from one hold 0 */
} _SYSTEMTIME;

ZV_STATIC_ASSERT(sizeof(_SYSTEMTIME) == 16, "_SYSTEMTIME is 16 bytes");

/**
 * What TarnGetFileInfoA() and TarnGetFileInfoW() fill: the file's stat() record, then its size,
 * the 16-bit XOR checksum of its contents, its extension and its three times as seconds since
 * 1970-01-01 UTC. Naturally aligned: 112 bytes on the device, whose struct stat has 88.
 * @ingroup fileinfo
 */
typedef struct FILEINFO_tag {
    struct stat status;  /**< exactly what stat() returned for the path */
    uint32_t dwSize;     /**< the file size in bytes */
    uint16_t wCheckSum;  /**< XOR of the contents' 16-bit little-endian words; 0 when empty */
    char szExtension[6]; /**< ".TXT": upper-cased, at most 5 characters and a NUL; "" when none */
    long tmCreation;     /**< st_ctime (the status change) */
    long tmLastAccess;   /**< st_atime */
    long tmLastWrite;    /**< st_mtime */
} FILEINFO_tag;

ZV_STATIC_ASSERT(sizeof(struct stat) % 4 == 0, "struct stat keeps the fields behind it aligned");
ZV_STATIC_ASSERT(offsetof(FILEINFO_tag, dwSize) == sizeof(struct stat), "size follows status");
ZV_STATIC_ASSERT(offsetof(FILEINFO_tag, wCheckSum) == sizeof(struct stat) + 4, "then checksum");
ZV_STATIC_ASSERT(offsetof(FILEINFO_tag, szExtension) == sizeof(struct stat) + 6, "then extension");
#if defined(ZV_DEVICE_ABI)
ZV_STATIC_ASSERT(offsetof(FILEINFO_tag, tmCreation) == sizeof(struct stat) + 12, "then times");
ZV_STATIC_ASSERT(sizeof(struct stat) == 88, "the device's struct stat is 88 bytes");
ZV_STATIC_ASSERT(sizeof(FILEINFO_tag) == 112, "FILEINFO_tag is 112 bytes on the device");
#endif

#pragma pack(push, 1)
/**
 * A parsed common file header. Packed: 38 bytes on every build. A reset record (as the reader
 * makes one before it reads) holds the absent values: "NONE", 0xFFFF (versions), 0 (time, size),
 * -1 (checksum), zero MAC bytes and an empty extra text. It is also the first 38 bytes of an
 * environment store's item buffer.
 * @ingroup header
 */
typedef struct ZV_COMMON_FILE_HEADER_tag {
    char szFileType[4];    /**< not terminated, "ENVT"; written as "NONE" when all four are 0 */
    uint16_t wMajorVer;    /**< 0-99 (written modulo 100), 0xFFFF when absent */
    uint16_t wMinorVer;    /**< 0-99 (written modulo 100), 0xFFFF when absent */
    int32_t lLastModified; /**< seconds since 1970-01-01 UTC, 0 when absent */
    uint32_t dwDataSize;   /**< whole file in bytes, header included; 0 when absent */
    int32_t lCheckSum;     /**< 16-bit XOR of the body, -1 when absent */
    uint8_t byMacAddr[6];  /**< first octet first; all zero when absent */
    char szExtraInfo[12];  /**< 11 printable characters and a NUL */
} ZV_COMMON_FILE_HEADER_tag;
#pragma pack(pop)

ZV_STATIC_ASSERT(sizeof(ZV_COMMON_FILE_HEADER_tag) == 38, "the header record is 38 bytes");
ZV_STATIC_ASSERT(offsetof(ZV_COMMON_FILE_HEADER_tag, wMajorVer) == 4, "major version at 4");
ZV_STATIC_ASSERT(offsetof(ZV_COMMON_FILE_HEADER_tag, wMinorVer) == 6, "minor version at 6");
ZV_STATIC_ASSERT(offsetof(ZV_COMMON_FILE_HEADER_tag, lLastModified) == 8, "time at 8");
ZV_STATIC_ASSERT(offsetof(ZV_COMMON_FILE_HEADER_tag, dwDataSize) == 12, "data size at 12");
ZV_STATIC_ASSERT(offsetof(ZV_COMMON_FILE_HEADER_tag, lCheckSum) == 16, "checksum at 16");
ZV_STATIC_ASSERT(offsetof(ZV_COMMON_FILE_HEADER_tag, byMacAddr) == 20, "MAC address at 20");
ZV_STATIC_ASSERT(offsetof(ZV_COMMON_FILE_HEADER_tag, szExtraInfo) == 26, "extra text at 26");

/**
 * Identifier of one writing of one file on one machine, built by ZVCFGetWUID() from a header's
 * time and MAC address: three words compared as 12 bytes.
 *
 * Word 0, from bit 31 down: two flags (2 when the time is set, plus 1 when a MAC byte is
 * non-zero), year - 2000 (10 bits), month (4), day (5), hour (5), minute (6). Word 1: second (6),
 * milliseconds (10, always 0), MAC bytes 0 and 1. Word 2: MAC bytes 2 to 5. The fields are added
 * without masking, so a year before 2000 borrows through the flags: a header with time 0 and no
 * MAC gives the words 0xFE210800, 0, 0.
 * @ingroup header
 */
typedef struct WUID {
    uint32_t dwWord[3]; /**< the three words, host byte order */
} WUID;

ZV_STATIC_ASSERT(sizeof(WUID) == 12, "a WUID is 12 bytes");

/**
 * @addtogroup zvev
 * @{
 */

/** Entry types of an enumeration (ZVEV_ENUM_ENTRY_tag::wType), by the kind of item listed. */
enum {
    ZVEV_ENTRY_DIR = 1,     /**< a directory, locked or not */
    ZVEV_ENTRY_BINARY = 2,  /**< binary data */
    ZVEV_ENTRY_BOOLEAN = 3, /**< a boolean */
    ZVEV_ENTRY_INTEGER = 4, /**< an integer written in decimal (other radixes are not listed) */
    ZVEV_ENTRY_REAL = 5,    /**< a real */
    ZVEV_ENTRY_STRING = 6   /**< a string */
};

/** Enumeration options: bits of the options argument of ZVEVEnumEntries(); others are ignored. */
enum {
    ZVEV_ENUM_DIRS = 1, /**< list directories */
    ZVEV_ENUM_KEYS = 2, /**< list keys */
    ZVEV_ENUM_SORT = 4  /**< sort the entries by name, ignoring ASCII letter case (strcasecmp) */
};

#pragma pack(push, 1)
/**
 * One entry of an enumeration: the name (inside the same block) and the entry type. Packed: the
 * type follows the pointer directly (6 bytes on the device) and entries lie back to back.
 */
typedef struct ZVEV_ENUM_ENTRY_tag {
    char* pszName;  /**< the name, NUL-terminated, inside the list's own block */
    uint16_t wType; /**< a ZVEV_ENTRY_ value */
} ZVEV_ENUM_ENTRY_tag;

/**
 * A snapshot of one directory's names: one library buffer holding the count, count entries (room
 * for one even when the count is 0), then the names in storage order. Sorting moves only the
 * entries. It stays valid after the handle is closed; release it with ZVEVFreeSnapList().
 */
typedef struct ZVEV_ENUM_LIST_tag {
    uint32_t dwCount;               /**< number of entries */
    ZVEV_ENUM_ENTRY_tag Entries[1]; /**< dwCount entries */
} ZVEV_ENUM_LIST_tag;
#pragma pack(pop)

/** @} */

ZV_STATIC_ASSERT(offsetof(ZVEV_ENUM_ENTRY_tag, wType) == sizeof(char*), "type after the name");
ZV_STATIC_ASSERT(sizeof(ZVEV_ENUM_ENTRY_tag) == sizeof(char*) + 2, "entries are packed");
ZV_STATIC_ASSERT(offsetof(ZVEV_ENUM_LIST_tag, Entries) == 4, "entries follow the count");
#if defined(ZV_DEVICE_ABI)
ZV_STATIC_ASSERT(sizeof(ZVEV_ENUM_ENTRY_tag) == 6, "an entry is 6 bytes on the device");
#endif

/**
 * Kinds of the tokens the text environment reader cuts its input into (ZV_TOKEN_tag::nKind), and
 * which member of the token holds the value of each.
 * @ingroup envreader
 */
typedef enum ZV_TOKEN_KIND {
    ZV_TOKEN_NONE = 0,     /**< no token yet, deleted, or handed to the pushback stack */
    ZV_TOKEN_DECIMAL = 1,  /**< decimal integer within the signed 32-bit range: nValue */
    ZV_TOKEN_REAL = 2,     /**< number with a point or an exponent: dValue */
    ZV_TOKEN_STRING = 3,   /**< quoted literal: pszText, the decoded text in a library string
                                buffer the token owns (release it with DeleteToken), dwLength its
                                decoded byte count (it may hold NUL bytes) */
    ZV_TOKEN_NAME = 4,     /**< name: pszText points into the data, dwLength bytes, no NUL */
    ZV_TOKEN_CHAR = 5,     /**< one byte: a splitter = / { } , or any byte no other rule takes:
                                nValue is the byte 0-255 (cChar reads it as a char) */
    ZV_TOKEN_COMMENT = 6,  /**< comment: pszText points at the byte after '#' in the data,
                                dwLength bytes up to the line end, no NUL */
    ZV_TOKEN_LINE_END = 7, /**< CR LF or LF */
    ZV_TOKEN_BLANKS = 8,   /**< a run of blanks and tabs */
    ZV_TOKEN_HEX = 9,      /**< 0x digits: nValue (the 32 bits, negated for '-') */
    ZV_TOKEN_OCT = 10,     /**< 0o digits: nValue */
    ZV_TOKEN_BIN = 11,     /**< 0b digits: nValue */
    ZV_TOKEN_BIG = 12      /**< decimal integer outside the signed 32-bit range: dValue */
} ZV_TOKEN_KIND;

/**
 * One token of the text environment reader. On the device: seven 32-bit words, 28 bytes, the
 * double of kinds 2 and 12 spanning the value and length words. Other builds keep the same
 * members in their natural layout (a pointer-sized value word, the double over it).
 * The members of the value words are reached directly (token.nValue, token.dValue); the nameless
 * struct that makes this possible is standard C11 and, marked __extension__, is accepted without
 * a warning by pedantic C++ builds too.
 * @ingroup envreader
 */
typedef struct ZV_TOKEN_tag {
    int32_t nStart;  /**< position of the first byte in the data */
    int32_t nEnd;    /**< position just behind the token */
    int32_t nLine;   /**< line, counted from 0 */
    int32_t nColumn; /**< display column of the first byte from 0 (a tab: next multiple of 4) */
    int32_t nKind;   /**< a ZV_TOKEN_KIND */
    __extension__ union {
        struct {
            union {
                int32_t nValue; /**< kinds 1, 5, 9, 10, 11 */
                char* pszText;  /**< kinds 3, 4, 6 */
                char cChar;     /**< kind 5: the low byte of nValue */
            };
            uint32_t dwLength; /**< kinds 3, 4, 6 */
        };
        double dValue; /**< kinds 2, 12 */
    };
} ZV_TOKEN_tag;

#if defined(ZV_DEVICE_ABI)
ZV_STATIC_ASSERT(sizeof(ZV_TOKEN_tag) == 28, "ZV_TOKEN_tag is seven words on the device");
ZV_STATIC_ASSERT(offsetof(ZV_TOKEN_tag, nKind) == 16, "kind at 16");
ZV_STATIC_ASSERT(offsetof(ZV_TOKEN_tag, nValue) == 20, "value word at 20");
ZV_STATIC_ASSERT(offsetof(ZV_TOKEN_tag, pszText) == 20, "text pointer in the value word");
ZV_STATIC_ASSERT(offsetof(ZV_TOKEN_tag, dwLength) == 24, "length word at 24");
ZV_STATIC_ASSERT(offsetof(ZV_TOKEN_tag, dValue) == 20, "double over value and length words");
#endif

#pragma pack(push, 1)
/**
 * One error history record as host programs exchange it: packed, 58 bytes on every build, so an
 * array of records is a plain byte buffer. The history stores, orders and returns the fields and
 * gives them no meaning of its own; the record's id is kept beside it, not in it. The comments
 * give each field's offset.
 * @ingroup errhist
 */
typedef struct ERRHIST_tag {
    uint16_t wNumber1; /**< 0 */
    char szText[33];   /**< 2: 32 characters and a NUL; written up to its first NUL, read back
                            blank-padded to 32 characters */
    uint16_t wNumber2; /**< 35 */
    uint16_t wCode;    /**< 37: written as four upper-case hexadecimal digits */
    int32_t lTime;     /**< 39: seconds since 1970-01-01 UTC; stored as given, never filled in */
    uint8_t byNumber3; /**< 43 */
    uint16_t wNumber4; /**< 44 */
    uint32_t dwValue1; /**< 46 */
    uint32_t dwValue2; /**< 50 */
    uint32_t dwValue3; /**< 54 */
} ERRHIST_tag;
#pragma pack(pop)

ZV_STATIC_ASSERT(offsetof(ERRHIST_tag, wNumber1) == 0, "number 1 at 0");
ZV_STATIC_ASSERT(offsetof(ERRHIST_tag, szText) == 2, "text at 2");
ZV_STATIC_ASSERT(offsetof(ERRHIST_tag, wNumber2) == 35, "number 2 at 35");
ZV_STATIC_ASSERT(offsetof(ERRHIST_tag, wCode) == 37, "code at 37");
ZV_STATIC_ASSERT(offsetof(ERRHIST_tag, lTime) == 39, "time at 39");
ZV_STATIC_ASSERT(offsetof(ERRHIST_tag, byNumber3) == 43, "number 3 at 43");
ZV_STATIC_ASSERT(offsetof(ERRHIST_tag, wNumber4) == 44, "number 4 at 44");
ZV_STATIC_ASSERT(offsetof(ERRHIST_tag, dwValue1) == 46, "value 1 at 46");
ZV_STATIC_ASSERT(offsetof(ERRHIST_tag, dwValue2) == 50, "value 2 at 50");
ZV_STATIC_ASSERT(offsetof(ERRHIST_tag, dwValue3) == 54, "value 3 at 54");
ZV_STATIC_ASSERT(sizeof(ERRHIST_tag) == 58, "an error history record is 58 bytes");

#endif /* ZVTYPES_H */
