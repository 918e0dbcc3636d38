#include "support/daemon_clients.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "channel/connection.h"
#include "channel/framing.h"
#include "channel/request.h"
#include "support/sandbox.h"

namespace kelptest {

using kelp::Payload;
using kelp::UniqueFd;

void wait_for_hangup(int fd) {
  char buf[256];
  while (::read(fd, buf, sizeof buf) > 0) {
  }
}

namespace {

bool byte_request(int conn, char type, const Payload& p, int expected) {
  signed char reply = -1;
  return kelp::exchange_byte(conn, type, p, reply) && reply == expected;
}

}  // namespace

// A well-behaved client: |rounds| rounds of mixed requests on its own
// directory, then 'q'. Returns what went wrong, or "".
std::string good_client(const std::string& base, int rounds) {
  UniqueFd conn(kelp::connect_daemon(0, "root"));
  if (!conn) return "no connection";
  int c = conn.get();
  for (int r = 0; r < rounds; ++r) {
    std::string dir = base + "/r" + std::to_string(r), f = dir + "/f", g = dir + "/g";
    std::string text = "round " + std::to_string(r);
    if (!byte_request(c, kelp::kMsgMkdirs, Payload().str(dir).i32(0755), 1)) return "mkdirs " + dir;
    UniqueFd out(
        kelp::exchange_for_fd(c, kelp::kMsgCreate, Payload().str(f).i32(0644).i32(0).i32(0).i32(0))
            .fd);
    if (!out || ::write(out.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
      return "create and write " + f;
    }
    out.reset();
    if (!byte_request(c, kelp::kMsgExists, Payload().str(f), 1)) return "exists " + f;
    if (!byte_request(c, kelp::kMsgRename, Payload().str(f).str(g), 1)) return "rename " + f;
    char buf[kelp::kPathReplySize + 1] = {};
    UniqueFd in(kelp::helper_get_fd(c, g.c_str()));
    if (!in || ::read(in.get(), buf, sizeof buf - 1) <= 0 || text != buf) return "read " + g;
    in.reset();
    std::fill(buf, buf + sizeof buf, 0);
    if (!kelp::exchange(c, kelp::kMsgResolveSymlink, Payload().str(dir + "/./g"), buf,
                        kelp::kPathReplySize) ||
        g != buf) {
      return "resolve " + g;
    }
    if (!byte_request(c, kelp::kMsgChmod, Payload().str(g).i32(0600), 1)) return "chmod " + g;
    if (!byte_request(c, kelp::kMsgDelete, Payload().str(dir).i32(1), 1)) return "delete " + dir;
    if (!byte_request(c, kelp::kMsgExists, Payload().str(dir), 0)) return "still there: " + dir;
  }
  kelp::send_message(c, kelp::kMsgQuit, nullptr, 0);
  wait_for_hangup(c);
  return "";
}

UniqueFd raw_connect() {
  UniqueFd s(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::strncpy(addr.sun_path, kelp::kDaemonSocketPath, sizeof addr.sun_path - 1);
  if (::connect(s.get(), reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) return UniqueFd();
  return s;
}

std::string header(char type, uint32_t length) {
  char h[5] = {type};
  kelp::serialize_int(h + 1, static_cast<int>(length));
  return std::string(h, 5);
}

std::string bad_client(int kind, const std::string& base) {
  // What each kind sends, after the handshake from kind 2 on.
  const std::string sends[kBadKinds - 1] = {
      std::string("\x00\x00\x00\x00\x08garbage!", 13),         // garbage instead of a handshake
      "",                                                      // connects and leaves at once
      header(kelp::kMsgMkdirs, 64u << 20),                     // a frame far over the limit
      header(kelp::kMsgMkdirs, 8).substr(0, 3),                // half a header, then gone
      header(kelp::kMsgMkdirs, 100) + "/mnt/kelp",             // a payload cut short, then gone
      header('Z', 0),                                          // a type the protocol does not have
      header(kelp::kMsgMkdirs, 4) + std::string("/x\0\0", 4),  // a request missing its integer
  };
  UniqueFd s(kind < 2 ? raw_connect().release() : kelp::connect_daemon(0, "root"));
  if (!s) return "no connection";
  int fd = s.get();
  if (kind < kBadKinds - 1) {
    ssize_t ignored = ::write(fd, sends[kind].data(), sends[kind].size());
    (void)ignored;
    ::shutdown(fd, SHUT_WR);
    wait_for_hangup(fd);
    return "";
  }
  // Asks for a descriptor and does not stay for the answer: the daemon's
  // answer fails, it drops the connection and closes.
  ::shutdown(fd, SHUT_RD);
  std::string f = base + "/abandoned";
  Payload().str(f).i32(0644).i32(0).i32(1).i32(0).send(fd, kelp::kMsgCreate);
  struct pollfd p = {fd, POLLHUP, 0};
  while (::poll(&p, 1, -1) < 0) {
  }
  return kelptest::path_exists(f) ? "" : "the abandoned create did not run";
}

}  // namespace kelptest
