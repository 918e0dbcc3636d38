// A scripted stand-in for the helper daemon on "/var/run/kelp_conn_sock":
// it serves one connection at a time on its own thread, answers each
// request from a script and records every frame it receives.
#ifndef KELP_TESTS_SUPPORT_FAKE_DAEMON_H
#define KELP_TESTS_SUPPORT_FAKE_DAEMON_H

#include <sys/types.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace kelptest {

class FakeDaemon final {
 public:
  struct Answer {
    std::string payload;
    char type = 0;  // the type of the reply frame; 0 for the request's own
  };
  struct Frame {
    char type;
    std::string payload;
  };

  // |script|: the answer to each request type. A request of a type not in
  // the script is recorded, then the connection is closed.
  explicit FakeDaemon(std::map<char, Answer> script);
  ~FakeDaemon();
  FakeDaemon(const FakeDaemon&) = delete;
  FakeDaemon& operator=(const FakeDaemon&) = delete;

  // Blocks until |count| connections have ended (closed by the client or by
  // the script); returns every frame received so far.
  std::vector<Frame> wait_for_ended(int count);
  std::vector<Frame> frames();

 private:
  void serve();
  // Serves one connection; false when stopping.
  bool converse(int fd);

  std::map<char, Answer> script_;
  int listener_ = -1;
  ino_t inode_ = 0;  // of the socket file it made
  int stop_ = -1;    // eventfd: readable once the daemon is being destroyed
  std::mutex mu_;
  std::condition_variable changed_;
  std::vector<Frame> frames_;
  int ended_ = 0;
  std::thread thread_;
};

// A one-byte answer.
inline FakeDaemon::Answer byte_answer(int value, char type = 0) {
  return {std::string(1, static_cast<char>(value)), type};
}

// The 4-byte big-endian form of |v|, as requests carry integers.
std::string be32(int v);

}  // namespace kelptest

#endif  // KELP_TESTS_SUPPORT_FAKE_DAEMON_H
