/*
 * ZVErrorHistory.h - a fixed-capacity ring of error records in a memory-mapped text file.
 *
 * The file is one 96-byte header line followed by one 128-byte line per slot:
 *
 *   "EHST0100,LM:<date-time>,FD:<oldest id>,LD:<newest id>,RC:<records>,MC:<slots>,TO:<slot>,"
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

class ZV_API CZVErrorHistory {
public:
    /* A new object (path none, capacity 100, flush interval 3000); null with code 33. */
    static CZVErrorHistory* Create();
    /* result = id shifted by delta in the ring of ids 1..65535. Codes 16 and 43. */
    static int ShiftID(unsigned short id, int delta, unsigned short* result);

    CZVErrorHistory();
    /* May be left by an exception of a host program's subclass; Delete reports it as code 44. */
    virtual ~CZVErrorHistory() noexcept(false);

    /* Maps the assigned file (re-initialising it), unless it is open already. */
    virtual int Open();
    /* Destroys a Create()d object. */
    virtual void Delete();
    /* Stores a copy of path (closing an open file first); capacity is brought into 2..32767,
     * 0 stays 0. */
    virtual int AssignPath(const char* path, unsigned short capacity, unsigned int flushInterval);
    /* Appends a copy of record; *id (when id is non-null) receives its id. */
    virtual int Add(ERRHIST_tag* record, unsigned short* id);
    /* Reads the records of the ids selected by startId and count (negative: the ids ending at
     * startId; 0: all) into records (bufferBytes bytes, 58 per record). Returns the number
     * selected, 0 when none, -1 on failure. */
    virtual int Get(unsigned short startId, int count, ERRHIST_tag* records,
                    unsigned int bufferBytes, unsigned short* firstId, int* readCount);
    /* The number of records held (0 when empty) with the oldest and newest ids; -1 on failure. */
    virtual int GetRange(unsigned short* firstId, unsigned short* lastId);
    /* Empties the ring; the next record still takes the id after the last one given. */
    virtual int Clear();
    virtual int IsOpened();
    /* Unmaps the file and closes the mutex. */
    virtual int Close();
    /* Non-zero locks the mapping and reads the header; zero writes it back and unlocks. */
    virtual int Lock(int lock);
    /* Non-zero direction writes *id and *record as the 128-byte line at buffer, zero reads
     * them. */
    virtual int ExchangeErrHist(unsigned short* id, ERRHIST_tag* record, int direction,
                                void* buffer);
    /* Non-zero direction writes the header fields as the 96-byte line at buffer, zero reads
     * them; a null buffer is the mapped file's header, which needs the mapping locked. */
    virtual int ExchangeHeader(int direction, void* buffer);

    CZVErrorHistory(const CZVErrorHistory&) = delete;
    CZVErrorHistory& operator=(const CZVErrorHistory&) = delete;

    char* m_pszPath;                   /* library buffer: the assigned path, or null */
    unsigned short m_wCapacity;        /* slots of the file */
    unsigned int m_dwFlushInterval;    /* compared with the time since LM when unlocking */
    unsigned short m_wFD;              /* id of the oldest record, 0 when empty */
    unsigned short m_wLD;              /* id of the newest record ever added */
    unsigned short m_wRC;              /* records held */
    unsigned short m_wMC;              /* slots */
    unsigned short m_wTO;              /* slot of the oldest record */
    unsigned short m_wSpare;           /* zeroed with the header, never used */
    int32_t m_lLM;                     /* last flush, seconds since 1970-01-01 UTC */
    CZVMapFile m_MapFile;              /* the file's mapping; its mutex is the file lock */
    pthread_mutex_t m_CriticalSection; /* marks the object's exclusion (empty calls) */
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVErrorHistory) == 124, "CZVErrorHistory is 124 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVERRORHISTORY_H */
