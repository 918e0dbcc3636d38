#include "stream/xattr.h"

#include <sys/xattr.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "jni/logging.h"

namespace kelp {

bool set_extended_attribute(const char* path, const char* name, const char* value) {
  if (::setxattr(path, name, value, std::strlen(value), 0) == 0) return true;
  debug_log("setxattr %s on %s failed: %s", name, path, std::strerror(errno));
  return false;
}

XattrValue get_extended_attribute(const char* path, const char* name) {
  XattrValue result;
  ssize_t size = ::getxattr(path, name, nullptr, 0);
  if (size < 0) return result;
  // Zero-filled: a value that shrank between the two calls still reads as
  // text ending inside the buffer.
  const size_t capacity = static_cast<size_t>(size) + 1;
  result.text.reset(new (std::nothrow) char[capacity]());
  if (!result.text) return result;
  if (::getxattr(path, name, result.text.get(), capacity) < 0) {
    debug_log("getxattr %s on %s failed: %s", name, path, std::strerror(errno));
    result.text.reset();
    result.status = XattrStatus::kReadFailed;
    return result;
  }
  // A value that grew by one byte fills the spare byte; it is cut at the
  // size first reported.
  result.text[static_cast<size_t>(size)] = '\0';
  result.status = XattrStatus::kFound;
  return result;
}

}  // namespace kelp
