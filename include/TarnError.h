/**
 * @file TarnError.h
 * @brief The last-error code and its messages.
 *
 * Every exported function reports failure by its result and leaves a numeric code behind. The
 * code is kept in the calling thread's errno: it is per thread, and any later failing system call
 * in that thread may overwrite it, so read it at once. A caller may also read an errno value that
 * the system library set itself (a failed stat() leaves ENOENT, which reads as code 2): the
 * library sets a code where it reports a failure of its own, and does not save and restore errno
 * around the system calls it makes.
 */
#ifndef TARNERROR_H
#define TARNERROR_H

#include "ZVTypes.h"

/**
 * @addtogroup lasterror
 * @{
 */

/**
 * The codes the library sets, each with its message as TarnGetErrorMsg() gives it. 73 and 74
 * have no row of their own: their message is "Unknown error.". The rows 32, 37, 50, 52, 53, 61,
 * 62, 63 and 70 are kept for host programs and their messages, though no operation of this
 * library sets them.
 */
enum {
    TARN_ERR_INVALID_HANDLE = 1,          /**< "Invalid handle assigned." */
    TARN_ERR_ASSIGN_SAVE_FORMAT = 2,      /**< "Assign save format failed." */
    TARN_ERR_CLOSE_FILE = 3,              /**< "Close file failed." */
    TARN_ERR_CREATE_DIRECTORY = 4,        /**< "Create directory failed." */
    TARN_ERR_DIRECTORY_NOT_EXIST = 5,     /**< "Directory is not exist." */
    TARN_ERR_FILE_ALREADY_OPENED = 6,     /**< "File already opened." */
    TARN_ERR_FILE_NOT_OPENED = 7,         /**< "File not opened." */
    TARN_ERR_FLUSH_FILE = 8,              /**< "Flush file failed." */
    TARN_ERR_GET_SHARED_DATA_NAME = 9,    /**< "Get shared data name failed." */
    TARN_ERR_INVALID_BINARY_SIZE = 10,    /**< "Invalid binary data size." */
    TARN_ERR_INVALID_BUFFER_SIZE = 11,    /**< "Invalid buffer size." */
    TARN_ERR_KEY_NOT_EXIST = 12,          /**< "Key is not exist." */
    TARN_ERR_LOAD_FILE = 13,              /**< "Load file failed." */
    TARN_ERR_LOCK_DIRECTORY = 14,         /**< "Lock directory failed." */
    TARN_ERR_MEMORY_OVERFLOW = 15,        /**< "Memory overflow." */
    TARN_ERR_NULL_POINTER = 16,           /**< "Null pointer assigned." */
    TARN_ERR_OPEN_WORK_AREA = 17,         /**< "Open work area failed." */
    TARN_ERR_REMOVE_DIRECTORY = 18,       /**< "Remove directory failed." */
    TARN_ERR_REMOVE_KEY = 19,             /**< "Remove key failed." */
    TARN_ERR_RESET_FILE = 20,             /**< "Reset file failed." */
    TARN_ERR_SET_BINARY = 21,             /**< "Set binary data failed." */
    TARN_ERR_SET_INTEGER = 22,            /**< "Set integer failed." */
    TARN_ERR_SET_REAL = 23,               /**< "Set real value failed." */
    TARN_ERR_SET_STRING = 24,             /**< "Set string value failed." */
    TARN_ERR_UNSUPPORTED_FORMAT = 25,     /**< "Unsupported format." */
    TARN_ERR_LOCK_DATA = 26,              /**< "Lock data failed." */
    TARN_ERR_INVALID_KEY = 27,            /**< "Invalid key assigned." */
    TARN_ERR_MISSING_KEY_NAME = 28,       /**< "Missing key name." */
    TARN_ERR_LOCAL_TIME_CONVERSION = 29,  /**< "Local time conversion failed." */
    TARN_ERR_SYSTEM_TIME_CONVERSION = 30, /**< "System time conversion failed." */
    TARN_ERR_INVALID_FORMAT = 31,         /**< "Invalid format assigned." */
    TARN_ERR_INVALID_TIME_UNIT = 32,      /**< "Invalid time unit assigned." */
    TARN_ERR_CREATE_OBJECT = 33,          /**< "Create object failed." */
    TARN_ERR_INVALID_MAC_FORMAT = 34,     /**< "Invalid mac address formaT." */
    TARN_ERR_BUFFER_TOO_SHORT = 35,       /**< "Buffer size too short." */
    TARN_ERR_OPEN_FILE = 36,              /**< "Open file failed." */
    TARN_ERR_FILE_TOO_SHORT = 37,         /**< "File size too short." */
    TARN_ERR_FILE_NOT_FOUND = 38,         /**< "File not found." */
    TARN_ERR_FILE_SIZE_MISMATCH = 39,     /**< "Detect file size mismatch." */
    TARN_ERR_CHECKSUM_MISMATCH = 40,      /**< "Detect check sum mismatch." */
    TARN_ERR_EH_ALREADY_INITIALIZED = 41, /**< "Error history already initialized." */
    TARN_ERR_EH_NOT_INITIALIZED = 42,     /**< "Error history not initialized." */
    TARN_ERR_EH_INVALID_ID = 43,          /**< "Invalid error history id." */
    TARN_ERR_DELETE_OBJECT = 44,          /**< "Delete object failed." */
    TARN_ERR_EH_PATH_NOT_ASSIGNED = 45,   /**< "Error history path not assigned." */
    TARN_ERR_CREATE_MUTEX = 46,           /**< "Create mutex failed." */
    TARN_ERR_LOCK_MUTEX = 47,             /**< "Lock mutex failed." */
    TARN_ERR_EH_FILE_NOT_EXIST = 48,      /**< "Error history file not exist." */
    TARN_ERR_EH_OPEN_FILE = 49,           /**< "Open error history file failed." */
    TARN_ERR_EH_READ_FILE = 50,           /**< "Read error history file failed." */
    TARN_ERR_EH_FILE_CORRUPTED = 51,      /**< "Invalid error history file or corrupted." */
    TARN_ERR_CREATE_FILE_MAPPING = 52,    /**< "Create file mapping failed." */
    TARN_ERR_MAP_FILE_MAPPING = 53,       /**< "Map file mapping failed." */
    TARN_ERR_EH_FILE_NOT_OPENED = 54,     /**< "Error history file not opened." */
    TARN_ERR_EH_LOCK_FILE = 55,           /**< "Lock error history file failed." */
    TARN_ERR_EH_FLUSH_FILE = 56,          /**< "Flush error history file failed." */
    TARN_ERR_EH_UNLOCK_FILE = 57,         /**< "Unlock error history file failed." */
    TARN_ERR_EH_DATA_CORRUPTED = 58,      /**< "Error history data corrupted." */
    TARN_ERR_EH_FILE_NOT_LOCKED = 59,     /**< "Error history file not locked." */
    TARN_ERR_EH_HEADER_CORRUPTED = 60,    /**< "Error history header corrupted." */
    TARN_ERR_NO_NETWORK_ADAPTER = 61,     /**< "No network adapter." */
    TARN_ERR_GET_ADAPTER_INFO = 62,       /**< "Get network adapter info failed." */
    TARN_ERR_RECOGNIZE_IP_ADDRESS = 63,   /**< "Recognize ip address string failed." */
    TARN_ERR_UNLOCK_DATA = 64,            /**< "Unlock data failed." */
    TARN_ERR_INVALID_FILE_PATH = 65,      /**< "Invalid file path assigned." */
    TARN_ERR_RESIZE_FILE = 66,            /**< "Resize file failed." */
    TARN_ERR_INVALID_STRING_FORMAT = 67,  /**< "Invalid string format assigned." */
    TARN_ERR_FILE_NOT_EXIST = 68,         /**< "File not exist." */
    TARN_ERR_PATH_IS_DIRECTORY = 69,      /**< "Assigned path is directory." */
    TARN_ERR_GET_FILE_TIME = 70,          /**< "Get file time failed." */
    TARN_ERR_NO_ENUM_OPTION = 71,         /**< "No enum item option assigned." */
    TARN_ERR_FILE_CORRUPTED = 73,         /**< the read probe found the file unreadable */
    TARN_ERR_HEADER_NOT_ABSOLUTE = 74     /**< the strict header check: line is not 96 bytes */
};

ZV_BEGIN_C

/**
 * Stores code as the calling thread's last error (its errno). Never fails.
 *
 * @param code the code to store, with or without a message of its own.
 */
ZV_API void TarnSetLastError(unsigned int code);

/**
 * The calling thread's last error (its errno). Never fails and does not clear the code.
 *
 * @return the code last set in this thread by the library or by the system library. A code set
 *         in another thread is never seen.
 */
ZV_API unsigned int TarnGetLastError(void);

/**
 * The constant English message of a code. Never fails and never sets the last error.
 *
 * @param code any code.
 * @return the message of the code's row; "" for 0; "Unknown error." for a code without a row
 *         (72, 73, 74, 0xFFFF, an errno value of the system library, ...). Never null. The text
 *         belongs to the library: do not free or change it.
 */
ZV_API const char* TarnGetErrorMsg(unsigned int code);

ZV_END_C

/** @} */

#endif /* TARNERROR_H */
