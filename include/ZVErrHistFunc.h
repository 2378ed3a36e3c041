/*
 * ZVErrHistFunc.h - the error history (ZVEH) interface: one process-wide error history.
 *
 * ZVEHInitA/W create the history over a file that must already exist at 96 + 128 x capacity
 * bytes; opening it re-initialises it (an empty ring, ids from 1). ZVEHAddErrorHistory appends a
 * record, ZVEHGetErrorHistory reads records by id and direction into a buffer given in bytes
 * (58 per record), ZVEHGetRange reports the ids held, ZVEHClearErrorHistory empties the ring
 * (keeping the id sequence), and ZVEHExit closes the history. ZVEHShiftErrorID is plain id
 * arithmetic and needs no initialisation.
 *
 * Threads: every function but ZVEHShiftErrorID and ZVEHInitW runs under the holder's critical
 * section, but the critical sections are empty calls on this platform and the mapping's lock lets
 * a second thread through once the first holds it, so the functions give NO exclusion between
 * threads: a host program that calls them from several threads must serialise the calls itself.
 * Nothing is shared between processes but the file's bytes.
 *
 * Codes: 41 already initialised, 42 not initialised, and those of CZVErrorHistory.
 */
#ifndef ZVERRHISTFUNC_H
#define ZVERRHISTFUNC_H

#include <wchar.h>

#include "ZVTypes.h"

ZV_BEGIN_C

/* Creates the history, assigns path, capacity and flush interval, and opens the file. 0 with
 * code 41 when a history is held already. A failed open still leaves the history held (each
 * later call tries to open it again); a failed creation or assignment leaves nothing held. */
ZV_API int ZVEHInitA(const char* path, unsigned short capacity, unsigned int flushInterval);
/* ZVEHInitA of the converted path; 0 when the path cannot be converted. */
ZV_API int ZVEHInitW(const wchar_t* path, unsigned short capacity, unsigned int flushInterval);
/* Closes and deletes the history held, if any. Always 1. */
ZV_API int ZVEHExit(void);
/* The number of records held (0 when empty) with the oldest and newest ids through the non-null
 * pointers; -1 on failure (code 42 before initialisation). */
ZV_API int ZVEHGetRange(unsigned short* firstId, unsigned short* lastId);
/* The number of records selected by startId and count (count < 0: the ids ending at startId;
 * 0: all), of which as many as fit are copied into records (bufferBytes bytes); *firstId is the
 * first id selected and *readCount the records copied. -1 on failure (42 before init). */
ZV_API int ZVEHGetErrorHistory(unsigned short startId, int count, ERRHIST_tag* records,
                               unsigned int bufferBytes, unsigned short* firstId, int* readCount);
/* Empties the ring: 1, or 0 (42 before initialisation). */
ZV_API int ZVEHClearErrorHistory(void);
/* Appends a copy of *record; *id receives its id when id is non-null. 1, or 0 (42 before init). */
ZV_API int ZVEHAddErrorHistory(ERRHIST_tag* record, unsigned short* id);
/* *result = id shifted by delta in the ring of ids 1..65535: 1, or 0 (16 null result, 43 id 0). */
ZV_API int ZVEHShiftErrorID(unsigned short id, int delta, unsigned short* result);

ZV_END_C

#ifdef __cplusplus

#include <pthread.h>

/*
 * The process-wide holder of the ZVEH functions' history: one instance, made on first use and
 * destroyed at process exit (which does not delete the object held). Its critical section marks
 * the exclusion the ZVEH calls are meant to have; the calls are empty on this platform.
 */
class ZV_API CZVObjectHolder {
public:
    static CZVObjectHolder* GetInstance();

    virtual ~CZVObjectHolder();
    /* Non-zero enters the holder's critical section, zero leaves it. */
    virtual void Lock(int lock);
    virtual void* GetObject();
    /* Stores object; the one held before is not deleted. */
    virtual void SetObject(void* object);

    CZVObjectHolder(const CZVObjectHolder&) = delete;
    CZVObjectHolder& operator=(const CZVObjectHolder&) = delete;

    pthread_mutex_t m_CriticalSection; /* marks the holder's exclusion (empty calls) */
    void* m_pObject;                   /* the CZVErrorHistory held, or null */

private:
    CZVObjectHolder();
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVObjectHolder) == 32, "CZVObjectHolder is 32 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVERRHISTFUNC_H */
