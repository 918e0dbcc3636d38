// The ACL library as loaded at start-up, where libacl.so is installed. These
// tests look at this binary's own copy of the loader (the core linked into
// the test), which initialises at load exactly like the JNI library's copy.
#include "acl/aclutil.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

namespace {

using kelp::ACLUtil;

// Leaves the loader open however a test ends.
struct ReopenAtEnd {
  ~ReopenAtEnd() { ACLUtil::init(); }
};

TEST(AclLoader, OpenAtLoadWithEverySymbolResolvedThenIdempotent) {
  // libacl.so as the test itself opens it, for comparing addresses.
  void* own = ::dlopen("libacl.so", RTLD_LAZY);
  ASSERT_NE(own, nullptr) << ::dlerror();
  EXPECT_EQ(ACLUtil::libacl_handle.load(), own);
#define KELP_EXPECT_RESOLVED(sym) \
  EXPECT_EQ(reinterpret_cast<void*>(ACLUtil::sym), ::dlsym(own, #sym)) << #sym;
  KELP_LIBACL_SYMBOLS(KELP_EXPECT_RESOLVED)
#undef KELP_EXPECT_RESOLVED
  ::dlclose(own);

  ReopenAtEnd reopen;
  // Once loaded, the mutex is recursive: its holder may take it again.
  ASSERT_EQ(pthread_mutex_trylock(&ACLUtil::m_mutex), 0);
  int again = pthread_mutex_trylock(&ACLUtil::m_mutex);
  if (again == 0) pthread_mutex_unlock(&ACLUtil::m_mutex);
  pthread_mutex_unlock(&ACLUtil::m_mutex);
  EXPECT_EQ(again, 0);

  EXPECT_TRUE(ACLUtil::init());
  EXPECT_EQ(ACLUtil::libacl_handle.load(), own);
  for (int i = 0; i < 2; ++i) {
    ACLUtil::uninit();
    EXPECT_EQ(ACLUtil::libacl_handle.load(), nullptr);
  }
  void* slot = nullptr;
  EXPECT_FALSE(ACLUtil::loadSym("acl_init", &slot));

  ASSERT_TRUE(ACLUtil::init());
  acl_t acl = ACLUtil::acl_init(0);
  ASSERT_NE(acl, nullptr);
  EXPECT_EQ(ACLUtil::acl_entries(acl), 0);
  EXPECT_EQ(ACLUtil::acl_free(acl), 0);
}

}  // namespace
