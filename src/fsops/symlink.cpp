// Symbolic links: reading, resolving, creating.
#include <fcntl.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "fsops/local_ops.h"

namespace kelp {

int kelp_readsymlink(int dirfd, const char* path, char* out, size_t capacity) {
  char buf[kSymlinkBufferSize] = {};
  ssize_t n = ::readlinkat(dirfd, path, buf, sizeof buf - 1);
  if (capacity > 0) {
    size_t len = std::strlen(buf);
    if (len >= capacity) len = capacity - 1;
    std::memcpy(out, buf, len);
    out[len] = '\0';
  }
  return static_cast<int>(n);
}

int kelp_resolvesymlink(const char* path, char* out, size_t capacity) {
  char* resolved = ::realpath(path, nullptr);
  if (resolved == nullptr) return -1;
  size_t len = std::strlen(resolved);
  // A canonical path that does not fit is a failure, not a truncation.
  if (len >= capacity) {
    std::free(resolved);
    return -1;
  }
  std::memcpy(out, resolved, len + 1);
  std::free(resolved);
  return static_cast<int>(len);
}

int kelp_createsymlink(const char* target, const char* link) {
  return ::symlink(target, link) == 0 ? 1 : 0;
}

}  // namespace kelp
