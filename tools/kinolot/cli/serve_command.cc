// `kinolot serve`: the library over HTTP with its web page, until SIGINT or
// SIGTERM ends it after the requests under way; SIGHUP rereads the token
// file. Its own messages go to stderr, one line each; under systemd, whose
// journal then takes stderr, each line carries its priority in the "<N>"
// form the journal reads.
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

#include "commands.h"
#include "kinolot/video_metadata_api.h"
#include "serve/change_routes.h"
#include "serve/web_server.h"
#include "watch_process.h"

namespace kinolot_cli {

namespace {

using namespace kinolot_serve;

constexpr char kServeHelp[] =
    "Serves the library over HTTP: the web page at /, JSON under /api/.\n"
    "Listens on loopback unless told otherwise; any other address needs --token-file.\n"
    "Token file: one \"TOKEN USER-ID\" per line (# starts a comment); a token is 16 to 256\n"
    "characters of letters, digits and -._~+/=. Requests send \"Authorization: Bearer TOKEN\"\n"
    "and their collection calls act for USER-ID. Without a token file every request acts\n"
    "for --user. The token file must not be open to other users (chmod 600).\n"
    "One access-log line per request goes to stderr. A request whose database statements\n"
    "fail or take over 10 s is answered 503 with Retry-After. SIGHUP rereads the token\n"
    "file; should it be unreadable or malformed, the tokens in force stay.\n"
    "Settings may also come from the environment: KINOLOT_LISTEN, KINOLOT_TOKEN_FILE.";

// How long one database statement of a request may take.
constexpr int kStatementSeconds = 10;

struct ServeArguments {
  std::string listen = "127.0.0.1:8350";
  std::string tokenFile;
  std::string user = "1024";
  int threads = 0;
  std::vector<std::string> watch;
  int rescanSeconds = 300;
};

// Whether stderr is the journal's stream: systemd names it in JOURNAL_STREAM
// as "DEVICE:INODE".
bool StderrIsJournal() {
  const char* stream = std::getenv("JOURNAL_STREAM");
  struct stat info {};
  if (stream == nullptr || fstat(2, &info) != 0) return false;
  unsigned long long device = 0, inode = 0;
  return std::sscanf(stream, "%llu:%llu", &device, &inode) == 2 && device == info.st_dev &&
         inode == info.st_ino;
}

// Syslog priorities of the messages.
constexpr int kError = 3, kWarning = 4, kInfo = 6;

void Say(int priority, const std::string& message) {
  static const bool journal = StderrIsJournal();
  if (journal)
    std::fprintf(stderr, "<%d>kinolot serve: %s\n", priority, message.c_str());
  else
    std::fprintf(stderr, "kinolot serve: %s\n", message.c_str());
}

[[noreturn]] void Fail(const std::string& message) {
  Say(kError, message);
  throw CLI::RuntimeError(2);
}

// Tokens are passwords: a file that other users may read or change is
// refused, as a private key would be.
void RequirePrivate(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
    Fail("the token file " + path + " is open to other users; make it private (chmod 600 " + path +
         ")");
}

// Each open connection takes a descriptor; let the process have as many as
// the system grants it.
void RaiseDescriptorLimit() {
  rlimit files{};
  if (getrlimit(RLIMIT_NOFILE, &files) != 0 || files.rlim_cur >= files.rlim_max) return;
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
}

void Serve(const ServeArguments& arguments) {
  ServeOptions options;
  if (!ParseListenAddress(arguments.listen, options.host, options.port))
    Fail("--listen (KINOLOT_LISTEN) takes HOST:PORT, such as 127.0.0.1:8350 or [::1]:8350, not \"" +
         arguments.listen + "\"");
  if (!arguments.tokenFile.empty()) {
    RequirePrivate(arguments.tokenFile);
    std::string error;
    if (!options.tokens.Load(arguments.tokenFile, error)) Fail(error);
  } else if (!IsLoopbackHost(options.host)) {
    Fail("listening on " + options.host + " needs --token-file: only loopback is served without");
  }
  options.user = RequireId(arguments.user, "--user");
  options.threads = arguments.threads;
  LimitDatabaseWaits(kStatementSeconds);
  RaiseDescriptorLimit();

  // Every thread started from here on leaves SIGINT, SIGTERM and SIGHUP to
  // the one that waits for them.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  WatchProcess watch;
  std::string watchError;
  if (!arguments.watch.empty() &&
      !watch.Start(arguments.watch, arguments.rescanSeconds, watchError))
    Fail(watchError);

  // Shares its tokens with the server's copy, so that a reload reaches it.
  AccessTokens tokens = options.tokens;
  WebServer server(std::move(options));
  AddChangeRoutes(server, [&watch] { return watch.changes(); });
  const int port = server.Bind();
  if (port < 0) Fail("cannot listen on " + arguments.listen);
  if (!LibKinolot::VideoMetadataAPI().DatabaseAnswers())
    Say(kWarning, "the database does not answer yet; requests fail until it does");
  const std::string host =
      arguments.listen.substr(0, arguments.listen.rfind(':'));  // keeps [::1] bracketed
  std::printf("kinolot serve: the library is served at http://%s:%d/\n", host.c_str(), port);
  std::fflush(stdout);

  std::thread waiter([&] {
    for (int signal = SIGHUP; signal == SIGHUP;) {
      if (sigwait(&signals, &signal) != 0 || signal != SIGHUP) break;
      std::string error;
      if (arguments.tokenFile.empty())
        Say(kWarning, "SIGHUP: no token file to reread");
      else if (tokens.Reload(error))
        Say(kInfo, "reread the token file " + arguments.tokenFile);
      else
        Say(kError, "SIGHUP: " + error + "; the tokens in force stay");
    }
    server.Stop();
  });
  server.Run();
  // Wakes the waiter when the server ended on its own.
  pthread_kill(waiter.native_handle(), SIGTERM);
  waiter.join();
  Say(kInfo, "stopped");
}

}  // namespace

void AddServeCommand(CLI::App& app) {
  auto arguments = std::make_shared<ServeArguments>();
  CLI::App* serve = app.add_subcommand("serve", "Serve the library over HTTP with its web page");
  serve->footer(kServeHelp);
  serve->add_option("--listen", arguments->listen, "HOST:PORT to listen on")
      ->envname("KINOLOT_LISTEN")
      ->capture_default_str();
  serve->add_option("--token-file", arguments->tokenFile, "File of \"TOKEN USER-ID\" lines")
      ->envname("KINOLOT_TOKEN_FILE")
      ->check(CLI::ExistingFile);
  serve->add_option("--user", arguments->user, "User id of requests when there are no tokens")
      ->capture_default_str();
  serve
      ->add_option("--threads", arguments->threads,
                   "Requests worked on at once, 0 for two per processor core (connections are not "
                   "limited by it)")
      ->check(CLI::Range(0, 256))
      ->capture_default_str();
  serve
      ->add_option("--watch", arguments->watch,
                   "Keep the library current as these folders change (as `kinolot scan --watch`); "
                   "open pages show the changes")
      ->check(CLI::ExistingDirectory)
      ->envname("KINOLOT_WATCH")
      ->delimiter(':');
  serve
      ->add_option("--rescan-interval", arguments->rescanSeconds,
                   "With --watch, seconds between rescans of folders that send no change events")
      ->check(CLI::Range(1, 86400))
      ->capture_default_str();
  serve->callback([arguments] {
    try {
      Serve(*arguments);
    } catch (const ApiError& error) {
      Fail(error.what());
    }
  });
}

}  // namespace kinolot_cli
