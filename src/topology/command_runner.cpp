#include "topology/command_runner.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "jni/fd.h"
#include "jni/logging.h"

extern char** environ;

namespace kelp {
namespace {

// Chunk of output read at a time; lines longer than this arrive in pieces
// and are appended in order, so the captured text is exact.
constexpr size_t kReadChunk = 512;

// posix_spawn attributes and file actions, released on scope exit.
class SpawnSetup final {
 public:
  SpawnSetup() {
    attr_ok_ = posix_spawnattr_init(&attr_) == 0;
    actions_ok_ = posix_spawn_file_actions_init(&actions_) == 0;
    if (!attr_ok_) return;
    sigset_t all, none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attr_, &all);
    posix_spawnattr_setsigmask(&attr_, &none);
    posix_spawnattr_setflags(&attr_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  }
  ~SpawnSetup() {
    if (attr_ok_) posix_spawnattr_destroy(&attr_);
    if (actions_ok_) posix_spawn_file_actions_destroy(&actions_);
  }
  SpawnSetup(const SpawnSetup&) = delete;
  SpawnSetup& operator=(const SpawnSetup&) = delete;

  bool ok() const { return attr_ok_ && actions_ok_; }
  // The child's standard output becomes |fd| (dup2 clears its close-on-exec).
  bool redirect_stdout(int fd) {
    return posix_spawn_file_actions_adddup2(&actions_, fd, STDOUT_FILENO) == 0;
  }
  int spawn(pid_t* pid, char* const argv[]) {
    return posix_spawnp(pid, argv[0], &actions_, &attr_, argv, environ);
  }

 private:
  posix_spawnattr_t attr_;
  posix_spawn_file_actions_t actions_;
  bool attr_ok_ = false;
  bool actions_ok_ = false;
};

// Reads |fd| to its end into |output|; false on a read error.
bool drain(int fd, std::string& output) {
  char buf[kReadChunk];
  for (;;) {
    ssize_t n = ::read(fd, buf, sizeof buf);
    if (n > 0) {
      output.append(buf, static_cast<size_t>(n));
    } else if (n == 0) {
      return true;
    } else if (errno != EINTR) {
      return false;
    }
  }
}

// Waits for |pid|; false when it could not be waited for (somebody else
// reaped it), which counts as not having run.
bool wait_for(pid_t pid, int& exit_status) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return false;
  }
  exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return true;
}

bool is_plain_shell_char(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         c == '_' || c == '-' || c == '.' || c == '/' || c == ',' || c == ':' || c == '+' ||
         c == '@' || c == '%' || c == '=';
}

}  // namespace

RunResult run_program(const std::vector<std::string>& argv, std::string* output) {
  RunResult result;
  if (argv.empty()) return result;
  std::vector<std::string> args(argv);
  std::vector<char*> raw;
  raw.reserve(args.size() + 1);
  for (std::string& a : args) raw.push_back(&a[0]);
  raw.push_back(nullptr);

  SpawnSetup setup;
  if (!setup.ok()) return result;
  UniqueFd read_end, write_end;
  if (output != nullptr) {
    int p[2];
    if (::pipe2(p, O_CLOEXEC) != 0) return result;
    read_end.reset(p[0]);
    write_end.reset(p[1]);
    if (!setup.redirect_stdout(write_end.get())) return result;
  }
  pid_t pid = -1;
  int rc = setup.spawn(&pid, raw.data());
  write_end.reset();  // the child holds its own copy; end of file comes when it exits
  if (rc != 0) {
    debug_log("cannot run %s: errno %d", args[0].c_str(), rc);
    return result;
  }
  if (output != nullptr) result.read_ok = drain(read_end.get(), *output);
  read_end.reset();
  result.started = wait_for(pid, result.exit_status);
  return result;
}

int exec_command(const std::string& command, std::string& output) {
  RunResult r = run_program({"/bin/sh", "-c", command}, &output);
  return r.started && r.read_ok ? 0 : 1;
}

std::string shell_quote(const std::string& word) {
  bool plain = !word.empty();
  for (char c : word) plain = plain && is_plain_shell_char(c);
  if (plain) return word;
  std::string out = "'";
  for (char c : word) {
    if (c == '\'') {
      out += "'\\''";
    } else {
      out += c;
    }
  }
  out += '\'';
  return out;
}

}  // namespace kelp
