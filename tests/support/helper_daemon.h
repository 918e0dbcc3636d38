// The reference helper daemon (kelp-helperd) run by a test: started with a
// readiness pipe, its output kept in a log file, stopped with SIGTERM.
#ifndef KELP_TESTS_SUPPORT_HELPER_DAEMON_H
#define KELP_TESTS_SUPPORT_HELPER_DAEMON_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace kelptest {

// What the suites' daemons add to their mode and allow list: renames reach
// /mnt/other and ACL tests /mnt/noacl besides the Kelp mounts, and root may
// act for every user and group, so the library's own answers are what the
// suites see.
std::vector<std::string> suite_policy();

class HelperDaemon final {
 public:
  // Starts the daemon with |args| (plus --ready-fd) and returns once it
  // listens, or once it has exited without doing so (ready() is then false).
  explicit HelperDaemon(const std::vector<std::string>& args);
  ~HelperDaemon();
  HelperDaemon(const HelperDaemon&) = delete;
  HelperDaemon& operator=(const HelperDaemon&) = delete;

  bool ready() const { return ready_; }
  pid_t pid() const { return pid_; }
  // Sends SIGTERM and waits. The exit status, or 128+signal when a signal
  // ended it.
  int stop();
  // Waits for a daemon that ends by itself (for instance one that refused
  // to start); the status as for stop().
  int wait();
  // What the daemon wrote so far.
  std::string log() const;
  // Descriptors the daemon has open, all or only those on |path| (-1 when
  // they cannot be read).
  int open_fds(const std::string& path = "") const;

 private:
  pid_t pid_ = -1;
  bool ready_ = false;
  std::string log_path_;
};

}  // namespace kelptest

#endif  // KELP_TESTS_SUPPORT_HELPER_DAEMON_H
