// Environment files cut short at every length and with every single bit flipped, in the text
// form and the binary form: opening either fails with code 13 "Load file failed." and no handle,
// or gives a handle whose store can be listed directory by directory and read key by key with
// every getter. Nothing crashes and nothing leaks (the sanitizer build is the judge of both).
// Where the file's rules decide the outcome, it is pinned: a cut inside the type or version, or
// a damaged byte there, refuses the file (except version 01 damaged into 00), and so does a MAC
// address damaged into no address; a file cut inside the rest of its header line loads empty; a
// text file cut inside a block is refused, and one cut between two top-level items loads exactly
// the items before the cut; a binary file cut anywhere in its body loads, but shows nothing.
#include <ctype.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EnvFileTestSupport.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVCmnFileHdr.h"
#include "ZVFileAccess.h"
#include "ZVTypes.h"

namespace {

using zvenvtest::Entries;
using zvenvtest::EnumEntry;
using zvtest::kSentinelError;

// The sample's settings, with every kind of item: keys of every type and radix, comment lines
// and trailing comments, nested and locked directories, binary data.
const char kSampleText[] =
    "# settings of the unit\r\n"
    "nCount = 10\r\n"
    "nMask = 0x1F   # low bits\r\n"
    "nMode = 0o17\r\n"
    "nFlags = 0b0101\r\n"
    "rGain = 1.5e-1\r\n"
    "bEnable = True\r\n"
    "bLegacy = False\r\n"
    "sTitle = 'Main unit\\n'\r\n"
    "Motor {\r\n"
    "  nSpeed = 1200\r\n"
    "  Limits {\r\n"
    "    rMax = 3000.5\r\n"
    "    # no minimum\r\n"
    "  }\r\n"
    "}\r\n"
    "cTable = 3 { 1 2 0xFF }\r\n"
    "Net {\r\n"
    "  sHost = \"device.local\"\r\n"
    "  xPlain = word\r\n"
    "}\r\n";

// Bits flipped: all of them, except on the device, where emulation is slower: every bit of the
// header line and every third bit of the body.
#if defined(ZV_DEVICE_ABI)
constexpr size_t kBodyBitStride = 3;
#else
constexpr size_t kBodyBitStride = 1;
#endif

// Where the header line's MAC address starts.
constexpr size_t kMacField = 62;

// Whether the bit of index `bit` (byte * 8 + bit in the byte) is flipped in this build.
bool FlipsBit(size_t bit) {
    return bit < 96 * 8 || bit % kBodyBitStride == 0;
}

// A 96-byte header line of fixed time, address and text for a body of the given form.
std::string FixedHeader(const char* type, const std::string& body) {
    ZV_COMMON_FILE_HEADER_tag h;
    memset(&h, 0, sizeof h);
    memcpy(h.szFileType, type, 4);
    h.wMajorVer = 1;
    h.wMinorVer = 0;
    h.lLastModified = static_cast<int32_t>(zvtest::Utc(2013, 4, 5, 6, 7, 8));
    h.dwDataSize = static_cast<uint32_t>(96 + body.size());
    h.lCheckSum = static_cast<int32_t>(zvenvtest::BodyCheckSum(body));
    const uint8_t mac[6] = {0x00, 0x1B, 0x44, 0x11, 0x3A, 0xB7};
    memcpy(h.byMacAddr, mac, sizeof mac);
    strcpy(h.szExtraInfo, "sample");
    char line[96];
    EXPECT_EQ(96, ZVCFCreateCommonFileHeader(&h, line, sizeof line));
    return std::string(line, sizeof line);
}

// What walking a loaded store found.
struct Walked {
    std::set<std::string> paths;  // every directory ("/Motor/") and key ("/Motor/Speed") path
    int listFailures = 0;         // listings refused
    int readFailures = 0;         // keys that the getter of their listed type did not find
};

// Reads key with every getter; `type` is its entry type. Returns whether the getter of that
// type found it (the sentinel stayed).
bool ReadKey(ZVEV_HANDLE h, const std::string& key, unsigned int type) {
    const char* k = key.c_str();
    bool found = false;
    TarnSetLastError(kSentinelError);
    ZVEVGetInteger(h, k, 7);
    found |= type == 4 && TarnGetLastError() == kSentinelError;
    TarnSetLastError(kSentinelError);
    ZVEVGetDouble(h, k, 2.5);
    found |= type == 5 && TarnGetLastError() == kSentinelError;
    TarnSetLastError(kSentinelError);
    ZVEVGetBoolean(h, k, 7);
    found |= type == 3 && TarnGetLastError() == kSentinelError;
    TarnSetLastError(kSentinelError);
    const int length = ZVEVGetString(h, k, nullptr, 0, "");
    found |= type == 6 && TarnGetLastError() == kSentinelError;
    if (length >= 0) {
        std::vector<char> text(static_cast<size_t>(length) + 1, 'x');
        EXPECT_EQ(length,
                  ZVEVGetString(h, k, text.data(), static_cast<unsigned int>(text.size()), ""));
        EXPECT_EQ(static_cast<size_t>(length), strlen(text.data()));
    }
    TarnSetLastError(kSentinelError);
    const int size = ZVEVGetData(h, k, nullptr, 0);
    found |= type == 2 && TarnGetLastError() == kSentinelError;
    if (size > 0) {
        std::vector<unsigned char> data(static_cast<size_t>(size));
        EXPECT_EQ(size, ZVEVGetData(h, k, data.data(), static_cast<unsigned int>(size)));
    }
    return found;
}

// Lists dir ("/" or "/Motor/") and everything below it, reading every key.
void Walk(ZVEV_HANDLE h, const std::string& dir, int depth, Walked* walked) {
    TarnSetLastError(kSentinelError);
    ZVEV_ENUM_LIST_tag* list = ZVEVEnumEntries(h, dir.c_str(), 1 | 2 | 4);
    if (list == nullptr) {
        ++walked->listFailures;
        return;
    }
    for (const EnumEntry& entry : Entries(list)) {
        const std::string path = dir + entry.name;
        if (entry.type == 1) {
            walked->paths.insert(path + "/");
            // A damaged binary body may hold names that lead back up; the store nests 16 deep.
            if (depth < 17) {
                Walk(h, path + "/", depth + 1, walked);
            }
        } else {
            walked->paths.insert(path);
            walked->readFailures += ReadKey(h, path, entry.type) ? 0 : 1;
        }
    }
    EXPECT_EQ(1, ZVEVFreeSnapList(list));
}

// Opening one damaged file.
struct Opened {
    bool loaded = false;
    Walked walked;
    int count = 0;               // what ZVEVGetInteger(h, "/Count", 7) gave
    unsigned int countCode = 0;  // and the code it left
    std::string title;           // what ZVEVGetString(h, "/Title", ...) gave
};

// A fresh folder in memory (/dev/shm, when there is one): every load flushes the file's mapping as
// it closes it, which for a file just written to a disk waits until it is written out, and the
// tests here write and load thousands of files.
std::unique_ptr<zvtest::TempDir> MemoryFolder() {
    const char* given = getenv("TMPDIR");
    const std::string saved = given != nullptr ? given : "";
    struct stat st;
    if (stat("/dev/shm", &st) == 0 && S_ISDIR(st.st_mode) && access("/dev/shm", W_OK) == 0) {
        setenv("TMPDIR", "/dev/shm", 1);
    }
    std::unique_ptr<zvtest::TempDir> folder(new zvtest::TempDir());
    if (given != nullptr) {
        setenv("TMPDIR", saved.c_str(), 1);
    } else {
        unsetenv("TMPDIR");
    }
    return folder;
}

class ZVEnvTornTest : public ::testing::Test {
protected:
    ZVEnvTornTest() : m_folder(MemoryFolder()), m_dir(*m_folder) {}

    void SetUp() override {
        // The sample as the library writes it, in both forms, behind a header of fixed values.
        const std::string source = m_dir.File("source.env");
        zvtest::WriteFile(source, zvenvtest::TextFile(kSampleText));
        ZVEV_HANDLE h = nullptr;
        ASSERT_EQ(1, ZVEVOpenFile(source.c_str(), &h));
        ASSERT_EQ(1, ZVEVLock(h, "/Net", 1));
        ASSERT_EQ(1, ZVEVSaveAs(h, m_dir.File("text.env").c_str()));
        ASSERT_EQ(1, ZVEVAssignFormat(h, 1));
        ASSERT_EQ(1, ZVEVSaveAs(h, m_dir.File("binary.env").c_str()));
        ASSERT_EQ(1, ZVEVClose(h));
        const std::string textBody = zvenvtest::BodyOf(m_dir.File("text.env"));
        const std::string binaryBody = zvenvtest::BodyOf(m_dir.File("binary.env"));
        m_text = FixedHeader("ENVT", textBody) + textBody;
        m_binary = FixedHeader("ENVB", binaryBody) + binaryBody;
        m_path = m_dir.File("damaged.env");
    }

    // Writes bytes as the file and opens it: either code 13 and no handle, or a handle whose
    // store is walked and then closed.
    Opened Open(const std::string& bytes) {
        zvtest::WriteFile(m_path, bytes);
        Opened opened;
        int marker = 0;
        ZVEV_HANDLE h = &marker;
        TarnSetLastError(kSentinelError);
        const int result = ZVEVOpenFile(m_path.c_str(), &h);
        if (result == 0) {
            EXPECT_EQ(13u, TarnGetLastError());
            EXPECT_EQ(nullptr, h);
            return opened;
        }
        EXPECT_EQ(1, result);
        EXPECT_NE(nullptr, h);
        if (h == nullptr || h == &marker) {
            return opened;
        }
        opened.loaded = true;
        Walk(h, "/", 0, &opened.walked);
        TarnSetLastError(kSentinelError);
        opened.count = ZVEVGetInteger(h, "/Count", 7);
        opened.countCode = TarnGetLastError();
        char title[32];
        if (ZVEVGetString(h, "/Title", title, sizeof title, "") >= 0) {
            opened.title = title;
        }
        EXPECT_EQ(1, ZVEVClose(h));
        return opened;
    }

    // Flips every bit of file (or the sample FlipsBit chooses) and opens each result.
    void FlipEveryBit(const std::string& file, bool text);

    std::unique_ptr<zvtest::TempDir> m_folder;
    const zvtest::TempDir& m_dir;
    std::string m_path;
    std::string m_text;
    std::string m_binary;
};

// The directory and key paths the text sample's body, as the library wrote it, holds in its
// first `length` bytes of complete lines (a key line "nCount=10" is the key /Count; a line that
// opens a block "Motor {" is the directory /Motor/, a binary block's "cTable=3 {" the key
// /Table).
std::set<std::string> PathsOfLines(const std::string& body, size_t length) {
    std::set<std::string> paths;
    std::vector<std::string> blocks;  // directory names; "" for a binary block
    size_t start = 0;
    while (start < length) {
        const size_t end = body.find("\r\n", start);
        std::string line = body.substr(start, end - start);
        start = end + 2;
        line.erase(0, line.find_first_not_of('\t'));
        std::string dir = "/";
        for (const std::string& name : blocks) {
            dir += name.empty() ? "" : name + "/";
        }
        if (line.empty() || line[0] == '#' || line[0] == '0') {
            continue;  // comments and the rows of binary data
        }
        if (line[0] == '}') {
            blocks.pop_back();
            continue;
        }
        const size_t equals = line.find('=');
        if (equals != std::string::npos) {
            // The type letter is no part of the key's name.
            paths.insert(dir + line.substr(1, equals - 1));
            if (line.back() == '{') {
                blocks.push_back("");
            }
            continue;
        }
        const std::string name = line.substr(0, line.find(' '));
        paths.insert(dir + name + "/");
        blocks.push_back(name);
    }
    return paths;
}

// Braces opened and not yet closed in the first `length` bytes of a text body.
int DepthAt(const std::string& body, size_t length) {
    int depth = 0;
    for (size_t i = 0; i < length; ++i) {
        depth += body[i] == '{' ? 1 : body[i] == '}' ? -1 : 0;
    }
    return depth;
}

TEST_F(ZVEnvTornTest, WholeFilesLoadEverything) {
    const std::string body = m_text.substr(96);
    const std::set<std::string> all = PathsOfLines(body, body.size());
    EXPECT_EQ(16u, all.size());
    for (const std::string* file : {&m_text, &m_binary}) {
        const Opened opened = Open(*file);
        ASSERT_TRUE(opened.loaded);
        EXPECT_EQ(0, opened.walked.listFailures);
        EXPECT_EQ(0, opened.walked.readFailures);
        // Integers kept in another radix than decimal are not listed.
        std::set<std::string> listed = all;
        listed.erase("/Mask");
        listed.erase("/Mode");
        listed.erase("/Flags");
        EXPECT_EQ(listed, opened.walked.paths);
        EXPECT_EQ(10, opened.count);
        EXPECT_EQ(kSentinelError, opened.countCode);
        EXPECT_EQ("Main unit\n", opened.title);
    }
}

TEST_F(ZVEnvTornTest, WrongSizeAndCheckSumDoNotStopLoading) {
    // Loading reads the header's type and version only; the checks report the damage.
    std::string file = m_text;
    file.replace(39, 10, "0000000001");
    file.replace(53, 5, "12345");
    const Opened opened = Open(file);
    ASSERT_TRUE(opened.loaded);
    EXPECT_EQ(13u, opened.walked.paths.size());
    EXPECT_EQ(10, opened.count);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVCFIsFileValidA(m_path.c_str()));
    EXPECT_EQ(39u, TarnGetLastError());
    file.replace(39, 10, std::string(10, ' '));
    file[39] = '*';
    zvtest::WriteFile(m_path, file);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVCFIsFileValidA(m_path.c_str()));
    EXPECT_EQ(40u, TarnGetLastError());
}

TEST_F(ZVEnvTornTest, ItemBytesBehindATextHeaderAreRefused) {
    const std::string items = m_binary.substr(96);
    EXPECT_FALSE(Open(FixedHeader("ENVT", items) + items).loaded);
}

TEST_F(ZVEnvTornTest, TextBehindABinaryHeaderIsAStoreWithoutRoot) {
    // The text's first byte is taken for the root's type: no directory, so no path leads
    // anywhere (code 5), and nothing can be written.
    const std::string text = m_text.substr(96);
    zvtest::WriteFile(m_path, FixedHeader("ENVB", text) + text);
    ZVEV_HANDLE h = nullptr;
    ASSERT_EQ(1, ZVEVOpenFile(m_path.c_str(), &h));
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, ZVEVEnumEntries(h, "/", 1 | 2));
    EXPECT_EQ(5u, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(7, ZVEVGetInteger(h, "/Count", 7));
    EXPECT_EQ(5u, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEVSetInteger(h, "/Count", 1));
    EXPECT_EQ(4u, TarnGetLastError());
    EXPECT_EQ(1, ZVEVClose(h));
}

TEST_F(ZVEnvTornTest, CutBinaryFileKeepsItsBytesThroughAFlush) {
    const std::string cut = m_binary.substr(0, m_binary.size() - 10);
    zvtest::WriteFile(m_path, cut);
    ZVEV_HANDLE h = nullptr;
    ASSERT_EQ(1, ZVEVOpenFile(m_path.c_str(), &h));
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEVSetInteger(h, "/x", 1));
    EXPECT_EQ(22u, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEVCreateDir(h, "/d"));
    EXPECT_EQ(4u, TarnGetLastError());
    EXPECT_EQ(1, ZVEVFlush(h));
    EXPECT_EQ(1, ZVEVClose(h));
    EXPECT_EQ(cut.substr(96), zvenvtest::BodyOf(m_path));
}

TEST_F(ZVEnvTornTest, TextCutAtEveryLength) {
    const std::string body = m_text.substr(96);
    int loaded = 0;
    for (size_t length = 0; length <= m_text.size(); ++length) {
        SCOPED_TRACE("cut at " + std::to_string(length));
        const Opened opened = Open(m_text.substr(0, length));
        loaded += opened.loaded ? 1 : 0;
        EXPECT_EQ(0, opened.walked.listFailures);
        EXPECT_EQ(0, opened.walked.readFailures);
        if (length < 8) {
            EXPECT_FALSE(opened.loaded) << "no type or no version";
        } else if (length <= 96) {
            EXPECT_TRUE(opened.loaded) << "a header without body: no settings";
            EXPECT_TRUE(opened.walked.paths.empty());
        } else if (DepthAt(body, length - 96) > 0) {
            EXPECT_FALSE(opened.loaded) << "a block without its closing brace";
        } else if (length >= 98 && body.compare(length - 98, 2, "\r\n") == 0) {
            // Between two lines at the top level: exactly the items of the lines before.
            ASSERT_TRUE(opened.loaded);
            std::set<std::string> expected = PathsOfLines(body, length - 96);
            expected.erase("/Mask");
            expected.erase("/Mode");
            expected.erase("/Flags");
            EXPECT_EQ(expected, opened.walked.paths);
        }
    }
    // Cut inside a top-level line: a number loses its last digit, a string its closing quote
    // and what came before it.
    const size_t count = 96 + body.find("nCount=10\r\n");
    const Opened shortNumber = Open(m_text.substr(0, count + 8));
    ASSERT_TRUE(shortNumber.loaded);
    EXPECT_EQ(1, shortNumber.count);
    EXPECT_EQ(kSentinelError, shortNumber.countCode);
    const size_t title = 96 + body.find("sTitle=\"Main unit");
    const Opened shortText = Open(m_text.substr(0, title + 12));
    ASSERT_TRUE(shortText.loaded);
    EXPECT_EQ("Main", shortText.title);
    EXPECT_FALSE(Open(m_text.substr(0, count + 7)).loaded) << "no value";
    printf("%d of %zu cuts of the text form loaded\n", loaded, m_text.size() + 1);
}

TEST_F(ZVEnvTornTest, BinaryCutAtEveryLength) {
    int loaded = 0;
    for (size_t length = 0; length <= m_binary.size(); ++length) {
        SCOPED_TRACE("cut at " + std::to_string(length));
        const Opened opened = Open(m_binary.substr(0, length));
        loaded += opened.loaded ? 1 : 0;
        if (length < 8) {
            EXPECT_FALSE(opened.loaded) << "no type or no version";
        } else if (length < m_binary.size()) {
            // A body of up to six bytes is no directory: the store starts empty. A longer one is
            // taken as it is, and its root directory runs past the cut: nothing is found in it.
            EXPECT_TRUE(opened.loaded);
            EXPECT_TRUE(opened.walked.paths.empty());
            EXPECT_EQ(0, opened.walked.listFailures);
            EXPECT_EQ(7, opened.count);
            EXPECT_EQ(12u, opened.countCode);
        }
    }
    printf("%d of %zu cuts of the binary form loaded\n", loaded, m_binary.size() + 1);
}

// Flips every bit of file (or the sample FlipsBit chooses) and opens each result.
void ZVEnvTornTest::FlipEveryBit(const std::string& file, bool text) {
    int loaded = 0;
    int flipped = 0;
    for (size_t bit = 0; bit < file.size() * 8; ++bit) {
        if (!FlipsBit(bit)) {
            continue;
        }
        SCOPED_TRACE("bit " + std::to_string(bit % 8) + " of byte " + std::to_string(bit / 8));
        std::string damaged = file;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        const Opened opened = Open(damaged);
        ++flipped;
        loaded += opened.loaded ? 1 : 0;
        const size_t byte = bit / 8;
        if (byte < 4 || byte == 4 || byte == 6 || byte == 7) {
            // Another type, a major version of 10 or more or none, a minor version not 0.
            EXPECT_FALSE(opened.loaded);
        } else if (byte == 5) {
            // Version 01 becomes 00 (any minor version is read then) or is refused.
            EXPECT_EQ(bit % 8 == 0, opened.loaded);
        } else if (byte >= kMacField && byte < kMacField + 17) {
            // The MAC address "00-1B-44-11-3A-B7": a hyphen changed, or a digit that is no
            // longer a hexadecimal one, refuses the header line, except a carriage return, which
            // ends the line before the address (the body still starts behind the line feed).
            const unsigned char c = static_cast<unsigned char>(damaged[byte]);
            const bool digit = (byte - kMacField) % 3 != 2;
            EXPECT_EQ(c == '\r' || (digit && isxdigit(c) != 0), opened.loaded);
        }
        if (text) {
            // Every name a text file gives is a valid one: what is listed can be read.
            EXPECT_EQ(0, opened.walked.listFailures);
            EXPECT_EQ(0, opened.walked.readFailures);
        }
    }
    printf("%d of %d single-bit flips of the %s form loaded\n", loaded, flipped,
           text ? "text" : "binary");
}

TEST_F(ZVEnvTornTest, TextWithEveryBitFlipped) {
    FlipEveryBit(m_text, true);
}

TEST_F(ZVEnvTornTest, BinaryWithEveryBitFlipped) {
    FlipEveryBit(m_binary, false);
}

}  // namespace
