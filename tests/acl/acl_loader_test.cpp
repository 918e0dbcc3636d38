// The ACL library as loaded at start-up, where libacl.so is installed. These
// tests look at this binary's own copy of the loader (the core linked into
// the test), which initialises at load exactly like the JNI library's copy.
#include "acl/aclutil.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include "support/sandbox.h"

namespace {

using kelp::ACLUtil;

// libacl.so as the test itself opens it, for comparing addresses.
class LibaclHandle final {
 public:
  LibaclHandle() : handle_(::dlopen("libacl.so", RTLD_LAZY)) {}
  ~LibaclHandle() {
    if (handle_ != nullptr) ::dlclose(handle_);
  }
  void* get() const { return handle_; }

 private:
  void* handle_;
};

// Leaves the loader open however a test ends.
struct ReopenAtEnd {
  ~ReopenAtEnd() { ACLUtil::init(); }
};

TEST(AclLoader, OpenAtLoadWithEverySymbolResolved) {
  LibaclHandle own;
  ASSERT_NE(own.get(), nullptr) << ::dlerror();
  ASSERT_NE(ACLUtil::libacl_handle.load(), nullptr);
  EXPECT_EQ(ACLUtil::libacl_handle.load(), own.get());
#define KELP_EXPECT_RESOLVED(sym) \
  EXPECT_EQ(reinterpret_cast<void*>(ACLUtil::sym), ::dlsym(own.get(), #sym)) << #sym;
  KELP_LIBACL_SYMBOLS(KELP_EXPECT_RESOLVED)
#undef KELP_EXPECT_RESOLVED
}

TEST(AclLoader, InitAndUninitAreIdempotent) {
  ReopenAtEnd reopen;
  void* handle = ACLUtil::libacl_handle.load();
  ASSERT_NE(handle, nullptr);
  EXPECT_TRUE(ACLUtil::init());
  EXPECT_EQ(ACLUtil::libacl_handle.load(), handle);

  ACLUtil::uninit();
  EXPECT_EQ(ACLUtil::libacl_handle.load(), nullptr);
  void* slot = nullptr;
  EXPECT_FALSE(ACLUtil::loadSym("acl_init", &slot));
  ACLUtil::uninit();
  EXPECT_EQ(ACLUtil::libacl_handle.load(), nullptr);

  ASSERT_TRUE(ACLUtil::init());
  ASSERT_NE(ACLUtil::libacl_handle.load(), nullptr);
  acl_t acl = ACLUtil::acl_init(0);
  ASSERT_NE(acl, nullptr);
  EXPECT_EQ(ACLUtil::acl_entries(acl), 0);
  EXPECT_EQ(ACLUtil::acl_free(acl), 0);
}

TEST(AclLoader, MutexIsRecursiveOnceLoaded) {
  ASSERT_EQ(pthread_mutex_trylock(&ACLUtil::m_mutex), 0);
  int again = pthread_mutex_trylock(&ACLUtil::m_mutex);
  if (again == 0) pthread_mutex_unlock(&ACLUtil::m_mutex);
  pthread_mutex_unlock(&ACLUtil::m_mutex);
  ASSERT_EQ(again, 0);
  // init and uninit take it again from the same thread.
  ASSERT_EQ(pthread_mutex_lock(&ACLUtil::m_mutex), 0);
  ReopenAtEnd reopen;
  ACLUtil::uninit();
  EXPECT_TRUE(ACLUtil::init());
  pthread_mutex_unlock(&ACLUtil::m_mutex);
}

}  // namespace
