/*
 * ZVErrorHistory.cpp - the error history ring over a memory-mapped file.
 *
 * The file is a 96-byte header line and one 128-byte line per slot, every field at a fixed
 * column, so a record is rewritten in place through the mapping and the file stays readable
 * with a text viewer. The oldest record (id FD) lies in slot TO and the k-th after it in slot
 * (TO + k) mod MC. Every operation takes the object's critical section, then the mapping's mutex
 * (Lock), which re-reads the header from the file; unlocking writes the header back and, as the
 * flush interval decides, stamps LM and flushes the mapping. Between operations the mutex is free
 * and the header in the file is current, which is how other processes that map the file see the
 * records; nothing orders writers in different processes.
 *
 * Calls between the operations are plain unqualified calls, so they go through the virtual
 * slots and a host program's subclass sees them.
 */
#include "ZVErrorHistory.h"

#include <stdio.h>
#include <string.h>

#include <new>

#include "OSUtils.h"
#include "TarnError.h"
#include "TarnString.h"
#include "TarnTime.h"

namespace {

const unsigned int kHeaderLine = 96u;  /* bytes of the header line */
const unsigned int kRecordLine = 128u; /* bytes of one slot */
const unsigned int kRecordSize = static_cast<unsigned int>(sizeof(ERRHIST_tag));

const char kHeaderKind[] = "EHST0100,LM:"; /* file kind and version, then LM */
const unsigned int kKindLength = 12u;
const unsigned int kDateLength = 23u; /* "yyyy/mm/dd hh:mm:ss:mmm" */
const unsigned int kTextLength = 32u; /* characters of a record's text */

const char kMutexName[] = "MTX_EHST0100";
const char kMappingName[] = "MPF_EHST0100";

const unsigned short kMinCapacity = 2u;
const unsigned short kMaxCapacity = 32767u;
const long kIdRing = 65535L;               /* ids run 1 .. 65535 */
const unsigned int kMaxSelection = 65534u; /* a larger count selects every record */

/* Bytes of a file of capacity slots. */
unsigned int FileSizeFor(unsigned int capacity) {
    return kHeaderLine + kRecordLine * capacity;
}

/* Frees a library buffer held in *slot, if any, and clears the slot. */
void FreePath(char** slot) {
    if (*slot != NULL) {
        TarnFreeBuffer(*slot);
        *slot = NULL;
    }
}

// ---------------------------------------------------------------------------------------------
// Lines

/* The 23-character date-time text of a time value (UTC, with milliseconds) in text (24 bytes):
 * text itself, or the writer's "---". */
const char* DateText(int32_t value, char* text) {
    /* The field is 32 bits wide; the date-time writer takes a long. */
    long wide = value;
    return TarnGetDateTimeStrA(&wide, TARN_DTF_YMDHMSM, text, kDateLength + 1u, 1);
}

/* Loads and stores a field that may lie unaligned in a packed record. */
template <typename T>
T LoadField(const T* field) {
    T value;
    memcpy(&value, field, sizeof value);
    return value;
}

template <typename T>
void StoreField(T* field, T value) {
    memcpy(field, &value, sizeof value);
}

/* Reads the 23 bytes at field as date-time text into *value. The bytes are copied into a
 * terminated text first, so reading stops at the field's end. */
bool ReadDateText(const char* field, int32_t* value) {
    char text[kDateLength + 1u];
    memcpy(text, field, kDateLength);
    text[kDateLength] = '\0';
    long wide = LoadField(value);
    // GCOVR_EXCL_START the reader returns null only for a null text or value, both local here
    if (TarnParseDateTimeStrA(text, TARN_DTF_YMDHMSM, &wide, 1) == NULL) {
        return false;
    }
    // GCOVR_EXCL_STOP
    StoreField(value, static_cast<int32_t>(wide));
    return true;
}

/* Adds one digit to a number field, wrapping in the field's own type. */
template <typename T>
void AddDigit(T* field, unsigned int base, unsigned int digit) {
    StoreField(field, static_cast<T>(LoadField(field) * base + digit));
}

/* The fixed-position reading of one line. Numbers accumulate digit by digit into their field's
 * own type, so a value too large for the field wraps (99999 in 16 bits reads as 34463). */
struct LineReader {
    const char* line;

    bool Matches(unsigned int pos, const char* text) const {
        return memcmp(line + pos, text, strlen(text)) == 0;
    }

    template <typename T>
    bool Decimal(unsigned int pos, unsigned int digits, T* field) const {
        for (unsigned int i = 0; i < digits; ++i) {
            const char c = line[pos + i];
            if (c < '0' || c > '9') {
                return false;
            }
            AddDigit(field, 10u, static_cast<unsigned int>(c - '0'));
        }
        return true;
    }

    /* Lenient on purpose: any lower-case letter counts its code minus 87, so "a"-"f" are 10-15
     * and "g"-"z" are taken as 16-35. Upper case stops at "F". */
    bool Hexadecimal(unsigned int pos, unsigned int digits, uint16_t* field) const {
        for (unsigned int i = 0; i < digits; ++i) {
            const char c = line[pos + i];
            unsigned int value;
            if (c >= '0' && c <= '9') {
                value = static_cast<unsigned int>(c - '0');
            } else if (c >= 'A' && c <= 'F') {
                value = static_cast<unsigned int>(c - 'A') + 10u;
            } else if (c >= 'a' && c <= 'z') {
                value = static_cast<unsigned int>(c) - 87u;
            } else {
                return false;
            }
            AddDigit(field, 16u, value);
        }
        return true;
    }
};

/* Writes the header fields as the 96-byte line: the fields, blanks and CR LF. */
void WriteHeaderLine(const CZVErrorHistory& h, char* line) {
    memset(line, ' ', kHeaderLine - 2u);
    line[kHeaderLine - 2u] = '\r';
    line[kHeaderLine - 1u] = '\n';
    char date[kDateLength + 1u];
    const int length =
        snprintf(line, kHeaderLine, "EHST0100,LM:%-23s,FD:%05u,LD:%05u,RC:%05u,MC:%05u,TO:%05u,",
                 DateText(h.m_lLM, date), static_cast<unsigned int>(h.m_wFD),
                 static_cast<unsigned int>(h.m_wLD), static_cast<unsigned int>(h.m_wRC),
                 static_cast<unsigned int>(h.m_wMC), static_cast<unsigned int>(h.m_wTO));
    line[length] = ' '; /* the formatting's NUL, at 81 */
}

/* Sets code 60 for a header line that does not match at a fixed position. */
bool HeaderCorrupted() {
    TarnSetLastError(TARN_ERR_EH_HEADER_CORRUPTED);
    return false;
}

/* Zeroes the header fields FD, LD, RC, MC, TO and LM. */
void ZeroHeader(CZVErrorHistory* h) {
    h->m_wFD = 0;
    h->m_wLD = 0;
    h->m_wRC = 0;
    h->m_wMC = 0;
    h->m_wTO = 0;
    h->m_lLM = 0;
}

/* Reads the header fields from the 96-byte line; code 60 when the line does not match at a
 * fixed position. The fields read before a mismatch keep what was read. */
bool ReadHeaderLine(CZVErrorHistory* h, const char* line) {
    ZeroHeader(h);
    const LineReader r = {line};
    if (!r.Matches(0, kHeaderKind)) {
        return HeaderCorrupted();
    }
    // GCOVR_EXCL_START ReadDateText does not fail (see there)
    if (!ReadDateText(line + kKindLength, &h->m_lLM)) {
        return false; /* the date-time reader's own code stands */
    }
    // GCOVR_EXCL_STOP
    const bool ok = r.Matches(35, ",FD:") && r.Decimal(39, 5, &h->m_wFD) && r.Matches(44, ",LD:") &&
                    r.Decimal(48, 5, &h->m_wLD) && r.Matches(53, ",RC:") &&
                    r.Decimal(57, 5, &h->m_wRC) && r.Matches(62, ",MC:") &&
                    r.Decimal(66, 5, &h->m_wMC) && r.Matches(71, ",TO:") &&
                    r.Decimal(75, 5, &h->m_wTO) && r.Matches(80, ",");
    return ok || HeaderCorrupted();
}

/* Fills a slot with blanks and its CR LF. */
void BlankSlot(char* line) {
    memset(line, ' ', kRecordLine - 2u);
    line[kRecordLine - 2u] = '\r';
    line[kRecordLine - 1u] = '\n';
}

/* Writes record with its id as the 128-byte line (the slot is blank already). */
void WriteRecordLine(unsigned short id, const ERRHIST_tag& record, char* line) {
    /* The text stops at its first NUL and never runs past 32 characters. */
    char text[kTextLength + 1u];
    memset(text, 0, sizeof text);
    memcpy(text, record.szText, kTextLength);
    char date[kDateLength + 1u];
    const int length = snprintf(
        line, kRecordLine, "%05u,%05u,%-*s,%05u,%04X,%-23s,%03u,%05u,%010u,%010u,%010u,",
        static_cast<unsigned int>(id), static_cast<unsigned int>(record.wNumber1),
        static_cast<int>(kTextLength), text, static_cast<unsigned int>(record.wNumber2),
        static_cast<unsigned int>(record.wCode), DateText(record.lTime, date),
        static_cast<unsigned int>(record.byNumber3), static_cast<unsigned int>(record.wNumber4),
        static_cast<unsigned int>(record.dwValue1), static_cast<unsigned int>(record.dwValue2),
        static_cast<unsigned int>(record.dwValue3));
    line[length] = ' '; /* the formatting's NUL, at 123 */
}

/* Sets code 58 for a record line that does not match at a fixed position. */
bool RecordCorrupted() {
    TarnSetLastError(TARN_ERR_EH_DATA_CORRUPTED);
    return false;
}

/* Reads the fields behind the id of a record line; code 58 at the first position that does not
 * match. The text is taken as it stands, padding blanks included. */
bool ReadRecordFields(const char* line, ERRHIST_tag* record) {
    const LineReader r = {line};
    if (!r.Matches(5, ",") || !r.Decimal(6, 5, &record->wNumber1) || !r.Matches(11, ",")) {
        return RecordCorrupted();
    }
    memcpy(record->szText, line + 12, kTextLength);
    if (!r.Matches(44, ",") || !r.Decimal(45, 5, &record->wNumber2) || !r.Matches(50, ",") ||
        !r.Hexadecimal(51, 4, &record->wCode) || !r.Matches(55, ",")) {
        return RecordCorrupted();
    }
    // GCOVR_EXCL_START ReadDateText does not fail (see there)
    if (!ReadDateText(line + 56, &record->lTime)) {
        return false; /* the date-time reader's own code stands */
    }
    // GCOVR_EXCL_STOP
    const bool ok = r.Matches(79, ",") && r.Decimal(80, 3, &record->byNumber3) &&
                    r.Matches(83, ",") && r.Decimal(84, 5, &record->wNumber4) &&
                    r.Matches(89, ",") && r.Decimal(90, 10, &record->dwValue1) &&
                    r.Matches(100, ",") && r.Decimal(101, 10, &record->dwValue2) &&
                    r.Matches(111, ",") && r.Decimal(112, 10, &record->dwValue3) &&
                    r.Matches(122, ",");
    return ok || RecordCorrupted();
}

// ---------------------------------------------------------------------------------------------
// The mapped file

/* The mapped file's first byte while this object holds the mapping's lock, else null. */
char* LockedView(CZVMapFile* map) {
    if (!map->IsLocked() || map->m_pAddress == NULL || map->m_dwLength < kHeaderLine) {
        return NULL;
    }
    return static_cast<char*>(map->m_pAddress);
}

/* The line of slot in the mapped file. */
char* SlotLine(CZVErrorHistory* h, unsigned int slot) {
    return static_cast<char*>(h->m_MapFile.m_pAddress) + kHeaderLine + kRecordLine * slot;
}

/* Opens the file when it is not open yet. */
bool EnsureOpen(CZVErrorHistory* h) {
    return h->IsOpened() || h->Open();
}

/* A fresh ring over the whole mapping: an empty header and every slot empty. Slot 0 is written
 * and then copied forward in doubling blocks. */
bool InitialiseFile(CZVErrorHistory* h) {
    ZeroHeader(h);
    h->m_wSpare = 0;
    h->m_wMC = h->m_wCapacity;
    char* first = SlotLine(h, 0);
    if (!h->ExchangeErrHist(NULL, NULL, 1, first)) {
        return false;
    }
    const unsigned int length = h->m_MapFile.m_dwLength;
    unsigned int offset = kHeaderLine + kRecordLine;
    while (offset < length) {
        const unsigned int filled = offset - kHeaderLine;
        const unsigned int block = filled < length - offset ? filled : length - offset;
        memcpy(static_cast<char*>(h->m_MapFile.m_pAddress) + offset, first, block);
        offset += block;
    }
    return true;
}

/* Takes the capacity from the header of a file mapped at its own size; the size must be the one
 * the header's MC gives. */
bool CheckFile(CZVErrorHistory* h) {
    const unsigned int length = h->m_MapFile.m_dwLength;
    if (length < kHeaderLine) {
        TarnSetLastError(TARN_ERR_EH_FILE_CORRUPTED);
        return false;
    }
    if (!h->ExchangeHeader(0, h->m_MapFile.m_pAddress)) {
        return false;
    }
    if (length != FileSizeFor(h->m_wMC)) {
        TarnSetLastError(TARN_ERR_EH_FILE_CORRUPTED);
        return false;
    }
    h->m_wCapacity = h->m_wMC;
    return true;
}

/* Closes the file after a failure and keeps the failure's code: closing writes the mapping back,
 * and a failing write would leave its own errno as the last error. */
void CloseAfterFailure(CZVErrorHistory* h) {
    const unsigned int code = TarnGetLastError();
    h->Close();
    TarnSetLastError(code);
}

/* Whether the header just read fits the mapping: MC slots fill it, RC <= MC and TO < MC. Another
 * process may have rewritten the header; a zero or oversized MC must never reach a division or
 * a slot outside the mapping. */
bool HeaderFitsMapping(const CZVErrorHistory& h) {
    const unsigned int length = h.m_MapFile.m_dwLength;
    if (length < kHeaderLine || h.m_wMC != (length - kHeaderLine) / kRecordLine) {
        return false;
    }
    return h.m_wRC <= h.m_wMC && h.m_wTO < h.m_wMC;
}

/*
 * Whether unlocking flushes. The interval is compared as a signed number with the time since
 * the last flush as TarnDiffTime measures it. TarnDiffTime is kept as a stub that returns 0, so
 * an interval of 0 to 0x7FFFFFFF flushes at every unlock and one of 0x80000000 or more never
 * does.
 */
bool DueForFlush(unsigned int interval, int32_t lastFlush, long now) {
    if (interval == 0) {
        return true;
    }
    const long last = lastFlush;
    return static_cast<int>(interval) >= TarnDiffTime(&last, &now, 0);
}

// ---------------------------------------------------------------------------------------------
// Selecting records by id

/* The newest id in the run of ids without the wrap: LD, or LD + 65535 when the ids wrapped. */
long UnwrappedLast(unsigned short fd, unsigned short ld) {
    return ld < fd ? ld + kIdRing : static_cast<long>(ld);
}

/*
 * The value of id in the run of ids fd .. last (last unwrapped). An id of the held range gets
 * its place in the run. Any other id is taken where it lies nearer to the run, just above last
 * or just below fd, so that a selection reaching into the held range from outside finds the
 * records it overlaps.
 */
long UnwrapId(unsigned short id, long fd, long last) {
    long value = id >= fd ? static_cast<long>(id) : id + kIdRing;
    if (value > last) {
        const long below = value - kIdRing;
        if (fd - below < value - last) {
            value = below;
        }
    }
    return value;
}

/* The unwrapped ids a start id and count select: count > 0 from start on, count < 0 the ids
 * ending at start. magnitude is |count|. */
void SelectIds(long start, int count, unsigned int magnitude, long* first, long* last) {
    if (count > 0) {
        *first = start;
        *last = start + static_cast<long>(magnitude) - 1;
    } else {
        *first = start - static_cast<long>(magnitude) + 1;
        *last = start;
    }
}

/* Reads n records into records, starting offset records after the oldest and stepping one slot
 * forward each time (from the last slot back to slot 0); *readCount counts them as read. */
bool ReadRecords(CZVErrorHistory* h, long offset, unsigned int n, ERRHIST_tag* records,
                 int* readCount) {
    const unsigned int slots = h->m_wMC;
    unsigned int slot = (h->m_wTO + static_cast<unsigned int>(offset)) % slots;
    for (unsigned int i = 0; i < n; ++i) {
        unsigned short id = 0; /* the ids read are not needed */
        if (!h->ExchangeErrHist(&id, records + i, 0, SlotLine(h, slot))) {
            return false;
        }
        if (readCount != NULL) {
            *readCount = static_cast<int>(i + 1u);
        }
        slot = slot + 1u == slots ? 0u : slot + 1u;
    }
    return true;
}

}  // namespace

// ---------------------------------------------------------------------------------------------

CZVErrorHistory* CZVErrorHistory::Create() {
    CZVErrorHistory* h = new (std::nothrow) CZVErrorHistory();
    if (h == NULL) {
        TarnSetLastError(TARN_ERR_CREATE_OBJECT);
    }
    return h;
}

int CZVErrorHistory::ShiftID(unsigned short id, int delta, unsigned short* result) {
    if (result == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    *result = 0;
    if (id == 0) {
        TarnSetLastError(TARN_ERR_EH_INVALID_ID);
        return 0;
    }
    const unsigned int ring = static_cast<unsigned int>(kIdRing);
    unsigned int t = id - 1u;
    if (delta > 0) {
        t += static_cast<unsigned int>(delta) % ring;
    } else if (delta < 0) {
        /* The magnitude in unsigned arithmetic, so that INT_MIN has one too. */
        t += ring - (0u - static_cast<unsigned int>(delta)) % ring;
    }
    *result = static_cast<unsigned short>(t % ring + 1u);
    return 1;
}

CZVErrorHistory::CZVErrorHistory()
    : m_pszPath(NULL),
      m_wCapacity(100),
      m_dwFlushInterval(3000),
      m_wFD(0),
      m_wLD(0),
      m_wRC(0),
      m_wMC(0),
      m_wTO(0),
      m_wSpare(0),
      m_lLM(0) {
    memset(&m_CriticalSection, 0, sizeof m_CriticalSection);
    OS_InitializeCriticalSection(&m_CriticalSection);
}

CZVErrorHistory::~CZVErrorHistory() noexcept(false) {
    {
        CCsLock guard(&m_CriticalSection);
        if (IsOpened()) {
            Close();
        }
        FreePath(&m_pszPath);
    }
    OS_DeleteCriticalSection(&m_CriticalSection);
}

int CZVErrorHistory::Open() {
    CCsLock guard(&m_CriticalSection);
    if (IsOpened()) {
        return 1;
    }
    if (m_pszPath == NULL) {
        TarnSetLastError(TARN_ERR_EH_PATH_NOT_ASSIGNED);
        return 0;
    }
    if (!m_MapFile.CreateMutexA(kMutexName)) {
        TarnSetLastError(TARN_ERR_CREATE_MUTEX);
        return 0;
    }
    if (!m_MapFile.Lock(1)) {
        m_MapFile.CloseMutex();
        TarnSetLastError(TARN_ERR_LOCK_MUTEX);
        return 0;
    }
    /* Kept in this sense on purpose: an existing file is mapped at the assigned capacity and
     * re-initialised, while a missing one is asked for at its own size, which the mapping
     * refuses (it never creates a file). A file of another size fails at the mapping too. */
    const bool initialise = FileExists(m_pszPath) != 0;
    unsigned int size = 0;
    if (initialise) {
        if (m_wCapacity == 0) {
            m_MapFile.CloseMutex();
            TarnSetLastError(TARN_ERR_EH_FILE_NOT_EXIST);
            return 0;
        }
        size = FileSizeFor(m_wCapacity);
    }
    if (!m_MapFile.OpenT(m_pszPath, size, kMappingName, 0)) {
        m_MapFile.CloseMutex();
        TarnSetLastError(TARN_ERR_EH_OPEN_FILE);
        return 0;
    }
    const bool ready = initialise ? InitialiseFile(this) : CheckFile(this);
    /* Lock(0) writes the header, stamps LM, flushes and releases the mutex taken above. */
    if (!ready || !Lock(0)) {
        CloseAfterFailure(this);
        return 0;
    }
    return 1;
}

void CZVErrorHistory::Delete() {
    try {
        delete this;
    } catch (...) {
        TarnSetLastError(TARN_ERR_DELETE_OBJECT);
    }
}

int CZVErrorHistory::AssignPath(const char* path, unsigned short capacity,
                                unsigned int flushInterval) {
    CCsLock guard(&m_CriticalSection);
    if (path == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    if (capacity != 0 && capacity < kMinCapacity) {
        capacity = kMinCapacity;
    } else if (capacity > kMaxCapacity) {
        capacity = kMaxCapacity;
    }
    if (IsOpened() && !Close()) {
        return 0;
    }
    /* Copied before the old path is freed: path may be the stored path itself. */
    char* copy = TarnDupStringA(path);
    FreePath(&m_pszPath);
    m_pszPath = copy;
    if (copy == NULL) {
        return 0;
    }
    m_wCapacity = capacity;
    m_dwFlushInterval = flushInterval;
    return 1;
}

int CZVErrorHistory::Add(ERRHIST_tag* record, unsigned short* id) {
    CCsLock guard(&m_CriticalSection);
    if (record == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    if (id != NULL) {
        *id = 0;
    }
    if (!EnsureOpen(this) || !Lock(1)) {
        return 0;
    }
    const unsigned int oldCount = m_wRC;
    const unsigned int oldTop = m_wTO;
    m_wLD = static_cast<unsigned short>(m_wLD + 1u);
    if (m_wLD == 0) {
        m_wLD = 1;
    }
    if (m_wFD == 0) {
        m_wFD = m_wLD;
    }
    if (oldCount + 1u > m_wMC) {
        /* The ring was full: the oldest record gives up its slot. */
        m_wRC = m_wMC;
        m_wTO = static_cast<unsigned short>((oldTop + 1u) % m_wMC);
        m_wFD = static_cast<unsigned short>(m_wFD + 1u);
        if (m_wFD == 0) {
            m_wFD = 1;
        }
    } else {
        m_wRC = static_cast<unsigned short>(oldCount + 1u);
    }
    const unsigned int slot = (oldCount + oldTop) % m_wMC;
    const int written = ExchangeErrHist(&m_wLD, record, 1, SlotLine(this, slot));
    const int unlocked = Lock(0);
    if (!written) {
        return 0;
    }
    if (unlocked && id != NULL) {
        *id = m_wLD;
    }
    return unlocked;
}

int CZVErrorHistory::Get(unsigned short startId, int count, ERRHIST_tag* records,
                         unsigned int bufferBytes, unsigned short* firstId, int* readCount) {
    CCsLock guard(&m_CriticalSection);
    if (firstId != NULL) {
        *firstId = 0;
    }
    if (readCount != NULL) {
        *readCount = 0;
    }
    if (bufferBytes != 0 && records == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return -1;
    }
    if (count != 0 && startId == 0) {
        TarnSetLastError(TARN_ERR_EH_INVALID_ID);
        return -1;
    }
    if (!EnsureOpen(this) || !Lock(1)) {
        return -1;
    }
    if (m_wRC == 0) {
        Lock(0);
        return 0;
    }
    unsigned int magnitude =
        count < 0 ? 0u - static_cast<unsigned int>(count) : static_cast<unsigned int>(count);
    if (count == 0 || magnitude > kMaxSelection) {
        count = m_wRC;
        magnitude = m_wRC;
        startId = m_wFD;
    }
    const long fd = m_wFD;
    const long ld = UnwrappedLast(m_wFD, m_wLD);
    long selFirst;
    long selLast;
    SelectIds(UnwrapId(startId, fd, ld), count, magnitude, &selFirst, &selLast);
    if (selLast < fd || selFirst > ld) {
        Lock(0);
        return 0;
    }
    const long first = selFirst > fd ? selFirst : fd;
    const long last = selLast < ld ? selLast : ld;
    const int result = static_cast<int>(last - first + 1);
    if (firstId != NULL && !ShiftID(m_wFD, static_cast<int>(first - fd), firstId)) {
        Lock(0);
        return -1;
    }
    if (bufferBytes != 0) {
        const unsigned int fits = bufferBytes / kRecordSize;
        const unsigned int n =
            static_cast<unsigned int>(result) < fits ? static_cast<unsigned int>(result) : fits;
        if (!ReadRecords(this, first - fd, n, records, readCount)) {
            Lock(0);
            return -1;
        }
    }
    return Lock(0) ? result : -1;
}

int CZVErrorHistory::GetRange(unsigned short* firstId, unsigned short* lastId) {
    CCsLock guard(&m_CriticalSection);
    if (firstId != NULL) {
        *firstId = 0;
    }
    if (lastId != NULL) {
        *lastId = 0;
    }
    if (!EnsureOpen(this) || !Lock(1)) {
        return -1;
    }
    const int count = m_wRC;
    if (count != 0) {
        if (firstId != NULL) {
            *firstId = m_wFD;
        }
        if (lastId != NULL) {
            *lastId = m_wLD;
        }
    }
    return Lock(0) ? count : -1;
}

int CZVErrorHistory::Clear() {
    CCsLock guard(&m_CriticalSection);
    if (!EnsureOpen(this) || !Lock(1)) {
        return 0;
    }
    /* LD and TO are kept on purpose: the next record takes the id after the last one given and
     * goes to the slot after the newest, and the slots keep their lines until overwritten. */
    if (m_wRC != 0) {
        m_wRC = 0;
        m_wFD = 0;
    }
    return Lock(0) ? 1 : 0;
}

int CZVErrorHistory::IsOpened() {
    CCsLock guard(&m_CriticalSection);
    return m_MapFile.IsOpened(NULL) ? 1 : 0;
}

int CZVErrorHistory::Close() {
    CCsLock guard(&m_CriticalSection);
    int closed = 1;
    // GCOVR_EXCL_START Close of a mapping always returns 1
    if (m_MapFile.IsOpened(NULL) && !m_MapFile.Close()) {
        closed = 0;
    }
    // GCOVR_EXCL_STOP
    if (!m_MapFile.CloseMutex()) {
        closed = 0;
    }
    return closed;
}

int CZVErrorHistory::Lock(int lock) {
    CCsLock guard(&m_CriticalSection);
    if (!IsOpened()) {
        TarnSetLastError(TARN_ERR_EH_FILE_NOT_OPENED);
        return 0;
    }
    if (lock) {
        if (m_MapFile.IsLocked()) {
            return 1;
        }
        if (!m_MapFile.Lock(1)) {
            TarnSetLastError(TARN_ERR_EH_LOCK_FILE);
            return 0;
        }
        if (!ExchangeHeader(0, NULL)) {
            m_MapFile.Lock(0);
            return 0;
        }
        if (!HeaderFitsMapping(*this)) {
            m_MapFile.Lock(0);
            HeaderCorrupted();
            return 0;
        }
        return 1;
    }
    if (!m_MapFile.IsLocked()) {
        return 1;
    }
    long now = 0;
    if (!TarnGetTime(NULL, &now, 1)) {
        return 0;
    }
    const bool flush = DueForFlush(m_dwFlushInterval, m_lLM, now);
    if (flush) {
        m_lLM = static_cast<int32_t>(now);
    }
    if (!ExchangeHeader(1, NULL)) {
        return 0;
    }
    if (flush && !m_MapFile.Flush()) {
        TarnSetLastError(TARN_ERR_EH_FLUSH_FILE);
        return 0;
    }
    if (!m_MapFile.Lock(0)) {
        TarnSetLastError(TARN_ERR_EH_UNLOCK_FILE);
        return 0;
    }
    return 1;
}

int CZVErrorHistory::ExchangeErrHist(unsigned short* id, ERRHIST_tag* record, int direction,
                                     void* buffer) {
    CCsLock guard(&m_CriticalSection);
    char* line = static_cast<char*>(buffer);
    if (direction) {
        if (line == NULL) {
            TarnSetLastError(TARN_ERR_NULL_POINTER);
            return 0;
        }
        BlankSlot(line);
        if (record == NULL || id == NULL || *id == 0) {
            /* An empty slot: the formatting's NUL stays at offset 6. */
            memcpy(line, "00000,", 7);
        } else {
            WriteRecordLine(*id, *record, line);
        }
        return 1;
    }
    if (line == NULL || id == NULL || record == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    memset(record, 0, sizeof *record);
    *id = 0;
    const LineReader r = {line};
    if (!r.Decimal(0, 5, id)) {
        RecordCorrupted();
        return 0;
    }
    if (*id == 0) {
        return 1; /* an empty slot, whatever follows */
    }
    return ReadRecordFields(line, record) ? 1 : 0;
}

int CZVErrorHistory::ExchangeHeader(int direction, void* buffer) {
    CCsLock guard(&m_CriticalSection);
    char* line = static_cast<char*>(buffer);
    if (line == NULL) {
        line = LockedView(&m_MapFile);
        if (line == NULL) {
            TarnSetLastError(TARN_ERR_EH_FILE_NOT_LOCKED);
            return 0;
        }
    }
    if (direction) {
        WriteHeaderLine(*this, line);
        return 1;
    }
    return ReadHeaderLine(this, line) ? 1 : 0;
}
