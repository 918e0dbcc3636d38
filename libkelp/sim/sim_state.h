// Shared state of the simulated Kelp client library.
//
// Everything lives in files under one state directory ($KELP_SIM_DIR, default
// "/run/kelp-sim") so that the Java process, the helper daemon, the tests and
// a person at a shell all see one truth:
//   files/<dev>:<ino>   per-file attributes, one "key=value" line each
//   config              global settings, "key=value" lines
//   requests.log        one line per request: call, pid, path, hex bytes
//   fail/<what>         a one-shot injected failure holding an errno
//   scenario            the simulated cluster in effect (scenario.h)
//   commands/invocations.log   one line per run of a fake administration command
// Every function is safe to call from several threads and processes at once.
#ifndef KELP_SIM_SIM_STATE_H
#define KELP_SIM_SIM_STATE_H

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kelpsim {

std::string state_dir();

// A counter shared by every process of the sandbox, raised by every change
// made through these functions (attributes, settings, failures, the
// scenario). Readers that cache what they read from the state files stamp
// it with the generation they saw first, and need no system call to know it
// is still current: a simulated request then costs about what a real one
// does, one call into the kernel. When the counter cannot be shared, every
// reading is a new generation.
uint64_t state_generation();
void bump_generation();

// Whole-file helpers for the state files.
bool read_text_file(const std::string& path, std::string& out);
bool write_text_file_atomically(const std::string& path, const std::string& text);

// Per-file attributes. Missing files or keys read as false.
bool get_attr(const struct stat& st, const std::string& key, std::string& value);
bool set_attr(const struct stat& st, const std::string& key, const std::string& value);
bool get_path_attr(const char* path, const std::string& key, std::string& value);

// Global settings (for instance which request types the library supports).
bool get_config(const std::string& key, std::string& value);
long get_config_long(const std::string& key, long fallback);
bool set_config(const std::string& key, const std::string& value);

// The request log.
struct Record {
  std::string call;  // "fcntl", "prealloc", "statfspool"
  long pid = 0;
  std::string path;  // the file the request named (resolved from its descriptor)
  std::vector<uint8_t> bytes;
};
// False when the environment variable KELP_SIM_LOG is "0" or "off" (read
// once per process): benchmarks then time the library, not the log.
bool logging_enabled();
void record(const std::string& call, const std::string& path, const void* bytes, size_t length);
std::vector<Record> read_log();
void clear_log();

// Failure injection: the next request matching |what| (a request type such as
// "2005", or "prealloc", "statfspool") fails with |err|, once.
bool inject_failure(const std::string& what, int err);
// Returns the injected errno and consumes it, or 0 when none is pending.
int take_failure(const std::string& what);

// Runs of the fake administration commands: each is its exact argument
// vector, the command's name first.
void record_invocation(const std::vector<std::string>& argv);
std::vector<std::vector<std::string>> read_invocations();
void clear_invocations();
// The descriptors a fake command was started with, noted per run; the last
// run of |name|'s, in ascending order. Cleared with the invocations.
void record_descriptors(const std::string& name);
std::vector<int> read_descriptors(const std::string& name);

// Clears every attribute, the logs, the settings and pending failures (the
// scenario stays).
void reset();

// The path an open descriptor refers to, for the log ("" when unknown).
std::string fd_path(int fd);

}  // namespace kelpsim

#endif  // KELP_SIM_SIM_STATE_H
