#include "support/fake_daemon.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "channel/connection.h"
#include "channel/framing.h"
#include "support/sandbox.h"

namespace kelptest {

FakeDaemon::FakeDaemon(std::map<char, Answer> script) : script_(std::move(script)) {
  require_sandbox();
  ::unlink(kelp::kDaemonSocketPath);
  listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::strncpy(addr.sun_path, kelp::kDaemonSocketPath, sizeof addr.sun_path - 1);
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
      ::listen(listener_, 16) != 0) {
    std::perror("fake daemon");
    std::abort();
  }
  thread_ = std::thread([this] { serve(); });
}

std::vector<std::string> FakeDaemon::frames() {
  std::lock_guard<std::mutex> lock(mu_);
  return frames_;
}

std::vector<std::string> FakeDaemon::stop() {
  if (thread_.joinable()) {
    {
      std::lock_guard<std::mutex> lock(mu_);
      stopping_ = true;
      // Data the client sent before stays readable.
      if (conn_ >= 0) ::shutdown(conn_, SHUT_RDWR);
    }
    // A listener that is shut down fails the accept waiting on it.
    ::shutdown(listener_, SHUT_RDWR);
    thread_.join();
    ::close(listener_);
    ::unlink(kelp::kDaemonSocketPath);
  }
  return frames_;
}

void FakeDaemon::serve() {
  for (;;) {
    int fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    {
      std::lock_guard<std::mutex> lock(mu_);
      if (stopping_ && fd >= 0) ::close(fd);
      if (stopping_) return;
      conn_ = fd;
    }
    if (fd < 0) continue;
    char type, buf[4096];
    for (int n; (n = kelp::recv_message(fd, &type, buf, sizeof buf)) >= 0;) {
      {
        std::lock_guard<std::mutex> lock(mu_);
        frames_.push_back(type + std::string(buf, static_cast<size_t>(n)));
      }
      auto it = script_.find(type);
      if (it == script_.end()) break;
      const Answer& a = it->second;
      if (!kelp::send_message(fd, a.type != 0 ? a.type : type, a.payload.data(),
                              static_cast<int>(a.payload.size()))) {
        break;
      }
    }
    std::lock_guard<std::mutex> lock(mu_);
    ::close(fd);
    conn_ = -1;
  }
}

}  // namespace kelptest
