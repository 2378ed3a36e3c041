// ErrmsgCommand.cpp - errmsg: the library's message of a last-error code.
#include <iostream>
#include <memory>

#include "Commands.h"
#include "Output.h"
#include "TarnError.h"

namespace zvtool {

namespace {

struct ErrmsgOptions {
    std::string code;
    bool json = false;
};

void PrintMessage(const ErrmsgOptions& options) {
    unsigned long long code = 0;
    if (!ParseUnsigned(options.code, 0xFFFFFFFFull, code)) {
        throw UsageError("'" + options.code + "' is not a code (decimal, or hexadecimal after 0x)");
    }
    const char* message = TarnGetErrorMsg(static_cast<unsigned int>(code));
    if (options.json) {
        Json document = Json::object();
        document["code"] = code;
        document["message"] = message;
        PrintJson(document);
    } else {
        std::cout << message << '\n';
    }
}

}  // namespace

void AddErrmsgCommand(CLI::App& app) {
    auto options = std::make_shared<ErrmsgOptions>();
    CLI::App* errmsg = app.add_subcommand(
        "errmsg",
        "Print the message of a last-error code (\"\" for 0, \"Unknown error.\" for a "
        "code without one)");
    errmsg->add_option("CODE", options->code, "the code: decimal, or hexadecimal after 0x")
        ->required();
    AddJsonFlag(errmsg, options->json);
    errmsg->callback([options] { PrintMessage(*options); });
}

}  // namespace zvtool
