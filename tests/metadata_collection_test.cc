// Collections on the real server: one collection per owner and title,
// members added and removed with the exact statements sent, members of every
// kind listed and searched with their own additional information, and bad
// input that must send nothing and change nothing.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/metadata_library.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

class MetadataCollectionTest : public MetadataTest {
 protected:
  bool ListFavs(unsigned long offset, unsigned long limit, unsigned int additional = 0,
                const std::string& id = "1") {
    return api_.Collection_VideoList(id, offset, limit, static_cast<_VIDEO_ADDITIONAL_>(additional),
                                     "sort_title", ORDER_DIRECTION_ASC, answer_, total_, count_);
  }
  bool SearchFavs(const char* keywords, const std::string& id = "1") {
    return api_.Collection_Search(id, 0, 10, VIDEO_ADDITIONAL_NONE, "sort_title",
                                  ORDER_DIRECTION_ASC, Parse(keywords), answer_, total_, count_);
  }
};

TEST_F(MetadataCollectionTest, CreateAddAndDeleteChangeThingsOnce) {
  EXPECT_EQ(api_.Collection_Create("1024", "Favs"), 1);
  EXPECT_TRUE(Received("SELECT id FROM collection WHERE uid=1024 and title='Favs' "));
  EXPECT_EQ(api_.Collection_Create("7", "It's Mine"), 2);
  EXPECT_TRUE(Received("INSERT INTO collection(uid, title) VALUES(7, 'It''s Mine') RETURNING id"));
  EXPECT_EQ(api_.Collection_Create("7", "It's Mine"), 2);
  EXPECT_EQ(api_.Collection_Create("8", "It's Mine"), 3) << "another owner's is its own";

  EXPECT_TRUE(api_.Collection_AddVideo("1", "movie", "1"));  // already a member
  EXPECT_TRUE(api_.Collection_AddVideo("1", "tvshow_episode", "1"));
  EXPECT_TRUE(
      Received("INSERT INTO collection_map(mapper_id, collection_id) VALUES(7, 1) RETURNING id"));
  EXPECT_TRUE(api_.IsExistInCollectionMap("7", "1"));
  EXPECT_TRUE(api_.Collection_DelVideo("1", "tvshow_episode", "1"));
  EXPECT_TRUE(Received("DELETE FROM collection_map WHERE mapper_id=7 AND collection_id=1"));
  EXPECT_FALSE(api_.IsExistInCollectionMap("7", "1"));
  MarkStatements();
  EXPECT_TRUE(api_.Collection_DelVideo("1", "home_video", "1"));  // never a member
  EXPECT_EQ(Statements().size(), 2u) << "the mapper id and the membership, no delete";
  // A missing video or collection fails on the server's answer.
  EXPECT_FALSE(api_.Collection_AddVideo("1", "movie", "999"));
  EXPECT_FALSE(api_.Collection_AddVideo("99", "movie", "2"));

  // Shows, other tables, empty titles and ids that are not decimal or do not
  // fit 32 bits send nothing.
  MarkStatements();
  for (const char* uid : {"", "1 or 1=1", "99999999999"}) {
    EXPECT_EQ(api_.Collection_Create(uid, "Favs"), -1) << uid;
  }
  EXPECT_EQ(api_.Collection_Create("1024", ""), -1);
  const char* bad[][3] = {{"1", "tvshow", "1"},  {"1", "mapper", "1"},      {"1", "", "1"},
                          {"", "movie", "2"},    {"1", "movie", ""},        {"x", "movie", "2"},
                          {"1", "movie", "'2'"}, {"1", "movie", "2 or 1=1"}};
  for (const auto& args : bad) {
    EXPECT_FALSE(api_.Collection_AddVideo(args[0], args[1], args[2])) << args[1] << args[2];
    EXPECT_FALSE(api_.Collection_DelVideo(args[0], args[1], args[2])) << args[1] << args[2];
  }
  EXPECT_FALSE(api_.IsExistInCollectionMap("1 or 1=1", "1"));
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
  EXPECT_EQ(std::make_pair(Count("collection"), Count("collection_map")), std::make_pair(3l, 1l));
}

TEST_F(MetadataCollectionTest, OwnersListAndDeleteOnlyTheirOwnCollections) {
  ASSERT_EQ(api_.Collection_Create("7", "zebra"), 2);
  ASSERT_EQ(api_.Collection_Create("7", "Apes"), 3);
  ASSERT_EQ(api_.Collection_Create("8", "Other's"), 4);

  Json::Value mine;
  ASSERT_TRUE(api_.Collection_List("7", mine));
  ASSERT_EQ(mine.size(), 2u) << "another owner's collection is not listed";
  EXPECT_EQ(mine[0]["title"].asString(), "Apes") << "by title, ignoring case";
  EXPECT_EQ(mine[1]["id"].asString(), "2");
  Json::Value none = "untouched";
  ASSERT_TRUE(api_.Collection_List("9", none));
  EXPECT_TRUE(none.isArray() && none.empty());

  EXPECT_EQ(api_.Collection_Delete("7", "4"), 0) << "user 8's collection stays";
  EXPECT_EQ(api_.Collection_Delete("7", "2"), 1);
  EXPECT_EQ(api_.Collection_Delete("7", "2"), 0) << "already gone";

  MarkStatements();
  Json::Value kept = "untouched";
  EXPECT_FALSE(api_.Collection_List("7 or 1=1", kept));
  EXPECT_EQ(kept.asString(), "untouched");
  EXPECT_EQ(api_.Collection_Delete("7", "4 or 1=1"), -1);
  EXPECT_EQ(api_.Collection_Delete("", "4"), -1);
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
  EXPECT_EQ(Count("collection"), 3l);
}

TEST_F(MetadataCollectionTest, MembersOfEveryKindWithTheirOwnAdditionalInformation) {
  Exec("INSERT INTO collection_map(mapper_id, collection_id) VALUES (7, 1), (10, 1), (13, 1)");
  ASSERT_TRUE(ListFavs(0, 10, VIDEO_ADDITIONAL_ACTOR | VIDEO_ADDITIONAL_VIDEO_FILE));
  const Json::Value& videos = answer_["videos"];
  EXPECT_EQ(Column(videos, "title"), "Alpha,Birthday,Film Night,Show One");
  EXPECT_EQ(Column(videos, "type"), "movie,home_video,tv_record,tvshow_episode");
  EXPECT_EQ(Column(videos, "id"), "1,1,2,1");
  EXPECT_EQ(videos[2], Parse(R"({"id": "2", "title": "Film Night", "time": "2021-02-02 21:00:00",
    "type": "tv_record", "mapper_id": "13"})"));
  EXPECT_EQ(std::make_pair(answer_["offset"].asUInt(), total_), std::make_pair(4u, 4ul));
  // The movie, the episode and the home video share id 1; each gets the
  // pieces of its own mapper only.
  EXPECT_EQ(videos[0]["additional"]["actor"], Parse(R"(["Ann Lee", "Bob Roe"])"));
  EXPECT_EQ(videos[0]["additional"]["files"].size(), 2u);
  EXPECT_EQ(videos[3]["additional"]["actor"], Parse(R"(["Ann Lee"])"));
  EXPECT_EQ(Column(videos[3]["additional"]["files"], "path"), "/v/show/s01e01.mp4");
  EXPECT_FALSE(videos[1].isMember("additional"));

  ASSERT_TRUE(ListFavs(1, 2));
  EXPECT_EQ(Column(answer_["videos"], "title"), "Birthday,Film Night");
  EXPECT_EQ(std::make_pair(answer_["offset"].asUInt(), answer_["total"].asUInt()),
            std::make_pair(3u, 4u));

  // Searching: the criteria are alternatives, and only members are found,
  // each once however many of its names match.
  ASSERT_TRUE(SearchFavs(R"({"actor": "e"})"));
  EXPECT_EQ(Column(answer_["videos"], "mapper_id"), "1,7");
  EXPECT_EQ(std::make_pair(answer_["offset"].asUInt(), total_), std::make_pair(2u, 2ul));
  ASSERT_TRUE(SearchFavs(R"({"title": "IR", "actor": "nobody"})"));
  EXPECT_EQ(Column(answer_["videos"], "title"), "Birthday");
  ASSERT_TRUE(SearchFavs(R"({"actor": "ann"})", "2"));  // movie 2 has Ann Lee too
  EXPECT_EQ(answer_, Page(0, 0, "videos"));
}

TEST_F(MetadataCollectionTest, SortKeysAndCriteriaAreTakenAsNamesAndLiteralsOnly) {
  Exec("INSERT INTO collection_map(mapper_id, collection_id) VALUES (7, 1), (10, 1), (13, 1)");
  // Sort times sort by year first; a home video's year is its recording's.
  Exec("UPDATE movie SET sort_time = '2030-01-01' WHERE id = 1");
  auto list = [&](const std::string& sortBy) {
    return api_.Collection_VideoList("1", 0, 10, VIDEO_ADDITIONAL_NONE, sortBy, ORDER_DIRECTION_ASC,
                                     answer_, total_, count_);
  };
  ASSERT_TRUE(list("sort_time"));
  EXPECT_EQ(Column(answer_["videos"], "title"), "Alpha,Show One,Birthday,Film Night");
  // A sort key that is not a plain name sorts by title; an unknown one fails.
  ASSERT_TRUE(list("x; DELETE FROM mapper"));
  EXPECT_EQ(Column(answer_["videos"], "title"), "Alpha,Birthday,Film Night,Show One");
  EXPECT_FALSE(list("no_such_column"));

  // Criteria names that are not plain names, and a criterion too long for
  // its buffer (its quote would be left open), are left out.
  Json::Value criteria;
  criteria["title"] = "a";
  criteria["1=1) OR (true"] = "x";
  criteria["actor"] = std::string(1100, 'a') + " OR true OR ";
  ASSERT_TRUE(SearchFavs(criteria.toStyledString().c_str()));
  EXPECT_EQ(Column(answer_["videos"], "title"), "Alpha,Birthday");
  for (const char* text : {"%", "_", kAwkward}) {
    criteria = Json::Value();
    criteria["actor"] = text;
    ASSERT_TRUE(SearchFavs(criteria.toStyledString().c_str())) << text;
    EXPECT_EQ(total_, 0u) << "no match is no row: " << text;
  }
  EXPECT_FALSE(SearchFavs(R"({"no_such_column": "x"})"));
  MarkStatements();
  EXPECT_FALSE(SearchFavs(R"({"a b": "x"})"));
  EXPECT_TRUE(Statements().empty()) << "without a usable criterion nothing is sent";
  EXPECT_EQ(Count("mapper"), 13);
}

TEST_F(MetadataCollectionTest, RefusedListsAndSearchesSendNothing) {
  // No collection or no keywords: the answer and the counts stay as they were.
  answer_ = Json::Value("untouched");
  EXPECT_FALSE(ListFavs(0, 10, 0, ""));
  EXPECT_FALSE(SearchFavs(R"({"title": "a"})", ""));
  EXPECT_FALSE(SearchFavs("{}"));
  EXPECT_FALSE(SearchFavs(R"(["a"])"));
  EXPECT_EQ(answer_, Json::Value("untouched"));
  EXPECT_EQ(std::make_pair(total_, count_), std::make_pair(77ul, 77ul));
  // An id that is not decimal or beyond 32 bits gets the empty answer.
  EXPECT_FALSE(SearchFavs(R"({"title": "a"})", "1 or 1=1"));
  EXPECT_EQ(answer_, Page(0, 0, "videos"));
  for (const char* id : {"1)", "4294967297"}) {
    answer_ = Json::Value("stale");
    EXPECT_FALSE(ListFavs(0, 10, 0, id));
    EXPECT_EQ(answer_, Page(0, 0, "videos")) << id;
  }
  EXPECT_EQ(total_, 0u);
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
}

}  // namespace
}  // namespace kinolot_test
