// Deleting files and trees, refusing to delete snapshot directories.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "fsops/local_ops.h"
#include "jni/fd.h"
#include "jni/logging.h"

namespace kelp {
namespace {

constexpr const char kSnapshotDirName[] = ".snapshot";

// Reads up to three entries; true when all three came, that is when the
// directory holds something besides "." and "..".
bool has_three_entries(DIR* dir) {
  int n = 0;
  while (n < 3 && ::readdir(dir) != nullptr) ++n;
  return n == 3;
}

// 1 when the directory |fd| holds at least one entry besides "." and "..".
// When the directory stream could be opened it takes the descriptor with it
// (|fd| is then empty); otherwise (not a directory) |fd| stays as it was.
int check_dir_snapshot(UniqueFd& fd) {
  DIR* d = ::fdopendir(fd.get());
  if (d == nullptr) {
    debug_log("fdopendir error %d\n", errno);
    return 0;
  }
  fd.release();
  UniqueDir dir(d);
  return has_three_entries(dir.get()) ? 1 : 0;
}

void close_child(UniqueFd& child) {
  if (child.close() != 0) debug_log("close failed %d\n", errno);
}

}  // namespace

int kelp_delete_dir_content(int dirfd) {
  // The stream reads through a duplicate so the caller's descriptor stays
  // valid and the stream can be closed here.
  UniqueFd dup(::fcntl(dirfd, F_DUPFD_CLOEXEC, 0));
  DIR* d = dup ? ::fdopendir(dup.get()) : nullptr;
  if (d == nullptr) {
    debug_log("fdopendir error %d\n", errno);
    return kDeleteFailed;
  }
  dup.release();
  UniqueDir dir(d);
  while (struct dirent* e = ::readdir(dir.get())) {
    const char* name = e->d_name;
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
    // The entry itself decides, never what a link names: links, files and
    // special files are unlinked without being opened.
    struct stat st;
    if (::fstatat(dirfd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
      debug_log("openat error %d on %s\n", errno, name);
      return kDeleteFailed;
    }
    bool is_snapshot_name = std::strcmp(name, kSnapshotDirName) == 0;
    if (S_ISLNK(st.st_mode) && is_snapshot_name) {
      // A ".snapshot" link still stops the delete as a snapshot directory
      // would; its target is only read, never emptied.
      UniqueFd target(::openat(dirfd, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
      if (target) return check_dir_snapshot(target) == 1 ? kDeleteSnapshotFound : kDeleteFailed;
    }
    int flag = 0;
    if (S_ISDIR(st.st_mode)) {
      // O_NOFOLLOW: a directory swapped for a link since the fstatat above
      // fails here instead of being descended.
      UniqueFd child(::openat(dirfd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
      if (!child) {
        debug_log("openat error %d on %s\n", errno, name);
        return kDeleteFailed;
      }
      if (is_snapshot_name) {
        if (check_dir_snapshot(child) == 1) {
          debug_log("found snapshot in %s\n", name);
          return kDeleteSnapshotFound;
        }
        // The emptiness test consumed the descriptor: an empty snapshot
        // directory stops the delete as a failed status call would.
        debug_log("fstat error %d\n", EBADF);
        return kDeleteFailed;
      }
      int result = kelp_delete_dir_content(child.get());
      if (result != kDeleteOk) {
        debug_log("kelp_delete_dir_content error on %s\n", name);
        close_child(child);
        return result;
      }
      close_child(child);
      flag = AT_REMOVEDIR;
    }
    if (::unlinkat(dirfd, name, flag) != 0) {
      debug_log("unlinkat error %d on %s\n", errno, name);
      return kDeleteFailed;
    }
  }
  return kDeleteOk;
}

namespace {

// |path| is itself a symbolic link: the link goes, its target stays. What
// the target is still decides as before (missing: failure; a non-empty
// directory without recursion: refused).
int delete_link(const char* path, bool recursive) {
  struct stat st;
  if (::stat(path, &st) != 0) return kDeleteFailed;
  if (S_ISDIR(st.st_mode) && !recursive) {
    UniqueDir dir(::opendir(path));
    if (!dir || has_three_entries(dir.get())) return kDeleteFailed;
  }
  return ::unlink(path) == 0 ? kDeleteOk : kDeleteFailed;
}

}  // namespace

int kelp_delete(const char* path, bool recursive) {
  struct stat lst;
  if (::lstat(path, &lst) == 0 && S_ISLNK(lst.st_mode)) return delete_link(path, recursive);
  // O_NOFOLLOW: a link put in the path's place since the lstat is refused.
  // O_NONBLOCK: a FIFO is only looked at, never waited on.
  UniqueFd fd(::open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!fd) return kDeleteFailed;
  struct stat st;
  if (::fstat(fd.get(), &st) != 0) {
    debug_log("fstat %d\n", fd.get());
    return kDeleteFailed;
  }
  if (S_ISDIR(st.st_mode)) {
    if (!recursive) {
      // Read through the descriptor, not the name, so it is this directory.
      UniqueFd again(::openat(fd.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
      DIR* d = again ? ::fdopendir(again.get()) : nullptr;
      if (d != nullptr) again.release();
      UniqueDir dir(d);
      // A non-empty directory is refused without a word.
      if (!dir || has_three_entries(dir.get())) return kDeleteFailed;
    }
    int result = kelp_delete_dir_content(fd.get());
    if (result != kDeleteOk) {
      debug_log("kelp_delete_dir_content failed\n");
      return result;
    }
  }
  if (fd.close() != 0) debug_log("close failed %d\n", errno);
  return ::remove(path) == 0 ? kDeleteOk : kDeleteFailed;
}

}  // namespace kelp
