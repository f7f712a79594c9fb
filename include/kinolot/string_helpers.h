// Text helpers for moving between C strings, standard strings and SQL text:
// column values that may be null, values escaped for quoted SQL literals, and
// lists joined and split.
#ifndef KINOLOT_STRING_HELPERS_H_
#define KINOLOT_STRING_HELPERS_H_

#include <string>
#include <vector>

#include "kinolot/export.h"

namespace LibKinolot {

// Returns a copy of `value`, or "" when it is null. Column texts enter the
// library through this, so SQL NULL and absent columns become "".
KINOLOT_EXPORT std::string szValueCheck(const char* value);

// Returns `value` escaped for use between single quotes in SQL on this
// library's connections. Returns "" when the value cannot be escaped: the
// value is dropped, never passed through unescaped.
KINOLOT_EXPORT std::string SQLEscapeString(const std::string& value);

// Returns the items in order with `separator` between each two neighbours;
// "" for no items. A null separator counts as "".
KINOLOT_EXPORT std::string StringImplode(const std::vector<std::string>& items,
                                         const char* separator);

// Returns the tokens of `text` split at any of the characters of
// `delimiters`. Runs of delimiters count as one and leading or trailing ones
// produce nothing, so no token is empty; "" gives no tokens.
KINOLOT_EXPORT std::vector<std::string> StringExplode(const std::string& text,
                                                      const std::string& delimiters);

}  // namespace LibKinolot

#endif  // KINOLOT_STRING_HELPERS_H_
