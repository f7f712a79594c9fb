// Scratch files for tests that write to disk: a private directory removed
// with its contents, and whole-file reads and writes.
#ifndef KINOLOT_TESTS_SUPPORT_TEMP_FILES_H_
#define KINOLOT_TESTS_SUPPORT_TEMP_FILES_H_

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace kinolot_test {

// A new directory under /tmp, open to every user (the database server writes
// exported posters as its own user); removed with everything in it.
class TempDir {
 public:
  TempDir() {
    char path[] = "/tmp/kinolot-test-XXXXXX";
    if (mkdtemp(path) != nullptr) path_ = path;
    chmod(path_.c_str(), 0777);
  }
  ~TempDir() { std::filesystem::remove_all(path_); }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  // The directory ("" when it could not be made), or `name` inside it.
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// The bytes of the file at `path`, "" when it cannot be read.
inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// Replaces the file at `path` by `bytes`, readable by every user.
inline void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
  chmod(path.c_str(), 0644);
}

}  // namespace kinolot_test

#endif  // KINOLOT_TESTS_SUPPORT_TEMP_FILES_H_
