#include "server.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <list>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

#include "channel/connection.h"
#include "jni/fd.h"
#include "log.h"
#include "session.h"

namespace kelpd {
namespace {

using kelp::UniqueFd;

// Out of descriptors with no connection to give one back: try again after
// this long.
constexpr int kRetryAcceptMs = 1000;

sockaddr_un socket_address() {
  sockaddr_un addr;
  std::memset(&addr, 0, sizeof addr);
  addr.sun_family = AF_UNIX;
  std::strncpy(addr.sun_path, kelp::kDaemonSocketPath, sizeof addr.sun_path - 1);
  return addr;
}

// Clears the way for a new socket: a stale socket file goes; a live daemon
// or anything that is not a socket stops the start.
bool clear_socket_path() {
  const char* path = kelp::kDaemonSocketPath;
  struct stat st;
  if (::lstat(path, &st) != 0) return errno == ENOENT;
  if (!S_ISSOCK(st.st_mode)) {
    log_line("%s exists and is not a socket; not touching it", path);
    return false;
  }
  UniqueFd probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un addr = socket_address();
  if (probe && ::connect(probe.get(), reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0) {
    log_line("another daemon is listening on %s", path);
    return false;
  }
  if (::unlink(path) != 0 && errno != ENOENT) {
    log_line("cannot remove the stale socket %s: %s", path, std::strerror(errno));
    return false;
  }
  return true;
}

// Binds and listens; every client user may connect (mode 0666), the allow
// list decides in the handshake.
UniqueFd open_listener(ino_t& inode) {
  UniqueFd s(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!s) {
    log_line("socket: %s", std::strerror(errno));
    return UniqueFd();
  }
  sockaddr_un addr = socket_address();
  struct stat st;
  if (::bind(s.get(), reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
      ::chmod(kelp::kDaemonSocketPath, 0666) != 0 || ::listen(s.get(), SOMAXCONN) != 0 ||
      ::lstat(kelp::kDaemonSocketPath, &st) != 0) {
    log_line("cannot listen on %s: %s", kelp::kDaemonSocketPath, std::strerror(errno));
    return UniqueFd();
  }
  inode = st.st_ino;
  return s;
}

// Removes the socket file if it is still the one this daemon made.
void remove_socket_file(ino_t inode) {
  struct stat st;
  if (::lstat(kelp::kDaemonSocketPath, &st) == 0 && S_ISSOCK(st.st_mode) && st.st_ino == inode) {
    ::unlink(kelp::kDaemonSocketPath);
  }
}

// The live connections. A session's thread closes its own socket when it
// ends, under the lock, so shutdown never touches a reused descriptor.
class Sessions final {
 public:
  explicit Sessions(const Options& options) : options_(options) {}
  ~Sessions() { stop_all(); }

  bool start() {
    wake_.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return static_cast<bool>(wake_);
  }
  // Readable when a session has ended and can be reaped.
  int wake_fd() const { return wake_.get(); }

  // Takes |peer| (its socket) and serves it on a new thread.
  void add(const Peer& peer) {
    std::lock_guard<std::mutex> lock(mu_);
    if (live_ >= options_.max_clients) {
      log_line("client pid %d uid %u: %d connections already, connection closed", peer.pid,
               peer.uid, live_);
      ::close(peer.fd);
      return;
    }
    // Logged before the session thread exists, so the line is written before
    // the client can see its handshake answered.
    if (options_.log_connections) {
      log_line("client pid %d uid %u: connected", peer.pid, peer.uid);
    }
    auto session = std::make_unique<Session>();
    session->peer = peer;
    Session* s = session.get();
    try {
      s->thread = std::thread([this, s] { run(s); });
    } catch (const std::system_error& e) {
      log_line("client pid %d uid %u: no thread (%s), connection closed", peer.pid, peer.uid,
               e.what());
      ::close(peer.fd);
      return;
    }
    ++live_;
    sessions_.push_back(std::move(session));
  }

  // Joins the threads of ended sessions.
  void reap() {
    uint64_t ignored;
    while (::read(wake_.get(), &ignored, sizeof ignored) > 0) {
    }
    std::list<std::unique_ptr<Session>> ended;
    {
      std::lock_guard<std::mutex> lock(mu_);
      for (auto it = sessions_.begin(); it != sessions_.end();) {
        if ((*it)->done) {
          ended.push_back(std::move(*it));
          it = sessions_.erase(it);
        } else {
          ++it;
        }
      }
    }
    for (auto& s : ended) s->thread.join();
  }

  // Wakes every session out of its read, then waits for all of them.
  void stop_all() {
    {
      std::lock_guard<std::mutex> lock(mu_);
      for (auto& s : sessions_) {
        if (s->peer.fd >= 0) ::shutdown(s->peer.fd, SHUT_RDWR);
      }
    }
    for (auto& s : sessions_) {
      if (s->thread.joinable()) s->thread.join();
    }
    sessions_.clear();
  }

 private:
  struct Session {
    Peer peer;
    std::thread thread;
    bool done = false;
  };

  void run(Session* s) {
    serve_client(s->peer, options_);
    if (options_.log_connections) {
      log_line("client pid %d uid %u: connection ended", s->peer.pid, s->peer.uid);
    }
    std::lock_guard<std::mutex> lock(mu_);
    ::close(s->peer.fd);
    s->peer.fd = -1;
    s->done = true;
    --live_;
    uint64_t one = 1;
    ssize_t ignored = ::write(wake_.get(), &one, sizeof one);
    (void)ignored;
  }

  const Options& options_;
  std::mutex mu_;
  std::list<std::unique_ptr<Session>> sessions_;
  int live_ = 0;
  UniqueFd wake_;
};

enum class Accepted { kOk, kNoDescriptors, kFatal };

Accepted accept_one(int listener, Sessions& sessions) {
  int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  if (fd < 0) {
    switch (errno) {
      case EAGAIN:
      case EINTR:
      case ECONNABORTED:
        return Accepted::kOk;  // the client left before it was accepted
      case EMFILE:
      case ENFILE:
      case ENOBUFS:
      case ENOMEM:
        log_line("accept: %s; waiting for a connection to end", std::strerror(errno));
        return Accepted::kNoDescriptors;
      default:
        log_line("accept: %s", std::strerror(errno));
        return Accepted::kFatal;
    }
  }
  Peer peer;
  peer.fd = fd;
  struct ucred cred;
  socklen_t len = sizeof cred;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0) {
    log_line("SO_PEERCRED: %s; connection closed", std::strerror(errno));
    ::close(fd);
    return Accepted::kOk;
  }
  peer.pid = cred.pid;
  peer.uid = cred.uid;
  peer.gid = cred.gid;
  sessions.add(peer);
  return Accepted::kOk;
}

void signal_ready(int fd) {
  if (fd < 0) return;
  char byte = 'R';
  ssize_t ignored = ::write(fd, &byte, 1);
  (void)ignored;
  ::close(fd);
}

}  // namespace

int run_server(const Options& options) {
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGTERM);
  sigaddset(&stop_signals, SIGINT);
  UniqueFd signals(::signalfd(-1, &stop_signals, SFD_CLOEXEC));
  if (!signals) {
    log_line("signalfd: %s", std::strerror(errno));
    return 1;
  }
  if (!clear_socket_path()) return 1;
  ino_t inode = 0;
  UniqueFd listener = open_listener(inode);
  if (!listener) return 1;
  Sessions sessions(options);
  if (!sessions.start()) {
    log_line("eventfd: %s", std::strerror(errno));
    remove_socket_file(inode);
    return 1;
  }
  signal_ready(options.ready_fd);

  int status = 0;
  // While the process is out of descriptors the listener stays readable;
  // it is left alone until a connection ends and gives one back.
  bool accepting = true;
  for (;;) {
    struct pollfd fds[3] = {
        {signals.get(), POLLIN, 0}, {sessions.wake_fd(), POLLIN, 0}, {listener.get(), POLLIN, 0}};
    int ready = ::poll(fds, accepting ? 3 : 2, accepting ? -1 : kRetryAcceptMs);
    if (ready < 0) {
      if (errno == EINTR) continue;
      log_line("poll: %s", std::strerror(errno));
      status = 1;
      break;
    }
    if (fds[0].revents & POLLIN) break;
    // A connection that ended gave a descriptor back; so may the wait.
    if (ready == 0) accepting = true;
    if (fds[1].revents & POLLIN) {
      sessions.reap();
      accepting = true;
    }
    if (accepting && (fds[2].revents & POLLIN)) {
      Accepted a = accept_one(listener.get(), sessions);
      if (a == Accepted::kFatal) {
        status = 1;
        break;
      }
      accepting = a == Accepted::kOk;
    }
  }
  // No new clients from here on; the ones connected are woken and joined.
  listener.reset();
  remove_socket_file(inode);
  sessions.stop_all();
  return status;
}

}  // namespace kelpd
