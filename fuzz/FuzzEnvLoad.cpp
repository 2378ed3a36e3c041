// Fuzz target: loading an environment file of either form from arbitrary bytes, then using what
// was loaded. The first input byte chooses the form (even: text "ENVT", odd: binary "ENVB"); the
// rest is the body behind a valid header line. The loaded store is walked (every directory, every
// key read with every getter), saved in both forms, the saved text loaded again, and the saved
// binary loaded again, which must give the same items byte for byte. Files come from outside
// the library's control, so no input may crash, leak or read out of bounds.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "ZVCmnFileHdr.h"
#include "ZVEnvData.h"

namespace {

// The files the target writes, in a folder of its own made once per process and removed at exit.
struct Scratch {
    std::string folder;
    std::string input;
    std::string text;
    std::string binary;
};

Scratch MakeScratch() {
    const char* base = getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != 0 ? base : "/tmp") + "/FuzzEnvLoad.XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr) {
        abort();
    }
    Scratch s;
    s.folder = pattern;
    s.input = pattern + "/input.env";
    s.text = pattern + "/saved.env";
    s.binary = pattern + "/saved.bin";
    return s;
}

const Scratch& Files() {
    static const Scratch scratch = MakeScratch();
    static const bool cleanup = atexit([] {
                                    unlink(Files().input.c_str());
                                    unlink(Files().text.c_str());
                                    unlink(Files().binary.c_str());
                                    rmdir(Files().folder.c_str());
                                }) == 0;
    (void)cleanup;
    return scratch;
}

// Writes a 96-byte header line of the given type and version 01.00, then the body.
void WriteInput(const char* type, const uint8_t* body, size_t size) {
    ZV_COMMON_FILE_HEADER_tag header;
    memset(&header, 0, sizeof header);
    memcpy(header.szFileType, type, 4);
    header.wMajorVer = 1;
    header.wMinorVer = 0;
    header.lCheckSum = -1;
    char line[ZVCF_HEADER_LENGTH];
    if (ZVCFCreateCommonFileHeader(&header, line, sizeof line) != ZVCF_HEADER_LENGTH) {
        abort();
    }
    FILE* file = fopen(Files().input.c_str(), "wb");
    if (file == nullptr) {
        abort();
    }
    fwrite(line, 1, sizeof line, file);
    if (size > 0) {
        fwrite(body, 1, size, file);
    }
    fclose(file);
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0 || size > 65536) {
        return 0;
    }
    WriteInput((data[0] & 1) != 0 ? "ENVB" : "ENVT", data + 1, size - 1);

    Store first;
    if (!first.Ok()) {
        abort();
    }
    if (first.data.Load(Files().input.c_str()) == 0) {
        return 0;
    }
    volatile unsigned int seen = Walk(first.data, 0, 0);
    (void)seen;

    first.data.AssignFormat(0);
    int savedText = first.data.Save(Files().text.c_str());
    first.data.AssignFormat(1);
    if (first.data.Save(Files().binary.c_str()) != 1) {
        abort();
    }

    // The binary form carries the items whole.
    Store binary;
    if (!binary.Ok() || binary.data.Load(Files().binary.c_str()) != 1 ||
        Items(binary.data) != Items(first.data)) {
        abort();
    }

    if (savedText == 1) {
        Store text;
        if (!text.Ok()) {
            abort();
        }
        if (text.data.Load(Files().text.c_str()) == 1) {
            seen = Walk(text.data, 0, 0);
        }
    }
    return 0;
}
