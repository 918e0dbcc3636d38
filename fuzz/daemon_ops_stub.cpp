// Stand-ins for the library operations the daemon carries out, so that its
// request decoding can be fuzzed without touching any file. Each answer is
// the next byte of a script the target sets per run; descriptor results are
// real descriptors of /dev/null, as the daemon would pass on.
#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "details/fcntl_requests.h"
#include "daemon_ops_stub.h"
#include "fsops/local_ops.h"
#include "snapshot/snapshot.h"

namespace kelpfuzz {
namespace {
const uint8_t* g_answers = nullptr;
size_t g_count = 0;
size_t g_next = 0;

int next_answer() { return g_count == 0 ? 0 : static_cast<int8_t>(g_answers[g_next++ % g_count]); }

// Touches every byte of a string argument, so a missing terminator shows.
void use(const char* s) {
  volatile size_t n = std::strlen(s);
  (void)n;
}

// A descriptor or a negated errno, never 0: the daemon's own standard input
// is not what an open hands back.
int descriptor_answer() {
  int a = next_answer();
  if (a > 0) return ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  return a < 0 ? a : -EIO;
}
}  // namespace

void set_answers(const uint8_t* answers, size_t count) {
  g_answers = answers;
  g_count = count;
  g_next = 0;
}
}  // namespace kelpfuzz

namespace kelp {
using kelpfuzz::descriptor_answer;
using kelpfuzz::next_answer;
using kelpfuzz::use;

int kelp_open(const char* path) { return use(path), descriptor_answer(); }
int kelp_exists(const char* path) { return use(path), next_answer(); }
int kelp_create(const char* path, int, int, bool, int) { return use(path), descriptor_answer(); }
int kelp_append(const char* path) { return use(path), descriptor_answer(); }
int kelp_mkdirs(const char* path, int) { return use(path), next_answer(); }
int kelp_delete(const char* path, bool) { return use(path), next_answer(); }
int kelp_rename(const char* src, const char* dst) { return use(src), use(dst), next_answer(); }
int kelp_chown(const char* path, const char* user, const char* group) {
  return use(path), use(user), use(group), next_answer();
}
int kelp_chmod(const char* path, int) { return use(path), next_answer(); }
int kelp_resolvesymlink(const char* path, char* out, size_t capacity) {
  use(path);
  // Fills the whole buffer the caller claims to have.
  std::memset(out, 'r', capacity);
  out[capacity - 1] = '\0';
  return next_answer();
}
int kelp_createsymlink(const char* target, const char* link) {
  return use(target), use(link), next_answer();
}
int kelp_createAs(const char* path, int, int, bool, const char* user, const char* group, int) {
  return use(path), use(user), use(group), descriptor_answer();
}
int kelp_appendAs(const char* path, const char* user, const char* group) {
  return use(path), use(user), use(group), descriptor_answer();
}
int kelp_mkdirsAs(const char* path, int, const char* user, const char* group) {
  return use(path), use(user), use(group), next_answer();
}
int kelp_createsymlinkAs(const char* target, const char* link, const char* user,
                         const char* group) {
  return use(target), use(link), use(user), use(group), next_answer();
}
bool kelp_set_block_group_factor(const char* path, int) { return use(path), next_answer() > 0; }
int kelp_createSnapshot(const char* dir, const char* name, const char* link) {
  return use(dir), use(name), use(link), next_answer();
}
int kelp_createSnapshotAs(const char* dir, const char* name, const char* link, const char* user,
                          const char* group) {
  return use(dir), use(name), use(link), use(user), use(group), next_answer();
}
int kelp_deleteSnapshot(const char* dir, const char* link) {
  return use(dir), use(link), next_answer();
}
int kelp_renameSnapshot(const char* dir, const char* oldLink, const char* newLink) {
  return use(dir), use(oldLink), use(newLink), next_answer();
}
// The daemon's policy confines the link path; the real one is a plain
// string join that lives beside the snapshot operations stood in for here.
std::string snapshot_link_path(const std::string& dir, const std::string& link) {
  return dir + "/" + kSnapshotDirName + "/" + link;
}
}  // namespace kelp
