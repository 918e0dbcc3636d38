// Hostile snapshot and link names, locally and through the helper daemon
// (which runs the commands as root): each snapshot name reaches the fake
// command as exactly one argument and makes exactly the snapshot of that
// name; nothing a shell would do with the name ever happens.
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "snapshot/snapshot_support.h"
#include "support/hostile_names.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::clear_admin_invocations;
using kelptest::jstr;
using kelptest::path_exists;
using kelptest::to_std;
using snaptest::image_of;
using snaptest::read_link;
using snaptest::snapshot_commands;
using snaptest::snapshot_images;

using Argv = std::vector<std::vector<std::string>>;

// Link names reach no shell, but are used as they are: the link made,
// renamed and deleted is the one of exactly that name.
const std::vector<std::string> kHostileLinkNames = {
    "-rf", "l;id", "$(id)", "`id`", "a b", "'", "\"", "new\nline", "*", " ",
};

using SnapshotNames = snaptest::SnapshotTest;

// Every word of the shared corpus that the JVM can express, as a snapshot
// name (a name the command refuses must still reach it whole).
TEST_P(SnapshotNames, NamesReachTheCommandsWholeAndLinksKeepTheirs) {
  ASSERT_FALSE(kelptest::injection_sentinel_exists());
  for (size_t i = 0; i < kelptest::kHostileWords.size(); ++i) {
    std::string name = unique(kelptest::kHostileWords[i]);
    jstring jname = kelptest::java_string_of(name);
    if (jname == nullptr) continue;
    std::string link = kHostileLinkNames[i % kHostileLinkNames.size()] + std::to_string(i);
    std::string renamed = link + "~";
    bool valid = name.find('/') == std::string::npos;
    std::set<std::string> before = snapshot_images();
    clear_admin_invocations();

    EXPECT_EQ(to_std(KELP_NS(nCreateSnapshot, jstr(dir_.path()), jname, jstr(link))),
              dir_ / ".snapshot/" + link);
    EXPECT_EQ(snapshot_commands(), (Argv{{"kpcrsnapshot", "kelpfs1", name}})) << name;
    std::set<std::string> expected = before;
    if (valid) expected.insert(name);
    EXPECT_EQ(snapshot_images(), expected) << name;
    EXPECT_EQ(read_link(dir_ / ".snapshot/" + link).rfind(image_of(name) + "/", 0), 0u) << link;
    if (!valid) continue;  // the link dangles: there is nothing to delete

    EXPECT_TRUE(KELP_NS(nRenameSnapshot, jstr(dir_.path()), jstr(link), jstr(renamed))) << link;
    clear_admin_invocations();
    EXPECT_TRUE(KELP_NS(nDeleteSnapshot, jstr(dir_.path()), jstr(renamed))) << name;
    EXPECT_EQ(snapshot_commands(), (Argv{{"kpdelsnapshot", "kelpfs1", name}})) << name;
    EXPECT_EQ(snapshot_images(), before) << name;
    EXPECT_FALSE(path_exists(dir_ / ".snapshot/" + renamed)) << link;
  }
  EXPECT_FALSE(kelptest::injection_sentinel_exists());
}

KELP_INSTANTIATE_IN_BOTH_MODES(SnapshotNames);

// The first Kelp file system is /mnt/other, whose device name is full of
// shell syntax (scenario details-quoting, and its line in this sandbox's
// /etc/mtab). The library learns the device once per process, so this runs
// in a process of its own (snapshot_names_test_device, tests.cmake).
class HostileDevice : public snaptest::SnapshotTest {
 protected:
  static constexpr const char* kDevice = "kelp;touch${IFS}/run/kelp-injected;#'$(id)";

  static bool fresh() { return std::getenv("KELP_SNAPSHOT_FRESH") != nullptr; }
  static void SetUpTestSuite() {
    if (!fresh()) return;
    kelptest::use_scenario("details-quoting");
    kelptest::write_file("/etc/mtab", kelptest::read_file("/etc/mtab") + kDevice +
                                          " /mnt/other kelp rw 0 0\n");
  }
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(SnapshotTest::SetUp());
    if (!fresh()) GTEST_SKIP() << "runs in a process of its own";
  }
};

TEST_P(HostileDevice, DeviceNamesReachTheCommandsWhole) {
  kelptest::ScratchDir dir("snapdev", kelptest::kOtherMount);
  kelptest::write_file(dir / "f", "kept");
  std::string name = unique("$(id)`id`;x");
  std::string link = to_std(KELP_NS(nCreateSnapshot, jstr(dir.path()), jstr(name), jstr("l")));
  EXPECT_EQ(link, dir / ".snapshot/l");
  EXPECT_EQ(snapshot_commands(), (Argv{{"kpcrsnapshot", kDevice, name}}));
  EXPECT_EQ(kelptest::read_file(link + "/f"), "kept");

  clear_admin_invocations();
  EXPECT_TRUE(KELP_NS(nDeleteSnapshot, jstr(dir.path()), jstr("l")));
  EXPECT_EQ(snapshot_commands(), (Argv{{"kpdelsnapshot", kDevice, name}}));
  EXPECT_FALSE(path_exists(std::string(kelptest::kOtherMount) + "/.snapshots/" + name));
  EXPECT_FALSE(path_exists("/run/kelp-injected"));
}

KELP_INSTANTIATE_IN_BOTH_MODES(HostileDevice);

}  // namespace
