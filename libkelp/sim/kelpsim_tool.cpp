// kelpsim: inspect and steer the simulated Kelp client library from a shell.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sim_state.h"

namespace {

int usage() {
  std::fprintf(stderr,
               "usage: kelpsim get PATH KEY        print a file's simulated attribute\n"
               "       kelpsim config KEY VALUE    set a library-wide setting\n"
               "       kelpsim fail WHAT [ERRNO]   fail the next request WHAT (a type such as 2005,\n"
               "                                   or prealloc, statfspool) with ERRNO (default EIO)\n"
               "       kelpsim log                 print the recorded requests\n"
               "       kelpsim reset               forget all state\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return usage();
  std::string cmd = argv[1];
  if (cmd == "get" && argc == 4) {
    std::string value;
    if (!kelpsim::get_path_attr(argv[2], argv[3], value)) return 1;
    std::printf("%s\n", value.c_str());
    return 0;
  }
  if (cmd == "config" && argc == 4) return kelpsim::set_config(argv[2], argv[3]) ? 0 : 1;
  if (cmd == "fail" && (argc == 3 || argc == 4)) {
    int err = argc == 4 ? std::atoi(argv[3]) : EIO;
    return kelpsim::inject_failure(argv[2], err) ? 0 : 1;
  }
  if (cmd == "log" && argc == 2) {
    for (const auto& r : kelpsim::read_log()) {
      std::printf("%s pid=%ld %s ", r.call.c_str(), r.pid, r.path.c_str());
      for (uint8_t b : r.bytes) std::printf("%02x", b);
      std::printf("\n");
    }
    return 0;
  }
  if (cmd == "reset" && argc == 2) {
    kelpsim::reset();
    return 0;
  }
  return usage();
}
