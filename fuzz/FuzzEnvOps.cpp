// Fuzz target: sequences of ZVEV calls decoded from the input, on two handle slots over a small
// set of files (two plain files, a folder, a file in a missing folder). Each step picks a call, a
// slot and the call's arguments (paths and names mostly from a small alphabet, so that they
// repeat and nest; values and texts raw). Besides staying clean, the calls must keep what they
// promise: a value that was set reads back at once; an assigned directory measures as it was
// given; a listing names entries that exist, in order when sorted; a closed handle is refused
// with code 1; and every file a flush or save-as wrote opens again through a new handle with
// the same tree (the binary form exactly; the text form with reals to 12 digits and without
// the lock marks, and not at all when it holds a not-a-number real, which the text form cannot
// carry back).
#include <math.h>
#include <stdint.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "FuzzEnvTree.h"
#include "FuzzSupport.h"
#include "TarnError.h"
#include "ZVFileAccess.h"

using zvfuzz::Check;
using zvfuzz::Entry;
using zvfuzz::HoldsNotANumber;
using zvfuzz::InputReader;
using zvfuzz::SameTree;
using zvfuzz::Tree;

namespace {

const unsigned int kSentinel = 0x5A5Au;
const unsigned int kMaxSteps = 96u;
const unsigned int kFileCount = 4u;
// Names, slashes and a few bytes names may not hold.
const char kPathLetters[] = "abAB_[]/1.-";
const size_t kMaxPath = 24u;
// Short enough that a string line never reaches the text writer's cut (four bytes per escape).
const size_t kMaxText = 200u;
const size_t kMaxData = 300u;

bool IsFlag(int result) {
    return result == 0 || result == 1;
}

bool SameBits(double a, double b) {
    return memcmp(&a, &b, sizeof a) == 0;
}

// The files the handles open and save to, and the folder of the scratch area they lie in.
class Files {
public:
    Files() {
        m_paths[0] = zvfuzz::ScratchFile("one.env");
        m_paths[1] = zvfuzz::ScratchFile("two.env");
        m_paths[2] = zvfuzz::ScratchFile("folder.env");
        m_paths[3] = zvfuzz::ScratchFile("none/three.env");
        mkdir(m_paths[2].c_str(), 0755);
    }
    // Every run starts without the two plain files.
    void Reset() const {
        unlink(m_paths[0].c_str());
        unlink(m_paths[1].c_str());
    }
    const char* Path(unsigned int index) const { return m_paths[index % kFileCount].c_str(); }

private:
    std::string m_paths[kFileCount];
};

const Files& TheFiles() {
    static const Files files;
    return files;
}

// The steps of one input on two handle slots.
class Session {
public:
    explicit Session(InputReader& in) : m_in(in) {}
    ~Session() {
        for (ZVEV_HANDLE& h : m_handles) {
            if (h != nullptr) {
                ZVEVClose(h);
            }
        }
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void Step() {
        const uint8_t b = m_in.Byte();
        m_slot = (b >> 7) & 1u;
        TarnSetLastError(kSentinel);
        switch (b & 0x1F) {
            case 0:
            case 1:
                Open();
                break;
            case 2:
                Close();
                break;
            case 3:
                Integer();
                break;
            case 4:
                Real();
                break;
            case 5:
                Boolean();
                break;
            case 6:
                Text();
                break;
            case 7:
                Data();
                break;
            case 8:
                Getters();
                break;
            case 9:
                Directory();
                break;
            case 10:
                RemoveDir();
                break;
            case 11:
                RemoveKey();
                break;
            case 12:
                LockMark();
                break;
            case 13:
                Enumerate();
                break;
            case 14:
                Flush();
                break;
            case 15:
                SaveAs();
                break;
            case 16:
                AssignDir();
                break;
            case 17:
                Format();
                break;
            case 18:
                Stale();
                break;
            case 19:
                Check(IsFlag(ZVEVIsFileExistA(TheFiles().Path(m_in.Byte()))));
                break;
            default:
                Integer();  // the commonest call of the host programs
                break;
        }
    }

private:
    ZVEV_HANDLE Handle() const { return m_handles[m_slot]; }

    // A call on an empty slot (a null handle) is refused with code 1.
    bool Refused(bool resultAsDocumented) const {
        if (Handle() != nullptr) {
            return false;
        }
        Check(resultAsDocumented && TarnGetLastError() == TARN_ERR_INVALID_HANDLE);
        return true;
    }

    std::string Path() { return m_in.Text(kPathLetters, kMaxPath); }

    void Open() {
        ZVEV_HANDLE& h = m_handles[m_slot];
        if (h != nullptr) {
            Check(IsFlag(ZVEVClose(h)));
            m_stale = h;
        }
        const unsigned int file = m_in.Byte() % kFileCount;
        const int opened = ZVEVOpenFile(TheFiles().Path(file), &h);
        Check(IsFlag(opened) && (opened == 1) == (h != nullptr));
        m_openedOn[m_slot] = opened == 1 ? file : kFileCount;
    }

    void Close() {
        ZVEV_HANDLE& h = m_handles[m_slot];
        const int closed = ZVEVClose(h);
        if (Refused(closed == 0)) {
            return;
        }
        Check(IsFlag(closed));
        m_stale = h;
        h = nullptr;
        m_openedOn[m_slot] = kFileCount;
    }

    void Integer() {
        const std::string key = Path();
        const int value = static_cast<int>(m_in.U32());
        const int set = ZVEVSetInteger(Handle(), key.c_str(), value);
        if (!Refused(set == 0) && set == 1) {
            Check(ZVEVGetInteger(Handle(), key.c_str(), ~value) == value);
        }
    }

    void Real() {
        const std::string key = Path();
        const double value = m_in.Double();
        const int set = ZVEVSetDouble(Handle(), key.c_str(), value);
        if (Refused(set == 0)) {
            return;
        }
        Check(IsFlag(set));
        if (isinf(value)) {
            Check(set == 0 && TarnGetLastError() == TARN_ERR_SET_REAL);
        } else if (set == 1) {
            const double got = ZVEVGetDouble(Handle(), key.c_str(), 1.5);
            Check(SameBits(got, value) || (isnan(got) && isnan(value)));
        }
    }

    void Boolean() {
        const std::string key = Path();
        const int value = static_cast<int8_t>(m_in.Byte());
        const int set = ZVEVSetBoolean(Handle(), key.c_str(), value);
        if (!Refused(set == 0) && set == 1) {
            Check(ZVEVGetBoolean(Handle(), key.c_str(), 7) == (value != 0 ? 1 : 0));
        }
    }

    void Text() {
        const std::string key = Path();
        const std::string text = m_in.RawText(kMaxText);
        const int set = ZVEVSetString(Handle(), key.c_str(), text.c_str());
        if (Refused(set == 0) || set != 1) {
            return;
        }
        std::vector<char> buffer(text.size() + 1u);
        Check(ZVEVGetString(Handle(), key.c_str(), buffer.data(),
                            static_cast<unsigned int>(buffer.size()),
                            "default") == static_cast<int>(text.size()));
        Check(memcmp(buffer.data(), text.c_str(), buffer.size()) == 0);
    }

    void Data() {
        const std::string key = Path();
        const std::string bytes = m_in.Bytes(m_in.U16() % (kMaxData + 1u));
        const int set = ZVEVSetData(Handle(), key.c_str(), bytes.data(),
                                    static_cast<unsigned int>(bytes.size()));
        if (Refused(set == 0)) {
            return;
        }
        Check(IsFlag(set));
        if (bytes.empty()) {
            Check(set == 0 && TarnGetLastError() == TARN_ERR_INVALID_BINARY_SIZE);
        } else if (set == 1) {
            std::vector<char> buffer(bytes.size());
            Check(ZVEVGetData(Handle(), key.c_str(), buffer.data(),
                              static_cast<unsigned int>(buffer.size())) ==
                  static_cast<int>(bytes.size()));
            Check(memcmp(buffer.data(), bytes.data(), bytes.size()) == 0);
        }
    }

    // Every getter on one key path, with buffers of a fuzzed size.
    void Getters() {
        const std::string key = Path();
        const char* k = key.c_str();
        const unsigned int size = m_in.Byte() % 40u;
        std::vector<char> buffer(size == 0 ? 1u : size);
        char* b = size == 0 ? nullptr : buffer.data();
        const int integer = ZVEVGetInteger(Handle(), k, 41);
        const double real = ZVEVGetDouble(Handle(), k, 4.5);
        const int boolean = ZVEVGetBoolean(Handle(), k, 42);
        const int text = ZVEVGetString(Handle(), k, b, size, "fallback");
        // The copy is cut to the buffer and terminated.
        const bool terminated = size == 0 || memchr(buffer.data(), '\0', size) != nullptr;
        const int data = ZVEVGetData(Handle(), k, b, size);
        const int keyExists = ZVEVCheckKeyExist(Handle(), k);
        const int dirExists = ZVEVCheckDirExist(Handle(), k);
        if (Refused(integer == 41 && real == 4.5 && boolean == 42 && text == -1 && data == -1 &&
                    keyExists == 0 && dirExists == 0)) {
            return;
        }
        Check(boolean == 0 || boolean == 1 || boolean == 42);
        Check(text >= 0 && terminated && data >= -1);
        Check(IsFlag(keyExists) && IsFlag(dirExists));
    }

    void Directory() {
        const std::string path = Path();
        const int created = ZVEVCreateDir(Handle(), path.c_str());
        if (!Refused(created == 0) && created == 1 && !path.empty()) {
            Check(ZVEVCheckDirExist(Handle(), path.c_str()) == 1);
        }
    }

    void RemoveDir() {
        const std::string path = Path();
        const int removed = ZVEVRemoveDir(Handle(), path.c_str());
        if (!Refused(removed == 0)) {
            Check(IsFlag(removed));
        }
    }

    void RemoveKey() {
        const std::string key = Path();
        const int removed = ZVEVRemoveKey(Handle(), key.c_str());
        if (!Refused(removed == 0) && removed == 1) {
            Check(ZVEVCheckKeyExist(Handle(), key.c_str()) == 0);
        }
    }

    void LockMark() {
        const std::string path = Path();
        const int lock = m_in.Byte() & 1;
        const int marked = ZVEVLock(Handle(), path.c_str(), lock);
        if (!Refused(marked == 0) && marked == 1) {
            Check(ZVEVIsLocked(Handle(), path.c_str()) == lock);
        }
    }

    // A listing's entries exist, carry a listed type and come sorted when asked.
    void Enumerate() {
        const std::string path = Path();
        const unsigned int options = m_in.Byte() & 7u;
        ZVEV_ENUM_LIST_tag* list = ZVEVEnumEntries(Handle(), path.c_str(), options);
        if (Refused(list == nullptr)) {
            return;
        }
        if ((options & (ZVEV_ENUM_DIRS | ZVEV_ENUM_KEYS)) == 0) {
            Check(list == nullptr && TarnGetLastError() == TARN_ERR_NO_ENUM_OPTION);
            return;
        }
        if (list == nullptr) {
            return;
        }
        const std::string base = path.empty() ? std::string() : path + "/";
        for (uint32_t i = 0; i < list->dwCount; ++i) {
            const ZVEV_ENUM_ENTRY_tag& e = list->Entries[i];
            const std::string entry = base + e.pszName;
            if (e.wType == ZVEV_ENTRY_DIR) {
                Check((options & ZVEV_ENUM_DIRS) != 0);
                Check(ZVEVCheckDirExist(Handle(), entry.c_str()) == 1);
            } else {
                Check((options & ZVEV_ENUM_KEYS) != 0);
                Check(e.wType >= ZVEV_ENTRY_BINARY && e.wType <= ZVEV_ENTRY_STRING);
                Check(ZVEVCheckKeyExist(Handle(), entry.c_str()) == 1);
            }
            if ((options & ZVEV_ENUM_SORT) != 0 && i > 0) {
                Check(strcasecmp(list->Entries[i - 1].pszName, e.pszName) <= 0);
            }
        }
        Check(ZVEVFreeSnapList(list) == 1);
    }

    // A file the handle wrote opens again with the same tree.
    void CheckWritten(const char* path) {
        const bool binary = ZVEVGetFormat(Handle()) == 1;
        const std::vector<Entry> saved = Tree(Handle());
        ZVEV_HANDLE again = nullptr;
        if (ZVEVOpenFile(path, &again) != 1) {
            Check(!binary && HoldsNotANumber(saved));
            return;
        }
        Check(SameTree(saved, Tree(again), binary));
        Check(ZVEVClose(again) == 1);
    }

    void Flush() {
        const int flushed = ZVEVFlush(Handle());
        if (Refused(flushed == 0)) {
            return;
        }
        Check(IsFlag(flushed));
        // Only the handles on the two plain files know their path here.
        for (unsigned int i = 0; i < 2u && flushed == 1; ++i) {
            if (m_openedOn[m_slot] == i) {
                CheckWritten(TheFiles().Path(i));
            }
        }
    }

    void SaveAs() {
        const unsigned int target = m_in.Byte() % kFileCount;
        const int saved = ZVEVSaveAs(Handle(), TheFiles().Path(target));
        if (Refused(saved == 0)) {
            return;
        }
        Check(IsFlag(saved));
        if (saved == 1) {
            CheckWritten(TheFiles().Path(target));
        }
    }

    void AssignDir() {
        const bool none = m_in.Byte() < 0x20;
        const std::string path = Path();
        const int assigned = ZVEVAssignDir(Handle(), none ? nullptr : path.c_str());
        if (Refused(assigned == 0)) {
            return;
        }
        Check(assigned == 1);
        const int expected = none ? 1 : static_cast<int>(path.size());
        Check(ZVEVGetAssignedDir(Handle(), nullptr, 0) == expected);
        char buffer[8];
        const unsigned int size = m_in.Byte() % (sizeof buffer + 1u);
        Check(ZVEVGetAssignedDir(Handle(), buffer, size) == expected);
    }

    void Format() {
        const int format = static_cast<int8_t>(m_in.Byte()) % 3;
        const int assigned = ZVEVAssignFormat(Handle(), format);
        if (Refused(assigned == 0)) {
            return;
        }
        if (format != 0 && format != 1) {
            Check(assigned == 0 && TarnGetLastError() == TARN_ERR_UNSUPPORTED_FORMAT);
        } else if (assigned == 1) {
            Check(ZVEVGetFormat(Handle()) == format);
        }
    }

    // A handle closed earlier is refused, unless its address is live again.
    void Stale() {
        if (m_stale == nullptr || m_stale == m_handles[0] || m_stale == m_handles[1]) {
            return;
        }
        Check(ZVEVGetInteger(m_stale, "a", 17) == 17);
        Check(TarnGetLastError() == TARN_ERR_INVALID_HANDLE);
        Check(ZVEVClose(m_stale) == 0 && TarnGetLastError() == TARN_ERR_INVALID_HANDLE);
    }

    InputReader& m_in;
    ZVEV_HANDLE m_handles[2] = {nullptr, nullptr};
    unsigned int m_openedOn[2] = {kFileCount, kFileCount};
    ZVEV_HANDLE m_stale = nullptr;
    unsigned int m_slot = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 8192) {
        return 0;
    }
    TheFiles().Reset();
    InputReader in(data, size);
    Session session(in);
    for (unsigned int step = 0; step < kMaxSteps && !in.Empty(); ++step) {
        session.Step();
    }
    return 0;
}
