// Loading a text file lays the items out directly when the parser and the store are the
// library's own classes, and reads them through the store otherwise (a derived class may change
// any step). Both ways must give the same result and the same item buffer, byte for byte, for
// every text: generated ones with every kind of item, names given twice, nesting to the limit,
// and the same texts damaged at random.
#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "EnvDataCheck.h"
#include "TestSupport.h"
#include "ZVEnvData.h"
#include "ZVParseEnvFile.h"

namespace {

// Never lays out directly: its type is not the library's own.
class ThroughStore : public CZVEnvData {};

const std::string kHeader = "ENVT0100,LM:2026/01/02 03:04:05:000,DS:*,CS:*,MA:*,EI:           \r\n";

struct Loaded {
    int result;
    std::string bytes;
};

Loaded Load(CZVEnvData& store, const char* name, const std::string& path) {
    Loaded out{0, std::string()};
    if (!envtest::OpenEmpty(store, name)) {
        ADD_FAILURE() << "cannot open a store";
        return out;
    }
    out.result = store.Load(path.c_str());
    out.bytes.assign(reinterpret_cast<const char*>(store.m_pData), store.m_dwDataSize);
    store.Lock(0);
    store.Close();
    return out;
}

class TextGenerator {
public:
    explicit TextGenerator(uint32_t seed) : m_random(seed) {}

    std::string Document() {
        std::string text;
        Items(&text, 0, 3 + m_random() % 12);
        return text;
    }

private:
    std::string Name() {
        static const char* const kNames[] = {"alpha", "Beta", "gamma", "ALPHA", "x",    "y1",
                                             "_z",    "[a]",  "k.2",   "port",  "Port", "eth0"};
        std::string name = kNames[m_random() % (sizeof kNames / sizeof kNames[0])];
        // Mostly distinct names, so that most documents are laid out directly; some repeat.
        return m_random() % 8 == 0 ? name : name + std::to_string(++m_serial);
    }

    std::string Indent(int depth) { return std::string(static_cast<size_t>(depth), '\t'); }

    std::string Comment() {
        static const char* const kTexts[] = {"# note", "#", "# two  words", "#\tx"};
        return kTexts[m_random() % 4];
    }

    std::string Value(char type) {
        switch (type) {
            case 'n': {
                static const char* const kInts[] = {"5",          "-3",     "0x1F",
                                                    "0o17",       "0b101",  "1.9",
                                                    "4294967295", "15 e 2", "2147483647"};
                return kInts[m_random() % 9];
            }
            case 'r': {
                static const char* const kReals[] = {"1.5", "0.1",      "1E+20",
                                                     "3",   "-2.25e-3", "0x10"};
                return kReals[m_random() % 6];
            }
            case 'b':
                return m_random() % 2 ? "True" : "false";
            default: {
                static const char* const kTexts[] = {
                    "'plain'",   "\"esc\\n\\t\\x41\"", "bare",         "''",
                    "'unclosed", "'with space'",       "\"q'uote\"",   "'\x82\xA0sjis'",
                    "'cr\rcr'",  "'\x81\\'",           "\"tab\there\""};
                if (m_random() % 16 == 0) {
                    return std::string("'nul\0byte'", 11);
                }
                return kTexts[m_random() % 11];
            }
        }
    }

    void Items(std::string* text, int depth, uint32_t count) {
        for (uint32_t i = 0; i < count; ++i) {
            std::string line = Indent(depth);
            switch (m_random() % 9) {
                case 0:
                    if (depth < 17) {
                        *text += line + Name() + " {\r\n";
                        Items(text, depth + 1, m_random() % 5);
                        *text += Indent(depth) + "}" + (m_random() % 4 ? "" : " # closed") + "\r\n";
                    }
                    break;
                case 1:
                    *text += line + Comment() + "\r\n";
                    break;
                case 2: {
                    uint32_t bytes = m_random() % 20;
                    *text += line + "c" + Name() + " = " + std::to_string(bytes) + " {";
                    for (uint32_t b = 0; b < bytes; ++b) {
                        *text += (b % 7 == 6) ? "\r\n" + Indent(depth + 1) : " ";
                        *text += std::to_string((b * 37) % 256);
                        if (b == 3 && m_random() % 3 == 0) {
                            *text += " " + Comment() + "\r\n";
                        }
                    }
                    *text += " }\r\n";
                    break;
                }
                case 3:
                    *text += line + "n" + Name() + " = /\r\n" + Value('n') + "\r\n";
                    break;
                default: {
                    static const char kTypes[] = {'n', 'r', 'b', 's', 'T'};
                    char type = kTypes[m_random() % 5];
                    std::string name = std::string(1, type) + Name();
                    if (m_random() % 10 == 0) {
                        const char* quote = m_random() % 2 ? "'" : "\"";
                        name = quote + name + quote;
                    }
                    *text += line + name + " = " + Value(type);
                    *text += (m_random() % 3 == 0 ? "   " + Comment() : std::string()) + "\r\n";
                    break;
                }
            }
        }
    }

    std::mt19937 m_random;
    unsigned int m_serial = 0;
};

class ZVLoadPathsTest : public ::testing::Test {
protected:
    void Compare(const std::string& body, const std::string& what) {
        zvtest::WriteFile(m_path, kHeader + body);
        CZVEnvData direct;
        ThroughStore through;
        Loaded a = Load(direct, "LoadDirect", m_path);
        Loaded b = Load(through, "LoadThrough", m_path);
        ASSERT_EQ(b.result, a.result) << what << "\n" << body;
        ASSERT_EQ(envtest::Hex(b.bytes), envtest::Hex(a.bytes)) << what << "\n" << body;
    }

    zvtest::TempDir m_dir;
    std::string m_path = m_dir.File("paths.env");
};

TEST_F(ZVLoadPathsTest, GeneratedTextsLoadAlikeBothWays) {
    TextGenerator generator(20261123u);
    for (int i = 0; i < 300; ++i) {
        Compare(generator.Document(), "document " + std::to_string(i));
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST_F(ZVLoadPathsTest, DamagedTextsLoadAlikeBothWays) {
    TextGenerator generator(7u);
    std::mt19937 random(11u);
    static const char kBytes[] = " \t\r\n{}=/#'\"\\0x9aZ.,-e";
    for (int i = 0; i < 300; ++i) {
        std::string body = generator.Document();
        if (body.empty()) {
            continue;
        }
        for (int hits = 1 + static_cast<int>(random() % 3); hits > 0; --hits) {
            body[random() % body.size()] = kBytes[random() % (sizeof kBytes - 1)];
        }
        Compare(body, "damaged document " + std::to_string(i));
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST_F(ZVLoadPathsTest, NamesGivenTwiceLoadAlikeBothWays) {
    // A key given twice is rewritten in place by the store; a directory given twice is entered
    // again. The direct layout cannot do either and leaves them to the store.
    Compare("nport = 1\r\nsPort = 'two'\r\nnport = 3\r\n", "key given twice");
    Compare("a {\r\n\tnx = 1\r\n}\r\nA {\r\n\tny = 2\r\n}\r\n", "directory given twice");
    Compare("a {\r\n\tnx = 1\r\n\tb {\r\n\t}\r\n\tnx = 5\r\n}\r\n", "key given twice, later");
}

TEST_F(ZVLoadPathsTest, NamesHashingAlikeLoadAlikeBothWays) {
    // kgltfncz and kfghvadd hash alike (case folded); so do the key kjkknaqp and the directory
    // kobpztag once keys and directories are told apart. The direct layout then walks the
    // directory's items, past every kind of item, to tell a name given twice from a likeness.
    const std::string items =
        "# note\r\nbflag = true\r\nbnope = false\r\nrratio = 1.5\r\n"
        "stext = 'abc'\r\ncblob = 2 { 1 2 }\r\nnhex = 0x1F\r\n"
        "sub {\r\n\tnkfghvadd = 2\r\n}\r\n";
    Compare(items + "nkgltfncz = 1\r\nskfghvadd = 'b'\r\n", "two names hashing alike");
    Compare("nkgltfncz = 1\r\n" + items + "rkfghvadd = 1.5\r\nnKGLTFNCZ = 3\r\n",
            "names hashing alike, then one given twice");
    Compare("d {\r\n" + items + "nkjkknaqp = 1\r\nkobpztag {\r\n\tnx = 1\r\n}\r\n}\r\n",
            "a key and a directory hashing alike");
    Compare("kfghvadd {\r\n}\r\nkgltfncz {\r\n}\r\nKfghvadd {\r\n\tnx = 1\r\n}\r\n",
            "directories hashing alike, one given twice");
}

TEST_F(ZVLoadPathsTest, NumbersLoadAlikeBothWays) {
    // Both sides of the 32-bit limits, decimals that turn into doubles, fractions of many
    // digits, signs with and without blanks, every radix, exponents, blanks behind a number,
    // and malformed numbers, as integer keys, real keys and bytes of a binary key.
    const char* const numbers[] = {"0",
                                   "-0",
                                   "+7",
                                   "- 5",
                                   "-\t5",
                                   "00012",
                                   "2147483647",
                                   "2147483648",
                                   "-2147483648",
                                   "-2147483649",
                                   "4294967295",
                                   "4294967296",
                                   "99999999999",
                                   "12345678901234567890.5",
                                   "1.5",
                                   "-1.5",
                                   "1.5   ",
                                   "1.5 \t ",
                                   ".5",
                                   "-.5",
                                   "1.",
                                   ".",
                                   "-",
                                   "0.000000000000000000001",
                                   "3.14159265358979323846264338327950288",
                                   "1.5e3",
                                   "1.5 e3",
                                   "1.5 E -3",
                                   "15 e 2",
                                   "0x1F",
                                   "0X1f",
                                   "0xFFFFFFFF",
                                   "0x100000000",
                                   "0x",
                                   "0xG",
                                   "-0x10",
                                   "0o17",
                                   "0b101",
                                   "0B2",
                                   "1x",
                                   "7abc"};
    for (const char* number : numbers) {
        const std::string n = number;
        Compare("na = " + n + "\r\n", "integer " + n);
        Compare("rb = " + n + "\r\n", "real " + n);
        Compare("cc = 3 { " + n + " 1 " + n + " }\r\n", "bytes " + n);
        Compare("na = " + n, "integer at the end " + n);
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST_F(ZVLoadPathsTest, NestingLimitLoadsAlikeBothWays) {
    for (int depth = 14; depth <= 18; ++depth) {
        std::string body;
        for (int d = 0; d < depth; ++d) {
            body += "d" + std::to_string(d) + " {\r\n";
        }
        body += "nk = 1\r\n# c\r\n";
        for (int d = 0; d < depth; ++d) {
            body += "}\r\n";
        }
        Compare(body, "depth " + std::to_string(depth));
        if (HasFatalFailure()) {
            return;
        }
    }
}

}  // namespace
