// Clients of the reference helper daemon for the load and fault tests:
// well-behaved ones that check every answer, and the ways a client can
// misbehave.
#ifndef KELP_TESTS_SUPPORT_DAEMON_CLIENTS_H
#define KELP_TESTS_SUPPORT_DAEMON_CLIENTS_H

#include <cstdint>
#include <string>

#include "channel/payload.h"
#include "jni/fd.h"

namespace kelptest {

// Waits until the daemon has closed its end: reads to end of file.
void wait_for_hangup(int fd);

// A connection to the daemon socket that has not said hello.
kelp::UniqueFd raw_connect();

// A frame header announcing |length| bytes of type |type|.
std::string header(char type, uint32_t length);

// A well-behaved client acting as root: |rounds| rounds of mixed requests
// (mkdirs, create and write, exists, rename, open and read, resolve, chmod,
// delete) in |base|, each answer checked, then 'q'. What went wrong, or "".
std::string good_client(const std::string& base, int rounds);

// The ways a client can misbehave: garbage instead of a handshake, leaving
// at once, an oversized frame, half a header, a payload cut short, an
// unknown type, a request missing an item, a create whose answer nobody
// reads. Each ends once the daemon has dropped it; what went wrong, or "".
constexpr int kBadKinds = 8;
std::string bad_client(int kind, const std::string& base);

}  // namespace kelptest

#endif  // KELP_TESTS_SUPPORT_DAEMON_CLIENTS_H
