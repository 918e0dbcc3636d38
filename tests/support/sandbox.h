// What tests find inside the sandbox (scripts/kelp-sandbox): the scratch Kelp
// mount, a second mount, a mount without ACL or extended-attribute support,
// test accounts and host names, and the simulated file system's state.
#ifndef KELP_TESTS_SUPPORT_SANDBOX_H
#define KELP_TESTS_SUPPORT_SANDBOX_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "sim_state.h"

namespace kelptest {

constexpr const char* kKelpMount = "/mnt/kelp";    // tmpfs, listed as type kelp in /etc/mtab
constexpr const char* kOtherMount = "/mnt/other";  // tmpfs: another device
constexpr const char* kNoAclMount = "/mnt/noacl";  // ramfs: no ACLs, no extended attributes

// Test accounts of the sandbox's /etc/passwd and /etc/group.
constexpr uid_t kUser1Uid = 5001;  // kelpuser1, primary group kelpgrp1
constexpr uid_t kUser2Uid = 5002;  // kelpuser2, primary group kelpgrp2
constexpr gid_t kGroup1Gid = 6001;
constexpr gid_t kGroup2Gid = 6002;
constexpr gid_t kAdminsGid = 6003;  // kelpadmins: kelpuser1 and kelpuser2

// Aborts with a clear message unless the process runs inside the sandbox.
void require_sandbox();

// A fresh directory under |mount|, removed with its contents on destruction.
class ScratchDir final {
 public:
  explicit ScratchDir(const std::string& name, const char* mount = kKelpMount);
  ~ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& child) const { return path_ + "/" + child; }

 private:
  std::string path_;
};

// Runs |fn| in a child process with the given identity (no supplementary
// groups) and returns its exit status, or -1 if it died.
int run_as(uid_t uid, gid_t gid, const std::function<int()>& fn);

// Runs a shell command line; returns its exit status and appends its
// standard output to |out| when given.
int run_command(const std::string& command, std::string* out = nullptr);

std::string read_file(const std::string& path);
void write_file(const std::string& path, const std::string& content);
bool path_exists(const std::string& path);  // lstat succeeds

// Descriptors of this process open on |path|.
int count_fds_on(const std::string& path);

// The descriptors open at construction. added() counts those open now that
// were not (same number, same open file): the JVM closes descriptors of its
// own whenever it likes (a cleaner closing an unreachable jar or stream),
// which a plain count would take for a descriptor given back.
class FdSnapshot final {
 public:
  FdSnapshot();
  int added() const;

 private:
  struct Open {
    int fd;
    dev_t dev;
    ino_t ino;
    bool operator<(const Open& o) const;
  };
  static std::vector<Open> take();
  std::vector<Open> open_;
};
// Whether descriptor |fd| has FD_CLOEXEC.
bool is_cloexec(int fd);

// Records of the simulated library's request log for |call| and |path|.
std::vector<kelpsim::Record> sim_records(const std::string& call, const std::string& path);
// A simulated per-file attribute ("" when unset).
std::string sim_attr(const std::string& path, const std::string& key);

// Makes sandbox/scenarios/<name>.scn of the source tree the simulated cluster
// in effect; aborts the test binary when the file is missing or malformed.
void use_scenario(const std::string& name);
// Makes |text| the simulated cluster in effect.
void use_scenario_text(const std::string& text);

// Runs of the fake administration commands since the last clear, each as its
// exact argument vector with the command's name first; only those of
// |command| when it is given.
std::vector<std::vector<std::string>> admin_invocations(const std::string& command = "");
void clear_admin_invocations();
// The descriptors the last run of fake command |command| was started with.
std::vector<int> admin_descriptors(const std::string& command);

}  // namespace kelptest

#endif  // KELP_TESTS_SUPPORT_SANDBOX_H
