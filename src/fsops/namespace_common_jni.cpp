#include "fsops/namespace_common_jni.h"

#include <unistd.h>

#include "jni/jniutil.h"

namespace kelp {
namespace {

// A FileDescriptor made with a no-argument constructor, then given |fd|
// through its "fd" field.
jobject new_with_field(JNIEnv* env, jclass cls, jmethodID ctor, int fd) {
  if (cls == nullptr || ctor == nullptr) return nullptr;
  jfieldID field = env->GetFieldID(cls, "fd", "I");
  if (field == nullptr) {
    env->ExceptionClear();
    return nullptr;
  }
  jobject obj = env->NewObject(cls, ctor);
  if (obj != nullptr) env->SetIntField(obj, field, fd);
  return obj;
}

jobject build(JNIEnv* env, FdObject how, int fd) {
  switch (how) {
    case FdObject::kIntConstructor:
      if (!JniUtil::tryInit(env) || JniUtil::CLSID_FILEDESCRIPTOR == nullptr ||
          JniUtil::MTHID_FILEDESCRIPTOR_C_1 == nullptr) {
        return nullptr;
      }
      return env->NewObject(JniUtil::CLSID_FILEDESCRIPTOR, JniUtil::MTHID_FILEDESCRIPTOR_C_1, fd);
    case FdObject::kCachedField:
      if (!JniUtil::tryInit(env)) return nullptr;
      return new_with_field(env, JniUtil::CLSID_FILEDESCRIPTOR, JniUtil::MTHID_FILEDESCRIPTOR_C_0,
                            fd);
    case FdObject::kLookedUp: {
      ScopedLocalRef<jclass> cls(env, env->FindClass("java/io/FileDescriptor"));
      if (!cls) {
        env->ExceptionClear();
        return nullptr;
      }
      jmethodID ctor = env->GetMethodID(cls.get(), "<init>", "()V");
      if (ctor == nullptr) {
        env->ExceptionClear();
        return nullptr;
      }
      return new_with_field(env, cls.get(), ctor, fd);
    }
  }
  return nullptr;
}

}  // namespace

jobject file_descriptor_object(JNIEnv* env, FdObject how, int fd, bool owned) {
  if (fd < 0) return nullptr;
  jobject obj = build(env, how, fd);
  // Java never got the descriptor: nobody else would close it.
  if (obj == nullptr && owned) ::close(fd);
  return obj;
}

int create_reply_fd(const DescriptorReply& reply, bool& owned) {
  owned = false;
  if (!reply.arrived) return -1;
  if (reply.byte == 1) {
    owned = true;
    return reply.fd;
  }
  return reply.byte;
}

jboolean remote_bool(int connection, char type, const Payload& request) {
  signed char reply = 0;
  if (!exchange_byte(connection, type, request, reply)) return JNI_FALSE;
  return static_cast<jboolean>(reply);
}

}  // namespace kelp
