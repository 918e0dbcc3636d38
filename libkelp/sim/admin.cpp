#include "admin.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "sim_state.h"

namespace kelpsim {
namespace {

struct Entry {
  const char* name;
  AdminCommand run;
};

const Entry kCommands[] = {
    {"kplsnsd", kplsnsd},   {"kplsdisk", kplsdisk},         {"kplscluster", kplscluster},
    {"kplspool", kplspool}, {"kplsfs", kplsfs},             {"ps", ps},
    {"df", df},             {"kpcrsnapshot", kpcrsnapshot}, {"kpdelsnapshot", kpdelsnapshot},
};

const Entry* find(const std::string& name) {
  for (const Entry& e : kCommands) {
    if (name == e.name) return &e;
  }
  return nullptr;
}

}  // namespace

bool is_admin_command(const std::string& name) { return find(name) != nullptr; }

int run_admin_command(const std::string& name, const std::vector<std::string>& args) {
  const Entry* e = find(name);
  if (e == nullptr) return 127;
  record_descriptors(name);
  std::vector<std::string> argv{name};
  argv.insert(argv.end(), args.begin(), args.end());
  record_invocation(argv);

  std::string dir = state_dir() + "/commands/";
  std::string forced;
  if (read_text_file(dir + name + ".out", forced)) {
    std::fwrite(forced.data(), 1, forced.size(), stdout);
    std::string status;
    return read_text_file(dir + name + ".status", status) ? std::atoi(status.c_str()) : 0;
  }
  std::shared_ptr<const Scenario> scenario = current_scenario();
  int status = e->run(*scenario, args);
  std::fflush(stdout);
  return status;
}

int exec_system_command(const std::string& name, const std::vector<std::string>& args) {
  std::fflush(stdout);
  for (const char* dir : {"/usr/bin/", "/bin/"}) {
    std::string path = std::string(dir) + name;
    if (::access(path.c_str(), X_OK) != 0) continue;
    std::vector<std::string> text{name};
    text.insert(text.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& a : text) argv.push_back(&a[0]);
    argv.push_back(nullptr);
    ::execv(path.c_str(), argv.data());
  }
  std::fprintf(stderr, "%s: not found\n", name.c_str());
  return 127;
}

}  // namespace kelpsim
