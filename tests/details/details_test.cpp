// File-system details: what each sandbox mount reports and where each fact
// comes from (pool statistics, kplspool, kplsfs), the commands a build runs,
// and the cases that need a process whose caches are still empty.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ostream>
#include <string>
#include <vector>

#include "details/details.h"
#include "details/details_parse.h"
#include "fsops/kelpHadoop.h"
#include "support/connection_modes.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::admin_invocations;
using kelptest::jstr;
using Argv = std::vector<std::string>;
using Invocations = std::vector<Argv>;

// The facts of one file system, as the core keeps them or Java receives them.
struct Facts {
  int version;
  std::string path;
  std::string device;
  long long blockSize;
  int blockGroupFactor;
  int dataReplicas;
  int maxDataReplicas;
  int allowWriteAffinity;
  bool operator==(const Facts& o) const {
    return version == o.version && path == o.path && device == o.device &&
           blockSize == o.blockSize && blockGroupFactor == o.blockGroupFactor &&
           dataReplicas == o.dataReplicas && maxDataReplicas == o.maxDataReplicas &&
           allowWriteAffinity == o.allowWriteAffinity;
  }
};
void PrintTo(const Facts& f, std::ostream* os) {
  *os << "{version " << f.version << ", path " << f.path << ", device " << f.device
      << ", blockSize " << f.blockSize << ", bgf " << f.blockGroupFactor << ", replicas "
      << f.dataReplicas << "/" << f.maxDataReplicas << ", affinity " << f.allowWriteAffinity
      << "}";
}

Facts facts(const kelp::kelpDetails_t& d) {
  return {d.version,          d.mountPoint,   d.device,          d.blockSize,
          d.blockGroupFactor, d.dataReplicas, d.maxDataReplicas, d.allowWriteAffinity};
}

// What a KELPDetails object holds, read through its getters.
Facts facts(JNIEnv* env, jobject details) {
  jclass cls = env->GetObjectClass(details);
  // Checked JNI wants the exception looked at after each Java call.
  auto i = [&](const char* getter) {
    jint v = env->CallIntMethod(details, env->GetMethodID(cls, getter, "()I"));
    EXPECT_FALSE(env->ExceptionCheck()) << getter;
    return v;
  };
  auto s = [&](const char* getter) {
    auto str = static_cast<jstring>(
        env->CallObjectMethod(details, env->GetMethodID(cls, getter, "()Ljava/lang/String;")));
    EXPECT_FALSE(env->ExceptionCheck()) << getter;
    std::string out = kelptest::to_std(str);
    env->DeleteLocalRef(str);
    return out;
  };
  jlong blockSize = env->CallLongMethod(details, env->GetMethodID(cls, "getBlockSize", "()J"));
  EXPECT_FALSE(env->ExceptionCheck());
  Facts f{i("getVersion"),          s("getPath"),          s("getDevice"),
          blockSize,                i("getBlockGroupFactor"), i("getDataReplicas"),
          i("getMaxDataReplicas"), i("getAllowWriteAffinity")};
  env->DeleteLocalRef(cls);
  return f;
}

// The default scenario. kelpfs1: the data pool's statistics give the
// placement (replicas 2, not kplsfs's "-r 1"). kelpfs2: no placement data
// in the statistics, so kplspool's factor 2048 (capped) and kplsfs's "-r 2";
// its affinity "yes" is listed after the factor and so not seen.
const Facts kKelp1{1323, "/mnt/kelp", "kelpfs1", 4 << 20, 128, 2, 3, 1};
const Facts kKelp2{1401, "/mnt/kelp2", "kelpfs2", 1 << 20, 1024, 2, 3, 0};

// Cases that need the caches of the library still empty run one per process
// (tests/details/tests.cmake sets KELP_DETAILS_FRESH); elsewhere they skip.
Facts with_path(Facts f, const std::string& path) {
  f.path = path;
  return f;
}

#define ONLY_IN_A_FRESH_PROCESS()                            \
  if (std::getenv("KELP_DETAILS_FRESH") == nullptr) {        \
    GTEST_SKIP() << "runs in a process of its own";          \
  }

const Argv kPsArgv{"ps", "-C", "kelpd", "-o", "pid="};
const Argv kDfArgv{"df", "-t", "kelp"};
Argv kplsfs_argv(const std::string& device) { return {"kplsfs", device, "-V", "-r", "-R"}; }
Argv kplspool_argv(const std::string& device) { return {"kplspool", device, "all", "-L"}; }

class DetailsFromJava : public kelptest::JniTest {
 protected:
  // nGetDetails(conn, path): its facts, or null's.
  jobject get(const char* path, int conn = -42) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetDetails(env_, fs_, conn,
                                                                     jstr(path));
  }
  Facts get_facts(const char* path) {
    jobject d = get(path);
    EXPECT_NE(d, nullptr) << path;
    return d != nullptr ? facts(env_, d) : Facts{};
  }
};

TEST_F(DetailsFromJava, EachSandboxMount) {
  EXPECT_EQ(get_facts("/mnt/kelp"), kKelp1);
  EXPECT_EQ(get_facts("/mnt/kelp2"), kKelp2);
  // The path comes back as given; the empty one names the smallest mount.
  EXPECT_EQ(get_facts(""), with_path(kKelp1, ""));
  EXPECT_EQ(get_facts(nullptr), with_path(kKelp1, "<null>"));
  // No exception for what is not a mount point; the connection is unused.
  EXPECT_EQ(get("/mnt/kelp/sub"), nullptr);
  EXPECT_EQ(get("/mnt/other"), nullptr);
  jobject viaOther = get("/mnt/kelp2", 12345);
  ASSERT_NE(viaOther, nullptr);
  EXPECT_EQ(facts(env_, viaOther), kKelp2);

  kelptest::clear_admin_invocations();
  for (const char* path : {"/mnt/kelp", "/mnt/kelp2", "", "/mnt/nowhere"}) get(path);
  EXPECT_EQ(admin_invocations(), Invocations{}) << "a second call runs no command";
}

TEST_F(DetailsFromJava, FirstCallRunsEachCommandOnce) {
  ONLY_IN_A_FRESH_PROCESS();
  kelptest::clear_admin_invocations();
  kelpsim::clear_log();
  EXPECT_EQ(get_facts("/mnt/kelp2"), kKelp2);
  // kplspool only for the file system whose statistics lack placement data.
  EXPECT_EQ(admin_invocations(),
            (Invocations{kPsArgv, kDfArgv, kplsfs_argv("kelpfs1"), kplspool_argv("kelpfs2"),
                         kplsfs_argv("kelpfs2")}));
  // Each file system's statistics: the count, then every pool's 88 bytes.
  for (const char* mount : {"/mnt/kelp", "/mnt/kelp2"}) {
    auto calls = kelptest::sim_records("statfspool", mount);
    ASSERT_EQ(calls.size(), 2u) << mount;
    EXPECT_EQ(calls[0].bytes, (std::vector<uint8_t>{0, 0, 0, 0}));
    EXPECT_EQ(calls[1].bytes, (std::vector<uint8_t>{176, 0, 0, 0}));
  }
  kelptest::clear_admin_invocations();
  EXPECT_EQ(get_facts("/mnt/kelp"), kKelp1);
  EXPECT_EQ(admin_invocations(), Invocations{});
}

TEST_F(DetailsFromJava, NoDaemonGivesNullUntilItRuns) {
  ONLY_IN_A_FRESH_PROCESS();
  kelptest::use_scenario("details-nodaemon");
  kelptest::clear_admin_invocations();
  EXPECT_EQ(get("/mnt/kelp"), nullptr);
  EXPECT_EQ(get("/mnt/kelp"), nullptr);
  // Nothing was cached, so each call asks again, and asks only ps.
  EXPECT_EQ(admin_invocations(), (Invocations{kPsArgv, kPsArgv}));
  kelptest::use_scenario("default");
  EXPECT_EQ(get_facts("/mnt/kelp"), kKelp1);
}

TEST(DetailsCore, EachSandboxMountAndTheCacheOnceBuilt) {
  const kelp::kelpDetails_t* k1 = kelp::getDetails("/mnt/kelp");
  const kelp::kelpDetails_t* k2 = kelp::getDetails("/mnt/kelp2");
  ASSERT_NE(k1, nullptr);
  ASSERT_NE(k2, nullptr);
  EXPECT_EQ(facts(*k1), kKelp1);
  EXPECT_EQ(facts(*k2), kKelp2);

  kelptest::clear_admin_invocations();
  EXPECT_EQ(kelp::getDetails(""), k1) << "the smallest mount point";
  EXPECT_EQ(kelp::getDetails("/mnt/kelp2"), k2) << "records stay where they are";
  EXPECT_EQ(kelp::getDetails("/mnt/kelp/"), nullptr) << "mount points match exactly";
  EXPECT_EQ(kelp::getDetails("/mnt/kelp/sub"), nullptr);
  EXPECT_EQ(kelp::getDetails("/mnt/other"), nullptr);
  EXPECT_EQ(kelp::buildDetails(), 0);
  EXPECT_EQ(admin_invocations(), Invocations{}) << "a built cache runs no command";
}

// KELP_FCNTL_CALL as the process got it: unset here; tests.cmake runs this
// again with it empty and with a value longer than the buffer.
TEST(DetailsCore, FcntlCallSetting) {
  const char* expected = std::getenv("KELP_TEST_EXPECT_FCNTL");
  ASSERT_NE(kelp::getDetails(""), nullptr);
  EXPECT_EQ(std::string(kelp::skipKELPfcntl), expected != nullptr ? expected : "FILESYSTEM");
}

TEST(DetailsFresh, NoFlaggedPoolTakesTheIndexChosenBefore) {
  ONLY_IN_A_FRESH_PROCESS();
  kelptest::use_scenario("details-noflag");
  const kelp::kelpDetails_t* k2 = kelp::getDetails("/mnt/kelp2");
  ASSERT_NE(k2, nullptr);
  EXPECT_EQ(k2->blockSize, 8 << 20) << "kelpfs2's third pool, as kelpfs1's flagged one";
  EXPECT_EQ(k2->blockGroupFactor, 32);
  EXPECT_EQ(kelp::getDetails("/mnt/kelp")->blockSize, 4 << 20);
  // The affinity word of the pool last chosen, even when it says no.
  EXPECT_EQ(kelp::isAllowWriteAffinity.load(), 0);
}

TEST(DetailsFresh, UnmatchedMountEndsTheBuild) {
  ONLY_IN_A_FRESH_PROCESS();
  kelptest::use_scenario("details-unmatched");
  EXPECT_EQ(kelp::getDetails("/mnt/kelp"), nullptr) << "the build failed";
  // What it stored before the failure now counts as the cache.
  kelptest::clear_admin_invocations();
  const kelp::kelpDetails_t* k1 = kelp::getDetails("/mnt/kelp");
  ASSERT_NE(k1, nullptr);
  EXPECT_EQ(k1->device, "kelpfs1");
  EXPECT_EQ(kelp::getDetails("/mnt/other"), nullptr);
  EXPECT_EQ(kelp::getDetails("/mnt/kelp2"), nullptr);
  EXPECT_EQ(admin_invocations(), Invocations{});
}

TEST(DetailsFresh, OddAnswersKeepTheDefaults) {
  ONLY_IN_A_FRESH_PROCESS();
  kelptest::use_scenario("details-oddities");
  // kelpfs1's first pool-statistics call fails: its record keeps every
  // default and kplsfs is not asked about it.
  ASSERT_TRUE(kelpsim::inject_failure("statfspool", 5));
  kelptest::clear_admin_invocations();
  const kelp::kelpDetails_t* k1 = kelp::getDetails("/mnt/kelp");
  ASSERT_NE(k1, nullptr) << "the last file system went well";
  EXPECT_EQ(facts(*k1), (Facts{1210, "/mnt/kelp", "kelpfs1", 262144, 1, 1, 1, 0}));
  EXPECT_EQ(admin_invocations("kplsfs"), Invocations{kplsfs_argv("kelpfs2")});
  // kelpfs2 has no pools and a version without a dot: defaults for both,
  // the other attributes as listed.
  const kelp::kelpDetails_t* k2 = kelp::getDetails("/mnt/kelp2");
  ASSERT_NE(k2, nullptr);
  EXPECT_EQ(facts(*k2), (Facts{1210, "/mnt/kelp2", "kelpfs2", 262144, 1, 2, 4, 0}));
  EXPECT_EQ(kelp::isAllowWriteAffinity.load(), -1);
}

TEST(DetailsFresh, DeviceNameReachesTheCommandsAsOneWord) {
  ONLY_IN_A_FRESH_PROCESS();
  kelptest::use_scenario("details-quoting");
  const std::string device = "kelp;touch${IFS}/run/kelp-injected;#'$(id)";
  // The sandbox's own /etc/mtab (this process's copy) gets the entry.
  kelptest::write_file("/etc/mtab", kelptest::read_file("/etc/mtab") + device +
                                        " /mnt/other kelp rw 0 0\n");
  kelptest::clear_admin_invocations();
  const kelp::kelpDetails_t* d = kelp::getDetails("/mnt/other");
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(facts(*d), (Facts{1323, "/mnt/other", device, 2 << 20, 8, 2, 3, 1}));
  EXPECT_EQ(admin_invocations("kplspool"), Invocations{kplspool_argv(device)});
  EXPECT_EQ(admin_invocations("kplsfs"), Invocations{kplsfs_argv(device)});
  EXPECT_FALSE(kelptest::path_exists("/run/kelp-injected"));
}

TEST(DetailsParse, PoolListingScanEndsAtTheFirstFactor) {
  const std::string listing =
      "Storage pools in file system at '/mnt/x':\n"
      "\n"
      "poolName = a\npoolID = 7\nallowWriteAffinity = yes\nblockGroupFactor = 2048\n"
      "\n"
      "poolName = b\npoolID = 8\nallowWriteAffinity = no\n"  // no factor line
      "\n"
      "poolName = c\npoolID = 9\nallowWriteAffinity = yes\nblockGroupFactor = 16\n"
      "allowWriteAffinity = no\n";
  kelp::kelpDetails_t a;
  EXPECT_EQ(kelp::apply_pool_listing(listing, 7, a), 0);
  EXPECT_EQ(a.blockGroupFactor, 1024);
  EXPECT_EQ(a.allowWriteAffinity, 1);
  // Pool 8 has no factor: the scan runs on into pool 9 and takes its lines.
  kelp::kelpDetails_t b;
  EXPECT_EQ(kelp::apply_pool_listing(listing, 8, b), 0);
  EXPECT_EQ(b.blockGroupFactor, 16);
  EXPECT_EQ(b.allowWriteAffinity, 1);
  // The affinity after pool 9's factor is never read.
  kelp::kelpDetails_t c;
  c.allowWriteAffinity = 0;
  EXPECT_EQ(kelp::apply_pool_listing(listing, 9, c), 0);
  EXPECT_EQ(c.allowWriteAffinity, 1);
  kelp::kelpDetails_t missing;
  EXPECT_EQ(kelp::apply_pool_listing(listing, 65537, missing), 1);
  EXPECT_EQ(missing.blockGroupFactor, 1);
}

TEST(DetailsParse, FileSystemAttributes) {
  kelp::kelpDetails_t d;
  kelp::apply_fs_attributes(" -V 13.23 (x)\n -r 2 y\n -R 3 z\n", false, d);
  EXPECT_EQ(d.version, 1323);
  EXPECT_EQ(d.dataReplicas, 2);
  EXPECT_EQ(d.maxDataReplicas, 3);
  // "-r" is the pool's business when its statistics gave the replication;
  // reading stops at the first line without two words.
  kelp::kelpDetails_t e;
  kelp::apply_fs_attributes(" -r 3\n -V 12.04\n\n -R 9\n", true, e);
  EXPECT_EQ(e.dataReplicas, 1);
  EXPECT_EQ(e.version, 1204);
  EXPECT_EQ(e.maxDataReplicas, 1);
  // A version without a dot (or without digits) leaves the version alone.
  kelp::kelpDetails_t f;
  kelp::apply_fs_attributes(" -V 14\n -V v.x\n -R 4\n", false, f);
  EXPECT_EQ(f.version, 1210);
  EXPECT_EQ(f.maxDataReplicas, 4);
}

}  // namespace
