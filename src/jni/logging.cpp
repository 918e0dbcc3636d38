#include "jni/logging.h"

#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
__attribute__((visibility("default"))) bool _isDebugEnabled = false;
}

namespace kelp {
namespace {

// Runs first among the library's initialisers: only the switch is set here.
struct LoggingInit {
  LoggingInit() {
    const char* v = std::getenv("KELPHADOOP_DEBUG");
    _isDebugEnabled = v != nullptr && *v != '\0' && std::strcmp(v, "0") != 0;
  }
};
LoggingInit logging_init __attribute__((init_priority(1000)));

}  // namespace

void debug_log(const char* format, ...) {
  if (!_isDebugEnabled) return;
  int saved = errno;
  char line[2048];
  int head = std::snprintf(line, sizeof line, "kelphadoopmap[%d]: ", static_cast<int>(::getpid()));
  va_list ap;
  va_start(ap, format);
  int body = std::vsnprintf(line + head, sizeof line - static_cast<size_t>(head), format, ap);
  va_end(ap);
  size_t len = static_cast<size_t>(head) + (body < 0 ? 0 : static_cast<size_t>(body));
  if (len > sizeof line - 2) len = sizeof line - 2;
  if (len == 0 || line[len - 1] != '\n') line[len++] = '\n';
  // One write per message so lines of concurrent threads do not interleave.
  ssize_t ignored = ::write(STDERR_FILENO, line, len);
  (void)ignored;
  errno = saved;
}

}  // namespace kelp
