/*
 * ZVEnvDataWriter.cpp - loading and saving a store, and the text writer's line buffer.
 *
 * Not built yet: every operation reports failure (PrintIndent writes nothing).
 */
#include "ZVEnvData.h"

int CZVEnvData::Load(const char* /*path*/) {
    return 0;
}

int CZVEnvData::Save(const char* /*path*/) {
    return 0;
}

int CZVEnvData::PrintIndent(FILE* /*file*/) {
    return 1;
}

int CZVEnvData::PrintItem(unsigned int /*item*/, FILE* /*file*/) {
    return 0;
}

int CZVEnvData::FlushLineBuffer(FILE* /*file*/) {
    return 0;
}

int CZVEnvData::ReserveLineBuffer(unsigned int /*extra*/) {
    return 0;
}

int CZVEnvData::SetLineBuffer(int /*column*/, const char* /*format*/, ...) {
    return 0;
}
