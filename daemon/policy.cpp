#include "policy.h"

#include <grp.h>
#include <mntent.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "log.h"
#include "status/identity.h"

namespace kelpd {
namespace {

constexpr const char* kMtab = "/etc/mtab";
// Bounds getgrouplist's growth for an account in absurdly many groups.
constexpr int kMaxGroups = 65536;

bool canonical(const std::string& path, std::string& out) {
  std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr), &std::free);
  if (!real) return false;
  out = real.get();
  return true;
}

bool inside(const std::string& resolved, const std::string& root) {
  if (root == "/") return true;
  return resolved.compare(0, root.size(), root) == 0 &&
         (resolved.size() == root.size() || resolved[root.size()] == '/');
}

// The mount points of the Kelp file systems and the configured directories,
// each resolved now (mounts come and go while the daemon runs).
std::vector<std::string> allowed_roots(const Options& options) {
  std::vector<std::string> roots;
  std::string real;
  if (FILE* mtab = ::setmntent(kMtab, "re")) {
    struct mntent entry;
    char buf[8192];
    while (::getmntent_r(mtab, &entry, buf, sizeof buf) != nullptr) {
      if (std::strcmp(entry.mnt_type, "kelp") == 0 && canonical(entry.mnt_dir, real)) {
        roots.push_back(real);
      }
    }
    ::endmntent(mtab);
  }
  for (const auto& dir : options.allowed_paths) {
    if (canonical(dir, real)) roots.push_back(real);
  }
  return roots;
}

// Whether account |user| (primary group |primary|) belongs to group |gid|.
bool member_of(const std::string& user, gid_t primary, gid_t gid) {
  if (primary == gid) return true;
  int n = 64;
  std::vector<gid_t> groups;
  for (;;) {
    groups.resize(static_cast<size_t>(n));
    int want = n;
    if (::getgrouplist(user.c_str(), primary, groups.data(), &want) >= 0) {
      groups.resize(static_cast<size_t>(want));
      break;
    }
    if (want <= n || want > kMaxGroups) return false;
    n = want;
  }
  for (gid_t g : groups) {
    if (g == gid) return true;
  }
  return false;
}

// Whether account |user| belongs to one of the groups named in |names|.
bool member_of_any(const std::string& user, const std::set<std::string>& names) {
  uid_t uid;
  gid_t primary;
  if (kelp::usrname_to_ids(user.c_str(), uid, primary) != 0) return false;
  for (const auto& name : names) {
    gid_t gid;
    if (kelp::grpname_to_gid(name.c_str(), gid) == 0 && member_of(user, primary, gid)) return true;
  }
  return false;
}

}  // namespace

bool resolve_location(const std::string& path, Last last, std::string& resolved) {
  if (path.empty() || path[0] != '/' || path.size() >= PATH_MAX) return false;
  std::string p = path;
  while (p.size() > 1 && p.back() == '/') p.pop_back();
  // Components that do not exist yet (or, first, a last one not to be
  // followed), nearest the end first.
  std::vector<std::string> pending;
  auto step_up = [&p, &pending] {
    size_t slash = p.rfind('/');
    std::string name = p.substr(slash + 1);
    if (name.empty() || name == "." || name == "..") return false;
    pending.push_back(name);
    p.erase(slash == 0 ? 1 : slash);
    return true;
  };
  if (last == Last::kNoFollow && p != "/" && !step_up()) {
    // "." or ".." as the last component names a directory, resolved whole.
    pending.clear();
  }
  std::string real;
  while (!canonical(p, real)) {
    struct stat st;
    // Anything there that cannot be resolved (a dangling link) would be
    // followed somewhere unknown.
    if (errno != ENOENT || ::lstat(p.c_str(), &st) == 0 || !step_up()) return false;
  }
  resolved = real;
  for (auto it = pending.rbegin(); it != pending.rend(); ++it) {
    if (resolved != "/") resolved += '/';
    resolved += *it;
  }
  return true;
}

bool Policy::path(char type, const std::string& path, Last last) const {
  std::string resolved;
  if (resolve_location(path, last, resolved)) {
    for (const auto& root : allowed_roots(options_)) {
      if (inside(resolved, root)) return true;
    }
  }
  log_line("client pid %d uid %u: '%c' request refused: path \"%s\" does not resolve inside the "
           "allowed file systems",
           peer_.pid, peer_.uid, type, printable(path).c_str());
  return false;
}

bool Policy::may_act_for(const std::string& user) const {
  uid_t uid;
  gid_t gid;
  if (kelp::usrname_to_ids(user.c_str(), uid, gid) == 0 && uid == peer_.uid) return true;
  auto rule = options_.proxy_rules.find(peer_.uid);
  if (rule == options_.proxy_rules.end()) return false;
  const ProxyRule& r = rule->second;
  return r.any_user || r.any_group || r.users.count(user) != 0 || member_of_any(user, r.groups);
}

bool Policy::may_give_group(const std::string& user, const std::string& group) const {
  auto rule = options_.proxy_rules.find(peer_.uid);
  if (rule != options_.proxy_rules.end() &&
      (rule->second.any_group || rule->second.groups.count(group) != 0)) {
    return true;
  }
  // A group of the user the ownership goes to (or of the peer itself), as
  // its owner could choose with chgrp.
  std::string owner = user;
  if (owner.empty()) {
    char name[256];
    if (kelp::uid_to_usrname(peer_.uid, name, sizeof name) != 0) return false;
    owner = name;
  }
  uid_t uid;
  gid_t primary, gid;
  return kelp::usrname_to_ids(owner.c_str(), uid, primary) == 0 &&
         kelp::grpname_to_gid(group.c_str(), gid) == 0 && member_of(owner, primary, gid);
}

bool Policy::acting(char type, const std::string& user, const std::string& group) const {
  bool user_ok = user.empty() || may_act_for(user);
  if (user_ok && (group.empty() || may_give_group(user, group))) return true;
  log_line("client pid %d uid %u: '%c' request refused: may not act for %s \"%s\"", peer_.pid,
           peer_.uid, type, user_ok ? "group" : "user", printable(user_ok ? group : user).c_str());
  return false;
}

bool Policy::handshake_user(const std::string& user) const {
  if (user.empty() || may_act_for(user)) return true;
  log_line("client pid %d uid %u: may not act for user \"%s\"", peer_.pid, peer_.uid,
           printable(user).c_str());
  return false;
}

}  // namespace kelpd
