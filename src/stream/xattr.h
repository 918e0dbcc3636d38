// One named extended attribute of a path, read and written with the rights
// of this process (never through the helper daemon).
#ifndef KELP_STREAM_XATTR_H
#define KELP_STREAM_XATTR_H

#include <memory>

namespace kelp {

// Stores the bytes of |value| up to its NUL as attribute |name| of |path|,
// creating or replacing it. True on success.
bool set_extended_attribute(const char* path, const char* name, const char* value);

enum class XattrStatus {
  kFound,
  kAbsent,      // no such attribute, no support or no access: not an error for the caller
  kReadFailed,  // the size was known but the value could not be read
};

struct XattrValue {
  XattrStatus status = XattrStatus::kAbsent;
  // With kFound: the value, NUL-terminated; it reads as text up to its first
  // NUL even when the stored bytes go on.
  std::unique_ptr<char[]> text;
};

// Reads attribute |name| of |path|: asks for its size, then reads it into a
// buffer one byte larger.
XattrValue get_extended_attribute(const char* path, const char* name);

}  // namespace kelp

#endif  // KELP_STREAM_XATTR_H
