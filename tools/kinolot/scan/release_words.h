// The words that release and library names carry besides the title:
// resolutions, sources, codecs, audio formats, languages and edition words.
// They are kept here as data, so that the title reader only asks what a word
// is and never lists words itself.
#ifndef KINOLOT_TOOLS_SCAN_RELEASE_WORDS_H_
#define KINOLOT_TOOLS_SCAN_RELEASE_WORDS_H_

#include <string>

namespace kinolot_scan {

enum class WordKind {
  kPlain,  // part of a title
  // Never part of a title: where one stands after the first word, the title
  // is over (1080p, BluRay, x264, DTS, HEVC, Extended, ...).
  kTag,
  // Ends a title only where another tag, a year or a group follows it:
  // language words ("The French Connection" keeps its word, "Title French
  // 1080p" and "Title German 2010" do not).
  kWeakTag,
  // Ends a title only where another tag follows it: words that are also
  // plain English ("Charlotte's Web (2006)", "Title WEB H264").
  kEnglishTag,
};

// What the word `lower` (in lower case, without blanks) is. A word that
// carries a release group behind a dash ("x264-grp") is what its first part
// is.
WordKind KindOfWord(const std::string& lower);

// Whether `lower` opens an edition phrase when "cut", "edition" or "version"
// follows it ("Director's Cut", "Special Edition").
bool OpensEdition(const std::string& lower);

// Whether `lower` is "cut", "edition" or "version".
bool IsEditionNoun(const std::string& lower);

// The year written as exactly four digits from 1900 up to next year, or 0.
int YearOfWord(const std::string& word);

// Lower-case copy of `text` (ASCII letters only; other bytes stay).
std::string LowerAscii(std::string text);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_RELEASE_WORDS_H_
