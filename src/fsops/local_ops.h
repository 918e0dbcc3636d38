// Operations on paths of the mounted file system, with the rights of the
// calling process. The library runs them when no helper daemon is connected;
// the daemon runs the same functions on behalf of its clients. Every function
// may run on any thread; none keeps state.
//
// Result conventions: "boolean" results are 1 for success and 0 for failure
// (errno as the failing call left it); descriptor results are a descriptor or
// the negated errno.
#ifndef KELP_FSOPS_LOCAL_OPS_H
#define KELP_FSOPS_LOCAL_OPS_H

#include <cstddef>

namespace kelp {

// Output buffers of the two symbolic-link reads.
constexpr size_t kSymlinkBufferSize = 1024;

// Rename results.
enum RenameResult {
  kRenameFallbackFailed = 0,
  kRenameOk = 1,
  kRenameFailed = 2,
  kRenameNoMemory = 3,
  kRenameFallbackNotRun = 4,
};

// Delete results.
enum DeleteResult { kDeleteFailed = 0, kDeleteOk = 1, kDeleteSnapshotFound = 2 };

int kelp_open(const char* path);
int kelp_exists(const char* path);
int kelp_create(const char* path, int mode, int replication, bool overwrite, int bgf);
int kelp_append(const char* path);
int kelp_mkdirs(const char* path, int mode);
int kelp_delete(const char* path, bool recursive);
int kelp_delete_dir_content(int dirfd);
int kelp_rename(const char* src, const char* dst);
int kelp_chown(const char* path, const char* user, const char* group);
int kelp_lchown(const char* path, const char* user, const char* group);
int kelp_chmod(const char* path, int mode);
int kelp_readsymlink(int dirfd, const char* path, char* out, size_t capacity);
int kelp_resolvesymlink(const char* path, char* out, size_t capacity);
int kelp_createsymlink(const char* target, const char* link);

// On behalf of a named user and group.
int kelp_createAs(const char* path, int mode, int replication, bool overwrite,
                  const char* user, const char* group, int bgf);
int kelp_appendAs(const char* path, const char* user, const char* group);
int kelp_mkdirsAs(const char* path, int mode, const char* user, const char* group);
int kelp_createsymlinkAs(const char* target, const char* link, const char* user,
                         const char* group);

}  // namespace kelp

#endif  // KELP_FSOPS_LOCAL_OPS_H
