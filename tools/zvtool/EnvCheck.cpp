// EnvCheck.cpp - env check: loads a file as a host program would and, when that fails, finds
// where reading stopped. The library reports no position, so the text is read again with the
// library's parser, whose tokenizer tells how far it got, and then tokenized from the start to
// find the token that reading stopped on.
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>

#include "Commands.h"
#include "EnvStore.h"
#include "Files.h"
#include "Output.h"
#include "TarnError.h"
#include "ZVCmnFileHdr.h"
#include "ZVParseEnvFile.h"
#include "ZVTokenProvider.h"

namespace zvtool {

namespace {

struct CheckResult {
    bool valid = false;
    std::string format;  // "text", "binary", or empty when the header names neither
    TreeCounts counts;
    std::optional<int> line;  // from 1; the header line is line 1
    std::optional<int> column;
    std::optional<unsigned int> offset;  // of a malformed item in a binary body
    std::string reason;
    unsigned int code = 0;
};

bool IsSignificant(int kind) {
    return kind != ZV_TOKEN_BLANKS && kind != ZV_TOKEN_LINE_END && kind != ZV_TOKEN_COMMENT;
}

// The parser's header rule: "ENVT" or "ENVB", version 00.xx or 01.00.
std::string FormatOfHeader(const ZV_COMMON_FILE_HEADER_tag& header) {
    bool readable = header.wMajorVer < 1 || (header.wMajorVer == 1 && header.wMinorVer == 0);
    if (!readable) {
        return "";
    }
    if (std::memcmp(header.szFileType, "ENVT", 4) == 0) {
        return "text";
    }
    return std::memcmp(header.szFileType, "ENVB", 4) == 0 ? "binary" : "";
}

// Where the library's parser stops in the body of the text file at path.
int ParserStopPosition(const std::string& path) {
    CZVEnvData store;
    char sharedName[64];
    store.GetSharedName(path.c_str(), sharedName, sizeof sharedName);
    if (!store.Open(sharedName, path.c_str()) || !store.Lock(1)) {
        store.Close();
        return -1;
    }
    std::unique_ptr<CZVParseEnvFile> parser(new CZVParseEnvFile);
    int loaded = parser->Parse(path.c_str(), &store);
    int position = parser->m_Tokenizer.GetCurPos();
    store.Lock(0);
    store.Close();
    return loaded ? -1 : position;
}

// Tokenizes body up to stop: the start of the token reading stopped on, and why.
int FindStoppingToken(std::string& body, int stop, std::string& reason) {
    CZVTokenProvider tokenizer;
    tokenizer.SetData(&body[0], static_cast<unsigned int>(body.size()));
    int found = stop;
    reason = "unexpected token";
    if (stop >= static_cast<int>(body.size())) {
        reason = "unexpected end of file";
        return stop;
    }
    while (tokenizer.GetCurPos() < static_cast<int>(body.size())) {
        int start = tokenizer.GetCurPos();
        ZV_TOKEN_tag token;
        if (!tokenizer.GetToken(&token)) {
            reason = "malformed token";
            return start;
        }
        bool beyond = token.nEnd > stop;
        if (IsSignificant(token.nKind) && (!beyond || start == stop)) {
            found = start;
        }
        tokenizer.DeleteToken(&token);
        if (beyond) {
            break;
        }
    }
    return found;
}

void LocateTextFailure(const std::string& path, CheckResult& result) {
    int stop = ParserStopPosition(path);
    if (stop < 0) {
        result.reason = "the file could not be read again";
        return;
    }
    std::string bytes = ReadFile(path);
    size_t lineEnd = bytes.find('\n');
    std::string body = lineEnd == std::string::npos ? std::string() : bytes.substr(lineEnd + 1);
    int position = FindStoppingToken(body, stop, result.reason);
    int line = 2;
    size_t lineStart = 0;
    for (int i = 0; i < position && i < static_cast<int>(body.size()); ++i) {
        if (body[static_cast<size_t>(i)] == '\n') {
            ++line;
            lineStart = static_cast<size_t>(i) + 1;
        }
    }
    result.line = line;
    result.column = position - static_cast<int>(lineStart) + 1;
}

void LocateFailure(const std::string& path, CheckResult& result) {
    ZV_COMMON_FILE_HEADER_tag header;
    if (!ZVCFGetCommonFileHeaderA(path.c_str(), &header)) {
        result.line = 1;
        result.column = 1;
        result.reason = "no readable header line";
        return;
    }
    result.format = FormatOfHeader(header);
    if (result.format.empty()) {
        char version[16];
        std::snprintf(version, sizeof version, "%02u.%02u", header.wMajorVer % 100u,
                      header.wMinorVer % 100u);
        result.line = 1;
        result.column = 1;
        result.reason =
            "not an environment file (type \"" + Printable(std::string(header.szFileType, 4)) +
            "\", version " +
            (header.wMajorVer == 0xFFFF || header.wMinorVer == 0xFFFF ? std::string("absent")
                                                                      : std::string(version)) +
            ")";
        return;
    }
    if (result.format == "binary") {
        result.reason = "the binary body could not be loaded";
        return;
    }
    LocateTextFailure(path, result);
}

CheckResult Check(const std::string& path) {
    CheckResult result;
    std::unique_ptr<CZVEnvFile, void (*)(CZVEnvFile*)> file(new CZVEnvFile, [](CZVEnvFile* f) {
        f->Close();
        f->Release();
    });
    file->AddRef();
    if (!file->OpenFile(path.c_str())) {
        result.code = TarnGetLastError();
        if (result.code == TARN_ERR_LOAD_FILE) {
            LocateFailure(path, result);
        }
        return result;
    }
    CZVEnvData& data = file->m_EnvData;
    if (!data.Lock(1)) {
        result.code = TARN_ERR_LOCK_DATA;
        return result;
    }
    result.format = data.GetFormat() ? "binary" : "text";
    unsigned int bad = FindMalformedItem(data, result.counts);
    data.Lock(0);
    if (bad != 0) {
        result.offset = bad - ZVED_ROOT_DIR;
        result.reason = "malformed item";
        result.code = TARN_ERR_LOAD_FILE;
        return result;
    }
    result.valid = true;
    return result;
}

template <typename T>
Json OptionalJson(const std::optional<T>& value) {
    return value ? Json(*value) : Json(nullptr);
}

Json ResultJson(const std::string& path, const CheckResult& result) {
    Json document = Json::object();
    document["file"] = path;
    document["valid"] = result.valid;
    document["format"] = result.format.empty() ? Json(nullptr) : Json(result.format);
    if (result.valid) {
        document["directories"] = result.counts.directories;
        document["keys"] = result.counts.keys;
        document["comments"] = result.counts.comments;
        return document;
    }
    document["line"] = OptionalJson(result.line);
    document["column"] = OptionalJson(result.column);
    document["offset"] = OptionalJson(result.offset);
    document["reason"] = result.reason;
    document["code"] = result.code;
    document["message"] = TarnGetErrorMsg(result.code);
    return document;
}

}  // namespace

void CheckEnvFile(const std::string& path, bool json) {
    RequireRegularFile(path);
    CheckResult result = Check(path);
    if (json) {
        PrintJson(ResultJson(path, result));
    } else if (result.valid) {
        std::cout << path << ": valid, " << result.format << " form: " << result.counts.directories
                  << " directories, " << result.counts.keys << " keys, " << result.counts.comments
                  << " comments\n";
    }
    if (result.valid) {
        return;
    }
    std::string subject = path;
    if (result.line) {
        subject += ":" + std::to_string(*result.line) + ":" + std::to_string(*result.column);
    }
    std::string detail = result.reason;
    if (result.offset) {
        detail += " at byte " + std::to_string(*result.offset) + " of the body";
    }
    throw Failure(subject, detail, result.code);
}

}  // namespace zvtool
