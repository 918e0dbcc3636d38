// Simulated Kelp client library over ordinary local files.
//
// It validates each control request the way the real library does, records
// its raw bytes, applies it to the per-file state of sim_state.h and can be
// told to fail the next request of a given kind. Request handlers live in one
// table so later request types plug in beside the existing ones.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>

#include "kelp.h"
#include "sim_request.h"
#include "sim_state.h"

namespace {

using kelpsim::fail;
using kelpsim::load32;
using kelpsim::load32_big_endian;
using kelpsim::load64;
using kelpsim::Request;
using kelpsim::store32;
using kelpsim::kHeaderSize;
using kelpsim::kHintHeaderSize;

constexpr uint32_t kMaxRequest = 1u << 20;

// 2005: set the data replication of the file.
int set_replication(const Request& r) {
  if (r.total != 56 || r.hint_length != 40) return fail(EINVAL);
  int32_t replicas = static_cast<int32_t>(load32(r.bytes + 32));
  long limit = kelpsim::get_config_long("max_data_replicas", 3);
  if (replicas < 1 || replicas > limit) return fail(EINVAL);
  return kelpsim::set_attr(r.st, "replication", std::to_string(replicas)) ? 0 : fail(EIO);
}

// 6002: set a named file attribute; only the block-group factor exists.
int set_attribute(const Request& r) {
  if (r.total != 56 || r.hint_length != 40) return fail(EINVAL);
  uint32_t name_length = load32(r.bytes + 24);
  uint32_t value_length = load32(r.bytes + 28);
  if (name_length != 8 || value_length != 4) return fail(EINVAL);
  if (std::memcmp(r.bytes + 40, "kelp.BGF", 8) != 0) return fail(EINVAL);
  uint32_t factor = load32_big_endian(r.bytes + 48);
  if (factor < 1 || factor > 1024) return fail(EINVAL);
  return kelpsim::set_attr(r.st, "bgf", std::to_string(factor)) ? 0 : fail(EIO);
}

// 2009: write back the byte range (length 0: to the end of the file) and wait
// until it is on disk.
int sync_range(const Request& r) {
  if (r.total != 48 || r.hint_length != 32) return fail(EINVAL);
  int64_t start = load64(r.bytes + 32);
  int64_t length = load64(r.bytes + 40);
  if (start < 0 || length < 0) return fail(EINVAL);
  return ::sync_file_range(r.fd, start, length,
                           SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE |
                               SYNC_FILE_RANGE_WAIT_AFTER);
}

struct Handler {
  uint32_t type;
  int (*run)(const Request&);
};

const Handler kHandlers[] = {
    {KELP_FCNTL_SET_REPLICATION, set_replication},
    {KELP_FCNTL_SYNC_RANGE, sync_range},
    {KELP_FCNTL_GET_BLOCKMAP, kelpsim::get_block_map},
    {KELP_FCNTL_GET_BLOCKMAP_CACHED, kelpsim::get_block_map},
    {KELP_FCNTL_SET_ATTRIBUTE, set_attribute},
};

}  // namespace

extern "C" int kelp_fcntl(int fd, void* request) {
  if (request == nullptr) return fail(EFAULT);
  Request r{};
  r.fd = fd;
  r.bytes = static_cast<uint8_t*>(request);
  if (::fstat(fd, &r.st) != 0) return -1;
  r.total = load32(r.bytes);
  bool log = kelpsim::logging_enabled();
  if (r.total < kHeaderSize + kHintHeaderSize || r.total > kMaxRequest) {
    if (log) kelpsim::record("fcntl", kelpsim::fd_path(fd), r.bytes, kHeaderSize);
    return fail(EINVAL);
  }
  if (log) kelpsim::record("fcntl", kelpsim::fd_path(fd), r.bytes, r.total);
  r.hint_length = load32(r.bytes + 16);
  r.type = load32(r.bytes + 20);
  if (load32(r.bytes + 4) != 1 || kHeaderSize + r.hint_length > r.total) {
    store32(r.bytes + 8, 4);
    return fail(EINVAL);
  }
  if (int err = kelpsim::take_failure(std::to_string(r.type))) {
    store32(r.bytes + 8, kHeaderSize);
    return fail(err);
  }
  for (const Handler& h : kHandlers) {
    if (h.type == r.type) {
      int rc = h.run(r);
      if (rc != 0) store32(r.bytes + 8, kHeaderSize);
      return rc;
    }
  }
  store32(r.bytes + 8, kHeaderSize);
  return fail(EINVAL);
}

extern "C" int kelp_prealloc(int fd, int64_t start, int64_t length) {
  int64_t args[2] = {start, length};
  if (kelpsim::logging_enabled()) {
    kelpsim::record("prealloc", kelpsim::fd_path(fd), args, sizeof args);
  }
  if (int err = kelpsim::take_failure("prealloc")) return fail(err);
  if (start < 0 || length <= 0) return fail(EINVAL);
  // Reserves blocks without changing the size: a writer still appends at the
  // end of its data, not after the reserved range.
  return ::fallocate(fd, FALLOC_FL_KEEP_SIZE, start, length);
}
