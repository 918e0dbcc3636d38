// Process-wide cache of the Java classes and constructors used to build
// result objects. The class handles are global references owned here; they
// stay valid on every thread. init/uninit are serialised by m_mutex.
#ifndef KELP_JNI_JNIUTIL_H
#define KELP_JNI_JNIUTIL_H

#include <jni.h>
#include <pthread.h>

#include <atomic>

namespace kelp {

// FindClass of |name|, which may also be given in descriptor form
// ("Lorg/apache/hadoop/fs/BlockLocation;"): that is looked up by its plain
// name, as checked JNI wants it. Null, with the JVM's exception pending,
// when the class is missing.
jclass find_class(JNIEnv* env, const char* name);

class JniUtil final {
 public:
  JniUtil() = delete;

  // Resolves every handle once. A class or constructor the JVM cannot resolve
  // clears the Java exception and throws the int -1; handles resolved before
  // it stay stored and the next init starts over.
  static void init(JNIEnv* env);
  // init for entry points: false where init would throw, so no C++ exception
  // ever leaves the library.
  static bool tryInit(JNIEnv* env);
  // Releases the class handles (method ids are kept).
  static void uninit(JNIEnv* env);

  static jclass findJavaClass(JNIEnv* env, const char* name, jclass& out);
  static void getMethodId(JNIEnv* env, jclass cls, const char* name, const char* signature,
                          jmethodID& out);

  // Read without the lock on the fast path of init.
  static std::atomic<bool> gIsJniUtilKELPConnInit;
  static pthread_mutex_t m_mutex;

  static jclass CLSID_STRING;
  static jclass CLSID_STRING_ARRAY;
  static jclass CLSID_BLOCKLOCATION;
  static jmethodID MTHID_BLOCKLOCATION_C_4;
  static jclass CLSID_FILEDESCRIPTOR;
  static jmethodID MTHID_FILEDESCRIPTOR_C_0;
  static jmethodID MTHID_FILEDESCRIPTOR_C_1;
  static jclass CLSID_KELPDETAILS;
  static jmethodID MTHID_KELPDETAILS_C_7;
  static jclass CLSID_HADOOPPATH;
  static jmethodID MTHID_HADOOPPATH_C_1;
  static jclass CLSID_FSPERMISSION;
  static jmethodID MTHID_FSPERMISSION_C_1;
  static jclass CLSID_FILESTATUS;
  static jmethodID MTHID_FILESTATUS_C_9;
};

}  // namespace kelp

#endif  // KELP_JNI_JNIUTIL_H
