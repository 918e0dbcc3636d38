#include "support/sandbox.h"

#include "scenario.h"

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <tuple>

namespace kelptest {

void require_sandbox() {
  const char* inside = std::getenv("KELP_SANDBOX");
  struct stat st;
  if (inside == nullptr || std::strcmp(inside, "1") != 0 || ::stat(kKelpMount, &st) != 0) {
    std::fprintf(stderr,
                 "This test must run inside the sandbox: scripts/kelp-sandbox <test binary>\n");
    std::exit(2);
  }
}

ScratchDir::ScratchDir(const std::string& name, const char* mount) {
  require_sandbox();
  static std::atomic<int> counter{0};
  path_ = std::string(mount) + "/" + name + "." + std::to_string(::getpid()) + "." +
          std::to_string(counter++);
  if (::mkdir(path_.c_str(), 0777) != 0) {
    std::perror(path_.c_str());
    std::abort();
  }
  ::chmod(path_.c_str(), 0777);
}

namespace {
int remove_entry(const char* path, const struct stat*, int, struct FTW*) {
  ::chmod(path, 0700);  // entries a test made unreadable
  ::remove(path);
  return 0;
}
}  // namespace

ScratchDir::~ScratchDir() {
  // Unlock directories a test made unreadable before walking the tree.
  run_command("chmod -R u+rwx '" + path_ + "' 2>/dev/null");
  ::nftw(path_.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
}

int run_as(uid_t uid, gid_t gid, const std::function<int()>& fn) {
  pid_t pid = ::fork();
  if (pid < 0) return -1;
  if (pid == 0) {
    if (::setgroups(0, nullptr) != 0 || ::setresgid(gid, gid, gid) != 0 ||
        ::setresuid(uid, uid, uid) != 0) {
      ::_exit(126);
    }
    ::_exit(fn());
  }
  int status = 0;
  if (::waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int run_command(const std::string& command, std::string* out) {
  FILE* p = ::popen(command.c_str(), "r");
  if (p == nullptr) return -1;
  char buf[4096];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) {
    if (out != nullptr) out->append(buf, n);
  }
  int status = ::pclose(p);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

void write_file(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
}

bool path_exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

namespace {
template <typename F>
int for_each_fd(F f) {
  int count = 0;
  DIR* d = ::opendir("/proc/self/fd");
  if (d == nullptr) return -1;
  int self = ::dirfd(d);
  while (struct dirent* e = ::readdir(d)) {
    if (e->d_name[0] == '.') continue;
    int fd = std::atoi(e->d_name);
    if (fd == self) continue;
    if (f(fd)) ++count;
  }
  ::closedir(d);
  return count;
}
}  // namespace

int count_fds_on(const std::string& path) {
  return for_each_fd([&](int fd) { return kelpsim::fd_path(fd) == path; });
}

bool FdSnapshot::Open::operator<(const Open& o) const {
  return std::tie(fd, dev, ino) < std::tie(o.fd, o.dev, o.ino);
}

std::vector<FdSnapshot::Open> FdSnapshot::take() {
  std::vector<Open> open;
  for_each_fd([&](int fd) {
    struct stat st;
    if (::fstat(fd, &st) == 0) open.push_back(Open{fd, st.st_dev, st.st_ino});
    return true;
  });
  std::sort(open.begin(), open.end());
  return open;
}

FdSnapshot::FdSnapshot() : open_(take()) {}

int FdSnapshot::added() const {
  int count = 0;
  for (const Open& o : take()) {
    if (!std::binary_search(open_.begin(), open_.end(), o)) ++count;
  }
  return count;
}

bool is_cloexec(int fd) {
  int flags = ::fcntl(fd, F_GETFD);
  return flags >= 0 && (flags & FD_CLOEXEC) != 0;
}

std::vector<kelpsim::Record> sim_records(const std::string& call, const std::string& path) {
  std::vector<kelpsim::Record> out;
  for (auto& r : kelpsim::read_log()) {
    if (r.call == call && r.path == path) out.push_back(std::move(r));
  }
  return out;
}

std::string sim_attr(const std::string& path, const std::string& key) {
  std::string value;
  kelpsim::get_path_attr(path.c_str(), key, value);
  return value;
}

void use_scenario_text(const std::string& text) {
  std::string error;
  kelpsim::Scenario::parse(text, &error);
  if (!error.empty() || !kelpsim::install_scenario(text)) {
    std::fprintf(stderr, "cannot install scenario: %s\n", error.c_str());
    std::abort();
  }
}

void use_scenario(const std::string& name) {
  std::string path = std::string(KELP_TEST_SOURCE_DIR) + "/sandbox/scenarios/" + name + ".scn";
  std::string text;
  if (!kelpsim::read_text_file(path, text)) {
    std::fprintf(stderr, "no scenario %s\n", path.c_str());
    std::abort();
  }
  use_scenario_text(text);
}

std::vector<std::vector<std::string>> admin_invocations(const std::string& command) {
  std::vector<std::vector<std::string>> out;
  for (auto& argv : kelpsim::read_invocations()) {
    if (command.empty() || argv.front() == command) out.push_back(std::move(argv));
  }
  return out;
}

void clear_admin_invocations() { kelpsim::clear_invocations(); }

std::vector<int> admin_descriptors(const std::string& command) {
  return kelpsim::read_descriptors(command);
}

}  // namespace kelptest
