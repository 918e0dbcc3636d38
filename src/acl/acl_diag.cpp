#include "acl/acl_diag.h"

#include <cerrno>
#include <cstring>

#include "acl/aclutil.h"
#include "jni/logging.h"

namespace kelp {

void log_acl_failure(const char* what, const char* path) {
  if (!_isDebugEnabled) return;
  int err = errno;
  char buf[128];
  const char* text = ::strerror_r(err, buf, sizeof buf);
  debug_log("%s %s: %s(%d)", what, path, text, err);
  errno = err;
}

void log_invalid_acl(const char* path, acl_t acl, int code) {
  if (!_isDebugEnabled) return;
  int err = errno;
  ScopedAclObject<char*> text(ACLUtil::acl_to_text(acl, nullptr));
  const char* reason = ACLUtil::acl_error(code);
  debug_log("invalid ACL for %s (%s): %s", path, reason != nullptr ? reason : "unknown error",
            text ? text.get() : "?");
  errno = err;
}

}  // namespace kelp
