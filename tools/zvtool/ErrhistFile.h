// ErrhistFile.h - an error history file read as it lies on disk, without the library's store
// opening it (opening re-initialises the ring). The header and record lines are decoded by the
// store's own exchange operations on an object whose file stays closed.
#ifndef ZVTOOL_ERRHISTFILE_H
#define ZVTOOL_ERRHISTFILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "ZVTypes.h"

namespace zvtool {

// The header line's values.
struct HistoryHeader {
    uint16_t firstId = 0;     // FD: the oldest record's id, 0 when empty
    uint16_t lastId = 0;      // LD: the newest id ever given
    uint16_t count = 0;       // RC: records held
    uint16_t capacity = 0;    // MC: slots
    uint16_t oldestSlot = 0;  // TO: the oldest record's slot
    int32_t lastFlush = 0;    // LM: seconds since 1970, UTC
};

// One record line as read from its slot.
struct HistoryRecord {
    uint16_t id = 0;
    unsigned int slot = 0;
    ERRHIST_tag fields;
};

// Which records a reader asks for, as the library's reader chooses them: count 0 (or beyond
// 65534) takes every record; a positive count takes the ids from 'from' on, a negative one the
// |count| ids ending at 'from'.
struct HistorySelection {
    uint16_t firstId = 0;
    unsigned int firstSlot = 0;
    unsigned int count = 0;
};

// The size of a history file of capacity slots.
unsigned int HistoryFileSize(unsigned int capacity);
// Decodes the header of a whole file's bytes and checks that the file holds exactly its slots.
// Failures name path: code 60 (or the date-time reader's code) for a header line that does not
// read, 51 for a file whose size or values do not fit the header.
HistoryHeader DecodeHistoryHeader(const std::string& bytes, const std::string& path);
HistorySelection SelectRecords(const HistoryHeader& header, uint16_t from, int count);
// Decodes the selected records; code 58 names the slot whose line does not read.
std::vector<HistoryRecord> DecodeRecords(const std::string& bytes, const HistoryHeader& header,
                                         const HistorySelection& selection,
                                         const std::string& path);
// The bytes of a new history: the header (no records, lastFlush as given) and capacity empty
// slots, as the library's store would write them.
std::string EncodeEmptyHistory(uint16_t capacity, int32_t lastFlush);

}  // namespace zvtool

#endif  // ZVTOOL_ERRHISTFILE_H
