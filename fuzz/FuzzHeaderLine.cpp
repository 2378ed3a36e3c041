// Fuzz target: the tolerant header line reader on arbitrary bytes, then the writer and the WUID
// on whatever record it produced. A data file's first line is outside the library's control, so
// no input may crash the reader, and every record it yields must write back as one 96-byte line.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "ZVCmnFileHdr.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 4096) {
        return 0;
    }
    // A copy of exactly size bytes, so a read past the end shows under the address sanitizer.
    char* bytes = static_cast<char*>(malloc(size == 0 ? 1 : size));
    if (size > 0) {
        memcpy(bytes, data, size);
    }
    ZV_COMMON_FILE_HEADER_tag header;
    int length = ZVCFParseCommonFileHeader(&header, bytes, static_cast<unsigned int>(size));
    free(bytes);
    if (length != -1 && (length < 0 || static_cast<size_t>(length) > size)) {
        abort();
    }

    char line[ZVCF_HEADER_LENGTH];
    if (ZVCFCreateCommonFileHeader(&header, line, sizeof line) != ZVCF_HEADER_LENGTH) {
        abort();
    }
    // The written line reads back as one line of 96 bytes.
    ZV_COMMON_FILE_HEADER_tag again;
    if (ZVCFParseCommonFileHeader(&again, line, sizeof line) != ZVCF_HEADER_LENGTH) {
        abort();
    }
    WUID wuid;
    ZVCFGetWUID(&header, &wuid);
    return 0;
}
