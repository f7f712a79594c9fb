// JSON answers on standard output, as every kinolot command prints them:
// indented for a person reading a terminal, one compact line for a program
// reading a pipe. Letters beyond ASCII are written as they are (UTF-8).
#ifndef KINOLOT_TOOLS_CLI_JSON_OUTPUT_H_
#define KINOLOT_TOOLS_CLI_JSON_OUTPUT_H_

#include <json/json.h>

#include <string>

namespace kinolot_cli {

// Returns `value` as text, indented by two blanks when `indented`, else on one
// line; either way without a final newline.
std::string JsonText(const Json::Value& value, bool indented);

// Writes `value` and a newline to standard output, indented when standard
// output is a terminal. Returns false when the text could not be written
// (for example a closed pipe).
bool PrintJson(const Json::Value& value);

}  // namespace kinolot_cli

#endif  // KINOLOT_TOOLS_CLI_JSON_OUTPUT_H_
