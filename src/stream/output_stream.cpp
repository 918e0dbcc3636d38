#include "stream/output_stream.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "fsops/kelpHadoop.h"
#include "jni/fd.h"
#include "jni/logging.h"
#include "jni/mutex.h"
#include "kelp.h"

namespace kelp {
namespace {

// Guards gFileId, which only this unit uses. Held across the open so that
// two threads syncing a new path never both open it; a lock of its own, so
// an open that blocks (a FIFO, a hung mount) stalls only other syncs.
pthread_mutex_t gFileIdMutex = PTHREAD_MUTEX_INITIALIZER;

// Stores |value| at |offset| in host byte order.
template <typename T>
void put(SyncRangeRequest& buf, size_t offset, T value) {
  std::memcpy(buf.data() + offset, &value, sizeof value);
}

}  // namespace

SyncRangeRequest build_sync_range_request(int64_t offset, int64_t length) {
  SyncRangeRequest r{};
  put<int32_t>(r, 0, kSyncRangeRequestSize);
  put<int32_t>(r, 4, 1);
  put<int32_t>(r, 16, 32);
  put<int32_t>(r, 20, KELP_FCNTL_SYNC_RANGE);
  put<int64_t>(r, 32, offset);
  put<int64_t>(r, 40, length);
  return r;
}

int cached_write_fd(const std::string& path) {
  MutexLock lock(&gFileIdMutex);
  auto it = gFileId.find(path);
  if (it != gFileId.end()) return it->second;
  UniqueFd fd(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
  if (!fd) {
    debug_log("cannot open %s for writing: %s", path.c_str(), std::strerror(errno));
    return -1;
  }
  try {
    gFileId.emplace(path, fd.get());
  } catch (const std::bad_alloc&) {
    return -1;
  }
  return fd.release();
}

int sync_file_range_cached(const std::string& path, int64_t offset, int64_t length) {
  int fd = cached_write_fd(path);
  if (fd < 0) return kCannotOpen;
  SyncRangeRequest request = build_sync_range_request(offset, length);
  return kelp_fcntl(fd, request.data());
}

int fdatasync_cached(const std::string& path) {
  int fd = cached_write_fd(path);
  if (fd < 0) return kCannotOpen;
  return ::fdatasync(fd);
}

int preallocate_file(const std::string& path, int64_t length) {
  UniqueFd fd(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
  if (!fd) return kCannotOpen;
  return kelp_prealloc(fd.get(), 0, length);
}

}  // namespace kelp
