// Where libacl.so cannot be used, because it is missing or lacks one of the
// functions needed: the library still loads into a JVM, its other methods
// work, and every ACL method raises "Failed to load libacl". tests.cmake runs
// this binary in environments that hide or replace libacl.so.
#include <dlfcn.h>
#include <gtest/gtest.h>

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

// A KelpFileSystem method, to call through the JVM as Java code does.
jmethodID fs_method(const char* name, const char* signature) {
  jmethodID id = jvm_env()->GetMethodID(jvm_env()->GetObjectClass(kelp_fs()), name, signature);
  EXPECT_NE(id, nullptr) << name;
  return id;
}

TEST(AclUnavailable, EveryAclMethodRaisesAndTheOthersWork) {
  kelptest::ScratchDir dir("aclunavailable");
  std::string f = dir / "f";
  kelptest::write_file(f, "x");
  LocalFrame frame;
  JNIEnv* env = jvm_env();
  jobject fs = kelp_fs();  // made by initialising its class, which loads the library

  jboolean exists = env->CallBooleanMethod(fs, fs_method("nExists", "(ILjava/lang/String;)Z"), -42, jstr(f));
  EXPECT_EQ(take_exception(), "");
  EXPECT_TRUE(exists);

  jobject status = env->CallObjectMethod(
      fs, fs_method("nGetAclStatus", "(ILjava/lang/String;)Lorg/apache/hadoop/fs/kelp/KELPAclStatus;"), -42, jstr(f));
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

  // The core refuses as well, rather than calling through unusable pointers.
  std::list<kelp::AclEntry*> entries;
  kelp::AclEntryListGuard guard(entries);
  entries.push_back(new kelp::AclEntry{0, 7, 0, "kelpuser1"});
  EXPECT_EQ(kelp::getAclStatus(f.c_str()), nullptr);
  EXPECT_EQ(kelp::modifyAclEntries(f.c_str(), entries), 0);
  EXPECT_EQ(kelp::setAcl(f.c_str(), entries), 0);
  EXPECT_EQ(kelp::removeACL(f.c_str()), 0);
  EXPECT_EQ(kelp::removeDefaultAcl(dir.path().c_str()), 0);

  // A retry of the loader fails alike.
  EXPECT_EQ(ACLUtil::libacl_handle.load(), nullptr);
  EXPECT_FALSE(ACLUtil::init());
  EXPECT_EQ(ACLUtil::libacl_handle.load(), nullptr);
  // Whatever libacl.so was found has been closed again.
  EXPECT_EQ(::dlopen("libacl.so", RTLD_LAZY | RTLD_NOLOAD), nullptr);
}

TEST(AclStub, StandInLacksExactlyTheOneFunction) {
  // What dlopen finds here is the stand-in: it opens, and lacks acl_to_any_text.
  void* stub = ::dlopen("libacl.so", RTLD_LAZY);
  ASSERT_NE(stub, nullptr) << ::dlerror();
  EXPECT_NE(::dlsym(stub, "acl_from_mode"), nullptr);
  EXPECT_EQ(::dlsym(stub, "acl_to_any_text"), nullptr);
  ::dlclose(stub);
}

}  // namespace
