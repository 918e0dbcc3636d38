// Carrying out one client request with the library's local operations.
#ifndef KELP_DAEMON_REQUESTS_H
#define KELP_DAEMON_REQUESTS_H

#include <string>
#include <vector>

#include "jni/fd.h"

namespace kelpd {

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

// Performs request |type| with |payload|.
Outcome perform(char type, const std::vector<char>& payload, Reply& reply);

}  // namespace kelpd

#endif  // KELP_DAEMON_REQUESTS_H
