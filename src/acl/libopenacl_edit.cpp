// ACL editing: applying entry lists in modify, remove and set mode, and
// removing extended and default ACLs.
#include <sys/stat.h>

#include <cerrno>

#include "acl/acl_diag.h"
#include "acl/aclutil.h"
#include "acl/libopenacl.h"
#include "status/identity.h"

namespace kelp {
namespace {

enum ChangeMode { kModify = 0, kRemove = 1, kSet = 2 };

// The libacl tag of |rec|. A type code outside 0..3 keeps |tag| as the
// previous record left it (ACL_UNDEFINED_TAG for the first): callers have
// relied on that. Sets |id| for named entries; false when the name is unknown.
bool record_tag(const AclEntry& rec, acl_tag_t& tag, id_t& id, bool& is_mask) {
  id = ACL_UNDEFINED_ID;
  is_mask = false;
  switch (rec.type) {
    case 0:
    case 1: {
      const bool user = rec.type == 0;
      if (rec.name[0] == '\0') {
        tag = user ? ACL_USER_OBJ : ACL_GROUP_OBJ;
        break;
      }
      tag = user ? ACL_USER : ACL_GROUP;
      uid_t uid = 0;
      gid_t gid = 0;
      if (user ? usrname_to_uid(rec.name, uid) != 0 : grpname_to_gid(rec.name, gid) != 0) return false;
      id = user ? uid : gid;
      break;
    }
    case 2:
      tag = ACL_MASK;
      is_mask = true;
      break;
    case 3:
      tag = ACL_OTHER;
      break;
    default:
      break;
  }
  return true;
}

// Replaces the permissions of |entry| by |permission|; a value outside 0..7
// leaves none.
void set_permissions(acl_entry_t entry, int32_t permission) {
  acl_permset_t permset = nullptr;
  if (ACLUtil::acl_get_permset(entry, &permset) != 0) return;
  ACLUtil::acl_clear_perms(permset);
  if (permission < 0 || permission > 7) return;
  if (permission & 4) ACLUtil::acl_add_perm(permset, ACL_READ);
  if (permission & 2) ACLUtil::acl_add_perm(permset, ACL_WRITE);
  if (permission & 1) ACLUtil::acl_add_perm(permset, ACL_EXECUTE);
}

// acl_check passes. An invalid ACL is logged with its text.
bool check_acl(const char* path, acl_t acl) {
  int last = 0;
  int rc = ACLUtil::acl_check(acl, &last);
  if (rc > 0) log_invalid_acl(path, acl, rc);
  if (rc < 0) log_acl_failure("acl_check", path);
  return rc == 0;
}

// Recomputes the mask of |acl| when it has named entries and the request did
// not name the mask itself. |mode|, when given, receives the equivalent mode
// (taken before the mask is recomputed). False on failure.
bool settle_mask(const char* path, acl_t* acl, bool mask_named, mode_t* mode) {
  int equiv = ACLUtil::acl_equiv_mode(*acl, mode);
  if (equiv == -1) {
    log_acl_failure("acl_equiv_mode", path);
    return false;
  }
  if (equiv == 1 && !mask_named && ACLUtil::acl_calc_mask(acl) != 0) {
    log_acl_failure("acl_calc_mask", path);
    return false;
  }
  return true;
}

// Whether |acl| differs from the untouched |copy| (always, without a copy).
bool changed(acl_t acl, acl_t copy) { return copy == nullptr || ACLUtil::acl_cmp(acl, copy) != 0; }

// Step for the default ACL of a directory: delete it when emptied, otherwise
// complete its base entries from the access ACL, settle its mask, check it
// and write it if it changed.
bool write_default_acl(const char* path, acl_t access, ScopedAcl& def, acl_t copy, bool mask_named) {
  if (ACLUtil::acl_entries(def.get()) == 0) {
    if (ACLUtil::acl_delete_def_file(path) != 0) {
      log_acl_failure("acl_delete_def_file", path);
      return false;
    }
    return true;
  }
  if (ACLUtil::acl_entries(access) > 0) {
    for (acl_tag_t tag : {ACL_USER_OBJ, ACL_GROUP_OBJ, ACL_OTHER}) {
      if (find_entry(def.get(), tag, ACL_UNDEFINED_ID) == nullptr) {
        copy_base_entry(access, tag, def.addr(), tag);
      }
    }
  }
  if (!settle_mask(path, def.addr(), mask_named, nullptr)) return false;
  if (!check_acl(path, def.get())) return false;
  if (!changed(def.get(), copy)) return true;
  if (ACLUtil::acl_set_file(path, ACL_TYPE_DEFAULT, def.get()) != 0) {
    log_acl_failure("acl_set_file(default)", path);
    return false;
  }
  return true;
}

// Step for the access ACL: settle its mask, check it and write it if it
// changed. A file system without ACLs gets the equivalent mode instead.
bool write_access_acl(const char* path, ScopedAcl& access, acl_t copy, bool mask_named) {
  mode_t mode = 0;
  if (!settle_mask(path, access.addr(), mask_named, &mode)) return false;
  if (!check_acl(path, access.get())) return false;
  if (!changed(access.get(), copy)) return true;
  if (ACLUtil::acl_set_file(path, ACL_TYPE_ACCESS, access.get()) == 0) return true;
  if (errno != EOPNOTSUPP) {
    log_acl_failure("acl_set_file(access)", path);
    return false;
  }
  if (::chmod(path, mode) != 0) {
    log_acl_failure("chmod", path);
    return false;
  }
  return true;
}

}  // namespace

acl_entry_t find_entry(acl_t acl, acl_tag_t tag, id_t id) {
  if (acl == nullptr) return nullptr;
  acl_entry_t entry = nullptr;
  for (int rc = ACLUtil::acl_get_entry(acl, ACL_FIRST_ENTRY, &entry); rc == 1;
       rc = ACLUtil::acl_get_entry(acl, ACL_NEXT_ENTRY, &entry)) {
    acl_tag_t entry_tag = ACL_UNDEFINED_TAG;
    if (ACLUtil::acl_get_tag_type(entry, &entry_tag) != 0 || entry_tag != tag) continue;
    if (id == ACL_UNDEFINED_ID) return entry;
    ScopedAclObject<void*> qualifier(ACLUtil::acl_get_qualifier(entry));
    if (!qualifier) return nullptr;
    if (*static_cast<id_t*>(qualifier.get()) == id) return entry;
  }
  return nullptr;
}

void copy_base_entry(acl_t src, acl_tag_t src_tag, acl_t* dst, acl_tag_t dst_tag) {
  acl_entry_t from = find_entry(src, src_tag, ACL_UNDEFINED_ID);
  if (from == nullptr) return;
  acl_entry_t to = nullptr;
  if (ACLUtil::acl_create_entry(dst, &to) != 0) return;
  ACLUtil::acl_copy_entry(to, from);
  ACLUtil::acl_set_tag_type(to, dst_tag);
}

int changeAclEntries(const char* path, std::list<AclEntry*>& entries, int mode) {
  struct stat st;
  if (::lstat(path, &st) != 0) {
    log_acl_failure("changeAclEntries: lstat", path);
    return 0;
  }
  const bool is_dir = S_ISDIR(st.st_mode);

  // Set mode starts from the mode bits and keeps no copies: whatever it
  // builds is written. The other modes start from the file's ACLs and write
  // only what changed.
  ScopedAcl access, access_copy, def, def_copy;
  if (mode == kSet) {
    access.reset(get_acl_from_path_mode(path, ACL_TYPE_ACCESS));
    if (is_dir) def.reset(get_acl_from_path_mode(path, ACL_TYPE_DEFAULT));
  } else {
    access.reset(get_acl_from_path(path, ACL_TYPE_ACCESS));
    if (access) access_copy.reset(ACLUtil::acl_dup(access.get()));
    if (is_dir) {
      def.reset(get_acl_from_path(path, ACL_TYPE_DEFAULT));
      if (def) def_copy.reset(ACLUtil::acl_dup(def.get()));
    }
  }
  if (!access || (is_dir && !def) ||
      (mode != kSet && (!access_copy || (is_dir && !def_copy)))) {
    log_acl_failure("changeAclEntries: reading the ACLs", path);
    return 0;
  }
  if (entries.empty()) return 1;

  bool access_touched = false, default_touched = false;
  bool access_mask_named = false, default_mask_named = false;
  acl_tag_t tag = ACL_UNDEFINED_TAG;
  for (const AclEntry* rec : entries) {
    id_t id;
    bool is_mask;
    if (!record_tag(*rec, tag, id, is_mask)) {
      log_acl_failure(rec->type == 0 ? "unknown user in ACL entry for" : "unknown group in ACL entry for",
                      path);
      return 0;
    }
    ScopedAcl& target = rec->scope == 0 ? access : def;
    if (rec->scope == 0) {
      access_touched = true;
      access_mask_named = access_mask_named || is_mask;
    } else {
      default_touched = true;
      default_mask_named = default_mask_named || is_mask;
    }
    acl_entry_t entry = find_entry(target.get(), tag, id);
    if (mode == kRemove) {
      if (entry != nullptr) ACLUtil::acl_delete_entry(target.get(), entry);
      continue;
    }
    if (mode != kModify && mode != kSet) continue;
    if (entry == nullptr) {
      // A default entry for a non-directory ends here: it has no default ACL.
      if (!target) errno = EINVAL;
      if (!target || ACLUtil::acl_create_entry(target.addr(), &entry) != 0) {
        log_acl_failure("acl_create_entry", path);
        return 0;
      }
      ACLUtil::acl_set_tag_type(entry, tag);
      if (id != ACL_UNDEFINED_ID && ACLUtil::acl_set_qualifier(entry, &id) != 0) {
        log_acl_failure("acl_set_qualifier", path);
        return 0;
      }
    }
    set_permissions(entry, rec->permission);
  }

  // The default ACL goes first; nothing is rolled back if the access ACL
  // then fails.
  if (default_touched && is_dir &&
      !write_default_acl(path, access.get(), def, def_copy.get(), default_mask_named)) {
    return 0;
  }
  if (!access_touched) return 1;
  return write_access_acl(path, access, access_copy.get(), access_mask_named) ? 1 : 0;
}

int modifyAclEntries(const char* path, std::list<AclEntry*>& entries) {
  return changeAclEntries(path, entries, kModify);
}

int removeAclEntries(const char* path, std::list<AclEntry*>& entries) {
  return changeAclEntries(path, entries, kRemove);
}

int setAcl(const char* path, std::list<AclEntry*>& entries) {
  return changeAclEntries(path, entries, kSet);
}

int removeACL(const char* path) {
  struct stat st;
  if (::lstat(path, &st) != 0) {
    log_acl_failure("removeACL: lstat", path);
    return 0;
  }
  if (ACLUtil::libacl_handle.load() == nullptr) return 0;
  // No fallback here: a file system without ACLs fails.
  ScopedAcl acl(ACLUtil::acl_get_file(path, ACL_TYPE_ACCESS));
  if (!acl) {
    log_acl_failure("removeACL: acl_get_file", path);
    return 0;
  }
  // The owner, owning group and other entries keep their permissions.
  acl_entry_t entry = nullptr;
  int rc = ACLUtil::acl_get_entry(acl.get(), ACL_FIRST_ENTRY, &entry);
  for (; rc == 1; rc = ACLUtil::acl_get_entry(acl.get(), ACL_NEXT_ENTRY, &entry)) {
    acl_tag_t tag = ACL_UNDEFINED_TAG;
    ACLUtil::acl_get_tag_type(entry, &tag);
    if (tag == ACL_USER || tag == ACL_GROUP || tag == ACL_MASK) {
      ACLUtil::acl_delete_entry(acl.get(), entry);
    }
  }
  int result = 0;
  if (rc == -1) {
    log_acl_failure("removeACL: acl_get_entry", path);
  } else if (ACLUtil::acl_set_file(path, ACL_TYPE_ACCESS, acl.get()) == 0) {
    result = 1;
  } else {
    log_acl_failure("removeACL: acl_set_file", path);
  }
  if (result == 1 && S_ISDIR(st.st_mode)) result = removeDefaultAcl(path);
  return result;
}

int removeDefaultAcl(const char* path) {
  if (ACLUtil::libacl_handle.load() == nullptr) return 0;
  if (ACLUtil::acl_delete_def_file(path) == 0) return 1;
  log_acl_failure("acl_delete_def_file", path);
  return 0;
}

}  // namespace kelp
