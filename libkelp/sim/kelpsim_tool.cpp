// kelpsim: inspect and steer the simulated Kelp client library from a shell.
// Run under the name of an administration command (through a link such as
// /opt/kelp/bin/kplsnsd) it is that fake command instead (admin.h).
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "admin.h"
#include "scenario.h"
#include "sim_state.h"

namespace {

int usage() {
  std::fprintf(stderr,
               "usage: kelpsim get PATH KEY        print a file's simulated attribute\n"
               "       kelpsim config KEY VALUE    set a library-wide setting\n"
               "       kelpsim fail WHAT [ERRNO]   fail the next request WHAT (a type such as 2005,\n"
               "                                   or prealloc, statfspool) with ERRNO (default EIO)\n"
               "       kelpsim log                 print the recorded requests\n"
               "       kelpsim invocations         print the runs of the fake commands\n"
               "       kelpsim scenario FILE       make FILE the simulated cluster ('-': stdin)\n"
               "       kelpsim scenario            print the scenario in effect\n"
               "       kelpsim reset               forget all state but the scenario\n");
  return 2;
}

int scenario(int argc, char** argv) {
  std::string path = kelpsim::state_dir() + "/scenario";
  if (argc == 2) {
    std::string text;
    kelpsim::read_text_file(path, text);
    std::fwrite(text.data(), 1, text.size(), stdout);
    return 0;
  }
  std::string text;
  if (std::strcmp(argv[2], "-") == 0) {
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, stdin)) > 0) text.append(buf, n);
  } else if (!kelpsim::read_text_file(argv[2], text)) {
    std::fprintf(stderr, "kelpsim: cannot read %s\n", argv[2]);
    return 1;
  }
  std::string error;
  kelpsim::Scenario::parse(text, &error);
  if (!error.empty()) {
    std::fprintf(stderr, "kelpsim: %s: %s\n", argv[2], error.c_str());
    return 1;
  }
  return kelpsim::install_scenario(text) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const char* slash = std::strrchr(argv[0], '/');
  std::string name = slash != nullptr ? slash + 1 : argv[0];
  if (kelpsim::is_admin_command(name)) {
    return kelpsim::run_admin_command(name, std::vector<std::string>(argv + 1, argv + argc));
  }
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
  if (cmd == "invocations" && argc == 2) {
    for (const auto& argv_words : kelpsim::read_invocations()) {
      for (size_t i = 0; i < argv_words.size(); ++i) {
        std::printf("%s[%s]", i == 0 ? "" : " ", argv_words[i].c_str());
      }
      std::printf("\n");
    }
    return 0;
  }
  if (cmd == "scenario" && (argc == 2 || argc == 3)) return scenario(argc, argv);
  if (cmd == "reset" && argc == 2) {
    kelpsim::reset();
    return 0;
  }
  return usage();
}
