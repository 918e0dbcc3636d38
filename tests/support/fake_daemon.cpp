#include "support/fake_daemon.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "channel/connection.h"
#include "channel/framing.h"
#include "support/sandbox.h"

namespace kelptest {
namespace {

[[noreturn]] void die(const char* what) {
  std::perror(what);
  std::abort();
}

// Waits for |fd| or the stop event; false when stopping.
bool wait_readable(int fd, int stop) {
  struct pollfd fds[2] = {{fd, POLLIN, 0}, {stop, POLLIN, 0}};
  for (;;) {
    int r = ::poll(fds, 2, -1);
    if (r < 0 && errno == EINTR) continue;
    if (r < 0) die("poll");
    if (fds[1].revents != 0) return false;
    if (fds[0].revents != 0) return true;
  }
}

// Reads exactly |n| bytes; false at end of file, on error or when stopping.
bool read_exact(int fd, int stop, char* buf, size_t n) {
  size_t got = 0;
  while (got < n) {
    if (!wait_readable(fd, stop)) return false;
    ssize_t r = ::read(fd, buf + got, n - got);
    if (r <= 0) return false;
    got += static_cast<size_t>(r);
  }
  return true;
}

}  // namespace

std::string be32(int v) {
  char b[4];
  kelp::serialize_int(b, v);
  return std::string(b, 4);
}

FakeDaemon::FakeDaemon(std::map<char, Answer> script) : script_(std::move(script)) {
  require_sandbox();
  ::unlink(kelp::kDaemonSocketPath);
  listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener_ < 0) die("socket");
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::strncpy(addr.sun_path, kelp::kDaemonSocketPath, sizeof addr.sun_path - 1);
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) die("bind");
  if (::listen(listener_, 16) != 0) die("listen");
  struct stat st;
  if (::stat(kelp::kDaemonSocketPath, &st) != 0) die("stat");
  inode_ = st.st_ino;
  stop_ = ::eventfd(0, EFD_CLOEXEC);
  if (stop_ < 0) die("eventfd");
  thread_ = std::thread([this] { serve(); });
}

FakeDaemon::~FakeDaemon() {
  uint64_t one = 1;
  if (::write(stop_, &one, sizeof one) != sizeof one) die("eventfd write");
  thread_.join();
  ::close(stop_);
  ::close(listener_);
  // Only its own socket: another stand-in may listen there by now.
  struct stat st;
  if (::stat(kelp::kDaemonSocketPath, &st) == 0 && st.st_ino == inode_) {
    ::unlink(kelp::kDaemonSocketPath);
  }
}

void FakeDaemon::serve() {
  for (;;) {
    if (!wait_readable(listener_, stop_)) return;
    int fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) continue;
    bool go_on = converse(fd);
    ::close(fd);
    {
      std::lock_guard<std::mutex> lock(mu_);
      ++ended_;
    }
    changed_.notify_all();
    if (!go_on) return;
  }
}

bool FakeDaemon::converse(int fd) {
  for (;;) {
    char header[kelp::kFrameHeaderSize];
    if (!read_exact(fd, stop_, header, sizeof header)) return true;
    auto length = static_cast<uint32_t>(kelp::deserialize_int(header + 1));
    if (length > kelp::kMaxPayload) return true;
    std::string payload(length, '\0');
    if (length > 0 && !read_exact(fd, stop_, &payload[0], length)) return true;
    Frame frame{header[0], payload};
    {
      std::lock_guard<std::mutex> lock(mu_);
      frames_.push_back(frame);
    }
    changed_.notify_all();
    auto it = script_.find(frame.type);
    if (it == script_.end()) return true;
    const Answer& a = it->second;
    char type = a.type != 0 ? a.type : frame.type;
    if (!kelp::send_message(fd, type, a.payload.data(), static_cast<int>(a.payload.size()))) {
      return true;
    }
  }
}

std::vector<FakeDaemon::Frame> FakeDaemon::wait_for_ended(int count) {
  std::unique_lock<std::mutex> lock(mu_);
  changed_.wait(lock, [&] { return ended_ >= count; });
  return frames_;
}

std::vector<FakeDaemon::Frame> FakeDaemon::frames() {
  std::lock_guard<std::mutex> lock(mu_);
  return frames_;
}

}  // namespace kelptest
