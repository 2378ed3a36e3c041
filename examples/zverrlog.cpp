// zverrlog: an example host program that keeps an error history. It opens the history file
// (which must exist at the size of its capacity: `zvtool errhist create FILE --capacity N`),
// which starts an empty ring, and logs the faults of a conveyor's shift into it. With more faults
// than slots the oldest are overwritten; examples/data/errors.ehst was made with
//   zvtool errhist create errors.ehst --capacity 6 && zverrlog errors.ehst 6
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zvsupport.h"

namespace {

struct Fault {
    unsigned short task;  // number 1: the task that logged it
    const char* text;
    unsigned short line;  // number 2: where in the task
    unsigned short code;
    long time;            // seconds since 1970, UTC
    unsigned char level;  // number 3: 1 warning, 2 error, 3 fatal
    unsigned short axis;  // number 4
    unsigned int values[3];
};

// One shift on line 3, 2009-03-07 from 06:00 UTC.
const Fault kFaults[] = {
    {3, "Motor current high", 412, 0x2301, 1236405600L + 310, 1, 1, {14, 12, 1800}},
    {3, "Motor overcurrent", 415, 0x2302, 1236405600L + 318, 2, 1, {19, 12, 1790}},
    {5, "Belt slip detected", 88, 0x3110, 1236405600L + 2400, 1, 2, {1640, 1800, 0}},
    {7, "Display link timeout", 230, 0x4A01, 1236405600L + 5100, 1, 0, {2500, 3, 0}},
    {3, "Motor overheat", 431, 0x2304, 1236405600L + 9000, 2, 1, {86, 85, 0}},
    {2, "Network address in use", 61, 0x1203, 1236405600L + 12600, 2, 0, {5020, 0, 0}},
    {3, "Motor current high", 412, 0x2301, 1236405600L + 15000, 1, 1, {13, 12, 1760}},
    {5, "Emergency stop pressed", 12, 0x3001, 1236405600L + 21000, 3, 0, {1, 0, 0}},
    {3, "Motor restarted", 450, 0x2310, 1236405600L + 21300, 1, 1, {0, 0, 120}},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: zverrlog FILE CAPACITY\n");
        return 2;
    }
    if (!ZVEHInitA(argv[1], static_cast<unsigned short>(std::atoi(argv[2])), 0)) {
        unsigned int code = TarnGetLastError();
        std::fprintf(stderr, "zverrlog: %s: %s (code %u)\n", argv[1], TarnGetErrorMsg(code), code);
        ZVEHExit();
        return 1;
    }
    for (const Fault& fault : kFaults) {
        ERRHIST_tag record;
        std::memset(&record, 0, sizeof record);
        record.wNumber1 = fault.task;
        std::strncpy(record.szText, fault.text, sizeof record.szText - 1);
        record.wNumber2 = fault.line;
        record.wCode = fault.code;
        record.lTime = static_cast<int32_t>(fault.time);
        record.byNumber3 = fault.level;
        record.wNumber4 = fault.axis;
        record.dwValue1 = fault.values[0];
        record.dwValue2 = fault.values[1];
        record.dwValue3 = fault.values[2];
        unsigned short id = 0;
        if (!ZVEHAddErrorHistory(&record, &id)) {
            unsigned int code = TarnGetLastError();
            std::fprintf(stderr, "zverrlog: %s (code %u)\n", TarnGetErrorMsg(code), code);
            ZVEHExit();
            return 1;
        }
        std::printf("logged %u: %s\n", id, fault.text);
    }
    ZVEHExit();
    return 0;
}
