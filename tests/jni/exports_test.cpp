// The library exports exactly its JNI entry points and the debug switch, and
// every one of the 40 native methods the Java half declares has its entry
// point.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::jvm_env;

// JNI short name mangling of one identifier.
std::string mangle(const std::string& s) {
  std::string out;
  for (char c : s) {
    if (c == '/' || c == '.') out += '_';
    else if (c == '_') out += "_1";
    else if (c == ';') out += "_2";
    else if (c == '[') out += "_3";
    else out += c;
  }
  return out;
}

std::string call_string(jobject obj, const char* cls, const char* method) {
  JNIEnv* env = jvm_env();
  jclass c = env->FindClass(cls);
  jmethodID m = env->GetMethodID(c, method, "()Ljava/lang/String;");
  auto s = static_cast<jstring>(env->CallObjectMethod(obj, m));
  EXPECT_FALSE(env->ExceptionCheck()) << method;
  std::string out = kelptest::to_std(s);
  env->DeleteLocalRef(s);
  env->DeleteLocalRef(c);
  return out;
}

// "Class.method" of every native method declared by |class_name|.
std::set<std::string> native_methods(const char* class_name, const std::string& simple) {
  JNIEnv* env = jvm_env();
  jclass cls = env->FindClass(class_name);
  EXPECT_NE(cls, nullptr) << class_name;
  jclass class_class = env->FindClass("java/lang/Class");
  jmethodID declared = env->GetMethodID(class_class, "getDeclaredMethods", "()[Ljava/lang/reflect/Method;");
  auto methods = static_cast<jobjectArray>(env->CallObjectMethod(cls, declared));
  EXPECT_FALSE(env->ExceptionCheck());
  jclass method_class = env->FindClass("java/lang/reflect/Method");
  jmethodID modifiers = env->GetMethodID(method_class, "getModifiers", "()I");
  std::set<std::string> out;
  for (jsize i = 0; i < env->GetArrayLength(methods); ++i) {
    jobject m = env->GetObjectArrayElement(methods, i);
    jint flags = env->CallIntMethod(m, modifiers);
    EXPECT_FALSE(env->ExceptionCheck());
    if (flags & 0x100 /* Modifier.NATIVE */) {
      out.insert(simple + "." + call_string(m, "java/lang/reflect/Method", "getName"));
    }
    env->DeleteLocalRef(m);
  }
  return out;
}

TEST(Exports, OnlyEntryPointsAndDebugSwitchAreExported) {
  std::string out;
  ASSERT_EQ(kelptest::run_command(std::string("nm -D --defined-only '") + KELP_TEST_LIBRARY + "'", &out), 0);
  std::istringstream lines(out);
  std::string line;
  int java = 0;
  while (std::getline(lines, line)) {
    std::string name = line.substr(line.rfind(' ') + 1);
    if (name.rfind("Java_org_apache_hadoop_fs_kelp_", 0) == 0) {
      ++java;
      continue;
    }
    EXPECT_EQ(name, "_isDebugEnabled") << "unexpected export: " << line;
  }
  EXPECT_EQ(java, 40);
}

TEST(Exports, EveryNativeMethodHasItsEntryPoint) {
  void* lib = dlopen(KELP_TEST_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
  if (lib == nullptr) lib = dlopen(KELP_TEST_LIBRARY, RTLD_NOW);
  ASSERT_NE(lib, nullptr) << dlerror();
  auto natives = native_methods("org/apache/hadoop/fs/kelp/KelpFileSystem", "KelpFileSystem");
  auto stream = native_methods("org/apache/hadoop/fs/kelp/KELPDataOutputStream", "KELPDataOutputStream");
  natives.insert(stream.begin(), stream.end());
  EXPECT_EQ(natives.size(), 40u);
  for (const std::string& m : natives) {
    std::string cls = m.substr(0, m.find('.'));
    std::string method = m.substr(m.find('.') + 1);
    std::string symbol = "Java_" + mangle("org/apache/hadoop/fs/kelp/" + cls) + "_" + mangle(method);
    EXPECT_NE(dlsym(lib, symbol.c_str()), nullptr) << m << " has no entry point " << symbol;
  }
  dlclose(lib);
}

TEST(Exports, DebugSwitchFollowsTheEnvironment) {
  void* lib = dlopen(KELP_TEST_LIBRARY, RTLD_NOW);
  ASSERT_NE(lib, nullptr);
  auto* flag = static_cast<bool*>(dlsym(lib, "_isDebugEnabled"));
  ASSERT_NE(flag, nullptr);
  const char* env = getenv("KELPHADOOP_DEBUG");
  EXPECT_EQ(*flag, env != nullptr && *env != '\0' && std::string(env) != "0");
  dlclose(lib);
}

}  // namespace
