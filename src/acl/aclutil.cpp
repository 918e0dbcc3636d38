#include "acl/aclutil.h"

#include <dlfcn.h>

#include "jni/logging.h"
#include "jni/mutex.h"

namespace kelp {

// Constant-initialised: null and a zero-filled mutex before any initialiser.
std::atomic<void*> ACLUtil::libacl_handle{nullptr};
pthread_mutex_t ACLUtil::m_mutex;

#define KELP_DEFINE_LIBACL_POINTER(sym) decltype(&::sym) ACLUtil::sym = nullptr;
KELP_LIBACL_SYMBOLS(KELP_DEFINE_LIBACL_POINTER)
#undef KELP_DEFINE_LIBACL_POINTER

namespace {

// loadSym into a typed function pointer.
template <typename F>
bool load_function(const char* name, F& slot) {
  void* p = nullptr;
  bool ok = ACLUtil::loadSym(name, &p);
  slot = reinterpret_cast<F>(p);
  return ok;
}

}  // namespace

bool ACLUtil::loadSym(const char* name, void** slot) {
  void* handle = libacl_handle.load();
  if (handle == nullptr) return false;
  ::dlerror();
  *slot = ::dlsym(handle, name);
  return ::dlerror() == nullptr;
}

bool ACLUtil::init() {
  if (libacl_handle.load() != nullptr) return true;
  MutexLock lock(&m_mutex);
  if (libacl_handle.load() != nullptr) return true;
  libacl_handle = ::dlopen("libacl.so", RTLD_LAZY);
  if (libacl_handle.load() == nullptr) {
    const char* why = ::dlerror();
    debug_log("ACL support off: %s", why != nullptr ? why : "libacl.so not found");
    return false;
  }
  // Pointers resolved before a missing symbol keep their values; the null
  // handle alone makes them unusable.
#define KELP_RESOLVE_LIBACL_POINTER(sym) \
  if (!load_function(#sym, sym)) {       \
    debug_log("ACL support off: libacl.so lacks %s", #sym); \
    ::dlclose(libacl_handle.load());     \
    libacl_handle = nullptr;             \
    return false;                        \
  }
  KELP_LIBACL_SYMBOLS(KELP_RESOLVE_LIBACL_POINTER)
#undef KELP_RESOLVE_LIBACL_POINTER
  return true;
}

void ACLUtil::uninit() {
  if (libacl_handle.load() == nullptr) return;
  MutexLock lock(&m_mutex);
  void* handle = libacl_handle.load();
  if (handle != nullptr) ::dlclose(handle);
  libacl_handle = nullptr;
}

ACLUtil::ACLUtil() { init(); }

ACLUtil::~ACLUtil() { uninit(); }

// Load order: the global is constructed first, so init runs on the
// zero-filled (default, non-recursive) mutex; the recursive initialisation
// takes effect right afterwards and matters only for later calls.
ACLUtil Aclutil __attribute__((init_priority(1100)));

namespace {
struct AclMutexInit {
  AclMutexInit() { init_recursive_mutex(&ACLUtil::m_mutex); }
};
AclMutexInit acl_mutex_init __attribute__((init_priority(1101)));
}  // namespace

}  // namespace kelp
