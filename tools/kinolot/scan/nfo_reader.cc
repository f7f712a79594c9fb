// Reading .nfo sidecars with pugixml; see nfo_reader.h.
#include "nfo_reader.h"

#include <pugixml.hpp>

#include <cstdlib>
#include <cstring>

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

// Every <name> child as a list entry, or, with `inner`, the <inner> text of
// each (actors are <actor><name>...</name><role>...</role></actor>).
void Collect(const pugi::xml_node& node, const char* name, const char* inner,
             std::list<std::string>* out) {
  for (pugi::xml_node child : node.children(name)) {
    std::string value = Trimmed(inner ? child.child_value(inner) : child.child_value());
    if (!value.empty()) out->push_back(value);
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

}  // namespace

bool ReadNfo(const std::string& path, NfoInfo* info, std::string* error) {
  pugi::xml_document document;
  pugi::xml_parse_result parsed = document.load_file(path.c_str());
  if (!parsed) {
    *error = std::string("not readable as XML: ") + parsed.description();
    return false;
  }
  pugi::xml_node root = document.document_element();
  static const char* const kRoots[] = {"movie", "episodedetails", "tvshow", "musicvideo", "video"};
  bool known = false;
  for (const char* name : kRoots) known = known || std::strcmp(root.name(), name) == 0;
  if (!known) {
    *error = std::string("unknown root element <") + root.name() + ">";
    return false;
  }

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
  return true;
}

}  // namespace kinolot_scan
