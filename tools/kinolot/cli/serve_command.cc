// `kinolot serve`: the library over HTTP with its web page, until SIGINT or
// SIGTERM ends it after the requests under way; SIGHUP rereads the token
// file. Its own messages go to stderr, one line each; under systemd, whose
// journal then takes stderr, each line carries its priority in the "<N>"
// form the journal reads.
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

#include "commands.h"
#include "kinolot/video_metadata_api.h"
#include "serve/web_server.h"

namespace kinolot_cli {

namespace {

using namespace kinolot_serve;

constexpr char kServeHelp[] =
    "Serves the library over HTTP: the web page at /, JSON under /api/.\n"
    "Listens on loopback unless told otherwise; any other address needs --token-file.\n"
    "Token file: one \"TOKEN USER-ID\" per line (# starts a comment); a token is 16 to 256\n"
    "characters of letters, digits and -._~+/=. Requests send \"Authorization: Bearer TOKEN\"\n"
    "and their collection calls act for USER-ID. Without a token file every request acts\n"
    "for --user. One access-log line per request goes to stderr. SIGHUP rereads the token\n"
    "file; should it be unreadable or malformed, the tokens in force stay.\n"
    "Settings may also come from the environment: KINOLOT_LISTEN, KINOLOT_TOKEN_FILE.";

struct ServeArguments {
  std::string listen = "127.0.0.1:8350";
  std::string tokenFile;
  std::string user = "1024";
  int threads = 16;
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

void Serve(const ServeArguments& arguments) {
  ServeOptions options;
  if (!ParseListenAddress(arguments.listen, options.host, options.port))
    Fail("--listen (KINOLOT_LISTEN) takes HOST:PORT, such as 127.0.0.1:8350 or [::1]:8350, not \"" +
         arguments.listen + "\"");
  if (!arguments.tokenFile.empty()) {
    std::string error;
    if (!options.tokens.Load(arguments.tokenFile, error)) Fail(error);
  } else if (!IsLoopbackHost(options.host)) {
    Fail("listening on " + options.host + " needs --token-file: only loopback is served without");
  }
  options.user = RequireId(arguments.user, "--user");
  options.threads = arguments.threads;

  // Every thread started from here on leaves SIGINT, SIGTERM and SIGHUP to
  // the one that waits for them.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  // Shares its tokens with the server's copy, so that a reload reaches it.
  AccessTokens tokens = options.tokens;
  WebServer server(std::move(options));
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
  serve->add_option("--threads", arguments->threads, "Requests served at once")
      ->check(CLI::Range(1, 256))
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
