// The web page of `kinolot serve` in headless Chromium over the test library
// with posters: the grid, an item and its edit form are saved as screenshots
// in <build>/screenshots, and the page's DOM must show the library's titles.
// Skipped when Chromium is not installed.
#include <cstdio>
#include <cstdlib>

#include "support/serve_fixture.h"

namespace kinolot_test {
namespace {

class ServePageTest : public ServeTest {
 protected:
  void SetUp() override {
    if (std::system("command -v chromium >/dev/null 2>&1") != 0)
      GTEST_SKIP() << "chromium is not installed";
    ServeTest::SetUp();
  }

  // Runs headless Chromium on `route` of the page with `what`
  // ("--dump-dom" or "--screenshot=FILE") and returns its standard output.
  std::string Browse(const std::string& route, const std::string& what) {
    const std::string command =
        "chromium --headless --no-sandbox --disable-gpu --disable-dev-shm-usage "
        "--hide-scrollbars --no-first-run --window-size=1280,860 --virtual-time-budget=5000 " +
        what + " 'http://127.0.0.1:" + std::to_string(port_) + "/#/" + route + "' 2>/dev/null";
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return output;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof(buffer), pipe)) > 0) output.append(buffer, n);
    pclose(pipe);
    return output;
  }
};

TEST_F(ServePageTest, ShowsTheLibraryItsItemsAndTheEditForm) {
  for (int mapper : {1, 2, 3, 5, 6}) {
    AddPoster(mapper,
              Value("SELECT title FROM movie WHERE mapper_id = " + std::to_string(mapper) +
                    " UNION SELECT title FROM tvshow WHERE mapper_id = " + std::to_string(mapper)));
  }
  kinolot_cli::ServeOptions options;
  options.log = nullptr;
  StartServer(std::move(options));

  // Each run saves a screenshot and returns the page's DOM.
  const std::string folder = std::string(KINOLOT_BINARY_DIR) + "/screenshots";
  std::system(("mkdir -p " + folder).c_str());
  auto browse = [&](const std::string& route, const char* shot) {
    const std::string file = folder + "/" + shot + ".png";
    std::remove(file.c_str());
    std::string dom = Browse(route, "--dump-dom --screenshot=" + file);
    FILE* png = std::fopen(file.c_str(), "rb");
    EXPECT_NE(png, nullptr) << file;
    if (png != nullptr) std::fclose(png);
    return dom;
  };

  const std::string grid = browse("movie", "grid");
  for (const char* title : {"Alpha", "beta", "Sale 50% Off", "Sale 500 Off", "O'Brien Story"})
    EXPECT_NE(grid.find(std::string("data-title=\"") + title + "\""), std::string::npos) << title;
  EXPECT_NE(grid.find("5 titles"), std::string::npos);
  // Posters are images decoded from the bytes the server sent.
  EXPECT_NE(grid.find("src=\"blob:"), std::string::npos);
  EXPECT_NE(grid.find("class=\"loaded\""), std::string::npos);

  const std::string item = browse("movie/1", "item");
  for (const char* text : {"Sum A", "Ann Lee", "Zed", "/v/alpha.mkv", "1:02:05", "1920 × 1080"})
    EXPECT_NE(item.find(text), std::string::npos) << text;
  const std::string edit = browse("movie/1/edit", "edit");
  EXPECT_NE(edit.find("id=\"edit-form\""), std::string::npos);
  EXPECT_NE(edit.find("value=\"Ann Lee|Bob Roe\""), std::string::npos);
}

}  // namespace
}  // namespace kinolot_test
