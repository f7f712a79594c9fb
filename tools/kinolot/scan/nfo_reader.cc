// Reading .nfo sidecars with pugixml; see nfo_reader.h.
#include "nfo_reader.h"

#include <pugixml.hpp>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "nfo_text.h"
#include "video_description.h"

namespace kinolot_scan {
namespace {

std::string Trimmed(const char* text) {
  std::string value = text ? text : "";
  size_t begin = value.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) return "";
  size_t end = value.find_last_not_of(" \t\r\n");
  return value.substr(begin, end - begin + 1);
}

std::string Child(const pugi::xml_node& node, const char* name) {
  return Trimmed(node.child_value(name));
}

int Number(const std::string& text, int absent) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos ||
      text.size() > 6) {
    return absent;
  }
  return std::atoi(text.c_str());
}

// Every <name> child as list entries, split where a writer ran several names
// together, or, with `inner`, the <inner> text of each as it stands (actors
// are <actor><name>...</name><role>...</role></actor>).
void Collect(const pugi::xml_node& node, const char* name, const char* inner,
             std::list<std::string>* out) {
  for (pugi::xml_node child : node.children(name)) {
    if (inner) {
      std::string value = Trimmed(child.child_value(inner));
      if (!value.empty()) out->push_back(value);
      continue;
    }
    for (std::string& value : SplitNames(Trimmed(child.child_value()))) {
      out->push_back(std::move(value));
    }
  }
}

// A release date at the start of the text: YYYY-MM-DD.
std::string DateOf(const std::string& text) {
  if (text.size() < 10 || text[4] != '-' || text[7] != '-') return "";
  for (size_t i : {0, 1, 2, 3, 5, 6, 8, 9}) {
    if (text[i] < '0' || text[i] > '9') return "";
  }
  return text.substr(0, 10);
}

// A decimal number ("8.7", "8,7"), or null.
Json::Value Decimal(const std::string& text) {
  std::string digits = text;
  for (char& c : digits) c = c == ',' ? '.' : c;
  char* end = nullptr;
  double value = std::strtod(digits.c_str(), &end);
  if (digits.empty() || end == digits.c_str() || *end != '\0') return Json::Value();
  return value;
}

void AddRating(const std::string& source, const std::string& value, const std::string& votes,
               Json::Value* extra) {
  Json::Value number = Decimal(value);
  if (number.isNull()) return;
  Json::Value& rating = (*extra)["ratings"][source.empty() ? "default" : source];
  rating["value"] = number;
  std::string count;
  for (char c : votes) {
    if (c >= '0' && c <= '9') count += c;
  }
  if (!count.empty() && count.size() < 12) rating["votes"] = Json::Int64(std::atoll(count.c_str()));
}

void AddId(const std::string& source, const std::string& id, Json::Value* extra) {
  if (id.empty()) return;
  std::string key = source;
  if (key.empty()) key = id.compare(0, 2, "tt") == 0 ? "imdb" : "unknown";
  if (!(*extra)["ids"].isMember(key)) (*extra)["ids"][key] = id;
}

// What the library has no column for, into the extra information.
void ReadExtra(const pugi::xml_node& root, NfoInfo* info) {
  Json::Value extra(Json::objectValue);
  for (pugi::xml_node id : root.children("uniqueid")) {
    AddId(Trimmed(id.attribute("type").value()), Trimmed(id.child_value()), &extra);
  }
  AddId("", Child(root, "id"), &extra);
  for (const char* source : {"imdb", "tmdb", "tvdb"}) {
    AddId(source, Child(root, (std::string(source) + "id").c_str()), &extra);
  }
  for (pugi::xml_node rating : root.child("ratings").children("rating")) {
    AddRating(Trimmed(rating.attribute("name").value()), Child(rating, "value"),
              Child(rating, "votes"), &extra);
  }
  pugi::xml_node plain = root.child("rating");
  if (plain && !plain.first_child().empty() && plain.first_child().type() == pugi::node_pcdata) {
    AddRating("", Trimmed(plain.child_value()), Child(root, "votes"), &extra);
  }
  std::string mpaa = Child(root, "mpaa");
  if (mpaa.empty()) mpaa = Child(root, "certification");
  if (!mpaa.empty()) extra["mpaa"] = mpaa;
  int runtime = std::atoi(Child(root, "runtime").c_str());
  if (runtime > 0) extra["runtime"] = runtime;
  for (const char* list : {"studio", "country"}) {
    std::list<std::string> names;
    Collect(root, list, nullptr, &names);
    for (const std::string& name : names) extra[list].append(name);
  }
  if (!extra.empty()) info->extra = extra;
}

void ReadFields(const pugi::xml_node& root, NfoInfo* info) {
  info->title = Child(root, "title");
  info->year = Number(Child(root, "year"), 0);
  for (const char* name : {"premiered", "aired", "releasedate"}) {
    if (info->date.empty()) info->date = DateOf(Child(root, name));
  }
  if (info->year == 0 && !info->date.empty()) info->year = Number(info->date.substr(0, 4), 0);
  info->plot = Child(root, "plot");
  if (info->plot.empty()) info->plot = Child(root, "outline");
  info->tag_line = Child(root, "tagline");
  info->season = Number(Child(root, "season"), -1);
  info->episode = Number(Child(root, "episode"), -1);
  Collect(root, "genre", nullptr, &info->genres);
  Collect(root, "actor", "name", &info->actors);
  Collect(root, "director", nullptr, &info->directors);
  Collect(root, "credits", nullptr, &info->writers);
  Collect(root, "writer", nullptr, &info->writers);
  ReadExtra(root, info);
}

// The file's text in UTF-8 for pugixml, with the encoding it is read in.
// UTF-16 and UTF-32 go as they are; bytes that are not UTF-8 are read as
// Windows-1252, with a warning unless the file declares a single-byte code.
pugi::xml_encoding Decode(std::string* bytes, NfoInfo* info) {
  bool wide = bytes->size() >= 2 && ((*bytes)[0] == '\0' || (*bytes)[1] == '\0' ||
                                     static_cast<unsigned char>((*bytes)[0]) >= 0xFE);
  if (wide) return pugi::encoding_auto;
  if (bytes->compare(0, 3, "\xEF\xBB\xBF") == 0) bytes->erase(0, 3);
  if (!IsUtf8(*bytes)) {
    if (!DeclaresSingleByteEncoding(*bytes)) {
      info->warnings.push_back("not valid UTF-8: read as Windows-1252");
    }
    *bytes = Windows1252ToUtf8(*bytes);
  }
  return pugi::encoding_utf8;
}

}  // namespace

bool ReadNfo(const std::string& path, NfoInfo* info, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (!in.good() && !in.eof()) {
    *error = std::string("not readable: ") + std::strerror(errno);
    return false;
  }
  pugi::xml_encoding encoding = Decode(&bytes, info);
  if (encoding == pugi::encoding_utf8 && IsOnlyLinks(bytes)) {
    Json::Value ids = IdsFromLinks(bytes);
    if (!ids.isNull()) {
      info->extra["ids"] = ids;
      return true;
    }
  }
  pugi::xml_document document;
  pugi::xml_parse_result parsed =
      document.load_buffer(bytes.data(), bytes.size(), pugi::parse_default, encoding);
  if (!parsed) {
    *error = std::string("not readable as XML: ") + parsed.description();
    return false;
  }
  pugi::xml_node root = document.document_element();
  // Some managers wrap an episode's details in <episodes>.
  if (std::strcmp(root.name(), "episodes") == 0) root = root.child("episodedetails");
  static const char* const kRoots[] = {"movie", "episodedetails", "tvshow", "musicvideo", "video"};
  bool known = false;
  for (const char* name : kRoots) known = known || std::strcmp(root.name(), name) == 0;
  if (!known) {
    *error = std::string("unknown root element <") + root.name() + ">";
    return false;
  }
  ReadFields(root, info);
  // A link written after the XML names the identity where the XML does not.
  Json::Value linked = IdsFromLinks(bytes);
  for (const std::string& source : linked.getMemberNames()) {
    if (!info->extra["ids"].isMember(source)) info->extra["ids"][source] = linked[source];
  }
  return true;
}

}  // namespace kinolot_scan
