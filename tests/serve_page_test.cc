// The web page of `kinolot serve` in headless Chromium over the test library
// with posters: the grid, an item and its edit form are saved as screenshots
// in <build>/screenshots, and the page's DOM must show the library's titles.
// The browser is driven over WebDriver (Debian's chromedriver), so each view
// is captured once what it shows has arrived, however slow the build.
// Skipped when Chromium or its driver is not installed.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "serve/change_routes.h"
#include "support/serve_fixture.h"

namespace kinolot_test {
namespace {

std::string DecodeBase64(const std::string& text) {
  std::string out;
  unsigned bits = 0;
  int count = 0;
  for (char c : text) {
    const char* digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const char* at = c == '\0' ? nullptr : std::strchr(digits, c);
    if (at == nullptr) continue;
    bits = (bits << 6) | static_cast<unsigned>(at - digits);
    if ((count += 6) >= 8) out += static_cast<char>((bits >> (count -= 8)) & 0xFF);
  }
  return out;
}

// One headless Chromium session under a chromedriver this object starts on a
// free loopback port and stops again.
class Browser {
 public:
  Browser() {
    int out[2];
    if (pipe(out) != 0) return;
    driver_ = fork();
    if (driver_ == 0) {
      dup2(out[1], 1);
      dup2(open("/dev/null", O_WRONLY), 2);
      execlp("chromedriver", "chromedriver", "--port=0", static_cast<char*>(nullptr));
      _exit(127);
    }
    close(out[1]);
    output_ = fdopen(out[0], "r");  // kept open so the driver never writes to a closed pipe
    char line[512];
    const char* ready = "started successfully on port ";
    while (driver_ > 0 && output_ != nullptr && fgets(line, sizeof(line), output_) != nullptr) {
      if (const char* at = std::strstr(line, ready)) {
        client_ = std::make_unique<httplib::Client>("127.0.0.1", std::atoi(at + strlen(ready)));
        break;
      }
    }
    if (!client_) return;
    client_->set_read_timeout(120);
    Json::Value args(Json::arrayValue);
    for (const char* arg :
         {"--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
          "--hide-scrollbars", "--no-first-run", "--window-size=1280,860"})
      args.append(arg);
    Json::Value capabilities;
    capabilities["capabilities"]["alwaysMatch"]["goog:chromeOptions"]["args"] = args;
    session_ = Call("POST", "/session", capabilities)["sessionId"].asString();
  }
  ~Browser() {
    if (!session_.empty()) Call("DELETE", "/session/" + session_);
    if (driver_ > 0) {
      kill(driver_, SIGTERM);
      waitpid(driver_, nullptr, 0);
    }
    if (output_ != nullptr) fclose(output_);
  }
  bool ok() const { return !session_.empty(); }

  void Open(const std::string& url) { Call("POST", Path("/url"), Body("url", url)); }
  // The value the script's body returns.
  Json::Value Run(const std::string& script) {
    Json::Value body = Body("script", script);
    body["args"] = Json::arrayValue;
    return Call("POST", Path("/execute/sync"), body);
  }
  // Waits up to a minute for the script to return true.
  bool WaitFor(const std::string& script) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (Json::Value done = Run(script); !done.asBool(); done = Run(script)) {
      if (done.isNull() || std::chrono::steady_clock::now() > end) return false;
      usleep(50 * 1000);
    }
    return true;
  }
  bool Screenshot(const std::string& file) {
    std::string png = DecodeBase64(Call("GET", Path("/screenshot")).asString());
    return !png.empty() && static_cast<bool>(std::ofstream(file, std::ios::binary) << png);
  }

 private:
  static Json::Value Body(const char* key, const std::string& value) {
    Json::Value body;
    body[key] = value;
    return body;
  }
  std::string Path(const std::string& tail) const { return "/session/" + session_ + tail; }
  // The "value" of a WebDriver answer (for a new session, the whole of it).
  Json::Value Call(const std::string& method, const std::string& path,
                   const Json::Value& body = Json::objectValue) {
    httplib::Result result =
        method == "GET" ? client_->Get(path.c_str())
        : method == "DELETE"
            ? client_->Delete(path.c_str())
            : client_->Post(path.c_str(), Json::FastWriter().write(body), "application/json");
    Json::Value answer;
    if (result) Json::Reader().parse(result->body, answer);
    EXPECT_TRUE(result && result->status == 200) << method << " " << path << ": " << answer;
    return answer["value"];
  }

  pid_t driver_ = -1;
  FILE* output_ = nullptr;
  std::unique_ptr<httplib::Client> client_;
  std::string session_;
};

class ServePageTest : public ServeTest {
 protected:
  void SetUp() override {
    if (std::system("(command -v chromium && command -v chromedriver) >/dev/null 2>&1") != 0)
      GTEST_SKIP() << "chromium or chromedriver is not installed";
    ServeTest::SetUp();
  }
};

TEST_F(ServePageTest, ShowsTheLibraryItsItemsAndTheEditForm) {
  for (int mapper : {1, 2, 3, 4, 5, 6}) {
    AddPoster(mapper,
              Value("SELECT title FROM movie WHERE mapper_id = " + std::to_string(mapper) +
                    " UNION SELECT title FROM tvshow WHERE mapper_id = " + std::to_string(mapper)));
  }
  kinolot_serve::ServeOptions options;
  options.log = nullptr;
  StartServer(std::move(options));
  Browser browser;
  ASSERT_TRUE(browser.ok());

  // Opens a view, waits until `ready` holds, saves a screenshot and returns
  // the page's DOM.
  const std::string folder = std::string(KINOLOT_BINARY_DIR) + "/screenshots";
  std::system(("mkdir -p " + folder).c_str());
  auto capture = [&](const std::string& route, const std::string& ready, const char* shot) {
    browser.Open("http://127.0.0.1:" + std::to_string(port_) + "/#/" + route);
    EXPECT_TRUE(browser.WaitFor("return " + ready + ";")) << route;
    EXPECT_TRUE(browser.Screenshot(folder + "/" + shot + ".png")) << shot;
    return browser.Run("return document.documentElement.outerHTML;").asString();
  };

  // The grid is ready when every poster has arrived.
  const std::string grid =
      capture("movies", "document.querySelectorAll('.grid img.loaded').length === 5", "grid");
  for (const char* title : {"Alpha", "beta", "Sale 50% Off", "Sale 500 Off", "O'Brien Story"})
    EXPECT_NE(grid.find(std::string("data-title=\"") + title + "\""), std::string::npos) << title;
  EXPECT_NE(grid.find("5 titles"), std::string::npos);
  // Posters are images decoded from the bytes the server sent.
  EXPECT_NE(grid.find("src=\"blob:"), std::string::npos);

  const std::string item = capture(
      "movies/1",
      "!!document.querySelector('.item img.loaded') && !!document.querySelector('.files')", "item");
  for (const char* text : {"Sum A", "Ann Lee", "Zed", "/v/alpha.mkv", "1:02:05", "1920 × 1080"})
    EXPECT_NE(item.find(text), std::string::npos) << text;
  const std::string edit =
      capture("movies/1/edit", "!!document.getElementById('edit-form')", "edit");
  EXPECT_NE(edit.find("value=\"Ann Lee|Bob Roe\""), std::string::npos);

  // An edit of one field keeps every other.
  browser.Run(
      "const form = document.getElementById('edit-form');"
      "form.elements.tagline.value = 'A new line';"
      "form.querySelector('button.primary').click(); return true;");
  EXPECT_TRUE(browser.WaitFor("return !!document.querySelector('.banner.ok');"));
  Json::Value movie =
      Get("/api/movie/1?additional=summary,actor,director,genre").json()["movies"][0];
  EXPECT_EQ(movie["tagline"], "A new line");
  EXPECT_EQ(movie["title"], "Alpha");
  EXPECT_EQ(movie["original_available"], "2001-05-04");
  EXPECT_EQ(movie["metadata_locked"], true);
  EXPECT_EQ(movie["additional"]["summary"], "Sum A");
  EXPECT_EQ(movie["additional"]["actor"].size(), 2u);
  EXPECT_EQ(movie["additional"]["director"][0], "Zed");
}

TEST_F(ServePageTest, AnOpenPageShowsChangesWithoutAReload) {
  std::atomic<long> changes{0};
  server_ = std::make_unique<kinolot_serve::WebServer>(kinolot_serve::ServeOptions{});
  kinolot_serve::AddChangeRoutes(*server_, [&changes] { return changes.load(); });
  port_ = server_->Bind();
  ASSERT_GT(port_, 0);
  thread_ = std::thread([this] { server_->Run(); });
  Browser browser;
  ASSERT_TRUE(browser.ok());
  browser.Open("http://127.0.0.1:" + std::to_string(port_) + "/#/movie");
  ASSERT_TRUE(browser.WaitFor("return document.querySelectorAll('[data-title]').length === 5;"));
  browser.Run("window.notReloaded = true;");
  // Polled once unchanged, so the page holds the count it will compare with.
  ASSERT_TRUE(browser.WaitFor("return libraryChanges === 0;"));
  AddMovie("Arrived", 2020);
  ++changes;
  EXPECT_TRUE(browser.WaitFor("return !!document.querySelector('[data-title=\"Arrived\"]');"));
  EXPECT_TRUE(browser.Run("return window.notReloaded === true;").asBool());
}

}  // namespace
}  // namespace kinolot_test
