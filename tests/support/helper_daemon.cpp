#include "support/helper_daemon.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "support/sandbox.h"

extern char** environ;

namespace kelptest {
namespace {

// The daemon's end of the readiness pipe.
constexpr int kReadyFd = 3;

int status_of(int status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

}  // namespace

HelperDaemon::HelperDaemon(const std::vector<std::string>& args) {
  require_sandbox();
  static std::atomic<int> counter{0};
  log_path_ = "/var/run/kelp-helperd." + std::to_string(::getpid()) + "." +
              std::to_string(counter++) + ".log";
  int p[2];
  if (::pipe2(p, O_CLOEXEC) != 0) std::abort();
  // Keep the write end clear of the number it gets in the daemon.
  int w = ::fcntl(p[1], F_DUPFD_CLOEXEC, 10);
  ::close(p[1]);

  std::vector<std::string> argv_text = {KELP_TEST_DAEMON};
  argv_text.insert(argv_text.end(), args.begin(), args.end());
  argv_text.push_back("--ready-fd");
  argv_text.push_back(std::to_string(kReadyFd));
  std::vector<char*> argv;
  for (auto& a : argv_text) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);

  int log_fd = ::open(log_path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  int null_fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  if (log_fd < 0 || null_fd < 0) std::abort();
  pid_ = ::fork();
  if (pid_ == 0) {
    // Only async-signal-safe calls from here to exec. The daemon goes with
    // the test, even one that crashes, and holds none of its output pipes.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(null_fd, STDIN_FILENO);
    ::dup2(null_fd, STDOUT_FILENO);
    ::dup2(log_fd, STDERR_FILENO);
    ::dup2(w, kReadyFd);
    ::execve(argv[0], argv.data(), environ);
    ::_exit(127);
  }
  ::close(log_fd);
  ::close(null_fd);
  ::close(w);
  if (pid_ < 0) {
    ::close(p[0]);
    return;
  }
  // One byte once it listens; end of file if it exits first.
  char byte;
  ssize_t n;
  do {
    n = ::read(p[0], &byte, 1);
  } while (n < 0 && errno == EINTR);
  ready_ = n == 1;
  ::close(p[0]);
}

HelperDaemon::~HelperDaemon() {
  if (pid_ > 0) stop();
  ::unlink(log_path_.c_str());
}

int HelperDaemon::stop() {
  if (pid_ <= 0) return -1;
  ::kill(pid_, SIGTERM);
  return wait();
}

int HelperDaemon::wait() {
  if (pid_ <= 0) return -1;
  int status = 0;
  pid_t r;
  do {
    r = ::waitpid(pid_, &status, 0);
  } while (r < 0 && errno == EINTR);
  pid_ = -1;
  return r < 0 ? -1 : status_of(status);
}

std::string HelperDaemon::log() const { return read_file(log_path_); }

namespace {

// Counts the entries of /proc/<pid>/fd that |keep| accepts; -1 when the
// directory cannot be read.
template <typename Keep>
int count_fds(pid_t pid, Keep keep) {
  std::string dir = "/proc/" + std::to_string(pid) + "/fd";
  DIR* d = ::opendir(dir.c_str());
  if (d == nullptr) return -1;
  int count = 0;
  while (struct dirent* e = ::readdir(d)) {
    if (e->d_name[0] != '.' && keep(dir + "/" + e->d_name)) ++count;
  }
  ::closedir(d);
  return count;
}

}  // namespace

int HelperDaemon::open_fds() const {
  return count_fds(pid_, [](const std::string&) { return true; });
}

int HelperDaemon::fds_on(const std::string& path) const {
  return count_fds(pid_, [&](const std::string& link) {
    char target[4096];
    ssize_t n = ::readlink(link.c_str(), target, sizeof target);
    return n > 0 && path.compare(0, std::string::npos, target, static_cast<size_t>(n)) == 0;
  });
}

}  // namespace kelptest
