// nConnect and nClose from a real JVM against a scripted stand-in daemon:
// what each handshake answer gives Java, and what travels on the socket.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "support/fake_daemon.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::byte_answer;
using kelptest::FakeDaemon;
using kelptest::jstr;

class Handshake : public ::testing::Test {
 protected:
  void SetUp() override {
    env_ = kelptest::jvm_env();
    ASSERT_EQ(env_->PushLocalFrame(64), 0);
  }
  void TearDown() override {
    EXPECT_EQ(kelptest::take_exception(), "");
    env_->PopLocalFrame(nullptr);
  }

  int connect(const char* user, const char* act_as) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nConnect(env_, kelptest::kelp_fs(),
                                                                  jstr(user), jstr(act_as));
  }
  bool close(int conn) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nClose(env_, kelptest::kelp_fs(), conn);
  }

  JNIEnv* env_ = nullptr;
};

std::string types_of(const std::vector<FakeDaemon::Frame>& frames) {
  std::string out;
  for (const auto& f : frames) out += f.type;
  return out;
}

TEST_F(Handshake, LocalAnswerWithoutImpersonationMeansWorkLocally) {
  FakeDaemon daemon({{'l', byte_answer(1)}});
  int before = kelptest::count_open_fds();
  EXPECT_EQ(connect("alice", nullptr), -42);
  EXPECT_EQ(connect("bob", ""), -42) << "an empty act-as user is the same as none";
  auto frames = daemon.wait_for_ended(2);
  ASSERT_EQ(types_of(frames), "lqlq") << "each socket says goodbye before it is closed";
  EXPECT_EQ(frames[0].payload, std::string("alice", 6));
  EXPECT_EQ(frames[1].payload, "");
  EXPECT_EQ(frames[2].payload, std::string("bob", 4));
  EXPECT_EQ(kelptest::count_open_fds(), before);
}

TEST_F(Handshake, ImpersonationKeepsTheSocketWhateverTheAcceptance) {
  FakeDaemon daemon({{'l', byte_answer(1)}});
  int conn = connect("alice", "kelpuser1");
  ASSERT_GE(conn, 0);
  EXPECT_TRUE(kelptest::is_cloexec(conn));
  EXPECT_TRUE(close(conn));
  auto frames = daemon.wait_for_ended(1);
  ASSERT_EQ(types_of(frames), "lq");
  EXPECT_EQ(frames[0].payload, std::string("kelpuser1", 10)) << "the act-as user is announced";
}

TEST_F(Handshake, ServingAnswerKeepsTheSocket) {
  FakeDaemon daemon({{'l', byte_answer(2)}});
  int conn = connect("alice", nullptr);
  ASSERT_GE(conn, 0);
  EXPECT_TRUE(close(conn));
  EXPECT_EQ(types_of(daemon.wait_for_ended(1)), "lq");
}

TEST_F(Handshake, RefusalGivesMinusOneAndTheSocketStaysOpen) {
  int before = kelptest::count_open_fds();
  {
    FakeDaemon daemon({{'l', byte_answer(0)}});
    EXPECT_EQ(connect("alice", nullptr), -1);
    EXPECT_EQ(types_of(daemon.frames()), "l");
  }
  // With the stand-in gone, what is left is the refused socket.
  EXPECT_EQ(kelptest::count_open_fds(), before + 1);
}

TEST_F(Handshake, NoUsableAnswerGivesMinusOne) {
  {
    FakeDaemon silent({});  // closes the connection without answering
    EXPECT_EQ(connect("alice", nullptr), -1);
    EXPECT_EQ(connect("alice", "bob"), -1);
  }
  {
    FakeDaemon confused({{'l', byte_answer(2, 'o')}});  // answers with another type
    EXPECT_EQ(connect("alice", nullptr), -1);
  }
  // Nobody listening at all.
  EXPECT_EQ(connect("alice", nullptr), -1);
}

TEST_F(Handshake, CloseOfTheLocalConnectionClosesNothing) {
  int before = kelptest::count_open_fds();
  EXPECT_TRUE(close(-42));
  EXPECT_EQ(kelptest::count_open_fds(), before);
  EXPECT_FALSE(close(-1));
}

}  // namespace
