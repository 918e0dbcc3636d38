// Where libacl.so cannot be used, because it is missing or lacks one of the
// functions needed: the library still loads into a JVM, its other methods
// work, and every ACL method raises "Failed to load libacl". tests.cmake runs
// this binary in environments that hide or replace libacl.so.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/xattr.h>

#include <cerrno>
#include <list>
#include <string>

#include "acl/acl_support.h"
#include "acl/aclutil.h"
#include "acl/libopenacl.h"

namespace {

using acltest::LocalFrame;
using kelp::ACLUtil;
using kelptest::jstr;
using kelptest::jvm_env;
using kelptest::kelp_fs;
using kelptest::take_exception;

constexpr const char* kFailed = "java.io.IOException: Failed to load libacl";

jmethodID fs_method(const char* name, const char* signature) {
  JNIEnv* env = jvm_env();
  jclass cls = env->GetObjectClass(kelp_fs());
  jmethodID id = env->GetMethodID(cls, name, signature);
  EXPECT_NE(id, nullptr) << name;
  return id;
}

bool has_access_acl(const std::string& path) {
  return ::getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) >= 0 || errno != ENODATA;
}

TEST(AclUnavailable, LibraryLoadsIntoTheJvm) {
  kelptest::require_sandbox();
  LocalFrame frame;
  JNIEnv* env = jvm_env();
  // Initialising the class runs its System.loadLibrary("kelphadoopmap").
  jclass loader_class = env->FindClass("java/lang/ClassLoader");
  jobject loader = env->CallStaticObjectMethod(
      loader_class, env->GetStaticMethodID(loader_class, "getSystemClassLoader", "()Ljava/lang/ClassLoader;"));
  ASSERT_EQ(take_exception(), "");
  jclass class_class = env->FindClass("java/lang/Class");
  jmethodID for_name = env->GetStaticMethodID(class_class, "forName",
                                              "(Ljava/lang/String;ZLjava/lang/ClassLoader;)Ljava/lang/Class;");
  jobject cls = env->CallStaticObjectMethod(class_class, for_name, jstr("org.apache.hadoop.fs.kelp.KelpFileSystem"),
                                            JNI_TRUE, loader);
  EXPECT_EQ(take_exception(), "");
  EXPECT_NE(cls, nullptr);

  void* lib = ::dlopen(KELP_TEST_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(lib, nullptr);
  EXPECT_NE(::dlsym(lib, "_isDebugEnabled"), nullptr);
  ::dlclose(lib);
  EXPECT_EQ(ACLUtil::libacl_handle.load(), nullptr);
}

TEST(AclUnavailable, EveryAclMethodRaisesFailedToLoadLibacl) {
  kelptest::ScratchDir dir("aclunavailable");
  std::string f = dir / "f";
  kelptest::write_file(f, "x");
  LocalFrame frame;
  JNIEnv* env = jvm_env();
  jobject fs = kelp_fs();

  jobject status = env->CallObjectMethod(
      fs, fs_method("nGetAclStatus", "(ILjava/lang/String;)Lorg/apache/hadoop/fs/kelp/KELPAclStatus;"), -42,
      jstr(f));
  EXPECT_EQ(take_exception(), kFailed);
  EXPECT_EQ(status, nullptr);

  for (const char* name : {"nSetAcl", "nModifyAclEntries", "nRemoveAclEntries"}) {
    jint rc = env->CallIntMethod(fs, fs_method(name, "(ILjava/lang/String;[Lorg/apache/hadoop/fs/kelp/KELPAclEntry;)I"),
                                 -42, jstr(f), kelptest::acl_entries({{0, "kelpuser1", 7, 0}}));
    EXPECT_EQ(take_exception(), kFailed) << name;
    EXPECT_EQ(rc, 0) << name;
  }
  for (const char* name : {"nRemoveAcl", "nRemoveDefaultAcl"}) {
    jint rc = env->CallIntMethod(fs, fs_method(name, "(ILjava/lang/String;)I"), -42, jstr(f));
    EXPECT_EQ(take_exception(), kFailed) << name;
    EXPECT_EQ(rc, 0) << name;
  }
  EXPECT_FALSE(has_access_acl(f));

  // The core refuses as well, rather than calling through unusable pointers.
  std::list<kelp::AclEntry*> entries;
  kelp::AclEntryListGuard guard(entries);
  entries.push_back(new kelp::AclEntry{0, 7, 0, "kelpuser1"});
  EXPECT_EQ(kelp::getAclStatus(f.c_str()), nullptr);
  EXPECT_EQ(kelp::modifyAclEntries(f.c_str(), entries), 0);
  EXPECT_EQ(kelp::setAcl(f.c_str(), entries), 0);
  EXPECT_EQ(kelp::removeACL(f.c_str()), 0);
  EXPECT_EQ(kelp::removeDefaultAcl(dir.path().c_str()), 0);
  EXPECT_FALSE(has_access_acl(f));
}

TEST(AclUnavailable, OtherMethodsStillWork) {
  kelptest::require_sandbox();
  LocalFrame frame;
  JNIEnv* env = jvm_env();
  jboolean exists = env->CallBooleanMethod(kelp_fs(), fs_method("nExists", "(ILjava/lang/String;)Z"), -42,
                                           jstr(kelptest::kKelpMount));
  EXPECT_EQ(take_exception(), "");
  EXPECT_TRUE(exists);
}

TEST(AclStub, LibraryLackingOneFunctionIsClosedAgain) {
  // What dlopen finds here is the stand-in without acl_to_any_text.
  void* stub = ::dlopen("libacl.so", RTLD_LAZY);
  ASSERT_NE(stub, nullptr) << ::dlerror();
  EXPECT_NE(::dlsym(stub, "acl_from_mode"), nullptr);
  EXPECT_EQ(::dlsym(stub, "acl_to_any_text"), nullptr);

  // Everything before the missing function was resolved and stays; the
  // handle alone says it is unusable.
  EXPECT_EQ(ACLUtil::libacl_handle.load(), nullptr);
  EXPECT_NE(ACLUtil::acl_init, nullptr);
  EXPECT_NE(ACLUtil::acl_from_mode, nullptr);
  EXPECT_EQ(ACLUtil::acl_to_any_text, nullptr);
  EXPECT_EQ(ACLUtil::acl_error, nullptr);

  // A retry fails the same way, resolving as far as the stub goes.
  EXPECT_FALSE(ACLUtil::init());
  EXPECT_EQ(ACLUtil::libacl_handle.load(), nullptr);
  EXPECT_EQ(reinterpret_cast<void*>(ACLUtil::acl_from_mode), ::dlsym(stub, "acl_from_mode"));
  EXPECT_EQ(ACLUtil::acl_to_any_text, nullptr);
  ::dlclose(stub);
}

}  // namespace
