/*
 * ZVErrHistFunc.cpp - the error history (ZVEH) interface and the holder of its one history.
 *
 * Every function but ZVEHShiftErrorID and ZVEHInitW takes the holder's lock for the whole call,
 * so that the calls of one process are meant to run one at a time and ZVEHExit cannot delete the
 * history while another thread uses it. The critical sections are empty calls on this platform,
 * so the lock marks that intent and gives no exclusion.
 */
#include "ZVErrHistFunc.h"

#include <string.h>

#include "OSUtils.h"
#include "TarnError.h"
#include "TarnString.h"
#include "ZVErrorHistory.h"

CZVObjectHolder::CZVObjectHolder() : m_pObject(NULL) {
    memset(&m_CriticalSection, 0, sizeof m_CriticalSection);
    OS_InitializeCriticalSection(&m_CriticalSection);
    CCsLock guard(&m_CriticalSection);
    m_pObject = NULL;
}

CZVObjectHolder::~CZVObjectHolder() {
    {
        /* The object held is not deleted here: ZVEHExit does that. */
        CCsLock guard(&m_CriticalSection);
        m_pObject = NULL;
    }
    OS_DeleteCriticalSection(&m_CriticalSection);
}

CZVObjectHolder* CZVObjectHolder::GetInstance() {
    /* Made on the first call under the runtime's guard for local statics, destroyed at exit. */
    static CZVObjectHolder s_ObjectHolder;
    return &s_ObjectHolder;
}

void CZVObjectHolder::Lock(int lock) {
    if (lock) {
        OS_EnterCriticalSection(&m_CriticalSection);
    } else {
        OS_LeaveCriticalSection(&m_CriticalSection);
    }
}

void* CZVObjectHolder::GetObject() {
    CCsLock guard(&m_CriticalSection);
    return m_pObject;
}

void CZVObjectHolder::SetObject(void* object) {
    CCsLock guard(&m_CriticalSection);
    m_pObject = object;
}

namespace {

/* Holds the holder's lock for the length of one ZVEH call. */
class HolderLock {
public:
    HolderLock() : m_holder(CZVObjectHolder::GetInstance()) { m_holder->Lock(1); }
    ~HolderLock() { m_holder->Lock(0); }
    HolderLock(const HolderLock&) = delete;
    HolderLock& operator=(const HolderLock&) = delete;

    CZVObjectHolder* Holder() const { return m_holder; }
    /* The history held, or null with code 42. */
    CZVErrorHistory* History() const {
        CZVErrorHistory* history = static_cast<CZVErrorHistory*>(m_holder->GetObject());
        if (history == NULL) {
            TarnSetLastError(TARN_ERR_EH_NOT_INITIALIZED);
        }
        return history;
    }

private:
    CZVObjectHolder* m_holder;
};

/* A new history with a copy of path assigned, or null (nothing is left behind). */
CZVErrorHistory* CreateAssigned(const char* path, unsigned short capacity,
                                unsigned int flushInterval) {
    CZVErrorHistory* history = CZVErrorHistory::Create();
    if (history == NULL) {
        return NULL;
    }
    char* copy = TarnDupStringA(path);
    const int assigned = copy != NULL && history->AssignPath(copy, capacity, flushInterval);
    if (copy != NULL) {
        TarnFreeBuffer(copy);
    }
    if (!assigned) {
        history->Delete();
        return NULL;
    }
    return history;
}

}  // namespace

int ZVEHInitA(const char* path, unsigned short capacity, unsigned int flushInterval) {
    HolderLock lock;
    if (lock.Holder()->GetObject() != NULL) {
        TarnSetLastError(TARN_ERR_EH_ALREADY_INITIALIZED);
        return 0;
    }
    CZVErrorHistory* history = CreateAssigned(path, capacity, flushInterval);
    if (history == NULL) {
        return 0;
    }
    /* Held before it is opened: a failed open leaves it held, and later calls open it again. */
    lock.Holder()->SetObject(history);
    return history->Open();
}

int ZVEHInitW(const wchar_t* path, unsigned short capacity, unsigned int flushInterval) {
    char* narrow = TarnWideToAnsiString(path);
    if (narrow == NULL) {
        return 0;
    }
    const int result = ZVEHInitA(narrow, capacity, flushInterval);
    TarnFreeBuffer(narrow);
    return result != 0 ? 1 : 0;
}

int ZVEHExit(void) {
    HolderLock lock;
    CZVErrorHistory* history = static_cast<CZVErrorHistory*>(lock.Holder()->GetObject());
    if (history != NULL) {
        history->Delete();
        lock.Holder()->SetObject(NULL);
    }
    return 1;
}

int ZVEHGetRange(unsigned short* firstId, unsigned short* lastId) {
    HolderLock lock;
    CZVErrorHistory* history = lock.History();
    if (history == NULL) {
        return -1;
    }
    const int result = history->GetRange(firstId, lastId);
    return result < 0 ? -1 : result;
}

int ZVEHGetErrorHistory(unsigned short startId, int count, ERRHIST_tag* records,
                        unsigned int bufferBytes, unsigned short* firstId, int* readCount) {
    HolderLock lock;
    CZVErrorHistory* history = lock.History();
    if (history == NULL) {
        return -1;
    }
    const int result = history->Get(startId, count, records, bufferBytes, firstId, readCount);
    return result < 0 ? -1 : result;
}

int ZVEHClearErrorHistory(void) {
    HolderLock lock;
    CZVErrorHistory* history = lock.History();
    if (history == NULL) {
        return 0;
    }
    return history->Clear() ? 1 : 0;
}

int ZVEHAddErrorHistory(ERRHIST_tag* record, unsigned short* id) {
    HolderLock lock;
    CZVErrorHistory* history = lock.History();
    if (history == NULL) {
        return 0;
    }
    return history->Add(record, id) ? 1 : 0;
}

int ZVEHShiftErrorID(unsigned short id, int delta, unsigned short* result) {
    return CZVErrorHistory::ShiftID(id, delta, result);
}
