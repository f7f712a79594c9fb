// Reading the title and year out of one file or folder name, by rules
// applied in a stated order (see ReadTitle). The words it skips are those of
// release_words.h; the name is cut into words by name_tokens.h.
#ifndef KINOLOT_TOOLS_SCAN_TITLE_READER_H_
#define KINOLOT_TOOLS_SCAN_TITLE_READER_H_

#include <string>
#include <vector>

#include "name_tokens.h"

namespace kinolot_scan {

// The title in `name`, with its year in `year` (0 when there is none). Groups
// and dashes in front of the title ("[GRP]", "[h265 - HEVC]") are not part
// of it. The title ends, in this order of rules, at a bracketed group other
// than a country ("(US)"), at a release tag, at a weak tag followed by a tag,
// a year or a group, at an edition phrase ("Director's Cut"), or at "aka".
// The year is taken in brackets after the first word, else the last one alone
// inside the title, else one among the tags (or behind "aka ...") right after
// it. `keep_first` keeps a tag or year in first place as part of the title
// ("1917", "2012"); without it a name of nothing but tags gives "". Never
// fails.
std::string ReadTitle(const std::string& name, int* year, bool keep_first);

// The tokens [begin, end) joined by blanks (a group in parentheses), without
// separators at either end; a closing acronym keeps its dot.
std::string JoinTitle(const std::vector<NameToken>& tokens, size_t begin, size_t end);

// `text` without blanks, dots, underscores, dashes, commas or colons at
// either end.
std::string TrimSeparators(const std::string& text);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_TITLE_READER_H_
