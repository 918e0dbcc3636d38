// The script of answers the stand-in operations give (daemon_ops_stub.cpp).
#ifndef KELP_FUZZ_DAEMON_OPS_STUB_H
#define KELP_FUZZ_DAEMON_OPS_STUB_H

#include <cstddef>
#include <cstdint>

namespace kelpfuzz {
// The operations answer these bytes in turn (as signed values), round and
// round; with none they answer 0. The bytes must outlive the run.
void set_answers(const uint8_t* answers, size_t count);
}  // namespace kelpfuzz

#endif  // KELP_FUZZ_DAEMON_OPS_STUB_H
