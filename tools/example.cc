// A tour of Kinolot against a live database: what the README's first command
// runs. Like a media scanner, it stores a small sample library through the
// indexing interface (file data first, then the description found at that
// path) and reads every video back by path; like a web front end, it then
// gathers the movies and episodes in a user's collection and lists the
// library through the metadata API, printing both as JSON. It uses
// only the library's public interface. Storing is an upsert by identity and
// adding to a collection skips members it has, so running it again leaves the
// same library behind.
#include <kinolot/kinolot.h>

#include <json/json.h>

#include <cstdio>
#include <iostream>
#include <string>

using namespace LibKinolot;

namespace {

// Every sample lives under this folder, which no real library uses.
constexpr char kSampleFolder[] = "/kinolot-samples";

template <size_t N>
void SetText(char (&field)[N], const char* text) {
  std::snprintf(field, N, "%s", text);
}

struct Sample {
  std::string path;
  _VIDEO_INFO_ info;
  int64_t filesize;
  float duration;
};

// A movie, two episodes of one show, a home video and a TV recording; the
// names hold the quotes, percent signs and non-ASCII letters that real files
// have.
std::vector<Sample> SampleLibrary() {
  std::vector<Sample> samples;
  auto add = [&samples](const std::string& file, _VIDEO_TYPE_ type, const char* title) {
    Sample sample{std::string(kSampleFolder) + file, _VIDEO_INFO_{}, 0, 0};
    sample.info.type = type;
    SetText(sample.info.title, title);
    samples.push_back(sample);
    return &samples.back().info;
  };

  _VIDEO_INFO_* movie = add("/Movies/It's Me (2009).mkv", VIDEO_TYPE_MOVIE, "It's Me");
  SetText(movie->originally_available, "2009-05-01");
  SetText(movie->tag_line, "Nobody else would do");
  SetText(movie->summary, "A man finds out that he has been himself all along.");
  movie->plus_info["rating"] = 7.4;
  movie->actor = {"Jane Roe", "Émile Dubois"};
  movie->director = {"Ann O'Brien"};
  movie->writer = {"Ann O'Brien", "Kai Lee"};
  movie->gnere = {"Comedy", "Drama"};

  movie = add("/Movies/100% Proof.mkv", VIDEO_TYPE_MOVIE, "100% Proof");
  SetText(movie->originally_available, "2015-11-20");
  SetText(movie->summary, "Two distillers, one recipe, no second chances.");
  movie->actor = {"Jane Roe"};
  movie->gnere = {"Drama"};

  for (int number = 1; number <= 2; ++number) {
    std::string file = "/TV/Señora Detective/S01E0" + std::to_string(number) + ".mkv";
    _VIDEO_INFO_* episode = add(file, VIDEO_TYPE_TVSHOW_EPISODE, "Señora Detective");
    episode->season = 1;
    episode->episode = number;
    SetText(episode->originally_available, number == 1 ? "2020-01-06" : "2020-01-13");
    SetText(episode->summary, number == 1 ? "The case of the missing cat." : "Back\\slash.");
    SetText(episode->tvshow_originally_available, "2020-01-06");
    SetText(episode->tvshow_summary, "A retired judge solves crimes in her village.");
    episode->actor = {"María López"};
  }

  _VIDEO_INFO_* home = add("/Home/Lake 2021.mp4", VIDEO_TYPE_HOME_VIDEO, "Summer at the lake");
  SetText(home->record_time, "2021-07-14 10:30:00");

  _VIDEO_INFO_* recording = add("/Recordings/News.ts", VIDEO_TYPE_TV_RECORD, "Evening News");
  SetText(recording->record_time, "2022-03-01 20:00:00");
  SetText(recording->channel_name, "Channel 5");

  int64_t size = 700LL * 1024 * 1024;
  for (Sample& sample : samples) {
    sample.filesize = size;
    sample.duration = static_cast<float>(size / (1024 * 1024 * 8));
    size += 1536LL * 1024 * 1024;  // the last one passes 4 GiB: sizes keep 64 bits
  }
  return samples;
}

// Stores one sample as a scanner would: the file's technical data, then the
// description found at its path.
bool Store(Sample& sample) {
  _VIDEO_INFO_VIDEO_FILE_ file{};
  file.type = VIDEO_TYPE_VIDEO_FILE;
  file.video_type = sample.info.type;
  SetText(file.path, sample.path.c_str());
  file.filesize = sample.filesize;
  file.duration = sample.duration;
  SetText(file.container_type, "matroska");
  SetText(file.video_codec, "h264");
  SetText(file.audio_codec, "aac");
  file.resolutionX = 1920;
  file.resolutionY = 1080;
  return VideoInfoVideoFileSave(&file) == 0 &&
         VideoInfoSave(sample.path.c_str(), &sample.info) == 0;
}

// Reads a stored sample back by its path and prints one line about it.
bool ReadBack(const Sample& sample) {
  _VIDEO_INFO_ info{};
  info.type = sample.info.type;
  if (VideoInfoGetOne(sample.path.c_str(), &info) != 0) return false;
  _VIDEO_INFO_VIDEO_FILE_ file{};
  file.type = VIDEO_TYPE_VIDEO_FILE;
  if (VideoInfoGetOne(sample.path.c_str(), &file) != 0) return false;
  std::printf("  %-15s %-20s", VideoTypeGetName(info.type), info.title);
  if (info.type == VIDEO_TYPE_TVSHOW_EPISODE) std::printf(" S%02dE%02d", info.season, info.episode);
  std::printf(" %lld bytes, %zu actor(s), locked: %s\n", static_cast<long long>(file.filesize),
              info.actor.size(), VideoInfoIsLock(sample.path.c_str()) ? "yes" : "no");
  return true;
}

// The whole library as the metadata API lists it, one array per kind, every
// piece of additional information attached.
Json::Value LibraryAsJson() {
  VideoMetadataAPI api;
  Json::Value library(Json::objectValue);
  const _VIDEO_TABLE_TYPE_ kinds[] = {VIDEO_TABLE_MOVIE, VIDEO_TABLE_TVSHOW,
                                      VIDEO_TABLE_TVSHOW_EPISODE, VIDEO_TABLE_HOME_VIDEO,
                                      VIDEO_TABLE_TV_RECORD};
  const auto every = static_cast<_VIDEO_ADDITIONAL_>(0x7ff);
  for (_VIDEO_TABLE_TYPE_ kind : kinds) {
    Json::Value answer;
    unsigned long total = 0;
    unsigned long count = 0;
    const char* sortBy = kind == VIDEO_TABLE_TVSHOW_EPISODE ? "sort_time" : "sort_title";
    if (!api.List(kind, 0, 0, every, sortBy, ORDER_DIRECTION_ASC, "", nullptr, nullptr, nullptr,
                  nullptr, "", answer, total, count)) {
      std::fprintf(stderr, "Listing the %s failed\n", gMappingTable[kind].c_str());
      continue;
    }
    const std::string& key = gMappingKeyName[kind];
    library[key] = answer[key];
  }
  return library;
}

// Puts every movie and episode of `library` into the collection
// "Favourites" of user 1024 (created on first use) and returns the
// collection's first page of members, sorted by title, as the metadata API
// lists them (a limit of 0 would list them unsorted).
Json::Value Favourites(const Json::Value& library) {
  VideoMetadataAPI api;
  long collection = api.Collection_Create("1024", "Favourites");
  if (collection < 0) return Json::Value();
  const std::string id = std::to_string(collection);
  for (_VIDEO_TABLE_TYPE_ kind : {VIDEO_TABLE_MOVIE, VIDEO_TABLE_TVSHOW_EPISODE}) {
    for (const Json::Value& item : library[gMappingKeyName[kind]]) {
      api.Collection_AddVideo(id, gMappingTable[kind], item["id"].asString());
    }
  }
  Json::Value answer;
  unsigned long total = 0;
  unsigned long count = 0;
  api.Collection_VideoList(id, 0, 50, VIDEO_ADDITIONAL_NONE, "sort_title", ORDER_DIRECTION_ASC,
                           answer, total, count);
  return answer;
}

}  // namespace

int main() {
  int videos = VideoDBGetCount(VIDEO_TABLE_MAPPER, "id", nullptr, nullptr);
  if (videos < 0) {
    std::fprintf(stderr, "Cannot reach the video_metadata database as user admin (%s)\n",
                 VEXODBErrorGet(nullptr));
    return 1;
  }
  std::printf("The database holds %d mapper row(s) before the tour.\n", videos);

  std::vector<Sample> samples = SampleLibrary();
  std::printf("Storing %zu sample videos under %s:\n", samples.size(), kSampleFolder);
  int failures = 0;
  for (Sample& sample : samples) {
    if (!Store(sample)) {
      std::fprintf(stderr, "  could not store %s\n", sample.path.c_str());
      ++failures;
    }
  }
  std::printf("Reading them back by path:\n");
  for (const Sample& sample : samples) {
    if (!ReadBack(sample)) {
      std::fprintf(stderr, "  could not read %s back\n", sample.path.c_str());
      ++failures;
    }
  }

  const _VIDEO_TABLE_TYPE_ tables[] = {VIDEO_TABLE_MAPPER,     VIDEO_TABLE_MOVIE,
                                       VIDEO_TABLE_TVSHOW,     VIDEO_TABLE_TVSHOW_EPISODE,
                                       VIDEO_TABLE_HOME_VIDEO, VIDEO_TABLE_TV_RECORD,
                                       VIDEO_TABLE_VIDEO_FILE, VIDEO_TABLE_ACTOR};
  std::printf("Rows per table:");
  for (_VIDEO_TABLE_TYPE_ table : tables) {
    std::printf(" %s=%d", gMappingTable[table].c_str(),
                VideoDBGetCount(table, "id", nullptr, nullptr));
  }
  std::printf("\nVacuum: %s\n", VideoDBVacuum() == 0 ? "done" : "failed");

  Json::StreamWriterBuilder writer;
  writer["indentation"] = "  ";
  writer["emitUTF8"] = true;
  std::printf("The collection \"Favourites\" of user 1024:\n");
  Json::Value favourites = Favourites(LibraryAsJson());
  if (favourites.isNull()) ++failures;
  std::cout << Json::writeString(writer, favourites) << std::endl;
  std::printf("The library as the metadata API lists it:\n");
  std::cout << Json::writeString(writer, LibraryAsJson()) << std::endl;

  VideoDBConnClose();
  return failures == 0 ? 0 : 1;
}
