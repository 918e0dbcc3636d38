// The daemon's log: one line per event on standard error.
#ifndef KELP_DAEMON_LOG_H
#define KELP_DAEMON_LOG_H

#include <string>

namespace kelpd {

// Writes "kelp-helperd: <message>\n" in one write, so lines of concurrent
// sessions never interleave.
void log_line(const char* format, ...) __attribute__((format(printf, 1, 2)));

// |text| made safe for a log line: at most 64 characters, anything not
// printable shown as '?'. Client-supplied names go through this.
std::string printable(const std::string& text);

}  // namespace kelpd

#endif  // KELP_DAEMON_LOG_H
