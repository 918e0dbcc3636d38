// Sends a message with descriptors attached, as a daemon (well-behaved or
// not) does. Header-only: the fuzz targets use it too.
#ifndef KELP_TESTS_SUPPORT_DESCRIPTOR_MESSAGE_H
#define KELP_TESTS_SUPPORT_DESCRIPTOR_MESSAGE_H

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

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

// As above with |count| (at most 4) fresh descriptors of /dev/null, closed
// again once sent: the kernel keeps its own references until the message
// is read or the socket closes.
inline ssize_t send_with_null_descriptors(int socket, const void* data, size_t size, int count,
                                          int flags = 0) {
  int fds[4] = {-1, -1, -1, -1};
  if (count < 0 || count > 4) return -1;
  for (int i = 0; i < count; ++i) fds[i] = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  ssize_t sent = send_with_descriptors(socket, data, size, fds, static_cast<size_t>(count), flags);
  for (int fd : fds) {
    if (fd >= 0) ::close(fd);
  }
  return sent;
}

}  // namespace kelptest

#endif  // KELP_TESTS_SUPPORT_DESCRIPTOR_MESSAGE_H
