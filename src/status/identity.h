// User and group names <-> numeric ids through the reentrant account
// database calls. Nothing is cached: every call asks the database afresh, so
// accounts added while the process runs are seen at once.
//
// All five return 0 on success and 1 on any failure (no entry, lookup error,
// allocation failure, or a name that does not fit the caller's buffer); the
// cases are not told apart. Thread-safe.
#ifndef KELP_STATUS_IDENTITY_H
#define KELP_STATUS_IDENTITY_H

#include <sys/types.h>

#include <cstddef>

namespace kelp {

// Copies the login name of |uid| into |out| (|capacity| bytes, terminator
// included). On failure |out| is left as it was.
int uid_to_usrname(uid_t uid, char* out, size_t capacity);

// Copies the name of group |gid| into |out|. On failure |out| is left as it was.
int gid_to_grpname(gid_t gid, char* out, size_t capacity);

// Both names. Both buffers first receive "unknown" (when they hold at least
// 8 bytes), so a caller that ignores the status still has a printable name.
// The user is resolved first; if that fails the group is not looked up.
int uidgid_to_names(uid_t uid, gid_t gid, char* user, size_t user_capacity, char* group,
                    size_t group_capacity);

// The id of account |name|; |out| is untouched on failure.
int usrname_to_uid(const char* name, uid_t& out);

// The uid and primary gid of account |name|; both untouched on failure.
int usrname_to_ids(const char* name, uid_t& uid, gid_t& gid);

// The id of group |name|; |out| is untouched on failure.
int grpname_to_gid(const char* name, gid_t& out);

}  // namespace kelp

#endif  // KELP_STATUS_IDENTITY_H
