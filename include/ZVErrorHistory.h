/**
 * @file ZVErrorHistory.h
 * @brief A fixed-capacity ring of error records in a memory-mapped text file.
 *
 * The file is one 96-byte header line followed by one 128-byte line per slot:
 *
 *     EHST0100,LM:<date-time>,FD:<oldest id>,LD:<newest id>,RC:<records>,MC:<slots>,TO:<slot>,
 *
 * then blanks and CR LF, and per slot the record's id (00000 for an empty slot), its fields at
 * fixed columns, blanks and CR LF. Ids run 1 to 65535 and then start again at 1. The file must
 * already exist at 96 + 128 x capacity bytes: opening maps it at that size and re-initialises it
 * (an empty ring, ids from 1). Every operation takes the object's critical section, locks the
 * mapping's mutex, re-reads the header from the file, and on unlocking writes the header back,
 * stamps LM and flushes the mapping (as the flush interval decides). Operations return 1 (or a
 * count) on success and 0 (or -1) on failure with a last-error code.
 *
 * Codes: 16 null pointer, 33 create, 43 invalid id, 44 delete, 45 no path, 46 create mutex,
 * 47 lock mutex, 48 capacity 0, 49 open, 51 file size, 54 not open, 55 lock, 56 flush,
 * 57 unlock, 58 record line corrupted, 59 not locked, 60 header line corrupted.
 *
 * Layout: the fields and the virtual slots are in the order the device's host programs were
 * built against; do not reorder them. The fields are public, as in CZVMapFile.
 */
#ifndef ZVERRORHISTORY_H
#define ZVERRORHISTORY_H

#ifdef __cplusplus

#include <pthread.h>
#include <stdint.h>

#include "ZVMapFile.h"
#include "ZVTypes.h"

/**
 * The error history ring over one memory-mapped file. Host programs normally reach the one
 * history of their process through the ZVEH functions, which hold an object of this class.
 *
 * The oldest record (id FD) lies in slot TO and the k-th after it in slot (TO + k) mod MC: with
 * capacity 3, five records leave FD 3, LD 5, RC 3, TO 2, and the records 3, 4, 5 in the slots
 * 2, 0, 1. Other processes that map the same file see the records; nothing orders writers in
 * different processes, and each re-reads the header when it locks, so the last writer's header
 * wins. Every member runs under the object's critical section, which is empty on this platform.
 *
 * Layout: 124 bytes on the device.
 * @ingroup errhist
 */
class ZV_API CZVErrorHistory {
public:
    /**
     * A new object (path none, capacity 100, flush interval 3000), released with Delete().
     *
     * @return the object, or null.
     * @codes ::TARN_ERR_CREATE_OBJECT (33) when it cannot be allocated.
     */
    static CZVErrorHistory* Create();
    /**
     * Id arithmetic in the ring of ids 1..65535: ((id - 1 + delta) mod 65535) + 1 with a
     * remainder that is not negative, so 65535 shifted by 1 is 1.
     *
     * @param id the id, 1 to 65535.
     * @param delta the signed shift.
     * @param result receives the shifted id; 0 when id is 0.
     * @return 1, or 0.
     * @codes ::TARN_ERR_NULL_POINTER (16) for a null result; ::TARN_ERR_EH_INVALID_ID (43) for
     *        id 0.
     */
    static int ShiftID(unsigned short id, int delta, unsigned short* result);

    /** A closed object: path none, capacity 100, flush interval 3000, header fields 0. */
    CZVErrorHistory();
    /**
     * Closes the file if it is open and frees the path.
     *
     * May be left by an exception of a host program's subclass; Delete reports it as code 44.
     */
    virtual ~CZVErrorHistory() noexcept(false);

    /**
     * Opens the assigned file, unless it is open already: creates and takes the mapping's
     * mutex, maps the file writable at 96 + 128 x capacity bytes, writes an empty ring over it
     * (header FD, LD, RC, TO 0, MC the capacity; every slot empty), then unlocks, which stamps LM
     * and flushes.
     *
     * @return 1 (also when open already), or 0.
     * @codes ::TARN_ERR_EH_PATH_NOT_ASSIGNED (45); ::TARN_ERR_CREATE_MUTEX (46);
     *        ::TARN_ERR_LOCK_MUTEX (47); ::TARN_ERR_EH_FILE_NOT_EXIST (48) for capacity 0 on an
     *        existing file; ::TARN_ERR_EH_OPEN_FILE (49) when the file is missing (no file is
     *        created) or has another size than 96 + 128 x capacity (it is left untouched); the
     *        codes of Lock().
     * @quirk Every open re-initialises the file: the records of an earlier run are gone, and ids
     *        start again at 1. Prepare the file at exactly its size (480 bytes for capacity 3).
     */
    virtual int Open();
    /** Destroys a Create()d object; an exception from the destructor is reported as code 44. */
    virtual void Delete();
    /**
     * Stores a copy of the path (closing an open file first), the capacity and the flush
     * interval. The file is not touched until Open().
     *
     * @param path the file; may be the path stored already.
     * @param capacity slots, brought into 2..32767 (1 stores 2, 40000 stores 32767); 0 stays 0
     *        and makes Open() fail with code 48.
     * @param flushInterval compared, as a signed number, with the time since the last flush when
     *        unlocking: 0 to 0x7FFFFFFF flush at every unlock, 0x80000000 and above never do.
     * @return 1, or 0 (the old path is gone when the copy fails).
     * @codes ::TARN_ERR_NULL_POINTER (16) for a null path; ::TARN_ERR_MEMORY_OVERFLOW (15).
     */
    virtual int AssignPath(const char* path, unsigned short capacity, unsigned int flushInterval);
    /**
     * Appends a copy of a record as the newest, with the id after the last one given (1 after
     * 65535). Once the ring is full, the new record takes the oldest record's slot.
     *
     * @param record the record, stored as given (its time is not filled in).
     * @param id receives the new id when non-null; 0 on failure.
     * @return 1, or 0.
     * @codes ::TARN_ERR_NULL_POINTER (16) for a null record; the codes of Open() (a closed object
     *        is opened first, which re-initialises the file) and of Lock().
     */
    virtual int Add(ERRHIST_tag* record, unsigned short* id);
    /**
     * Reads records selected by id.
     *
     * A positive count selects the ids startId .. startId + count - 1, a negative one the |count|
     * ids ending at startId, and 0 (or a magnitude above 65534) every record held; the selection
     * is cut to the ids held (ids count on across the wrap after 65535). With 3 .. 5 held,
     * (5, -2) selects 4 and 5, (4, 10) selects 4 and 5.
     *
     * @param startId an id of the selection.
     * @param count the signed number of ids; 0 for all.
     * @param records receives as many selected records as fit, oldest first.
     * @param bufferBytes size of records in bytes: 58 per record (a 100-byte buffer holds one);
     *        0 reads nothing.
     * @param firstId receives the first id selected when non-null (0 when none).
     * @param readCount receives the records copied when non-null, counted as they are read.
     * @return the number of records selected, even when fewer fitted; 0 when none; -1 on
     *         failure.
     * @codes ::TARN_ERR_NULL_POINTER (16) for a null records with a non-zero size;
     *        ::TARN_ERR_EH_INVALID_ID (43) for startId 0 with a non-zero count;
     *        ::TARN_ERR_EH_DATA_CORRUPTED (58) for a record line that does not read; the codes
     *        of Open() and Lock().
     */
    virtual int Get(unsigned short startId, int count, ERRHIST_tag* records,
                    unsigned int bufferBytes, unsigned short* firstId, int* readCount);
    /**
     * The records held and their ids.
     *
     * @param firstId receives the oldest id when non-null; 0 when empty.
     * @param lastId receives the newest id when non-null; 0 when empty.
     * @return the number of records held (0 when empty), or -1 on failure.
     * @codes Those of Open() and Lock().
     */
    virtual int GetRange(unsigned short* firstId, unsigned short* lastId);
    /**
     * Empties the ring.
     *
     * @return 1, or 0.
     * @codes Those of Open() and Lock().
     * @quirk The id sequence and the slot position go on: with 3 .. 5 held in 3 slots, the next
     *        record after a clear gets id 6 and goes to slot 2; the slots keep their old lines
     *        until they are overwritten, but only records added after the clear are read.
     */
    virtual int Clear();
    /**
     * Tells whether the file is mapped.
     *
     * @return 1 when open, else 0.
     */
    virtual int IsOpened();
    /**
     * Unmaps the file (flushing it) and closes the mutex.
     *
     * @return 1, or 0 when one of them fails.
     */
    virtual int Close();
    /**
     * Locks the mapping's mutex and reads the header from the file, or writes the header back
     * and unlocks. Unlocking stamps LM with the current time and flushes the mapping when the
     * flush interval says so (see AssignPath()).
     *
     * @param lock non-zero to lock, zero to unlock.
     * @return 1 (also when already in the state asked for), or 0.
     * @codes ::TARN_ERR_EH_FILE_NOT_OPENED (54); ::TARN_ERR_EH_LOCK_FILE (55);
     *        ::TARN_ERR_EH_HEADER_CORRUPTED (60) for a header line that does not read, or whose
     *        MC, RC or TO do not fit the mapped file (the mutex is released);
     *        ::TARN_ERR_EH_FLUSH_FILE (56); ::TARN_ERR_EH_UNLOCK_FILE (57).
     * @quirk The mutex lets a second thread of the process through once the first holds it (see
     *        CZVMapFile::Lock()), so this gives no exclusion between threads.
     */
    virtual int Lock(int lock);
    /**
     * Writes a record and its id as a 128-byte slot line, or reads them from one.
     *
     * Writing: "%05u,%05u,%-32s,%05u,%04X,%-23s,%03u,%05u,%010u,%010u,%010u," (id, number 1,
     * text up to its first NUL, number 2, code, time as TARN_DTF_YMDHMSM UTC, number 3, number
     * 4, values 1-3), blanks and CR LF. A null id or record, or id 0, writes an empty slot:
     * "00000," and a NUL, blanks, CR LF.
     * Reading: every field and comma at its fixed column; numbers wrap in their field's type
     * ("999" into number 3 is 231); the text keeps its padding blanks; "00000" in the first five
     * bytes is an empty slot whatever follows (record all zero, result 1).
     *
     * @param id the id to write, or receives the id read.
     * @param record the record to write, or receives the record read (cleared first).
     * @param direction non-zero writes, zero reads.
     * @param buffer the 128-byte line.
     * @return 1, or 0.
     * @codes ::TARN_ERR_NULL_POINTER (16) for a null buffer, or a null id or record when reading;
     *        ::TARN_ERR_EH_DATA_CORRUPTED (58) for a line that does not match.
     * @quirk The code field reads lower-case letters beyond 'f' too: 'g' to 'z' count 16 to 35
     *        ("00g1" is 257).
     */
    virtual int ExchangeErrHist(unsigned short* id, ERRHIST_tag* record, int direction,
                                void* buffer);
    /**
     * Writes the header fields as the 96-byte line, or reads them from one. Reading compares the
     * kind "EHST0100,LM:" and every separator exactly (a lower-case kind is refused) and needs
     * five zero-padded digits per number (which wrap in 16 bits: 99999 is 34463).
     *
     * @param direction non-zero writes, zero reads.
     * @param buffer the 96-byte line; null is the mapped file's header, which needs the mapping
     *        locked.
     * @return 1, or 0.
     * @codes ::TARN_ERR_EH_FILE_NOT_LOCKED (59) for a null buffer while not locked;
     *        ::TARN_ERR_EH_HEADER_CORRUPTED (60) for a line that does not match (the fields read
     *        so far keep what was read).
     */
    virtual int ExchangeHeader(int direction, void* buffer);

    /** Not copyable. */
    CZVErrorHistory(const CZVErrorHistory&) = delete;
    /** Not assignable. */
    CZVErrorHistory& operator=(const CZVErrorHistory&) = delete;

    char* m_pszPath;                   /**< library buffer: the assigned path, or null */
    unsigned short m_wCapacity;        /**< slots of the file */
    unsigned int m_dwFlushInterval;    /**< compared with the time since LM when unlocking */
    unsigned short m_wFD;              /**< id of the oldest record, 0 when empty */
    unsigned short m_wLD;              /**< id of the newest record ever added */
    unsigned short m_wRC;              /**< records held */
    unsigned short m_wMC;              /**< slots */
    unsigned short m_wTO;              /**< slot of the oldest record */
    unsigned short m_wSpare;           /**< zeroed with the header, never used */
    int32_t m_lLM;                     /**< last flush, seconds since 1970-01-01 UTC */
    CZVMapFile m_MapFile;              /**< the file's mapping; its mutex is the file lock */
    pthread_mutex_t m_CriticalSection; /**< marks the object's exclusion (empty calls) */
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVErrorHistory) == 124, "CZVErrorHistory is 124 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVERRORHISTORY_H */
