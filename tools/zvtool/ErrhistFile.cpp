// ErrhistFile.cpp - decoding and encoding error history files through the store's exchange
// operations.
#include "ErrhistFile.h"

#include <algorithm>

#include "Output.h"
#include "TarnError.h"
#include "ZVErrorHistory.h"

namespace zvtool {

namespace {

const unsigned int kHeaderBytes = 96;
const unsigned int kSlotBytes = 128;
// Ids run 1..65535; an unwrapped run of them adds this much after a wrap.
const long kIdRing = 65535;

// The bytes of a line, as the exchange operations take them (they do not write when reading).
void* LineAt(const std::string& bytes, size_t offset) {
    return const_cast<char*>(bytes.data() + offset);
}

// The value of id in the run of ids low .. high (high unwrapped), as the library's reader takes
// it: an id of the held range gets its place in the run; any other id lies where it is nearer to
// the run, just above high or just below low, so that a selection reaching into the held range
// from outside finds the records it overlaps.
long UnwrapId(uint16_t id, long low, long high) {
    long value = id >= low ? static_cast<long>(id) : id + kIdRing;
    if (value > high && low - (value - kIdRing) < value - high) {
        value -= kIdRing;
    }
    return value;
}

}  // namespace

unsigned int HistoryFileSize(unsigned int capacity) {
    return kHeaderBytes + kSlotBytes * capacity;
}

HistoryHeader DecodeHistoryHeader(const std::string& bytes, const std::string& path) {
    if (bytes.size() < kHeaderBytes) {
        throw Failure(path, "shorter than a header line", TARN_ERR_EH_FILE_CORRUPTED);
    }
    CZVErrorHistory history;
    if (!history.ExchangeHeader(0, LineAt(bytes, 0))) {
        throw Failure::FromLastError(path, "header line");
    }
    HistoryHeader header;
    header.firstId = history.m_wFD;
    header.lastId = history.m_wLD;
    header.count = history.m_wRC;
    header.capacity = history.m_wMC;
    header.oldestSlot = history.m_wTO;
    header.lastFlush = history.m_lLM;
    if (header.capacity == 0 || bytes.size() != HistoryFileSize(header.capacity)) {
        throw Failure(path,
                      std::to_string(bytes.size()) + " bytes do not hold the header and " +
                          std::to_string(header.capacity) + " slots",
                      TARN_ERR_EH_FILE_CORRUPTED);
    }
    if (header.count > header.capacity || header.oldestSlot >= header.capacity ||
        (header.count != 0 && header.firstId == 0)) {
        throw Failure(path, "header values out of range", TARN_ERR_EH_FILE_CORRUPTED);
    }
    return header;
}

HistorySelection SelectRecords(const HistoryHeader& header, uint16_t from, int count) {
    HistorySelection selection;
    if (header.count == 0) {
        return selection;
    }
    if (count == 0 || count > 65534 || count < -65534) {
        count = header.count;
        from = header.firstId;
    }
    long low = header.firstId;
    long high = header.lastId + (header.lastId < header.firstId ? kIdRing : 0);
    long start = UnwrapId(from, low, high);
    long selectedLow = count > 0 ? start : start + count + 1;
    long selectedHigh = count > 0 ? start + count - 1 : start;
    long first = std::max(selectedLow, low);
    long last = std::min(selectedHigh, high);
    if (first > last) {
        return selection;
    }
    unsigned short firstId = 0;
    CZVErrorHistory::ShiftID(header.firstId, static_cast<int>(first - low), &firstId);
    selection.firstId = firstId;
    selection.firstSlot =
        static_cast<unsigned int>((header.oldestSlot + (first - low)) % header.capacity);
    selection.count = static_cast<unsigned int>(last - first + 1);
    return selection;
}

std::vector<HistoryRecord> DecodeRecords(const std::string& bytes, const HistoryHeader& header,
                                         const HistorySelection& selection,
                                         const std::string& path) {
    CZVErrorHistory history;
    std::vector<HistoryRecord> records;
    for (unsigned int i = 0; i < selection.count; ++i) {
        HistoryRecord record;
        record.slot = (selection.firstSlot + i) % header.capacity;
        if (!history.ExchangeErrHist(&record.id, &record.fields, 0,
                                     LineAt(bytes, HistoryFileSize(record.slot)))) {
            throw Failure::FromLastError(path, "slot " + std::to_string(record.slot));
        }
        records.push_back(record);
    }
    return records;
}

std::string EncodeEmptyHistory(uint16_t capacity, int32_t lastFlush) {
    std::string bytes(HistoryFileSize(capacity), ' ');
    CZVErrorHistory history;
    history.m_wMC = capacity;
    history.m_lLM = lastFlush;
    if (!history.ExchangeHeader(1, &bytes[0]) ||
        !history.ExchangeErrHist(nullptr, nullptr, 1, &bytes[kHeaderBytes])) {
        throw Failure::FromLastError("errhist create");
    }
    for (unsigned int slot = 1; slot < capacity; ++slot) {
        bytes.replace(HistoryFileSize(slot), kSlotBytes, bytes, kHeaderBytes, kSlotBytes);
    }
    return bytes;
}

}  // namespace zvtool
