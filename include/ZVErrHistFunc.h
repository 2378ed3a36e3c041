/**
 * @file ZVErrHistFunc.h
 * @brief The error history (ZVEH) interface: one process-wide error history.
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

/**
 * @addtogroup errhist
 * @{
 */

/**
 * Creates the history, assigns path, capacity and flush interval (CZVErrorHistory::AssignPath())
 * and opens the file, which re-initialises it.
 *
 * @param path the history file; it must exist at exactly 96 + 128 x capacity bytes (12896 for
 *        100).
 * @param capacity records the ring holds, brought into 2..32767; 0 fails with code 48.
 * @param flushInterval 0 to 0x7FFFFFFF flush the file at every call; 0x80000000 and above never
 *        flush it (the records still reach the file's pages through the shared mapping).
 * @return 1, or 0.
 * @codes ::TARN_ERR_EH_ALREADY_INITIALIZED (41) when a history is held already;
 *        ::TARN_ERR_NULL_POINTER (16) for a null path; ::TARN_ERR_CREATE_OBJECT (33); the codes
 *        of CZVErrorHistory::Open(), 49 above all (missing file, or a file of another size).
 * @quirk A failed open still leaves the history held: a second ZVEHInitA() fails with 41, and
 *        each later call tries to open the file again. Call ZVEHExit() before trying another
 *        path. A failed creation or assignment leaves nothing held.
 */
ZV_API int ZVEHInitA(const char* path, unsigned short capacity, unsigned int flushInterval);
/**
 * ZVEHInitA() of the path converted to the narrow encoding of the current locale.
 *
 * @param path the history file.
 * @param capacity records the ring holds, brought into 2..32767.
 * @param flushInterval as for ZVEHInitA().
 * @return 1, or 0 (also when the path cannot be converted, without a code of its own).
 * @codes As ZVEHInitA(); ::TARN_ERR_NULL_POINTER (16) for a null path.
 */
ZV_API int ZVEHInitW(const wchar_t* path, unsigned short capacity, unsigned int flushInterval);
/**
 * Closes and deletes the history held, if any; the file keeps its records.
 *
 * @return 1, also when nothing was initialised (no code is set then).
 */
ZV_API int ZVEHExit(void);
/**
 * The records held and their ids.
 *
 * @param firstId receives the oldest id when non-null; 0 when empty.
 * @param lastId receives the newest id when non-null; 0 when empty.
 * @return the number of records held (0 when empty), or -1 on failure.
 * @codes ::TARN_ERR_EH_NOT_INITIALIZED (42) before initialisation; those of
 *        CZVErrorHistory::GetRange().
 */
ZV_API int ZVEHGetRange(unsigned short* firstId, unsigned short* lastId);
/**
 * Reads records selected by id, as CZVErrorHistory::Get() does.
 *
 * @param startId an id of the selection.
 * @param count ids from startId on when positive, the |count| ids ending at startId when
 *        negative, every record held when 0.
 * @param records receives as many selected records as fit, oldest first.
 * @param bufferBytes size of records in bytes, 58 per record; 0 reads nothing.
 * @param firstId receives the first id selected when non-null.
 * @param readCount receives the records copied when non-null.
 * @return the number of records selected (even when fewer fitted), 0 when none, -1 on failure.
 * @codes ::TARN_ERR_EH_NOT_INITIALIZED (42) before initialisation; those of
 *        CZVErrorHistory::Get().
 */
ZV_API int ZVEHGetErrorHistory(unsigned short startId, int count, ERRHIST_tag* records,
                               unsigned int bufferBytes, unsigned short* firstId, int* readCount);
/**
 * Empties the ring; the next record still takes the id after the last one given.
 *
 * @return 1, or 0.
 * @codes ::TARN_ERR_EH_NOT_INITIALIZED (42) before initialisation; those of
 *        CZVErrorHistory::Clear().
 */
ZV_API int ZVEHClearErrorHistory(void);
/**
 * Appends a copy of a record as the newest; once the ring is full it replaces the oldest.
 *
 * @param record the record, stored as given (fill in its time yourself).
 * @param id receives its id (1 to 65535, then 1 again) when non-null.
 * @return 1, or 0.
 * @codes ::TARN_ERR_EH_NOT_INITIALIZED (42) before initialisation; ::TARN_ERR_NULL_POINTER (16)
 *        for a null record; those of CZVErrorHistory::Add().
 */
ZV_API int ZVEHAddErrorHistory(ERRHIST_tag* record, unsigned short* id);
/**
 * Id arithmetic in the ring of ids 1..65535 (65535 shifted by 1 is 1); needs no
 * initialisation.
 *
 * @param id the id, 1 to 65535.
 * @param delta the signed shift.
 * @param result receives the shifted id.
 * @return 1, or 0.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null result; ::TARN_ERR_EH_INVALID_ID (43) for
 *        id 0.
 */
ZV_API int ZVEHShiftErrorID(unsigned short id, int delta, unsigned short* result);

/** @} */

ZV_END_C

#ifdef __cplusplus

#include <pthread.h>

/**
 * The process-wide holder of the ZVEH functions' history: one instance, made on first use and
 * destroyed at process exit (which does not delete the object held). Its critical section marks
 * the exclusion the ZVEH calls are meant to have; the calls are empty on this platform.
 *
 * Layout: 32 bytes on the device.
 * @ingroup errhist
 */
class ZV_API CZVObjectHolder {
public:
    /**
     * The one instance, made on the first call (under the runtime's guard for local statics).
     *
     * @return the instance; never null.
     */
    static CZVObjectHolder* GetInstance();

    /** Forgets the object held without deleting it. */
    virtual ~CZVObjectHolder();
    /**
     * Enters or leaves the holder's critical section (empty calls here).
     *
     * @param lock non-zero enters, zero leaves.
     */
    virtual void Lock(int lock);
    /**
     * The object held.
     *
     * @return the CZVErrorHistory held, or null.
     */
    virtual void* GetObject();
    /**
     * Stores object; the one held before is not deleted.
     *
     * @param object the object to hold, or null.
     */
    virtual void SetObject(void* object);

    /** Not copyable. */
    CZVObjectHolder(const CZVObjectHolder&) = delete;
    /** Not assignable. */
    CZVObjectHolder& operator=(const CZVObjectHolder&) = delete;

    pthread_mutex_t m_CriticalSection; /**< marks the holder's exclusion (empty calls) */
    void* m_pObject;                   /**< the CZVErrorHistory held, or null */

private:
    CZVObjectHolder();
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVObjectHolder) == 32, "CZVObjectHolder is 32 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVERRHISTFUNC_H */
