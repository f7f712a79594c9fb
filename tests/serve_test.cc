// `kinolot serve` over real HTTP: every route's status and answer, refused
// requests, tokens and collections, posters, 64 requests at once, and a
// database restart while the server runs.
#include <atomic>
#include <regex>
#include <vector>

#include "support/serve_fixture.h"

namespace kinolot_test {
namespace {

using Headers = httplib::Headers;

struct Case {
  const char* method;
  std::string path;
  std::string body;
  int status;
  // A fragment the compact JSON answer must hold, e.g. "\"total\":2".
  std::string holds;
};

TEST_F(ServeTest, RoutesAnswerWithTheLibraryJsonOrAJsonError) {
  FILE* log = std::tmpfile();
  kinolot_serve::ServeOptions options;
  options.log = log;
  StartServer(std::move(options));
  const std::string longTitle(600, 'x');
  const std::vector<Case> cases = {
      {"GET", "/api/movie?sort=sort_title&limit=2", "", 200, R"("offset":2,"total":5)"},
      {"GET", "/api/movie?actor=1&sort=id", "", 200, R"("title":"beta"}],"offset":2,"total":2)"},
      {"GET", "/api/movie?year=1999", "", 200, R"("O'Brien Story")"},
      {"GET", "/api/tvshow_episode?tvshow=1", "", 200, R"("total":2)"},
      {"GET", "/api/movie/search?title=50%25", "", 200, R"("Sale 50% Off"}],"offset":1,"total":1)"},
      {"GET", "/api/movie/search?actor=ann&genre=comedy", "", 200,
       R"("title":"beta"}],"offset":1)"},
      {"GET", "/api/movie/1?additional=actor,files", "", 200, R"("actor":["Ann Lee","Bob Roe"])"},
      {"GET", "/api/tvshow_episode/1?additional=tvshow_summary", "", 200,
       R"("tvshow_summary":"Sum Show")"},
      {"GET", "/api/movie/browse/genre", "", 200, R"({"id":"2","name":"Comedy"})"},
      {"GET", "/api/movie/99", "", 404, R"({"error":"no movie with id 99"})"},
      {"GET", "/api/film", "", 400,
       "unknown kind (use movies, shows, episodes, home or recordings)"},
      // One vocabulary with the command line; the table names stay accepted.
      {"GET", "/api/shows/1?additional=episodes", "", 200, "Pilot"},
      {"GET", "/api/episodes/1?additional=show_summary", "", 200, R"("tvshow_summary":"Sum Show")"},
      {"GET", "/api/Movies?year=1999", "", 200, R"("O'Brien Story")"},
      {"GET", "/api/movie?limit=0", "", 400, "limit must be at least 1"},
      {"GET", "/api/movie?limit=501", "", 400, "limit is too large"},
      {"GET", "/api/movie?offset=-1", "", 400, "offset must be"},
      {"GET", "/api/movie?sort=id;DROP", "", 400, "cannot sort by"},
      {"GET", "/api/movie?order=up", "", 400, "order must be"},
      {"GET", "/api/movie?additional=poster", "", 400, "unknown additional piece"},
      {"GET", "/api/movie?actor=x", "", 400, "actor must be a decimal id"},
      {"GET", "/api/movie/2147483648", "", 400, "id must be a decimal id"},
      {"GET", "/api/movie/search", "", 400, "search needs"},
      {"GET", "/api/movie/search?title=" + longTitle, "", 400, "longer than 512 bytes"},
      {"GET", "/api/tvshow/browse/actor", "", 400, "through their episodes"},
      {"GET", "/api/movie/browse/colour", "", 400, "unknown category"},
      {"GET", "/elsewhere", "", 404, R"("error")"},
      {"POST", "/api/movie/2", "{\"title\":", 400, "must be a JSON object"},
      {"POST", "/api/movie/2", "[]", 400, "must be a JSON object"},
      {"POST", "/api/movie/2", R"({"title":""})", 400, "title is required"},
      {"POST", "/api/movie/2", R"({"title":"beta","metadata_locked":"maybe"})", 400,
       "metadata_locked must be"},
      {"POST", "/api/movie/2", R"({"title":"beta","metadata_locked":false,"actor":["a|b"]})", 400,
       "without \\\"|\\\""},
      {"POST", "/api/home_video/1", R"({"record_time":null})", 400, "record_time is required"},
      {"POST", "/api/movie/77", R"({"title":"x","metadata_locked":false})", 404, "no movie"},
      {"POST", "/api/movie/2", std::string(70000, ' '), 413, R"("error")"},
  };
  for (const Case& c : cases) {
    Answer answer = Send(c.method, c.path, c.body);
    EXPECT_EQ(answer.status, c.status)
        << c.method << " " << c.path.substr(0, 80) << ": " << answer.body;
    EXPECT_NE(answer.body.find(c.holds), std::string::npos)
        << c.method << " " << c.path.substr(0, 80) << ": " << answer.body;
    EXPECT_TRUE(answer.json().isObject()) << answer.body;
  }
  // An edit form must say it is JSON, which no other web site can send here.
  EXPECT_EQ(Send("POST", "/api/movie/2", R"({"title":"beta"})", {}, "text/plain").status, 400);
  // A loopback server without tokens answers only to names of this machine.
  EXPECT_EQ(Get("/api/movie", {{"Host", "attacker.example"}}).status, 400);
  EXPECT_EQ(Get("/api/movie", {{"Host", "localhost:1"}}).status, 200);

  StopServer();
  const std::vector<std::string> lines = LogLines(log);
  EXPECT_EQ(lines.size(), cases.size() + 3);
  EXPECT_TRUE(std::regex_match(
      lines[0],
      std::regex(
          R"(\S+Z 127\.0\.0\.1 user=1024 "GET /api/movie\?sort=sort_title&limit=2 HTTP/1\.1" 200 \d+ [\d.]+ms\n)")))
      << lines[0];
}

TEST_F(ServeTest, EditSavesInPlaceOrReportsTheItemItWasMergedInto) {
  StartServer();
  Answer saved = Send("POST", "/api/movie/2",
                      R"({"title":"beta","tagline":"It's 100% \"new\"","metadata_locked":true,)"
                      R"("actor":["Ann Lee","Zoë Ng"],)"
                      R"("genre":"Comedy|Drama","extra":{"rating":"8"}})");
  EXPECT_EQ(saved.body, R"({"id":"2","merged":false})");
  Json::Value movie = Get("/api/movie/2?additional=actor,genre,extra").json()["movies"][0];
  EXPECT_EQ(movie["tagline"], "It's 100% \"new\"");
  EXPECT_EQ(movie["metadata_locked"], true);
  EXPECT_EQ(movie["additional"]["actor"][1], "Zoë Ng");
  EXPECT_EQ(movie["additional"]["genre"].size(), 2u);

  // Alpha takes beta's title and year: it merges into beta, its files with it.
  Answer merged =
      Send("POST", "/api/movie/1",
           R"({"title":"beta","original_available":"2003-02-02","metadata_locked":false})");
  EXPECT_EQ(merged.body, R"({"id":"2","merged":true})");
  EXPECT_EQ(Get("/api/movie/1").status, 404);
  EXPECT_NE(Get("/api/movie/2?additional=files").body.find("/v/alpha.mkv"), std::string::npos);
}

TEST_F(ServeTest, EditKeepsWhatItDoesNotNameAndClearsWhatIsNullOrEmpty) {
  StartServer();
  const std::string pieces = "/api/movie/1?additional=summary,actor,director,genre";
  ASSERT_EQ(Send("POST", "/api/movie/1", R"({"title":"Heat","metadata_locked":false})").status,
            200);
  Json::Value heat = Get(pieces).json()["movies"][0];
  EXPECT_EQ(heat["title"], "Heat");
  EXPECT_EQ(heat["tagline"], "First");
  EXPECT_EQ(heat["original_available"], "2001-05-04");
  EXPECT_EQ(heat["metadata_locked"], false);
  EXPECT_EQ(heat["additional"]["summary"], "Sum A");
  EXPECT_EQ(heat["additional"]["actor"].size(), 2u);
  EXPECT_EQ(heat["additional"]["director"][0], "Zed");
  EXPECT_EQ(heat["additional"]["genre"][0], "Drama");

  ASSERT_EQ(Send("POST", "/api/movie/1", R"({"summary":null,"actor":"","tagline":""})").status,
            200);
  heat = Get(pieces).json()["movies"][0];
  EXPECT_EQ(heat["title"], "Heat");
  EXPECT_EQ(heat["tagline"], "");
  EXPECT_EQ(heat["additional"]["summary"], "");
  EXPECT_EQ(heat["additional"]["actor"].size(), 0u);
  EXPECT_EQ(heat["additional"]["director"][0], "Zed");

  // Refused whole, before anything is written.
  const std::string before = Get(pieces).body;
  for (const std::string& bad :
       {std::string(R"({"original_available":"not a date"})"),
        std::string(R"({"original_available":"99999-01-01"})"),
        std::string(R"({"original_available":"2009-02-30"})"),
        std::string(R"({"original_available":"1066"})"), std::string("{\"title\":\"\xff\xfe\"}"),
        std::string("{\"title\":\"Heat\xc0\xaf\"}")})
    EXPECT_EQ(Send("POST", "/api/movie/1", bad).status, 400) << bad;
  EXPECT_EQ(Get("/api/movie/search?title=%FF").status, 400);
  EXPECT_EQ(Get(pieces).body, before);
  EXPECT_EQ(Send("POST", "/api/movie/1", R"({"original_available":""})").status, 200);
  EXPECT_EQ(Get("/api/movie/1").json()["movies"][0]["original_available"].asString().find("2001"),
            std::string::npos);
}

TEST_F(ServeTest, BrowseYearsByKeywordAndEpisodesOnlyForShows) {
  StartServer();
  Json::Value years = Get("/api/movie/browse/year?keyword=200&order=desc").json();
  EXPECT_EQ(years["total"], 3);
  EXPECT_EQ(years["metadatas"][0]["name"], "2005");
  EXPECT_EQ(Get("/api/movie/browse/year?keyword=99").json()["metadatas"][0]["name"], "1999");
  EXPECT_EQ(Get("/api/movie/browse/year?keyword=200&offset=2&limit=5").json()["offset"], 3);
  EXPECT_EQ(Get("/api/movie/browse/year?keyword=1").json()["total"], 2);

  // Movie 1 and show 1 share their id; the show's episodes stay the show's.
  const std::string movie = Get("/api/movie/1?additional=episodes,summary").body;
  EXPECT_EQ(movie.find("Pilot"), std::string::npos) << movie;
  EXPECT_NE(movie.find("Sum A"), std::string::npos);
  EXPECT_NE(Get("/api/tvshow/1?additional=episodes").body.find("Pilot"), std::string::npos);
}

TEST_F(ServeTest, PosterComesWithItsDigestAsETag) {
  const std::string image = AddPoster(1, "Alpha");
  const std::string showImage = AddPoster(6, "Show One");
  ASSERT_FALSE(image.empty());
  StartServer();
  Answer poster = Get("/api/movie/1/poster");
  EXPECT_EQ(poster.status, 200);
  EXPECT_TRUE(poster.body == image) << "the bytes differ from the stored image";
  EXPECT_EQ(poster.header("Content-Type").substr(0, 6), "image/");
  const std::string etag = "\"" + Value("SELECT md5 FROM poster WHERE mapper_id = 1") + "\"";
  EXPECT_EQ(poster.header("ETag"), etag);
  EXPECT_EQ(Get("/api/movie/1/poster", {{"If-None-Match", "W/\"0\", " + etag}}).status, 304);
  EXPECT_EQ(Get("/api/movie/1/poster", {{"If-None-Match", "\"0\""}}).status, 200);
  // An episode without a poster shows its show's; a movie without one has none.
  EXPECT_TRUE(Get("/api/tvshow_episode/1/poster").body == showImage);
  EXPECT_EQ(Get("/api/movie/2/poster").status, 404);
  EXPECT_EQ(Get("/api/movie/99/poster").status, 404);
}

TEST_F(ServeTest, TokensNameTheUserWhoseCollectionsAreServed) {
  kinolot_serve::ServeOptions options;
  options.tokens.Add("token-of-user-1024", "1024");
  options.tokens.Add("token-of-user-2048", "2048");
  options.log = nullptr;
  StartServer(std::move(options));
  const Headers first = {{"Authorization", "Bearer token-of-user-1024"}};
  const Headers second = {{"Authorization", "Bearer token-of-user-2048"}};

  Answer refused = Get("/api/movie");
  EXPECT_EQ(refused.status, 401);
  EXPECT_EQ(refused.header("WWW-Authenticate"), "Bearer");
  EXPECT_EQ(Get("/api/movie", {{"Authorization", "Bearer token-of-user-1025"}}).status, 401);
  EXPECT_EQ(Get("/api/collections", {{"Authorization", "token-of-user-1024"}}).status, 401);
  EXPECT_EQ(Get("/", {}).status, 200);  // the page itself asks for the token

  EXPECT_EQ(Get("/api/collections", first).body, R"({"collections":[{"id":"1","title":"Favs"}]})");
  EXPECT_EQ(Get("/api/collections/1", first).json()["total"], 1);
  EXPECT_EQ(Get("/api/collections/1", second).status, 404);
  EXPECT_EQ(Send("DELETE", "/api/collections/1", "", second).status, 404);

  Answer created = Send("POST", "/api/collections", R"({"title":"Rainy 'days'"})", second);
  ASSERT_EQ(created.status, 200) << created.body;
  const std::string id = created.json()["id"].asString();
  const std::string videos = "/api/collections/" + id + "/videos";
  EXPECT_EQ(Send("POST", videos, R"({"kind":"movie","id":"2"})", second).body, R"({"added":true})");
  EXPECT_EQ(Send("POST", videos, R"({"kind":"tvshow","id":"1"})", second).status, 400);
  EXPECT_EQ(Send("POST", videos, R"({"kind":"movie","id":"99"})", second).status, 404);
  EXPECT_EQ(Send("POST", videos, R"({"kind":"movie","id":"2"})", first).status, 404);
  Json::Value listed = Get("/api/collections/" + id + "?limit=10", second).json();
  EXPECT_EQ(listed["total"], 1);
  EXPECT_EQ(listed["videos"][0]["title"], "beta");
  EXPECT_EQ(Get("/api/collections/" + id + "/search?title=bet", second).json()["total"], 1);
  EXPECT_EQ(Send("DELETE", videos + "/movie/2", "", second).body, R"({"removed":true})");
  EXPECT_EQ(Get("/api/collections/" + id, second).json()["total"], 0);
  EXPECT_EQ(Send("DELETE", "/api/collections/" + id, "", second).status, 200);
  EXPECT_EQ(Get("/api/collections", second).body, R"({"collections":[]})");
}

TEST_F(ServeTest, SixtyFourRequestsAtOnceAllSucceed) {
  kinolot_serve::ServeOptions options;
  options.log = nullptr;
  StartServer(std::move(options));
  std::atomic<int> good{0};
  std::vector<std::thread> clients;
  for (int i = 0; i < 64; ++i) {
    clients.emplace_back([this, i, &good] {
      Answer answer = Get(i % 2 ? "/api/movie?additional=actor,files&limit=3" : "/api/movie/1");
      if (answer.status == 200 && answer.json()["movies"].size() > 0) ++good;
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(good.load(), 64);
}

// Database trouble: whatever statement of a request failed, the answer is
// 503 with Retry-After, never a partial answer or a 404.
void ExpectUnavailable(const Answer& answer, const std::string& what) {
  EXPECT_EQ(answer.status, 503) << what << ": " << answer.body;
  EXPECT_EQ(answer.body, R"({"error":"the database did not answer"})") << what;
  EXPECT_EQ(answer.header("Retry-After"), "2") << what;
}

TEST_F(ServeTest, DatabaseRestartGivesUnavailableThenAnswersAgain) {
  kinolot_serve::ServeOptions options;
  options.log = nullptr;
  StartServer(std::move(options));
  const std::string edit = R"({"title":"beta","tagline":"after","metadata_locked":false})";
  ASSERT_EQ(Send("POST", "/api/movie/2", edit).status, 200);  // opens the shared connection

  StopDatabase();
  Answer down = Get("/api/movie");
  Answer item = Get("/api/movie/1");
  Answer collections = Get("/api/collections/1");
  Answer edited = Send("POST", "/api/movie/2", edit);
  StartDatabase();
  ExpectUnavailable(down, "list");
  ExpectUnavailable(item, "a missing database is not a missing item");
  ExpectUnavailable(collections, "nor a missing collection");
  ExpectUnavailable(edited, "edit");

  EXPECT_EQ(Get("/api/movie").json()["total"], 5);
  EXPECT_EQ(Send("POST", "/api/movie/2", edit).status, 200);
}

TEST_F(ServeTest, AnswerMissingAPieceIsUnavailableNotPartial) {
  kinolot_serve::ServeOptions options;
  options.log = nullptr;
  StartServer(std::move(options));
  ASSERT_EQ(Get("/api/movie/1?additional=actor").json()["movies"][0]["additional"]["actor"].size(),
            2u);
  // The library answers without the actors it could not read; the service
  // must not pass that on as the item's whole truth.
  Exec("ALTER TABLE actor RENAME TO actor_away");
  Answer item = Get("/api/movie/1?additional=actor");
  Answer list = Get("/api/movie?additional=actor");
  Exec("ALTER TABLE actor_away RENAME TO actor");
  ExpectUnavailable(item, "GetInfo without its actors");
  ExpectUnavailable(list, "List without its actors");

  // An item the database could not look for is not known to be absent.
  Exec("ALTER TABLE movie RENAME TO movie_away");
  Answer missing = Get("/api/movie/1");
  Answer poster = Get("/api/movie/1/poster");
  Exec("ALTER TABLE movie_away RENAME TO movie");
  ExpectUnavailable(missing, "GetInfo of an unreadable table");
  ExpectUnavailable(poster, "poster of an unreadable table");
  EXPECT_EQ(Get("/api/movie/1?additional=actor").status, 200);
}

TEST_F(ServeTest, StatementsGiveUpAndTheRequestIsUnavailable) {
  const char* before = std::getenv("PGOPTIONS");
  const std::string saved = before != nullptr ? before : "";
  unsetenv("PGOPTIONS");
  kinolot_serve::LimitDatabaseWaits(1);
  kinolot_serve::ServeOptions options;
  options.log = nullptr;
  StartServer(std::move(options));
  // A table held by another session: without a timeout the request would
  // wait for as long as the lock is held.
  Exec("BEGIN");
  Exec("LOCK TABLE movie IN ACCESS EXCLUSIVE MODE");
  Answer held = Get("/api/movie/1");
  Exec("ROLLBACK");
  ExpectUnavailable(held, "a locked table");
  EXPECT_EQ(Get("/api/movie/1").status, 200);
  StopServer();
  if (before != nullptr) {
    setenv("PGOPTIONS", saved.c_str(), 1);
  } else {
    unsetenv("PGOPTIONS");
  }
  unsetenv("PGCONNECT_TIMEOUT");
}

}  // namespace
}  // namespace kinolot_test
