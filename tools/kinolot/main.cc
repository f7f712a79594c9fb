// kinolot: the command-line program built on the library. It scans video
// folders into the library, answers from it as JSON and serves it over HTTP.
#include <CLI/CLI.hpp>

#include "commands.h"

int main(int argc, char** argv) {
  CLI::App app{"kinolot: a video library kept in PostgreSQL", "kinolot"};
  app.require_subcommand(1);
  kinolot_cli::AddScanCommand(app);
  kinolot_cli::AddLibraryCommands(app);
  kinolot_cli::AddServeCommand(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e);
  }
  return 0;
}
