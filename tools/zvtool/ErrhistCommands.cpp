// ErrhistCommands.cpp - the errhist commands: create an empty history file for host programs to
// initialise on, and show a history without opening it through the library's store (whose open
// wipes the ring).
#include <cstdio>
#include <iostream>
#include <memory>

#include "Commands.h"
#include "ErrhistFile.h"
#include "Files.h"
#include "Output.h"
#include "TarnTime.h"

namespace zvtool {

namespace {

struct ErrhistOptions {
    std::string file;
    unsigned int capacity = 0;
    bool force = false;
    unsigned int from = 0;
    int count = 0;
    bool json = false;
};

using Options = std::shared_ptr<ErrhistOptions>;

void Create(const ErrhistOptions& options) {
    if (!IsMissing(options.file)) {
        RequireRegularFile(options.file);
        if (!options.force) {
            throw Failure(options.file, "already exists (--force replaces it)", kNoCode);
        }
    }
    long now = 0;
    if (!TarnGetTime(nullptr, &now, 1)) {
        throw Failure::FromLastError(options.file, "time");
    }
    std::string bytes =
        EncodeEmptyHistory(static_cast<uint16_t>(options.capacity), static_cast<int32_t>(now));
    Replacement replacement(options.file);
    WriteFile(replacement.Path(), bytes);
    replacement.Commit();
}

// Without --from, a positive count starts at the oldest record and a negative one ends at the
// newest; without --count, --from reads up to the newest.
HistorySelection Select(const ErrhistOptions& options, const HistoryHeader& header) {
    int count = options.count;
    uint16_t from = static_cast<uint16_t>(options.from);
    if (from == 0) {
        from = count < 0 ? header.lastId : header.firstId;
    } else if (count == 0) {
        count = 65534;
    }
    return SelectRecords(header, from, count);
}

std::string TrimmedText(const ERRHIST_tag& fields) {
    std::string text(fields.szText);
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

Json RecordJson(const HistoryRecord& record) {
    // The record is packed: its fields are copied out by value (unary +), never bound to a
    // reference, since they may lie unaligned.
    const ERRHIST_tag& fields = record.fields;
    Json object = Json::object();
    object["id"] = record.id;
    object["slot"] = record.slot;
    object["number1"] = +fields.wNumber1;
    object["text"] = TrimmedText(fields);
    object["number2"] = +fields.wNumber2;
    object["code"] = +fields.wCode;
    object["time"] = TimeJson(fields.lTime);
    object["number3"] = +fields.byNumber3;
    object["number4"] = +fields.wNumber4;
    object["value1"] = +fields.dwValue1;
    object["value2"] = +fields.dwValue2;
    object["value3"] = +fields.dwValue3;
    return object;
}

void PrintJsonHistory(const std::string& path, const HistoryHeader& header,
                      const std::vector<HistoryRecord>& records) {
    Json document = Json::object();
    document["file"] = path;
    Json& head = document["header"] = Json::object();
    head["last_flush"] = TimeJson(header.lastFlush);
    head["first_id"] = header.firstId;
    head["last_id"] = header.lastId;
    head["records"] = header.count;
    head["capacity"] = header.capacity;
    head["oldest_slot"] = header.oldestSlot;
    document["records"] = Json::array();
    for (const HistoryRecord& record : records) {
        document["records"].push_back(RecordJson(record));
    }
    PrintJson(document);
}

void PrintTextHistory(const std::string& path, const HistoryHeader& header,
                      const std::vector<HistoryRecord>& records) {
    std::cout << "file:        " << path << '\n'
              << "last flush:  " << TimeText(header.lastFlush) << '\n'
              << "capacity:    " << header.capacity << " slots\n"
              << "records:     " << header.count;
    if (header.count != 0) {
        std::cout << ", ids " << header.firstId << " to " << header.lastId
                  << ", the oldest in slot " << header.oldestSlot;
    }
    std::cout << "\nshown:       " << records.size() << '\n';
    if (records.empty()) {
        return;
    }
    std::printf("%5s %4s %4s %5s %5s %-23s %3s %5s %10s %10s %10s %s\n", "ID", "SLOT", "CODE",
                "NUM1", "NUM2", "TIME", "N3", "NUM4", "VALUE1", "VALUE2", "VALUE3", "TEXT");
    for (const HistoryRecord& record : records) {
        const ERRHIST_tag& fields = record.fields;
        std::printf("%5u %4u %04X %5u %5u %-23s %3u %5u %10u %10u %10u %s\n", record.id,
                    record.slot, fields.wCode, fields.wNumber1, fields.wNumber2,
                    TimeText(fields.lTime).c_str(), fields.byNumber3, fields.wNumber4,
                    fields.dwValue1, fields.dwValue2, fields.dwValue3,
                    Printable(TrimmedText(fields)).c_str());
    }
}

void Show(const ErrhistOptions& options) {
    RequireRegularFile(options.file);
    std::string bytes = ReadFile(options.file);
    HistoryHeader header = DecodeHistoryHeader(bytes, options.file);
    std::vector<HistoryRecord> records =
        DecodeRecords(bytes, header, Select(options, header), options.file);
    if (options.json) {
        PrintJsonHistory(options.file, header, records);
    } else {
        PrintTextHistory(options.file, header, records);
    }
}

}  // namespace

void AddErrhistCommands(CLI::App& app) {
    CLI::App* errhist = app.add_subcommand("errhist", "Create and show error history files");
    errhist->require_subcommand(1);

    auto options = std::make_shared<ErrhistOptions>();
    CLI::App* create = errhist->add_subcommand(
        "create",
        "Create an empty history of N slots (96 + 128 x N bytes) for host programs to open");
    AddFileArgument(create, "FILE", options->file, "the history file to create");
    create->add_option("--capacity,-n", options->capacity, "slots (2 to 32767)")
        ->required()
        ->check(CLI::Range(2, 32767));
    create->add_flag("--force", options->force, "replace an existing file");
    create->callback([options] { Create(*options); });

    options = std::make_shared<ErrhistOptions>();
    CLI::App* show = errhist->add_subcommand(
        "show", "Print the header and records without opening the history (which would wipe it)");
    AddFileArgument(show, "FILE", options->file, "the history file");
    show->add_option("--from", options->from, "first record id (1 to 65535)")
        ->check(CLI::Range(1, 65535));
    show->add_option("--count", options->count,
                     "records from --from on; negative: the records ending at --from (default: "
                     "all; without --from a negative count ends at the newest)");
    AddJsonFlag(show, options->json);
    show->callback([options] { Show(*options); });
}

}  // namespace zvtool
