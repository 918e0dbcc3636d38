// The Java class cache, the exception raiser and the string copy rule, in a
// real JVM. Run twice: with the full class path, and with one that lacks
// KELPDetails (KELP_TEST_CLASSPATH_OVERRIDE set).
#include <gtest/gtest.h>

#include <cstdlib>

#include "jni/exceptions.h"
#include "jni/jniutil.h"
#include "jni/scoped.h"
#include "support/jvm.h"

namespace {

using kelp::JniUtil;
using kelptest::jvm_env;

bool reduced_classpath() { return std::getenv("KELP_TEST_CLASSPATH_OVERRIDE") != nullptr; }

TEST(JniUtil, ResolvesOnceAndUninitReleasesOnlyClasses) {
  if (reduced_classpath()) GTEST_SKIP() << "needs the full class path";
  JNIEnv* env = jvm_env();
  JniUtil::uninit(env);  // before any init: nothing to do
  EXPECT_FALSE(JniUtil::gIsJniUtilKELPConnInit);

  JniUtil::init(env);
  EXPECT_TRUE(JniUtil::gIsJniUtilKELPConnInit);
  for (jclass c : {JniUtil::CLSID_STRING, JniUtil::CLSID_STRING_ARRAY, JniUtil::CLSID_BLOCKLOCATION,
                   JniUtil::CLSID_FILEDESCRIPTOR, JniUtil::CLSID_KELPDETAILS,
                   JniUtil::CLSID_HADOOPPATH, JniUtil::CLSID_FSPERMISSION, JniUtil::CLSID_FILESTATUS}) {
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(env->GetObjectRefType(c), JNIGlobalRefType);
  }
  EXPECT_NE(JniUtil::MTHID_FILESTATUS_C_9, nullptr);
  jclass fd_class = JniUtil::CLSID_FILEDESCRIPTOR;
  JniUtil::init(env);  // fast path: nothing re-resolved
  EXPECT_EQ(JniUtil::CLSID_FILEDESCRIPTOR, fd_class);

  // The cached constructor builds a working object.
  jobject fd = env->NewObject(JniUtil::CLSID_FILEDESCRIPTOR, JniUtil::MTHID_FILEDESCRIPTOR_C_1, 7);
  EXPECT_EQ(kelptest::fd_of(fd), 7);
  env->DeleteLocalRef(fd);

  jmethodID ctor = JniUtil::MTHID_FILEDESCRIPTOR_C_0;
  JniUtil::uninit(env);
  EXPECT_FALSE(JniUtil::gIsJniUtilKELPConnInit);
  EXPECT_EQ(JniUtil::CLSID_FILEDESCRIPTOR, nullptr);
  EXPECT_EQ(JniUtil::CLSID_STRING, nullptr);
  EXPECT_EQ(JniUtil::MTHID_FILEDESCRIPTOR_C_0, ctor);  // method ids stay
  JniUtil::uninit(env);  // twice is harmless
  EXPECT_TRUE(JniUtil::tryInit(env));
  EXPECT_NE(JniUtil::CLSID_FILEDESCRIPTOR, nullptr);
}

TEST(JniUtil, MissingClassStopsResolutionWithEarlierHandlesKept) {
  if (!reduced_classpath()) GTEST_SKIP() << "needs a class path without KELPDetails";
  JNIEnv* env = jvm_env();
  EXPECT_THROW(JniUtil::init(env), int);
  EXPECT_FALSE(env->ExceptionCheck());  // the Java error was cleared
  EXPECT_FALSE(JniUtil::gIsJniUtilKELPConnInit);
  EXPECT_NE(JniUtil::CLSID_STRING, nullptr);
  EXPECT_NE(JniUtil::CLSID_STRING_ARRAY, nullptr);
  EXPECT_NE(JniUtil::CLSID_BLOCKLOCATION, nullptr);
  EXPECT_NE(JniUtil::CLSID_FILEDESCRIPTOR, nullptr);
  EXPECT_NE(JniUtil::MTHID_FILEDESCRIPTOR_C_1, nullptr);
  EXPECT_EQ(JniUtil::CLSID_KELPDETAILS, nullptr);
  EXPECT_EQ(JniUtil::CLSID_HADOOPPATH, nullptr);
  // Entry points see a plain failure, and a retry starts over.
  EXPECT_FALSE(JniUtil::tryInit(env));
  EXPECT_FALSE(env->ExceptionCheck());
  EXPECT_FALSE(JniUtil::gIsJniUtilKELPConnInit);
}

TEST(JniBridge, IOExceptionIsRaisedWithItsText) {
  JNIEnv* env = jvm_env();
  EXPECT_TRUE(kelp::throw_io_exception(env, " Rename failed. Cause: 3\n"));
  EXPECT_EQ(kelptest::take_exception(), "java.io.IOException:  Rename failed. Cause: 3\n");
  kelp::IoException e(env);
  EXPECT_TRUE(e.available());
  EXPECT_FALSE(env->ExceptionCheck());  // looking up raises nothing
  EXPECT_TRUE(e.raise("Failed to load libacl"));
  EXPECT_EQ(kelptest::take_exception(), "java.io.IOException: Failed to load libacl");
}

TEST(JniBridge, JavaStringsAreCopiedWhole) {
  JNIEnv* env = jvm_env();
  // Modified UTF-8 travels unchanged: U+00E9 and U+1F600 (a surrogate pair).
  jstring s = env->NewString(reinterpret_cast<const jchar*>(u"/k/\u00e9\U0001F600 x"), 8);
  kelp::JavaString copy(env, s);
  EXPECT_TRUE(copy.present());
  EXPECT_EQ(copy.str(), "/k/\xc3\xa9\xed\xa0\xbd\xed\xb8\x80 x");
  env->DeleteLocalRef(s);
  kelp::JavaString null_string(env, nullptr);
  EXPECT_FALSE(null_string.present());
  EXPECT_STREQ(null_string.c_str(), "");
  {
    kelp::ScopedLocalRef<jstring> ref(env, kelptest::jstr("x"));
    EXPECT_EQ(env->GetObjectRefType(ref.get()), JNILocalRefType);
  }
}

}  // namespace
