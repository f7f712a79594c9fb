// The subcommands of the kinolot program. Each unit adds its subcommands to
// the program's argument parser; a subcommand's callback ends the program
// with its exit status by throwing CLI::RuntimeError(status), which main
// turns into the process's exit status (0 done, 1 some items failed, 2 a
// usage or database error).
#ifndef KINOLOT_TOOLS_CLI_COMMANDS_H_
#define KINOLOT_TOOLS_CLI_COMMANDS_H_

#include <CLI/CLI.hpp>

namespace kinolot_cli {

// `kinolot scan FOLDER...`: the media scanner.
void AddScanCommand(CLI::App& app);

// `kinolot list|search|info|browse|edit|collection|poster`: the library's
// read and edit calls, answered as JSON.
void AddLibraryCommands(CLI::App& app);

// `kinolot serve`: the library over HTTP, with its web page.
void AddServeCommand(CLI::App& app);

}  // namespace kinolot_cli

#endif  // KINOLOT_TOOLS_CLI_COMMANDS_H_
