// Carrying out one client request with the library's local operations.
#ifndef KELP_DAEMON_REQUESTS_H
#define KELP_DAEMON_REQUESTS_H

#include <string>
#include <vector>

#include "jni/fd.h"

namespace kelpd {

class Policy;

// What goes back to the client: a reply frame of the request's type and,
// after it, possibly a descriptor.
struct Reply {
  std::string payload;
  kelp::UniqueFd fd;  // sent after the frame when set; closed here afterwards
};

enum class Outcome {
  kReply,      // send |reply|
  kMalformed,  // the payload does not fit the type: drop the connection
  kUnknown,    // not a request type of the protocol: drop the connection
};

// Performs request |type| with |payload|. With |policy| (the daemon always
// gives one) a request naming a path or an owner the peer may not reach is
// answered with the request's failure answer and nothing is done; without
// it only the decoding is checked.
Outcome perform(char type, const std::vector<char>& payload, Reply& reply,
                const Policy* policy = nullptr);

}  // namespace kelpd

#endif  // KELP_DAEMON_REQUESTS_H
