// Sends a message with descriptors attached, as a daemon (well-behaved or
// not) does. Header-only: the fuzz targets use it too.
#ifndef KELP_TESTS_SUPPORT_DESCRIPTOR_MESSAGE_H
#define KELP_TESTS_SUPPORT_DESCRIPTOR_MESSAGE_H

#include <sys/socket.h>
#include <sys/types.h>

#include <cstring>
#include <vector>

namespace kelptest {

// Sends |size| bytes of |data| as one message carrying |count| descriptors
// of |fds| as SCM_RIGHTS data (none: a plain message); sendmsg's result.
inline ssize_t send_with_descriptors(int socket, const void* data, size_t size, const int* fds,
                                     size_t count, int flags = 0) {
  struct iovec iov = {const_cast<void*>(data), size};
  struct msghdr msg {};
  msg.msg_iov = &iov;
  msg.msg_iovlen = 1;
  std::vector<char> control(CMSG_SPACE(sizeof(int) * (count == 0 ? 1 : count)));
  if (count > 0) {
    msg.msg_control = control.data();
    msg.msg_controllen = CMSG_SPACE(sizeof(int) * count);
    struct cmsghdr* c = CMSG_FIRSTHDR(&msg);
    c->cmsg_level = SOL_SOCKET;
    c->cmsg_type = SCM_RIGHTS;
    c->cmsg_len = CMSG_LEN(sizeof(int) * count);
    std::memcpy(CMSG_DATA(c), fds, sizeof(int) * count);
  }
  return ::sendmsg(socket, &msg, flags);
}

}  // namespace kelptest

#endif  // KELP_TESTS_SUPPORT_DESCRIPTOR_MESSAGE_H
