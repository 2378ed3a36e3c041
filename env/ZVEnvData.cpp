/*
 * ZVEnvData.cpp - a store's life: construction, binding to a named shared data block, locking,
 * closing, resetting the tree, the format tag, and the naming helpers.
 */
#include "ZVEnvData.h"

#include <stdio.h>
#include <string.h>

#include "TarnString.h"
#include "ZVEnvIndex.h"
#include "ZVEnvItem.h"
#include "ZVParseEnvFile.h"

using namespace zvenv;

namespace {

const char kTextTag[4] = {'E', 'N', 'V', 'T'};
const char kBinaryTag[4] = {'E', 'N', 'V', 'B'};

/* Block slots tried for one shared name: "<name> 00" to "<name> 99". */
const unsigned long kSlotCount = 100;
/* Room for the slot suffix in the block name buffer, beyond the name and its terminator. */
const unsigned int kSlotSuffixRoom = 16;
/* Most bytes of a shared name: 16, written as 32 hexadecimal digits. */
const unsigned int kSharedNameBytes = 16;
/* Size of an empty root directory: its head with an empty name. */
const unsigned int kEmptyRootSize = 7;

/* The bytes of a reset store: the header record, zeroed, then an empty root. */
void WriteEmptyRoot(unsigned char* data) {
    memset(data, 0, kHeaderSize + kEmptyRootSize);
    unsigned char* root = data + ZVED_ROOT_DIR;
    root[0] = ZVED_ITEM_DIR;
    WriteU32(root + 1, kEmptyRootSize);
}

/* Frees the two strings of an Open. */
void FreeOpenStrings(char* blockName, char* sharedCopy) {
    if (blockName != nullptr) {
        TarnFreeBuffer(blockName);
    }
    if (sharedCopy != nullptr) {
        TarnFreeBuffer(sharedCopy);
    }
}

/*
 * Claims the user data of a freshly opened (and locked) block for ownerKey, or recognises it as
 * this owner's. 1 when the block is this store's, 0 when another owner holds it, -1 when the
 * block has no user data.
 */
int ClaimBlock(CZVSharedData& block, const char* ownerKey) {
    char* user = static_cast<char*>(block.GetUserData());
    if (user == nullptr) {
        return -1;
    }
    if (user[0] == '\0') {
        /* A new block: its user area was made for this key (strlen + 1 bytes). */
        unsigned int room = block.m_pHeader->dwUserSize;
        TarnCopyStringA(ownerKey, user, room, 0);
        return 1;
    }
    return strcmp(user, ownerKey) == 0 ? 1 : 0;
}

}  // namespace

CZVEnvData::CZVEnvData()
    : m_pData(nullptr),
      m_dwDataSize(0),
      m_nIndent(0),
      m_dwLineBufferSize(0),
      m_dwLineLength(0),
      m_pszLineBuffer(nullptr),
      m_bAccessTimeStamped(0) {}

CZVEnvData::~CZVEnvData() {
    ReleaseIndex(this);
    if (m_dwLineBufferSize != 0) {
        TarnFreeBuffer(m_pszLineBuffer);
        m_pszLineBuffer = nullptr;
        m_dwLineBufferSize = 0;
        m_dwLineLength = 0;
    }
}

int CZVEnvData::Lock(int lock) {
    if (!m_SharedData.Lock(lock)) {
        return 0;
    }
    if (lock) {
        m_pData = static_cast<unsigned char*>(m_SharedData.GetData());
        m_dwDataSize = m_SharedData.GetSize();
    } else {
        m_pData = nullptr;
        m_dwDataSize = 0;
    }
    return 1;
}

/*
 * Tries the slots "<sharedName> 00" to "<sharedName> 99" until one is new (claimed for ownerKey)
 * or already this owner's. Shared data blocks are private to the process and always start fresh,
 * so in practice slot 00 is taken every time; the slot walk stays for blocks found by name.
 */
int CZVEnvData::Open(const char* sharedName, const char* ownerKey) {
    m_bAccessTimeStamped = 0;
    DropIndex(this);
    if (sharedName == nullptr || ownerKey == nullptr) {
        return 0;
    }
    char* blockName = TarnAllocateStringBufferA(static_cast<unsigned int>(strlen(sharedName)) + 1 +
                                                kSlotSuffixRoom);
    char* sharedCopy = TarnDupStringA(sharedName);
    if (blockName == nullptr || sharedCopy == nullptr) {
        FreeOpenStrings(blockName, sharedCopy);
        return 0;
    }
    unsigned int nameSize = static_cast<unsigned int>(strlen(sharedName)) + 1 + kSlotSuffixRoom;
    unsigned int userSize = static_cast<unsigned int>(strlen(ownerKey)) + 1;
    for (unsigned long slot = 0;; ++slot) {
        snprintf(blockName, nameSize, "%s %02lu", sharedCopy, slot);
        if (!m_SharedData.Open(blockName, userSize)) {
            FreeOpenStrings(blockName, sharedCopy);
            return 0;
        }
        int claimed = ClaimBlock(m_SharedData, ownerKey);
        if (claimed < 0) {
            m_SharedData.Lock(0);
            m_SharedData.Close();
            FreeOpenStrings(blockName, sharedCopy);
            return 0;
        }
        if (claimed == 1) {
            break;
        }
        if (!m_SharedData.Lock(0)) {
            m_SharedData.Close();
            FreeOpenStrings(blockName, sharedCopy);
            return 0;
        }
        if (!m_SharedData.Close() || slot + 1 == kSlotCount) {
            FreeOpenStrings(blockName, sharedCopy);
            return 0;
        }
    }
    FreeOpenStrings(blockName, sharedCopy);
    if (!m_SharedData.Lock(0)) {
        m_SharedData.Close();
        return 0;
    }
    m_pData = nullptr;
    m_dwDataSize = 0;
    return 1;
}

/* Fills the locked store from a file in either form (the parser empties it first). */
int CZVEnvData::Load(const char* path) {
    CZVParseEnvFile parser;
    return parser.Parse(path, this) ? 1 : 0;
}

int CZVEnvData::Close() {
    m_pData = nullptr;
    m_dwDataSize = 0;
    DropIndex(this);
    return m_SharedData.Close() ? 1 : 0;
}

/*
 * More than 6 bytes are taken as a complete root directory item and copied to offset 38 as they
 * are (a binary file's body); anything shorter gives an empty root in a zeroed buffer. Then the
 * text format is chosen and the access time stamped.
 */
int CZVEnvData::Reset(const void* data, unsigned int size) {
    unsigned int total;
    if (size > 6) {
        if (data == nullptr || !AddSize(ZVED_ROOT_DIR, size, &total)) {
            return 0;
        }
        /* The bytes may be part of this very buffer (a subtree made the whole tree): they
         * overlap their destination, and growing may move them. */
        SafeBytes safeData(data, size, m_pData, m_dwDataSize);
        if (!safeData.Ok() || !m_SharedData.SetSize(total)) {
            return 0;
        }
        m_pData = static_cast<unsigned char*>(m_SharedData.GetData());
        m_dwDataSize = m_SharedData.GetSize();
        memcpy(m_pData + ZVED_ROOT_DIR, safeData.Bytes(), size);
    } else {
        if (!m_SharedData.SetSize(ZVED_ROOT_DIR + kEmptyRootSize)) {
            return 0;
        }
        m_pData = static_cast<unsigned char*>(m_SharedData.GetData());
        m_dwDataSize = m_SharedData.GetSize();
        WriteEmptyRoot(m_pData);
    }
    DropIndex(this);
    AssignFormat(0);
    SetAccessTime(nullptr);
    return 1;
}

int CZVEnvData::GetFormat() {
    if (m_pData == nullptr || m_dwDataSize < kHeaderSize) {
        return 0;
    }
    return memcmp(m_pData + kTagOffset, kBinaryTag, sizeof kBinaryTag) == 0 ? 1 : 0;
}

/* Writes the tag and version 1.0 and stamps the access time, unless both are already so. */
int CZVEnvData::AssignFormat(int format) {
    if (format != 0 && format != 1) {
        return 0;
    }
    if (m_pData == nullptr || m_dwDataSize < kHeaderSize) {
        return 0;
    }
    const char* tag = format == 1 ? kBinaryTag : kTextTag;
    if (memcmp(m_pData + kTagOffset, tag, 4) == 0 && ReadU16(m_pData + kMajorOffset) == 1 &&
        ReadU16(m_pData + kMinorOffset) == 0) {
        return 1;
    }
    memcpy(m_pData + kTagOffset, tag, 4);
    WriteU16(m_pData + kMajorOffset, 1);
    WriteU16(m_pData + kMinorOffset, 0);
    SetAccessTime(nullptr);
    return 1;
}

/*
 * The block name of a file: its path folded ('\' to '/', 'a'-'z' to upper case) and XORed byte
 * by byte into n = min(16, (outSize - 1) / 2) bytes, written as 2n upper-case hex digits. The
 * size is taken as given: 0 wraps to the largest value and so writes 33 bytes.
 */
int CZVEnvData::GetSharedName(const char* path, char* out, unsigned int outSize) {
    if (out == nullptr) {
        return 1;
    }
    if (outSize == 1 || outSize == 2) {
        out[0] = '\0';
        return 1;
    }
    unsigned int n = (outSize - 1u) / 2u;
    if (n > kSharedNameBytes) {
        n = kSharedNameBytes;
    }
    unsigned char bytes[kSharedNameBytes] = {0};
    if (path != nullptr) {
        unsigned int i = 0;
        for (const char* p = path; *p != '\0'; ++p) {
            unsigned char c = static_cast<unsigned char>(*p);
            bytes[i] = static_cast<unsigned char>(bytes[i] ^ (c == '\\' ? '/' : FoldCase(c)));
            i = (i + 1 == n) ? 0 : i + 1;
        }
    }
    static const char kDigits[] = "0123456789ABCDEF";
    for (unsigned int i = 0; i < n; ++i) {
        out[2 * i] = kDigits[bytes[i] >> 4];
        out[2 * i + 1] = kDigits[bytes[i] & 0x0F];
    }
    out[2 * n] = '\0';
    return 1;
}

/*
 * Splits a key path at its last '/': the directory part runs up to and including that slash,
 * the name is what follows. Without a slash the whole path is the name; a trailing slash leaves
 * the name empty. The outputs point into path.
 */
int CZVEnvData::SplitKey(const char* path, int length, char** dirOut, int* dirLengthOut,
                         char** nameOut, int* nameLengthOut) {
    char* text = const_cast<char*>(path);
    char* dir = text;
    int dirLength = 0;
    char* name = text;
    int nameLength = 0;
    unsigned int n = NameLength(path, length);
    if (n != 0) {
        const void* slash = nullptr;
        for (unsigned int i = n; i > 0; --i) {
            if (path[i - 1] == '/') {
                slash = path + i - 1;
                break;
            }
        }
        if (slash == nullptr) {
            nameLength = static_cast<int>(n);
        } else {
            dirLength = static_cast<int>(static_cast<const char*>(slash) - path) + 1;
            name = text + dirLength;
            nameLength = static_cast<int>(n) - dirLength;
        }
    }
    if (dirOut != nullptr) {
        *dirOut = dir;
    }
    if (dirLengthOut != nullptr) {
        *dirLengthOut = dirLength;
    }
    if (nameOut != nullptr) {
        *nameOut = name;
    }
    if (nameLengthOut != nullptr) {
        *nameLengthOut = nameLength;
    }
    return 1;
}
