// Owners of one descriptor and of one directory stream.
#ifndef KELP_JNI_FD_H
#define KELP_JNI_FD_H

#include <dirent.h>
#include <unistd.h>

#include <cerrno>

namespace kelp {

// Owns one file descriptor and closes it on destruction. Thread-compatible.
class UniqueFd final {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  ~UniqueFd() { reset(); }
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  // Gives up ownership, for descriptors handed to a caller.
  int release() {
    int fd = fd_;
    fd_ = -1;
    return fd;
  }
  // Closes the owned descriptor (keeping errno) and takes |fd|.
  void reset(int fd = -1) {
    if (fd_ >= 0) {
      int saved = errno;
      ::close(fd_);
      errno = saved;
    }
    fd_ = fd;
  }
  // Closes now and reports close's own result.
  int close() {
    int fd = release();
    return fd >= 0 ? ::close(fd) : 0;
  }

 private:
  int fd_ = -1;
};

// Owns one directory stream; closedir (which closes its descriptor) on
// destruction. Thread-compatible.
class UniqueDir final {
 public:
  explicit UniqueDir(DIR* dir) : dir_(dir) {}
  ~UniqueDir() {
    if (dir_ != nullptr) {
      int saved = errno;
      ::closedir(dir_);
      errno = saved;
    }
  }
  UniqueDir(const UniqueDir&) = delete;
  UniqueDir& operator=(const UniqueDir&) = delete;

  DIR* get() const { return dir_; }
  explicit operator bool() const { return dir_ != nullptr; }

 private:
  DIR* dir_;
};

}  // namespace kelp

#endif  // KELP_JNI_FD_H
