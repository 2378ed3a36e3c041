// HeaderCommands.cpp - the header commands: show, check and stamp the common file header line
// in front of a data file.
#include <cstdio>
#include <iostream>
#include <memory>

#include "Commands.h"
#include "Files.h"
#include "Output.h"
#include "TarnError.h"
#include "ZVCmnFileHdr.h"

namespace zvtool {

namespace {

struct HeaderOptions {
    std::string file;
    bool json = false;
    bool strict = false;
};

using Options = std::shared_ptr<HeaderOptions>;

const uint16_t kAbsentVersion = 0xFFFF;

bool IsVersionPair(const std::string& line, size_t at) {
    auto digit = [&line](size_t i) { return line[i] >= '0' && line[i] <= '9'; };
    return (digit(at) && digit(at + 1)) || line.compare(at, 2, "**") == 0;
}

// A header line is printable text that begins with a four-character type and two versions
// ("ENVT0100"). Anything else is not handed to the library's header functions, which would take
// any first line for a header (and a stamp would replace it).
bool LooksLikeHeaderLine(const std::string& line) {
    if (line.size() < 8 || !IsVersionPair(line, 4) || !IsVersionPair(line, 6)) {
        return false;
    }
    for (unsigned char c : line) {
        if (c < 0x20 || c > 0x7E) {
            return false;
        }
    }
    return true;
}

// The file's bytes, once it is known to be a regular file that starts with a header line.
std::string ReadHeaderFile(const std::string& path) {
    RequireRegularFile(path);
    std::string bytes = ReadFile(path);
    if (bytes.empty()) {
        throw Failure(path, "empty file", TARN_ERR_FILE_TOO_SHORT);
    }
    if (!LooksLikeHeaderLine(bytes.substr(0, bytes.find_first_of("\r\n")))) {
        throw Failure(path, "no header line", TARN_ERR_UNSUPPORTED_FORMAT);
    }
    return bytes;
}

std::string VersionText(uint16_t version) {
    char text[8];
    std::snprintf(text, sizeof text, "%02u", version % 100u);
    return version == kAbsentVersion ? "**" : text;
}

std::string MacText(const uint8_t* mac) {
    char text[24];
    std::snprintf(text, sizeof text, "%02X-%02X-%02X-%02X-%02X-%02X", mac[0], mac[1], mac[2],
                  mac[3], mac[4], mac[5]);
    return text;
}

bool HasMac(const uint8_t* mac) {
    for (int i = 0; i < 6; ++i) {
        if (mac[i] != 0) {
            return true;
        }
    }
    return false;
}

std::string WuidText(const WUID& wuid) {
    char text[32];
    std::snprintf(text, sizeof text, "%08X-%08X-%08X", wuid.dwWord[0], wuid.dwWord[1],
                  wuid.dwWord[2]);
    return text;
}

Json NumberOrNull(bool present, long long value) {
    return present ? Json(value) : Json(nullptr);
}

void PrintHeader(const std::string& path, const ZV_COMMON_FILE_HEADER_tag& header, int length,
                 bool json) {
    WUID wuid;
    if (!ZVCFGetWUID(&header, &wuid)) {
        throw Failure::FromLastError(path, "WUID");
    }
    std::string type = Printable(std::string(header.szFileType, 4));
    std::string extra = header.szExtraInfo;
    if (json) {
        Json document = Json::object();
        document["file"] = path;
        document["length"] = length;
        document["type"] = type;
        document["major"] = NumberOrNull(header.wMajorVer != kAbsentVersion, header.wMajorVer);
        document["minor"] = NumberOrNull(header.wMinorVer != kAbsentVersion, header.wMinorVer);
        document["last_modified"] =
            header.lLastModified != 0 ? TimeJson(header.lLastModified) : Json(nullptr);
        document["data_size"] = NumberOrNull(header.dwDataSize != 0, header.dwDataSize);
        document["checksum"] = NumberOrNull(header.lCheckSum >= 0, header.lCheckSum);
        document["mac"] = HasMac(header.byMacAddr) ? Json(MacText(header.byMacAddr)) : Json();
        document["extra"] = extra;
        document["wuid"] = WuidText(wuid);
        PrintJson(document);
        return;
    }
    const std::string none = "(none)";
    std::cout << "file:          " << path << '\n'
              << "type:          " << type << '\n'
              << "version:       " << VersionText(header.wMajorVer) << '.'
              << VersionText(header.wMinorVer) << '\n'
              << "last modified: "
              << (header.lLastModified != 0 ? TimeText(header.lLastModified) : none) << '\n'
              << "data size:     "
              << (header.dwDataSize != 0 ? std::to_string(header.dwDataSize) : none) << '\n'
              << "checksum:      "
              << (header.lCheckSum >= 0 ? std::to_string(header.lCheckSum) : none) << '\n'
              << "MAC address:   " << (HasMac(header.byMacAddr) ? MacText(header.byMacAddr) : none)
              << '\n'
              << "extra:         " << (extra.empty() ? none : extra) << '\n'
              << "WUID:          " << WuidText(wuid) << '\n'
              << "header length: " << length << '\n';
}

void Show(const HeaderOptions& options) {
    std::string bytes = ReadHeaderFile(options.file);
    ZV_COMMON_FILE_HEADER_tag header;
    int length =
        ZVCFParseCommonFileHeader(&header, bytes.data(), static_cast<unsigned int>(bytes.size()));
    if (length < 0) {
        throw Failure::FromLastError(options.file);
    }
    PrintHeader(options.file, header, length, options.json);
}

void Check(const HeaderOptions& options) {
    ReadHeaderFile(options.file);
    const char* path = options.file.c_str();
    int valid = options.strict ? ZVCFIsFileAbsValidA(path) : ZVCFIsFileValidA(path);
    unsigned int code = valid ? 0 : TarnGetLastError();
    if (options.json) {
        Json document = Json::object();
        document["file"] = options.file;
        document["strict"] = options.strict;
        document["valid"] = valid != 0;
        document["code"] = code;
        document["message"] = TarnGetErrorMsg(code);
        PrintJson(document);
    } else if (valid) {
        std::cout << options.file << ": valid" << (options.strict ? " (strict)" : "") << '\n';
    }
    if (!valid) {
        // Code 74 has no message of its own; say what it means.
        throw Failure(options.file,
                      code == TARN_ERR_HEADER_NOT_ABSOLUTE ? "the header line is not 96 bytes" : "",
                      code);
    }
}

void Stamp(const HeaderOptions& options) {
    std::string bytes = ReadHeaderFile(options.file);
    // The stamp moves the body when the old line is not 96 bytes long; doing it on a copy leaves
    // the file as it was when it fails.
    Replacement replacement(options.file);
    WriteFile(replacement.Path(), bytes);
    ZV_COMMON_FILE_HEADER_tag header;
    if (!ZVCFGetAndUpdateCommonFileHeaderA(replacement.Path().c_str(), &header)) {
        throw Failure::FromLastError(options.file);
    }
    replacement.Commit();
    PrintHeader(options.file, header, ZVCF_HEADER_LENGTH, options.json);
}

CLI::App* AddCommand(CLI::App* header, const char* name, const char* description,
                     const Options& options) {
    CLI::App* command = header->add_subcommand(name, description);
    AddFileArgument(command, "FILE", options->file, "a file that starts with a header line");
    AddJsonFlag(command, options->json);
    return command;
}

}  // namespace

void AddHeaderCommands(CLI::App& app) {
    CLI::App* header =
        app.add_subcommand("header", "Show, check and stamp the common file header line");
    header->require_subcommand(1);

    auto options = std::make_shared<HeaderOptions>();
    AddCommand(header, "show", "Print every field of the header and its WUID", options)
        ->callback([options] { Show(*options); });

    options = std::make_shared<HeaderOptions>();
    CLI::App* check = AddCommand(header, "check",
                                 "Check the file's size and checksum against its header", options);
    check->add_flag("--strict", options->strict,
                    "require a 96-byte header line with size and checksum both present");
    check->callback([options] { Check(*options); });

    options = std::make_shared<HeaderOptions>();
    AddCommand(header, "stamp",
               "Bring the header up to date: time, size, checksum and MAC address (type, "
               "versions and extra text kept)",
               options)
        ->callback([options] { Stamp(*options); });
}

}  // namespace zvtool
