// ACL reading: the fetch helpers the editing engine starts from, the walk
// that turns an ACL into entries, and the status record.
#include "acl/libopenacl.h"

#include <sys/stat.h>

#include <cerrno>

#include "acl/acl_diag.h"
#include "acl/aclutil.h"
#include "status/identity.h"

namespace kelp {
namespace {

bool acl_library_loaded() {
  if (ACLUtil::libacl_handle.load() != nullptr) return true;
  errno = ENOSYS;
  return false;
}

bool lstat_path(const char* path, struct stat& st, const char* who) {
  if (::lstat(path, &st) == 0) return true;
  log_acl_failure(who, path);
  return false;
}

// The rwx bits of |entry| (4 read, 2 write, 1 execute).
int32_t entry_permission(acl_entry_t entry) {
  acl_permset_t permset = nullptr;
  if (ACLUtil::acl_get_permset(entry, &permset) != 0) return 0;
  return (ACLUtil::acl_get_perm(permset, ACL_READ) == 1 ? 4 : 0) +
         (ACLUtil::acl_get_perm(permset, ACL_WRITE) == 1 ? 2 : 0) +
         (ACLUtil::acl_get_perm(permset, ACL_EXECUTE) == 1 ? 1 : 0);
}

// Sets the type and, for a named entry, the name of |out| from |entry|.
// False when the qualifier cannot be read or its id has no name.
bool describe_entry(const char* path, acl_entry_t entry, AclEntry& out, bool& has_mask) {
  acl_tag_t tag = ACL_UNDEFINED_TAG;
  ACLUtil::acl_get_tag_type(entry, &tag);
  switch (tag) {
    case ACL_USER_OBJ:
      out.type = 0;
      return true;
    case ACL_GROUP_OBJ:
      out.type = 1;
      return true;
    case ACL_MASK:
      out.type = 2;
      has_mask = true;
      return true;
    case ACL_OTHER:
      out.type = 3;
      return true;
    case ACL_USER:
    case ACL_GROUP: {
      out.type = tag == ACL_USER ? 0 : 1;
      ScopedAclObject<void*> qualifier(ACLUtil::acl_get_qualifier(entry));
      if (!qualifier) {
        log_acl_failure("acl_get_qualifier", path);
        return false;
      }
      id_t id = *static_cast<id_t*>(qualifier.get());
      int rc = tag == ACL_USER ? uid_to_usrname(id, out.name, sizeof out.name)
                               : gid_to_grpname(id, out.name, sizeof out.name);
      if (rc != 0) {
        log_acl_failure(tag == ACL_USER ? "no user name for an ACL entry of"
                                        : "no group name for an ACL entry of",
                        path);
        return false;
      }
      return true;
    }
    default:
      return true;  // unknown tag: an unnamed user entry
  }
}

// Whether an access entry is reported: named users and groups always, the
// owning group only beside a mask. The rest follows from the mode bits.
bool reported_access_entry(const AclEntry& e, bool has_mask) {
  bool named = e.name[0] != '\0';
  if (e.type == 0) return named;
  if (e.type == 1) return named || has_mask;
  return false;
}

}  // namespace

void aclLinkFree(std::list<AclEntry*>& entries) {
  while (!entries.empty()) {
    AclEntry* e = entries.front();
    entries.pop_front();
    delete e;
  }
}

acl_t get_acl_from_path(const char* path, unsigned type) {
  if (!acl_library_loaded()) return nullptr;
  struct stat st;
  if (!lstat_path(path, st, "get_acl_from_path: lstat")) return nullptr;
  if (type != ACL_TYPE_ACCESS && !S_ISDIR(st.st_mode)) return ACLUtil::acl_init(0);
  acl_t acl = ACLUtil::acl_get_file(path, type);
  if (acl != nullptr) return acl;
  if (errno == EOPNOTSUPP) {
    // No ACLs on this file system: what the mode says is the whole truth.
    return type == ACL_TYPE_DEFAULT ? ACLUtil::acl_init(0) : ACLUtil::acl_from_mode(st.st_mode);
  }
  log_acl_failure("acl_get_file", path);
  return nullptr;
}

acl_t get_acl_from_path_mode(const char* path, unsigned type) {
  if (!acl_library_loaded()) return nullptr;
  struct stat st;
  if (!lstat_path(path, st, "get_acl_from_path_mode: lstat")) return nullptr;
  if (type == ACL_TYPE_ACCESS) return ACLUtil::acl_from_mode(st.st_mode);
  if (type == ACL_TYPE_DEFAULT && S_ISDIR(st.st_mode)) return ACLUtil::acl_init(0);
  return nullptr;
}

bool get_acl_list(const char* path, std::list<AclEntry*>& out, unsigned type) {
  ScopedAcl acl(get_acl_from_path(path, type));
  if (!acl) {
    aclLinkFree(out);
    return false;
  }
  if (ACLUtil::acl_entries(acl.get()) == 0) return true;

  bool has_mask = false;
  acl_entry_t entry = nullptr;
  int rc = ACLUtil::acl_get_entry(acl.get(), ACL_FIRST_ENTRY, &entry);
  for (; rc == 1; rc = ACLUtil::acl_get_entry(acl.get(), ACL_NEXT_ENTRY, &entry)) {
    std::unique_ptr<AclEntry> e(new AclEntry());
    if (!describe_entry(path, entry, *e, has_mask)) return false;
    e->scope = type == ACL_TYPE_ACCESS ? 0 : 1;
    e->permission = entry_permission(entry);
    out.push_back(e.get());
    e.release();
  }
  if (rc == -1) {
    log_acl_failure("acl_get_entry", path);
    aclLinkFree(out);
    return false;
  }
  if (type == ACL_TYPE_ACCESS) {
    for (auto it = out.begin(); it != out.end();) {
      if (reported_access_entry(**it, has_mask)) {
        ++it;
      } else {
        delete *it;
        it = out.erase(it);
      }
    }
  }
  return true;
}

std::unique_ptr<AclStatusInfo> getAclStatus(const char* path) {
  struct stat st;
  if (!lstat_path(path, st, "getAclStatus: lstat")) return nullptr;
  std::unique_ptr<AclStatusInfo> status(new AclStatusInfo());
  // An owner or group without a name is reported as an empty string.
  uid_to_usrname(st.st_uid, status->owner, sizeof status->owner);
  gid_to_grpname(st.st_gid, status->group, sizeof status->group);
  status->sticky = (st.st_mode >> 9) & 1;
  if (!get_acl_list(path, status->entries, ACL_TYPE_ACCESS)) return nullptr;
  if (!S_ISDIR(st.st_mode)) return status;
  if (!get_acl_list(path, status->entries, ACL_TYPE_DEFAULT)) return nullptr;
  return status;
}

}  // namespace kelp
