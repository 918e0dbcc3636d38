// Block locations that need a library of their own: the first query of a
// process (the probe for request 3006), a Hadoop whose BlockLocation lacks
// setCachedHosts, and a 1 TiB file. tests/topology/tests.cmake runs each
// suite in its own process.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support/connection_modes.h"
#include "support/sandbox.h"
#include "support/block_location_view.h"

namespace {

using kelptest::admin_invocations;
using kelptest::clear_admin_invocations;
using kelptest::address;
using kelptest::kMiB;
using kelptest::locations_of;
using kelptest::make_file;
using kelptest::map_requests;
using kelptest::node;
using kelptest::query;
using kelptest::Strings;
using kelptest::types_of;
using Types = std::vector<uint32_t>;

constexpr int kLocal = -42;

int init_info(JNIEnv* env) {
  return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetInitInfo(env, kelptest::kelp_fs());
}

class FirstQuery : public kelptest::JniTest {
 protected:
  kelptest::ScratchDir dir_{"fresh"};
};

TEST_F(FirstQuery, InitInfoRunsNothingBeforeABlockQuery) {
  kelptest::use_scenario("default");
  clear_admin_invocations();
  EXPECT_EQ(init_info(env_), 0);
  EXPECT_TRUE(admin_invocations().empty());

  // A directory: the probe and one request, no blocks, no cache nodes.
  kelpsim::clear_log();
  jobjectArray none = query(kLocal, dir_.path(), 0, -1);
  ASSERT_NE(none, nullptr);
  EXPECT_EQ(env_->GetArrayLength(none), 0);
  EXPECT_EQ(types_of(map_requests(dir_.path())), (Types{3006, 3006}));
  EXPECT_EQ(admin_invocations("kplsnsd").size(), 1u);
  EXPECT_TRUE(admin_invocations("kplscluster").empty());

  clear_admin_invocations();
  EXPECT_EQ(init_info(env_), 0);
  EXPECT_EQ(admin_invocations(), std::vector<Strings>{{"kplscluster"}});
  clear_admin_invocations();
  EXPECT_EQ(init_info(env_), 0);
  EXPECT_TRUE(admin_invocations().empty());
}

TEST_F(FirstQuery, ProbeFallsBackTo3005WhenRefused) {
  kelptest::use_scenario("blockmap-no-3006");
  std::string f = dir_ / "f";
  make_file(f, 10 * kMiB);
  kelpsim::clear_log();
  // From the middle of block 1: the 3005 records carry the blocks' own
  // offsets.
  auto locations = locations_of(query(kLocal, f, 5 * kMiB, -1));
  // The probe, then the map; the second request starts past the end of the
  // file (two blocks of the 10 MiB asked for), so it brings no blocks.
  EXPECT_EQ(types_of(map_requests(f)), (Types{3006, 3005, 3005, 3005}));
  ASSERT_EQ(locations.size(), 2u);
  EXPECT_EQ(locations[0].offset, 4 * kMiB);
  EXPECT_EQ(locations[0].length, 4 * kMiB);
  EXPECT_EQ(locations[1].offset, 8 * kMiB);
  EXPECT_EQ(locations[1].length, 1 * kMiB);
  EXPECT_EQ(locations[0].hosts, (Strings{node(2), node(3), node(4)}));
  EXPECT_EQ(locations[0].names, (Strings{address(2), address(3), address(4)}));
  EXPECT_TRUE(locations[0].cached.empty());

  kelpsim::clear_log();
  EXPECT_EQ(locations_of(query(kLocal, f, 0, -1)).size(), 3u);
  EXPECT_EQ(types_of(map_requests(f)), Types{3005}) << "no second probe";
  clear_admin_invocations();
  EXPECT_EQ(init_info(env_), 0);
  EXPECT_TRUE(admin_invocations().empty()) << "no cache nodes to name";
}

class OldHadoop : public FirstQuery {};

TEST_F(OldHadoop, FirstArrayIsBuiltThenOnlyPlainBlockMapsAreAskedFor) {
  kelptest::use_scenario("default");
  std::string f = dir_ / "f";
  make_file(f, 10 * kMiB);
  kelpsim::clear_log();
  auto first = locations_of(query(kLocal, f, 0, -1), false);
  EXPECT_EQ(types_of(map_requests(f)), (Types{3006, 3006}));
  ASSERT_EQ(first.size(), 3u);
  EXPECT_EQ(first[2].offset, 8 * kMiB);
  EXPECT_EQ(first[2].hosts, (Strings{node(3), node(4), node(1)}));
  EXPECT_EQ(kelptest::take_exception(), "");

  kelpsim::clear_log();
  auto second = locations_of(query(kLocal, f, 0, -1), false);
  EXPECT_EQ(types_of(map_requests(f)), Types{3005});
  ASSERT_EQ(second.size(), 3u);
  EXPECT_EQ(second[2].offset, 8 * kMiB);
  EXPECT_EQ(second[2].names, (Strings{address(3), address(4), address(1)}));
}

// What the process writes to its standard output and error while |fn| runs
// (the JVM's -Xcheck:jni warnings go there).
template <typename F>
std::string output_of(F fn) {
  std::fflush(stdout);
  std::fflush(stderr);
  char path[] = "/tmp/kelp-output-XXXXXX";
  int file = ::mkstemp(path);
  EXPECT_GE(file, 0);
  ::unlink(path);
  int out = ::dup(1);
  int err = ::dup(2);
  ::dup2(file, 1);
  ::dup2(file, 2);
  fn();
  std::fflush(stdout);
  std::fflush(stderr);
  ::dup2(out, 1);
  ::dup2(err, 2);
  ::close(out);
  ::close(err);
  std::string text;
  char buf[4096];
  ssize_t n;
  ::lseek(file, 0, SEEK_SET);
  while ((n = ::read(file, buf, sizeof buf)) > 0) text.append(buf, static_cast<size_t>(n));
  ::close(file);
  return text;
}

class Terabyte : public FirstQuery {};

TEST_F(Terabyte, ArrayStaysWithinTheLocalReferenceCapacity) {
  kelptest::use_scenario("default");
  std::string f = dir_ / "huge";
  const jsize blocks = 262144;
  make_file(f, int64_t{blocks} * 4 * kMiB);
  jobjectArray array = nullptr;
  // The capacity a native method called from Java starts with.
  std::string warnings = output_of([&] {
    ASSERT_EQ(env_->PushLocalFrame(16), 0);
    array = static_cast<jobjectArray>(env_->PopLocalFrame(query(kLocal, f, 0, -1)));
  });
  EXPECT_EQ(warnings.find("JNI local refs"), std::string::npos) << warnings;
  ASSERT_NE(array, nullptr);
  ASSERT_EQ(env_->GetArrayLength(array), blocks);
  for (jsize b : {jsize{0}, jsize{1}, blocks - 1}) {
    SCOPED_TRACE(b);
    kelptest::Location l = kelptest::location_at(array, b);
    EXPECT_EQ(l.offset, b * 4 * kMiB);
    EXPECT_EQ(l.length, 4 * kMiB);
    EXPECT_EQ(l.hosts, (Strings{node(1 + b % 4), node(1 + (b + 1) % 4), node(1 + (b + 2) % 4)}));
    EXPECT_EQ(l.cached, l.hosts);
  }
}

}  // namespace
