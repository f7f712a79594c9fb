// Collections on the real server: creating one once per owner and title,
// adding and removing members with the exact statements sent, listing and
// searching members of every kind with their additional information, and
// bad input that must send nothing and change nothing.
#include <gtest/gtest.h>

#include <string>

#include "support/metadata_library.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

class MetadataCollectionTest : public MetadataTest {
 protected:
  // Puts an episode, a home video and a recording beside movie 1 in "Favs".
  void FillFavs() {
    Exec("INSERT INTO collection_map(mapper_id, collection_id) VALUES (7, 1), (10, 1), (13, 1)");
  }
  bool ListFavs(unsigned long offset, unsigned long limit, unsigned int additional = 0) {
    return api_.Collection_VideoList("1", offset, limit,
                                     static_cast<_VIDEO_ADDITIONAL_>(additional), "sort_title",
                                     ORDER_DIRECTION_ASC, answer_, total_, count_);
  }
  bool SearchFavs(const Json::Value& keywords, const std::string& collectionId = "1") {
    return api_.Collection_Search(collectionId, 0, 10, VIDEO_ADDITIONAL_NONE, "sort_title",
                                  ORDER_DIRECTION_ASC, keywords, answer_, total_, count_);
  }
};

TEST_F(MetadataCollectionTest, CreateReturnsTheExistingCollectionOfTheSameOwnerAndTitle) {
  EXPECT_EQ(api_.Collection_Create("1024", "Favs"), 1);
  EXPECT_TRUE(Received("SELECT id FROM collection WHERE uid=1024 and title='Favs' "))
      << testing::PrintToString(Statements());

  long mine = api_.Collection_Create("7", "It's Mine");
  EXPECT_EQ(mine, 2);
  EXPECT_TRUE(Received("INSERT INTO collection(uid, title) VALUES(7, 'It''s Mine') RETURNING id"));
  EXPECT_EQ(api_.Collection_Create("7", "It's Mine"), mine);
  EXPECT_EQ(Value("SELECT count(*) FROM collection WHERE title = 'It''s Mine'"), "1");
  // Another owner's collection of the same title is a collection of its own.
  EXPECT_EQ(api_.Collection_Create("8", "It's Mine"), 3);

  MarkStatements();
  for (const char* uid : {"", "-1", "1 or 1=1", "12x", "99999999999"}) {
    EXPECT_EQ(api_.Collection_Create(uid, "Favs"), -1) << uid;
  }
  EXPECT_EQ(api_.Collection_Create("1024", ""), -1);
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
  EXPECT_EQ(Count("collection"), 3);
}

TEST_F(MetadataCollectionTest, AddAndDeleteChangeTheMapOnceAndSucceedWhenThereIsNothingToDo) {
  MarkStatements();
  EXPECT_TRUE(api_.Collection_AddVideo("1", "movie", "1"));  // already a member
  EXPECT_TRUE(Received("SELECT id FROM collection_map WHERE mapper_id=1 and collection_id=1 "));
  EXPECT_EQ(Count("collection_map"), 1);

  EXPECT_TRUE(api_.Collection_AddVideo("1", "tvshow_episode", "1"));
  EXPECT_TRUE(
      Received("INSERT INTO collection_map(mapper_id, collection_id) VALUES(7, 1) RETURNING id"));
  EXPECT_TRUE(api_.IsExistInCollectionMap("7", "1"));

  EXPECT_TRUE(api_.Collection_DelVideo("1", "tvshow_episode", "1"));
  EXPECT_TRUE(Received("DELETE FROM collection_map WHERE mapper_id=7 AND collection_id=1"))
      << testing::PrintToString(Statements());
  EXPECT_FALSE(api_.IsExistInCollectionMap("7", "1"));
  MarkStatements();
  EXPECT_TRUE(api_.Collection_DelVideo("1", "home_video", "1"));  // never a member
  EXPECT_EQ(Statements().size(), 2u) << "the mapper id and the membership, no delete";
  EXPECT_EQ(Value("SELECT string_agg(mapper_id || ':' || collection_id, ',') FROM collection_map"),
            "1:1");

  // A missing video or collection fails on the server's answer.
  EXPECT_FALSE(api_.Collection_AddVideo("1", "movie", "999"));
  EXPECT_FALSE(api_.Collection_AddVideo("99", "movie", "2"));

  // Shows, other tables and ids that are not decimal send nothing.
  MarkStatements();
  const char* bad[][3] = {{"1", "tvshow", "1"},  {"1", "mapper", "1"},      {"1", "", "1"},
                          {"", "movie", "2"},    {"1", "movie", ""},        {"x", "movie", "2"},
                          {"1", "movie", "'2'"}, {"1", "movie", "2 or 1=1"}};
  for (const auto& args : bad) {
    EXPECT_FALSE(api_.Collection_AddVideo(args[0], args[1], args[2])) << args[1] << args[2];
    EXPECT_FALSE(api_.Collection_DelVideo(args[0], args[1], args[2])) << args[1] << args[2];
  }
  EXPECT_FALSE(api_.IsExistInCollectionMap("1", ""));
  EXPECT_FALSE(api_.IsExistInCollectionMap("1 or 1=1", "1"));
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
  EXPECT_EQ(Count("collection_map"), 1);
}

TEST_F(MetadataCollectionTest,
       ListAndSearchPageMembersOfEveryKindWithTheirOwnAdditionalInformation) {
  FillFavs();
  ASSERT_TRUE(ListFavs(0, 10, VIDEO_ADDITIONAL_ACTOR | VIDEO_ADDITIONAL_VIDEO_FILE));
  const Json::Value& videos = answer_["videos"];
  EXPECT_EQ(Column(videos, "title"), "Alpha,Birthday,Film Night,Show One");
  EXPECT_EQ(Column(videos, "type"), "movie,home_video,tv_record,tvshow_episode");
  EXPECT_EQ(Column(videos, "id"), "1,1,2,1");
  EXPECT_EQ(Column(videos, "mapper_id"), "1,10,13,7");
  EXPECT_EQ(answer_["offset"], Json::Value(Json::UInt64(4)));
  EXPECT_EQ(total_, 4u);
  // The movie and the episode share id 1; each gets the pieces of its own
  // mapper only, and the home video with the same id gets none.
  EXPECT_EQ(videos[0]["additional"]["actor"], Parse(R"(["Ann Lee", "Bob Roe"])"));
  EXPECT_EQ(videos[0]["additional"]["files"].size(), 2u);
  EXPECT_EQ(videos[3]["additional"]["actor"], Parse(R"(["Ann Lee"])"));
  EXPECT_EQ(Column(videos[3]["additional"]["files"], "path"), "/v/show/s01e01.mp4");
  EXPECT_FALSE(videos[1].isMember("additional"));

  ASSERT_TRUE(ListFavs(1, 2));
  EXPECT_EQ(Column(answer_["videos"], "title"), "Birthday,Film Night");
  EXPECT_EQ(answer_["offset"], Json::Value(Json::UInt64(3)));
  EXPECT_EQ(answer_["total"], Json::Value(Json::UInt64(4)));

  // Searching: the criteria are alternatives, and only members are found.
  ASSERT_TRUE(SearchFavs(Parse(R"({"actor": "ann"})")));
  EXPECT_EQ(Column(answer_["videos"], "mapper_id"), "1,7");
  EXPECT_EQ(total_, 2u);
  EXPECT_EQ(answer_["offset"], Json::Value(Json::UInt64(2)));
  ASSERT_TRUE(SearchFavs(Parse(R"({"title": "IR"})")));
  EXPECT_EQ(Column(answer_["videos"], "title"), "Birthday");
  // Movie 2 has Ann Lee too, but is no member.
  ASSERT_TRUE(SearchFavs(Parse(R"({"actor": "ann"})"), "2"));
  EXPECT_EQ(answer_, Page(0, 0, "videos"));
}

TEST_F(MetadataCollectionTest, RefusedListsAndSearchesSendNothing) {
  MarkStatements();
  // No collection or no keywords: the answer and the counts stay as they were.
  answer_ = Json::Value("untouched");
  EXPECT_FALSE(api_.Collection_VideoList("", 0, 10, VIDEO_ADDITIONAL_NONE, "", ORDER_DIRECTION_ASC,
                                         answer_, total_, count_));
  EXPECT_FALSE(SearchFavs(Parse(R"({"title": "a"})"), ""));
  EXPECT_FALSE(SearchFavs(Parse("{}")));
  EXPECT_FALSE(SearchFavs(Parse(R"(["a"])")));
  EXPECT_EQ(answer_, Json::Value("untouched"));
  EXPECT_EQ(total_, 77u);
  EXPECT_EQ(count_, 77u);
  // An id that is not decimal gets the empty answer, without a statement.
  EXPECT_FALSE(SearchFavs(Parse(R"({"title": "a"})"), "1 or 1=1"));
  EXPECT_EQ(answer_, Page(0, 0, "videos"));
  for (const char* id : {"1)", "4294967297"}) {
    answer_ = Json::Value("stale");
    total_ = 77;
    EXPECT_FALSE(api_.Collection_VideoList(id, 0, 10, VIDEO_ADDITIONAL_NONE, "",
                                           ORDER_DIRECTION_ASC, answer_, total_, count_))
        << id;
    EXPECT_EQ(answer_, Page(0, 0, "videos")) << id;
    EXPECT_EQ(total_, 0u);
  }
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
}

}  // namespace
}  // namespace kinolot_test
