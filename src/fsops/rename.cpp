// Renaming, with the mv command as the fallback across devices.
#include <cerrno>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "fsops/local_ops.h"
#include "topology/command_runner.h"

namespace kelp {

int kelp_rename(const char* src, const char* dst) {
  if (::rename(src, dst) == 0) return kRenameOk;
  // A busy target is reported as success.
  if (errno == EBUSY) return kRenameOk;
  if (errno != EISDIR && errno != EXDEV) return kRenameFailed;
  std::vector<std::string> argv;
  try {
    argv = {"mv", "--", src, dst};
  } catch (const std::bad_alloc&) {
    return kRenameNoMemory;
  }
  // No shell: each path reaches mv as exactly one argument whatever it holds,
  // and after "--" none is taken for an option (a relative "-f", say).
  RunResult r = run_program(argv);
  if (!r.started) return kRenameFallbackNotRun;
  return r.exit_status == 0 ? kRenameOk : kRenameFallbackFailed;
}

}  // namespace kelp
