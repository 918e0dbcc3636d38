// The snapshot entry points against a scripted stand-in daemon: the frames
// they send and what Java gets for every code a daemon may answer,
// including none at all.
#include <gtest/gtest.h>

#include <string>

#include "support/fake_daemon.h"
#include "support/jvm.h"
#include "support/scripted_daemon.h"

namespace {

using kelptest::byte_answer;
using kelptest::jstr;
using kelptest::take_exception;
using kelptest::to_std;

// A string as requests carry it.
std::string str0(const std::string& s) { return s + '\0'; }

using SnapshotReplies = kelptest::ScriptedDaemonTest;

const std::string kIo = "java.io.IOException: ";

TEST_F(SnapshotReplies, CreateCodesBecomeTheLinkPathOrTheirTexts) {
  ASSERT_NO_FATAL_FAILURE(serve({{'h', byte_answer(1)}, {'H', byte_answer(1)}}));
  // The directory is taken as given, slashes and all.
  EXPECT_EQ(to_std(KELP_NS(nCreateSnapshot, jstr("/k//d/"), jstr("s 1"), jstr("l"))),
            "/k//d//.snapshot/l");
  EXPECT_EQ(last(), "h" + str0("/k//d/") + str0("s 1") + str0("l"));
  EXPECT_EQ(to_std(KELP_NS(nCreateSnapshotAs, jstr("/k/d"), jstr("s"), jstr("l"), jstr("u"),
                           nullptr)),
            "/k/d/.snapshot/l");
  EXPECT_EQ(last(), "H" + str0("/k/d") + str0("s") + str0("l") + str0("u") + str0(""));

  struct Case {
    int code;
    std::string plain, as;
  };
  const Case cases[] = {
      {2, "KELP failed to create Snapshot by kpcrsnap", "KELP failed to create Snapshot by kpcrsnap"},
      {3, "permission deny to create snapshot",
       "Permmison denied, only root user allow to createSnapshot"},
      {0, "Failed to create Snapshot", "Failed to create Snapshot"},
      {-1, "Failed to create Snapshot", "Failed to create Snapshot"},
  };
  for (const Case& c : cases) {
    ASSERT_NO_FATAL_FAILURE(serve({{'h', byte_answer(c.code)}, {'H', byte_answer(c.code)}}));
    EXPECT_EQ(KELP_NS(nCreateSnapshot, jstr("/d"), jstr("s"), jstr("l")), nullptr);
    EXPECT_EQ(take_exception(), kIo + c.plain) << c.code;
    EXPECT_EQ(KELP_NS(nCreateSnapshotAs, jstr("/d"), jstr("s"), jstr("l"), jstr("u"), jstr("g")),
              nullptr);
    EXPECT_EQ(take_exception(), kIo + c.as) << c.code;
  }
}

TEST_F(SnapshotReplies, DeleteAndRenameCodes) {
  for (int code : {1, 3}) {
    ASSERT_NO_FATAL_FAILURE(serve({{'I', byte_answer(code)}, {'i', byte_answer(code)}}));
    EXPECT_TRUE(KELP_NS(nDeleteSnapshot, jstr("/d"), jstr("l")));
    EXPECT_EQ(last(), "I" + str0("/d") + str0("l"));
    EXPECT_TRUE(KELP_NS(nRenameSnapshot, jstr("/d"), jstr("a"), jstr("b")));
    EXPECT_EQ(last(), "i" + str0("/d") + str0("a") + str0("b"));
  }
  ASSERT_NO_FATAL_FAILURE(serve({{'I', byte_answer(0)}, {'i', byte_answer(0)}}));
  EXPECT_FALSE(KELP_NS(nDeleteSnapshot, jstr("/d"), jstr("l")));
  EXPECT_EQ(take_exception(), kIo + "Failed to delete Snapshot");
  EXPECT_FALSE(KELP_NS(nRenameSnapshot, jstr("/d"), jstr("a"), jstr("b")));
  EXPECT_EQ(take_exception(), "") << "a failed rename raises nothing";
  ASSERT_NO_FATAL_FAILURE(serve({{'I', byte_answer(2)}}));
  EXPECT_FALSE(KELP_NS(nDeleteSnapshot, jstr("/d"), jstr("l")));
  EXPECT_EQ(take_exception(), kIo + "KELP failed to delete Snapshot by kpdelsnap");
}

TEST_F(SnapshotReplies, ADaemonThatHangsUpGivesNullOrFalseWithoutAnException) {
  // Each request meets a stand-in that closes the connection unanswered.
  ASSERT_NO_FATAL_FAILURE(serve({}));
  EXPECT_EQ(KELP_NS(nCreateSnapshot, jstr("/d"), jstr("s"), jstr("l")), nullptr);
  EXPECT_EQ(last(), "h" + str0("/d") + str0("s") + str0("l"));
  ASSERT_NO_FATAL_FAILURE(serve({}));
  EXPECT_EQ(KELP_NS(nCreateSnapshotAs, jstr("/d"), jstr("s"), jstr("l"), jstr("u"), jstr("g")),
            nullptr);
  ASSERT_NO_FATAL_FAILURE(serve({}));
  EXPECT_FALSE(KELP_NS(nDeleteSnapshot, jstr("/d"), jstr("l")));
  ASSERT_NO_FATAL_FAILURE(serve({}));
  EXPECT_FALSE(KELP_NS(nRenameSnapshot, jstr("/d"), jstr("a"), jstr("b")));
  EXPECT_EQ(take_exception(), "");
}

}  // namespace
