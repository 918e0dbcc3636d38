#include "channel/connection.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "channel/framing.h"
#include "channel/request.h"
#include "fsops/kelpHadoop.h"
#include "fsops/local_ops.h"
#include "jni/logging.h"

namespace kelp {
namespace {

// The whole address structure is passed, not just the used part of the path.
constexpr socklen_t kDaemonAddressLength = 110;
static_assert(sizeof(sockaddr_un) == kDaemonAddressLength, "unexpected sockaddr_un size");

// Handshake answers.
constexpr signed char kRefused = 0;
constexpr signed char kDaemonServes = 2;

}  // namespace

int connect_daemon(int keepAlways, const char* userName) {
  int s = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (s < 0) return -1;
  sockaddr_un addr;
  std::memset(&addr, 0, sizeof addr);
  addr.sun_family = AF_UNIX;
  std::strncpy(addr.sun_path, kDaemonSocketPath, sizeof addr.sun_path - 1);
  // On the failure paths below the socket is deliberately left open and
  // returned to nobody: that is how the library has always behaved.
  if (::connect(s, reinterpret_cast<sockaddr*>(&addr), kDaemonAddressLength) != 0) {
    debug_log("connect to %s failed, errno %d", kDaemonSocketPath, errno);
    return -1;
  }
  Payload hello;
  hello.str(userName != nullptr ? userName : "");
  signed char answer = kRefused;
  if (!hello.ok()) {
    // Nothing was sent, so nothing would ever answer.
    ::close(s);
    return -1;
  }
  if (!exchange_byte(s, kMsgHandshake, hello, answer)) {
    debug_log("no handshake reply from the helper daemon");
    return -1;
  }
  if (answer == kRefused) {
    debug_log("the helper daemon refused user \"%s\"", userName != nullptr ? userName : "");
    return -1;
  }
  if (keepAlways != 0 || answer == kDaemonServes) return s;
  // The daemon lets this process work with its own rights.
  send_message(s, kMsgQuit, nullptr, 0);
  ::close(s);
  return kLocalConnection;
}

int helper_get_fd(int connection, const char* path) {
  if (connection == kLocalConnection) return kelp_open(path);
  signed char reply = 0;
  if (!exchange_byte(connection, kMsgOpen, Payload().str(path), reply) || reply == 0) return -1;
  return recv_fd(connection);
}

}  // namespace kelp
