// `kinolot serve` as a system service runs it: the built program with its
// settings from the environment, its token file reread on SIGHUP while
// requests come in, clear endings on bad settings, and message lines in the
// form the journal reads when stderr is the journal's stream.
#include <curl/curl.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "serve/access_tokens.h"
#include "support/run_program.h"
#include "support/temp_files.h"
#include "support/test_database.h"

extern char** environ;

namespace kinolot_test {
namespace {

// Token files must be private to their owner, or the service refuses them.
void WriteTokenFile(const std::string& path, const std::string& bytes) {
  WriteFile(path, bytes);
  chmod(path.c_str(), 0600);
}

const std::string kTokenA = "token-of-user-1024-aaaa", kTokenB = "token-of-user-2048-bbbb";

// The HTTP status of GET `url` with `token` as bearer, 0 when there is no answer.
long Status(const std::string& url, const std::string& token) {
  CURL* curl = curl_easy_init();
  if (curl == nullptr) return 0;
  curl_slist* headers = curl_slist_append(nullptr, ("Authorization: Bearer " + token).c_str());
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, 10L);
  curl_easy_setopt(
      curl, CURLOPT_WRITEFUNCTION,
      +[](char*, size_t size, size_t count, void*) { return size * count; });
  long status = 0;
  if (curl_easy_perform(curl) == CURLE_OK) curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  curl_slist_free_all(headers);
  curl_easy_cleanup(curl);
  return status;
}

// A running `kinolot serve`, its stdout read up to the line naming its
// address, its stderr in a file; stopped with SIGTERM when it goes.
class Service {
 public:
  Service(const std::string& tokenFile, const std::string& errors) : errors_(errors) {
    int out[2];
    if (pipe(out) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addopen(&actions, 2, errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    std::vector<std::string> args = {KINOLOT_COMMAND, "serve",        "--listen",
                                     "127.0.0.1:0",   "--token-file", tokenFile};
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(&arg[0]);
    argv.push_back(nullptr);
    if (posix_spawn(&pid_, KINOLOT_COMMAND, &actions, nullptr, argv.data(), environ) != 0) pid_ = 0;
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    // "kinolot serve: the library is served at http://127.0.0.1:PORT/"
    FILE* stream = fdopen(out[0], "r");
    char line[256] = "";
    if (stream != nullptr && fgets(line, sizeof(line), stream) != nullptr) {
      std::string text = line;
      size_t colon = text.rfind(':');
      if (colon != std::string::npos) url_ = "http://127.0.0.1:" + text.substr(colon + 1);
      if (!url_.empty() && url_.back() == '\n') url_.pop_back();
    }
    if (stream != nullptr) fclose(stream);
  }
  ~Service() { Stop(); }
  // The exit status after SIGTERM, -1 when it did not exit by itself.
  int Stop() {
    if (pid_ <= 0) return -1;
    kill(pid_, SIGTERM);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  // Sends SIGHUP and waits for the service to say what came of it.
  void Hangup() {
    size_t before = ReadFile(errors_).size();
    kill(pid_, SIGHUP);
    for (int i = 0; i < 100 && ReadFile(errors_).size() == before; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  const std::string& url() const { return url_; }

 private:
  pid_t pid_ = 0;
  std::string url_, errors_;
};

class ServiceTest : public DatabaseTest {
 protected:
  TempDir dir_;
  const std::string tokens_ = dir_ / "tokens", errors_ = dir_ / "errors";
};

TEST_F(ServiceTest, SighupRereadsTheTokenFileAndABadOneKeepsTheTokensInForce) {
  WriteTokenFile(tokens_, "# household\n" + kTokenA + " 1024\n");
  Service service(tokens_, errors_);
  ASSERT_FALSE(service.url().empty()) << ReadFile(errors_);
  const std::string api = service.url() + "api/movie?limit=1";
  EXPECT_EQ(Status(api, kTokenA), 200);
  EXPECT_EQ(Status(api, kTokenB), 401);

  WriteTokenFile(tokens_, kTokenB + " 2048\n");
  service.Hangup();
  EXPECT_EQ(Status(api, kTokenB), 200);
  EXPECT_EQ(Status(api, kTokenA), 401);

  WriteTokenFile(tokens_, kTokenA + "\n");
  service.Hangup();
  EXPECT_EQ(Status(api, kTokenB), 200) << "a malformed file changes nothing";
  EXPECT_NE(ReadFile(errors_).find("kinolot serve: SIGHUP: " + tokens_ +
                                   ":1: expected \"TOKEN USER-ID\""),
            std::string::npos)
      << ReadFile(errors_);
  EXPECT_EQ(service.Stop(), 0);
}

TEST_F(ServiceTest, ReloadsSwapTheWholeSetWhileRequestsAuthenticate) {
  const std::string a = dir_ / "a", b = dir_ / "b";
  WriteTokenFile(a, kTokenA + " 1024\n");
  WriteTokenFile(b, kTokenB + " 2048\n" + kTokenA + " 4096\n");
  WriteTokenFile(tokens_, ReadFile(a));
  kinolot_serve::AccessTokens tokens;
  std::string error;
  ASSERT_TRUE(tokens.Load(tokens_, error)) << error;
  const kinolot_serve::AccessTokens server = tokens;  // the server's copy
  std::atomic<bool> done{false};
  std::atomic<int> wrong{0};
  std::thread requests([&] {
    while (!done) {
      std::string user;
      // Token A names user 1024 in one file and 4096 in the other, never another.
      if (!server.Authenticate("Bearer " + kTokenA, user) || (user != "1024" && user != "4096"))
        ++wrong;
      if (server.Authenticate("Bearer " + kTokenB, user) && user != "2048") ++wrong;
    }
  });
  for (int i = 0; i < 400; ++i) {
    WriteTokenFile(tokens_, ReadFile(i % 2 ? a : b));
    EXPECT_TRUE(tokens.Reload(error)) << error;
  }
  done = true;
  requests.join();
  EXPECT_EQ(wrong, 0);
  std::string user;
  EXPECT_TRUE(server.Authenticate("Bearer " + kTokenA, user));
  EXPECT_EQ(user, "1024") << "the last file read";
}

TEST_F(ServiceTest, BadSettingsEndWithAClearMessage) {
  WriteTokenFile(tokens_, kTokenA + " 1024\n");
  WriteTokenFile(dir_ / "short", "short 1024\n");
  struct Case {
    std::string env;
    std::vector<std::string> args;
    std::string message;
  };
  const Case cases[] = {
      {"KINOLOT_LISTEN=nonsense", {}, "--listen (KINOLOT_LISTEN) takes HOST:PORT"},
      {"KINOLOT_LISTEN=0.0.0.0:0", {}, "needs --token-file"},
      {"KINOLOT_TOKEN_FILE=" + dir_ / "missing", {}, "missing"},
      {"", {"--token-file", dir_ / "short"}, dir_ / "short" + ":1: expected"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = {"serve"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    Ran ran = RunProgram(KINOLOT_COMMAND, args, c.env);
    EXPECT_EQ(ran.status, 2) << c.env << ran.err;
    EXPECT_NE(ran.err.find(c.message), std::string::npos) << ran.err;
  }

  // With stderr as the journal's stream, each line carries its priority.
  struct stat info {};
  const std::string journal = dir_ / "journal";
  WriteFile(journal, "");
  ASSERT_EQ(stat(journal.c_str(), &info), 0);
  const std::string command = std::string("JOURNAL_STREAM=") + std::to_string(info.st_dev) + ":" +
                              std::to_string(info.st_ino) + " KINOLOT_LISTEN=nonsense " +
                              KINOLOT_COMMAND + " serve 2>>" + journal;
  EXPECT_NE(std::system(command.c_str()), 0);
  EXPECT_EQ(ReadFile(journal).rfind("<3>kinolot serve: --listen (KINOLOT_LISTEN)", 0), 0u)
      << ReadFile(journal);
}

}  // namespace
}  // namespace kinolot_test
