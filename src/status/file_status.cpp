#include "status/file_status.h"

#include <sys/stat.h>
#include <sys/xattr.h>

#include "jni/fd.h"
#include "jni/logging.h"
#include "status/owner_names.h"
#include "topology/topology.h"

namespace kelp {
namespace {

int64_t milliseconds(const timespec& t) {
  return static_cast<int64_t>(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

bool has_access_acl(const char* path) {
  return ::getxattr(path, "system.posix_acl_access", nullptr, 0) > 0;
}

}  // namespace

std::unique_ptr<fileStatus> make_file_status(int daemonFd, const char* path, bool located,
                                             int64_t defaultBlockSize, OwnerNameCache* names) {
  struct stat st;
  UniqueFd fd;
  if (!examine_path(daemonFd, path, st, fd)) {
    debug_log("status of %s: neither stat nor the helper channel could examine it", path);
    return nullptr;
  }
  if (build_devid_map() != 0) {
    debug_log("status of %s: no device map", path);
    return nullptr;
  }

  bool isdir = S_ISDIR(st.st_mode);
  FilemapIn filemap;
  filemap.start = 0;
  filemap.blockSize = defaultBlockSize;
  filemap.replicas = 0;
  filemap.length = isdir || !located ? 0 : st.st_size;
  auto record = std::make_unique<fileStatus>();
  // The reader closes the descriptor it is given (or the one it opens).
  if (kelpGetFileBlockLocationOLD(daemonFd, path, filemap, record->blocks, fd.release()) != 0) {
    record->blocks = BlockMap();
  }

  if (names != nullptr) {
    names->lookup(st.st_uid, st.st_gid, record->owner, record->group);
  } else {
    owner_and_group(st.st_uid, st.st_gid, record->owner, record->group);
  }
  record->permission = static_cast<int32_t>(st.st_mode) & kStatusModeBits;
  if (has_access_acl(path)) record->permission |= kAclPermissionBit;
  record->length = st.st_size;
  record->isdir = isdir;
  record->replication = filemap.replicas;
  record->blocksize = filemap.blockSize;
  record->modification_time = milliseconds(st.st_mtim);
  record->access_time = milliseconds(st.st_atim);
  return record;
}

}  // namespace kelp
