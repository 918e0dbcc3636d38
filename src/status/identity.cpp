#include "status/identity.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace kelp {
namespace {

// Used when the system suggests no size for the lookup buffer.
constexpr size_t kDefaultScratchSize = 16384;

struct FreeDeleter {
  void operator()(char* p) const { std::free(p); }
};
using Scratch = std::unique_ptr<char, FreeDeleter>;

size_t suggested_size(int sysconf_name) {
  long n = ::sysconf(sysconf_name);
  // Zero would never grow by doubling; treat it like "no suggestion".
  return n <= 0 ? kDefaultScratchSize : static_cast<size_t>(n);
}

// Runs one reentrant lookup, call(record, buffer, size, &result), in a
// scratch buffer that doubles while the database answers ERANGE (group
// entries with long member lists do not fit the suggested size). take(record)
// turns the entry found into the result. errno, not the call's return value,
// decides whether to retry. |clear_errno_first| is false only for the login
// name lookup, whose first call has always run with errno as it found it.
template <typename Record, typename Call, typename Take>
int lookup(int sysconf_name, bool clear_errno_first, Call call, Take take) {
  size_t size = suggested_size(sysconf_name);
  Scratch buffer(static_cast<char*>(std::realloc(nullptr, size)));
  if (!buffer) return 1;
  Record record{};
  Record* result = nullptr;
  if (clear_errno_first) errno = 0;
  if (call(&record, buffer.get(), size, &result) != 0) {
    if (errno != ERANGE) return 1;
    do {
      if (size > SIZE_MAX / 2) return 1;
      size *= 2;
      buffer.reset();  // the smaller buffer is done with: free it before growing
      buffer.reset(static_cast<char*>(std::malloc(size)));
      if (!buffer) return 1;
      errno = 0;
      result = nullptr;
      if (call(&record, buffer.get(), size, &result) != 0 && errno != ERANGE) return 1;
      // A call that succeeded but still left ERANGE behind is not trusted.
    } while (errno == ERANGE);
  }
  if (result == nullptr) return 1;  // no such entry
  return take(*result);
}

// Copies |name| with its terminator when it fits in |capacity| bytes.
int copy_name(const char* name, char* out, size_t capacity) {
  size_t len = std::strlen(name);
  if (len >= capacity) return 1;
  std::memcpy(out, name, len + 1);
  return 0;
}

}  // namespace

int uid_to_usrname(uid_t uid, char* out, size_t capacity) {
  return lookup<passwd>(
      _SC_GETPW_R_SIZE_MAX, true,
      [uid](passwd* r, char* b, size_t n, passwd** res) { return ::getpwuid_r(uid, r, b, n, res); },
      [out, capacity](const passwd& pw) { return copy_name(pw.pw_name, out, capacity); });
}

int gid_to_grpname(gid_t gid, char* out, size_t capacity) {
  return lookup<group>(
      _SC_GETGR_R_SIZE_MAX, true,
      [gid](group* r, char* b, size_t n, group** res) { return ::getgrgid_r(gid, r, b, n, res); },
      [out, capacity](const group& gr) { return copy_name(gr.gr_name, out, capacity); });
}

int uidgid_to_names(uid_t uid, gid_t gid, char* user, size_t user_capacity, char* group,
                    size_t group_capacity) {
  copy_name("unknown", user, user_capacity);
  copy_name("unknown", group, group_capacity);
  if (uid_to_usrname(uid, user, user_capacity) != 0) return 1;
  return gid_to_grpname(gid, group, group_capacity);
}

int usrname_to_ids(const char* name, uid_t& uid, gid_t& gid) {
  return lookup<passwd>(
      _SC_GETPW_R_SIZE_MAX, false,
      [name](passwd* r, char* b, size_t n, passwd** res) { return ::getpwnam_r(name, r, b, n, res); },
      [&uid, &gid](const passwd& pw) {
        uid = pw.pw_uid;
        gid = pw.pw_gid;
        return 0;
      });
}

int usrname_to_uid(const char* name, uid_t& out) {
  gid_t ignored;
  return usrname_to_ids(name, out, ignored);
}

int grpname_to_gid(const char* name, gid_t& out) {
  return lookup<group>(
      _SC_GETGR_R_SIZE_MAX, true,
      [name](group* r, char* b, size_t n, group** res) { return ::getgrnam_r(name, r, b, n, res); },
      [&out](const group& gr) {
        out = gr.gr_gid;
        return 0;
      });
}

}  // namespace kelp
