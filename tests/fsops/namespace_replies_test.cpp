// The namespace entry points against a scripted stand-in daemon: the frames
// they send, and what Java gets for answers the reference daemon never
// gives (failure bytes, odd codes, replies of the wrong type or size).
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "support/fake_daemon.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::be32;
using kelptest::byte_answer;
using kelptest::FakeDaemon;
using kelptest::jstr;
using kelptest::take_exception;

std::string str0(const std::string& s) { return s + '\0'; }

class Replies : public ::testing::Test {
 protected:
  void SetUp() override {
    env_ = kelptest::jvm_env();
    fs_ = kelptest::kelp_fs();
    ASSERT_EQ(env_->PushLocalFrame(64), 0);
  }
  void TearDown() override {
    hang_up();
    env_->PopLocalFrame(nullptr);
  }

  // Starts a stand-in that serves with |script| (after the one before) and
  // connects to it.
  void serve(std::map<char, FakeDaemon::Answer> script) {
    hang_up();
    script['l'] = byte_answer(2);
    daemon_ = std::make_unique<FakeDaemon>(std::move(script));
    conn_ = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nConnect(env_, fs_, jstr("u"), nullptr);
    ASSERT_GE(conn_, 0);
  }
  void hang_up() {
    if (conn_ >= 0) Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nClose(env_, fs_, conn_);
    conn_ = -1;
    daemon_.reset();
  }
  // The last request the stand-in received.
  FakeDaemon::Frame last() {
    auto frames = daemon_->frames();
    return frames.empty() ? FakeDaemon::Frame{0, ""} : frames.back();
  }

  JNIEnv* env_ = nullptr;
  jobject fs_ = nullptr;
  int conn_ = -1;
  std::unique_ptr<FakeDaemon> daemon_;
};

TEST_F(Replies, CreateSendsItsArgumentsAndANegativeByteIsNull) {
  ASSERT_NO_FATAL_FAILURE(serve({{'c', byte_answer(-17)}, {'C', byte_answer(-1)}}));
  // Booleans travel as 1 only when Java passed exactly true.
  EXPECT_EQ(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreate(env_, fs_, conn_, jstr("/k/f"),
                                                                  0644, 3, 2, 7),
            nullptr);
  EXPECT_EQ(take_exception(), "");
  EXPECT_EQ(last().type, 'c');
  EXPECT_EQ(last().payload, str0("/k/f") + be32(0644) + be32(3) + be32(0) + be32(7));

  EXPECT_EQ(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreateAs(
                env_, fs_, conn_, jstr("/k/g"), 0600, 2, JNI_TRUE, jstr("kelpuser1"), nullptr, 5),
            nullptr);
  EXPECT_EQ(take_exception(), "");
  EXPECT_EQ(last().type, 'C');
  EXPECT_EQ(last().payload,
            str0("/k/g") + be32(0600) + be32(2) + be32(1) + str0("kelpuser1") + str0("") + be32(5));
}

TEST_F(Replies, ACreateByteOtherThanOneIsTakenAsTheDescriptor) {
  ASSERT_NO_FATAL_FAILURE(serve({{'c', byte_answer(5)}, {'C', byte_answer(0)}}));
  jobject fd = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreate(env_, fs_, conn_, jstr("/k/f"),
                                                                     0644, 0, 1, 0);
  EXPECT_EQ(kelptest::fd_of(fd), 5);
  fd = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreateAs(env_, fs_, conn_, jstr("/k/f"), 0644,
                                                               0, 1, jstr("a"), jstr("b"), 0);
  EXPECT_EQ(kelptest::fd_of(fd), 0);
}

TEST_F(Replies, OnlyAnAnswerOfOneBringsADescriptor) {
  // Had any of these waited for a descriptor, it would never return.
  ASSERT_NO_FATAL_FAILURE(
      serve({{'a', byte_answer(2)}, {'A', byte_answer(-1)}, {'o', byte_answer(0)}}));
  EXPECT_EQ(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nAppend(env_, fs_, conn_, jstr("/k/f")),
            nullptr);
  EXPECT_EQ(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nAppendAs(env_, fs_, conn_, jstr("/k/f"),
                                                                    nullptr, jstr("g")),
            nullptr);
  EXPECT_EQ(last().payload, str0("/k/f") + str0("") + str0("g"));
  EXPECT_EQ(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nOpen(env_, fs_, conn_, jstr("/k/f")),
            nullptr);
  EXPECT_EQ(
      Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nReadSymlink(env_, fs_, conn_, jstr("/k/l")),
      nullptr);
  EXPECT_EQ(last().type, 'o');
  EXPECT_EQ(take_exception(), "");
}

TEST_F(Replies, RenameCodesTwoToFourRaise) {
  for (int code : {3, 4}) {
    ASSERT_NO_FATAL_FAILURE(serve({{'r', byte_answer(code)}}));
    EXPECT_FALSE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRename(env_, fs_, conn_, jstr("/a"),
                                                                       jstr("/b")));
    EXPECT_EQ(take_exception(),
              "java.io.IOException:  Rename failed. Cause: " + std::to_string(code) + "\n");
    EXPECT_EQ(last().payload, str0("/a") + str0("/b"));
  }
  ASSERT_NO_FATAL_FAILURE(serve({{'r', byte_answer(0)}}));
  EXPECT_FALSE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRename(env_, fs_, conn_, jstr("/a"),
                                                                     jstr("/b")));
  EXPECT_EQ(take_exception(), "") << "a failed mv is a plain false";
}

TEST_F(Replies, DeleteRaisesOnlyForASnapshot) {
  ASSERT_NO_FATAL_FAILURE(serve({{'d', byte_answer(2)}}));
  EXPECT_FALSE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nDelete(env_, fs_, conn_, jstr("/k/d"),
                                                                     JNI_TRUE));
  EXPECT_NE(take_exception().find("One or more snapshots exist"), std::string::npos);
  EXPECT_EQ(last().payload, str0("/k/d") + be32(1));
  ASSERT_NO_FATAL_FAILURE(serve({{'d', byte_answer(1)}}));
  EXPECT_TRUE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nDelete(env_, fs_, conn_, jstr("/k/d"),
                                                                    JNI_FALSE));
  EXPECT_EQ(take_exception(), "");
  EXPECT_EQ(last().payload, str0("/k/d") + be32(0));
}

TEST_F(Replies, BooleanRequestsAndTheirFrames) {
  ASSERT_NO_FATAL_FAILURE(serve({{'e', byte_answer(1)},
                                 {'m', byte_answer(1)},
                                 {'M', byte_answer(0)},
                                 {'p', byte_answer(1)},
                                 {'n', byte_answer(1)},
                                 {'s', byte_answer(0)},
                                 {'S', byte_answer(1)}}));
  EXPECT_TRUE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nExists(env_, fs_, conn_, jstr("/e")));
  EXPECT_EQ(last().payload, str0("/e"));
  EXPECT_TRUE(
      Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nMkdirs(env_, fs_, conn_, jstr("/m"), 0750));
  EXPECT_EQ(last().payload, str0("/m") + be32(0750));
  EXPECT_FALSE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nMkdirsAs(env_, fs_, conn_, jstr("/M"),
                                                                       0700, jstr("u"), jstr("g")));
  EXPECT_EQ(last().payload, str0("/M") + be32(0700) + str0("u") + str0("g"));
  EXPECT_TRUE(
      Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nChmod(env_, fs_, conn_, jstr("/p"), 0644));
  EXPECT_EQ(last().payload, str0("/p") + be32(0644));
  EXPECT_TRUE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nChown(env_, fs_, conn_, jstr("/n"),
                                                                   nullptr, nullptr));
  EXPECT_EQ(last().payload, str0("/n") + str0("") + str0(""));
  EXPECT_FALSE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreateSymlink(env_, fs_, conn_,
                                                                            jstr("t"), jstr("/s")));
  EXPECT_EQ(last().payload, str0("t") + str0("/s"));
  EXPECT_TRUE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreateSymlinkAs(
      env_, fs_, conn_, jstr("t"), jstr("/S"), jstr("u"), nullptr));
  EXPECT_EQ(last().payload, str0("t") + str0("/S") + str0("u") + str0(""));
  EXPECT_EQ(take_exception(), "");
}

TEST_F(Replies, AReplyOfAnotherTypeIsAFailure) {
  ASSERT_NO_FATAL_FAILURE(serve({{'e', byte_answer(1, 'm')}}));
  EXPECT_FALSE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nExists(env_, fs_, conn_, jstr("/e")));
}

TEST_F(Replies, ResolvedPathsUpToTheReplyLimit) {
  ASSERT_NO_FATAL_FAILURE(serve({{'y', {str0("/resolved/path")}}}));
  EXPECT_EQ(kelptest::to_std(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nResolveSymlink(
                env_, fs_, conn_, jstr("/l"))),
            "/resolved/path");
  // The longest reply there may be, without its terminator: still a string.
  ASSERT_NO_FATAL_FAILURE(serve({{'y', {std::string(1024, 'x')}}}));
  EXPECT_EQ(kelptest::to_std(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nResolveSymlink(
                env_, fs_, conn_, jstr("/l"))),
            std::string(1024, 'x'));
  ASSERT_NO_FATAL_FAILURE(serve({{'y', {std::string(1025, 'x')}}}));
  EXPECT_EQ(
      Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nResolveSymlink(env_, fs_, conn_, jstr("/l")),
      nullptr);
  EXPECT_EQ(take_exception(), "");
}

TEST_F(Replies, ADaemonThatGoesAwayGivesFailures) {
  ASSERT_NO_FATAL_FAILURE(serve({}));  // hangs up at the first request
  EXPECT_FALSE(
      Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nMkdirs(env_, fs_, conn_, jstr("/m"), 0755));
  daemon_.reset();  // and now nobody is there at all
  EXPECT_FALSE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nDelete(env_, fs_, conn_, jstr("/d"),
                                                                     JNI_TRUE));
  EXPECT_EQ(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreate(env_, fs_, conn_, jstr("/c"),
                                                                  0644, 0, 1, 0),
            nullptr);
  EXPECT_EQ(
      Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nResolveSymlink(env_, fs_, conn_, jstr("/y")),
      nullptr);
  EXPECT_EQ(take_exception(), "") << "a lost daemon raises nothing, not even for rename";
  EXPECT_FALSE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRename(env_, fs_, conn_, jstr("/a"),
                                                                     jstr("/b")));
  EXPECT_EQ(take_exception(), "");
}

}  // namespace
