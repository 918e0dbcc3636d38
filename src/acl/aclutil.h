// The POSIX ACL library, opened at run time. The library is never linked at
// build time, so nodes without libacl.so can still load us: there only the
// ACL methods fail. The single global Aclutil opens it when the library is
// loaded and closes it at unload; nothing retries a failed open.
#ifndef KELP_ACL_ACLUTIL_H
#define KELP_ACL_ACLUTIL_H

#include <acl/libacl.h>
#include <pthread.h>
#include <sys/acl.h>

#include <atomic>
#include <cerrno>

// The 36 functions resolved, in resolution order. Every one is required: a
// libacl without the Linux extensions counts as no libacl.
#define KELP_LIBACL_SYMBOLS(X)                                                          \
  X(acl_init) X(acl_dup) X(acl_copy_int) X(acl_free) X(acl_create_entry)                \
  X(acl_copy_entry) X(acl_delete_entry) X(acl_get_entry) X(acl_valid) X(acl_add_perm)   \
  X(acl_clear_perms) X(acl_delete_perm) X(acl_get_permset) X(acl_set_permset)           \
  X(acl_calc_mask) X(acl_get_qualifier) X(acl_set_qualifier) X(acl_get_tag_type)        \
  X(acl_set_tag_type) X(acl_delete_def_file) X(acl_get_file) X(acl_set_file)            \
  X(acl_get_fd) X(acl_set_fd) X(acl_from_text) X(acl_to_text) X(acl_size)               \
  X(acl_copy_ext) X(acl_entries) X(acl_cmp) X(acl_check) X(acl_equiv_mode)              \
  X(acl_get_perm) X(acl_from_mode) X(acl_to_any_text) X(acl_error)

namespace kelp {

class ACLUtil final {
 public:
  // Construction opens the library (init); destruction closes it (uninit).
  ACLUtil();
  ~ACLUtil();
  ACLUtil(const ACLUtil&) = delete;
  ACLUtil& operator=(const ACLUtil&) = delete;

  // Resolves |name| into |*slot|. Success is judged by dlerror, not by the
  // pointer, so a symbol whose value is null is accepted. False when the
  // library is not open.
  static bool loadSym(const char* name, void** slot);
  // Opens "libacl.so" and resolves every symbol; true when the library is
  // open afterwards. A missing symbol closes it again.
  static bool init();
  // Closes the library. The function pointers keep stale values: only the
  // handle says whether they may be called.
  static void uninit();

  // Non-null exactly when ACL support is available. Every caller tests it
  // before calling through the pointers below.
  static std::atomic<void*> libacl_handle;
  // Serialises init and uninit (recursive once the library has loaded).
  static pthread_mutex_t m_mutex;

#define KELP_DECLARE_LIBACL_POINTER(sym) static decltype(&::sym) sym;
  KELP_LIBACL_SYMBOLS(KELP_DECLARE_LIBACL_POINTER)
#undef KELP_DECLARE_LIBACL_POINTER
};

// Exists so that the library's load and unload open and close libacl.
extern ACLUtil Aclutil;

// Owns one object allocated by libacl (an ACL, a qualifier, a text) and
// releases it with acl_free. Keeps errno, so failure paths report the call
// that failed. Only made while the library is loaded.
template <typename T>
class ScopedAclObject final {
 public:
  explicit ScopedAclObject(T obj = nullptr) : obj_(obj) {}
  ~ScopedAclObject() { reset(); }
  ScopedAclObject(const ScopedAclObject&) = delete;
  ScopedAclObject& operator=(const ScopedAclObject&) = delete;

  T get() const { return obj_; }
  // For the calls that may replace the object (acl_create_entry, acl_calc_mask).
  T* addr() { return &obj_; }
  explicit operator bool() const { return obj_ != nullptr; }
  void reset(T obj = nullptr) {
    if (obj_ != nullptr) {
      int saved = errno;
      ACLUtil::acl_free(obj_);
      errno = saved;
    }
    obj_ = obj;
  }

 private:
  T obj_;
};

using ScopedAcl = ScopedAclObject<acl_t>;

}  // namespace kelp

#endif  // KELP_ACL_ACLUTIL_H
