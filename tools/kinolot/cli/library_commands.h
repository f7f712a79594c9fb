// The units that make up the read and edit commands. AddLibraryCommands
// (commands.h) registers them all; each is defined in the unit named after it.
#ifndef KINOLOT_TOOLS_CLI_LIBRARY_COMMANDS_H_
#define KINOLOT_TOOLS_CLI_LIBRARY_COMMANDS_H_

#include <CLI/CLI.hpp>
#include <string>

namespace kinolot_cli {

// `kinolot edit KIND ID --title ...` (edit_command.cc).
void AddEditCommand(CLI::App& app);
// `kinolot collection create|add|remove|list|search` (collection_commands.cc).
void AddCollectionCommands(CLI::App& app);
// `kinolot poster set KIND ID URL-or-FILE` (poster_command.cc).
void AddPosterCommand(CLI::App& app);

}  // namespace kinolot_cli

#endif  // KINOLOT_TOOLS_CLI_LIBRARY_COMMANDS_H_
