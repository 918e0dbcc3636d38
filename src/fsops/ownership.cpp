// Giving a path to a user and group named by name.
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <vector>

#include "fsops/local_ops.h"
#include "jni/logging.h"

namespace kelp {
namespace {

constexpr long kDefaultLookupBuffer = 16384;

long lookup_buffer_size(int which) {
  long size = ::sysconf(which);
  return size == -1 ? kDefaultLookupBuffer : size;
}

// Runs a reentrant account lookup, doubling the scratch buffer while it is
// too small. True when an entry was found.
template <typename Record, typename Lookup>
bool lookup_by_name(int size_hint, Lookup lookup, Record* record) {
  try {
    std::vector<char> buf(static_cast<size_t>(lookup_buffer_size(size_hint)));
    for (;;) {
      Record* found = nullptr;
      int rc = lookup(record, buf.data(), buf.size(), &found);
      if (rc == ERANGE) {
        buf.resize(buf.size() * 2);
        continue;
      }
      return rc == 0 && found != nullptr;
    }
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool uid_of(const char* user, uid_t* uid) {
  struct passwd pw;
  bool ok = lookup_by_name(
      _SC_GETPW_R_SIZE_MAX,
      [user](struct passwd* r, char* b, size_t n, struct passwd** f) {
        return ::getpwnam_r(user, r, b, n, f);
      },
      &pw);
  if (ok) *uid = pw.pw_uid;
  return ok;
}

bool gid_of(const char* group, gid_t* gid) {
  struct group gr;
  bool ok = lookup_by_name(
      _SC_GETGR_R_SIZE_MAX,
      [group](struct group* r, char* b, size_t n, struct group** f) {
        return ::getgrnam_r(group, r, b, n, f);
      },
      &gr);
  if (ok) *gid = gr.gr_gid;
  return ok;
}

bool empty(const char* name) { return name == nullptr || *name == '\0'; }

// An empty name leaves that id unchanged; an unknown one fails.
int change_owner(const char* path, const char* user, const char* group,
                 int (*change)(const char*, uid_t, gid_t)) {
  uid_t uid = static_cast<uid_t>(-1);
  gid_t gid = static_cast<gid_t>(-1);
  if (!empty(user) && !uid_of(user, &uid)) return 0;
  if (!empty(group) && !gid_of(group, &gid)) return 0;
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
