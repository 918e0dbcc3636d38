// Directory snapshots as root, from a real JVM, locally and through the
// reference helper daemon: the fake administration commands take real
// images of /mnt/kelp (device kelpfs1, the sandbox's first Kelp file
// system), so links are checked by reading through them.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <string>
#include <vector>

#include "snapshot/snapshot_support.h"
#include "support/file_info.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::admin_invocations;
using kelptest::clear_admin_invocations;
using kelptest::jstr;
using kelptest::kKelpMount;
using kelptest::path_exists;
using kelptest::read_file;
using kelptest::take_exception;
using kelptest::to_std;
using kelptest::write_file;
using snaptest::image_of;
using snaptest::read_link;
using snaptest::snapshot_commands;

using Argv = std::vector<std::vector<std::string>>;

const std::string kCreateFailed = "java.io.IOException: Failed to create Snapshot";
const std::string kDeleteFailed = "java.io.IOException: Failed to delete Snapshot";

class Snapshots : public snaptest::SnapshotTest {
 protected:
  std::string create(const std::string& dir, const std::string& name, const std::string& link) {
    return to_std(KELP_NS(nCreateSnapshot, jstr(dir), jstr(name), jstr(link)));
  }
  std::string link_of(const std::string& link) const { return dir_ / ".snapshot/" + link; }
  // The link target create makes for the scratch directory.
  std::string image_dir(const std::string& name) const {
    return image_of(name) + "/" + dir_.path().substr(std::string(kKelpMount).size() + 1);
  }
};

TEST_P(Snapshots, TakeReadThroughRenameAndDelete) {
  ASSERT_EQ(::chown(dir_.path().c_str(), kelptest::kUser1Uid, kelptest::kGroup1Gid), 0);
  write_file(dir_ / "f", "before");
  std::string s = unique("a");

  EXPECT_EQ(create(dir_.path(), s, "first"), dir_ / ".snapshot/first");
  EXPECT_EQ(snapshot_commands(), (Argv{{"kpcrsnapshot", "kelpfs1", s}}));
  EXPECT_EQ(kelptest::mode_of(dir_ / ".snapshot"), 0550u);
  EXPECT_EQ(kelptest::owner_of(dir_ / ".snapshot"), kelptest::kUser1Uid);
  EXPECT_EQ(kelptest::group_of(dir_ / ".snapshot"), kelptest::kGroup1Gid);
  EXPECT_EQ(read_link(link_of("first")), image_dir(s));
  write_file(dir_ / "f", "after");
  EXPECT_EQ(read_file(link_of("first") + "/f"), "before");

  // A link name in use: refused before any command runs.
  clear_admin_invocations();
  EXPECT_EQ(KELP_NS(nCreateSnapshot, jstr(dir_.path()), jstr(unique("b")), jstr("first")), nullptr);
  EXPECT_EQ(take_exception(), kCreateFailed);
  EXPECT_EQ(snapshot_commands(), Argv{});

  // Renaming moves only the link.
  std::string t = unique("c");
  ASSERT_EQ(create(dir_.path(), t, "other"), link_of("other"));
  EXPECT_TRUE(KELP_NS(nRenameSnapshot, jstr(dir_.path()), jstr("first"), jstr("second")));
  EXPECT_FALSE(path_exists(link_of("first")));
  EXPECT_EQ(read_file(link_of("second") + "/f"), "before");
  EXPECT_FALSE(KELP_NS(nRenameSnapshot, jstr(dir_.path()), jstr("second"), jstr("other")));
  EXPECT_FALSE(KELP_NS(nRenameSnapshot, jstr(dir_.path()), jstr("first"), jstr("third")));
  EXPECT_EQ(take_exception(), "");
  EXPECT_EQ(read_file(link_of("other") + "/f"), "after");
  EXPECT_TRUE(path_exists(image_of(s)));

  // Delete takes the snapshot's name from the link.
  clear_admin_invocations();
  EXPECT_TRUE(KELP_NS(nDeleteSnapshot, jstr(dir_.path()), jstr("second")));
  EXPECT_EQ(snapshot_commands(), (Argv{{"kpdelsnapshot", "kelpfs1", s}}));
  EXPECT_FALSE(path_exists(link_of("second")));
  EXPECT_FALSE(path_exists(image_of(s)));
  EXPECT_TRUE(path_exists(image_of(t)));
  EXPECT_TRUE(path_exists(dir_ / ".snapshot")) << "the folder of links stays";

  clear_admin_invocations();
  EXPECT_FALSE(KELP_NS(nDeleteSnapshot, jstr(dir_.path()), jstr("second")));
  EXPECT_EQ(take_exception(), kDeleteFailed);
  EXPECT_EQ(snapshot_commands(), Argv{});
  EXPECT_TRUE(KELP_NS(nDeleteSnapshot, jstr(dir_.path()), jstr("other")));
}

TEST_P(Snapshots, CreateAsGivesOnlyTheLinkAway) {
  std::string link = link_of("l");
  jstring r = KELP_NS(nCreateSnapshotAs, jstr(dir_.path()), jstr(unique("a")), jstr("l"),
                      jstr("kelpuser2"), jstr("kelpgrp2"));
  EXPECT_EQ(to_std(r), link);
  EXPECT_EQ(kelptest::owner_of(link), kelptest::kUser2Uid);
  EXPECT_EQ(kelptest::group_of(link), kelptest::kGroup2Gid);
  EXPECT_EQ(kelptest::owner_of(dir_ / ".snapshot"), 0u) << "the directory's owner";

  // An unknown user fails the call after the snapshot and its link exist.
  clear_admin_invocations();
  EXPECT_EQ(KELP_NS(nCreateSnapshotAs, jstr(dir_.path()), jstr(unique("b")), jstr("m"),
                    jstr("no-such-user"), jstr("")),
            nullptr);
  EXPECT_EQ(take_exception(), kCreateFailed);
  EXPECT_TRUE(path_exists(image_of(unique("b"))));
  EXPECT_EQ(kelptest::owner_of(link_of("m")), 0u);
  EXPECT_EQ(admin_invocations("kpdelsnapshot"), Argv{});
}

TEST_P(Snapshots, ACommandThatRefusesStillCountsAsRun) {
  write_file(dir_ / "f", "one");
  std::string s = unique("a");
  ASSERT_EQ(create(dir_.path(), s, "l1"), link_of("l1"));
  // The name is taken: the command refuses, and the new link shares the image.
  write_file(dir_ / "f", "two");
  EXPECT_EQ(create(dir_.path(), s, "l2"), link_of("l2"));
  EXPECT_EQ(read_file(link_of("l2") + "/f"), "one");
  EXPECT_EQ(admin_invocations("kpcrsnapshot").size(), 2u);

  // No room for another snapshot: the link is made and dangles; create-as
  // then finds no link and fails.
  snaptest::ScenarioWith full("snapshots limit 0");
  std::string t = unique("b");
  EXPECT_EQ(create(dir_.path(), t, "l3"), link_of("l3"));
  EXPECT_EQ(read_link(link_of("l3")), image_dir(t));
  EXPECT_FALSE(path_exists(image_of(t)));
  EXPECT_EQ(KELP_NS(nCreateSnapshotAs, jstr(dir_.path()), jstr(unique("c")), jstr("l4"),
                    jstr("kelpuser1"), jstr("kelpgrp1")),
            nullptr);
  EXPECT_EQ(take_exception(), kCreateFailed);
  EXPECT_EQ(kelptest::owner_of(link_of("l4")), 0u);
}

TEST_P(Snapshots, ALinkThatCannotBeMadeUndoesTheSnapshot) {
  std::string snapdir = dir_ / ".snapshot";
  ASSERT_EQ(::mkdir(snapdir.c_str(), 0550), 0);
  snaptest::ReadOnlyBind read_only(snapdir);
  ASSERT_TRUE(read_only.ok());
  std::string s = unique("a");
  EXPECT_EQ(KELP_NS(nCreateSnapshot, jstr(dir_.path()), jstr(s), jstr("l")), nullptr);
  EXPECT_EQ(take_exception(), kCreateFailed);
  EXPECT_EQ(snapshot_commands(),
            (Argv{{"kpcrsnapshot", "kelpfs1", s}, {"kpdelsnapshot", "kelpfs1", s}}));
  EXPECT_FALSE(path_exists(image_of(s)));
}

TEST_P(Snapshots, DeleteRunsNothingForLinksOutsideTheSnapshots) {
  std::string s = unique("a");
  ASSERT_EQ(create(dir_.path(), s, "real"), link_of("real"));
  clear_admin_invocations();
  // A link elsewhere; one naming a snapshot with nothing after its name;
  // one whose target does not exist.
  const std::vector<std::pair<std::string, std::string>> links = {
      {"outside", dir_.path()},
      {"bare", image_of(s)},
      {"dangling", image_of(s) + "/no/such/dir"},
      {"other-fs", "/mnt/kelp2"},
  };
  for (const auto& [name, target] : links) {
    ASSERT_EQ(::symlink(target.c_str(), link_of(name).c_str()), 0);
    EXPECT_FALSE(KELP_NS(nDeleteSnapshot, jstr(dir_.path()), jstr(name))) << name;
    EXPECT_EQ(take_exception(), kDeleteFailed);
    EXPECT_TRUE(path_exists(link_of(name)));
  }
  EXPECT_EQ(snapshot_commands(), Argv{});
  EXPECT_TRUE(path_exists(image_of(s)));
  EXPECT_TRUE(KELP_NS(nDeleteSnapshot, jstr(dir_.path()), jstr("real")));
}

TEST_P(Snapshots, DirectoriesAreTakenAsGiven) {
  write_file(dir_ / "f", "x");
  std::string name = dir_.path().substr(dir_.path().rfind('/') + 1);

  // A trailing slash stays in the answer and in the image path.
  std::string s = unique("a");
  EXPECT_EQ(create(dir_.path() + "/", s, "l"), dir_.path() + "//.snapshot/l");
  EXPECT_EQ(read_link(link_of("l")), image_dir(s) + "/");
  EXPECT_EQ(read_file(link_of("l") + "/f"), "x");

  // The mount point itself: the link leads to the snapshot's root.
  std::string t = unique("b");
  std::string root_link = std::string(kKelpMount) + "/.snapshot/" + name;
  EXPECT_EQ(create(kKelpMount, t, name), root_link);
  EXPECT_EQ(read_link(root_link), image_of(t) + "/");
  EXPECT_EQ(read_file(root_link + "/" + name + "/f"), "x");
  clear_admin_invocations();
  EXPECT_TRUE(KELP_NS(nDeleteSnapshot, jstr(kKelpMount), jstr(name)));
  EXPECT_EQ(snapshot_commands(), (Argv{{"kpdelsnapshot", "kelpfs1", t}}));

  // A path that only starts like the mount point passes the prefix test and
  // loses the character after it.
  kelptest::ScratchDir near("snap-near", "/mnt/kelp2");
  std::string u = unique("c");
  EXPECT_EQ(create(near.path(), u, "l"), near / ".snapshot/l");
  EXPECT_EQ(read_link(near / ".snapshot/l"),
            image_of(u) + "/" + near.path().substr(std::string(kKelpMount).size() + 1));

  // Outside the file system: the folder of links is made, nothing runs.
  kelptest::ScratchDir other("snap-other", kelptest::kOtherMount);
  clear_admin_invocations();
  EXPECT_EQ(KELP_NS(nCreateSnapshot, jstr(other.path()), jstr(unique("d")), jstr("l")), nullptr);
  EXPECT_EQ(take_exception(), kCreateFailed);
  EXPECT_TRUE(path_exists(other / ".snapshot"));
  EXPECT_EQ(snapshot_commands(), Argv{});
}

KELP_INSTANTIATE_IN_BOTH_MODES(Snapshots);

}  // namespace
