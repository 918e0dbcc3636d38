#include "channel/request.h"

#include "channel/framing.h"

namespace kelp {

bool exchange(int connection, char type, const Payload& request, char* out, size_t capacity) {
  // A request that never went out gets no reply: waiting for one would block.
  if (!request.send(connection, type)) return false;
  return expect_message(connection, type, out, capacity);
}

bool exchange_byte(int connection, char type, const Payload& request, signed char& reply) {
  char byte = 0;
  bool ok = exchange(connection, type, request, &byte, 1);
  reply = static_cast<signed char>(byte);
  return ok;
}

DescriptorReply exchange_for_fd(int connection, char type, const Payload& request) {
  DescriptorReply r;
  r.arrived = exchange_byte(connection, type, request, r.byte);
  if (r.arrived && r.byte == 1) r.fd = recv_fd(connection);
  return r;
}

}  // namespace kelp
