// A scripted stand-in for the helper daemon on "/var/run/kelp_conn_sock":
// it serves one connection at a time on its own thread, answers each
// request from a script and records every frame it receives.
#ifndef KELP_TESTS_SUPPORT_FAKE_DAEMON_H
#define KELP_TESTS_SUPPORT_FAKE_DAEMON_H

#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "channel/framing.h"

namespace kelptest {

class FakeDaemon final {
 public:
  struct Answer {
    std::string payload;
    char type = 0;  // the type of the reply frame; 0 for the request's own
  };

  // |script|: the answer to each request type. Every request is recorded as
  // its type byte followed by its payload; one of a type not in the script
  // is recorded, then the connection is closed.
  explicit FakeDaemon(std::map<char, Answer> script);
  ~FakeDaemon() { stop(); }

  // The requests received so far.
  std::vector<std::string> frames();
  // Ends the connection being served, once it has read what the client sent
  // before, and stops; returns every request received.
  std::vector<std::string> stop();

 private:
  void serve();

  std::map<char, Answer> script_;
  int listener_ = -1;
  std::mutex mu_;  // guards what follows
  int conn_ = -1;  // the connection being served
  bool stopping_ = false;
  std::vector<std::string> frames_;
  std::thread thread_;
};

// A one-byte answer.
inline FakeDaemon::Answer byte_answer(int value, char type = 0) {
  return {std::string(1, static_cast<char>(value)), type};
}

// The 4-byte big-endian form of |v|, as requests carry integers.
inline std::string be32(int v) {
  char b[4];
  kelp::serialize_int(b, v);
  return std::string(b, 4);
}

}  // namespace kelptest

#endif  // KELP_TESTS_SUPPORT_FAKE_DAEMON_H
