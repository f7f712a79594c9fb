// Fuzzes the edit form of the front end: VideoMetadataAPI::Edit, on an item
// (merging it when its identity becomes another item's) or on a file (re-saved
// through the indexing interface with the form's values), against the
// cluster that scripts/fuzz.sh starts.
//
// Every input starts from the same small library (two movies, two shows
// with episodes, a home video, a recording, a collection), put back by SQL
// from a copy kept in the schema "fuzz_seed". After the edit, whatever it
// returned, nothing may be stranded: no mapper row without its video or
// file, no show without an episode, no file without its video, and no file
// lost.
//
// Input: byte 0 picks the kind (1 to 5) and whether an item or a file is
// edited, byte 1 which one, byte 2 which of the five optional texts are
// absent (null); the rest, split at NUL bytes, fills the form's texts in the
// order of Edit's arguments.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz_database.h"
#include "kinolot/video_info_store.h"
#include "kinolot/video_metadata_api.h"

using namespace LibKinolot;
using kinolot_fuzz::Check;

namespace {

const char kTables[] =
    "mapper, movie, tvshow, tvshow_episode, home_video, tv_record, video_file, poster, summary, "
    "plus_info, actor, director, writer, gnere, collection, collection_map";

void StoreFile(const char* path, _VIDEO_TYPE_ kind) {
  _VIDEO_INFO_VIDEO_FILE_ file;
  file.type = VIDEO_TYPE_VIDEO_FILE;
  file.video_type = kind;
  snprintf(file.path, sizeof(file.path), "%s", path);
  Check(VideoInfoVideoFileSave(&file) == 0, "seeding a file failed");
}

void StoreVideo(const char* path, _VIDEO_INFO_ info) {
  StoreFile(path, info.type);
  Check(VideoInfoSave(path, &info) == 0, "seeding a video failed");
}

_VIDEO_INFO_ Video(_VIDEO_TYPE_ type, const char* title, const char* date) {
  _VIDEO_INFO_ info;
  info.type = type;
  snprintf(info.title, sizeof(info.title), "%s", title);
  if (type == VIDEO_TYPE_HOME_VIDEO || type == VIDEO_TYPE_TV_RECORD) {
    snprintf(info.record_time, sizeof(info.record_time), "%s", date);
  } else if (type == VIDEO_TYPE_TVSHOW_EPISODE) {
    snprintf(info.tvshow_originally_available, sizeof(info.tvshow_originally_available), "%s",
             date);
  } else {
    snprintf(info.originally_available, sizeof(info.originally_available), "%s", date);
  }
  snprintf(info.summary, sizeof(info.summary), "About %s", title);
  info.plus_info["source"] = title;
  info.actor = {"Ann", "Bob"};
  return info;
}

_VIDEO_INFO_ Episode(const char* show, const char* date, int season, int episode) {
  _VIDEO_INFO_ info = Video(VIDEO_TYPE_TVSHOW_EPISODE, show, date);
  info.season = season;
  info.episode = episode;
  snprintf(info.tvshow_summary, sizeof(info.tvshow_summary), "The show %s", show);
  info.tvshow_plus_info["show"] = show;
  return info;
}

// Builds the library once through the indexing interface and keeps a copy
// of every table; later inputs get it back from the copy.
kinolot_fuzz::FuzzDatabase& Seeded() {
  static kinolot_fuzz::FuzzDatabase* database = [] {
    auto* db = new kinolot_fuzz::FuzzDatabase;
    Check(db->Open(), "the edit target needs the cluster that scripts/fuzz.sh starts");
    // The cluster is a throwaway one: commits need not wait for the disk.
    db->Exec("ALTER DATABASE video_metadata SET synchronous_commit = off");
    db->Exec(std::string("TRUNCATE ") + kTables + " RESTART IDENTITY CASCADE");
    StoreVideo("/v/alpha.mkv", Video(VIDEO_TYPE_MOVIE, "Alpha", "2001-02-03"));
    StoreVideo("/v/alpha-2.mkv", Video(VIDEO_TYPE_MOVIE, "Alpha", "2001-02-03"));
    StoreVideo("/v/beta.mkv", Video(VIDEO_TYPE_MOVIE, "Beta", "2003"));
    StoreVideo("/v/one/1x1.mkv", Episode("One", "2010-01-01", 1, 1));
    StoreVideo("/v/one/1x2.mkv", Episode("One", "2010-01-01", 1, 2));
    StoreVideo("/v/two/1x2.mkv", Episode("Two", "2010-05-05", 1, 2));
    StoreVideo("/v/two/2x1.mkv", Episode("Two", "2010-05-05", 2, 1));
    StoreVideo("/v/party.mkv", Video(VIDEO_TYPE_HOME_VIDEO, "Party", "2012-06-01 10:00:00"));
    StoreVideo("/v/news.ts", Video(VIDEO_TYPE_TV_RECORD, "News", "2020-01-01 20:00:00"));
    VideoMetadataAPI api;
    std::string favourites = std::to_string(api.Collection_Create("1024", "Favourites"));
    for (const char* movie : {"1", "2"}) api.Collection_AddVideo(favourites, "movie", movie);
    for (const char* episode : {"1", "3"}) {
      api.Collection_AddVideo(favourites, "tvshow_episode", episode);
    }
    db->Exec("DROP SCHEMA IF EXISTS fuzz_seed CASCADE; CREATE SCHEMA fuzz_seed");
    std::string copy;
    std::string tables = kTables;
    for (size_t start = 0; start < tables.size();) {
      size_t end = tables.find(", ", start);
      std::string table = tables.substr(start, end - start);
      copy += "CREATE TABLE fuzz_seed." + table + " AS SELECT * FROM " + table + ";";
      start = end == std::string::npos ? tables.size() : end + 2;
    }
    db->Exec(copy);
    return db;
  }();
  return *database;
}

void Restore(kinolot_fuzz::FuzzDatabase& db) {
  static const std::string sql = [] {
    std::string tables = kTables;
    // Deleting the mappers and collections takes every other row along by
    // the schema's cascades, far faster than emptying the tables anew.
    std::string text = "BEGIN; DELETE FROM collection; DELETE FROM mapper;";
    for (size_t start = 0; start < tables.size();) {
      size_t end = tables.find(", ", start);
      std::string table = tables.substr(start, end - start);
      text += "INSERT INTO " + table + " SELECT * FROM fuzz_seed." + table + ";";
      text += "SELECT setval(pg_get_serial_sequence('" + table +
              "', 'id'), (SELECT coalesce(max(id), 0) + 1 FROM " + table + "), false);";
      start = end == std::string::npos ? tables.size() : end + 2;
    }
    return text + "COMMIT;";
  }();
  db.Exec(sql);
}

void CheckNothingStranded(kinolot_fuzz::FuzzDatabase& db, const std::string& files) {
  Check(db.Value("SELECT count(*) FROM mapper m WHERE NOT EXISTS (SELECT 1 FROM movie WHERE "
                 "mapper_id = m.id) AND NOT EXISTS (SELECT 1 FROM tvshow WHERE mapper_id = m.id) "
                 "AND NOT EXISTS (SELECT 1 FROM tvshow_episode WHERE mapper_id = m.id) AND NOT "
                 "EXISTS (SELECT 1 FROM home_video WHERE mapper_id = m.id) AND NOT EXISTS (SELECT "
                 "1 FROM tv_record WHERE mapper_id = m.id) AND NOT EXISTS (SELECT 1 FROM "
                 "video_file WHERE mapper_id = m.id)") == "0",
        "a mapper row without its video or file");
  Check(db.Value("SELECT count(*) FROM tvshow s WHERE NOT EXISTS (SELECT 1 FROM tvshow_episode "
                 "WHERE tvshow_id = s.id)") == "0",
        "a show without episodes");
  Check(db.Value("SELECT count(*) FROM video_file f WHERE NOT EXISTS (SELECT 1 FROM movie WHERE "
                 "mapper_id = f.mapper_id) AND NOT EXISTS (SELECT 1 FROM tvshow_episode WHERE "
                 "mapper_id = f.mapper_id) AND NOT EXISTS (SELECT 1 FROM home_video WHERE "
                 "mapper_id = f.mapper_id) AND NOT EXISTS (SELECT 1 FROM tv_record WHERE "
                 "mapper_id = f.mapper_id)") == "0",
        "a file without its video");
  Check(db.Value("SELECT string_agg(path, ',' ORDER BY path) FROM video_file") == files,
        "a file was lost");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  kinolot_fuzz::FuzzDatabase& db = Seeded();
  static const std::string files =
      db.Value("SELECT string_agg(path, ',' ORDER BY path) FROM fuzz_seed.video_file");
  Restore(db);

  _VIDEO_TABLE_TYPE_ type = static_cast<_VIDEO_TABLE_TYPE_>(1 + data[0] % 5);
  bool byFile = data[0] & 0x80;
  // Ids 1 to 4 exist for most kinds; 0 and 5 to 7 name nothing.
  std::string id = std::to_string(data[1] % 8);
  std::vector<std::string> texts(17);
  size_t part = 0;
  for (size_t i = 3; i < size && part < texts.size(); ++i) {
    if (data[i] == 0) {
      ++part;
    } else {
      texts[part].push_back(static_cast<char>(data[i]));
    }
  }
  // The optional texts: date, plus_info, tvshow_plus_info, tvshow_summary
  // and tvshow_date, absent when their bit is set.
  auto optional = [&](int bit, const std::string& text) {
    return data[2] & (1 << bit) ? nullptr : text.c_str();
  };
  VideoMetadataAPI api;
  api.Edit(type, byFile ? "" : id, byFile ? id : "", texts[0], texts[1], optional(0, texts[2]),
           texts[3], texts[4], texts[5], texts[6], texts[7], texts[8], texts[9], texts[10],
           texts[11], texts[12], optional(1, texts[13]), optional(2, texts[14]),
           optional(3, texts[15]), optional(4, texts[16]));
  CheckNothingStranded(db, files);
  return 0;
}
