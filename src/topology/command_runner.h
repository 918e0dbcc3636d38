// The one way the library runs another program: the administration command
// lines (through the shell, capturing what they print) and the mv fallback
// of rename (a plain argument vector, no shell).
//
// Children start with default signal handling and an empty signal mask,
// whatever the calling JVM thread had, and inherit none of the library's own
// descriptors (all of them are close-on-exec). Thread-safe.
#ifndef KELP_TOPOLOGY_COMMAND_RUNNER_H
#define KELP_TOPOLOGY_COMMAND_RUNNER_H

#include <string>
#include <vector>

namespace kelp {

// The result of running a program.
struct RunResult {
  bool started = false;   // the program could be started
  bool read_ok = true;    // its standard output (when captured) was read to the end
  int exit_status = -1;   // its exit status; -1 when it died of a signal or never ran
};

// Runs |argv| (argv[0] looked up on PATH) and waits for it. When |output| is
// given, everything the program writes to its standard output is appended to
// it; otherwise the program shares the caller's standard output.
RunResult run_program(const std::vector<std::string>& argv, std::string* output = nullptr);

// Runs |command| through /bin/sh and appends what it prints on standard
// output to |output| (which is not cleared first). 0 when the command was
// started and its output read to the end, 1 otherwise; the command's own
// exit status is ignored, so callers judge failure by the text.
int exec_command(const std::string& command, std::string& output);

// |word| as one shell word: unchanged when it holds only characters the
// shell takes literally, otherwise in single quotes (a quote inside written
// as '\''). The shell hands the quoted word to the command as exactly the
// original bytes, whatever they are (;, $(...), backticks, spaces, newlines).
std::string shell_quote(const std::string& word);

}  // namespace kelp

#endif  // KELP_TOPOLOGY_COMMAND_RUNNER_H
