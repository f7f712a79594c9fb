// The platform's file services on a plain POSIX system: existence tests and
// byte copies of regular files. Media extended attributes and the media index
// do not exist here, so their operations succeed without doing anything.
#include "kinolot/platform/vexo_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "kinolot/platform/vlib_c.h"

namespace LibKinolot {

namespace {

// Closes a descriptor on every path out of a copy.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const { return fd_; }
  void reset(int fd) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }
  // Closes now and reports failure, which for a written file can be the
  // first sign that its data did not reach the disk.
  bool Close() {
    int fd = fd_;
    fd_ = -1;
    return fd < 0 || ::close(fd) == 0 || errno == EINTR;
  }

 private:
  int fd_;
};

bool WriteAll(int fd, const char* data, size_t length) {
  while (length > 0) {
    ssize_t n = ::write(fd, data, length);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += n;
    length -= static_cast<size_t>(n);
  }
  return true;
}

bool CopyBytes(int from, int to) {
  char buffer[64 * 1024];
  for (;;) {
    ssize_t n = ::read(from, buffer, sizeof(buffer));
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (n == 0) return true;
    if (!WriteAll(to, buffer, static_cast<size_t>(n))) return false;
  }
}

// Creates a new file in the folder of `destination` for an overwriting copy
// to fill; renamed over the destination once complete, it replaces it in one
// step, so neither a failed copy nor a copy of a file onto itself loses the
// old one. The name is short, since the destination's own name may already
// be as long as a file name can be.
int CreateTemporary(const char* destination, std::string* path) {
  static std::atomic<unsigned> sequence{0};
  const char* slash = std::strrchr(destination, '/');
  std::string folder(destination,
                     slash == nullptr ? 0 : static_cast<size_t>(slash - destination) + 1);
  for (int attempt = 0; attempt < 100; ++attempt) {
    char name[64];
    std::snprintf(name, sizeof(name), ".kinolot-copy.%ld.%u", static_cast<long>(::getpid()),
                  sequence.fetch_add(1));
    *path = folder + name;
    int fd = ::open(path->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  return -1;
}

}  // namespace

int IsFileExist(const char* path) {
  if (path == nullptr || *path == '\0') return 0;
  return ::access(path, F_OK) == 0 ? 1 : 0;
}

int VEXOFileCopy(const char* source, const char* destination, const VEXO_FILE_COPY_OPT* options) {
  if (source == nullptr || destination == nullptr || *source == '\0' || *destination == '\0') {
    VLIBCErrSet(VLIBC_ERR_BAD_PARAMETER);
    return -1;
  }
  VEXO_FILE_COPY_OPT opt = {};
  if (options != nullptr) opt = *options;

  Descriptor in(::open(source, O_RDONLY | O_CLOEXEC));
  if (in.get() < 0) return -1;
  struct stat st;
  if (::fstat(in.get(), &st) != 0 || !S_ISREG(st.st_mode)) return -1;

  // Without overwrite the destination is created in place and must not exist;
  // with it, the copy goes to a temporary file that replaces the destination.
  std::string written = destination;
  Descriptor out;
  if (opt.overwrite) {
    out.reset(CreateTemporary(destination, &written));
  } else {
    out.reset(::open(destination, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  }
  if (out.get() < 0) return -1;

  bool ok = CopyBytes(in.get(), out.get());
  if (ok && opt.keepMode) ok = ::fchmod(out.get(), st.st_mode & 07777) == 0;
  if (ok && opt.keepTimes) {
    // After the last write, which would otherwise set the times anew.
    struct timespec times[2] = {st.st_atim, st.st_mtim};
    ok = ::futimens(out.get(), times) == 0;
  }
  if (ok && opt.syncData) ok = ::fsync(out.get()) == 0;
  ok = out.Close() && ok;
  if (ok && opt.overwrite) ok = ::rename(written.c_str(), destination) == 0;
  if (!ok) {
    // Only a file this call created is removed: the O_EXCL open guarantees
    // `written` did not exist before.
    ::unlink(written.c_str());
    return -1;
  }
  return 0;
}

int VEXOEARemove(const char* /*path*/, int /*index*/, int /*flags*/) {
  return 0;
}

int VLIBVexoIndexAdd(const char* /*path*/, int /*action*/) {
  return 0;
}

int VLIBVexoFileIndexAdd(const char* /*path*/, int /*action*/, int /*kind*/) {
  return 0;
}

}  // namespace LibKinolot
