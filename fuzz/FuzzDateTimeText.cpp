// Fuzz target: the date-time readers and writers. Byte 0 picks the format (valid or not), byte 1
// the UTC flag, bytes 2-5 a time value for the writers and bytes 6-8 the buffer sizes; the rest is
// the text to read, narrow and widened byte by byte. Whatever the writer writes in the shapes
// with seconds reads back as the same value.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "TarnTime.h"

namespace {

bool g_zoneSet = false;

void UseUtcOnce() {
    if (!g_zoneSet) {
        setenv("TZ", "UTC", 1);
        tzset();
        g_zoneSet = true;
    }
}

void ReadText(const uint8_t* text, size_t length, int format, int utc) {
    char* narrow = static_cast<char*>(malloc(length + 1));
    wchar_t* wide = static_cast<wchar_t*>(malloc((length + 1) * sizeof(wchar_t)));
    for (size_t i = 0; i < length; ++i) {
        narrow[i] = static_cast<char>(text[i]);
        wide[i] = static_cast<wchar_t>(text[i]);
    }
    narrow[length] = '\0';
    wide[length] = L'\0';

    long value = 1236434709L;
    const char* stop = TarnParseDateTimeStrA(narrow, format, &value, utc);
    if (stop != NULL && (stop < narrow || stop > narrow + length)) {
        abort();
    }
    value = 1236434709L;
    const wchar_t* wideStop = TarnParseDateTimeStrW(wide, format, &value, utc);
    if (wideStop != NULL && (wideStop < wide || wideStop > wide + length)) {
        abort();
    }
    free(narrow);
    free(wide);
}

void WriteValue(int32_t raw, int format, int utc, unsigned int narrowSize, unsigned int wideSize) {
    long value = raw;
    char* narrow = static_cast<char*>(malloc(narrowSize == 0 ? 1 : narrowSize));
    const char* text = TarnGetDateTimeStrA(&value, format, narrow, narrowSize, utc);
    if (text == NULL || strlen(text) > 127) {
        abort();
    }
    free(narrow);
    // The wide size is in bytes; the buffer is exactly that long.
    wchar_t* wide =
        static_cast<wchar_t*>(malloc(wideSize < sizeof(wchar_t) ? sizeof(wchar_t) : wideSize));
    const wchar_t* wideText = TarnGetDateTimeStrW(&value, format, wide, wideSize, utc);
    if (wideText == NULL) {
        abort();
    }
    free(wide);
}

// A value written in a shape with seconds (UTC) reads back as itself.
void RoundTrip(int32_t raw, int format) {
    long value = raw;
    char text[32];
    const char* written = TarnGetDateTimeStrA(&value, format, text, sizeof text, 1);
    if (strcmp(written, "---") == 0) {
        return;
    }
    long back = ~value;
    const char* stop = TarnParseDateTimeStrA(text, format, &back, 1);
    if (stop != text + strlen(text) || back != value) {
        abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 10 || size > 512) {
        return 0;
    }
    UseUtcOnce();
    int format = static_cast<int8_t>(data[0]) % 12;
    int utc = data[1] & 1;
    int32_t raw;
    memcpy(&raw, data + 2, sizeof raw);
    unsigned int narrowSize = data[6] % 40;
    unsigned int wideSize = (static_cast<unsigned int>(data[7]) << 8 | data[8]) % 160;
    WriteValue(raw, format, utc, narrowSize, wideSize);
    RoundTrip(raw, data[9] & 1 ? TARN_DTF_YMDHMSM : TARN_DTF_YMDHMS);
    ReadText(data + 10, size - 10, format, utc);
    return 0;
}
