// The client's frame reader and descriptor receiver, fed by a scripted peer
// through a socket pair: whatever arrives, no read goes past its buffer, no
// descriptor is left open and a received one is close-on-exec.
#include <fcntl.h>

#include <vector>

#include "channel/connection.h"
#include "channel/framing.h"
#include "fuzz_support.h"

using namespace kelpfuzz;

namespace {

void check_received(int fd) {
  if (fd < 0) return;
  int flags = ::fcntl(fd, F_GETFD);
  if (flags < 0 || (flags & FD_CLOEXEC) == 0) fail("received descriptor not close-on-exec");
  ::close(fd);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  uint8_t mode = in.byte();
  size_t capacity = in.byte();
  DescriptorWindow window;
  {
    SocketPair pair;
    play_script(pair.theirs.get(), in);
    int s = pair.ours.get();
    switch (mode % 4) {
      case 0: {  // frames into a buffer of |capacity| bytes
        std::vector<char> out(capacity);
        char type = 0;
        for (int i = 0; i < 64; ++i) {
          int n = kelp::recv_message(s, &type, capacity ? out.data() : nullptr, capacity);
          if (n < 0) break;
          if (static_cast<size_t>(n) > capacity) fail("payload longer than the buffer");
        }
        break;
      }
      case 1:  // descriptors only
        for (int i = 0; i < 64; ++i) {
          int fd = kelp::recv_fd(s);
          if (fd < 0 && i > 8) break;
          check_received(fd);
        }
        break;
      case 2:  // an open through the daemon: a reply frame, then the descriptor
        check_received(kelp::helper_get_fd(s, "/mnt/kelp/f"));
        break;
      default: {  // a one-byte reply the way every yes/no request reads it
        char byte = 0;
        kelp::expect_message(s, static_cast<char>(capacity), &byte, 1);
        check_received(kelp::recv_fd(s));
        break;
      }
    }
  }
  window.check();
  return 0;
}
