#include "log.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>

namespace kelpd {

void log_line(const char* format, ...) {
  char line[512];
  int head = std::snprintf(line, sizeof line, "kelp-helperd: ");
  va_list ap;
  va_start(ap, format);
  int body = std::vsnprintf(line + head, sizeof line - static_cast<size_t>(head) - 1, format, ap);
  va_end(ap);
  size_t len = static_cast<size_t>(head) + (body < 0 ? 0 : static_cast<size_t>(body));
  if (len > sizeof line - 2) len = sizeof line - 2;
  line[len++] = '\n';
  ssize_t ignored = ::write(STDERR_FILENO, line, len);
  (void)ignored;
}

std::string printable(const std::string& text) {
  constexpr size_t kMax = 64;
  std::string out;
  for (size_t i = 0; i < text.size() && i < kMax; ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    out.push_back(c >= 0x20 && c < 0x7f ? static_cast<char>(c) : '?');
  }
  if (text.size() > kMax) out += "...";
  return out;
}

}  // namespace kelpd
