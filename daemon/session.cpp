#include "session.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "channel/framing.h"
#include "channel/payload.h"
#include "log.h"
#include "policy.h"
#include "requests.h"

namespace kelpd {
namespace {

// The longest request of the protocol is five paths; anything far beyond is
// not a client of ours.
constexpr uint32_t kMaxRequestPayload = 64 * 1024;
// A peer that connects and never says who it is gives its thread back.
constexpr int kHandshakeTimeoutSeconds = 10;

enum class Read { kFrame, kClosed, kTruncated, kTooLong, kFailed };

// Reads exactly |n| bytes. kClosed when the peer closed before the first
// byte, kTruncated when it closed part way.
Read read_exact(int fd, char* buf, size_t n) {
  size_t got = 0;
  while (got < n) {
    ssize_t r = ::read(fd, buf + got, n - got);
    if (r > 0) {
      got += static_cast<size_t>(r);
    } else if (r == 0) {
      return got == 0 ? Read::kClosed : Read::kTruncated;
    } else if (errno != EINTR) {
      return Read::kFailed;
    }
  }
  return Read::kFrame;
}

// Reads one whole frame, however the peer's writes were split.
Read read_frame(int fd, char& type, std::vector<char>& payload) {
  char header[kelp::kFrameHeaderSize];
  Read r = read_exact(fd, header, sizeof header);
  if (r != Read::kFrame) return r;
  type = header[0];
  auto length = static_cast<uint32_t>(kelp::deserialize_int(header + 1));
  if (length > kMaxRequestPayload) return Read::kTooLong;
  payload.resize(length);
  r = read_exact(fd, payload.data(), length);
  return r == Read::kClosed && length > 0 ? Read::kTruncated : r;
}

void set_receive_timeout(int fd, int seconds) {
  struct timeval tv = {seconds, 0};
  ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
}

// Logs that the connection of |peer| is dropped, and why.
__attribute__((format(printf, 2, 3))) void log_dropped(const Peer& peer, const char* format, ...) {
  char why[256];
  va_list ap;
  va_start(ap, format);
  std::vsnprintf(why, sizeof why, format, ap);
  va_end(ap);
  log_line("client pid %d uid %u: %s, connection dropped", peer.pid, peer.uid, why);
}

// Logs why a connection is being dropped, for the reads that are not a
// normal end.
void log_read_failure(const Peer& peer, Read r) {
  switch (r) {
    case Read::kTruncated:
      log_dropped(peer, "truncated frame");
      break;
    case Read::kTooLong:
      log_dropped(peer, "frame over %u bytes", kMaxRequestPayload);
      break;
    case Read::kFailed:
      if (errno != ECONNRESET && errno != EPIPE) {
        log_dropped(peer, "read failed (errno %d)", errno);
      }
      break;
    default:
      break;
  }
}

bool send_byte(int fd, char type, int value) {
  char b = static_cast<char>(value);
  return kelp::send_message(fd, type, &b, 1);
}

// The handshake: true when the peer was accepted and told how to proceed.
bool handshake(const Peer& peer, const Options& options) {
  set_receive_timeout(peer.fd, kHandshakeTimeoutSeconds);
  char type = 0;
  std::vector<char> payload;
  Read r = read_frame(peer.fd, type, payload);
  if (r != Read::kFrame) {
    if (r == Read::kFailed && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      log_dropped(peer, "no handshake");
    } else {
      log_read_failure(peer, r);
    }
    return false;
  }
  std::string user;
  kelp::PayloadReader reader(payload.data(), payload.size());
  if (type != kelp::kMsgHandshake || !reader.str(user) || !reader.at_end()) {
    log_dropped(peer, "expected a handshake");
    return false;
  }
  if (options.allowed_uids.count(peer.uid) == 0) {
    log_line("refused peer pid %d uid %u gid %u (user \"%s\")", peer.pid, peer.uid, peer.gid,
             printable(user).c_str());
    send_byte(peer.fd, kelp::kMsgHandshake, 0);
    return false;
  }
  // Naming another user is acting for it.
  if (!Policy(options, peer).handshake_user(user)) {
    send_byte(peer.fd, kelp::kMsgHandshake, 0);
    return false;
  }
  if (!send_byte(peer.fd, kelp::kMsgHandshake, options.accepted_reply)) return false;
  // An accepted client may stay idle between requests as long as it likes.
  set_receive_timeout(peer.fd, 0);
  return true;
}

}  // namespace

void serve_client(const Peer& peer, const Options& options) {
  if (!handshake(peer, options)) return;
  const Policy policy(options, peer);
  char type = 0;
  std::vector<char> payload;
  for (;;) {
    Read r = read_frame(peer.fd, type, payload);
    if (r != Read::kFrame) {
      log_read_failure(peer, r);
      return;
    }
    if (type == kelp::kMsgQuit) return;
    Reply reply;
    switch (perform(type, payload, reply, &policy)) {
      case Outcome::kReply:
        break;
      case Outcome::kMalformed:
        log_dropped(peer, "malformed '%c' request", type);
        return;
      case Outcome::kUnknown:
        log_dropped(peer, "unknown request type 0x%02x", static_cast<unsigned char>(type));
        return;
    }
    if (!kelp::send_message(peer.fd, type, reply.payload.data(),
                            static_cast<int>(reply.payload.size()))) {
      return;
    }
    if (reply.fd && kelp::send_fd(peer.fd, reply.fd.get()) < 0) return;
    // reply.fd closes the daemon's copy here.
  }
}

}  // namespace kelpd
