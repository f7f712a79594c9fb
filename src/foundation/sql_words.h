// Checks on texts that callers hand in and that stand unquoted in SQL: names
// of tables and columns, and values that a caller has already made into SQL
// literals. Whatever fails these checks never reaches a statement.
#ifndef KINOLOT_FOUNDATION_SQL_WORDS_H_
#define KINOLOT_FOUNDATION_SQL_WORDS_H_

#include <string>

namespace LibKinolot {

// True for a plain SQL name: ASCII letters, digits, '_' and '.' (for
// "table.column"), at least one character.
bool IsPlainSqlName(const std::string& text);

// True for a decimal number (digits only, at least one) or a single-quoted
// literal whose inner quotes are all doubled ('O''Brien'). Such a value can
// stand after "=" without ending the condition it belongs to.
bool IsSqlLiteral(const std::string& text);

// True for the name of one of the four name list tables: "actor",
// "director", "writer" and "gnere", each keeping its names in a column of
// its own name.
bool IsNameListTable(const std::string& table);

}  // namespace LibKinolot

#endif  // KINOLOT_FOUNDATION_SQL_WORDS_H_
