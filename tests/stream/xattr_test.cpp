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

using namespace kelptest;
using LocalString = kelp::ScopedLocalRef<jstring>;

// |result|, followed by the Java exception raised, if any.
std::string outcome(const std::string& result) {
  std::string raised = take_exception();
  return raised.empty() ? result : result + " " + raised;
}

// The natives called as Java calls them, null pointers passed as null. The
// value is a Java string so that a test can build one holding "\0".
std::string set_xattr(const char* path, const char* name, jstring value) {
  JNIEnv* env = jvm_env();
  LocalString p(env, jstr(path)), n(env, jstr(name)), v(env, value);
  return outcome(std::to_string(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nSetExtendedAttribute(
      env, kelp_fs(), -42, p.get(), n.get(), v.get())));
}

std::string get_xattr(const char* path, const char* name) {
  JNIEnv* env = jvm_env();
  LocalString p(env, jstr(path)), n(env, jstr(name));
  LocalString result(env, Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetExtendedAttribute(
                              env, kelp_fs(), -42, p.get(), n.get()));
  return outcome(to_std(result.get()));
}

// The bytes stored on disk, read past the library.
std::string stored(const char* path, const char* name) {
  char buf[256];
  ssize_t n = ::getxattr(path, name, buf, sizeof buf);
  return n < 0 ? "<none>" : std::string(buf, static_cast<size_t>(n));
}

// An attribute rewritten right after the library's size query, so that its
// read sees a different value. This process's getxattr comes before the C
// library's for every caller, the JNI library included; it passes each call
// on unchanged and does the rewrite once when armed.
struct ValueChange {
  bool armed = false;
  std::string path, name, value;
} g_change;

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

class ExtendedAttributes : public ::testing::Test {
 protected:
  ExtendedAttributes() { write_file(file_, "data"); }
  ScratchDir dir_{"xattr"};
  std::string path_ = dir_ / "f";
  const char* file_ = path_.c_str();
};

TEST_F(ExtendedAttributes, ValuesRoundTrip) {
  EXPECT_EQ(set_xattr(file_, "user.team", jstr("analytics")), "1");
  EXPECT_EQ(stored(file_, "user.team"), "analytics");  // no terminating NUL stored
  EXPECT_EQ(set_xattr(file_, "user.team", jstr("ml")), "1");
  EXPECT_EQ(get_xattr(file_, "user.team"), "ml");

  // An empty value stores zero bytes and reads back as "", not null.
  EXPECT_EQ(set_xattr(file_, "user.empty", jstr("")), "1");
  EXPECT_EQ(stored(file_, "user.empty"), "");
  EXPECT_EQ(get_xattr(file_, "user.empty"), "");

  // A stored NUL byte ends the value read.
  ASSERT_EQ(::setxattr(file_, "user.raw", "ab\0cd", 5, 0), 0);
  EXPECT_EQ(get_xattr(file_, "user.raw"), "ab");

  // A Java "\0" is two bytes in modified UTF-8, never a NUL byte: such a value
  // survives the round trip whole.
  const jchar with_nul[] = {'a', 0, 'b'};
  EXPECT_EQ(set_xattr(file_, "user.nul", jvm_env()->NewString(with_nul, 3)), "1");
  EXPECT_EQ(stored(file_, "user.nul"), "a\xC0\x80" "b");
  EXPECT_EQ(get_xattr(file_, "user.nul"), "a\xC0\x80" "b");  // to_std's view of "a\0b"
}

TEST_F(ExtendedAttributes, FailuresAndAbsences) {
  ScratchDir noxattr("xattr", kNoAclMount);
  std::string plain = noxattr / "f", missing = dir_ / "missing";
  write_file(plain, "data");
  // What cannot be read is null, without an exception.
  for (const char* p : {file_, plain.c_str(), missing.c_str()}) EXPECT_EQ(get_xattr(p, "user.team"), "<null>") << p;

  // A failing set raises; a name without a namespace prefix is not rewritten into one.
  const std::string failed = "0 java.io.IOException: setxattr failed.";
  EXPECT_EQ(set_xattr(plain.c_str(), "user.team", jstr("x")), failed);
  EXPECT_EQ(set_xattr(missing.c_str(), "user.team", jstr("x")), failed);
  EXPECT_EQ(set_xattr(file_, "team", jstr("x")), failed);
  EXPECT_EQ(stored(file_, "user.team"), "<none>");

  // Null arguments do nothing and raise nothing.
  EXPECT_EQ(set_xattr(nullptr, "user.a", jstr("x")), "0");
  EXPECT_EQ(set_xattr(file_, nullptr, jstr("x")), "0");
  EXPECT_EQ(set_xattr(file_, "user.a", nullptr), "0");
  EXPECT_EQ(stored(file_, "user.a"), "<none>");
  ASSERT_EQ(set_xattr(file_, "user.a", jstr("x")), "1");
  EXPECT_EQ(get_xattr(nullptr, "user.a"), "<null>");
  EXPECT_EQ(get_xattr(file_, nullptr), "<null>");
}

TEST_F(ExtendedAttributes, ValueChangingBetweenSizeQueryAndRead) {
  const struct {
    const char *name, *before, *after, *read;
  } cases[] = {
      // Grown past the one spare byte: the second read fails.
      {"user.grow2", "abc", "abcde", "<null> java.io.IOException: getxattr failed."},
      // Grown by one byte: it fits the spare byte and is cut at the first size.
      {"user.grow1", "abc", "abcd", "abc"},
      // Shrunk: only the new bytes are read, nothing left over beyond them.
      {"user.shrink", "abcdef", "ab", "ab"},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(set_xattr(file_, c.name, jstr(c.before)), "1");
    g_change = ValueChange{true, path_, c.name, c.after};
    EXPECT_EQ(get_xattr(file_, c.name), c.read) << c.name;
    EXPECT_FALSE(g_change.armed) << c.name;
  }
}

}  // namespace
