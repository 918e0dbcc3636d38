// Directory snapshots. The administration command snapshots a whole file
// system (named by its device) into <mount>/.snapshots/<name>; a directory
// snapshot is such a snapshot plus a symbolic link <dir>/.snapshot/<link>
// pointing at the directory's image inside it. The operations run with the
// rights of the calling process (the helper daemon runs them as root). They
// keep no state of their own and may run on any thread.
#ifndef KELP_SNAPSHOT_SNAPSHOT_H
#define KELP_SNAPSHOT_SNAPSHOT_H

#include <string>

namespace kelp {

// Results of the snapshot operations; the daemon answers the same values.
enum SnapshotResult {
  kSnapshotFailed = 0,
  kSnapshotOk = 1,
  kSnapshotCommandNotRun = 2,  // create and delete: the command could not be started
  kSnapshotNotRoot = 3,        // create: the caller is not root
};

// The per-directory folder of snapshot links, and its mode.
constexpr const char* kSnapshotDirName = ".snapshot";
constexpr int kSnapshotDirMode = 0550;

// <dir>/.snapshot/<link>, the path create answers with (dir as given).
std::string snapshot_link_path(const std::string& dir, const std::string& link);

// The command lines that make and remove snapshot |name| of file system
// |device|; both words are quoted so that each reaches the command as one
// argument whatever it holds.
std::string create_snapshot_command(const std::string& device, const std::string& name);
std::string delete_snapshot_command(const std::string& device, const std::string& name);

int kelp_createSnapshot(const char* dir, const char* snapshotName, const char* linkName);
// As create; on success the link is owned by |user| and |group| (names;
// empty leaves that part as it is).
int kelp_createSnapshotAs(const char* dir, const char* snapshotName, const char* linkName,
                          const char* user, const char* group);
int kelp_deleteSnapshot(const char* dir, const char* linkName);
// 1 or 0. Only the link is renamed; the file-system snapshot keeps its name.
int kelp_renameSnapshot(const char* dir, const char* oldLinkName, const char* newLinkName);

}  // namespace kelp

#endif  // KELP_SNAPSHOT_SNAPSHOT_H
