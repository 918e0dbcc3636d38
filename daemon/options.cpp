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
    "  --log-connections  log every connection as it is accepted and as it ends\n";

bool parse_int(const char* text, long min, long max, long& out) {
  if (text == nullptr || *text == '\0') return false;
  errno = 0;
  char* end = nullptr;
  long v = std::strtol(text, &end, 10);
  if (errno != 0 || *end != '\0' || v < min || v > max) return false;
  out = v;
  return true;
}

bool usage_error(const char* what, const char* arg, int& exit_status) {
  std::fprintf(stderr, "kelp-helperd: %s%s%s\n%s", what, arg ? ": " : "", arg ? arg : "", kUsage);
  exit_status = 2;
  return false;
}

}  // namespace

bool parse_options(int argc, char** argv, Options& options, int& exit_status) {
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
