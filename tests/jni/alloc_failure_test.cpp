// Results that do not fit the Java heap: the JVM runs with a heap far too
// small for the block locations of a 1 TiB file (262,144 blocks) and for the
// statuses of a large listing. Each call must end with OutOfMemoryError
// pending and a null result, never a crash, and the library must keep
// working afterwards. -Xcheck:jni is on, so a JNI call made with the error
// pending would fail the run.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "support/block_location_view.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

// Set before the JVM starts (at the first jvm_env()); the simulated library
// logs no request bytes for the large listing.
const bool kSmallHeap = ::setenv("KELP_TEST_JVM_OPTIONS", "-Xmx24m", 1) == 0 &&
                        ::setenv("KELP_SIM_LOG", "0", 1) == 0;

constexpr int kLocal = -42;

TEST(AllocationFailure, BlockLocationsOfAHugeFile) {
  ASSERT_TRUE(kSmallHeap);
  kelptest::use_scenario("default");
  kelptest::ScratchDir dir("alloc");
  std::string big = dir / "big", small = dir / "small";
  kelptest::make_file(big, int64_t{1} << 40);
  kelptest::make_file(small, 10 * kelptest::kMiB);

  for (int attempt = 0; attempt < 3; ++attempt) {
    SCOPED_TRACE(attempt);
    jobjectArray result = kelptest::query(kLocal, big, 0, -1);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(kelptest::take_exception().rfind("java.lang.OutOfMemoryError", 0), 0u);
    // Nothing of the failed call is left holding the heap: a small query works.
    jobjectArray ok = kelptest::query(kLocal, small, 0, -1);
    // As Java would on return, before any other JNI call.
    ASSERT_FALSE(kelptest::jvm_env()->ExceptionCheck());
    ASSERT_NE(ok, nullptr);
    EXPECT_EQ(kelptest::jvm_env()->GetArrayLength(ok), 3);
    kelptest::jvm_env()->DeleteLocalRef(ok);
  }
}

TEST(AllocationFailure, LocatedListingOfAManyEntryDirectory) {
  kelptest::use_scenario("default");
  kelptest::ScratchDir dir("alloc-list");
  constexpr int kEntries = 100000;
  for (int i = 0; i < kEntries; ++i) {
    kelptest::make_file(dir / ("entry-with-a-rather-long-name-" + std::to_string(i)), 0);
  }
  JNIEnv* env = kelptest::jvm_env();
  jstring path = kelptest::jstr(dir.path());
  jobjectArray result = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nListStatus(
      env, kelptest::kelp_fs(), kLocal, path, 1, 1000, JNI_TRUE, nullptr, nullptr, 4 << 20);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(kelptest::take_exception().rfind("java.lang.OutOfMemoryError", 0), 0u);
  // A small listing afterwards works.
  kelptest::ScratchDir few("alloc-few");
  kelptest::make_file(few / "a", 1);
  jstring fewPath = kelptest::jstr(few.path());
  jobjectArray ok = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nListStatus(
      env, kelptest::kelp_fs(), kLocal, fewPath, 1, 1000, JNI_TRUE, nullptr, nullptr, 4 << 20);
  ASSERT_FALSE(env->ExceptionCheck());
  ASSERT_NE(ok, nullptr);
  EXPECT_EQ(env->GetArrayLength(ok), 1);
  env->DeleteLocalRef(ok);
  env->DeleteLocalRef(fewPath);
  env->DeleteLocalRef(path);
}

}  // namespace
