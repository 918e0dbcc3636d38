#include "snapshot/snapshot.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "details/details.h"
#include "fsops/local_ops.h"
#include "jni/logging.h"
#include "topology/command_runner.h"

namespace kelp {
namespace {

// Where the administration command puts a file system's snapshots.
constexpr const char* kFsSnapshotsDirName = ".snapshots";
// readlink's buffer for a snapshot link's target (one byte kept for the NUL).
constexpr size_t kLinkTargetBufferSize = 1024;

std::string snapshot_dir_path(const std::string& dir) { return dir + "/" + kSnapshotDirName; }

// "<mount>/.snapshots/": every target create makes starts with it.
std::string fs_snapshots_prefix(const kelpDetails_t& fs) {
  return fs.mountPoint + "/" + kFsSnapshotsDirName + "/";
}

std::string snapshot_command(const char* program, const std::string& device,
                             const std::string& name) {
  return std::string("/opt/kelp/bin/") + program + " " + shell_quote(device) + " " +
         shell_quote(name) + " 2>&1";
}

// Runs |command|, discarding what it prints: the command counts as run even
// when it refuses.
bool run_snapshot_command(const std::string& command) {
  std::string output;
  return exec_command(command, output) == 0;
}

// Makes <dir>/.snapshot when missing and gives it the directory's owner and
// group. False when it could not be made.
bool ensure_snapshot_dir(const std::string& dir) {
  std::string snapdir = snapshot_dir_path(dir);
  if (kelp_exists(snapdir.c_str())) return true;
  if (!kelp_mkdirs(snapdir.c_str(), kSnapshotDirMode)) {
    debug_log("cannot make %s: errno %d", snapdir.c_str(), errno);
    return false;
  }
  struct stat st;
  // lchown: a link swapped in for the new directory must not hand its target away.
  if (::stat(dir.c_str(), &st) == 0) ::lchown(snapdir.c_str(), st.st_uid, st.st_gid);
  return true;
}

// The directory's image inside snapshot |name|, or "" when |dir| is not under
// the file system's mount point. A directory equal to the mount point maps to
// the snapshot's root (target ending in "/"), so delete still finds the name.
std::string link_target(const kelpDetails_t& fs, const std::string& dir, const std::string& name) {
  const std::string& mount = fs.mountPoint;
  // A plain prefix test, as the names are compared nowhere else: /fs10/a
  // passes for /fs1 and loses the character after the prefix.
  if (dir.compare(0, mount.size(), mount) != 0) return "";
  std::string rest = dir.size() > mount.size() ? dir.substr(mount.size() + 1) : "";
  return fs_snapshots_prefix(fs) + name + "/" + rest;
}

// The snapshot name a link target made by create names, or "" when the
// target is not in the file system's snapshots or has no "/" after the name
// (nor any name: an empty one would only make the command refuse).
std::string snapshot_name_of(const kelpDetails_t& fs, const std::string& target) {
  std::string prefix = fs_snapshots_prefix(fs);
  if (target.compare(0, prefix.size(), prefix) != 0) return "";
  size_t slash = target.find('/', prefix.size());
  if (slash == std::string::npos) return "";
  return target.substr(prefix.size(), slash - prefix.size());
}

}  // namespace

std::string snapshot_link_path(const std::string& dir, const std::string& link) {
  return snapshot_dir_path(dir) + "/" + link;
}

std::string create_snapshot_command(const std::string& device, const std::string& name) {
  return snapshot_command("kpcrsnapshot", device, name);
}

std::string delete_snapshot_command(const std::string& device, const std::string& name) {
  return snapshot_command("kpdelsnapshot", device, name);
}

int kelp_createSnapshot(const char* dir, const char* snapshotName, const char* linkName) {
  if (::getuid() != 0) return kSnapshotNotRoot;
  const kelpDetails_t* fs = getDetails("");
  if (fs == nullptr) {
    debug_log("snapshot of %s: no Kelp file system known", dir);
    return kSnapshotFailed;
  }
  if (!ensure_snapshot_dir(dir)) return kSnapshotFailed;
  std::string target = link_target(*fs, dir, snapshotName);
  if (target.empty()) {
    debug_log("snapshot of %s: not under %s", dir, fs->mountPoint.c_str());
    return kSnapshotFailed;
  }
  std::string link = snapshot_link_path(dir, linkName);
  if (kelp_exists(link.c_str())) return kSnapshotFailed;
  if (!run_snapshot_command(create_snapshot_command(fs->device, snapshotName))) {
    return kSnapshotCommandNotRun;
  }
  if (kelp_createsymlink(target.c_str(), link.c_str())) return kSnapshotOk;
  debug_log("cannot link %s: errno %d; removing snapshot %s", link.c_str(), errno, snapshotName);
  run_snapshot_command(delete_snapshot_command(fs->device, snapshotName));
  return kSnapshotFailed;
}

int kelp_createSnapshotAs(const char* dir, const char* snapshotName, const char* linkName,
                          const char* user, const char* group) {
  std::string link = snapshot_link_path(dir, linkName);
  int result = kelp_createSnapshot(dir, snapshotName, linkName);
  if (result != kSnapshotOk) return result;
  // The link's target is the snapshot's image: a command that refused leaves
  // it dangling, and the link then counts as missing.
  if (!kelp_exists(link.c_str())) return kSnapshotFailed;
  return kelp_lchown(link.c_str(), user, group) ? kSnapshotOk : kSnapshotFailed;
}

int kelp_deleteSnapshot(const char* dir, const char* linkName) {
  const kelpDetails_t* fs = getDetails("");
  if (fs == nullptr) return kSnapshotFailed;
  std::string link = snapshot_link_path(dir, linkName);
  if (!kelp_exists(link.c_str())) return kSnapshotFailed;
  char buf[kLinkTargetBufferSize] = {};
  ssize_t n = ::readlink(link.c_str(), buf, sizeof buf - 1);
  if (n < 0) return kSnapshotFailed;
  std::string target(buf, static_cast<size_t>(n));
  if (!kelp_exists(target.c_str())) return kSnapshotFailed;
  std::string name = snapshot_name_of(*fs, target);
  if (name.empty()) {
    debug_log("%s is no snapshot link of %s", link.c_str(), fs->mountPoint.c_str());
    return kSnapshotFailed;
  }
  if (!run_snapshot_command(delete_snapshot_command(fs->device, name))) {
    return kSnapshotCommandNotRun;
  }
  return ::unlink(link.c_str()) == 0 ? kSnapshotOk : kSnapshotFailed;
}

int kelp_renameSnapshot(const char* dir, const char* oldLinkName, const char* newLinkName) {
  std::string from = snapshot_link_path(dir, oldLinkName);
  std::string to = snapshot_link_path(dir, newLinkName);
  if (!kelp_exists(from.c_str()) || kelp_exists(to.c_str())) return kSnapshotFailed;
  // Every rename code but 0 counts as done, the failed ones included.
  return kelp_rename(from.c_str(), to.c_str()) != 0 ? kSnapshotOk : kSnapshotFailed;
}

}  // namespace kelp
