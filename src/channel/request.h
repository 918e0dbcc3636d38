// One request/reply exchange with the helper daemon: a request frame, then
// the reply frame of the same type. Shared by every entry point that works
// through the daemon.
#ifndef KELP_CHANNEL_REQUEST_H
#define KELP_CHANNEL_REQUEST_H

#include <cstddef>

#include "channel/payload.h"

namespace kelp {

// Sends |request| as a frame of |type| and receives the reply of the same
// type into |out| (at most |capacity| bytes). False when the payload could
// not be built (nothing is sent), the send failed, or no reply of that type
// and size arrived.
bool exchange(int connection, char type, const Payload& request, char* out, size_t capacity);

// exchange() for the replies that are one byte. |reply| is the byte as the
// daemon sent it (0 when the reply was empty); it is only meaningful when
// the call returned true.
bool exchange_byte(int connection, char type, const Payload& request, signed char& reply);

// The outcome of a request whose answer 1 is followed by a descriptor
// (create, append).
struct DescriptorReply {
  bool arrived = false;  // a one-byte reply of the request's type came
  signed char byte = 0;  // that byte
  int fd = -1;           // received after a byte of 1; -1 otherwise or when it did not come
};
DescriptorReply exchange_for_fd(int connection, char type, const Payload& request);

}  // namespace kelp

#endif  // KELP_CHANNEL_REQUEST_H
