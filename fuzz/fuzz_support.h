// Shared pieces of the fuzz targets: a socket pair whose far end replays a
// script taken from the input, and a check that a run left no descriptor
// open behind it.
#ifndef KELP_FUZZ_FUZZ_SUPPORT_H
#define KELP_FUZZ_FUZZ_SUPPORT_H

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "jni/fd.h"
#include "support/descriptor_message.h"

namespace kelpfuzz {

// Reads the input front to back; reads past the end give zeros.
class Input final {
 public:
  Input(const uint8_t* data, size_t size) : p_(data), end_(data + size) {}
  bool empty() const { return p_ == end_; }
  size_t left() const { return static_cast<size_t>(end_ - p_); }
  uint8_t byte() { return p_ < end_ ? *p_++ : 0; }
  uint32_t u32() {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v = (v << 8) | byte();
    return v;
  }
  int64_t i64() {
    uint64_t v = (uint64_t{u32()} << 32) | u32();
    return static_cast<int64_t>(v);
  }
  // Up to |n| bytes (fewer at the end of the input).
  std::string bytes(size_t n) {
    n = n < left() ? n : left();
    std::string s(reinterpret_cast<const char*>(p_), n);
    p_ += n;
    return s;
  }
  std::string rest() { return bytes(left()); }

 private:
  const uint8_t* p_;
  const uint8_t* end_;
};

// Fails the run (a crash the fuzzer records) with a reason.
[[noreturn]] inline void fail(const char* why) {
  std::fprintf(stderr, "fuzz check failed: %s\n", why);
  std::abort();
}

// Notes which of the 16 descriptor numbers from the lowest free one are
// open when made; check() fails the run when one more is open than then.
// Every descriptor a run makes is the lowest free one, so a leaked one
// lands in that window.
class DescriptorWindow final {
 public:
  DescriptorWindow() {
    base_ = ::fcntl(0, F_DUPFD_CLOEXEC, 0);
    if (base_ < 0) fail("no descriptor left");
    ::close(base_);
    open_ = scan();
  }
  void check() const {
    uint64_t now = scan();
    if ((now & ~open_) == 0) return;
    int fd = base_ + __builtin_ctzll(now & ~open_);
    char link[64], target[256] = {};
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    if (::readlink(link, target, sizeof target - 1) < 0) target[0] = '?';
    std::fprintf(stderr, "descriptor %d (%s) left open\n", fd, target);
    fail("a descriptor was left open");
  }

 private:
  uint64_t scan() const {
    uint64_t bits = 0;
    for (int i = 0; i < kWindow; ++i) {
      if (::fcntl(base_ + i, F_GETFD) != -1) bits |= uint64_t{1} << i;
    }
    return bits;
  }
  // A run holds a handful at once; every system call counts on each run.
  static constexpr int kWindow = 16;
  int base_ = -1;
  uint64_t open_ = 0;
};

// A connected stream socket pair: ours() is the library's side, theirs() the
// scripted peer's.
struct SocketPair {
  SocketPair() {
    int fds[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) fail("socketpair");
    ours.reset(fds[0]);
    theirs.reset(fds[1]);
  }
  kelp::UniqueFd ours;
  kelp::UniqueFd theirs;
};

// Sends |data| with |count| descriptors (copies of /dev/null) attached as
// one SCM_RIGHTS message; without descriptors, a plain write.
inline void send_with_fds(int socket, const std::string& data, int count) {
  if (data.empty()) return;  // a zero-byte stream message carries nothing
  // Never blocks: a script larger than the socket buffer is cut there.
  kelptest::send_with_null_descriptors(socket, data.data(), data.size(), count,
                                       MSG_NOSIGNAL | MSG_DONTWAIT);
}

// Replays a peer's script from |in| onto |socket| and then shuts its
// writing side, so every read on the other end ends instead of waiting.
// Each step: a control byte c, a length byte n, then n bytes sent with
// c % 4 descriptors attached (more than one is more than any reply
// carries); at most 64 steps.
inline void play_script(int socket, Input& in) {
  for (int step = 0; step < 64 && !in.empty(); ++step) {
    uint8_t c = in.byte();
    std::string data = in.bytes(in.byte());
    send_with_fds(socket, data, c % 4);
  }
  ::shutdown(socket, SHUT_WR);
}

}  // namespace kelpfuzz

#endif  // KELP_FUZZ_FUZZ_SUPPORT_H
