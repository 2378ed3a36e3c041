// Runs a fuzz target over the files of its checked-in corpus, so every build of the test suite
// (not only the fuzzing build) replays the inputs that once mattered.

// 64-bit directory offsets: without them the i386 build's readdir() stops with EOVERFLOW on
// filesystems that hand out large offsets. The driver alone is built so; the library is not.
#define _FILE_OFFSET_BITS 64

#include <dirent.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

int ReplayFile(const char* path) {
    FILE* file = fopen(path, "rb");
    if (file == NULL) {
        fprintf(stderr, "cannot open %s\n", path);
        return 1;
    }
    unsigned char buffer[65536];
    size_t size = fread(buffer, 1, sizeof buffer, file);
    fclose(file);
    LLVMFuzzerTestOneInput(buffer, size);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    int failures = 0;
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        DIR* dir = opendir(argv[i]);
        if (dir == NULL) {
            failures += ReplayFile(argv[i]);
            ++replayed;
            continue;
        }
        while (struct dirent* entry = readdir(dir)) {
            if (entry->d_name[0] == '.') {
                continue;
            }
            char path[4096];
            snprintf(path, sizeof path, "%s/%s", argv[i], entry->d_name);
            failures += ReplayFile(path);
            ++replayed;
        }
        closedir(dir);
    }
    printf("%d inputs replayed\n", replayed);
    return failures == 0 && replayed > 0 ? 0 : 1;
}
