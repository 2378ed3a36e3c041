// Fuzz target: loading an environment file of either form from arbitrary bytes, then using what
// was loaded. The first input byte chooses the form (even: text "ENVT", odd: binary "ENVB"); the
// rest is the body behind a valid header line. The loaded store is walked item by item (every
// directory, every key read with every getter of the store), saved in both forms, the saved text
// loaded again, and the saved binary loaded again, which must give the same items byte for byte.
// The same file is opened through a ZVEV handle too: every directory listed, every listed key
// read with every ZVEV getter, and saved as text and as binary; the binary file must open again
// with the same tree. Files come from outside the library's control, so no input may crash,
// leak or read out of bounds.
#include <stdint.h>
#include <string.h>

#include <string>
#include <vector>

#include "FuzzEnvTree.h"
#include "FuzzSupport.h"
#include "ZVCmnFileHdr.h"
#include "ZVEnvData.h"
#include "ZVFileAccess.h"

namespace {

using zvfuzz::Check;

// The files the target writes, in the scratch folder.
struct Files {
    std::string input = zvfuzz::ScratchFile("input.env");
    std::string text = zvfuzz::ScratchFile("saved.env");
    std::string binary = zvfuzz::ScratchFile("saved.bin");
};

const Files& TheFiles() {
    static const Files files;
    return files;
}

// Writes a 96-byte header line of the given type and version 01.00, then the body.
void WriteInput(const char* type, const uint8_t* body, size_t size) {
    ZV_COMMON_FILE_HEADER_tag header;
    memset(&header, 0, sizeof header);
    memcpy(header.szFileType, type, 4);
    header.wMajorVer = 1;
    header.wMinorVer = 0;
    header.lCheckSum = -1;
    std::string file(ZVCF_HEADER_LENGTH, ' ');
    Check(ZVCFCreateCommonFileHeader(&header, &file[0], ZVCF_HEADER_LENGTH) == ZVCF_HEADER_LENGTH);
    file.append(reinterpret_cast<const char*>(body), size);
    zvfuzz::WriteWholeFile(TheFiles().input, file.data(), file.size());
}

// A store on a block of its own, locked while it lives.
class Store {
public:
    Store() : m_open(data.Open("FuzzEnvLoad", "fuzz") == 1 && data.Lock(1) == 1) {}
    ~Store() {
        data.Lock(0);
        data.Close();
    }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    bool Ok() const { return m_open; }
    CZVEnvData data;

private:
    bool m_open;
};

// Reads the key (or comment) at item through every getter of its directory.
unsigned int ReadKey(CZVEnvData& s, unsigned int dir, unsigned int item) {
    unsigned int seen = s.GetAttribute(item) + s.GetSum(item) + s.GetItemSize(item);
    // The name is used only when its terminator lies inside the buffer.
    if (s.SkipKeyHead(item) == 0) {
        return seen;
    }
    const char* name = s.GetKeyName(item);
    if (name == nullptr) {
        return seen;
    }
    std::string key(name);
    int integer = 0;
    double real = 0;
    int boolean = 0;
    char* text = nullptr;
    void* bytes = nullptr;
    unsigned int size = 0;
    s.GetInteger(dir, key.c_str(), -1, &integer);
    s.GetDouble(dir, key.c_str(), -1, &real);
    s.GetBoolean(dir, key.c_str(), -1, &boolean);
    if (s.GetString(dir, key.c_str(), -1, &text) != 0 && text != nullptr) {
        seen += static_cast<unsigned int>(strlen(text));
    }
    if (s.GetBinData(dir, key.c_str(), -1, &bytes, &size) != 0 && bytes != nullptr) {
        for (unsigned int i = 0; i < size; ++i) {
            seen += static_cast<const unsigned char*>(bytes)[i];
        }
    }
    s.GetBinDataBuf(item, &bytes, &size);
    seen += s.FindKey(dir, key.c_str(), -1);
    return seen + static_cast<unsigned int>(integer + boolean) + (real > 0 ? 1u : 0u);
}

// Walks every item under dir, directories depth first.
unsigned int Walk(CZVEnvData& s, unsigned int dir, int depth) {
    unsigned int seen = 0;
    for (unsigned int item = s.GetNextItem(dir, 0); item != 0; item = s.GetNextItem(dir, item)) {
        if (s.IsDir(item)) {
            const char* name = s.GetDirName(item);
            seen += s.IsDirLocked(item) + s.GetItemSize(item);
            if (name != nullptr && s.SkipDirHead(item) != 0) {
                seen += s.FindDir(dir, name, -1);
            }
            if (depth < 4096) {
                seen += Walk(s, item, depth + 1);
            }
        } else {
            seen += ReadKey(s, dir, item);
        }
    }
    return seen;
}

std::string Items(CZVEnvData& s) {
    if (s.m_pData == nullptr || s.m_dwDataSize < 38) {
        return std::string();
    }
    return std::string(reinterpret_cast<const char*>(s.m_pData) + 38, s.m_dwDataSize - 38);
}

// The store of the library's own class: walked, saved in both forms and loaded again.
void CheckStore() {
    Store first;
    Check(first.Ok());
    if (first.data.Load(TheFiles().input.c_str()) == 0) {
        return;
    }
    volatile unsigned int seen = Walk(first.data, 0, 0);
    (void)seen;

    first.data.AssignFormat(0);
    int savedText = first.data.Save(TheFiles().text.c_str());
    first.data.AssignFormat(1);
    Check(first.data.Save(TheFiles().binary.c_str()) == 1);

    // The binary form carries the items whole.
    Store binary;
    Check(binary.Ok() && binary.data.Load(TheFiles().binary.c_str()) == 1 &&
          Items(binary.data) == Items(first.data));

    if (savedText == 1) {
        Store text;
        Check(text.Ok());
        if (text.data.Load(TheFiles().text.c_str()) == 1) {
            seen = Walk(text.data, 0, 0);
        }
    }
}

// Opens the saved file through a new handle; with want, checks its tree against want.
void Reopen(const std::string& path, const std::vector<zvfuzz::Entry>* want) {
    ZVEV_HANDLE again = nullptr;
    const int opened = ZVEVOpenFile(path.c_str(), &again);
    if (want != nullptr) {
        Check(opened == 1 && zvfuzz::SameTree(*want, zvfuzz::Tree(again), true));
    } else if (opened == 1) {
        volatile size_t entries = zvfuzz::Tree(again).size();
        (void)entries;
    }
    if (opened == 1) {
        Check(ZVEVClose(again) == 1);
    }
}

// The same file through the ZVEV functions: listed, read every way, saved in both forms.
void CheckHandle() {
    ZVEV_HANDLE h = nullptr;
    if (ZVEVOpenFile(TheFiles().input.c_str(), &h) == 0) {
        return;
    }
    const std::vector<zvfuzz::Entry> tree = zvfuzz::Tree(h);
    Check(ZVEVAssignFormat(h, 0) == 1);
    const int savedText = ZVEVSaveAs(h, TheFiles().text.c_str());
    Check(ZVEVAssignFormat(h, 1) == 1);
    Check(ZVEVSaveAs(h, TheFiles().binary.c_str()) == 1);
    Check(ZVEVClose(h) == 1);
    Reopen(TheFiles().binary, &tree);
    if (savedText == 1) {
        Reopen(TheFiles().text, nullptr);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0 || size > 65536) {
        return 0;
    }
    WriteInput((data[0] & 1) != 0 ? "ENVB" : "ENVT", data + 1, size - 1);
    CheckStore();
    CheckHandle();
    return 0;
}
