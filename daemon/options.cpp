#include "options.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "status/identity.h"

namespace kelpd {
namespace {

constexpr const char* kUsage =
    "usage: kelp-helperd [--local | --serve] [--allow-uid UID]... [--allow-user NAME]...\n"
    "                    [--max-clients N] [--ready-fd FD] [--log-connections]\n"
    "                    [--allow-path DIR]... [--proxy-user PEER [--proxy-users LIST]\n"
    "                    [--proxy-groups LIST]]...\n"
    "\n"
    "Privileged helper daemon of the Kelp Hadoop library, listening on\n"
    "/var/run/kelp_conn_sock.\n"
    "\n"
    "  --local            accepted clients work with their own rights (default)\n"
    "  --serve            accepted clients send their requests to the daemon\n"
    "  --allow-uid UID    accept peers running as UID (repeatable)\n"
    "  --allow-user NAME  accept peers running as user NAME (repeatable)\n"
    "                     without any --allow-*, only root is accepted\n"
    "  --max-clients N    connections served at once (default 256)\n"
    "  --ready-fd FD      write one byte to FD and close it once listening\n"
    "  --log-connections  log every connection as it is accepted and as it ends\n"
    "  --allow-path DIR   requests may also name paths under DIR (repeatable);\n"
    "                     the Kelp mounts of /etc/mtab are always allowed\n"
    "  --proxy-user PEER  the next --proxy-users/--proxy-groups say whom peer PEER\n"
    "                     (a user name or uid) may act for; without a rule a peer\n"
    "                     acts only for itself, root included\n"
    "  --proxy-users LIST comma-separated users PEER may act for, or *\n"
    "  --proxy-groups LIST PEER may act for members of these groups and give\n"
    "                     ownership to them; comma-separated, or *\n";

bool parse_int(const char* text, long min, long max, long& out) {
  if (text == nullptr || *text == '\0') return false;
  errno = 0;
  char* end = nullptr;
  long v = std::strtol(text, &end, 10);
  if (errno != 0 || *end != '\0' || v < min || v > max) return false;
  out = v;
  return true;
}

// The uid of |text|: a user name, else a number.
bool parse_user(const char* text, uid_t& uid) {
  long n = 0;
  if (text == nullptr) return false;
  if (kelp::usrname_to_uid(text, uid) == 0) return true;
  if (!parse_int(text, 0, UINT_MAX - 1, n)) return false;
  uid = static_cast<uid_t>(n);
  return true;
}

// Adds the comma-separated names of |list| to |names|; "*" sets |any|.
bool parse_list(const char* list, bool& any, std::set<std::string>& names) {
  if (list == nullptr || *list == '\0') return false;
  std::string text(list);
  size_t start = 0;
  for (;;) {
    size_t comma = text.find(',', start);
    size_t len = comma == std::string::npos ? std::string::npos : comma - start;
    std::string name = text.substr(start, len);
    if (name == "*") {
      any = true;
    } else if (!name.empty()) {
      names.insert(name);
    }
    if (comma == std::string::npos) return true;
    start = comma + 1;
  }
}

bool usage_error(const char* what, const char* arg, int& exit_status) {
  std::fprintf(stderr, "kelp-helperd: %s%s%s\n%s", what, arg ? ": " : "", arg ? arg : "", kUsage);
  exit_status = 2;
  return false;
}

}  // namespace

bool parse_options(int argc, char** argv, Options& options, int& exit_status) {
  ProxyRule* rule = nullptr;  // the one the last --proxy-user opened
  for (int i = 1; i < argc; ++i) {
    const char* opt = argv[i];
    const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
    long n = 0;
    if (std::strcmp(opt, "--help") == 0 || std::strcmp(opt, "-h") == 0) {
      std::fputs(kUsage, stdout);
      exit_status = 0;
      return false;
    } else if (std::strcmp(opt, "--local") == 0) {
      options.accepted_reply = 1;
    } else if (std::strcmp(opt, "--serve") == 0) {
      options.accepted_reply = 2;
    } else if (std::strcmp(opt, "--allow-uid") == 0) {
      if (!parse_int(value, 0, UINT_MAX - 1, n))
        return usage_error("bad --allow-uid", value, exit_status);
      options.allowed_uids.insert(static_cast<uid_t>(n));
      ++i;
    } else if (std::strcmp(opt, "--allow-user") == 0) {
      uid_t uid;
      if (value == nullptr) return usage_error("--allow-user needs a name", nullptr, exit_status);
      if (kelp::usrname_to_uid(value, uid) != 0) return usage_error("unknown user", value, exit_status);
      options.allowed_uids.insert(uid);
      ++i;
    } else if (std::strcmp(opt, "--allow-path") == 0) {
      if (value == nullptr || value[0] != '/') {
        return usage_error("--allow-path needs an absolute directory", value, exit_status);
      }
      options.allowed_paths.emplace_back(value);
      ++i;
    } else if (std::strcmp(opt, "--proxy-user") == 0) {
      uid_t uid;
      if (!parse_user(value, uid)) return usage_error("bad --proxy-user", value, exit_status);
      rule = &options.proxy_rules[uid];
      ++i;
    } else if (std::strcmp(opt, "--proxy-users") == 0 ||
               std::strcmp(opt, "--proxy-groups") == 0) {
      bool users = std::strcmp(opt, "--proxy-users") == 0;
      if (rule == nullptr) return usage_error(opt, "needs a --proxy-user before it", exit_status);
      if (!parse_list(value, users ? rule->any_user : rule->any_group,
                      users ? rule->users : rule->groups)) {
        return usage_error("bad list", value, exit_status);
      }
      ++i;
    } else if (std::strcmp(opt, "--log-connections") == 0) {
      options.log_connections = true;
    } else if (std::strcmp(opt, "--max-clients") == 0) {
      if (!parse_int(value, 1, 65536, n))
        return usage_error("bad --max-clients", value, exit_status);
      options.max_clients = static_cast<int>(n);
      ++i;
    } else if (std::strcmp(opt, "--ready-fd") == 0) {
      if (!parse_int(value, 0, INT_MAX, n) || fcntl(static_cast<int>(n), F_GETFD) < 0) {
        return usage_error("bad --ready-fd", value, exit_status);
      }
      options.ready_fd = static_cast<int>(n);
      ++i;
    } else {
      return usage_error("unknown option", opt, exit_status);
    }
  }
  if (options.allowed_uids.empty()) options.allowed_uids.insert(0);
  return true;
}

}  // namespace kelpd
