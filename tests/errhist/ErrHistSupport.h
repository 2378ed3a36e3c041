// Error history lines and files as the tests expect them, built here piece by piece (padding,
// digits and the date text made without the library), helpers to prepare, patch and compare
// history files and records, and a fixture with a history file in a fresh folder.
#ifndef ZV_TESTS_ERRHISTSUPPORT_H
#define ZV_TESTS_ERRHISTSUPPORT_H

#include <stdint.h>
#include <string.h>
#include <time.h>

#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TestSupport.h"
#include "ZVErrorHistory.h"
#include "ZVTypes.h"

namespace zvtest {

constexpr unsigned int kHeaderBytes = 96;
constexpr unsigned int kSlotBytes = 128;
// A flush interval that never flushes, so that LM stays at 1970/01/01 00:00:00:000 and whole
// header lines can be compared byte for byte.
constexpr unsigned int kNeverFlush = 0x80000000u;

// Bytes of a history file of capacity slots.
inline unsigned int HistoryFileSize(unsigned int capacity) {
    return kHeaderBytes + kSlotBytes * capacity;
}

// Writes a file of exactly the size a history of capacity slots needs, filled with '#'.
inline void PrepareHistoryFile(const std::string& path, unsigned int capacity) {
    WriteFile(path, std::string(HistoryFileSize(capacity), '#'));
}

// value in decimal, zero-padded to width digits.
inline std::string Digits(unsigned long long value, size_t width) {
    std::string text = std::to_string(value);
    return text.size() < width ? std::string(width - text.size(), '0') + text : text;
}

// value as four upper-case hexadecimal digits.
inline std::string Hex4(unsigned int value) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (int shift = 12; shift >= 0; shift -= 4) {
        text.push_back(kDigits[(value >> shift) & 0xFu]);
    }
    return text;
}

// text left-justified and blank-padded to width characters.
inline std::string Padded(const std::string& text, size_t width) {
    return text.size() < width ? text + std::string(width - text.size(), ' ') : text;
}

// "yyyy/mm/dd hh:mm:ss:000" of seconds since 1970 in UTC, from gmtime_r.
inline std::string DateText(long seconds) {
    time_t t = static_cast<time_t>(seconds);
    struct tm parts;
    memset(&parts, 0, sizeof parts);
    gmtime_r(&t, &parts);
    return Digits(static_cast<unsigned long long>(parts.tm_year + 1900), 4) + "/" +
           Digits(static_cast<unsigned long long>(parts.tm_mon + 1), 2) + "/" +
           Digits(static_cast<unsigned long long>(parts.tm_mday), 2) + " " +
           Digits(static_cast<unsigned long long>(parts.tm_hour), 2) + ":" +
           Digits(static_cast<unsigned long long>(parts.tm_min), 2) + ":" +
           Digits(static_cast<unsigned long long>(parts.tm_sec), 2) + ":000";
}

// The 96-byte header line of the given values.
inline std::string HeaderLine(long lm, unsigned fd, unsigned ld, unsigned rc, unsigned mc,
                              unsigned to) {
    std::string line = "EHST0100,LM:" + DateText(lm) + ",FD:" + Digits(fd, 5) +
                       ",LD:" + Digits(ld, 5) + ",RC:" + Digits(rc, 5) + ",MC:" + Digits(mc, 5) +
                       ",TO:" + Digits(to, 5) + ",";
    return line + std::string(13, ' ') + "\r\n";
}

// The 128-byte line of an empty slot: "00000,", the NUL the formatting leaves, blanks, CR LF.
inline std::string EmptySlot() {
    return std::string("00000,") + '\0' + std::string(119, ' ') + "\r\n";
}

// The text of a record as it is written: up to its first NUL, at most 32 characters.
inline std::string TextOf(const ERRHIST_tag& record) {
    return std::string(record.szText, strnlen(record.szText, 32));
}

// The 128-byte line of record id.
inline std::string RecordLine(unsigned id, const ERRHIST_tag& r) {
    std::string line = Digits(id, 5) + "," + Digits(r.wNumber1, 5) + "," + Padded(TextOf(r), 32) +
                       "," + Digits(r.wNumber2, 5) + "," + Hex4(r.wCode) + "," + DateText(r.lTime) +
                       "," + Digits(r.byNumber3, 3) + "," + Digits(r.wNumber4, 5) + "," +
                       Digits(r.dwValue1, 10) + "," + Digits(r.dwValue2, 10) + "," +
                       Digits(r.dwValue3, 10) + ",";
    return line + "   \r\n";
}

// A record whose fields all differ from those of other seeds and from zero.
inline ERRHIST_tag MakeRecord(unsigned seed) {
    ERRHIST_tag r;
    memset(&r, 0, sizeof r);
    r.wNumber1 = static_cast<uint16_t>(100 + seed);
    std::string text = "record " + std::to_string(seed);
    memcpy(r.szText, text.data(), text.size());
    r.wNumber2 = static_cast<uint16_t>(200 + seed);
    r.wCode = static_cast<uint16_t>(0xA000 + seed);
    r.lTime = static_cast<int32_t>(Utc(2009, 3, 7, 14, 5, 9) + 61L * seed);
    r.byNumber3 = static_cast<uint8_t>(seed % 256);
    r.wNumber4 = static_cast<uint16_t>(400 + seed);
    r.dwValue1 = 1000000u + seed;
    r.dwValue2 = 4000000000u - seed;
    r.dwValue3 = 7u * seed;
    return r;
}

// What reading the line of record gives back: the text padded with blanks to 32 characters.
inline ERRHIST_tag AsRead(const ERRHIST_tag& record) {
    ERRHIST_tag r = record;
    memset(r.szText, 0, sizeof r.szText);
    const std::string text = Padded(TextOf(record), 32);
    memcpy(r.szText, text.data(), 32);
    return r;
}

// The 58 bytes of two records match, field by field (for a readable failure) and as a whole.
// Fields of the packed record are compared by value (unary +): they may lie unaligned, so no
// reference may be bound to them.
inline void ExpectSameRecord(const ERRHIST_tag& expected, const ERRHIST_tag& actual) {
    EXPECT_EQ(+expected.wNumber1, +actual.wNumber1);
    EXPECT_EQ(std::string(expected.szText, 33), std::string(actual.szText, 33));
    EXPECT_EQ(+expected.wNumber2, +actual.wNumber2);
    EXPECT_EQ(+expected.wCode, +actual.wCode);
    EXPECT_EQ(+expected.lTime, +actual.lTime);
    EXPECT_EQ(+expected.byNumber3, +actual.byNumber3);
    EXPECT_EQ(+expected.wNumber4, +actual.wNumber4);
    EXPECT_EQ(+expected.dwValue1, +actual.dwValue1);
    EXPECT_EQ(+expected.dwValue2, +actual.dwValue2);
    EXPECT_EQ(+expected.dwValue3, +actual.dwValue3);
    EXPECT_EQ(0, memcmp(&expected, &actual, sizeof expected));
}

// The header line of a history file's bytes.
inline std::string HeaderOf(const std::string& file) {
    return file.substr(0, kHeaderBytes);
}

// The line of slot in a history file's bytes.
inline std::string SlotOf(const std::string& file, unsigned int slot) {
    return file.substr(kHeaderBytes + kSlotBytes * slot, kSlotBytes);
}

// Overwrites bytes of a file in place at offset (no truncation: the file may be mapped).
inline void PatchFile(const std::string& path, size_t offset, const std::string& bytes) {
    ASSERT_LE(static_cast<long long>(offset + bytes.size()), FileSize(path));
    int fd = open(path.c_str(), O_WRONLY);
    ASSERT_NE(-1, fd) << path;
    ssize_t written = pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    close(fd);
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()), written);
}

// Deletes a history made by Create() through its Delete().
struct HistoryDeleter {
    void operator()(CZVErrorHistory* history) const { history->Delete(); }
};
using HistoryPtr = std::unique_ptr<CZVErrorHistory, HistoryDeleter>;

// A last-error code as the unsigned value TarnGetLastError() returns.
inline unsigned int Code(unsigned int code) {
    return code;
}

// Checks the header values a history holds.
inline void ExpectHeaderFields(const CZVErrorHistory& h, unsigned fd, unsigned ld, unsigned rc,
                               unsigned mc, unsigned to) {
    EXPECT_EQ(fd, h.m_wFD);
    EXPECT_EQ(ld, h.m_wLD);
    EXPECT_EQ(rc, h.m_wRC);
    EXPECT_EQ(mc, h.m_wMC);
    EXPECT_EQ(to, h.m_wTO);
}

// Adds MakeRecord(seed) to history: Add's result, the id through id.
inline int AddSeed(CZVErrorHistory* history, unsigned int seed, unsigned short* id = nullptr) {
    ERRHIST_tag record = MakeRecord(seed);
    return history->Add(&record, id);
}

// A history file path in a fresh folder, the sentinel last error set, and histories assigned to
// the path or opened over a file prepared there.
class HistoryFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        path = dir.File("history.txt");
        TarnSetLastError(kSentinelError);
    }

    // A new history with the path assigned; the file is not touched.
    HistoryPtr Assigned(unsigned short capacity, unsigned int interval = kNeverFlush) {
        HistoryPtr history(CZVErrorHistory::Create());
        EXPECT_NE(nullptr, history);
        EXPECT_EQ(1, history->AssignPath(path.c_str(), capacity, interval));
        return history;
    }

    // A history opened over a file prepared at the size of capacity slots.
    HistoryPtr Opened(unsigned short capacity, unsigned int interval = kNeverFlush) {
        PrepareHistoryFile(path, capacity);
        HistoryPtr history = Assigned(capacity, interval);
        EXPECT_EQ(1, history->Open());
        TarnSetLastError(kSentinelError);
        return history;
    }

    // The file's bytes.
    std::string File() const { return ReadFile(path); }

    TempDir dir;
    std::string path;
};

}  // namespace zvtest

#endif  // ZV_TESTS_ERRHISTSUPPORT_H
