/*
 * TarnError.h - the last-error code and its messages.
 *
 * Every exported function reports failure by its result and leaves a numeric code behind. The
 * code is kept in the calling thread's errno: it is per thread, and any later failing system call
 * in that thread may overwrite it, so read it at once.
 */
#ifndef TARNERROR_H
#define TARNERROR_H

#include "ZVTypes.h"

/* The codes the library sets. 73 and 74 have no message of their own ("Unknown error."). */
enum {
    TARN_ERR_INVALID_HANDLE = 1,
    TARN_ERR_ASSIGN_SAVE_FORMAT = 2,
    TARN_ERR_CLOSE_FILE = 3,
    TARN_ERR_CREATE_DIRECTORY = 4,
    TARN_ERR_DIRECTORY_NOT_EXIST = 5,
    TARN_ERR_FILE_ALREADY_OPENED = 6,
    TARN_ERR_FILE_NOT_OPENED = 7,
    TARN_ERR_FLUSH_FILE = 8,
    TARN_ERR_GET_SHARED_DATA_NAME = 9,
    TARN_ERR_INVALID_BINARY_SIZE = 10,
    TARN_ERR_INVALID_BUFFER_SIZE = 11,
    TARN_ERR_KEY_NOT_EXIST = 12,
    TARN_ERR_LOAD_FILE = 13,
    TARN_ERR_LOCK_DIRECTORY = 14,
    TARN_ERR_MEMORY_OVERFLOW = 15,
    TARN_ERR_NULL_POINTER = 16,
    TARN_ERR_OPEN_WORK_AREA = 17,
    TARN_ERR_REMOVE_DIRECTORY = 18,
    TARN_ERR_REMOVE_KEY = 19,
    TARN_ERR_RESET_FILE = 20,
    TARN_ERR_SET_BINARY = 21,
    TARN_ERR_SET_INTEGER = 22,
    TARN_ERR_SET_REAL = 23,
    TARN_ERR_SET_STRING = 24,
    TARN_ERR_UNSUPPORTED_FORMAT = 25,
    TARN_ERR_LOCK_DATA = 26,
    TARN_ERR_INVALID_KEY = 27,
    TARN_ERR_MISSING_KEY_NAME = 28,
    TARN_ERR_LOCAL_TIME_CONVERSION = 29,
    TARN_ERR_SYSTEM_TIME_CONVERSION = 30,
    TARN_ERR_INVALID_FORMAT = 31,
    TARN_ERR_INVALID_TIME_UNIT = 32,
    TARN_ERR_CREATE_OBJECT = 33,
    TARN_ERR_INVALID_MAC_FORMAT = 34,
    TARN_ERR_BUFFER_TOO_SHORT = 35,
    TARN_ERR_OPEN_FILE = 36,
    TARN_ERR_FILE_TOO_SHORT = 37,
    TARN_ERR_FILE_NOT_FOUND = 38,
    TARN_ERR_FILE_SIZE_MISMATCH = 39,
    TARN_ERR_CHECKSUM_MISMATCH = 40,
    TARN_ERR_EH_ALREADY_INITIALIZED = 41,
    TARN_ERR_EH_NOT_INITIALIZED = 42,
    TARN_ERR_EH_INVALID_ID = 43,
    TARN_ERR_DELETE_OBJECT = 44,
    TARN_ERR_EH_PATH_NOT_ASSIGNED = 45,
    TARN_ERR_CREATE_MUTEX = 46,
    TARN_ERR_LOCK_MUTEX = 47,
    TARN_ERR_EH_FILE_NOT_EXIST = 48,
    TARN_ERR_EH_OPEN_FILE = 49,
    TARN_ERR_EH_READ_FILE = 50,
    TARN_ERR_EH_FILE_CORRUPTED = 51,
    TARN_ERR_CREATE_FILE_MAPPING = 52,
    TARN_ERR_MAP_FILE_MAPPING = 53,
    TARN_ERR_EH_FILE_NOT_OPENED = 54,
    TARN_ERR_EH_LOCK_FILE = 55,
    TARN_ERR_EH_FLUSH_FILE = 56,
    TARN_ERR_EH_UNLOCK_FILE = 57,
    TARN_ERR_EH_DATA_CORRUPTED = 58,
    TARN_ERR_EH_FILE_NOT_LOCKED = 59,
    TARN_ERR_EH_HEADER_CORRUPTED = 60,
    TARN_ERR_NO_NETWORK_ADAPTER = 61,
    TARN_ERR_GET_ADAPTER_INFO = 62,
    TARN_ERR_RECOGNIZE_IP_ADDRESS = 63,
    TARN_ERR_UNLOCK_DATA = 64,
    TARN_ERR_INVALID_FILE_PATH = 65,
    TARN_ERR_RESIZE_FILE = 66,
    TARN_ERR_INVALID_STRING_FORMAT = 67,
    TARN_ERR_FILE_NOT_EXIST = 68,
    TARN_ERR_PATH_IS_DIRECTORY = 69,
    TARN_ERR_GET_FILE_TIME = 70,
    TARN_ERR_NO_ENUM_OPTION = 71,
    TARN_ERR_FILE_CORRUPTED = 73,     /* the read probe found the file unreadable */
    TARN_ERR_HEADER_NOT_ABSOLUTE = 74 /* the strict header check: line is not 96 bytes */
};

ZV_BEGIN_C

/* Stores code as the calling thread's last error (its errno). Never fails. */
ZV_API void TarnSetLastError(unsigned int code);

/* The calling thread's last error (its errno); does not clear it. Never fails. */
ZV_API unsigned int TarnGetLastError(void);

/*
 * The constant English message of code: "" for 0, "Unknown error." for a code without a row
 * (73, 74, 0xFFFF, ...). Never null; never sets the last error. Do not free the result.
 */
ZV_API const char* TarnGetErrorMsg(unsigned int code);

ZV_END_C

#endif /* TARNERROR_H */
