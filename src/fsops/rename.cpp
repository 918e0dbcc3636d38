// Renaming, with the mv command as the fallback across devices.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>
#include <new>
#include <string>

#include "fsops/local_ops.h"

extern char** environ;

namespace kelp {
namespace {

// Runs "mv src dst" without a shell, so each path reaches mv as exactly one
// argument whatever it holds. The child starts with default signal handling
// and an empty mask, whatever the calling JVM thread had.
int run_mv(std::string& src, std::string& dst) {
  char mv[] = "mv";
  char* argv[] = {mv, &src[0], &dst[0], nullptr};
  posix_spawnattr_t attr;
  if (posix_spawnattr_init(&attr) != 0) return kRenameFallbackNotRun;
  sigset_t all, none;
  sigfillset(&all);
  sigemptyset(&none);
  posix_spawnattr_setsigdefault(&attr, &all);
  posix_spawnattr_setsigmask(&attr, &none);
  posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  pid_t pid;
  int rc = posix_spawnp(&pid, "mv", nullptr, &attr, argv, environ);
  posix_spawnattr_destroy(&attr);
  if (rc != 0) return kRenameFallbackNotRun;
  int status;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return kRenameFallbackNotRun;
  }
  return (WIFEXITED(status) && WEXITSTATUS(status) == 0) ? kRenameOk : kRenameFallbackFailed;
}

}  // namespace

int kelp_rename(const char* src, const char* dst) {
  if (::rename(src, dst) == 0) return kRenameOk;
  // A busy target is reported as success.
  if (errno == EBUSY) return kRenameOk;
  if (errno != EISDIR && errno != EXDEV) return kRenameFailed;
  std::string from, to;
  try {
    from = src;
    to = dst;
  } catch (const std::bad_alloc&) {
    return kRenameNoMemory;
  }
  return run_mv(from, to);
}

}  // namespace kelp
