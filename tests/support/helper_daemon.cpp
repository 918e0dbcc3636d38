#include "support/helper_daemon.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "support/sandbox.h"

namespace kelptest {

std::vector<std::string> suite_policy() {
  return {"--allow-path", "/mnt/other", "--allow-path", "/mnt/noacl", "--proxy-user", "root",
          "--proxy-users", "*", "--proxy-groups", "*"};
}

HelperDaemon::HelperDaemon(const std::vector<std::string>& args) {
  require_sandbox();
  char log_path[] = "/var/run/kelp-helperd.XXXXXX";
  int log_fd = ::mkostemp(log_path, O_CLOEXEC);
  log_path_ = log_path;
  int p[2];
  if (log_fd < 0 || ::pipe2(p, O_CLOEXEC) != 0) std::abort();
  // Keep the write end clear of 3, the number it gets in the daemon.
  int w = ::fcntl(p[1], F_DUPFD_CLOEXEC, 10);
  ::close(p[1]);
  std::vector<std::string> text = {KELP_TEST_DAEMON};
  text.insert(text.end(), args.begin(), args.end());
  text.insert(text.end(), {"--ready-fd", "3"});  // the daemon's end of the readiness pipe
  std::vector<char*> argv;
  for (auto& a : text) argv.push_back(&a[0]);
  argv.push_back(nullptr);
  pid_ = ::fork();
  if (pid_ < 0) std::abort();
  if (pid_ == 0) {
    // Only async-signal-safe calls from here to exec. The daemon goes with
    // the test, even one that crashes, and holds none of its output pipes.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(log_fd, STDOUT_FILENO);
    ::dup2(log_fd, STDERR_FILENO);
    ::dup2(w, 3);
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  ::close(log_fd);
  ::close(w);
  // One byte once it listens; end of file if it exits first.
  char byte;
  ssize_t n;
  while ((n = ::read(p[0], &byte, 1)) < 0 && errno == EINTR) {
  }
  ready_ = n == 1;
  ::close(p[0]);
}

HelperDaemon::~HelperDaemon() {
  if (pid_ > 0) stop();
  ::unlink(log_path_.c_str());
}

int HelperDaemon::stop() {
  if (pid_ > 0) ::kill(pid_, SIGTERM);
  return wait();
}

int HelperDaemon::wait() {
  if (pid_ <= 0) return -1;
  int status = 0;
  pid_t r;
  while ((r = ::waitpid(pid_, &status, 0)) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  if (r < 0) return -1;
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string HelperDaemon::log() const { return read_file(log_path_); }

int HelperDaemon::open_fds(const std::string& path) const {
  std::string dir = "/proc/" + std::to_string(pid_) + "/fd/";
  DIR* d = ::opendir(dir.c_str());
  if (d == nullptr) return -1;
  int count = 0;
  char target[4096];
  while (struct dirent* e = ::readdir(d)) {
    if (e->d_name[0] == '.') continue;
    ssize_t n = ::readlink((dir + e->d_name).c_str(), target, sizeof target);
    if (path.empty() || (n > 0 && path == std::string(target, static_cast<size_t>(n)))) ++count;
  }
  ::closedir(d);
  return count;
}

}  // namespace kelptest
