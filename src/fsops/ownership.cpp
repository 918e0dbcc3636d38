// Giving a path to a user and group named by name.
#include <unistd.h>

#include <cerrno>

#include "fsops/local_ops.h"
#include "jni/logging.h"
#include "status/identity.h"

namespace kelp {
namespace {

bool empty(const char* name) { return name == nullptr || *name == '\0'; }

// An empty name leaves that id unchanged; an unknown one fails.
int change_owner(const char* path, const char* user, const char* group,
                 int (*change)(const char*, uid_t, gid_t)) {
  uid_t uid = static_cast<uid_t>(-1);
  gid_t gid = static_cast<gid_t>(-1);
  if (!empty(user) && usrname_to_uid(user, uid) != 0) return 0;
  if (!empty(group) && grpname_to_gid(group, gid) != 0) return 0;
  if (change(path, uid, gid) != 0) {
    debug_log("Errno = %d\n", errno);
    return 0;
  }
  return 1;
}

}  // namespace

int kelp_chown(const char* path, const char* user, const char* group) {
  return change_owner(path, user, group, ::chown);
}

int kelp_lchown(const char* path, const char* user, const char* group) {
  return change_owner(path, user, group, ::lchown);
}

}  // namespace kelp
