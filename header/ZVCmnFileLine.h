// ZVCmnFileLine.h - pieces of the header line shared by the line functions and the file
// functions inside the library (not installed, not exported).
#ifndef ZVCMNFILELINE_H
#define ZVCMNFILELINE_H

#include "ZVTypes.h"

namespace zvcf {

// Zeroes all 38 bytes of the record, then marks every field absent ("NONE", versions 0xFFFF,
// checksum -1). The record may sit unaligned inside an item buffer, so only its own bytes are
// touched.
void ResetHeader(ZV_COMMON_FILE_HEADER_tag* header);

// Length of the first line of data with its line end: a CR ends a line (with one LF directly
// after it), an LF ends it alone; without either the line is all of size. Stamping finds the
// line it replaces by this same rule, so "AB\rCD\n" has a first line of 3 bytes for both.
unsigned int FindLineEnd(const char* data, unsigned int size);

}  // namespace zvcf

#endif /* ZVCMNFILELINE_H */
