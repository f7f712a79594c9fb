// Placeholder until the subcommand is built.
#include "commands.h"

namespace kinolot_cli {
void AddScanCommand(CLI::App&) {}
}  // namespace kinolot_cli
