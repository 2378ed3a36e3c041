/*
 * ZVSharedData.cpp - a named, growable data block with a fixed-size user area, built from two
 * anonymous mappings.
 *
 * The control mapping holds the shared header (control size, serial, capacity, used size, the
 * current data mapping's name and the user size), then the user area and four spare bytes. Its
 * in-object mutex is the block's lock. The data mapping holds the bytes; growing replaces it by a
 * larger one under the next serial, and every holder re-attaches to the current data mapping
 * (by serial) when it takes the lock. Both mappings are anonymous, so the names are labels and
 * every Open of a fresh object finds itself first; the naming, serial and re-attach protocol is
 * kept all the same.
 *
 * Results are 1/0 (or null/0 from the getters); nothing here sets a last-error code on its own,
 * apart from clearing it right before each anonymous open (see OpenAnonymous).
 */
#include "ZVSharedData.h"

#include <inttypes.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "TarnError.h"
#include "TarnString.h"
#include "ZVMapFile.h"
#include "ZVSharedDataQuick.h"

namespace {

/* Bytes of the control mapping besides the user area: the 84-byte header and 4 spare bytes. */
const uint32_t kCtrlOverhead = 88;
/* Offset of the user area in the control mapping. */
const uint32_t kUserAreaOffset = sizeof(ZV_SHARED_DATA_HEADER_tag);
/* Size of the name field and of the data mapping name field. */
const uint32_t kNameSize = 64;
/* Room taken in a 64-byte name field besides the block name and its terminator. */
const uint32_t kNameReserve = 16;
/* How often SetSize tries a new serial before it gives up. */
const uint32_t kMaxSerialRounds = 0xFFFFFFFFu;
/* Large enough for "MTX" / "IDX" and a block name of at most 63 characters. */
const size_t kLabelSize = 80;

/* The name the constructor gives a block that was never opened. */
const char kDummyName[] = "DUMMY_SHARED";

/*
 * Opens an anonymous writable mapping of size bytes labelled label. The last-error code is
 * cleared first on purpose: the mapping decides whether it is "first" from the caller's last
 * error (11 means "not first"), and the last error is errno. An unrelated EAGAIN left by the host
 * program would otherwise make a fresh block look like an existing one: Open would then attach
 * to a zero header and fail, and SetSize would try new serials for ever.
 */
int OpenAnonymous(CZVMapFile& map, uint32_t size, const char* label) {
    TarnSetLastError(0);
    return map.OpenT(nullptr, size, label, 0);
}

/*
 * Writes "DAT<name><serial as 8 upper-case hex digits>" into a 64-byte data name field. Returns
 * 1/0; a block name of at most 47 characters always fits.
 */
int FormatDataName(char* field, const char* name, uint32_t serial) {
    return TarnFormatStringBufferA(field, kNameSize, 1, "DAT%s%08" PRIX32, name, serial) < 0 ? 0
                                                                                             : 1;
}

/* Writes prefix followed by name into a label buffer of kLabelSize bytes. */
void FormatLabel(char* label, const char* prefix, const char* name) {
    snprintf(label, kLabelSize, "%s%s", prefix, name);
}

/* 1 when name fits the block's name rules: its size with terminator plus 16 is at most 64. A
 * null name measures as -1 and so passes here; the copy that follows refuses it. */
int IsNameSizeAccepted(const char* name) {
    int size = TarnGetStringSizeA(name, 1);
    uint32_t bytes = TarnGetStringBufferSizeA(static_cast<unsigned int>(size));
    // Unsigned on purpose: a null name's -1 wraps to a small total and is not refused here.
    return (bytes + kNameReserve > kNameSize) ? 0 : 1;
}

/* Replaces every backslash of name with an underscore. */
void ReplaceBackslashes(char* name) {
    for (char* p = name; *p != '\0'; ++p) {
        if (*p == '\\') {
            *p = '_';
        }
    }
}

/* Undoes the lock and mutex of a failed Open. */
void ReleaseLock(CZVMapFile& ctrl) {
    ctrl.Lock(0);
    ctrl.CloseMutex();
}

/* Undoes a failed Open after the control mapping was opened. */
void UndoOpen(CZVMapFile& ctrl, CZVMapFile& data) {
    if (data.IsOpened(nullptr)) {
        data.Close();
    }
    ctrl.Close();
    ReleaseLock(ctrl);
}

/*
 * Sets up a fresh control header and opens the first data mapping whose serial makes a new one.
 * The serial starts at 1 and never wraps back to 0. Returns 1/0; on failure the data map is
 * closed.
 */
int InitFirstHeader(CZVMapFile& ctrl, CZVMapFile& data, const char* name, uint32_t userSize,
                    uint32_t pageSize) {
    ZV_SHARED_DATA_HEADER_tag* header = static_cast<ZV_SHARED_DATA_HEADER_tag*>(ctrl.m_pAddress);
    memset(ctrl.m_pAddress, 0, ctrl.m_dwLength);
    header->dwCtrlSize = userSize + kCtrlOverhead;
    header->dwUserSize = userSize;
    header->dwSerial = 1;
    header->dwCapacity = pageSize;
    for (;;) {
        if (FormatDataName(header->szDataName, name, header->dwSerial) == 0) {
            return 0;
        }
        if (OpenAnonymous(data, header->dwCapacity, header->szDataName) == 0) {
            return 0;
        }
        if (data.IsFirst()) {
            // GCOVR_EXCL_START the control mapping is anonymous: its Flush returns 1 at once
            if (ctrl.Flush() == 0) {
                data.Close();
                return 0;
            }
            // GCOVR_EXCL_STOP
            return 1;
        }
        data.Close();
        header->dwSerial = header->dwSerial + 1;
        if (header->dwSerial == 0) {
            return 0;
        }
    }
}

/* Attaches the data map to the mapping the shared header names. */
int AttachData(CZVMapFile& data, const ZV_SHARED_DATA_HEADER_tag* header) {
    return OpenAnonymous(data, header->dwCapacity, header->szDataName);
}

/*
 * Makes *copy hold the header's control-size bytes, reusing the old buffer when it is large
 * enough. Returns 1/0 (0: no memory; the old buffer is then gone and *copy is null).
 */
int RefreshPrivateCopy(ZV_SHARED_DATA_HEADER_tag** copy, const ZV_SHARED_DATA_HEADER_tag* header) {
    uint32_t ctrlSize = header->dwCtrlSize;
    // GCOVR_EXCL_START Open runs only on a closed block, and a closed block holds no copy.
    // (Close frees it; a Close that stopped before that keeps the mutex, and Open fails earlier.)
    if (*copy != nullptr && (*copy)->dwCtrlSize >= ctrlSize) {
        memcpy(*copy, header, ctrlSize);
        return 1;
    }
    if (*copy != nullptr) {
        TarnFreeBuffer(*copy);
        *copy = nullptr;
    }
    // GCOVR_EXCL_STOP
    *copy = static_cast<ZV_SHARED_DATA_HEADER_tag*>(TarnAllocateBuffer(ctrlSize));
    if (*copy == nullptr) {
        return 0;
    }
    memcpy(*copy, header, ctrlSize);
    return 1;
}

/* size rounded up to a multiple of pageSize, in 32-bit arithmetic (a wrap gives 0). */
uint32_t RoundToPages(uint32_t size, uint32_t pageSize) {
    return ((size + pageSize - 1) / pageSize) * pageSize;
}

/*
 * Opens temp as a new data mapping of the copy's capacity under the next free serial, writing
 * the serial and name into the copy. Returns 1/0.
 */
int OpenNextDataMapping(CZVMapFile& temp, ZV_SHARED_DATA_HEADER_tag* copy, const char* name) {
    for (uint32_t round = 0; round < kMaxSerialRounds; ++round) {
        copy->dwSerial = copy->dwSerial + 1;
        if (copy->dwSerial == 0) {
            copy->dwSerial = 1;
        }
        if (FormatDataName(copy->szDataName, name, copy->dwSerial) == 0) {
            return 0;
        }
        if (OpenAnonymous(temp, copy->dwCapacity, copy->szDataName) == 0) {
            return 0;
        }
        if (temp.IsFirst()) {
            return 1;
        }
        // GCOVR_EXCL_START Close of a mapping always returns 1
        if (temp.Close() == 0) {
            return 0;
        }
        // GCOVR_EXCL_STOP
    }
    return 0;  // GCOVR_EXCL_LINE 2^32 - 1 data mappings cannot all be made
}

}  // namespace

CZVSharedData::CZVSharedData() : m_dwPageSize(0), m_pHeader(nullptr), m_pPrivateHeader(nullptr) {
    memset(m_szName, 0, sizeof(m_szName));
    memcpy(m_szName, kDummyName, sizeof(kDummyName));
}

CZVSharedData::~CZVSharedData() {
    if (m_CtrlMap.IsOpened(nullptr)) {
        Close();
    }
    if (m_pPrivateHeader != nullptr) {
        TarnFreeBuffer(m_pPrivateHeader);
        m_pPrivateHeader = nullptr;
    }
}

int CZVSharedData::Open(const char* name, unsigned int userSize) {
    if (m_CtrlMap.IsOpened(nullptr)) {
        return 0;
    }
    if (IsNameSizeAccepted(name) == 0) {
        return 0;
    }
    if (TarnCopyStringA(name, m_szName, sizeof(m_szName), 1) < 0) {
        return 0;
    }
    ReplaceBackslashes(m_szName);

    char label[kLabelSize];
    FormatLabel(label, "MTX", m_szName);
    if (m_CtrlMap.CreateMutexT(label) == 0) {
        return 0;
    }
    if (m_CtrlMap.Lock(1) == 0) {
        m_CtrlMap.CloseMutex();
        return 0;
    }
    if (m_dwPageSize == 0) {
        m_dwPageSize = static_cast<unsigned int>(getpagesize());
    }

    // The control size is 32-bit arithmetic. A user size that wraps it would ask for a mapping
    // too small to hold the header and the user area, so it fails here like a mapping that
    // cannot be made (a wrap to 0 is refused by the mapping itself).
    uint32_t ctrlSize = userSize + kCtrlOverhead;
    FormatLabel(label, "IDX", m_szName);
    if (ctrlSize < kCtrlOverhead || OpenAnonymous(m_CtrlMap, ctrlSize, label) == 0) {
        ReleaseLock(m_CtrlMap);
        return 0;
    }
    ZV_SHARED_DATA_HEADER_tag* header =
        static_cast<ZV_SHARED_DATA_HEADER_tag*>(m_CtrlMap.m_pAddress);
    int attached = m_CtrlMap.IsFirst()
                       ? InitFirstHeader(m_CtrlMap, m_DataMap, m_szName, userSize, m_dwPageSize)
                       : AttachData(m_DataMap, header);
    if (attached == 0) {
        UndoOpen(m_CtrlMap, m_DataMap);
        return 0;
    }

    if (RefreshPrivateCopy(&m_pPrivateHeader, header) == 0) {
        UndoOpen(m_CtrlMap, m_DataMap);
        return 0;
    }
    m_pHeader = header;
    // The block stays locked: the opener sets it up before anyone else may look.
    return 1;
}

int CZVSharedData::Close() {
    // GCOVR_EXCL_START Close of a mapping always returns 1
    if (m_DataMap.IsOpened(nullptr) && m_DataMap.Close() == 0) {
        return 0;
    }
    if (m_CtrlMap.IsOpened(nullptr) && m_CtrlMap.Close() == 0) {
        return 0;
    }
    // GCOVR_EXCL_STOP
    if (m_CtrlMap.IsLocked() && m_CtrlMap.Lock(0) == 0) {
        return 0;
    }
    // GCOVR_EXCL_START CloseMutex fails only when its unlock does, and the lock was given back
    if (m_CtrlMap.CloseMutex() == 0) {
        return 0;
    }
    // GCOVR_EXCL_STOP
    if (m_pPrivateHeader != nullptr) {
        TarnFreeBuffer(m_pPrivateHeader);
        m_pPrivateHeader = nullptr;
    }
    m_pHeader = nullptr;
    return 1;
}

/*
 * Takes the block lock of a block whose control mapping is open: when this holder's copy of the
 * header (as of its last release) has another serial, another holder replaced the data mapping,
 * and this holder re-attaches to the current one. The copy itself is refreshed only at the next
 * release.
 */
static int Reattach(CZVSharedData& block) {
    ZV_SHARED_DATA_HEADER_tag* header =
        static_cast<ZV_SHARED_DATA_HEADER_tag*>(block.m_CtrlMap.m_pAddress);
    if (block.m_pPrivateHeader->dwSerial != header->dwSerial) {
        // GCOVR_EXCL_START Close of a mapping always returns 1
        if (block.m_DataMap.IsOpened(nullptr) && block.m_DataMap.Close() == 0) {
            block.m_CtrlMap.Lock(0);
            return 0;
        }
        // GCOVR_EXCL_STOP
        if (AttachData(block.m_DataMap, header) == 0) {
            block.m_CtrlMap.Lock(0);
            return 0;
        }
    }
    return 1;
}

int CZVSharedData::Lock(int lock) {
    if (!m_CtrlMap.IsOpened(nullptr)) {
        return 0;
    }
    ZV_SHARED_DATA_HEADER_tag* header =
        static_cast<ZV_SHARED_DATA_HEADER_tag*>(m_CtrlMap.m_pAddress);
    if (lock != 0 && !m_CtrlMap.IsLocked()) {
        if (m_CtrlMap.Lock(1) == 0) {
            return 0;
        }
        return Reattach(*this);
    }
    if (lock == 0 && m_CtrlMap.IsLocked()) {
        memcpy(m_pPrivateHeader, header, header->dwCtrlSize);
        // GCOVR_EXCL_START the control mapping is anonymous: its Flush returns 1 at once
        if (m_CtrlMap.Flush() == 0) {
            return 0;
        }
        // GCOVR_EXCL_STOP
        return m_CtrlMap.Lock(0);
    }
    return 1;
}

/*
 * The same steps as Lock, for a block object of this very class: its mappings are its own
 * members, so their operations are known and run here in place, without a call each.
 */
int zvmap::LockBlock(CZVSharedData& block, int lock) {
    CZVMapFile& ctrl = block.m_CtrlMap;
    if (ctrl.m_pAddress == nullptr) {
        return 0;
    }
    if (lock != 0 && !ctrl.m_bLocked) {
        if (pthread_mutex_lock(&ctrl.m_Mutex) != 0) {
            return 0;
        }
        ctrl.m_bLocked = 1;
        return Reattach(block);
    }
    if (lock == 0 && ctrl.m_bLocked) {
        ZV_SHARED_DATA_HEADER_tag* header =
            static_cast<ZV_SHARED_DATA_HEADER_tag*>(ctrl.m_pAddress);
        memcpy(block.m_pPrivateHeader, header, header->dwCtrlSize);
        // GCOVR_EXCL_START the control mapping is anonymous: it has no descriptor to flush
        if (!ctrl.m_bReadOnly && ctrl.m_hFile != -1 && ctrl.Flush() == 0) {
            return 0;
        }
        // GCOVR_EXCL_STOP
        if (pthread_mutex_unlock(&ctrl.m_Mutex) != 0) {
            return 0;
        }
        ctrl.m_bLocked = 0;
    }
    return 1;
}

void* CZVSharedData::GetData() {
    if (!m_CtrlMap.IsOpened(nullptr) || !m_CtrlMap.IsLocked()) {
        return nullptr;
    }
    return m_DataMap.m_pAddress;
}

unsigned int CZVSharedData::GetSize() {
    if (!m_CtrlMap.IsOpened(nullptr) || !m_CtrlMap.IsLocked() || m_pHeader == nullptr) {
        return 0;
    }
    return m_pHeader->dwUsedSize;
}

int CZVSharedData::SetSize(unsigned int size) {
    if (!m_CtrlMap.IsOpened(nullptr) || !m_CtrlMap.IsLocked() || m_pHeader == nullptr) {
        return 0;
    }
    if (size <= m_pHeader->dwCapacity) {
        // The capacity never shrinks; only the used size follows.
        m_pHeader->dwUsedSize = size;
        return 1;
    }

    // Prepared in the private copy and published only when the new mapping is in place, so a
    // failure leaves the old data mapping and header as they were.
    memcpy(m_pPrivateHeader, m_pHeader, m_pHeader->dwCtrlSize);
    m_pPrivateHeader->dwCapacity = RoundToPages(size, m_dwPageSize);

    CZVMapFile temp;
    if (OpenNextDataMapping(temp, m_pPrivateHeader, m_szName) == 0) {
        return 0;
    }
    int closed = 1;
    if (m_DataMap.IsOpened(nullptr)) {
        uint32_t keep = m_pPrivateHeader->dwUsedSize;
        if (keep > m_DataMap.m_dwLength) {
            keep = m_DataMap.m_dwLength;
        }
        memcpy(temp.m_pAddress, m_DataMap.m_pAddress, keep);
        closed = m_DataMap.Close();
    }
    // GCOVR_EXCL_START the close always returns 1; the move into the closed map cannot fail
    // (the data map never has a mutex to close)
    if (closed == 0 || m_DataMap.CopyAndPerge(&temp) == 0) {
        temp.Close();
        return 0;
    }
    // GCOVR_EXCL_STOP

    m_pPrivateHeader->dwUsedSize = size;
    memcpy(m_pHeader, m_pPrivateHeader, m_pPrivateHeader->dwCtrlSize);
    return 1;
}

void* CZVSharedData::GetUserData() {
    if (!m_CtrlMap.IsOpened(nullptr) || !m_CtrlMap.IsLocked() || m_pHeader == nullptr) {
        return nullptr;
    }
    if (m_pHeader->dwUserSize == 0) {
        return nullptr;
    }
    return reinterpret_cast<char*>(m_pHeader) + kUserAreaOffset;
}
