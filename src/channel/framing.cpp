#include "channel/framing.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "jni/fd.h"

namespace kelp {
namespace {

// One read, repeated only when a signal interrupted it before any byte came.
ssize_t read_once(int fd, void* buf, size_t n) {
  ssize_t r;
  do {
    r = ::read(fd, buf, n);
  } while (r < 0 && errno == EINTR);
  return r;
}

}  // namespace

void serialize_int(char* out, int value) {
  auto v = static_cast<uint32_t>(value);
  out[0] = static_cast<char>(v >> 24);
  out[1] = static_cast<char>(v >> 16);
  out[2] = static_cast<char>(v >> 8);
  out[3] = static_cast<char>(v);
}

int deserialize_int(const char* in) {
  auto b = reinterpret_cast<const unsigned char*>(in);
  return static_cast<int>((uint32_t{b[0]} << 24) | (uint32_t{b[1]} << 16) | (uint32_t{b[2]} << 8) |
                          uint32_t{b[3]});
}

void serialize_short(char* out, short value) {
  auto v = static_cast<uint16_t>(value);
  out[0] = static_cast<char>(v >> 8);
  out[1] = static_cast<char>(v);
}

short deserialize_short(const char* in) {
  auto b = reinterpret_cast<const unsigned char*>(in);
  return static_cast<short>((b[0] << 8) | b[1]);
}

bool send_message(int fd, char type, const char* payload, int length) {
  if (length < 0 || (length > 0 && payload == nullptr)) return false;
  std::vector<char> frame;
  try {
    frame.resize(kFrameHeaderSize + static_cast<size_t>(length));
  } catch (const std::bad_alloc&) {
    return false;
  }
  frame[0] = type;
  serialize_int(&frame[1], length);
  if (length > 0) std::memcpy(&frame[kFrameHeaderSize], payload, static_cast<size_t>(length));
  // One write; a short write is not completed.
  ssize_t n;
  do {
    n = ::write(fd, frame.data(), frame.size());
  } while (n < 0 && errno == EINTR);
  return n == static_cast<ssize_t>(frame.size());
}

int recv_message(int fd, char* type, char* out, size_t capacity) {
  char header[kFrameHeaderSize];
  if (read_once(fd, header, sizeof header) != static_cast<ssize_t>(sizeof header)) return -1;
  *type = header[0];
  auto length = static_cast<uint32_t>(deserialize_int(header + 1));
  if (length > kMaxPayload) return -1;
  if (out != nullptr && length > capacity) return -1;
  std::vector<char> payload;
  try {
    payload.resize(length);
  } catch (const std::bad_alloc&) {
    return -1;
  }
  if (length > 0 && read_once(fd, payload.data(), length) != static_cast<ssize_t>(length)) return -1;
  if (out == nullptr) return 0;
  if (length > 0) std::memcpy(out, payload.data(), length);
  return static_cast<int>(length);
}

bool expect_message(int fd, char type, char* out, size_t capacity) {
  char received = 0;
  return recv_message(fd, &received, out, capacity) >= 0 && received == type;
}

namespace {

// A descriptor message: one data byte and room for one SCM_RIGHTS descriptor
// (control length 20 in a 24-byte buffer).
struct FdMessage {
  explicit FdMessage(char byte) : data(byte) {
    iov.iov_base = &data;
    iov.iov_len = 1;
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = sizeof control;
  }
  FdMessage(const FdMessage&) = delete;
  FdMessage& operator=(const FdMessage&) = delete;

  char data;
  struct iovec iov {};
  alignas(struct cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  struct msghdr msg {};
};

}  // namespace

int send_fd(int socket, int fd) {
  FdMessage m('F');
  struct cmsghdr* c = CMSG_FIRSTHDR(&m.msg);
  c->cmsg_level = SOL_SOCKET;
  c->cmsg_type = SCM_RIGHTS;
  c->cmsg_len = CMSG_LEN(sizeof(int));
  std::memcpy(CMSG_DATA(c), &fd, sizeof fd);
  return static_cast<int>(::sendmsg(socket, &m.msg, 0));
}

int recv_fd(int socket) {
  FdMessage m(0);
  struct msghdr& msg = m.msg;
  ssize_t n;
  do {
    n = ::recvmsg(socket, &msg, MSG_CMSG_CLOEXEC);
  } while (n < 0 && errno == EINTR);
  if (n <= 0) return -1;
  // Take every descriptor that arrived, so none leaks whatever the outcome.
  UniqueFd received;
  bool malformed = false;
  for (struct cmsghdr* c = CMSG_FIRSTHDR(&msg); c != nullptr; c = CMSG_NXTHDR(&msg, c)) {
    if (c->cmsg_len < CMSG_LEN(0)) {
      malformed = true;
      break;
    }
    if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS) continue;
    size_t count = (c->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (size_t i = 0; i < count; ++i) {
      int fd;
      std::memcpy(&fd, CMSG_DATA(c) + i * sizeof(int), sizeof fd);
      if (!received) {
        received.reset(fd);
      } else {
        ::close(fd);
      }
    }
  }
  if (m.data != 'F' || (msg.msg_flags & MSG_CTRUNC) != 0 || malformed) return -1;
  return received.release();
}

}  // namespace kelp
