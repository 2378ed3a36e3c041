// Commands.h - the command families of zvtool and what they share on the command line.
#ifndef ZVTOOL_COMMANDS_H
#define ZVTOOL_COMMANDS_H

#include <string>

#include <CLI/CLI.hpp>

namespace zvtool {

// env show/get/set/rm/mkdir/rmdir/lock/unlock/ls/convert/export/import/check.
void AddEnvCommands(CLI::App& app);
// header show/check/stamp.
void AddHeaderCommands(CLI::App& app);
// errhist create/show.
void AddErrhistCommands(CLI::App& app);
// errmsg.
void AddErrmsgCommand(CLI::App& app);

// The --json flag of a command that prints data.
void AddJsonFlag(CLI::App* command, bool& json);
// A required positional argument naming a file.
void AddFileArgument(CLI::App* command, const char* name, std::string& path, const char* what);

// env check, kept apart from the other env commands for its length.
void CheckEnvFile(const std::string& path, bool json);

}  // namespace zvtool

#endif  // ZVTOOL_COMMANDS_H
