#include "details/fcntl_requests.h"

#include <fcntl.h>

#include <cstring>

#include "channel/connection.h"
#include "jni/fd.h"
#include "kelp.h"

namespace kelp {
namespace {

template <size_t N>
void put32(std::array<uint8_t, N>& buf, size_t offset, uint32_t value) {
  std::memcpy(buf.data() + offset, &value, sizeof value);
}

}  // namespace

ReplicationRequest build_replication_request(int32_t replicas) {
  ReplicationRequest r{};
  put32(r, 0, kReplicationRequestSize);
  put32(r, 4, 1);
  put32(r, 16, 40);
  put32(r, 20, KELP_FCNTL_SET_REPLICATION);
  put32(r, 32, static_cast<uint32_t>(replicas));
  return r;
}

BlockGroupFactorRequest build_block_group_factor_request(uint32_t factor) {
  BlockGroupFactorRequest r{};
  put32(r, 0, kBlockGroupFactorRequestSize);
  put32(r, 4, 1);
  put32(r, 16, 40);
  put32(r, 20, KELP_FCNTL_SET_ATTRIBUTE);
  put32(r, 24, 8);
  put32(r, 28, 4);
  put32(r, 32, 32768);
  std::memcpy(r.data() + 40, "kelp.BGF", 8);
  r[48] = static_cast<uint8_t>(factor >> 24);
  r[49] = static_cast<uint8_t>(factor >> 16);
  r[50] = static_cast<uint8_t>(factor >> 8);
  r[51] = static_cast<uint8_t>(factor);
  return r;
}

bool kelp_set_replication_fd(int fd, int32_t replicas) {
  ReplicationRequest r = build_replication_request(replicas);
  return kelp_fcntl(fd, r.data()) == 0;
}

bool kelp_set_replication(int connection, const char* path, int32_t replicas) {
  UniqueFd fd(helper_get_fd(connection, path));
  return fd && kelp_set_replication_fd(fd.get(), replicas);
}

bool kelp_set_block_group_factor(const char* path, int factor) {
  UniqueFd fd(::open(path, O_RDWR | O_CLOEXEC));
  if (!fd) return false;
  BlockGroupFactorRequest r = build_block_group_factor_request(static_cast<uint32_t>(factor));
  return kelp_fcntl(fd.get(), r.data()) == 0;
}

}  // namespace kelp
