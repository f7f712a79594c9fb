// JSON answers on standard output; see json_output.h.
#include "json_output.h"

#include <unistd.h>

#include <cstdio>

namespace kinolot_cli {

std::string JsonText(const Json::Value& value, bool indented) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = indented ? "  " : "";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, value);
}

bool PrintJson(const Json::Value& value) {
  std::string text = JsonText(value, isatty(STDOUT_FILENO) == 1) + "\n";
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() &&
         std::fflush(stdout) == 0;
}

}  // namespace kinolot_cli
