// Command line of the helper daemon.
#ifndef KELP_DAEMON_OPTIONS_H
#define KELP_DAEMON_OPTIONS_H

#include <sys/types.h>

#include <set>
#include <string>

namespace kelpd {

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
};

// Parses argv. On a usage error prints the reason and the usage to stderr
// and returns false; |exit_status| is then the status to exit with (0 for
// --help).
bool parse_options(int argc, char** argv, Options& options, int& exit_status);

}  // namespace kelpd

#endif  // KELP_DAEMON_OPTIONS_H
