// Reading and editing a path's POSIX ACLs through the run-time loaded libacl
// (acl/aclutil.h), in the neutral entry form that the Java side exchanges.
//
// Every function works on the path itself: type and mode come from lstat.
// Failures are reported only by the result (null, false or 0); errno is left
// as the failing call set it. With the ACL library not loaded every function
// fails. Thread-safe: no state is shared between calls.
#ifndef KELP_ACL_LIBOPENACL_H
#define KELP_ACL_LIBOPENACL_H

#include <sys/acl.h>

#include <cstdint>
#include <list>
#include <memory>

namespace kelp {

// One ACL entry. type: 0 user, 1 group, 2 mask, 3 other. permission: read 4,
// write 2, execute 1. scope: 0 access ACL, 1 (any non-zero when written)
// default ACL. name: the user or group of a named entry; empty for the owner,
// owning group, mask and other entries. A value-initialised entry is all zero.
struct AclEntry {
  int32_t type;
  int32_t permission;
  int32_t scope;
  char name[256];
};

// A list of AclEntry* owns its entries: this frees them all and leaves the
// list empty (and usable).
void aclLinkFree(std::list<AclEntry*>& entries);

// Frees an entry list when it goes out of scope.
class AclEntryListGuard final {
 public:
  explicit AclEntryListGuard(std::list<AclEntry*>& entries) : entries_(entries) {}
  ~AclEntryListGuard() { aclLinkFree(entries_); }
  AclEntryListGuard(const AclEntryListGuard&) = delete;
  AclEntryListGuard& operator=(const AclEntryListGuard&) = delete;

 private:
  std::list<AclEntry*>& entries_;
};

// What a path's ACL status reports.
struct AclStatusInfo {
  AclStatusInfo() = default;
  ~AclStatusInfo() { aclLinkFree(entries); }
  AclStatusInfo(const AclStatusInfo&) = delete;
  AclStatusInfo& operator=(const AclStatusInfo&) = delete;

  char owner[256] = {};  // empty when the uid has no name
  char group[256] = {};  // empty when the gid has no name
  int32_t sticky = 0;    // the S_ISVTX bit
  // The access entries (owner, other and mask left out), then, for a
  // directory, every default entry.
  std::list<AclEntry*> entries;
};

// --- Reading -------------------------------------------------------------

// The path's ACL of |type| (ACL_TYPE_ACCESS or ACL_TYPE_DEFAULT). On a file
// system without ACL support the access ACL is made from the mode and the
// default ACL is empty; a non-directory's default ACL is always empty.
// The caller frees the result with acl_free. Null on failure.
acl_t get_acl_from_path(const char* path, unsigned type);

// An ACL built from the mode alone, ignoring the file's own ACL: the minimal
// access ACL, or an empty default ACL for a directory. Null on failure,
// including a default ACL asked of a non-directory.
acl_t get_acl_from_path_mode(const char* path, unsigned type);

// Appends the entries of the path's ACL of |type| to |out|. For the access
// ACL it then drops from the whole of |out| every entry but the named users
// and groups, and the owning group when a mask exists (the rest follows from
// the mode bits); so the access ACL must be read first. On a failed read or
// entry walk |out| is emptied; a named entry whose id has no name fails too.
bool get_acl_list(const char* path, std::list<AclEntry*>& out, unsigned type);

// Owner, owning group, sticky bit and entries of |path|; null on failure.
std::unique_ptr<AclStatusInfo> getAclStatus(const char* path);

// --- Editing (1 success, 0 failure) ----------------------------------------

// The first entry of |acl| with |tag| and, unless |id| is ACL_UNDEFINED_ID,
// with qualifier |id|. Null when there is none or the walk fails.
acl_entry_t find_entry(acl_t acl, acl_tag_t tag, id_t id);

// Copies the first |src_tag| entry of |src| into a new entry of |*dst| and
// gives it |dst_tag|. Does nothing when there is no such entry.
void copy_base_entry(acl_t src, acl_tag_t src_tag, acl_t* dst, acl_tag_t dst_tag);

// Applies |entries| to the path's ACLs. mode 0 modify: merge into the
// existing ACLs; 1 remove: delete the listed entries; 2 set: rebuild from
// the mode bits plus the entries.
int changeAclEntries(const char* path, std::list<AclEntry*>& entries, int mode);
int modifyAclEntries(const char* path, std::list<AclEntry*>& entries);
int removeAclEntries(const char* path, std::list<AclEntry*>& entries);
int setAcl(const char* path, std::list<AclEntry*>& entries);

// Strips the named and mask entries of the access ACL and, for a directory,
// deletes the default ACL.
int removeACL(const char* path);

// Deletes the default ACL.
int removeDefaultAcl(const char* path);

}  // namespace kelp

#endif  // KELP_ACL_LIBOPENACL_H
