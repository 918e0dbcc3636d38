// Building and reading daemon payloads: NUL-terminated strings and 4-byte
// big-endian integers, back to back.
#ifndef KELP_CHANNEL_PAYLOAD_H
#define KELP_CHANNEL_PAYLOAD_H

#include <cstddef>
#include <string>
#include <vector>

namespace kelp {

// Builds one request payload. An allocation failure is remembered instead of
// thrown: the payload then refuses to be sent, so nothing half-built travels.
class Payload final {
 public:
  Payload& str(const char* s);
  Payload& str(const std::string& s) { return str(s.c_str()); }
  Payload& i32(int value);

  const char* data() const { return bytes_.data(); }
  int size() const { return static_cast<int>(bytes_.size()); }

  // False once an item could not be added.
  bool ok() const { return !failed_; }
  // Sends the payload as one frame of |type|; false when it could not be
  // built or the write failed.
  bool send(int fd, char type) const;

 private:
  std::vector<char> bytes_;
  bool failed_ = false;
};

// Reads a received payload item by item; every read fails once the payload
// is exhausted or malformed (a string without its NUL).
class PayloadReader final {
 public:
  PayloadReader(const char* data, size_t size) : p_(data), end_(data + size) {}
  bool str(std::string& out);
  bool i32(int& out);
  bool at_end() const { return p_ == end_; }

 private:
  const char* p_;
  const char* end_;
};

}  // namespace kelp

#endif  // KELP_CHANNEL_PAYLOAD_H
