// What a connected peer may reach: the paths its requests name, confined to
// the Kelp file systems and the directories the configuration adds, and the
// users and groups it may act for (Hadoop's proxy-user rules).
#ifndef KELP_DAEMON_POLICY_H
#define KELP_DAEMON_POLICY_H

#include <string>

#include "options.h"
#include "session.h"

namespace kelpd {

// Whether a request acts on the last component of its path through a
// symbolic link there (open, create, chmod) or on the link itself (delete,
// rename, a new link's own location).
enum class Last { kFollow, kNoFollow };

// The checks of one peer. Every refusal writes one log line naming the
// request type and why.
class Policy final {
 public:
  Policy(const Options& options, const Peer& peer) : options_(options), peer_(peer) {}

  // True when |path| resolves, through every link and "..", to a place
  // inside a Kelp mount or an allowed directory.
  bool path(char type, const std::string& path, Last last) const;
  // True when the peer may give ownership to |user| and |group| (either may
  // be empty: left as it is).
  bool acting(char type, const std::string& user, const std::string& group) const;
  // True when the peer may name |user| in its handshake.
  bool handshake_user(const std::string& user) const;

 private:
  bool may_act_for(const std::string& user) const;
  bool may_give_group(const std::string& user, const std::string& group) const;

  const Options& options_;
  const Peer& peer_;
};

// |path| with every symbolic link and "." or ".." resolved, the last
// component only when |last| says so; components that do not exist yet are
// appended as they are (none of them may be ".."). False when the path is
// relative, a dangling link would be followed, or resolution fails.
bool resolve_location(const std::string& path, Last last, std::string& resolved);

}  // namespace kelpd

#endif  // KELP_DAEMON_POLICY_H
