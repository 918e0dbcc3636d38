// The namespace entry points against a scripted stand-in daemon: the frames
// they send, and what Java gets for answers the reference daemon never
// gives (failure bytes, odd codes, replies of the wrong type or size).
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "support/connection_modes.h"
#include "support/fake_daemon.h"
#include "support/jvm.h"
#include "support/scripted_daemon.h"

namespace {

using kelptest::be32;
using kelptest::byte_answer;
using kelptest::FakeDaemon;
using kelptest::jstr;
using kelptest::take_exception;

std::string str0(const std::string& s) { return s + '\0'; }

class Replies : public kelptest::ScriptedDaemonTest {};

TEST_F(Replies, DescriptorRequestsAndTheirOddAnswers) {
  ASSERT_NO_FATAL_FAILURE(serve({{'c', byte_answer(-17)}, {'C', byte_answer(-1)}}));
  // Booleans travel as 1 only when Java passed exactly true.
  EXPECT_EQ(KELP_NS(nCreate, jstr("/k/f"), 0644, 3, 2, 7), nullptr);
  EXPECT_EQ(last(), "c" + str0("/k/f") + be32(0644) + be32(3) + be32(0) + be32(7));
  EXPECT_EQ(KELP_NS(nCreateAs, jstr("/k/g"), 0600, 2, JNI_TRUE, jstr("kelpuser1"), nullptr, 5),
            nullptr);
  EXPECT_EQ(last(), "C" + str0("/k/g") + be32(0600) + be32(2) + be32(1) + str0("kelpuser1") +
                        str0("") + be32(5));

  ASSERT_NO_FATAL_FAILURE(serve({{'c', byte_answer(5)}, {'C', byte_answer(0)}}));
  EXPECT_EQ(kelptest::fd_of(KELP_NS(nCreate, jstr("/k/f"), 0644, 0, 1, 0)), 5);
  EXPECT_EQ(kelptest::fd_of(KELP_NS(nCreateAs, jstr("/k/f"), 0644, 0, 1, jstr("a"), jstr("b"), 0)),
            0);

  // Only an answer of one brings an appended descriptor: had either of
  // these waited for one, it would never return.
  ASSERT_NO_FATAL_FAILURE(serve({{'a', byte_answer(2)}, {'A', byte_answer(-1)}}));
  EXPECT_EQ(KELP_NS(nAppend, jstr("/k/f")), nullptr);
  EXPECT_EQ(last(), "a" + str0("/k/f"));
  EXPECT_EQ(KELP_NS(nAppendAs, jstr("/k/f"), nullptr, jstr("g")), nullptr);
  EXPECT_EQ(last(), "A" + str0("/k/f") + str0("") + str0("g"));
}

TEST_F(Replies, RenameCodesTwoToFourAndTheSnapshotCodeOfDeleteRaise) {
  for (int code : {3, 4}) {
    ASSERT_NO_FATAL_FAILURE(serve({{'r', byte_answer(code)}}));
    EXPECT_FALSE(KELP_NS(nRename, jstr("/a"), jstr("/b")));
    EXPECT_EQ(take_exception(),
              "java.io.IOException:  Rename failed. Cause: " + std::to_string(code) + "\n");
    EXPECT_EQ(last(), "r" + str0("/a") + str0("/b"));
  }
  ASSERT_NO_FATAL_FAILURE(serve({{'r', byte_answer(0)}, {'d', byte_answer(2)}}));
  EXPECT_FALSE(KELP_NS(nRename, jstr("/a"), jstr("/b")));
  EXPECT_EQ(take_exception(), "") << "a failed mv is a plain false";

  EXPECT_FALSE(KELP_NS(nDelete, jstr("/k/d"), JNI_TRUE));
  EXPECT_NE(take_exception().find("One or more snapshots exist"), std::string::npos);
  EXPECT_EQ(last(), "d" + str0("/k/d") + be32(1));
}

TEST_F(Replies, BooleanRequestsTheirFramesAndRepliesOfAnotherType) {
  ASSERT_NO_FATAL_FAILURE(serve({{'e', byte_answer(1)},
                                 {'m', byte_answer(1)},
                                 {'M', byte_answer(0)},
                                 {'p', byte_answer(1)},
                                 {'n', byte_answer(1)},
                                 {'s', byte_answer(0)},
                                 {'S', byte_answer(1)}}));
  EXPECT_TRUE(KELP_NS(nExists, jstr("/e")));
  EXPECT_EQ(last(), "e" + str0("/e"));
  EXPECT_TRUE(KELP_NS(nMkdirs, jstr("/m"), 0750));
  EXPECT_EQ(last(), "m" + str0("/m") + be32(0750));
  EXPECT_FALSE(KELP_NS(nMkdirsAs, jstr("/M"), 0700, jstr("u"), jstr("g")));
  EXPECT_EQ(last(), "M" + str0("/M") + be32(0700) + str0("u") + str0("g"));
  EXPECT_TRUE(KELP_NS(nChmod, jstr("/p"), 0644));
  EXPECT_EQ(last(), "p" + str0("/p") + be32(0644));
  EXPECT_TRUE(KELP_NS(nChown, jstr("/n"), nullptr, nullptr));
  EXPECT_EQ(last(), "n" + str0("/n") + str0("") + str0(""));
  EXPECT_FALSE(KELP_NS(nCreateSymlink, jstr("t"), jstr("/s")));
  EXPECT_EQ(last(), "s" + str0("t") + str0("/s"));
  EXPECT_TRUE(KELP_NS(nCreateSymlinkAs, jstr("t"), jstr("/S"), jstr("u"), nullptr));
  EXPECT_EQ(last(), "S" + str0("t") + str0("/S") + str0("u") + str0(""));

  ASSERT_NO_FATAL_FAILURE(serve({{'e', byte_answer(1, 'm')}}));
  EXPECT_FALSE(KELP_NS(nExists, jstr("/e")));
}

TEST_F(Replies, ResolvedPathsUpToTheReplyLimit) {
  ASSERT_NO_FATAL_FAILURE(serve({{'y', {str0("/resolved/path")}}}));
  EXPECT_EQ(kelptest::to_std(KELP_NS(nResolveSymlink, jstr("/l"))), "/resolved/path");
  EXPECT_EQ(last(), "y" + str0("/l"));
  // The longest reply there may be, without its terminator: still a string.
  ASSERT_NO_FATAL_FAILURE(serve({{'y', {std::string(1024, 'x')}}}));
  EXPECT_EQ(kelptest::to_std(KELP_NS(nResolveSymlink, jstr("/l"))), std::string(1024, 'x'));
  ASSERT_NO_FATAL_FAILURE(serve({{'y', {std::string(1025, 'x')}}}));
  EXPECT_EQ(KELP_NS(nResolveSymlink, jstr("/l")), nullptr);
}

TEST_F(Replies, ADaemonThatGoesAwayGivesFailures) {
  ASSERT_NO_FATAL_FAILURE(serve({}));  // hangs up at the first request
  EXPECT_FALSE(KELP_NS(nMkdirs, jstr("/m"), 0755));
  daemon_.reset();  // and now nobody is there at all
  EXPECT_FALSE(KELP_NS(nDelete, jstr("/d"), JNI_TRUE));
  EXPECT_EQ(KELP_NS(nCreate, jstr("/c"), 0644, 0, 1, 0), nullptr);
  EXPECT_EQ(KELP_NS(nResolveSymlink, jstr("/y")), nullptr);
  // A lost daemon raises nothing, not even for rename.
  EXPECT_FALSE(KELP_NS(nRename, jstr("/a"), jstr("/b")));
}

}  // namespace
