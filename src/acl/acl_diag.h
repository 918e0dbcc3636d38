// Diagnostics shared by ACL reading and editing. They go to the debug log
// only and leave errno as they found it.
#ifndef KELP_ACL_ACL_DIAG_H
#define KELP_ACL_ACL_DIAG_H

#include <sys/acl.h>

namespace kelp {

// Logs "<what> <path>: <error text>(<errno>)".
void log_acl_failure(const char* what, const char* path);

// Logs why |acl| failed acl_check (|code|, its result), with the ACL's text.
void log_invalid_acl(const char* path, acl_t acl, int code);

}  // namespace kelp

#endif  // KELP_ACL_ACL_DIAG_H
