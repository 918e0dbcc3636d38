// Extended attributes through KelpFileSystem's natives, on the scratch Kelp
// mount (user.* attributes) and on a mount without attribute support.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/xattr.h>

#include <string>

#include "jni/scoped.h"
#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::jstr;
using kelptest::jvm_env;
using kelptest::take_exception;
using kelptest::ScratchDir;

using LocalString = kelp::ScopedLocalRef<jstring>;

constexpr jint kConn = -42;

// The value arrives as a Java string so a test can build one holding "\0".
jint set_xattr(const char* path, const char* name, jstring value, jint conn = kConn) {
  JNIEnv* env = jvm_env();
  LocalString p(env, jstr(path)), n(env, jstr(name));
  return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nSetExtendedAttribute(
      env, kelptest::kelp_fs(), conn, p.get(), n.get(), value);
}

jint set_xattr(const std::string& path, const char* name, const char* value) {
  LocalString v(jvm_env(), jstr(value));
  return set_xattr(path.c_str(), name, v.get());
}

// The Java result; "<null>" for null.
std::string get_xattr(const char* path, const char* name) {
  JNIEnv* env = jvm_env();
  LocalString p(env, jstr(path)), n(env, jstr(name));
  LocalString result(env, Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetExtendedAttribute(
                              env, kelptest::kelp_fs(), kConn, p.get(), n.get()));
  return kelptest::to_std(result.get());
}

std::string get_xattr(const std::string& path, const char* name) {
  return get_xattr(path.c_str(), name);
}

// The bytes stored on disk, read past the library.
std::string stored_bytes(const std::string& path, const char* name) {
  char buf[256];
  ssize_t n = ::getxattr(path.c_str(), name, buf, sizeof buf);
  return n < 0 ? "<none>" : std::string(buf, static_cast<size_t>(n));
}

std::string make_file(const ScratchDir& dir, const std::string& name) {
  std::string path = dir / name;
  kelptest::write_file(path, "data");
  return path;
}

// An attribute rewritten right after the library's size query, so that its
// read sees a different value. This process's getxattr comes before the C
// library's for every caller, the JNI library included; it passes each call
// on unchanged and does the rewrite once when armed.
struct ValueChange {
  bool armed = false;
  std::string path;
  std::string name;
  std::string value;
};
ValueChange g_change;

}  // namespace

extern "C" ssize_t getxattr(const char* path, const char* name, void* value, size_t size) __THROW {
  using Real = ssize_t (*)(const char*, const char*, void*, size_t);
  static const auto real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "getxattr"));
  ssize_t n = real(path, name, value, size);
  if (g_change.armed && size == 0 && g_change.path == path && g_change.name == name) {
    g_change.armed = false;
    ::setxattr(path, name, g_change.value.data(), g_change.value.size(), 0);
  }
  return n;
}

namespace {

TEST(ExtendedAttributes, SetStoresTheTextAndGetReadsItBack) {
  ScratchDir dir("xattr-roundtrip");
  std::string file = make_file(dir, "f");

  // The connection is ignored: no daemon is ever asked.
  LocalString value(jvm_env(), jstr("analytics"));
  EXPECT_EQ(set_xattr(file.c_str(), "user.team", value.get(), 9999), 1);
  EXPECT_EQ(take_exception(), "");
  EXPECT_EQ(stored_bytes(file, "user.team"), "analytics");  // no terminating NUL stored
  EXPECT_EQ(get_xattr(file, "user.team"), "analytics");
  EXPECT_EQ(take_exception(), "");

  EXPECT_EQ(set_xattr(file, "user.team", "ml"), 1);
  EXPECT_EQ(get_xattr(file, "user.team"), "ml");

  // An empty value stores zero bytes and reads back as "", not null.
  EXPECT_EQ(set_xattr(file, "user.empty", ""), 1);
  EXPECT_EQ(stored_bytes(file, "user.empty"), "");
  EXPECT_EQ(get_xattr(file, "user.empty"), "");
  EXPECT_EQ(take_exception(), "");
}

TEST(ExtendedAttributes, UnreadableAttributeIsNullWithoutException) {
  ScratchDir dir("xattr-absent");
  ScratchDir noxattr("xattr-absent", kelptest::kNoAclMount);
  std::string file = make_file(dir, "f");
  std::string plain = make_file(noxattr, "f");

  EXPECT_EQ(get_xattr(file, "user.never-set"), "<null>");
  EXPECT_EQ(take_exception(), "");
  EXPECT_EQ(get_xattr(dir / "missing", "user.team"), "<null>");
  EXPECT_EQ(take_exception(), "");
  EXPECT_EQ(get_xattr(plain, "user.team"), "<null>");
  EXPECT_EQ(take_exception(), "");
}

TEST(ExtendedAttributes, ValueIsReadUpToItsFirstNulByte) {
  ScratchDir dir("xattr-nul");
  std::string file = make_file(dir, "f");
  ASSERT_EQ(::setxattr(file.c_str(), "user.raw", "ab\0cd", 5, 0), 0);
  EXPECT_EQ(get_xattr(file, "user.raw"), "ab");
  EXPECT_EQ(take_exception(), "");
}

TEST(ExtendedAttributes, JavaNulCharacterIsStoredAsModifiedUtf8) {
  ScratchDir dir("xattr-utf");
  std::string file = make_file(dir, "f");
  JNIEnv* env = jvm_env();

  // A Java "\0" is two bytes in modified UTF-8, never a NUL byte: such a value
  // survives the round trip whole.
  const jchar with_nul[] = {'a', 0, 'b'};
  LocalString value(env, env->NewString(with_nul, 3));
  EXPECT_EQ(set_xattr(file.c_str(), "user.nul", value.get()), 1);
  EXPECT_EQ(stored_bytes(file, "user.nul"), "a\xC0\x80" "b");
  EXPECT_EQ(get_xattr(file, "user.nul"), "a\xC0\x80" "b");  // to_std's view of "a\0b"
  EXPECT_EQ(take_exception(), "");
}

TEST(ExtendedAttributes, FailedSetRaisesIOException) {
  ScratchDir dir("xattr-setfail");
  ScratchDir noxattr("xattr-setfail", kelptest::kNoAclMount);
  std::string plain = make_file(noxattr, "f");

  EXPECT_EQ(set_xattr(plain, "user.team", "x"), 0);
  EXPECT_EQ(take_exception(), "java.io.IOException: setxattr failed.");
  EXPECT_EQ(stored_bytes(plain, "user.team"), "<none>");

  EXPECT_EQ(set_xattr(dir / "missing", "user.team", "x"), 0);
  EXPECT_EQ(take_exception(), "java.io.IOException: setxattr failed.");

  // A name without a namespace prefix is not rewritten into one.
  std::string file = make_file(dir, "f");
  EXPECT_EQ(set_xattr(file, "team", "x"), 0);
  EXPECT_EQ(take_exception(), "java.io.IOException: setxattr failed.");
  EXPECT_EQ(stored_bytes(file, "user.team"), "<none>");
}

TEST(ExtendedAttributes, NullArgumentsDoNothingAndRaiseNothing) {
  ScratchDir dir("xattr-null");
  std::string file = make_file(dir, "f");
  LocalString value(jvm_env(), jstr("x"));

  EXPECT_EQ(set_xattr(nullptr, "user.a", value.get()), 0);
  EXPECT_EQ(set_xattr(file.c_str(), nullptr, value.get()), 0);
  EXPECT_EQ(set_xattr(file.c_str(), "user.a", nullptr), 0);
  EXPECT_EQ(take_exception(), "");
  EXPECT_EQ(stored_bytes(file, "user.a"), "<none>");

  ASSERT_EQ(set_xattr(file, "user.a", "x"), 1);
  EXPECT_EQ(get_xattr(nullptr, "user.a"), "<null>");
  EXPECT_EQ(get_xattr(file.c_str(), nullptr), "<null>");
  EXPECT_EQ(take_exception(), "");
}

TEST(ExtendedAttributes, ValueChangingBetweenSizeQueryAndRead) {
  ScratchDir dir("xattr-race");
  std::string file = make_file(dir, "f");
  auto change_after_size_query = [&](const char* name, const char* before, const char* after) {
    ASSERT_EQ(set_xattr(file, name, before), 1);
    g_change = ValueChange{true, file, name, after};
  };

  // Grown past the one spare byte: the read fails.
  change_after_size_query("user.grow2", "abc", "abcde");
  EXPECT_EQ(get_xattr(file, "user.grow2"), "<null>");
  EXPECT_FALSE(g_change.armed);
  EXPECT_EQ(take_exception(), "java.io.IOException: getxattr failed.");

  // Grown by one byte: it fits the spare byte and is cut at the first size.
  change_after_size_query("user.grow1", "abc", "abcd");
  EXPECT_EQ(get_xattr(file, "user.grow1"), "abc");
  EXPECT_FALSE(g_change.armed);
  EXPECT_EQ(take_exception(), "");

  // Shrunk: only the new bytes are read, nothing left over beyond them.
  change_after_size_query("user.shrink", "abcdef", "ab");
  EXPECT_EQ(get_xattr(file, "user.shrink"), "ab");
  EXPECT_FALSE(g_change.armed);
  EXPECT_EQ(take_exception(), "");
}

}  // namespace
