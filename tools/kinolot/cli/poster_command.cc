// `kinolot poster set KIND ID URL-or-FILE`: stores a JPEG or PNG image as a
// video's poster, downloaded from an http(s) URL or read from a file.
//
// A database server on this machine imports the image itself (a large
// object) with its own user's rights, so a local file is first copied into a
// fresh world-readable file under /tmp, which such a server can always read;
// the copy is removed afterwards. Any other server receives the image over
// the connection.
#include <fcntl.h>
#include <kinolot/mapping_tables.h>
#include <kinolot/poster_store.h>
#include <kinolot/video_db.h>
#include <kinolot/video_metadata_api.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>

#include "database_server.h"
#include "json_output.h"
#include "library_commands.h"
#include "library_options.h"

namespace kinolot_cli {

using namespace LibKinolot;

namespace {

struct PosterArgs {
  std::string kind;
  std::string id;
  std::string source;
};

bool IsUrl(const std::string& source) {
  return source.rfind("http://", 0) == 0 || source.rfind("https://", 0) == 0;
}

// Images beyond this size are taken for a wrong file rather than read.
constexpr off_t kMaxImageBytes = 16 << 20;

// Reads the regular file `path` whole; false when it cannot be read.
bool ReadFile(const std::string& path, std::string& bytes) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
  if (st.st_size > kMaxImageBytes) Fail(2, path + " is larger than 16 MiB: not a poster");
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

// ".jpg" or ".png" by the image's first bytes; "" for anything else.
std::string ImageExtension(const std::string& bytes) {
  if (bytes.compare(0, 3, "\xFF\xD8\xFF") == 0) return ".jpg";
  if (bytes.compare(0, 8, "\x89PNG\r\n\x1A\n", 8) == 0) return ".png";
  return "";
}

// A file under /tmp that removes itself.
struct TempFile {
  std::string path;
  ~TempFile() {
    if (!path.empty()) unlink(path.c_str());
  }
};

// Writes `bytes` into a new file "/tmp/kinolot-poster-XXXXXX<extension>"
// readable by everyone. False when it cannot be written.
bool WriteReadableCopy(const std::string& bytes, const std::string& extension, TempFile& file) {
  std::string name = "/tmp/kinolot-poster-XXXXXX" + extension;
  int fd = mkstemps(&name[0], static_cast<int>(extension.size()));
  if (fd < 0) return false;
  file.path = name;
  bool written = fchmod(fd, 0644) == 0 &&
                 write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  return close(fd) == 0 && written;
}

std::string DownloadFailure(int code) {
  switch (code) {
    case -3:
      return "the URL does not answer with a JPEG or PNG image";
    case -4:
      return "the image is 1 MiB or larger";
    default:
      return "the download failed";
  }
}

// Leaves `file` naming an image that the database server can read.
void Fetch(const std::string& source, TempFile& file) {
  if (IsUrl(source)) {
    std::vector<std::string> urls = {source};
    int code = DownloadPoster(urls, file.path);
    if (code != 0) {
      file.path.clear();  // nothing is left behind on failure
      Fail(1, "could not fetch " + source + ": " + DownloadFailure(code));
    }
    return;
  }
  std::string bytes;
  if (!ReadFile(source, bytes)) Fail(2, "cannot read " + source);
  std::string extension = ImageExtension(bytes);
  if (extension.empty()) Fail(2, source + " is not a JPEG or PNG image");
  if (!WriteReadableCopy(bytes, extension, file)) Fail(1, "cannot copy the image under /tmp");
}

void Run(const PosterArgs& args) {
  _VIDEO_TABLE_TYPE_ kind = ParseKind(args.kind);
  RequireDatabase();
  VideoMetadataAPI api;
  Json::Value answer;
  api.GetInfo(kind, VIDEO_ADDITIONAL_NONE, args.id, answer);
  const Json::Value& items = answer[gMappingKeyName[kind]];
  if (items.empty()) Fail(1, "no " + KindLabel(kind) + " has the id " + args.id);
  const std::string mapper = items[0]["mapper_id"].asString();

  TempFile image;
  Fetch(args.source, image);
  int stored = ImportPoster(std::stoi(mapper), image.path);
  VideoDBConnClose();
  if (stored != 0) {
    Fail(1, "the database could not store the image (details in the system log)");
  }
  std::string md5;
  api.Poster_MD5(mapper, md5);
  Json::Value result;
  result["type"] = gMappingTable[kind];
  result["id"] = args.id;
  result["mapper_id"] = mapper;
  result["md5"] = md5;
  if (!PrintJson(result)) Fail(1, "could not write the answer to standard output");
}

}  // namespace

void AddPosterCommand(CLI::App& app) {
  auto args = std::make_shared<PosterArgs>();
  CLI::App* group = app.add_subcommand("poster", "Videos' poster images");
  group->require_subcommand(1);
  CLI::App* set = group->add_subcommand("set", "Store an image as a video's poster");
  AddVideoArguments(set, &args->kind, &args->id);
  set->add_option("SOURCE", args->source, "An http:// or https:// URL, or a JPEG or PNG file")
      ->required();
  set->footer(
      "Replaces the video's poster. A download must be a JPEG or PNG image under 1 MiB. The "
      "database server may run on another machine. Prints "
      "{\"type\", \"id\", \"mapper_id\", \"md5\"}.");
  set->callback([args] { Run(*args); });
}

}  // namespace kinolot_cli
