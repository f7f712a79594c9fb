// `kinolot scan FOLDER...`: the media scanner's command line. Parses the
// folders and their kinds, runs the scan with a progress bar on a terminal,
// prints the summary as text or JSON and ends with the exit status: 0 when
// every file was stored, 1 when some failed, 2 on a usage or database error.
#include <json/writer.h>
#include <limits.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <thread>

#include "commands.h"
#include "kinolot/video_db.h"
#include "scan/folder_watch.h"
#include "scan/scanner.h"

namespace kinolot_cli {
namespace {

using namespace kinolot_scan;

struct ScanArguments {
  std::vector<std::string> folders;
  std::vector<std::string> kinds;
  bool json = false;
  bool quiet = false;
  size_t batch_size = 200;
  bool watch = false;
  int rescan_seconds = 300;
};

[[noreturn]] void Fail(const std::string& message, int status) {
  std::cerr << "kinolot scan: " << message << "\n";
  throw CLI::RuntimeError(status);
}

// Each folder takes the kind of the last --as before it; folders before the
// first --as take that first one, so that "scan /tv --as shows" reads as meant.
std::vector<ScanFolder> FoldersWithKinds(const CLI::App& command, const CLI::Option* folder_option,
                                         const CLI::Option* kind_option,
                                         const ScanArguments& arguments) {
  std::vector<ScanFolder> folders;
  size_t next_folder = 0, next_kind = 0;
  ScanKind current = ScanKind::kAuto;
  if (!arguments.kinds.empty()) ParseScanKind(arguments.kinds.front(), &current);
  for (const CLI::Option* option : command.parse_order()) {
    if (option == kind_option && next_kind < arguments.kinds.size()) {
      ParseScanKind(arguments.kinds[next_kind++], &current);
    } else if (option == folder_option && next_folder < arguments.folders.size()) {
      folders.push_back({arguments.folders[next_folder++], current});
    }
  }
  return folders;
}

// The folder as an absolute path without links, so that one folder is
// always stored under one name.
std::string ResolveFolder(const std::string& folder) {
  char resolved[PATH_MAX];
  if (realpath(folder.c_str(), resolved) == nullptr) Fail(folder + ": " + std::strerror(errno), 2);
  struct stat info {};
  if (stat(resolved, &info) != 0 || !S_ISDIR(info.st_mode)) Fail(folder + ": not a folder", 2);
  return resolved;
}

void PrintSummary(const ScanSummary& summary, bool json) {
  if (!json) {
    std::cout << SummaryText(summary);
    return;
  }
  Json::StreamWriterBuilder writer;
  writer["indentation"] = isatty(STDOUT_FILENO) ? "  " : "";
  writer["precisionType"] = "decimal";  // seconds to the millisecond
  writer["precision"] = 3;
  std::cout << Json::writeString(writer, SummaryJson(summary)) << "\n";
}

// Follows the folders until SIGINT or SIGTERM, one line per change on
// standard output.
void WatchFolders(std::vector<ScanFolder> folders, const ScanArguments& arguments) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  WatchOptions options;
  options.folders = std::move(folders);
  options.batch_size = arguments.batch_size;
  options.rescan_seconds = arguments.rescan_seconds;
  options.report = [](const std::string& line) {
    std::cout << "kinolot scan: " << line << std::endl;
  };
  FolderWatch watch(std::move(options));
  std::thread waiter([&] {
    int signal = 0;
    sigwait(&signals, &signal);
    watch.Stop();
  });
  std::string error;
  bool ran = watch.Run(&error);
  pthread_kill(waiter.native_handle(), SIGTERM);
  waiter.join();
  LibKinolot::VideoDBConnClose();
  if (!ran) Fail(error, 2);
}

void RunScanCommand(const CLI::App& command, const CLI::Option* folder_option,
                    const CLI::Option* kind_option, const ScanArguments& arguments) {
  ScanOptions options;
  options.folders = FoldersWithKinds(command, folder_option, kind_option, arguments);
  for (ScanFolder& folder : options.folders) folder.path = ResolveFolder(folder.path);
  options.batch_size = arguments.batch_size;
  if (arguments.watch) return WatchFolders(std::move(options.folders), arguments);
  ProgressBar progress(STDERR_FILENO, !arguments.quiet && isatty(STDERR_FILENO));
  options.progress = &progress;

  ScanSummary summary;
  std::string error;
  bool ran = RunScan(options, &summary, &error);
  progress.Finish();
  LibKinolot::VideoDBConnClose();
  if (!ran) Fail(error, 2);
  PrintSummary(summary, arguments.json);
  std::cout.flush();
  if (!summary.failed.empty()) throw CLI::RuntimeError(1);
}

}  // namespace

void AddScanCommand(CLI::App& app) {
  auto arguments = std::make_shared<ScanArguments>();
  CLI::App* command = app.add_subcommand(
      "scan",
      "Scan video folders into the library: new and changed files are probed and stored, "
      "unchanged ones left alone, vanished ones removed. Exit status 0 when every file was "
      "stored, 1 when some failed, 2 on a usage or database error.");
  CLI::Option* folders =
      command->add_option("FOLDER", arguments->folders, "Folders to scan")->required();
  CLI::Option* kinds =
      command
          ->add_option("--as", arguments->kinds,
                       "What the files of the folders after it are: auto (episodes by "
                       "S01E02, 1x02 or a Show/Season 1 layout, else movies), movies, shows, "
                       "home or recordings. Give it again before other folders for another "
                       "kind; folders before the first --as take the first.")
          ->check(CLI::IsMember({"auto", "movies", "shows", "home", "recordings"}))
          ->expected(1)
          ->allow_extra_args(false)
          ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command->add_flag(
      "--json", arguments->json,
      "Print the summary as JSON: found, added, updated, unchanged, removed, "
      "moved, failed, skipped and warnings, each listed entry with its path and reason");
  command->add_flag("-q,--quiet", arguments->quiet, "No progress bar, only the summary");
  command->add_option("--batch-size", arguments->batch_size, "Files stored per transaction")
      ->check(CLI::Range(1, 100000));
  command->add_flag("--watch", arguments->watch,
                    "After the scan, keep the library current as the folders change, until "
                    "interrupted: one line per change on standard output");
  command
      ->add_option("--rescan-interval", arguments->rescan_seconds,
                   "With --watch, seconds between rescans of folders that send no change "
                   "events (network file systems, folders past the system's watch limit)")
      ->check(CLI::Range(1, 86400))
      ->capture_default_str();
  command->callback([command, folders, kinds, arguments] {
    RunScanCommand(*command, folders, kinds, *arguments);
  });
}

}  // namespace kinolot_cli
