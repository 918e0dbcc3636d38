// One client connection: the handshake, then requests until the client
// quits, breaks the protocol or the daemon shuts the connection down.
#ifndef KELP_DAEMON_SESSION_H
#define KELP_DAEMON_SESSION_H

#include <sys/types.h>

#include "options.h"

namespace kelpd {

// The connected client as the kernel reports it (SO_PEERCRED).
struct Peer {
  int fd = -1;
  pid_t pid = 0;
  uid_t uid = 0;
  gid_t gid = 0;
};

// Serves |peer| to the end of its conversation. Does not close peer.fd.
void serve_client(const Peer& peer, const Options& options);

}  // namespace kelpd

#endif  // KELP_DAEMON_SESSION_H
