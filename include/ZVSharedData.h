/*
 * ZVSharedData.h - a named, growable data block with a fixed-size user area.
 *
 * The block is two anonymous mappings: a control mapping holding the shared header below and the
 * user area, and a data mapping holding the bytes. Growing replaces the data mapping by a larger
 * one under a new serial number; every holder re-attaches to the current data mapping when it
 * takes the lock. The names are labels only: the mappings are private to the process (and to
 * children forked later). Operations return 1 for success and 0 for failure and never set the
 * last-error code.
 */
#ifndef ZVSHAREDDATA_H
#define ZVSHAREDDATA_H

#include "ZVTypes.h"

#pragma pack(push, 1)
/* The shared header at the start of the control mapping (host byte order). */
typedef struct ZV_SHARED_DATA_HEADER_tag {
    uint32_t dwCtrlSize; /* length of the control mapping: user size + 88 */
    uint32_t dwSerial;   /* number of the current data mapping, never 0 */
    uint32_t dwCapacity; /* length of the data mapping, a multiple of the page size */
    uint32_t dwUsedSize; /* the size last set by SetSize */
    char szDataName[64]; /* "DAT<block name><serial as 8 upper-case hex digits>" */
    uint32_t dwUserSize; /* length of the user area, which follows at offset 84 */
} ZV_SHARED_DATA_HEADER_tag;
#pragma pack(pop)

ZV_STATIC_ASSERT(offsetof(ZV_SHARED_DATA_HEADER_tag, dwCtrlSize) == 0, "control size at 0");
ZV_STATIC_ASSERT(offsetof(ZV_SHARED_DATA_HEADER_tag, dwSerial) == 4, "serial at 4");
ZV_STATIC_ASSERT(offsetof(ZV_SHARED_DATA_HEADER_tag, dwCapacity) == 8, "capacity at 8");
ZV_STATIC_ASSERT(offsetof(ZV_SHARED_DATA_HEADER_tag, dwUsedSize) == 12, "used size at 12");
ZV_STATIC_ASSERT(offsetof(ZV_SHARED_DATA_HEADER_tag, szDataName) == 16, "data name at 16");
ZV_STATIC_ASSERT(offsetof(ZV_SHARED_DATA_HEADER_tag, dwUserSize) == 80, "user size at 80");
ZV_STATIC_ASSERT(sizeof(ZV_SHARED_DATA_HEADER_tag) == 84, "the user area starts at 84");

#ifdef __cplusplus

#include "ZVMapFile.h"

class ZV_API CZVSharedData {
public:
    CZVSharedData();
    virtual ~CZVSharedData();

    /* Opens the block name (at most 47 characters) with a user area of userSize bytes; on
     * success the block is open and locked. */
    virtual int Open(const char* name, unsigned int userSize);
    virtual int Close();
    /* Non-zero takes the block lock (re-attaching to a replaced data mapping), zero releases
     * it (publishing this holder's view of the header). */
    virtual int Lock(int lock);
    /* The data bytes; null unless open and locked. */
    virtual void* GetData();
    /* The used size; 0 unless open and locked. */
    virtual unsigned int GetSize();
    /* Sets the used size, growing the data mapping (never shrinking it) as needed. */
    virtual int SetSize(unsigned int size);
    /* The user area; null unless open and locked, or when it is empty. */
    virtual void* GetUserData();

    CZVSharedData(const CZVSharedData&) = delete;
    CZVSharedData& operator=(const CZVSharedData&) = delete;

    unsigned int m_dwPageSize;                   /* 0 until the first Open */
    char m_szName[64];                           /* "DUMMY_SHARED" until Open */
    CZVMapFile m_CtrlMap;                        /* header and user area; its mutex is the lock */
    CZVMapFile m_DataMap;                        /* the current data mapping */
    ZV_SHARED_DATA_HEADER_tag* m_pHeader;        /* start of the control mapping, or null */
    ZV_SHARED_DATA_HEADER_tag* m_pPrivateHeader; /* library buffer: the header as last seen */
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVSharedData) == 216, "CZVSharedData is 216 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVSHAREDDATA_H */
