// Renaming, with the mv command as the fallback across devices.
#include <cerrno>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "fsops/local_ops.h"
#include "topology/command_runner.h"

namespace kelp {
namespace {

// A relative path that begins with '-' would read as an option to mv; "./"
// keeps it the same path. Every other path goes to mv as it came.
std::string mv_operand(const char* path) {
  std::string operand(path);
  if (operand[0] == '-') operand.insert(0, "./");
  return operand;
}

}  // namespace

int kelp_rename(const char* src, const char* dst) {
  if (::rename(src, dst) == 0) return kRenameOk;
  // A busy target is reported as success.
  if (errno == EBUSY) return kRenameOk;
  if (errno != EISDIR && errno != EXDEV) return kRenameFailed;
  std::vector<std::string> argv;
  try {
    argv = {"mv", mv_operand(src), mv_operand(dst)};
  } catch (const std::bad_alloc&) {
    return kRenameNoMemory;
  }
  // No shell: each path reaches mv as exactly one argument whatever it holds.
  RunResult r = run_program(argv);
  if (!r.started) return kRenameFallbackNotRun;
  return r.exit_status == 0 ? kRenameOk : kRenameFallbackFailed;
}

}  // namespace kelp
