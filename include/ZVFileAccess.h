/*
 * ZVFileAccess.h - the environment-file (ZVEV) interface.
 */
#ifndef ZVFILEACCESS_H
#define ZVFILEACCESS_H

#include <wchar.h>

#include "ZVTypes.h"

ZV_BEGIN_C

/*
 * 1 when stat() of path succeeds and the mode's directory bit (0x4000) is clear, else 0 (also
 * for a null path). Sets no code. The wide path is converted with a 256-byte limit.
 */
ZV_API int ZVEVIsFileExistA(const char* path);
ZV_API int ZVEVIsFileExistW(const wchar_t* path);

ZV_END_C

#endif /* ZVFILEACCESS_H */
