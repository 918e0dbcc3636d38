// Local operations that give what they create to a named user and group.
// Ownership goes through kelp_chown: an empty name leaves that id alone, an
// unknown name fails.
#include <unistd.h>

#include <cerrno>
#include <new>

#include "fsops/create_file.h"
#include "fsops/local_ops.h"
#include "fsops/mkdirs_walk.h"
#include "jni/logging.h"

namespace kelp {
namespace {

struct Owner {
  const char* user;
  const char* group;
};

int make_parents_as(const char* parent, int mode, void* ctx) {
  auto* owner = static_cast<Owner*>(ctx);
  int made = kelp_mkdirsAs(parent, mode, owner->user, owner->group);
  // A failed ownership change need not set errno, but the create must still
  // report a negative errno, never descriptor 0.
  if (made == 0 && errno == 0) errno = EPERM;
  return made;
}

}  // namespace

int kelp_mkdirsAs(const char* path, int mode, const char* user, const char* group) {
  int made = 0;
  try {
    walk_mkdirs(path, mode, [&](const char* prefix, int err) {
      if (err == 0) {
        // Only what this call created changes hands.
        made = (user != nullptr && group != nullptr) ? kelp_chown(prefix, user, group) : 1;
      } else if (err == EEXIST) {
        made = 1;
      } else {
        // The outcome of the previous component stands.
        debug_log("mkdir %s failed, errno %d", prefix, err);
        errno = err;
        return false;
      }
      return true;
    });
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return 0;
  }
  return made;
}

int kelp_createAs(const char* path, int mode, int replication, bool overwrite, const char* user,
                  const char* group, int bgf) {
  Owner owner{user, group};
  int fd = create_with_parents(path, mode, replication, overwrite, bgf, make_parents_as, &owner);
  // The file stays with its creator when it cannot be given away.
  if (fd >= 0 && user != nullptr && group != nullptr && kelp_chown(path, user, group) == 0) {
    debug_log("could not give %s to %s:%s", path, user, group);
  }
  return fd;
}

int kelp_appendAs(const char* path, const char* user, const char* group) {
  int fd = kelp_append(path);
  if (kelp_chown(path, user, group) == 0) {
    // The caller gets -1 and could never close it.
    if (fd >= 0) ::close(fd);
    return -1;
  }
  return fd;
}

int kelp_createsymlinkAs(const char* target, const char* link, const char* user,
                         const char* group) {
  if (kelp_createsymlink(target, link) == 0) return 0;
  // kelp_chown follows the new link: its target changes hands, the link
  // itself stays with its creator.
  return kelp_chown(link, user, group);
}

}  // namespace kelp
