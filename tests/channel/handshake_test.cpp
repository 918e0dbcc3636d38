// nConnect and nClose from a real JVM against a scripted stand-in daemon:
// what each handshake answer gives Java, and what travels on the socket.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "support/connection_modes.h"
#include "support/fake_daemon.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::byte_answer;

constexpr int kSocket = 0;  // an expected result: a socket of our own

class Handshake : public kelptest::JniTest {
 protected:
  int connect(const char* user, const char* act_as) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nConnect(env_, fs_, kelptest::jstr(user),
                                                                  kelptest::jstr(act_as));
  }
  bool close(int conn) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nClose(env_, fs_, conn);
  }
};

TEST_F(Handshake, EachAnswerGivesJavaItsConnection) {
  const struct {
    std::map<char, kelptest::FakeDaemon::Answer> script;
    const char* user;
    const char* act_as;
    int result;
  } cases[] = {
      {{{'l', byte_answer(1)}}, "alice", nullptr, -42},  // work locally, after saying goodbye
      {{{'l', byte_answer(1)}}, "bob", "", -42},         // an empty act-as user is none
      {{{'l', byte_answer(1)}}, "alice", "kelpuser1", kSocket},  // kept whatever the answer
      {{{'l', byte_answer(2)}}, "alice", nullptr, kSocket},      // the daemon serves
      {{{'l', byte_answer(0)}}, "alice", nullptr, -1},           // refused
      {{{'l', byte_answer(2, 'o')}}, "alice", nullptr, -1},      // an answer of another type
      {{}, "alice", nullptr, -1},                                // no answer at all
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("case " + std::to_string(&c - cases));
    kelptest::FdSnapshot before;
    {
      kelptest::FakeDaemon daemon(c.script);
      int conn = connect(c.user, c.act_as);
      EXPECT_EQ(conn >= 0 ? kSocket : conn, c.result);
      if (conn >= 0) {
        EXPECT_TRUE(kelptest::is_cloexec(conn));
        EXPECT_TRUE(close(conn));
      }
      // The user announced is the act-as user when there is one; a kept
      // socket, and one given up for local work, says goodbye.
      std::string announced = c.act_as && *c.act_as ? c.act_as : c.user;
      std::string trace;
      for (const auto& f : daemon.stop()) trace += f + '|';
      EXPECT_EQ(trace, "l" + announced + '\0' + (c.result == -1 ? "|" : "|q|"));
    }
    // A failed connection leaves its socket open, as it always has.
    EXPECT_EQ(before.added(), c.result == -1 ? 1 : 0);
  }
  // Nobody listening at all.
  EXPECT_EQ(connect("alice", nullptr), -1);
  EXPECT_TRUE(close(-42));
  EXPECT_FALSE(close(-1));
}

}  // namespace
