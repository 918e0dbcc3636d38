// JNI entry point of the file-system details.
#include "details/details.h"
#include "jni/entry_guard.h"
#include "jni/jniutil.h"
#include "jni/scoped.h"
#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"

using kelp::JniUtil;

// KelpFileSystem.nGetDetails(int conn, String path) -> KELPDetails
//   (ILjava/lang/String;)Lorg/apache/hadoop/fs/kelp/KELPDetails;
// The connection is not used: the details are this node's own.
extern "C" JNIEXPORT jobject JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetDetails(
    JNIEnv* env, jobject, jint, jstring jpath) {
  return kelp::guarded<jobject>(nullptr, [&]() -> jobject {
    kelp::JavaString path(env, jpath);
    const kelp::kelpDetails_t* d = kelp::getDetails(path.str());
    if (d == nullptr || !JniUtil::tryInit(env)) return nullptr;
    if (JniUtil::CLSID_KELPDETAILS == nullptr || JniUtil::MTHID_KELPDETAILS_C_7 == nullptr) {
      return nullptr;
    }
    kelp::ScopedLocalRef<jstring> device(env, env->NewStringUTF(d->device.c_str()));
    if (!device) return nullptr;
    // The path goes back as the caller gave it, not as the cache keys it.
    return env->NewObject(JniUtil::CLSID_KELPDETAILS, JniUtil::MTHID_KELPDETAILS_C_7, d->version,
                          jpath, device.get(), static_cast<jlong>(d->blockSize),
                          d->blockGroupFactor, d->dataReplicas, d->maxDataReplicas,
                          d->allowWriteAffinity);
  });
}
