// Helpers shared by the environment file format tests: a locked store of its own, hand-made
// header lines, the body of a saved file, the 16-bit body checksum and the items of a directory.
#ifndef ZV_TESTS_ENVFORMATCHECK_H
#define ZV_TESTS_ENVFORMATCHECK_H

#include <locale.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <initializer_list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ZVEnvData.h"

namespace zvtest {

// A store bound to a block of its own, locked and emptied (Reset(null, 0)) for the life of the
// object, then unlocked and closed.
class LockedStore {
public:
    LockedStore() {
        static int serial = 0;
        std::string name = "FormatTest" + std::to_string(++serial);
        m_opened = store.Open(name.c_str(), "format-test") == 1;
        m_locked = m_opened && store.Lock(1) == 1;
        m_ready = m_locked && store.Reset(nullptr, 0) == 1;
    }
    ~LockedStore() {
        if (m_locked) {
            store.Lock(0);
        }
        if (m_opened) {
            store.Close();
        }
    }
    LockedStore(const LockedStore&) = delete;
    LockedStore& operator=(const LockedStore&) = delete;

    bool Ready() const { return m_ready; }
    // The whole item buffer: the 38-byte header record, then the root directory.
    std::string Bytes() const {
        return std::string(reinterpret_cast<const char*>(store.m_pData), store.m_dwDataSize);
    }
    // The item buffer from the root directory on (what the binary form writes).
    std::string Items() const { return Bytes().substr(38); }

    CZVEnvData store;

private:
    bool m_opened = false;
    bool m_locked = false;
    bool m_ready = false;
};

// Bytes from a list of values 0-255, for texts that C++ escapes would make unreadable.
inline std::string ByteString(std::initializer_list<int> bytes) {
    std::string out;
    for (int b : bytes) {
        out += static_cast<char>(static_cast<unsigned char>(b));
    }
    return out;
}

// The lines, each followed by CR LF.
inline std::string CrLf(std::initializer_list<std::string> lines) {
    std::string out;
    for (const std::string& line : lines) {
        out += line + "\r\n";
    }
    return out;
}

// A 96-byte header line written here field by field: typeAndVersion is the first eight bytes
// ("ENVT0100"), every keyed field is absent ("*" and blanks), the extra text blank.
inline std::string HeaderLine(const std::string& typeAndVersion) {
    auto field = [](const char* key, size_t width) {
        return std::string(key) + "*" + std::string(width - 1, ' ');
    };
    std::string line = typeAndVersion + field(",LM:", 23) + field(",DS:", 10) + field(",CS:", 5) +
                       field(",MA:", 17) + ",EI:" + std::string(11, ' ') + "\r\n";
    EXPECT_EQ(96u, line.size());
    return line;
}

// XOR of the bytes as little-endian 16-bit words, an odd last byte into the low 8 bits.
inline unsigned int BodyChecksum(const std::string& body) {
    unsigned int sum = 0;
    size_t i = 0;
    for (; i + 1 < body.size(); i += 2) {
        sum ^= static_cast<unsigned char>(body[i]) |
               (static_cast<unsigned int>(static_cast<unsigned char>(body[i + 1])) << 8);
    }
    if (i < body.size()) {
        sum ^= static_cast<unsigned char>(body[i]);
    }
    return sum & 0xFFFFu;
}

// The direct children of dir, fillers included, in buffer order.
inline std::vector<unsigned int> Children(CZVEnvData& store, unsigned int dir) {
    std::vector<unsigned int> items;
    for (unsigned int item = store.GetNextItem(dir, 0); item != 0;
         item = store.GetNextItem(dir, item)) {
        items.push_back(item);
    }
    return items;
}

// The 16-bit value (the column) a comment item carries behind its text.
inline unsigned int CommentColumn(CZVEnvData& store, unsigned int comment) {
    const char* text = store.GetKeyName(comment);
    if (text == nullptr) {
        ADD_FAILURE() << "no comment at " << comment;
        return 0xFFFFFFFFu;
    }
    uint16_t column;
    memcpy(&column, text + strlen(text) + 1, sizeof column);
    return column;
}

// Comments of the given type where no key stands before them: first in the root (column 5),
// first in directory a (10), behind a's closing brace (10) and behind the binary block b (12).
inline void AddCommentsWithoutKey(CZVEnvData& s, unsigned char type) {
    const unsigned int root = 38;
    ASSERT_NE(0u, s.InsertComment(root, "first in the file", -1, type, 5));
    unsigned int dir = s.CreateSubDir(root, "a", -1);
    ASSERT_NE(0u, s.InsertComment(dir, "first child", -1, type, 10));
    ASSERT_NE(0u, s.SetInteger(dir, "x", -1, 1, 7));
    ASSERT_NE(0u, s.InsertComment(root, "after the directory", -1, type, 10));
    const unsigned char byte = 1;
    ASSERT_NE(0u, s.SetBinData(root, "b", -1, &byte, 1));
    ASSERT_NE(0u, s.InsertComment(root, "after the block", -1, type, 12));
}

// Switches LC_ALL to a locale whose decimal point is a comma for the life of the object: an
// installed one, or one that localedef compiles into folder (found through LOCPATH). Back to "C"
// (and LOCPATH unset) afterwards. Ok() is false when neither could be had.
class CommaLocale {
public:
    explicit CommaLocale(const std::string& folder) {
        const char* installed[] = {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8"};
        for (const char* name : installed) {
            if (setlocale(LC_ALL, name) != nullptr && HasComma()) {
                return;
            }
        }
        std::string command =
            "localedef -i de_DE -f ISO-8859-1 " + folder + "/de_DE >/dev/null 2>&1";
        if (system(command.c_str()) == 0) {
            setenv("LOCPATH", folder.c_str(), 1);
            m_ownPath = true;
            if (setlocale(LC_ALL, "de_DE") != nullptr && HasComma()) {
                return;
            }
        }
        Restore();
    }
    ~CommaLocale() { Restore(); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

    bool Ok() const { return m_ok; }

private:
    bool HasComma() {
        m_ok = strcmp(localeconv()->decimal_point, ",") == 0;
        return m_ok;
    }
    void Restore() {
        setlocale(LC_ALL, "C");
        if (m_ownPath) {
            unsetenv("LOCPATH");
            m_ownPath = false;
        }
    }

    bool m_ok = false;
    bool m_ownPath = false;
};

}  // namespace zvtest

#endif  // ZV_TESTS_ENVFORMATCHECK_H
