// Runs a built program of the project through the shell, with standard
// input on /dev/null, and captures its exit status, output and errors.
#ifndef KINOLOT_TESTS_SUPPORT_RUN_PROGRAM_H_
#define KINOLOT_TESTS_SUPPORT_RUN_PROGRAM_H_

#include <json/json.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support/temp_files.h"

namespace kinolot_test {

struct Ran {
  int status = -1;  // the exit status, -1 when the program did not exit
  std::string out, err;
  Json::Value json;  // standard output read as JSON, null when it is not
};

// Runs `program` with `args`, each passed as it stands, and `env` ("NAME=value
// ..." set for the program only) in front.
inline Ran RunProgram(const std::string& program, const std::vector<std::string>& args,
                      const std::string& env = "") {
  TempDir scratch;
  std::string command = "env " + env + " " + program;
  for (std::string arg : args) {
    for (size_t at = arg.find('\''); at != std::string::npos; at = arg.find('\'', at + 4))
      arg.replace(at, 1, "'\\''");
    command += " '" + arg + "'";
  }
  Ran ran;
  FILE* pipe = popen((command + " </dev/null 2>" + (scratch / "err")).c_str(), "r");
  if (pipe == nullptr) return ran;
  char buffer[4096];
  for (size_t n; (n = fread(buffer, 1, sizeof(buffer), pipe)) > 0;) ran.out.append(buffer, n);
  int status = pclose(pipe);
  ran.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  ran.err = ReadFile(scratch / "err");
  Json::Reader().parse(ran.out, ran.json);
  return ran;
}

}  // namespace kinolot_test

#endif  // KINOLOT_TESTS_SUPPORT_RUN_PROGRAM_H_
