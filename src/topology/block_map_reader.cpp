// The block-map reader: asks libkelp.so for the disks (and, with request
// 3006, the cache nodes) of every block of a file, pass after pass.
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "channel/connection.h"
#include "fsops/kelpHadoop.h"
#include "jni/fd.h"
#include "kelp.h"
#include "topology/block_locations.h"

namespace kelp {
namespace {

// The request buffer: a 16-byte header, the request's own length and type,
// its arguments, the reply fields and room for 64512 bytes of records.
constexpr uint32_t kRequestSize = 64584;
constexpr uint32_t kRequestLength = kRequestSize - 16;
constexpr size_t kStartOffsetAt = 24;
constexpr size_t kBlockSizeInAt = 32;
constexpr size_t kLengthInAt = 40;
constexpr size_t kReplicasInAt = 48;
constexpr size_t kReplicasOutAt = 56;
constexpr size_t kBlocksOutAt = 60;
constexpr size_t kBlockSizeOutAt = 64;
constexpr size_t kRecordsAt = 72;
constexpr int64_t kRecordsCapacity = kRequestSize - kRecordsAt;
// Most record bytes reserved ahead of the passes (a 1 TiB file of 4 MiB
// blocks and three replicas needs 5 MiB).
constexpr int64_t kMaxReservedRecordBytes = int64_t{64} << 20;

void put32(uint8_t* p, uint32_t v) { std::memcpy(p, &v, sizeof v); }
void put64(uint8_t* p, int64_t v) { std::memcpy(p, &v, sizeof v); }
int32_t get32(const uint8_t* p) {
  int32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// One buffer per thread, kept for the thread's life: a large file costs one
// library call per pass and no allocation.
uint8_t* request_buffer() {
  thread_local std::unique_ptr<uint8_t[]> buffer;
  if (!buffer) buffer.reset(new uint8_t[kRequestSize]());
  return buffer.get();
}

// Sends one block-map request for |length| bytes from |offset|. The reply
// fields are cleared first, so a reply that leaves them out reads as no
// blocks rather than as the previous pass.
bool ask(int fd, uint8_t* buf, uint32_t type, int64_t offset, int64_t blockSize, int64_t length,
         int32_t replicas) {
  std::memset(buf, 0, kRecordsAt);
  put32(buf, kRequestSize);
  put32(buf + 4, 1);
  put32(buf + 16, kRequestLength);
  put32(buf + 20, type);
  put64(buf + kStartOffsetAt, offset);
  put64(buf + kBlockSizeInAt, blockSize);
  put64(buf + kLengthInAt, length);
  put32(buf + kReplicasInAt, static_cast<uint32_t>(replicas));
  return kelp_fcntl(fd, buf) == 0;
}

// First query of the process: does the library answer 3006? A flag that
// another thread settled meanwhile is left as it is.
bool probe(int fd, uint8_t* buf, const FilemapIn& filemap, int64_t length) {
  int unknown = -1;
  if (ask(fd, buf, KELP_FCNTL_GET_BLOCKMAP_CACHED, filemap.start, filemap.blockSize, length,
          filemap.replicas)) {
    isCacheInMemEnabled.compare_exchange_strong(unknown, 1);
    return true;
  }
  if (ask(fd, buf, KELP_FCNTL_GET_BLOCKMAP, filemap.start, filemap.blockSize, length,
          filemap.replicas)) {
    isCacheInMemEnabled.compare_exchange_strong(unknown, 0);
    return true;
  }
  return false;
}

// Length of the block at |blockOffset|: the block size, or what is left of
// |length| where the block reaches past it. The comparison is with the
// absolute offset, whatever the start; kept 32 bits wide.
int64_t block_length(int64_t length, int64_t blockOffset, int64_t blockSize) {
  bool last = static_cast<__int128>(length) < static_cast<__int128>(blockOffset) + blockSize;
  uint64_t value = last ? static_cast<uint64_t>(length) - static_cast<uint64_t>(blockOffset)
                        : static_cast<uint64_t>(blockSize);
  return static_cast<int32_t>(static_cast<uint32_t>(value));
}

}  // namespace

bool examine_path(int daemonFd, const char* path, struct stat& st, UniqueFd& fd) {
  if (::stat(path, &st) == 0) {
    if (daemonFd == kLocalConnection) fd.reset(::open(path, O_RDONLY | O_CLOEXEC));
    return true;
  }
  fd.reset(helper_get_fd(daemonFd, path));
  return fd && ::fstat(fd.get(), &st) == 0;
}

int kelpGetFileBlockLocationOLD(int daemonFd, const char* path, FilemapIn& filemap,
                                BlockMap& out, int fd) {
  out = BlockMap();
  if (fd < 0) fd = helper_get_fd(daemonFd, path);
  if (fd < 0) return 1;
  UniqueFd file(fd);
  int64_t length = filemap.length;
  if (length == -1) {
    struct stat st;
    if (::fstat(fd, &st) != 0) return 1;
    length = st.st_size;
  }
  uint8_t* buf = request_buffer();
  if (isCacheInMemEnabled == -1 && !probe(fd, buf, filemap, length)) return 1;
  // One layout for the whole map, whatever the flag does meanwhile.
  const bool cached = isCacheInMemEnabled == 1;
  out.cached_layout = cached;
  if (length < 0) return 0;

  const uint32_t type = cached ? KELP_FCNTL_GET_BLOCKMAP_CACHED : KELP_FCNTL_GET_BLOCKMAP;
  int64_t offset = filemap.start;
  int64_t remaining = length;
  int64_t blockOffset = filemap.start;
  for (;;) {
    // A failed pass ends the map; earlier passes are kept.
    if (!ask(fd, buf, type, offset, filemap.blockSize, remaining, filemap.replicas)) break;
    int32_t replicas = get32(buf + kReplicasOutAt);
    int32_t blocks = get32(buf + kBlocksOutAt);
    int64_t recordSize = block_record_size(cached, replicas);
    // A reply that does not fit its buffer, or whose records change shape
    // between passes, cannot be read.
    if (replicas < 0 || blocks < 0 || recordSize > kRecordsCapacity ||
        blocks * std::max<int64_t>(recordSize, 1) > kRecordsCapacity) {
      break;
    }
    if (out.count > 0 && replicas != filemap.replicas) break;
    filemap.replicas = replicas;
    filemap.blockSize = std::max<int64_t>(get32(buf + kBlockSizeOutAt), filemap.blockSize);
    if (out.count == 0 && blocks > 0 && filemap.blockSize > 0 &&
        blocks >= kRecordsCapacity / std::max<int64_t>(recordSize, 1)) {
      // A full first reply means more passes: the whole map's size is known
      // now, so one allocation instead of a doubling per pass. Bounded, for
      // what a caller's length or a reply may claim; a reply with room to
      // spare was the whole map.
      int64_t expected = std::min({remaining / filemap.blockSize + 1, int64_t{1} << 22,
                                   kMaxReservedRecordBytes / std::max<int64_t>(recordSize, 1)});
      if (expected > blocks) {
        out.records.reserve(static_cast<size_t>(expected * recordSize));
        out.lengths.reserve(static_cast<size_t>(expected));
      }
    }
    out.records.insert(out.records.end(), buf + kRecordsAt, buf + kRecordsAt + blocks * recordSize);
    out.count += blocks;
    for (int32_t b = 0; b < blocks; ++b) {
      int64_t blockLength = block_length(length, blockOffset, filemap.blockSize);
      out.lengths.push_back(blockLength);
      blockOffset = static_cast<int64_t>(static_cast<uint64_t>(blockOffset) + blockLength);
    }
    // No progress (no blocks, or no block size to advance by) would ask the
    // same question forever.
    int64_t advance = 0;
    if (blocks == 0 || __builtin_mul_overflow(filemap.blockSize, int64_t{blocks}, &advance) ||
        advance <= 0) {
      break;
    }
    remaining -= advance;
    if (remaining <= 0 || __builtin_add_overflow(offset, advance, &offset)) break;
  }
  return 0;
}

}  // namespace kelp
