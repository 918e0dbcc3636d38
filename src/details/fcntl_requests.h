// The two file control requests that set a file's replication and its
// block-group factor, and the local worker that sets the factor.
#ifndef KELP_DETAILS_FCNTL_REQUESTS_H
#define KELP_DETAILS_FCNTL_REQUESTS_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelp {

constexpr size_t kReplicationRequestSize = 56;
constexpr size_t kBlockGroupFactorRequestSize = 56;

using ReplicationRequest = std::array<uint8_t, kReplicationRequestSize>;
using BlockGroupFactorRequest = std::array<uint8_t, kBlockGroupFactorRequestSize>;

// Set-replication request (type 2005) with |replicas| data replicas.
ReplicationRequest build_replication_request(int32_t replicas);
// Set-attribute request (type 6002) for "kelp.BGF"; the factor travels
// big-endian while every other field is in host order.
BlockGroupFactorRequest build_block_group_factor_request(uint32_t factor);

// Sends the set-replication request for the open file |fd|; true when the
// file system accepted it.
bool kelp_set_replication_fd(int fd, int32_t replicas);

// Sets the replication of |path| through a read-only descriptor from
// helper_get_fd (opened here, or received from the daemon on |connection|);
// true when the file system accepted it.
bool kelp_set_replication(int connection, const char* path, int32_t replicas);

// Opens |path| read-write and sets its block-group factor; true on success.
bool kelp_set_block_group_factor(const char* path, int factor);

}  // namespace kelp

#endif  // KELP_DETAILS_FCNTL_REQUESTS_H
