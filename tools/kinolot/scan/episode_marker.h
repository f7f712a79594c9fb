// Where a name says which episode it is: the markers people write into file
// names ("S01E02", "1x02", "Season 1 Episode 2"), the numbers that stand for
// an episode where the layout already says "show" ("117" in a TV release,
// "05" or "203" inside a season folder), and the season folders themselves.
// Pure text work on names; positions are byte offsets into the name given.
#ifndef KINOLOT_TOOLS_SCAN_EPISODE_MARKER_H_
#define KINOLOT_TOOLS_SCAN_EPISODE_MARKER_H_

#include <string>

namespace kinolot_scan {

struct EpisodeMarker {
  size_t begin = 0, end = 0;  // the marker is name[begin, end)
  int season = 0, episode = 0;
};

// Finds the first full marker (season and episode) in `name`. The rules, in
// the order they are tried at each place, the earliest place winning:
//   1. "S01E02", "s1e2", "S01.E02", "S02xE03", "s01x01", "S6.Ep5", "S2017E368";
//   2. "1x02", "5x9";
//   3. "Season 1 Episode 2".
// Each must stand apart from the letters and digits around it, so that
// "1920x1080" is none. Returns false, leaving `marker` alone, when none.
bool FindEpisodeMarker(const std::string& name, EpisodeMarker* marker);

// A three- or four-digit number standing for season and episode
// ("show.name.117.hdtv" for S1E17, "1012" for S10E12; never a year), taken
// only behind a title, before a release tag, in a name that carries a
// television source. Returns false when there is none.
bool FindCombinedNumber(const std::string& name, EpisodeMarker* marker);

// The episode number of a fan-subbed release ("[Group] Show - 05 [1080p]",
// "[Group]_Show_-_012v2", "[Group] Show - 05 - Title", "Show - 05 [720p]"):
// the number behind " - ", in a name led by a bracketed group and then at
// the end or before a group or the episode's title, or else right before a
// square group. Season 1, as such releases count through a show. Returns
// false when the name is not of that form.
bool FindAbsoluteNumber(const std::string& name, EpisodeMarker* marker);

// The episode of a name inside a folder of season `season` (-1 when the
// layout says "show" without naming a season), tried in this order: "E02",
// "Ep 2" or "Episode 2"; a three- or four-digit number led by the season
// ("Show 203" in season 2); a number first ("02 - Title"); the first number
// standing alone ("Show 05"). The marker's season is left 0. Returns false
// when the name holds no number.
bool FindEpisodeNumber(const std::string& name, int season, EpisodeMarker* marker);

// The position after further episode numbers of a double episode ("E03",
// "-E03", "-03") that follow a marker at `at`; `at` itself when there are none.
size_t SkipFurtherEpisodes(const std::string& name, size_t at);

// The season a folder's name stands for: "Season 1", "Series 02", "S03",
// "Staffel 2", " Season 02" (blanks around are ignored), "Show Season 2"
// (then `show` gets "Show"; else it is cleared); "Specials" is season 0.
// Returns -1 for any other name.
int SeasonOfFolder(const std::string& folder, std::string* show);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_EPISODE_MARKER_H_
