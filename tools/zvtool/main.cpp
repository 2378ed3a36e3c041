// zvtool - reads and changes the files of the zvsupport library from the command line:
// environment files, common file headers and error histories. It uses the library the way a host
// program does.
//
// Exit status: 0 success, 1 the operation failed (one line on stderr: the file, the library's
// message and code), 2 the command line was wrong.
#include <exception>
#include <iostream>
#include <new>

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
        PrintError(std::string(error.what()) + " (see --help)");
        return kExitUsage;
    } catch (const UsageError& error) {
        PrintError(error.what());
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
