// CZVErrorHistory's line conversions: the 96-byte header line and the 128-byte record line,
// written byte for byte and read at fixed positions (every position checked), the lenient
// hexadecimal code, numbers that wrap in their fields, and the id arithmetic of ShiftID.
#include <limits.h>
#include <stdint.h>
#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ErrHistSupport.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVErrorHistory.h"

namespace {

using zvtest::kSentinelError;

const long kMarch7 = zvtest::Utc(2009, 3, 7, 14, 5, 9);  // "2009/03/07 14:05:09:000"

class ZVErrHistLineTest : public ::testing::Test {
protected:
    void SetUp() override {
        history.reset(CZVErrorHistory::Create());
        ASSERT_NE(nullptr, history);
        TarnSetLastError(kSentinelError);
    }

    // Sets the header fields of the object.
    void SetHeader(int32_t lm, unsigned fd, unsigned ld, unsigned rc, unsigned mc, unsigned to) {
        history->m_lLM = lm;
        history->m_wFD = static_cast<unsigned short>(fd);
        history->m_wLD = static_cast<unsigned short>(ld);
        history->m_wRC = static_cast<unsigned short>(rc);
        history->m_wMC = static_cast<unsigned short>(mc);
        history->m_wTO = static_cast<unsigned short>(to);
    }

    // Reads the header line into the object: the result, with the last error left as it is.
    int ReadHeader(std::string line) { return history->ExchangeHeader(0, &line[0]); }

    // Reads a record line: the result; the id and record read are stored in the fixture.
    int ReadRecord(std::string line) {
        memset(&record, 0xAB, sizeof record);
        id = 0xABAB;
        return history->ExchangeErrHist(&id, &record, 0, &line[0]);
    }

    // Puts a 'G' at each position 0 .. last of good that skip does not name, and checks that
    // read then fails with code.
    template <typename Skip, typename Read>
    void ExpectEveryPositionRejected(const std::string& good, unsigned last, Skip skip, Read read,
                                     unsigned int code) {
        for (unsigned pos = 0; pos <= last; ++pos) {
            if (skip(pos)) {
                continue;
            }
            std::string line = good;
            line[pos] = 'G';
            TarnSetLastError(kSentinelError);
            EXPECT_EQ(0, read(line)) << "position " << pos;
            EXPECT_EQ(code, TarnGetLastError()) << "position " << pos;
        }
    }

    zvtest::HistoryPtr history;
    ERRHIST_tag record;
    unsigned short id = 0;
};

// ----------------------------------------------------------------------------------------------
// Header line: writing

TEST_F(ZVErrHistLineTest, HeaderIsWrittenByteForByte) {
    SetHeader(static_cast<int32_t>(kMarch7), 1, 2, 3, 4, 5);
    std::string line(96, '\xAB');
    EXPECT_EQ(1, history->ExchangeHeader(1, &line[0]));
    EXPECT_EQ(
        "EHST0100,LM:2009/03/07 14:05:09:000,FD:00001,LD:00002,RC:00003,MC:00004,TO:00005,"
        "             \r\n",
        line);
    EXPECT_EQ(zvtest::HeaderLine(kMarch7, 1, 2, 3, 4, 5), line);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrHistLineTest, HeaderOfLargestValuesAndTheEpoch) {
    SetHeader(0, 65535, 65535, 65535, 65535, 65535);
    std::string line(96, '\0');
    EXPECT_EQ(1, history->ExchangeHeader(1, &line[0]));
    EXPECT_EQ(zvtest::HeaderLine(0, 65535, 65535, 65535, 65535, 65535), line);
    EXPECT_EQ("1970/01/01 00:00:00:000", line.substr(12, 23));
}

TEST_F(ZVErrHistLineTest, HeaderOfTheLast32BitSecond) {
    SetHeader(INT32_MAX, 7, 8, 2, 3, 1);
    std::string line(96, ' ');
    EXPECT_EQ(1, history->ExchangeHeader(1, &line[0]));
    EXPECT_EQ("2038/01/19 03:14:07:000", line.substr(12, 23));
    EXPECT_EQ(zvtest::HeaderLine(INT32_MAX, 7, 8, 2, 3, 1), line);
}

TEST_F(ZVErrHistLineTest, HeaderWritingLeavesTheBytesBehindTheLine) {
    SetHeader(0, 0, 0, 0, 2, 0);
    std::string bytes(100, '\xAB');
    EXPECT_EQ(1, history->ExchangeHeader(1, &bytes[0]));
    EXPECT_EQ(zvtest::HeaderLine(0, 0, 0, 0, 2, 0), bytes.substr(0, 96));
    EXPECT_EQ(std::string(4, '\xAB'), bytes.substr(96));
}

TEST_F(ZVErrHistLineTest, HeaderThroughTheMappingNeedsTheLock) {
    // Not open: there is no mapping, so the mapping is not locked either.
    EXPECT_EQ(0, history->ExchangeHeader(1, nullptr));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_EH_FILE_NOT_LOCKED), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->ExchangeHeader(0, nullptr));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_EH_FILE_NOT_LOCKED), TarnGetLastError());
}

// ----------------------------------------------------------------------------------------------
// Header line: reading

TEST_F(ZVErrHistLineTest, HeaderIsRead) {
    history->m_wSpare = 9;
    EXPECT_EQ(1, ReadHeader(zvtest::HeaderLine(kMarch7, 65534, 3, 4, 100, 99)));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(static_cast<int32_t>(kMarch7), history->m_lLM);
    zvtest::ExpectHeaderFields(*history, 65534, 3, 4, 100, 99);
    EXPECT_EQ(9, history->m_wSpare);  // not part of the line
}

TEST_F(ZVErrHistLineTest, HeaderWrittenReadsBack) {
    SetHeader(static_cast<int32_t>(kMarch7 + 3600), 11, 22, 33, 44, 43);
    std::string line(96, ' ');
    ASSERT_EQ(1, history->ExchangeHeader(1, &line[0]));
    SetHeader(0, 0, 0, 0, 0, 0);
    EXPECT_EQ(1, ReadHeader(line));
    EXPECT_EQ(static_cast<int32_t>(kMarch7 + 3600), history->m_lLM);
    zvtest::ExpectHeaderFields(*history, 11, 22, 33, 44, 43);
}

TEST_F(ZVErrHistLineTest, KindSeparatorsAndNumbersMustMatchExactly) {
    // Unlike the common file header's keys, the kind and the separators compare with exact case,
    // and numbers must be zero-padded to five digits.
    const struct {
        size_t offset;
        const char* text;
    } cases[] = {
        {0, "ehst"},    // lower-case kind
        {5, "2"},       // "EHST0200"
        {35, ",fd:"},   // lower-case separator
        {39, "  123"},  // blank-padded number
        {39, "123  "},  // left-justified number
        {80, ";"},      // the last comma
    };
    for (const auto& c : cases) {
        std::string line = zvtest::HeaderLine(0, 1, 1, 1, 3, 0);
        line.replace(c.offset, strlen(c.text), c.text);
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(0, ReadHeader(line)) << c.text;
        EXPECT_EQ(zvtest::Code(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError()) << c.text;
    }
}

TEST_F(ZVErrHistLineTest, FiveNinesWrapInSixteenBits) {
    std::string line = zvtest::HeaderLine(0, 1, 2, 3, 4, 5);
    for (unsigned field = 0; field < 5; ++field) {
        line.replace(39 + 9 * field, 5, "99999");
    }
    EXPECT_EQ(1, ReadHeader(line));
    // 99999 modulo 65536
    zvtest::ExpectHeaderFields(*history, 34463, 34463, 34463, 34463, 34463);
    line.replace(39, 5, "65536");
    EXPECT_EQ(1, ReadHeader(line));
    EXPECT_EQ(0, history->m_wFD);
    line.replace(39, 5, "65535");
    EXPECT_EQ(1, ReadHeader(line));
    EXPECT_EQ(65535, history->m_wFD);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrHistLineTest, EveryFixedHeaderPositionIsChecked) {
    // Positions 12-34 hold the date-time text, which is read leniently.
    ExpectEveryPositionRejected(
        zvtest::HeaderLine(kMarch7, 12345, 23456, 3, 4, 2), 80,
        [](unsigned pos) { return pos >= 12 && pos < 35; },
        [this](const std::string& line) { return ReadHeader(line); }, TARN_ERR_EH_HEADER_CORRUPTED);
}

TEST_F(ZVErrHistLineTest, HeaderBytesBehindTheLastCommaAreNotExamined) {
    const std::string good = zvtest::HeaderLine(kMarch7, 1, 2, 2, 3, 0);
    for (unsigned pos = 81; pos < 96; ++pos) {
        std::string line = good;
        line[pos] = 'G';
        EXPECT_EQ(1, ReadHeader(line)) << "position " << pos;
        EXPECT_EQ(2, history->m_wLD);
    }
    std::string line = good;
    line.replace(81, 15, std::string(15, '\0'));
    EXPECT_EQ(1, ReadHeader(line));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrHistLineTest, DateTextIsReadLeniently) {
    // Any separators do; the milliseconds are read and dropped.
    std::string line = zvtest::HeaderLine(0, 1, 2, 2, 3, 0);
    line.replace(12, 23, "2009-03/07 14:05:09:999");
    EXPECT_EQ(1, ReadHeader(line));
    // The month's pass steps over "-03/" and reads 7; the next pass finds no '/' in the field.
    EXPECT_EQ(static_cast<int32_t>(zvtest::Utc(2009, 7, 1, 0, 0, 0)), history->m_lLM);
    line.replace(12, 23, "2009/03/07 14:05:09:999");
    EXPECT_EQ(1, ReadHeader(line));
    EXPECT_EQ(static_cast<int32_t>(kMarch7), history->m_lLM);
    line.replace(12, 23, "2009/03/07 14:05:09:00G");
    EXPECT_EQ(1, ReadHeader(line));
    EXPECT_EQ(static_cast<int32_t>(kMarch7), history->m_lLM);
    // The date ends at its field: digits in the next field are not taken for it.
    line.replace(12, 23, "2009/03/07 14:05       ");
    EXPECT_EQ(1, ReadHeader(line));
    EXPECT_EQ(static_cast<int32_t>(zvtest::Utc(2009, 3, 7, 14, 5, 0)), history->m_lLM);
    EXPECT_EQ(1, history->m_wFD);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrHistLineTest, FailedReadZeroesAndKeepsWhatWasRead) {
    SetHeader(1234, 9, 9, 9, 9, 9);
    std::string line = zvtest::HeaderLine(kMarch7, 7, 8, 2, 3, 1);
    line[59] = 'x';  // RC "00x02"
    EXPECT_EQ(0, ReadHeader(line));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError());
    EXPECT_EQ(static_cast<int32_t>(kMarch7), history->m_lLM);
    // RC holds the "00" read before the mismatch; MC and TO were not reached.
    zvtest::ExpectHeaderFields(*history, 7, 8, 0, 0, 0);

    SetHeader(1234, 9, 9, 9, 9, 9);
    line = zvtest::HeaderLine(kMarch7, 7, 8, 2, 3, 1);
    line[0] = 'e';
    EXPECT_EQ(0, ReadHeader(line));
    EXPECT_EQ(0, history->m_lLM);
    zvtest::ExpectHeaderFields(*history, 0, 0, 0, 0, 0);
}

TEST_F(ZVErrHistLineTest, DigitsBeforeAMismatchStayInTheField) {
    std::string line = zvtest::HeaderLine(0, 1, 2, 3, 4, 5);
    line.replace(48, 5, "123x5");
    EXPECT_EQ(0, ReadHeader(line));
    EXPECT_EQ(1, history->m_wFD);
    EXPECT_EQ(123, history->m_wLD);
    EXPECT_EQ(0, history->m_wRC);
}

// ----------------------------------------------------------------------------------------------
// Record line: writing

TEST_F(ZVErrHistLineTest, RecordIsWrittenByteForByte) {
    ERRHIST_tag r;
    memset(&r, 0, sizeof r);
    r.wNumber1 = 12;
    memcpy(r.szText, "Motor overload", 14);
    r.wNumber2 = 3456;
    r.wCode = 0xBEEF;
    r.lTime = static_cast<int32_t>(kMarch7);
    r.byNumber3 = 7;
    r.wNumber4 = 65535;
    r.dwValue1 = 1;
    r.dwValue2 = 4294967295u;
    r.dwValue3 = 123456789;
    unsigned short recordId = 42;
    std::string line(128, '\xAB');
    EXPECT_EQ(1, history->ExchangeErrHist(&recordId, &r, 1, &line[0]));
    EXPECT_EQ(
        "00042,00012,Motor overload                  ,03456,BEEF,2009/03/07 14:05:09:000,"
        "007,65535,0000000001,4294967295,0123456789,   \r\n",
        line);
    EXPECT_EQ(zvtest::RecordLine(42, r), line);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrHistLineTest, RecordOfLargestValues) {
    ERRHIST_tag r;
    memset(&r, 0xFF, sizeof r);
    r.lTime = INT32_MAX;
    unsigned short recordId = 65535;
    std::string line(128, '\0');
    EXPECT_EQ(1, history->ExchangeErrHist(&recordId, &r, 1, &line[0]));
    // The text stops after 32 characters although the 33rd byte is not a NUL.
    EXPECT_EQ("65535,65535," + std::string(32, '\xFF') +
                  ",65535,FFFF,2038/01/19 03:14:07:000,255,65535,4294967295,4294967295,"
                  "4294967295,   \r\n",
              line);
}

TEST_F(ZVErrHistLineTest, RecordIsStoredAsGiven) {
    // Nothing is filled in: a zero time is the epoch, a negative one lies before it.
    ERRHIST_tag r;
    memset(&r, 0, sizeof r);
    unsigned short recordId = 1;
    std::string line(128, ' ');
    EXPECT_EQ(1, history->ExchangeErrHist(&recordId, &r, 1, &line[0]));
    EXPECT_EQ("00001,00000," + std::string(32, ' ') +
                  ",00000,0000,1970/01/01 00:00:00:000,000,00000,0000000000,0000000000,"
                  "0000000000,   \r\n",
              line);
    r.lTime = -1;
    EXPECT_EQ(1, history->ExchangeErrHist(&recordId, &r, 1, &line[0]));
    EXPECT_EQ("1969/12/31 23:59:59:000", line.substr(56, 23));
}

TEST_F(ZVErrHistLineTest, TextStopsAtItsFirstNul) {
    ERRHIST_tag r = zvtest::MakeRecord(1);
    memset(r.szText, 0, sizeof r.szText);
    memcpy(r.szText, "ab\0cd", 5);
    unsigned short recordId = 3;
    std::string line(128, ' ');
    EXPECT_EQ(1, history->ExchangeErrHist(&recordId, &r, 1, &line[0]));
    EXPECT_EQ("ab" + std::string(30, ' '), line.substr(12, 32));
    EXPECT_EQ(zvtest::RecordLine(3, r), line);
}

TEST_F(ZVErrHistLineTest, EmptySlotIsWrittenForNoRecordNoIdOrIdZero) {
    ERRHIST_tag r = zvtest::MakeRecord(5);
    unsigned short recordId = 5;
    unsigned short zero = 0;
    std::string line(128, '\xAB');
    EXPECT_EQ(1, history->ExchangeErrHist(&recordId, nullptr, 1, &line[0]));
    EXPECT_EQ(zvtest::EmptySlot(), line);
    line.assign(128, '\xAB');
    EXPECT_EQ(1, history->ExchangeErrHist(nullptr, &r, 1, &line[0]));
    EXPECT_EQ(zvtest::EmptySlot(), line);
    line.assign(128, '\xAB');
    EXPECT_EQ(1, history->ExchangeErrHist(&zero, &r, 1, &line[0]));
    EXPECT_EQ(zvtest::EmptySlot(), line);
    line.assign(128, '\xAB');
    EXPECT_EQ(1, history->ExchangeErrHist(nullptr, nullptr, 1, &line[0]));
    EXPECT_EQ(zvtest::EmptySlot(), line);
    // The NUL the formatting leaves stands at offset 6.
    EXPECT_EQ('\0', line[6]);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrHistLineTest, WritingIntoNoBufferFails) {
    ERRHIST_tag r = zvtest::MakeRecord(1);
    unsigned short recordId = 1;
    EXPECT_EQ(0, history->ExchangeErrHist(&recordId, &r, 1, nullptr));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_NULL_POINTER), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->ExchangeErrHist(nullptr, nullptr, 1, nullptr));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_NULL_POINTER), TarnGetLastError());
}

// ----------------------------------------------------------------------------------------------
// Record line: reading

TEST_F(ZVErrHistLineTest, RecordReadsBackWithItsTextPadded) {
    const ERRHIST_tag written = zvtest::MakeRecord(9);
    EXPECT_EQ(1, ReadRecord(zvtest::RecordLine(777, written)));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(777, id);
    zvtest::ExpectSameRecord(zvtest::AsRead(written), record);
    EXPECT_EQ("record 9" + std::string(24, ' '), std::string(record.szText));
}

TEST_F(ZVErrHistLineTest, ThreeLetterTextKeepsItsBlanks) {
    ERRHIST_tag written = zvtest::MakeRecord(2);
    memset(written.szText, 0, sizeof written.szText);
    memcpy(written.szText, "abc", 3);
    unsigned short recordId = 2;
    std::string line(128, ' ');
    ASSERT_EQ(1, history->ExchangeErrHist(&recordId, &written, 1, &line[0]));
    EXPECT_EQ("abc" + std::string(29, ' '), line.substr(12, 32));
    EXPECT_EQ(1, ReadRecord(line));
    EXPECT_EQ(0, memcmp(record.szText, ("abc" + std::string(29, ' ')).c_str(), 33));
}

TEST_F(ZVErrHistLineTest, LargestValuesReadBack) {
    ERRHIST_tag written;
    memset(&written, 0xFF, sizeof written);
    written.szText[32] = '\0';
    written.lTime = INT32_MAX;
    unsigned short recordId = 65535;
    std::string line(128, ' ');
    ASSERT_EQ(1, history->ExchangeErrHist(&recordId, &written, 1, &line[0]));
    EXPECT_EQ(1, ReadRecord(line));
    EXPECT_EQ(65535, id);
    zvtest::ExpectSameRecord(written, record);
}

TEST_F(ZVErrHistLineTest, EmptySlotReadsAsZeroWhateverFollows) {
    EXPECT_EQ(1, ReadRecord(zvtest::EmptySlot()));
    EXPECT_EQ(0, id);
    ERRHIST_tag zero;
    memset(&zero, 0, sizeof zero);
    zvtest::ExpectSameRecord(zero, record);
    // Only the first five bytes count.
    std::string line = "00000" + std::string(123, 'G');
    EXPECT_EQ(1, ReadRecord(line));
    EXPECT_EQ(0, id);
    zvtest::ExpectSameRecord(zero, record);
    line = "00000" + zvtest::RecordLine(12, zvtest::MakeRecord(3)).substr(5);
    EXPECT_EQ(1, ReadRecord(line));
    EXPECT_EQ(0, id);
    zvtest::ExpectSameRecord(zero, record);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrHistLineTest, ReadingNeedsBufferIdAndRecord) {
    std::string line = zvtest::RecordLine(1, zvtest::MakeRecord(1));
    unsigned short recordId = 0;
    ERRHIST_tag r;
    EXPECT_EQ(0, history->ExchangeErrHist(&recordId, &r, 0, nullptr));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_NULL_POINTER), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->ExchangeErrHist(nullptr, &r, 0, &line[0]));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_NULL_POINTER), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->ExchangeErrHist(&recordId, nullptr, 0, &line[0]));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_NULL_POINTER), TarnGetLastError());
}

TEST_F(ZVErrHistLineTest, EveryFixedRecordPositionIsChecked) {
    // Positions 12-43 hold the text, taken as it stands, and 56-78 the date-time text.
    ExpectEveryPositionRejected(
        zvtest::RecordLine(321, zvtest::MakeRecord(4)), 122,
        [](unsigned pos) { return (pos >= 12 && pos < 44) || (pos >= 56 && pos < 79); },
        [this](const std::string& line) { return ReadRecord(line); }, TARN_ERR_EH_DATA_CORRUPTED);
}

TEST_F(ZVErrHistLineTest, TextBytesAreTakenAsTheyStand) {
    const ERRHIST_tag written = zvtest::MakeRecord(4);
    std::string line = zvtest::RecordLine(4, written);
    line.replace(12, 32, std::string("a,b\r\n") + std::string(26, 'G') + '\0');
    EXPECT_EQ(1, ReadRecord(line));
    EXPECT_EQ(0, memcmp(record.szText, line.data() + 12, 32));
    EXPECT_EQ('\0', record.szText[32]);
    EXPECT_EQ(+written.dwValue3, +record.dwValue3);
}

TEST_F(ZVErrHistLineTest, RecordBytesBehindTheLastCommaAreNotExamined) {
    const ERRHIST_tag written = zvtest::MakeRecord(6);
    const std::string good = zvtest::RecordLine(6, written);
    for (unsigned pos = 123; pos < 128; ++pos) {
        std::string line = good;
        line[pos] = 'G';
        EXPECT_EQ(1, ReadRecord(line)) << "position " << pos;
        zvtest::ExpectSameRecord(zvtest::AsRead(written), record);
    }
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrHistLineTest, RecordDateTextIsReadLeniently) {
    const ERRHIST_tag written = zvtest::MakeRecord(0);
    std::string line = zvtest::RecordLine(1, written);
    line.replace(56, 23, "2009/03/07 14:05:09    ");
    EXPECT_EQ(1, ReadRecord(line));
    EXPECT_EQ(static_cast<int32_t>(kMarch7), +record.lTime);
    line.replace(56, 23, "2009/13/40 25:61:61:999");  // clamped into range
    EXPECT_EQ(1, ReadRecord(line));
    EXPECT_EQ(static_cast<int32_t>(zvtest::Utc(2009, 12, 31, 23, 59, 59)), +record.lTime);
    EXPECT_EQ(+written.byNumber3, +record.byNumber3);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrHistLineTest, LenientHexadecimalCode) {
    std::string line = zvtest::RecordLine(1, zvtest::MakeRecord(1));
    line.replace(51, 4, "00g1");
    EXPECT_EQ(1, ReadRecord(line));
    EXPECT_EQ(257, +record.wCode);  // 16 x 16 + 1
    line.replace(51, 4, "abcd");
    EXPECT_EQ(1, ReadRecord(line));
    EXPECT_EQ(0xABCD, +record.wCode);
    line.replace(51, 4, "zzzz");
    EXPECT_EQ(1, ReadRecord(line));
    EXPECT_EQ(static_cast<uint16_t>(((35 * 16 + 35) * 16 + 35) * 16 + 35), +record.wCode);
    line.replace(51, 4, "09AF");
    EXPECT_EQ(1, ReadRecord(line));
    EXPECT_EQ(0x09AF, +record.wCode);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    for (const char* bad : {"000G", "00Z0", "0 00", "-001", "0:00", "0@00", "0`00", "0{00"}) {
        line.replace(51, 4, bad);
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(0, ReadRecord(line)) << bad;
        EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_EH_DATA_CORRUPTED), TarnGetLastError()) << bad;
    }
}

TEST_F(ZVErrHistLineTest, NumbersWrapInTheirFields) {
    std::string line = zvtest::RecordLine(1, zvtest::MakeRecord(1));
    line.replace(0, 5, "99999");
    line.replace(6, 5, "99999");
    line.replace(45, 5, "65536");
    line.replace(80, 3, "999");
    line.replace(84, 5, "70000");
    line.replace(90, 10, "9999999999");
    line.replace(101, 10, "4294967296");
    line.replace(112, 10, "4294967295");
    EXPECT_EQ(1, ReadRecord(line));
    EXPECT_EQ(34463, id);
    EXPECT_EQ(34463, +record.wNumber1);
    EXPECT_EQ(0, +record.wNumber2);
    EXPECT_EQ(231, +record.byNumber3);         // 999 modulo 256
    EXPECT_EQ(4464, +record.wNumber4);         // 70000 modulo 65536
    EXPECT_EQ(1410065407u, +record.dwValue1);  // 9999999999 modulo 2^32
    EXPECT_EQ(0u, +record.dwValue2);
    EXPECT_EQ(4294967295u, +record.dwValue3);
}

TEST_F(ZVErrHistLineTest, FailedReadKeepsWhatWasRead) {
    const ERRHIST_tag written = zvtest::MakeRecord(8);
    std::string line = zvtest::RecordLine(88, written);
    line[100] = ';';  // the comma behind value 1
    EXPECT_EQ(0, ReadRecord(line));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_EH_DATA_CORRUPTED), TarnGetLastError());
    EXPECT_EQ(88, id);
    EXPECT_EQ(+written.wNumber1, +record.wNumber1);
    EXPECT_EQ(+written.wCode, +record.wCode);
    EXPECT_EQ(+written.lTime, +record.lTime);
    EXPECT_EQ(+written.dwValue1, +record.dwValue1);
    EXPECT_EQ(0u, +record.dwValue2);
    EXPECT_EQ(0u, +record.dwValue3);
}

// ----------------------------------------------------------------------------------------------
// Id arithmetic

// ((id - 1 + delta) mod 65535, non-negative) + 1, in 64-bit arithmetic.
unsigned short Shifted(unsigned id, long long delta) {
    long long t = (static_cast<long long>(id) - 1 + delta) % 65535;
    if (t < 0) {
        t += 65535;
    }
    return static_cast<unsigned short>(t + 1);
}

TEST(ZVErrHistShiftTest, PinnedValues) {
    const struct {
        unsigned short id;
        int delta;
        unsigned short expected;
    } cases[] = {
        {65535, 1, 1},
        {1, -1, 65535},
        {5, 0, 5},
        {1, 65535, 1},
        {1, 65534, 65535},
        {1, -65535, 1},
        {3, -2, 1},
        {3, -3, 65535},
        {65535, 0, 65535},
        {65534, 2, 1},
        {1, 131070, 1},
        {1, -131071, 65535},
        {1, INT_MIN, 32768},
        {1, INT_MAX, 32768},
        {100, INT_MAX, 32867},
        {65535, INT_MIN, 32767},
    };
    for (const auto& c : cases) {
        unsigned short result = 0xABCD;
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(1, CZVErrorHistory::ShiftID(c.id, c.delta, &result)) << c.id << " " << c.delta;
        EXPECT_EQ(c.expected, result) << c.id << " " << c.delta;
        EXPECT_EQ(c.expected, Shifted(c.id, c.delta)) << "the table itself";
        EXPECT_EQ(kSentinelError, TarnGetLastError());
    }
}

TEST(ZVErrHistShiftTest, AgreesWithTheRingArithmetic) {
    const unsigned ids[] = {1, 2, 3, 100, 32767, 32768, 65533, 65534, 65535};
    const int deltas[] = {0,       1,        -1,      2,       -2,          65533,
                          65534,   65535,    65536,   -65534,  -65535,      -65536,
                          1000000, -1000000, INT_MAX, INT_MIN, INT_MAX - 1, INT_MIN + 1};
    for (unsigned id : ids) {
        for (int delta : deltas) {
            unsigned short result = 0;
            ASSERT_EQ(1, CZVErrorHistory::ShiftID(static_cast<unsigned short>(id), delta, &result));
            EXPECT_EQ(Shifted(id, delta), result) << id << " " << delta;
        }
    }
}

TEST(ZVErrHistShiftTest, NullResult) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, CZVErrorHistory::ShiftID(1, 1, nullptr));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_NULL_POINTER), TarnGetLastError());
    // The result pointer is tested before the id.
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, CZVErrorHistory::ShiftID(0, 1, nullptr));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_NULL_POINTER), TarnGetLastError());
}

TEST(ZVErrHistShiftTest, IdZeroIsInvalid) {
    unsigned short result = 0xABCD;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, CZVErrorHistory::ShiftID(0, 1, &result));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_EH_INVALID_ID), TarnGetLastError());
    EXPECT_EQ(0, result);
    result = 0xABCD;
    EXPECT_EQ(0, CZVErrorHistory::ShiftID(0, 0, &result));
    EXPECT_EQ(0, result);
}

}  // namespace
