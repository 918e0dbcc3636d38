// A libacl.so with every function the library resolves except
// acl_to_any_text. Nothing calls them: a library missing one symbol must be
// closed again before any is used.
#define S(name) extern "C" __attribute__((visibility("default"))) int name() { return -1; }
S(acl_init) S(acl_dup) S(acl_copy_int) S(acl_free) S(acl_create_entry) S(acl_copy_entry)
S(acl_delete_entry) S(acl_get_entry) S(acl_valid) S(acl_add_perm) S(acl_clear_perms)
S(acl_delete_perm) S(acl_get_permset) S(acl_set_permset) S(acl_calc_mask) S(acl_get_qualifier)
S(acl_set_qualifier) S(acl_get_tag_type) S(acl_set_tag_type) S(acl_delete_def_file)
S(acl_get_file) S(acl_set_file) S(acl_get_fd) S(acl_set_fd) S(acl_from_text) S(acl_to_text)
S(acl_size) S(acl_copy_ext) S(acl_entries) S(acl_cmp) S(acl_check) S(acl_equiv_mode)
S(acl_get_perm) S(acl_from_mode) S(acl_error)
