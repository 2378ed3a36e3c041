// Fuzz target: the error history's header and record lines, and a history whose file another
// process writes over. The first 96 input bytes are read as a header line and the next 128 as a
// record line (blanks stand in for bytes the input lacks): a line that reads cleanly must write
// back as a line of its kind that reads to the same values, and one that does not must leave
// code 60 or 58. The rest of the input is a sequence of steps on a prepared history file: fuzzed
// bytes, or well-formed lines with fuzzed values, written over its header and slots, between
// adds, gets, range queries, clears and id shifts through the ZVEH functions, and opens, adds and
// gets of a second history object on the same file. The file is shared with other programs, so
// no step may crash, touch memory outside a line or the caller's buffer, or give a result
// outside its documented range.
#include <fcntl.h>
#include <stdint.h>
#include <string.h>
#include <unistd.h>

#include <limits>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "TarnError.h"
#include "ZVErrHistFunc.h"
#include "ZVErrorHistory.h"

using zvfuzz::Check;
using zvfuzz::InputReader;

namespace {

const unsigned int kHeaderLine = 96u;
const unsigned int kRecordLine = 128u;
const unsigned int kRecordSize = static_cast<unsigned int>(sizeof(ERRHIST_tag));
const unsigned int kSentinel = 0x5A5Au;
const unsigned int kMaxSteps = 64u;

// The bytes of a line: the input's, then blanks up to length.
std::vector<char> LineOf(const std::string& bytes, unsigned int length) {
    std::vector<char> line(length, ' ');
    memcpy(line.data(), bytes.data(), bytes.size() < length ? bytes.size() : length);
    return line;
}

bool IsFlag(int result) {
    return result == 0 || result == 1;
}

bool SameHeader(const CZVErrorHistory& a, const CZVErrorHistory& b) {
    return a.m_wFD == b.m_wFD && a.m_wLD == b.m_wLD && a.m_wRC == b.m_wRC && a.m_wMC == b.m_wMC &&
           a.m_wTO == b.m_wTO && a.m_lLM == b.m_lLM;
}

// Every field but the text, which reads back padded with blanks where it stopped at a NUL.
bool SameFields(const ERRHIST_tag& a, const ERRHIST_tag& b) {
    ERRHIST_tag x = a;
    ERRHIST_tag y = b;
    memset(x.szText, 0, sizeof x.szText);
    memset(y.szText, 0, sizeof y.szText);
    return memcmp(&x, &y, sizeof x) == 0;
}

bool IsZero(const ERRHIST_tag& record) {
    static const ERRHIST_tag zero = ERRHIST_tag();
    return memcmp(&record, &zero, sizeof record) == 0;
}

// A header line that reads cleanly writes back as a header line that reads to the same values.
void CheckHeaderLine(const std::string& bytes) {
    std::vector<char> line = LineOf(bytes, kHeaderLine);
    CZVErrorHistory reader;
    TarnSetLastError(kSentinel);
    Check(reader.ExchangeHeader(0, nullptr) == 0);
    Check(TarnGetLastError() == TARN_ERR_EH_FILE_NOT_LOCKED);
    TarnSetLastError(kSentinel);
    if (reader.ExchangeHeader(0, line.data()) == 0) {
        Check(TarnGetLastError() == TARN_ERR_EH_HEADER_CORRUPTED);
        return;
    }
    std::vector<char> written(kHeaderLine, '\0');
    Check(reader.ExchangeHeader(1, written.data()) == 1);
    Check(memcmp(written.data(), "EHST0100,LM:", 12) == 0);
    Check(written[80] == ',' && written[94] == '\r' && written[95] == '\n');
    for (unsigned int i = 81; i < 94; ++i) {
        Check(written[i] == ' ');
    }
    CZVErrorHistory again;
    Check(again.ExchangeHeader(0, written.data()) == 1);
    Check(SameHeader(reader, again));
}

// A record line that reads cleanly writes back as a record line; that line reads to the same
// id and fields and writes back to the very same bytes.
void CheckRecordLine(const std::string& bytes) {
    std::vector<char> line = LineOf(bytes, kRecordLine);
    CZVErrorHistory h;
    unsigned short id = 0xFFFF;
    ERRHIST_tag record;
    memset(&record, 0xA5, sizeof record);
    TarnSetLastError(kSentinel);
    if (h.ExchangeErrHist(&id, &record, 0, line.data()) == 0) {
        Check(TarnGetLastError() == TARN_ERR_EH_DATA_CORRUPTED);
        return;
    }
    if (id == 0) {
        Check(IsZero(record));
        return;
    }
    std::vector<char> written(kRecordLine, '\0');
    Check(h.ExchangeErrHist(&id, &record, 1, written.data()) == 1);
    Check(written[5] == ',' && written[122] == ',' && written[126] == '\r' && written[127] == '\n');
    unsigned short idAgain = 0;
    ERRHIST_tag again;
    Check(h.ExchangeErrHist(&idAgain, &again, 0, written.data()) == 1);
    Check(idAgain == id && SameFields(record, again));
    std::vector<char> rewritten(kRecordLine, '\0');
    Check(h.ExchangeErrHist(&idAgain, &again, 1, rewritten.data()) == 1);
    Check(rewritten == written);
}

// A history file of capacity slots, its lines blank, and a descriptor to write over it with.
class PreparedFile {
public:
    explicit PreparedFile(unsigned int capacity) : m_path(zvfuzz::ScratchFile("history.dat")) {
        const std::string blanks(kHeaderLine + kRecordLine * capacity, ' ');
        zvfuzz::WriteWholeFile(m_path, blanks.data(), blanks.size());
        m_fd = open(m_path.c_str(), O_RDWR);
        Check(m_fd >= 0);
    }
    ~PreparedFile() { close(m_fd); }
    PreparedFile(const PreparedFile&) = delete;
    PreparedFile& operator=(const PreparedFile&) = delete;

    const char* Path() const { return m_path.c_str(); }
    // Writes the bytes at offset, as another process writing the file would.
    void Write(unsigned int offset, const char* bytes, size_t size) const {
        Check(pwrite(m_fd, bytes, size, offset) == static_cast<ssize_t>(size));
    }

private:
    std::string m_path;
    int m_fd;
};

// A header field's value: mostly small (around the capacity), sometimes near the top of the
// ids, sometimes anything.
unsigned short FieldValue(InputReader& in, unsigned int capacity) {
    const uint8_t b = in.Byte();
    switch (b >> 6) {
        case 0:
        case 1:
            return static_cast<unsigned short>(b % (capacity + 2u));
        case 2:
            return static_cast<unsigned short>(0xFFFFu - (b & 7u));
        default:
            return in.U16();
    }
}

// A count for Get: mostly small of either sign, sometimes any 32-bit value.
int CountValue(InputReader& in) {
    const uint8_t b = in.Byte();
    if (b < 0xF0) {
        return static_cast<int8_t>(b) % 12;
    }
    return static_cast<int>(in.U32());
}

ERRHIST_tag RecordValue(InputReader& in) {
    ERRHIST_tag record;
    memset(&record, 0, sizeof record);
    record.wNumber1 = in.U16();
    const std::string text = in.Bytes(in.Byte() % (sizeof record.szText + 1));
    memcpy(record.szText, text.data(), text.size()); /* may fill all 33 bytes, no NUL */
    record.wNumber2 = in.U16();
    record.wCode = in.U16();
    record.lTime = static_cast<int32_t>(in.U32());
    record.byNumber3 = in.Byte();
    record.wNumber4 = in.U16();
    record.dwValue1 = in.U32();
    record.dwValue2 = in.U32();
    record.dwValue3 = in.U32();
    return record;
}

// What a Get returned, against what it may return. The count is that of the ids selected
// between the header's oldest and newest id: at most the capacity while the header is the
// library's own, but a header another process wrote may name more ids than it counts records
// (they are then read round the ring again), so only the id range bounds it.
void CheckGet(int result, int readCount, unsigned short firstId, unsigned int bufferBytes) {
    const int fits = static_cast<int>(bufferBytes / kRecordSize);
    Check(result >= -1 && result <= 65535);
    Check(readCount >= 0 && readCount <= fits);
    if (result == -1) {
        return;
    }
    Check(readCount == (result < fits ? result : fits));
    Check((result == 0) == (firstId == 0));
}

// The ring arithmetic of ids, computed apart from the library.
unsigned short ShiftedId(unsigned short id, int delta) {
    const long long t = (static_cast<long long>(id) - 1 + delta) % 65535;
    return static_cast<unsigned short>((t + 65535) % 65535 + 1);
}

// The steps on one prepared history.
class Session {
public:
    Session(InputReader& in, const PreparedFile& file, unsigned int capacity, unsigned int interval)
        : m_in(in), m_file(file), m_capacity(capacity), m_interval(interval) {}

    void Step() {
        switch (m_in.Byte() % 13) {
            case 0:
                WriteBytes(0, kHeaderLine);
                break;
            case 1:
                WriteBytes(kHeaderLine + kRecordLine * (m_in.Byte() % m_capacity), kRecordLine);
                break;
            case 2:
                WriteHeader();
                break;
            case 3:
                WriteRecord();
                break;
            case 4:
                Add();
                break;
            case 5:
                Get(nullptr);
                break;
            case 6:
                Range();
                break;
            case 7:
                Check(IsFlag(ZVEHClearErrorHistory()));
                break;
            case 8:
                Shift();
                break;
            case 9:
                OpenOther();
                break;
            case 10:
                AddOther();
                break;
            case 11:
                Get(&m_other);
                break;
            default:
                InitAgain();
                break;
        }
    }

    ~Session() {
        if (m_other != nullptr) {
            m_other->Delete();
        }
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

private:
    // Fuzzed bytes over part of the line at lineStart.
    void WriteBytes(unsigned int lineStart, unsigned int lineLength) {
        const unsigned int offset = m_in.Byte() % lineLength;
        const std::string bytes = m_in.Bytes(m_in.Byte() % (lineLength - offset + 1u));
        m_file.Write(lineStart + offset, bytes.data(), bytes.size());
    }

    void WriteHeader() {
        CZVErrorHistory writer;
        writer.m_wFD = FieldValue(m_in, m_capacity);
        writer.m_wLD = FieldValue(m_in, m_capacity);
        writer.m_wRC = FieldValue(m_in, m_capacity);
        writer.m_wMC = m_in.Byte() < 0xC0 ? static_cast<unsigned short>(m_capacity)
                                          : FieldValue(m_in, m_capacity);
        writer.m_wTO = FieldValue(m_in, m_capacity);
        writer.m_lLM = static_cast<int32_t>(m_in.U32());
        char line[kHeaderLine];
        Check(writer.ExchangeHeader(1, line) == 1);
        m_file.Write(0, line, sizeof line);
    }

    void WriteRecord() {
        CZVErrorHistory writer;
        const unsigned int slot = m_in.Byte() % m_capacity;
        unsigned short id = FieldValue(m_in, m_capacity);
        ERRHIST_tag record = RecordValue(m_in);
        char line[kRecordLine];
        Check(writer.ExchangeErrHist(&id, &record, 1, line) == 1);
        m_file.Write(kHeaderLine + kRecordLine * slot, line, sizeof line);
    }

    void Add() {
        ERRHIST_tag record = RecordValue(m_in);
        unsigned short id = 0xFFFF;
        const int result = ZVEHAddErrorHistory(&record, &id);
        Check(IsFlag(result));
        Check((result == 1) == (id != 0));
    }

    // Through the ZVEH functions, or through the other object when other is given.
    void Get(CZVErrorHistory** other) {
        const unsigned short start = FieldValue(m_in, m_capacity);
        const int count = CountValue(m_in);
        const unsigned int bufferBytes = (m_in.Byte() % 6u) * kRecordSize + m_in.Byte() % 60u;
        std::vector<char> buffer(bufferBytes);
        ERRHIST_tag* records =
            bufferBytes == 0 ? nullptr : reinterpret_cast<ERRHIST_tag*>(buffer.data());
        unsigned short firstId = 0xFFFF;
        int readCount = -7;
        int result;
        if (other == nullptr) {
            result = ZVEHGetErrorHistory(start, count, records, bufferBytes, &firstId, &readCount);
        } else if (*other != nullptr) {
            result = (*other)->Get(start, count, records, bufferBytes, &firstId, &readCount);
        } else {
            return;
        }
        CheckGet(result, readCount, firstId, bufferBytes);
    }

    void Range() {
        unsigned short first = 0xFFFF;
        unsigned short last = 0xFFFF;
        const int result = ZVEHGetRange(&first, &last);
        // The ids are the header's as they stand (another process may have written any).
        Check(result >= -1 && result <= static_cast<int>(m_capacity));
        Check(result > 0 || (first == 0 && last == 0));
    }

    void Shift() {
        const unsigned short id = m_in.U16();
        const int delta = static_cast<int>(m_in.U32());
        unsigned short result = 0xFFFF;
        TarnSetLastError(kSentinel);
        if (id == 0) {
            Check(ZVEHShiftErrorID(id, delta, &result) == 0 && result == 0);
            Check(TarnGetLastError() == TARN_ERR_EH_INVALID_ID);
        } else {
            Check(ZVEHShiftErrorID(id, delta, &result) == 1);
            Check(result == ShiftedId(id, delta) && TarnGetLastError() == kSentinel);
        }
    }

    // A second history object on the same file, as another process has it: opening it
    // re-initialises the file.
    void OpenOther() {
        if (m_other == nullptr) {
            m_other = CZVErrorHistory::Create();
            Check(m_other != nullptr);
        }
        Check(m_other->AssignPath(m_file.Path(), static_cast<unsigned short>(m_capacity),
                                  m_interval) == 1);
        Check(IsFlag(m_other->Open()));
    }

    void AddOther() {
        if (m_other == nullptr) {
            return;
        }
        ERRHIST_tag record = RecordValue(m_in);
        unsigned short id = 0xFFFF;
        const int result = m_other->Add(&record, &id);
        Check(IsFlag(result));
        Check((result == 1) == (id != 0));
    }

    // Exits and initialises again, mostly at the file's capacity (a file of another size is
    // refused, and every later call tries to open it again and fails).
    void InitAgain() {
        Check(ZVEHExit() == 1);
        const uint8_t b = m_in.Byte();
        const unsigned short capacity = b < 0xC0 ? static_cast<unsigned short>(m_capacity) : b % 9u;
        Check(IsFlag(ZVEHInitA(m_file.Path(), capacity, m_interval)));
    }

    InputReader& m_in;
    const PreparedFile& m_file;
    const unsigned int m_capacity;
    const unsigned int m_interval;
    CZVErrorHistory* m_other = nullptr;
};

void RunHistory(InputReader& in) {
    const unsigned int capacity = 2u + in.Byte() % 7u;
    static const unsigned int kIntervals[] = {0u, 3000u, 0x80000000u};
    const unsigned int interval = kIntervals[in.Byte() % 3u];
    PreparedFile file(capacity);
    Check(ZVEHInitA(file.Path(), static_cast<unsigned short>(capacity), interval) == 1);
    {
        Session session(in, file, capacity, interval);
        for (unsigned int step = 0; step < kMaxSteps && !in.Empty(); ++step) {
            session.Step();
        }
    }
    Check(ZVEHExit() == 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 4096) {
        return 0;
    }
    InputReader in(data, size);
    CheckHeaderLine(in.Bytes(kHeaderLine));
    CheckRecordLine(in.Bytes(kRecordLine));
    if (!in.Empty()) {
        RunHistory(in);
    }
    return 0;
}
