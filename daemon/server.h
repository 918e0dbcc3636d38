// The daemon's listening socket and its connections: one thread per client.
#ifndef KELP_DAEMON_SERVER_H
#define KELP_DAEMON_SERVER_H

#include "options.h"

namespace kelpd {

// Listens on the daemon socket and serves clients until SIGTERM or SIGINT.
// Must be called with those two signals blocked in every thread (so they
// arrive through the server's signalfd). Returns the exit status.
int run_server(const Options& options);

}  // namespace kelpd

#endif  // KELP_DAEMON_SERVER_H
