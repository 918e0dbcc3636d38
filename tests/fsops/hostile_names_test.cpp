// The shared corpus of hostile names (support/hostile_names.h) through every
// command the library runs outside the snapshot code (snapshot_names_test
// covers that): the mv fallback of a rename across devices, locally and
// through the helper daemon (which runs it as root), and the command lines
// of the pool listing, the file-system attributes and the disk listing.
// Each command gets exactly the bytes given, and the sentinel that an
// injected command would create never appears.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "details/details.h"
#include "fsops/local_ops.h"
#include "support/connection_modes.h"
#include "support/hostile_names.h"
#include "support/sandbox.h"
#include "topology/command_runner.h"
#include "topology/topology.h"

namespace {

using kelptest::kHostileWords;
using Argv = std::vector<std::string>;

using HostileRename = kelptest::ConnectionModeTest;

// Every word the JVM can express, as both the source and the target name of
// a rename from /mnt/kelp to /mnt/other: the file arrives under exactly that
// name, with its content.
TEST_P(HostileRename, AcrossDevicesThroughMv) {
  ASSERT_FALSE(kelptest::injection_sentinel_exists());
  kelptest::ScratchDir from("hostile-from");
  kelptest::ScratchDir to("hostile-to", kelptest::kOtherMount);
  int expressible = 0;
  for (const std::string& word : kHostileWords) {
    SCOPED_TRACE(word);
    std::string src = from / word, dst = to / (word + "-moved");
    jstring jsrc = kelptest::java_string_of(src), jdst = kelptest::java_string_of(dst);
    if (jsrc == nullptr) continue;  // not modified UTF-8: see CoreRenameTakesAnyBytes
    ++expressible;
    kelptest::write_file(src, word);
    EXPECT_TRUE(KELP_NS(nRename, jsrc, jdst));
    EXPECT_EQ(kelptest::take_exception(), "");
    EXPECT_FALSE(kelptest::path_exists(src));
    EXPECT_EQ(kelptest::read_file(dst), word);
  }
  EXPECT_GE(expressible, static_cast<int>(kHostileWords.size()) - 2);
  EXPECT_FALSE(kelptest::injection_sentinel_exists());
}

KELP_INSTANTIATE_IN_BOTH_MODES(HostileRename);

// The core takes any bytes, also relative paths that begin with '-', which
// mv must not read as options.
TEST(HostileNames, CoreRenameTakesAnyBytes) {
  kelptest::ScratchDir from("hostile-core");
  kelptest::ScratchDir to("hostile-core-to", kelptest::kOtherMount);
  char cwd[4096];
  ASSERT_NE(::getcwd(cwd, sizeof cwd), nullptr);
  ASSERT_EQ(::chdir(from.path().c_str()), 0);
  for (const std::string& word : kHostileWords) {
    SCOPED_TRACE(word);
    kelptest::write_file(from / word, word);
    // Relative source: mv runs in this directory.
    EXPECT_EQ(kelp::kelp_rename(word.c_str(), (to / word).c_str()), kelp::kRenameOk);
    EXPECT_EQ(kelptest::read_file(to / word), word);
    EXPECT_FALSE(kelptest::path_exists(from / word));
  }
  ASSERT_EQ(::chdir(cwd), 0);
  EXPECT_FALSE(kelptest::injection_sentinel_exists());
}

// The listings that name a device or a file system, as the library builds
// and runs them: each fake command logs exactly the word as its argument.
TEST(HostileNames, ListingCommandsGetTheWordAsOneArgument) {
  kelptest::use_scenario("default");
  for (const std::string& word : kHostileWords) {
    SCOPED_TRACE(word);
    kelptest::clear_admin_invocations();
    std::string out;
    ASSERT_EQ(kelp::exec_command(kelp::pool_listing_command(word), out), 0);
    ASSERT_EQ(kelp::exec_command(kelp::fs_attributes_command(word), out), 0);
    ASSERT_EQ(kelp::exec_command(kelp::disk_list_command(word), out), 0);
    EXPECT_EQ(kelptest::admin_invocations(),
              (std::vector<Argv>{{"kplspool", word, "all", "-L"},
                                 {"kplsfs", word, "-V", "-r", "-R"},
                                 {"kplsdisk", word, "-L"}}));
  }
  EXPECT_FALSE(kelptest::injection_sentinel_exists());
}

}  // namespace
