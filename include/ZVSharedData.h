/**
 * @file ZVSharedData.h
 * @brief A named, growable data block with a fixed-size user area.
 *
 * The block is two anonymous mappings: a control mapping holding the shared header below and the
 * user area, and a data mapping holding the bytes. Growing replaces the data mapping by a larger
 * one under a new serial number; every holder re-attaches to the current data mapping when it
 * takes the lock. The names are labels only: the mappings are private to the process (and to
 * children forked later). Operations return 1 for success and 0 for failure and never set a
 * last-error code of their own.
 */
#ifndef ZVSHAREDDATA_H
#define ZVSHAREDDATA_H

#include "ZVTypes.h"

#pragma pack(push, 1)
/**
 * The shared header at the start of the control mapping (host byte order), 84 bytes; the user
 * area follows it, then 4 spare zero bytes.
 * @ingroup mapping
 */
typedef struct ZV_SHARED_DATA_HEADER_tag {
    uint32_t dwCtrlSize; /**< length of the control mapping: user size + 88 */
    uint32_t dwSerial;   /**< number of the current data mapping, from 1, never 0 */
    uint32_t dwCapacity; /**< length of the data mapping, a multiple of the page size */
    uint32_t dwUsedSize; /**< the size last set by SetSize, 0 after the first Open */
    char szDataName[64]; /**< "DAT<block name><serial as 8 upper-case hex digits>" */
    uint32_t dwUserSize; /**< length of the user area, which follows at offset 84 */
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

/**
 * A named, growable block of bytes with a fixed-size user area, made of two anonymous mappings.
 *
 * Closed after construction; Open() leaves it open and locked; Lock(0) and Lock(1) alternate;
 * Close() ends it. The data, its size and the user area are reachable only while locked. The lock
 * is the control mapping's in-object mutex: it orders the threads of one process that share one
 * object.
 *
 * Layout: 216 bytes on the device.
 * @ingroup mapping
 */
class ZV_API CZVSharedData {
public:
    /** A closed block named "DUMMY_SHARED". */
    CZVSharedData();
    /** Closes the block if it is open and frees the private header copy. */
    virtual ~CZVSharedData();

    /**
     * Opens the block: creates the lock ("MTX<name>") and takes it, maps the control mapping
     * ("IDX<name>", user size + 88 bytes) and, for a new block, sets up its header (serial 1,
     * capacity one page, used size 0) and maps the first data mapping. Every block is new: the
     * mappings are anonymous.
     *
     * @param name the block name, at most 47 characters; each backslash becomes '_' (`A\B`
     *        gives the data mapping name "DATA_B00000001").
     * @param userSize bytes of the user area; 0 for none.
     * @return 1 with the block open and locked; 0 when it is open already, the name is null or
     *         too long, or a mapping cannot be made (everything undone).
     * @quirk The calling thread's last-error code is cleared right before each mapping is made,
     *        so that an unrelated code 11 left by the caller cannot make a new block look old.
     */
    virtual int Open(const char* name, unsigned int userSize);
    /**
     * Closes the data and control mappings, unlocks and closes the lock and frees the private
     * header copy.
     *
     * @return 1, or 0 when one of these steps fails.
     */
    virtual int Close();
    /**
     * Takes or releases the block lock. Taking it re-attaches to the current data mapping when
     * another holder replaced it (the serial differs from this holder's copy); releasing it
     * copies the header into this holder's private copy first.
     *
     * @param lock non-zero to take the lock, zero to release it.
     * @return 1 (also when already in the state asked for); 0 when the block is not open or the
     *         mutex or the re-attach fails (the lock is then released).
     */
    virtual int Lock(int lock);
    /**
     * The data bytes. Their address changes when SetSize() grows the block.
     *
     * @return the data mapping's address; null unless open and locked.
     */
    virtual void* GetData();
    /**
     * The used size.
     *
     * @return the size last set by SetSize(); 0 unless open and locked.
     */
    virtual unsigned int GetSize();
    /**
     * Sets the used size. A size within the capacity only changes the used size (the capacity
     * never shrinks); a larger one maps a new data mapping of size rounded up to whole pages
     * under the next serial, copies the used bytes over and publishes the new header.
     *
     * @param size the new used size in bytes.
     * @return 1; 0 unless open and locked, or when the new mapping cannot be made (the old data
     *         mapping and header are then kept).
     * @quirk Growing clears the calling thread's last-error code, as Open() does.
     */
    virtual int SetSize(unsigned int size);
    /**
     * The user area, right behind the shared header.
     *
     * @return the header's address + 84; null unless open and locked, or when the user size
     *         is 0.
     */
    virtual void* GetUserData();

    /** Not copyable. */
    CZVSharedData(const CZVSharedData&) = delete;
    /** Not assignable. */
    CZVSharedData& operator=(const CZVSharedData&) = delete;

    unsigned int m_dwPageSize;                   /**< 0 until the first Open */
    char m_szName[64];                           /**< "DUMMY_SHARED" until Open */
    CZVMapFile m_CtrlMap;                        /**< header and user area; its mutex is the lock */
    CZVMapFile m_DataMap;                        /**< the current data mapping */
    ZV_SHARED_DATA_HEADER_tag* m_pHeader;        /**< start of the control mapping, or null */
    ZV_SHARED_DATA_HEADER_tag* m_pPrivateHeader; /**< library buffer: the header as last seen */
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVSharedData) == 216, "CZVSharedData is 216 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVSHAREDDATA_H */
