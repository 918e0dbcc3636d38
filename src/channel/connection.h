// Connecting to the privileged helper daemon, and the read-only descriptor
// every reading path needs.
#ifndef KELP_CHANNEL_CONNECTION_H
#define KELP_CHANNEL_CONNECTION_H

namespace kelp {

// The daemon's socket.
constexpr const char* kDaemonSocketPath = "/var/run/kelp_conn_sock";

// Connects and hands |userName| to the daemon. Returns the socket (reply 2, or
// any positive reply when |keepAlways| is set), -42 when the daemon answered
// 1 and no impersonation was asked for (the caller works locally), or -1.
int connect_daemon(int keepAlways, const char* userName);

// A read-only descriptor for |path|: opened locally when |connection| is -42,
// otherwise received from the daemon ('o'). -1 on failure. The caller owns it.
int helper_get_fd(int connection, const char* path);

}  // namespace kelp

#endif  // KELP_CHANNEL_CONNECTION_H
