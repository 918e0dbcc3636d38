// kplspool and kplsfs, and the ps and df stand-ins: the file systems, their
// pools and attributes, and whether the file-system daemon runs.
#include "admin.h"

namespace kelpsim {

int kplspool(const Scenario&, const std::vector<std::string>&) { return 0; }
int kplsfs(const Scenario&, const std::vector<std::string>&) { return 0; }
int ps(const Scenario&, const std::vector<std::string>& args) { return exec_system_command("ps", args); }
int df(const Scenario&, const std::vector<std::string>& args) { return exec_system_command("df", args); }

}  // namespace kelpsim
