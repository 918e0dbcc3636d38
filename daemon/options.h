// Command line of the helper daemon.
#ifndef KELP_DAEMON_OPTIONS_H
#define KELP_DAEMON_OPTIONS_H

#include <sys/types.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace kelpd {

// Whom one peer may act for, in the sense of Hadoop's proxy-user rules: the
// users named, the members of the groups named, anyone for "*".
struct ProxyRule {
  bool any_user = false;
  bool any_group = false;
  std::set<std::string> users;
  std::set<std::string> groups;
};

struct Options {
  // The handshake answer for an allowed peer: 1 lets the caller work with its
  // own rights, 2 has it send every request here.
  signed char accepted_reply = 1;
  // Peers (by their SO_PEERCRED uid) that may use the daemon.
  std::set<uid_t> allowed_uids;
  // Written one byte and closed once the socket listens; -1 for none.
  int ready_fd = -1;
  // Connections served at once; more are closed at once.
  int max_clients = 256;
  // One log line when a client connects and one when its connection ends.
  bool log_connections = false;
  // Directories besides the Kelp mounts that request paths may name.
  std::vector<std::string> allowed_paths;
  // Acting for another user, by the peer's uid; a peer without a rule acts
  // only for itself.
  std::map<uid_t, ProxyRule> proxy_rules;
};

// Parses argv. On a usage error prints the reason and the usage to stderr
// and returns false; |exit_status| is then the status to exit with (0 for
// --help).
bool parse_options(int argc, char** argv, Options& options, int& exit_status);

}  // namespace kelpd

#endif  // KELP_DAEMON_OPTIONS_H
