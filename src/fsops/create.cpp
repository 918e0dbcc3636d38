// Opening, testing, creating and appending.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <new>
#include <string>

#include "details/fcntl_requests.h"
#include "fsops/create_file.h"
#include "fsops/local_ops.h"
#include "fsops/mkdirs_walk.h"
#include "jni/fd.h"

namespace kelp {
namespace {

constexpr int kMaxBlockGroupFactor = 1024;

int clamp_block_group_factor(int bgf) {
  if (bgf > kMaxBlockGroupFactor) return kMaxBlockGroupFactor;
  if (bgf < 1) return 1;
  return bgf;
}

// Removes a file the create could not finish; returns the errno to report.
int abandon(const char* path, UniqueFd& fd) {
  int err = errno;
  fd.reset();
  ::remove(path);
  return err;
}

}  // namespace

int kelp_open(const char* path) {
  struct stat st;
  if (::stat(path, &st) != 0) return -1;
  return ::open(path, O_RDONLY | O_CLOEXEC);
}

int kelp_exists(const char* path) {
  struct stat st;
  // A path that cannot be examined for any reason but absence counts as there.
  if (::stat(path, &st) != 0) return errno != ENOENT ? 1 : 0;
  UniqueFd fd(::open(path, O_RDONLY | O_CLOEXEC));
  if (!fd) return errno == EACCES ? 1 : 0;
  return 1;
}

int kelp_mkdirs(const char* path, int mode) {
  int failure = 0;
  try {
    walk_mkdirs(path, mode, [&](const char*, int err) {
      // An existing object of any type is accepted.
      if (err != 0 && err != EEXIST) failure = err;
      return failure == 0;
    });
  } catch (const std::bad_alloc&) {
    failure = ENOMEM;
  }
  if (failure != 0) {
    errno = failure;
    return 0;
  }
  return 1;
}

int create_with_parents(const char* path, int mode, int replication, bool overwrite, int bgf,
                        int (*make_parents)(const char* parent, int mode, void* ctx), void* ctx) {
  std::string parent;
  try {
    parent = path;
  } catch (const std::bad_alloc&) {
    return -ENOMEM;
  }
  size_t slash = parent.rfind('/');
  // A bare file name has no parent to make; it is created where it stands.
  if (slash != std::string::npos && slash != 0) {
    parent.resize(slash);
    if (!make_parents(parent.c_str(), mode, ctx)) return -errno;
  }
  int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (overwrite ? O_TRUNC : O_EXCL);
  UniqueFd fd(::open(path, flags, mode));
  if (!fd) return -errno;
  if (replication != 0 && !kelp_set_replication_fd(fd.get(), replication)) {
    return -abandon(path, fd);
  }
  if (bgf == 0) return fd.release();
  // The factor is set through a read-write open of its own; reopen afterwards.
  fd.reset();
  kelp_set_block_group_factor(path, clamp_block_group_factor(bgf));
  fd.reset(::open(path, O_WRONLY | O_CLOEXEC | (overwrite ? O_TRUNC : 0), mode));
  if (!fd) return -abandon(path, fd);
  return fd.release();
}

int kelp_create(const char* path, int mode, int replication, bool overwrite, int bgf) {
  return create_with_parents(
      path, mode, replication, overwrite, bgf,
      [](const char* parent, int m, void*) { return kelp_mkdirs(parent, m); }, nullptr);
}

int kelp_append(const char* path) {
  // The descriptor of fopen(path, "a+"), without a stream object to leak.
  return ::open(path, O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
}

int kelp_chmod(const char* path, int mode) {
  return ::chmod(path, static_cast<mode_t>(mode)) == 0 ? 1 : 0;
}

}  // namespace kelp
