// One control request as the simulated library's handlers see it, and the
// byte helpers they share. Every multi-byte field of a request is little-
// endian (host order) unless a handler says otherwise.
#ifndef KELP_SIM_SIM_REQUEST_H
#define KELP_SIM_SIM_REQUEST_H

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace kelpsim {

constexpr uint32_t kHeaderSize = 16;
constexpr uint32_t kHintHeaderSize = 8;

inline uint32_t load32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
inline void store32(uint8_t* p, uint32_t v) { std::memcpy(p, &v, sizeof v); }
inline int64_t load64(const uint8_t* p) {
  int64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
inline void store64(uint8_t* p, int64_t v) { std::memcpy(p, &v, sizeof v); }
inline uint32_t load32_big_endian(const uint8_t* p) {
  return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
}

// Sets errno and returns -1, the library's failure result.
inline int fail(int err) {
  errno = err;
  return -1;
}

struct Request {
  int fd;
  struct stat st;
  uint8_t* bytes;  // the caller's buffer, header included
  uint32_t total;
  uint32_t hint_length;
  uint32_t type;
  uint8_t* body() const { return bytes + kHeaderSize + kHintHeaderSize; }
};

// Block-map requests 3005 and 3006 (blockmap.cpp).
int get_block_map(const Request& r);

}  // namespace kelpsim

#endif  // KELP_SIM_SIM_REQUEST_H
