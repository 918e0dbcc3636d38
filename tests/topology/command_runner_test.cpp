// The command runner: exact capture of what a command prints, quoting that
// hands any name to a command as exactly one argument, and children that
// inherit none of the caller's close-on-exec descriptors.
#include "topology/command_runner.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "jni/fd.h"
#include "support/hostile_names.h"
#include "support/sandbox.h"

namespace {

using kelp::exec_command;
using kelp::shell_quote;

TEST(CommandRunner, QuotedWordsReachTheCommandAsExactlyOneArgument) {
  std::vector<std::string> names = kelptest::kHostileWords;
  names.insert(names.end(), {"plain", "'", ""});
  for (const std::string& name : names) {
    std::string out;
    ASSERT_EQ(exec_command("printf '<%s>' " + shell_quote(name) + " 2>&1", out), 0) << name;
    EXPECT_EQ(out, "<" + name + ">");
  }
  EXPECT_EQ(shell_quote("kelpfs1"), "kelpfs1") << "a plain name stays as it is";
  EXPECT_FALSE(kelptest::injection_sentinel_exists());
}

TEST(CommandRunner, CapturesLongLinesWholeAndIgnoresTheExitStatus) {
  std::string out = "kept ";  // appended to, never cleared
  ASSERT_EQ(exec_command("head -c 1500 /dev/zero | tr '\\0' x; echo; echo tail; exit 3", out), 0);
  EXPECT_EQ(out, "kept " + std::string(1500, 'x') + "\ntail\n");

  out.clear();
  EXPECT_EQ(exec_command("/no/such/command 2>&1", out), 0);
  EXPECT_NE(out.find("not found"), std::string::npos) << out;

  kelp::RunResult r = kelp::run_program({"/no/such/program"});
  EXPECT_FALSE(r.started);
  EXPECT_EQ(kelp::run_program({"sh", "-c", "exit 7"}).exit_status, 7);
}

TEST(CommandRunner, ChildrenInheritNoCloseOnExecDescriptor) {
  kelptest::ScratchDir dir("runner");
  std::string marker = dir / "kept-by-the-library";
  kelp::UniqueFd kept(::open(marker.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_TRUE(kept);
  std::string out;
  ASSERT_EQ(exec_command("ls -l /proc/self/fd/", out), 0);
  EXPECT_NE(out.find("/proc/"), std::string::npos) << "ls's own descriptor is listed: " << out;
  EXPECT_EQ(out.find(marker), std::string::npos) << out;
}

}  // namespace
