// Environment files for the allocation-failure cases: a sample in the text form, the same as
// the library writes it in either form, and what an open file shows through its handle.
#ifndef ZV_ALLOC_FAIL_ENV_H
#define ZV_ALLOC_FAIL_ENV_H

#include <stdint.h>

#include <string>

#include "ZVFileAccess.h"
#include "ZVTypes.h"

namespace zvoom {

// A text file with the short header line: directories, every kind of key (integers in decimal
// and hexadecimal), comment lines and a trailing comment.
const std::string& SampleText();
// The sample as a flush writes it: the stamped 96-byte header line, then the text form.
const std::string& StampedSample();
// The sample saved in the binary form.
const std::string& BinarySample();

// Entry i of a snapshot, copied out of its packed array.
ZVEV_ENUM_ENTRY_tag EntryOf(const ZVEV_ENUM_LIST_tag* list, uint32_t i);

// Everything an open file shows through its handle: the assigned directory, the format, every
// directory and listed key read back by path (recursively, sorted), and the whole store as
// saving it to savePath writes it (time stamp blanked).
std::string HandleState(ZVEV_HANDLE handle, const std::string& savePath);

}  // namespace zvoom

#endif  // ZV_ALLOC_FAIL_ENV_H
