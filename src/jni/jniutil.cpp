#include "jni/jniutil.h"

#include <cstring>
#include <initializer_list>
#include <string>

#include "jni/mutex.h"

namespace kelp {

std::atomic<bool> JniUtil::gIsJniUtilKELPConnInit{false};
pthread_mutex_t JniUtil::m_mutex;

jclass JniUtil::CLSID_STRING = nullptr;
jclass JniUtil::CLSID_STRING_ARRAY = nullptr;
jclass JniUtil::CLSID_BLOCKLOCATION = nullptr;
jmethodID JniUtil::MTHID_BLOCKLOCATION_C_4 = nullptr;
jclass JniUtil::CLSID_FILEDESCRIPTOR = nullptr;
jmethodID JniUtil::MTHID_FILEDESCRIPTOR_C_0 = nullptr;
jmethodID JniUtil::MTHID_FILEDESCRIPTOR_C_1 = nullptr;
jclass JniUtil::CLSID_KELPDETAILS = nullptr;
jmethodID JniUtil::MTHID_KELPDETAILS_C_7 = nullptr;
jclass JniUtil::CLSID_HADOOPPATH = nullptr;
jmethodID JniUtil::MTHID_HADOOPPATH_C_1 = nullptr;
jclass JniUtil::CLSID_FSPERMISSION = nullptr;
jmethodID JniUtil::MTHID_FSPERMISSION_C_1 = nullptr;
jclass JniUtil::CLSID_FILESTATUS = nullptr;
jmethodID JniUtil::MTHID_FILESTATUS_C_9 = nullptr;

namespace {

// The JNI unit's load-time initialiser: runs after logging and the ACL loader.
struct JniUtilInit {
  JniUtilInit() { init_recursive_mutex(&JniUtil::m_mutex); }
};
JniUtilInit jniutil_init __attribute__((init_priority(1200)));

}  // namespace

jclass find_class(JNIEnv* env, const char* name) {
  // A class named in descriptor form ("Lpkg/Name;") is looked up by its
  // plain name: -Xcheck:jni warns about the other form.
  size_t len = std::strlen(name);
  if (len < 3 || name[0] != 'L' || name[len - 1] != ';') return env->FindClass(name);
  std::string plain(name + 1, len - 2);
  return env->FindClass(plain.c_str());
}

jclass JniUtil::findJavaClass(JNIEnv* env, const char* name, jclass& out) {
  jclass local = find_class(env, name);
  if (env->ExceptionCheck()) {
    env->ExceptionClear();
    throw -1;
  }
  // A retry after a failed init replaces the handle stored by the attempt before.
  if (out != nullptr) env->DeleteGlobalRef(out);
  out = static_cast<jclass>(env->NewGlobalRef(local));
  env->DeleteLocalRef(local);
  return out;
}

void JniUtil::getMethodId(JNIEnv* env, jclass cls, const char* name, const char* signature,
                          jmethodID& out) {
  out = env->GetMethodID(cls, name, signature);
  if (env->ExceptionCheck()) {
    env->ExceptionClear();
    throw -1;
  }
}

void JniUtil::init(JNIEnv* env) {
  if (gIsJniUtilKELPConnInit) return;
  MutexLock lock(&m_mutex);
  if (gIsJniUtilKELPConnInit) return;
  findJavaClass(env, "java/lang/String", CLSID_STRING);
  findJavaClass(env, "[Ljava/lang/String;", CLSID_STRING_ARRAY);
  findJavaClass(env, "org/apache/hadoop/fs/BlockLocation", CLSID_BLOCKLOCATION);
  getMethodId(env, CLSID_BLOCKLOCATION, "<init>", "([Ljava/lang/String;[Ljava/lang/String;JJ)V",
              MTHID_BLOCKLOCATION_C_4);
  findJavaClass(env, "java/io/FileDescriptor", CLSID_FILEDESCRIPTOR);
  getMethodId(env, CLSID_FILEDESCRIPTOR, "<init>", "()V", MTHID_FILEDESCRIPTOR_C_0);
  getMethodId(env, CLSID_FILEDESCRIPTOR, "<init>", "(I)V", MTHID_FILEDESCRIPTOR_C_1);
  findJavaClass(env, "org/apache/hadoop/fs/kelp/KELPDetails", CLSID_KELPDETAILS);
  getMethodId(env, CLSID_KELPDETAILS, "<init>", "(ILjava/lang/String;Ljava/lang/String;JIIII)V",
              MTHID_KELPDETAILS_C_7);
  findJavaClass(env, "org/apache/hadoop/fs/Path", CLSID_HADOOPPATH);
  getMethodId(env, CLSID_HADOOPPATH, "<init>", "(Ljava/lang/String;)V", MTHID_HADOOPPATH_C_1);
  findJavaClass(env, "org/apache/hadoop/fs/permission/FsPermission", CLSID_FSPERMISSION);
  getMethodId(env, CLSID_FSPERMISSION, "<init>", "(S)V", MTHID_FSPERMISSION_C_1);
  findJavaClass(env, "org/apache/hadoop/fs/FileStatus", CLSID_FILESTATUS);
  getMethodId(env, CLSID_FILESTATUS, "<init>",
              "(JZIJJJLorg/apache/hadoop/fs/permission/FsPermission;Ljava/lang/String;"
              "Ljava/lang/String;Lorg/apache/hadoop/fs/Path;)V",
              MTHID_FILESTATUS_C_9);
  gIsJniUtilKELPConnInit = true;
}

bool JniUtil::tryInit(JNIEnv* env) {
  try {
    init(env);
    return true;
  } catch (int) {
    return false;
  }
}

void JniUtil::uninit(JNIEnv* env) {
  MutexLock lock(&m_mutex);
  if (!gIsJniUtilKELPConnInit) return;
  for (jclass* cls : {&CLSID_STRING, &CLSID_STRING_ARRAY, &CLSID_BLOCKLOCATION,
                      &CLSID_FILEDESCRIPTOR, &CLSID_KELPDETAILS, &CLSID_HADOOPPATH,
                      &CLSID_FSPERMISSION, &CLSID_FILESTATUS}) {
    if (*cls != nullptr) {
      env->DeleteGlobalRef(*cls);
      *cls = nullptr;
    }
  }
  gIsJniUtilKELPConnInit = false;
}

}  // namespace kelp
