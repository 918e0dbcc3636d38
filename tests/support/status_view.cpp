#include "support/status_view.h"

#include <gtest/gtest.h>

#include "support/jvm.h"

namespace statustest {
namespace {

using kelptest::jvm_env;
using kelptest::method_of;
using kelptest::to_std;

// Every getter call is followed by this: a getter that threw fails the test.
template <typename T>
T checked(T value) {
  EXPECT_EQ(kelptest::take_exception(), "");
  return value;
}

long long get_long(jobject obj, const char* getter) {
  return checked(jvm_env()->CallLongMethod(obj, method_of(obj, getter, "()J")));
}

int get_short(jobject obj, const char* getter) {
  return checked(jvm_env()->CallShortMethod(obj, method_of(obj, getter, "()S")));
}

jobject get_object(jobject obj, const char* getter, const char* signature) {
  return checked(jvm_env()->CallObjectMethod(obj, method_of(obj, getter, signature)));
}

std::string get_string(jobject obj, const char* getter) {
  auto s = static_cast<jstring>(get_object(obj, getter, "()Ljava/lang/String;"));
  std::string out = to_std(s);
  jvm_env()->DeleteLocalRef(s);
  return out;
}

std::string class_name(jobject obj) {
  JNIEnv* env = jvm_env();
  jclass cls = env->GetObjectClass(obj);
  std::string name = get_string(cls, "getName");
  env->DeleteLocalRef(cls);
  return name;
}

}  // namespace

StatusView view(jobject status) {
  JNIEnv* env = jvm_env();
  StatusView v;
  v.cls = class_name(status);
  v.length = get_long(status, "getLen");
  v.isdir = checked(env->CallBooleanMethod(status, method_of(status, "isDirectory", "()Z")));
  v.replication = get_short(status, "getReplication");
  v.blocksize = get_long(status, "getBlockSize");
  v.mtime = get_long(status, "getModificationTime");
  v.atime = get_long(status, "getAccessTime");
  jobject permission =
      get_object(status, "getPermission", "()Lorg/apache/hadoop/fs/permission/FsPermission;");
  if (permission != nullptr) {
    v.permission_cls = class_name(permission);
    v.permission = static_cast<unsigned short>(get_short(permission, "toExtendedShort"));
  }
  env->DeleteLocalRef(permission);
  v.owner = get_string(status, "getOwner");
  v.group = get_string(status, "getGroup");
  jobject path = get_object(status, "getPath", "()Lorg/apache/hadoop/fs/Path;");
  v.path = path != nullptr ? get_string(path, "toString") : "<null>";
  env->DeleteLocalRef(path);
  // Hadoop's getSymlink throws for a status that is no link; ask first.
  v.has_symlink = checked(env->CallBooleanMethod(status, method_of(status, "isSymlink", "()Z")));
  auto blocks = static_cast<jobjectArray>(
      get_object(status, "getBlockLocations", "()[Lorg/apache/hadoop/fs/BlockLocation;"));
  v.has_blocks = blocks != nullptr;
  for (jsize i = 0; blocks != nullptr && i < env->GetArrayLength(blocks); ++i) {
    jobject b = env->GetObjectArrayElement(blocks, i);
    if (b != nullptr) v.blocks.push_back(kelptest::location_of(b));
    env->DeleteLocalRef(b);
  }
  env->DeleteLocalRef(blocks);
  return v;
}

std::vector<Slot> slots(jobjectArray array) {
  JNIEnv* env = jvm_env();
  std::vector<Slot> out;
  for (jsize i = 0; i < env->GetArrayLength(array); ++i) {
    jobject s = env->GetObjectArrayElement(array, i);
    Slot slot;
    if (s != nullptr) {
      slot.null = false;
      slot.status = view(s);
    }
    env->DeleteLocalRef(s);
    out.push_back(std::move(slot));
  }
  return out;
}

}  // namespace statustest
