#include "channel/payload.h"

#include <cstring>

#include "channel/framing.h"

namespace kelp {

Payload& Payload::str(const char* s) {
  if (failed_) return *this;
  try {
    bytes_.insert(bytes_.end(), s, s + std::strlen(s) + 1);
  } catch (const std::bad_alloc&) {
    failed_ = true;
  }
  return *this;
}

Payload& Payload::i32(int value) {
  if (failed_) return *this;
  char b[4];
  serialize_int(b, value);
  try {
    bytes_.insert(bytes_.end(), b, b + 4);
  } catch (const std::bad_alloc&) {
    failed_ = true;
  }
  return *this;
}

bool Payload::send(int fd, char type) const {
  if (failed_) return false;
  return send_message(fd, type, bytes_.data(), size());
}

bool PayloadReader::str(std::string& out) {
  // An empty payload may have no storage at all: memchr must not see null.
  if (p_ == end_) return false;
  const void* nul = std::memchr(p_, '\0', static_cast<size_t>(end_ - p_));
  if (nul == nullptr) return false;
  auto* stop = static_cast<const char*>(nul);
  out.assign(p_, stop);
  p_ = stop + 1;
  return true;
}

bool PayloadReader::i32(int& out) {
  if (end_ - p_ < 4) return false;
  out = deserialize_int(p_);
  p_ += 4;
  return true;
}

}  // namespace kelp
