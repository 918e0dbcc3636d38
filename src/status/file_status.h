// The native status of one path: what stat, the account database, the ACL
// attribute and the block-placement query say about it. Records are made on
// any thread (the listing makes them on its workers) and turned into Java
// objects on the calling Java thread (status_object.h).
#ifndef KELP_STATUS_FILE_STATUS_H
#define KELP_STATUS_FILE_STATUS_H

#include <cstdint>
#include <memory>
#include <string>

#include "topology/block_locations.h"

namespace kelp {

class OwnerNameCache;

// Added to the permission of a file that carries a POSIX access ACL.
constexpr int32_t kAclPermissionBit = 0x1000;
// The permission bits a record keeps: rwx for all three and the sticky bit
// (set-user-id and set-group-id are dropped).
constexpr int32_t kStatusModeBits = 0x3FF;

struct fileStatus {
  int64_t length = 0;  // st_size
  bool isdir = false;
  int32_t replication = 0;  // from the block-placement query; 0 when it said nothing
  int64_t blocksize = 0;    // the query's, else the caller's default
  int64_t modification_time = 0;  // milliseconds, truncated
  int64_t access_time = 0;
  int32_t permission = 0;  // kStatusModeBits of the mode, plus kAclPermissionBit
  std::string owner;       // name, or the id in decimal
  std::string group;
  BlockMap blocks;  // empty when the query failed or located status was not asked for
};

// The status of |path| (symbolic links followed), or null when neither stat
// nor a descriptor from |daemonFd| (helper_get_fd) can examine it, or the
// device map cannot be built. |located| asks for the block map of a file;
// |names|, when given, resolves owners and groups once per listing.
std::unique_ptr<fileStatus> make_file_status(int daemonFd, const char* path, bool located,
                                             int64_t defaultBlockSize,
                                             OwnerNameCache* names = nullptr);

}  // namespace kelp

#endif  // KELP_STATUS_FILE_STATUS_H
