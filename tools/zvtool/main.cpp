// zvtool - reads and changes the files of the zvsupport library from the command line:
// environment files, common file headers and error histories. It uses the library the way a host
// program does.
//
// Exit status: 0 success, 1 the operation failed (one line on stderr: the file, the library's
// message and code), 2 the command line was wrong.
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "Output.h"

namespace zvtool {

void AddJsonFlag(CLI::App* command, bool& json) {
    command->add_flag("--json", json, "print JSON (the shapes are listed in zvtool(1))");
}

void AddFileArgument(CLI::App* command, const char* name, std::string& path, const char* what) {
    command->add_option(name, path, what)->required();
}

namespace {

// The deepest command given on the command line, and its words as the start of a message
// ("env set: "; empty when none was given).
const CLI::App* GivenCommand(const CLI::App& app, std::string& path) {
    const CLI::App* current = &app;
    path.clear();
    while (!current->get_subcommands().empty()) {
        current = current->get_subcommands().front();
        path += (path.empty() ? "" : " ") + current->get_name();
    }
    if (!path.empty()) {
        path += ": ";
    }
    return current;
}

// The line for a command line that CLI11 refused. A family given without a known command is
// reported by CLI11 as a missing subcommand either way; the words it could not place tell which.
std::string UsageLine(const CLI::App& app, const CLI::ParseError& error) {
    std::string path;
    const CLI::App* current = GivenCommand(app, path);
    std::vector<const CLI::App*> commands =
        current->get_subcommands([](const CLI::App*) { return true; });
    if (dynamic_cast<const CLI::RequiredError*>(&error) == nullptr || commands.empty()) {
        return path + error.what() + " (see --help)";
    }
    std::string names;
    for (const CLI::App* command : commands) {
        names += (names.empty() ? "" : ", ") + command->get_name();
    }
    std::vector<std::string> rest = current->remaining();
    std::string what =
        rest.empty() ? "a command is required" : "unknown command '" + rest.front() + "'";
    return path + what + " (" + names + "; see --help)";
}

int Run(CLI::App& app, int argc, char** argv) {
    try {
        app.parse(argc, argv);
        return kExitOk;
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
        return kExitOk;
    } catch (const CLI::CallForAllHelp&) {
        std::cout << app.help("", CLI::AppFormatMode::All);
        return kExitOk;
    } catch (const CLI::ParseError& error) {
        PrintError(UsageLine(app, error));
        return kExitUsage;
    } catch (const UsageError& error) {
        std::string path;
        GivenCommand(app, path);
        PrintError(path + error.what());
        return kExitUsage;
    } catch (const Failure& failure) {
        PrintError(failure.Line());
        return kExitFailed;
    } catch (const std::bad_alloc&) {
        PrintError("out of memory");
        return kExitFailed;
    } catch (const std::exception& error) {
        PrintError(error.what());
        return kExitFailed;
    }
}

}  // namespace

}  // namespace zvtool

int main(int argc, char** argv) {
    CLI::App app{
        "zvtool: read and change the files of the zvsupport library (environment files, "
        "common file headers, error histories)",
        "zvtool"};
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 success, 1 the operation failed (the file, the library's message and "
        "code on stderr), 2 the command line was wrong. Every command takes --help.");
    zvtool::AddEnvCommands(app);
    zvtool::AddHeaderCommands(app);
    zvtool::AddErrhistCommands(app);
    zvtool::AddErrmsgCommand(app);
    return zvtool::Run(app, argc, argv);
}
