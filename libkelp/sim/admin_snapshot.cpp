// kpcrsnapshot and kpdelsnapshot: file-system snapshots under
// <mount>/.snapshots/<name>. A snapshot is a real copy of the file system's
// tree as it stands (without .snapshots itself), so links into it resolve
// to real content. Symbolic links are copied as links, never followed.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

#include "admin.h"

namespace kelpsim {
namespace {

constexpr const char* kSnapshotsDir = ".snapshots";
// The most snapshots one file system holds unless the scenario says otherwise.
constexpr long kDefaultSnapshotLimit = 256;
constexpr size_t kMaxNameLength = 255;

// Closes a descriptor on scope exit.
struct Fd {
  int fd;
  explicit Fd(int f) : fd(f) {}
  ~Fd() {
    if (fd >= 0) ::close(fd);
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
};

// What both commands need: the file system's mount point and the snapshot's
// name, checked. Prints the command's complaint and returns false otherwise.
struct Target {
  std::string mount;
  std::string name;
};

bool parse_arguments(const char* command, const Scenario& s, const std::vector<std::string>& args,
                     Target& out) {
  if (args.size() != 2) {
    std::fprintf(stderr, "Usage: %s Device SnapshotName\n", command);
    return false;
  }
  const std::string& device = args[0];
  const std::string& name = args[1];
  bool known = false;
  for (const ScenarioRecord* fs : s.all("filesystem")) {
    if (fs->words.size() >= 2 && fs->words[0] == device) {
      out.mount = fs->words[1];
      known = true;
    }
  }
  if (!known) {
    std::fprintf(stderr, "%s: File system %s is not known to this cluster.\n", command,
                 device.c_str());
    return false;
  }
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos ||
      name.size() > kMaxNameLength) {
    std::fprintf(stderr, "%s: Invalid snapshot name \"%s\".\n", command, name.c_str());
    return false;
  }
  struct stat st;
  if (::stat(out.mount.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    std::fprintf(stderr, "%s: File system %s is not mounted.\n", command, device.c_str());
    return false;
  }
  out.name = name;
  return true;
}

long snapshot_limit(const Scenario& s) {
  const ScenarioRecord* r = s.last("snapshots");
  if (r == nullptr) return kDefaultSnapshotLimit;
  std::string limit = r->option("limit");
  return limit.empty() ? kDefaultSnapshotLimit : std::strtol(limit.c_str(), nullptr, 10);
}

// Calls |visit| with the name of every entry of directory |dirfd| but "."
// and ".." until it returns false. False when the directory cannot be read
// or |visit| gave up.
template <typename Visit>
bool for_each_entry(int dirfd, Visit visit) {
  int fd = ::dup(dirfd);
  DIR* d = fd >= 0 ? ::fdopendir(fd) : nullptr;
  if (d == nullptr) {
    if (fd >= 0) ::close(fd);
    return false;
  }
  bool ok = true;
  while (struct dirent* e = ::readdir(d)) {
    if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0) continue;
    if (!visit(e->d_name)) {
      ok = false;
      break;
    }
  }
  ::closedir(d);
  return ok;
}

long count_snapshots(int snapshots_fd) {
  long n = 0;
  for_each_entry(snapshots_fd, [&](const char*) { return ++n > 0; });
  return n;
}

// Gives |name| in |dirfd| the owner, mode and modification time of |st|.
void copy_attributes(int dirfd, const char* name, const struct stat& st) {
  ::fchownat(dirfd, name, st.st_uid, st.st_gid, AT_SYMLINK_NOFOLLOW);
  if (!S_ISLNK(st.st_mode)) ::fchmodat(dirfd, name, st.st_mode & 07777, 0);
  struct timespec times[2] = {st.st_atim, st.st_mtim};
  ::utimensat(dirfd, name, times, AT_SYMLINK_NOFOLLOW);
}

bool copy_file(int from_dir, int to_dir, const char* name) {
  Fd in(::openat(from_dir, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  Fd out(::openat(to_dir, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (in.fd < 0 || out.fd < 0) return false;
  char buf[65536];
  for (;;) {
    ssize_t n = ::read(in.fd, buf, sizeof buf);
    if (n == 0) return true;
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    for (ssize_t done = 0; done < n;) {
      ssize_t w = ::write(out.fd, buf + done, static_cast<size_t>(n - done));
      if (w < 0 && errno != EINTR) return false;
      if (w > 0) done += w;
    }
  }
}

bool copy_symlink(int from_dir, int to_dir, const char* name) {
  char target[PATH_MAX + 1];
  ssize_t n = ::readlinkat(from_dir, name, target, sizeof target - 1);
  if (n < 0) return false;
  target[n] = '\0';
  return ::symlinkat(target, to_dir, name) == 0;
}

// Copies the entries of |from| into the empty directory |to|, leaving out
// |skip| (the snapshots of the top level). Devices, sockets and pipes have
// no place in an image and are left out.
bool copy_tree(int from, int to, const char* skip) {
  return for_each_entry(from, [&](const char* name) {
    if (skip != nullptr && std::strcmp(name, skip) == 0) return true;
    struct stat st;
    if (::fstatat(from, name, &st, AT_SYMLINK_NOFOLLOW) != 0) return false;
    bool ok = true;
    if (S_ISDIR(st.st_mode)) {
      if (::mkdirat(to, name, 0700) != 0) return false;
      Fd sub_from(::openat(from, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
      Fd sub_to(::openat(to, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
      ok = sub_from.fd >= 0 && sub_to.fd >= 0 && copy_tree(sub_from.fd, sub_to.fd, nullptr);
    } else if (S_ISREG(st.st_mode)) {
      ok = copy_file(from, to, name);
    } else if (S_ISLNK(st.st_mode)) {
      ok = copy_symlink(from, to, name);
    } else {
      return true;
    }
    if (ok) copy_attributes(to, name, st);
    return ok;
  });
}

// Removes everything in directory |dirfd| without following links; goes on
// past what it cannot remove and reports whether all went.
bool remove_contents(int dirfd) {
  bool all = true;
  bool read = for_each_entry(dirfd, [&](const char* name) {
    struct stat st;
    if (::fstatat(dirfd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) return true;
    int flag = 0;
    if (S_ISDIR(st.st_mode)) {
      Fd sub(::openat(dirfd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
      if (sub.fd < 0 || !remove_contents(sub.fd)) all = false;
      flag = AT_REMOVEDIR;
    }
    if (::unlinkat(dirfd, name, flag) != 0) all = false;
    return true;
  });
  return read && all;
}

bool remove_snapshot(int snapshots_fd, const std::string& name) {
  Fd fd(::openat(snapshots_fd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  bool ok = fd.fd >= 0 && remove_contents(fd.fd);
  return ::unlinkat(snapshots_fd, name.c_str(), AT_REMOVEDIR) == 0 && ok;
}

}  // namespace

int kpcrsnapshot(const Scenario& s, const std::vector<std::string>& args) {
  const char* cmd = "kpcrsnapshot";
  Target t;
  if (!parse_arguments(cmd, s, args, t)) return 1;
  Fd mount(::open(t.mount.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (mount.fd < 0) {
    std::fprintf(stderr, "%s: Cannot read %s: %s\n", cmd, t.mount.c_str(), std::strerror(errno));
    return 1;
  }
  ::mkdirat(mount.fd, kSnapshotsDir, 0755);
  Fd snapshots(::openat(mount.fd, kSnapshotsDir, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (snapshots.fd < 0) {
    std::fprintf(stderr, "%s: Cannot open %s/%s: %s\n", cmd, t.mount.c_str(), kSnapshotsDir,
                 std::strerror(errno));
    return 1;
  }
  long limit = snapshot_limit(s);
  if (count_snapshots(snapshots.fd) >= limit) {
    std::fprintf(stderr, "%s: File system %s already holds the maximum of %ld snapshots.\n", cmd,
                 args[0].c_str(), limit);
    return 1;
  }
  if (::mkdirat(snapshots.fd, t.name.c_str(), 0700) != 0) {
    if (errno == EEXIST) {
      std::fprintf(stderr, "%s: Snapshot \"%s\" already exists.\n", cmd, t.name.c_str());
    } else {
      std::fprintf(stderr, "%s: Cannot create snapshot \"%s\": %s\n", cmd, t.name.c_str(),
                   std::strerror(errno));
    }
    return 1;
  }
  std::printf("Flushing cached data of file system %s.\n", args[0].c_str());
  Fd image(::openat(snapshots.fd, t.name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat root;
  if (image.fd < 0 || ::fstat(mount.fd, &root) != 0 ||
      !copy_tree(mount.fd, image.fd, kSnapshotsDir)) {
    int err = errno;
    remove_snapshot(snapshots.fd, t.name);
    std::fprintf(stderr, "%s: Snapshot \"%s\" could not be taken: %s\n", cmd, t.name.c_str(),
                 std::strerror(err));
    return 1;
  }
  copy_attributes(snapshots.fd, t.name.c_str(), root);
  std::printf("Snapshot \"%s\" of file system %s created.\n", t.name.c_str(), args[0].c_str());
  return 0;
}

int kpdelsnapshot(const Scenario& s, const std::vector<std::string>& args) {
  const char* cmd = "kpdelsnapshot";
  Target t;
  if (!parse_arguments(cmd, s, args, t)) return 1;
  std::string snapshots_path = t.mount + "/" + kSnapshotsDir;
  Fd snapshots(::open(snapshots_path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat st;
  if (snapshots.fd < 0 ||
      ::fstatat(snapshots.fd, t.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
    std::fprintf(stderr, "%s: Snapshot \"%s\" does not exist in file system %s.\n", cmd,
                 t.name.c_str(), args[0].c_str());
    return 1;
  }
  if (!remove_snapshot(snapshots.fd, t.name)) {
    std::fprintf(stderr, "%s: Snapshot \"%s\" could not be deleted completely: %s\n", cmd,
                 t.name.c_str(), std::strerror(errno));
    return 1;
  }
  std::printf("Snapshot \"%s\" of file system %s deleted.\n", t.name.c_str(), args[0].c_str());
  return 0;
}

}  // namespace kelpsim
