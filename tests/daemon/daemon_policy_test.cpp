// What the helper daemon refuses its allowed peers: paths outside the Kelp
// file systems and the configured directories (named outright, through
// "..", through a symbolic link), and acting for users and groups its
// proxy rules do not grant. Real clients (the library's own channel code)
// talk to the real daemon; every refusal leaves the disk as it was.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "channel/connection.h"
#include "channel/framing.h"
#include "channel/payload.h"
#include "channel/request.h"
#include "fsops/local_ops.h"
#include "jni/fd.h"
#include "support/file_info.h"
#include "support/helper_daemon.h"
#include "support/sandbox.h"

namespace {

using kelp::Payload;
using kelptest::path_exists;

// One byte answer of request |type|, or 99 when none came.
int ask(int conn, char type, const Payload& p) {
  signed char reply = 0;
  return kelp::exchange_byte(conn, type, p, reply) ? reply : 99;
}

// A create's answer; the descriptor of an accepted one is closed.
int create_as(int conn, const std::string& path, const std::string& user,
              const std::string& group) {
  Payload p;
  p.str(path).i32(0644).i32(0).i32(1).str(user).str(group).i32(0);
  kelp::DescriptorReply r = kelp::exchange_for_fd(conn, kelp::kMsgCreateAs, p);
  kelp::UniqueFd fd(r.fd);
  return r.arrived ? r.byte : 99;
}

int mkdirs_as(int conn, const std::string& path, const std::string& user,
              const std::string& group) {
  return ask(conn, kelp::kMsgMkdirsAs, Payload().str(path).i32(0755).str(user).str(group));
}

int count(const std::string& text, const std::string& what) {
  int n = 0;
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; ++at) ++n;
  return n;
}

class DaemonPolicy : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    kelptest::require_sandbox();
    ::unlink(kelp::kDaemonSocketPath);
    daemon_ = new kelptest::HelperDaemon(
        {"--serve", "--allow-uid", "0", "--allow-user", "kelpsvc", "--allow-user", "kelpuser1",
         "--allow-path", "/mnt/noacl/", "--proxy-user", "kelpsvc", "--proxy-users", "kelpuser1",
         "--proxy-groups", "kelpgrp2", "--proxy-user", "kelpuser1", "--proxy-users", "*"});
  }
  static void TearDownTestSuite() {
    delete daemon_;
    daemon_ = nullptr;
  }
  void SetUp() override { ASSERT_TRUE(daemon_->ready()) << daemon_->log(); }

  static kelptest::HelperDaemon* daemon_;
  kelptest::ScratchDir dir_{"policy"};
  kelptest::ScratchDir outside_{"policy-outside", kelptest::kOtherMount};
};

kelptest::HelperDaemon* DaemonPolicy::daemon_ = nullptr;

TEST_F(DaemonPolicy, PathsStayInsideTheKelpMountsAndAllowedDirectories) {
  kelp::UniqueFd conn(kelp::connect_daemon(0, "root"));
  ASSERT_TRUE(conn);
  int c = conn.get();
  std::string out = outside_.path();
  kelptest::write_file(out + "/victim", "keep");
  ASSERT_EQ(::chmod((out + "/victim").c_str(), 0600), 0);
  ASSERT_EQ(::symlink(out.c_str(), (dir_ / "escape").c_str()), 0);
  ASSERT_EQ(::symlink((out + "/gone").c_str(), (dir_ / "dangling").c_str()), 0);
  kelptest::write_file(dir_ / "mine", "x");
  std::string dotdot = dir_.path() + "/../../other/" + out.substr(out.rfind('/') + 1);
  int before = count(daemon_->log(), "request refused");

  // Refused: named outright, through "..", through a link (also a dangling
  // one a create would follow), a relative path.
  EXPECT_EQ(ask(c, kelp::kMsgMkdirs, Payload().str(out + "/made").i32(0755)), 0);
  EXPECT_EQ(create_as(c, dotdot + "/made", "", ""), -EACCES);
  EXPECT_EQ(create_as(c, dir_ / "escape/made", "", ""), -EACCES);
  EXPECT_EQ(create_as(c, dir_ / "dangling", "", ""), -EACCES);
  EXPECT_EQ(ask(c, kelp::kMsgChmod, Payload().str(dir_ / "escape/victim").i32(0777)), 0);
  EXPECT_EQ(ask(c, kelp::kMsgChmod, Payload().str(dotdot + "/victim").i32(0777)), 0);
  EXPECT_EQ(ask(c, kelp::kMsgDelete, Payload().str(dotdot + "/victim").i32(1)), 0);
  EXPECT_EQ(ask(c, kelp::kMsgRename, Payload().str(dir_ / "mine").str(out + "/moved")),
            kelp::kRenameFailed);
  EXPECT_EQ(ask(c, kelp::kMsgRename, Payload().str(dir_ / "mine").str(dir_ / "escape")),
            kelp::kRenameFailed)
      << "a rename onto a link to a directory would move into it";
  EXPECT_EQ(ask(c, kelp::kMsgCreateSymlink, Payload().str("/etc").str(out + "/l")), 0);
  EXPECT_EQ(ask(c, kelp::kMsgExists, Payload().str("/etc/passwd")), 0);
  EXPECT_EQ(ask(c, kelp::kMsgMkdirs, Payload().str("mnt/kelp/rel").i32(0755)), 0);
  EXPECT_EQ(kelp::helper_get_fd(c, "/etc/passwd"), -1);
  char resolved[64] = {1};
  ASSERT_TRUE(kelp::exchange(c, kelp::kMsgResolveSymlink, Payload().str(dir_ / "escape"),
                             resolved, sizeof resolved));
  EXPECT_STREQ(resolved, "");
  // A snapshot link name that climbs out of the directory.
  kelptest::clear_admin_invocations();
  EXPECT_EQ(ask(c, kelp::kMsgCreateSnapshot,
                Payload().str(dir_.path()).str("s1").str("../../../other/snap")),
            0);
  EXPECT_TRUE(kelptest::admin_invocations().empty()) << "no command ran";

  int refusals = count(daemon_->log(), "request refused") - before;
  EXPECT_EQ(refusals, 15) << daemon_->log();
  EXPECT_NE(daemon_->log().find("path \"/etc/passwd\" does not resolve inside"), std::string::npos);
  EXPECT_FALSE(path_exists(out + "/made"));
  EXPECT_FALSE(path_exists(out + "/moved"));
  EXPECT_FALSE(path_exists(out + "/l"));
  EXPECT_FALSE(path_exists(out + "/gone"));
  EXPECT_EQ(kelptest::read_file(out + "/victim"), "keep");
  EXPECT_EQ(kelptest::stat_of(out + "/victim").st_mode & 07777, 0600u);
  EXPECT_TRUE(path_exists(dir_ / "mine"));

  // Allowed: the link itself (its target is data, its place is inside),
  // removing a link to the outside, the configured directory.
  EXPECT_EQ(ask(c, kelp::kMsgCreateSymlink, Payload().str("/etc").str(dir_ / "l")), 1);
  EXPECT_EQ(ask(c, kelp::kMsgDelete, Payload().str(dir_ / "escape").i32(1)), 1);
  EXPECT_FALSE(path_exists(dir_ / "escape"));
  EXPECT_EQ(kelptest::read_file(out + "/victim"), "keep");
  EXPECT_EQ(ask(c, kelp::kMsgMkdirs, Payload().str("/mnt/noacl/policy-made/a").i32(0755)), 1);
  EXPECT_EQ(ask(c, kelp::kMsgDelete, Payload().str("/mnt/noacl/policy-made").i32(1)), 1);
  EXPECT_EQ(ask(c, kelp::kMsgMkdirs, Payload().str(dir_ / "new/deeper").i32(0755)), 1);
}

TEST_F(DaemonPolicy, ActingForOthersFollowsTheProxyRules) {
  std::string d = dir_.path();
  ASSERT_EQ(::chmod(d.c_str(), 0777), 0);
  // kelpsvc may act for kelpuser1 (named) and for kelpuser2 (a member of
  // kelpgrp2), give ownership to their groups and to kelpgrp2, nothing else.
  int status = kelptest::run_as(5003, kelptest::kAdminsGid, [d] {
    if (kelp::connect_daemon(1, "root") != -1) return 1;
    kelp::UniqueFd conn(kelp::connect_daemon(1, "kelpuser1"));
    if (!conn) return 2;
    int c = conn.get();
    if (mkdirs_as(c, d + "/u1", "kelpuser1", "kelpgrp1") != 1) return 3;
    if (mkdirs_as(c, d + "/u2", "kelpuser2", "") != 1) return 4;          // by group
    if (create_as(c, d + "/f2", "kelpuser1", "kelpgrp2") != 1) return 5;  // a proxy group
    if (mkdirs_as(c, d + "/root", "root", "") != 0) return 6;             // user refused
    if (mkdirs_as(c, d + "/grp", "kelpuser1", "root") != 0) return 7;     // group refused
    if (create_as(c, d + "/grp2", "", "kelpgrp1") != -EACCES) return 8;   // not kelpsvc's
    if (create_as(c, d + "/own", "", "kelpadmins") != 1) return 9;       // its own group
    return 0;
  });
  EXPECT_EQ(status, 0) << daemon_->log();
  EXPECT_EQ(kelptest::stat_of(d + "/u1").st_uid, kelptest::kUser1Uid);
  EXPECT_EQ(kelptest::stat_of(d + "/u1").st_gid, kelptest::kGroup1Gid);
  EXPECT_EQ(kelptest::stat_of(d + "/u2").st_uid, kelptest::kUser2Uid);
  EXPECT_EQ(kelptest::stat_of(d + "/f2").st_gid, kelptest::kGroup2Gid);
  EXPECT_FALSE(path_exists(d + "/root"));
  EXPECT_FALSE(path_exists(d + "/grp"));
  EXPECT_FALSE(path_exists(d + "/grp2"));
  std::string log = daemon_->log();
  EXPECT_NE(log.find("uid 5003: may not act for user \"root\""), std::string::npos) << log;
  EXPECT_NE(log.find("'M' request refused: may not act for group \"root\""), std::string::npos);

  // "*" lets kelpuser1 act for anyone; root has no rule, so only for itself.
  status = kelptest::run_as(kelptest::kUser1Uid, kelptest::kGroup1Gid, [d] {
    kelp::UniqueFd conn(kelp::connect_daemon(1, "kelpuser2"));
    if (!conn) return 1;
    return mkdirs_as(conn.get(), d + "/star", "kelpuser2", "kelpadmins") == 1 ? 0 : 2;
  });
  EXPECT_EQ(status, 0) << daemon_->log();
  EXPECT_EQ(kelptest::stat_of(d + "/star").st_uid, kelptest::kUser2Uid);
  EXPECT_EQ(kelp::connect_daemon(0, "kelpuser1"), -1);
  kelp::UniqueFd conn(kelp::connect_daemon(0, "root"));
  ASSERT_TRUE(conn);
  EXPECT_EQ(mkdirs_as(conn.get(), d + "/byroot", "kelpuser1", ""), 0);
  EXPECT_FALSE(path_exists(d + "/byroot"));
  // A peer off the allow list is never served, whatever it names.
  status = kelptest::run_as(kelptest::kUser2Uid, kelptest::kGroup2Gid,
                            [] { return kelp::connect_daemon(1, "kelpuser2") == -1 ? 0 : 1; });
  EXPECT_EQ(status, 0);
}

// A policy that cannot mean what it says stops the start (status 2).
TEST(DaemonPolicyOptions, AmbiguousRulesStopTheStart) {
  kelptest::require_sandbox();
  for (const auto& args : std::vector<std::vector<std::string>>{
           {"--proxy-users", "kelpuser1"},                // whose rule?
           {"--proxy-user", "nosuchuser", "--proxy-users", "*"},
           {"--proxy-user", "kelpsvc", "--proxy-groups", ""},
           {"--allow-path", "mnt/kelp"}}) {               // relative
    ::unlink(kelp::kDaemonSocketPath);
    kelptest::HelperDaemon d(args);
    EXPECT_FALSE(d.ready());
    EXPECT_EQ(d.wait(), 2) << args[0] << " " << args[1];
  }
}

}  // namespace
