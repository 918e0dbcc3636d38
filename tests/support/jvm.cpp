#include "support/jvm.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace kelptest {
namespace {

JavaVM* g_vm = nullptr;
JNIEnv* g_env = nullptr;

[[noreturn]] void die(const char* what) {
  std::fprintf(stderr, "test JVM: %s\n", what);
  std::abort();
}

jobject global_instance(const char* class_name) {
  JNIEnv* env = jvm_env();
  jclass cls = env->FindClass(class_name);
  if (cls == nullptr) die(class_name);
  jobject obj = env->AllocObject(cls);
  if (obj == nullptr) die("AllocObject");
  jobject global = env->NewGlobalRef(obj);
  env->DeleteLocalRef(obj);
  env->DeleteLocalRef(cls);
  return global;
}

}  // namespace

JNIEnv* jvm_env() {
  if (g_env != nullptr) return g_env;
  // A test may run against a reduced class path (for instance one lacking a
  // class the library needs).
  const char* override_classpath = std::getenv("KELP_TEST_CLASSPATH_OVERRIDE");
  std::string classpath = std::string("-Djava.class.path=") +
                          (override_classpath != nullptr ? override_classpath : KELP_TEST_CLASSPATH);
  std::string libpath = std::string("-Djava.library.path=") + KELP_TEST_LIBDIR;
  std::vector<JavaVMOption> options = {
      {const_cast<char*>(classpath.c_str()), nullptr},
      {const_cast<char*>(libpath.c_str()), nullptr},
      {const_cast<char*>("-XX:-UsePerfData"), nullptr},
      {const_cast<char*>("-Xss8m"), nullptr},
  };
  // A test may add options (a small or fixed heap, say), separated by blanks.
  std::vector<std::string> extra;
  if (const char* more = std::getenv("KELP_TEST_JVM_OPTIONS")) {
    std::istringstream words(more);
    for (std::string w; words >> w;) extra.push_back(w);
  }
  for (const std::string& w : extra) options.push_back({const_cast<char*>(w.c_str()), nullptr});
  // Benchmarks time the library as Hadoop runs it, without the JNI checker.
  if (std::getenv("KELP_BENCH_JVM") == nullptr) {
    options.push_back({const_cast<char*>("-Xcheck:jni"), nullptr});
  }
  JavaVMInitArgs args{};
  args.version = JNI_VERSION_1_8;
  args.nOptions = static_cast<jint>(options.size());
  args.options = options.data();
  args.ignoreUnrecognized = JNI_FALSE;
  void* env = nullptr;
  if (JNI_CreateJavaVM(&g_vm, &env, &args) != JNI_OK) die("JNI_CreateJavaVM failed");
  g_env = static_cast<JNIEnv*>(env);
  return g_env;
}

JavaVM* jvm() {
  jvm_env();
  return g_vm;
}

jobject kelp_fs() {
  static jobject fs = global_instance("org/apache/hadoop/fs/kelp/KelpFileSystem");
  return fs;
}

jobject output_stream() {
  static jobject os = global_instance("org/apache/hadoop/fs/kelp/KELPDataOutputStream");
  return os;
}

jstring jstr(const char* s) { return s == nullptr ? nullptr : jvm_env()->NewStringUTF(s); }

jstring java_string_of(const std::string& bytes) {
  // Modified UTF-8: one, two or three bytes per UTF-16 unit, each unit on
  // its own (a surrogate is three bytes; NUL is C0 80, never a zero byte).
  std::vector<jchar> units;
  for (size_t i = 0; i < bytes.size();) {
    auto b = [&](size_t k) { return static_cast<unsigned char>(bytes[i + k]); };
    auto cont = [&](size_t k) { return i + k < bytes.size() && (b(k) & 0xC0) == 0x80; };
    if (b(0) != 0 && b(0) < 0x80) {
      units.push_back(b(0));
      i += 1;
    } else if ((b(0) & 0xE0) == 0xC0 && cont(1)) {
      units.push_back(static_cast<jchar>(((b(0) & 0x1F) << 6) | (b(1) & 0x3F)));
      i += 2;
    } else if ((b(0) & 0xF0) == 0xE0 && cont(1) && cont(2)) {
      units.push_back(static_cast<jchar>(((b(0) & 0x0F) << 12) | ((b(1) & 0x3F) << 6) | (b(2) & 0x3F)));
      i += 3;
    } else {
      return nullptr;
    }
  }
  return jvm_env()->NewString(units.data(), static_cast<jsize>(units.size()));
}

std::string to_std(jstring s) {
  if (s == nullptr) return "<null>";
  JNIEnv* env = jvm_env();
  const char* chars = env->GetStringUTFChars(s, nullptr);
  std::string out(chars);
  env->ReleaseStringUTFChars(s, chars);
  return out;
}

std::string take_exception() {
  JNIEnv* env = jvm_env();
  jthrowable t = env->ExceptionOccurred();
  if (t == nullptr) return "";
  env->ExceptionClear();
  jclass cls = env->GetObjectClass(t);
  jclass class_class = env->FindClass("java/lang/Class");
  jmethodID get_name = env->GetMethodID(class_class, "getName", "()Ljava/lang/String;");
  auto name = static_cast<jstring>(env->CallObjectMethod(cls, get_name));
  env->ExceptionCheck();
  env->ExceptionCheck();
  jclass throwable = env->FindClass("java/lang/Throwable");
  jmethodID get_message = env->GetMethodID(throwable, "getMessage", "()Ljava/lang/String;");
  auto message = static_cast<jstring>(env->CallObjectMethod(t, get_message));
  env->ExceptionCheck();
  env->ExceptionCheck();
  std::string out = to_std(name) + ": " + to_std(message);
  env->DeleteLocalRef(message);
  env->DeleteLocalRef(name);
  env->DeleteLocalRef(throwable);
  env->DeleteLocalRef(class_class);
  env->DeleteLocalRef(cls);
  env->DeleteLocalRef(t);
  return out;
}

int fd_of(jobject file_descriptor) {
  if (file_descriptor == nullptr) return -1;
  return int_field(file_descriptor, "fd");
}

jobjectArray acl_entries(const std::vector<AclSpec>& entries) {
  JNIEnv* env = jvm_env();
  jclass cls = env->FindClass("org/apache/hadoop/fs/kelp/KELPAclEntry");
  jmethodID ctor = env->GetMethodID(cls, "<init>", "(ILjava/lang/String;II)V");
  jobjectArray array = env->NewObjectArray(static_cast<jsize>(entries.size()), cls, nullptr);
  for (size_t i = 0; i < entries.size(); ++i) {
    jstring name = jstr(entries[i].name);
    jobject e = env->NewObject(cls, ctor, entries[i].type, name, entries[i].permission,
                               entries[i].scope);
    env->SetObjectArrayElement(array, static_cast<jsize>(i), e);
    env->DeleteLocalRef(e);
    if (name != nullptr) env->DeleteLocalRef(name);
  }
  env->DeleteLocalRef(cls);
  return array;
}

jmethodID method_of(jobject obj, const char* method, const char* signature) {
  JNIEnv* env = jvm_env();
  jclass cls = env->GetObjectClass(obj);
  jmethodID id = env->GetMethodID(cls, method, signature);
  env->DeleteLocalRef(cls);
  if (id == nullptr) die(method);
  return id;
}

namespace {
jfieldID field_of(jobject obj, const char* field, const char* signature) {
  JNIEnv* env = jvm_env();
  jclass cls = env->GetObjectClass(obj);
  jfieldID id = env->GetFieldID(cls, field, signature);
  env->DeleteLocalRef(cls);
  if (id == nullptr) die(field);
  return id;
}
}  // namespace

// Each Java call is followed by the exception check that checked JNI wants
// before the next JNI call; the exception itself stays pending for the test.
jobject call_object(jobject obj, const char* method, const char* signature) {
  jobject result = jvm_env()->CallObjectMethod(obj, method_of(obj, method, signature));
  jvm_env()->ExceptionCheck();
  return result;
}
bool call_boolean(jobject obj, const char* method) {
  bool result = jvm_env()->CallBooleanMethod(obj, method_of(obj, method, "()Z")) != JNI_FALSE;
  jvm_env()->ExceptionCheck();
  return result;
}
int int_field(jobject obj, const char* field) {
  return jvm_env()->GetIntField(obj, field_of(obj, field, "I"));
}
std::string string_field(jobject obj, const char* field) {
  JNIEnv* env = jvm_env();
  auto s = static_cast<jstring>(env->GetObjectField(obj, field_of(obj, field, "Ljava/lang/String;")));
  std::string out = to_std(s);
  if (s != nullptr) env->DeleteLocalRef(s);
  return out;
}

}  // namespace kelptest
