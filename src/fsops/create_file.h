// The create sequence shared by the plain and the impersonated create.
#ifndef KELP_FSOPS_CREATE_FILE_H
#define KELP_FSOPS_CREATE_FILE_H

namespace kelp {

// Makes the parent directories with make_parents(parent, mode, ctx) (1 on
// success, 0 with errno set), opens |path| write-only (truncating when
// |overwrite|, else exclusively), sends the set-replication request when
// |replication| is non-zero, and when |bgf| is non-zero sets the block-group
// factor (clamped to 1..1024) and reopens. Returns the descriptor or the
// negated errno; a file whose replication or reopen failed is removed.
int create_with_parents(const char* path, int mode, int replication, bool overwrite, int bgf,
                        int (*make_parents)(const char* parent, int mode, void* ctx), void* ctx);

}  // namespace kelp

#endif  // KELP_FSOPS_CREATE_FILE_H
