// kinolot: the command-line program built on the library. It scans video
// folders into the library, answers from it as JSON and serves it over HTTP.
//
// This unit is the frame: the global options that choose the database
// server, and how parse errors and failed commands become exit statuses
// (0 done, 1 some items failed, 2 a usage or database error).
#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "cli/commands.h"
#include "cli/database_server.h"

namespace {

const char kDescription[] =
    "kinolot: the video library of a home media server, kept in PostgreSQL.\n"
    "Scan video folders into the library, read and edit it as JSON, serve it over HTTP.";

const char kFooter[] =
    "Answers are JSON on standard output: indented on a terminal, one line in a pipe.\n"
    "\n"
    "Database: the server that --host/--port name; else PGHOST/PGPORT; else the local\n"
    "database of scripts/run.sh when it exists ($KINOLOT_DB_DIR, /var/lib/kinolot/db for\n"
    "root, ${XDG_DATA_HOME:-~/.local/share}/kinolot/db for others); else libpq's default.\n"
    "The program connects as user \"admin\" to the database \"video_metadata\".\n"
    "\n"
    "Exit status: 0 done, 1 some items failed or were not found, 2 a usage error or an\n"
    "unreachable database. Run 'kinolot COMMAND --help' for each command.";

// The deepest subcommand that the command line selected, where usage help
// for a parse error belongs, and its full name ("kinolot collection add").
const CLI::App* Selected(const CLI::App& app, std::string& name) {
  const CLI::App* current = &app;
  name = app.get_name();
  while (!current->get_subcommands().empty()) {
    current = current->get_subcommands().front();
    name += " " + current->get_name();
  }
  return current;
}

// A bad argument: one line saying what is wrong, then the usage line of the
// command it was given to.
int UsageError(const CLI::App& app, const CLI::Error& error) {
  std::string name;
  const CLI::App* command = Selected(app, name);
  CLI::Formatter formatter;
  std::string message = error.what();
  // A mistyped command name is left over as an argument, and the parser only
  // notices that no command was given.
  std::vector<std::string> left = command->remaining();
  if (left.empty()) left = app.remaining();  // handed up to the program's own options
  if (error.get_name() == "RequiredError" && !left.empty() &&
      !command->get_subcommands({}).empty()) {
    message = "'" + left.front() + "' is not a command of " + name;
  }
  std::cerr << "kinolot: " << message << "\n"
            << formatter.make_usage(command, name) << "Run '" << name
            << " --help' for more information.\n";
  return 2;
}

// Positional arguments are named by their own names (KIND, ID); a value type
// after them ("KIND TEXT") says nothing more.
void PlainPositionals(CLI::App* app) {
  for (CLI::Option* option : app->get_options()) {
    if (option->get_positional()) option->type_name("");
  }
  for (CLI::App* command : app->get_subcommands({})) PlainPositionals(command);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{kDescription, "kinolot"};
  app.require_subcommand(1);
  app.footer(kFooter);
  // Global options may stand after the subcommand too.
  app.fallthrough();
  std::string host, port;
  app.add_option("--host", host,
                 "Database server: a host name, a socket folder, or a database folder of "
                 "scripts/run.sh");
  app.add_option("--port", port, "Database server port (default 5432)")
      ->check(CLI::Range(1, 65535));
  // Runs once the whole line is parsed and before any command, which may
  // connect at once.
  app.parse_complete_callback([&] { kinolot_cli::ChooseDatabaseServer(host, port); });

  kinolot_cli::AddScanCommand(app);
  kinolot_cli::AddLibraryCommands(app);
  kinolot_cli::AddServeCommand(app);
  PlainPositionals(&app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::RuntimeError& e) {
    return e.get_exit_code();  // the command has said why
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(e);
    return UsageError(app, e);
  } catch (const std::exception& e) {
    std::cerr << "kinolot: " << e.what() << "\n";
    return 2;
  }
  return 0;
}
