// The fake administration commands of the sandbox. The kelpsim tool is a
// multi-call binary: run under the name of a command (kplsnsd, kplspool,
// kpcrsnapshot, ps, df, ...) it behaves as that command, printing output
// shaped like a real cluster's from the scenario in effect.
//
// Every run is logged with its exact argument vector (sim_state.h,
// record_invocation) before anything else happens. A test can still force
// a command's output: $KELP_SIM_DIR/commands/<name>.out is printed instead
// of the scenario's rendering, and <name>.status gives the exit status.
#ifndef KELP_SIM_ADMIN_H
#define KELP_SIM_ADMIN_H

#include <string>
#include <vector>

#include "scenario.h"

namespace kelpsim {

// One command: |args| excludes the name; returns the exit status. Output goes
// to standard output and standard error as the real command's would.
using AdminCommand = int (*)(const Scenario& scenario, const std::vector<std::string>& args);

// The commands of each family (admin_topology.cpp, admin_details.cpp,
// admin_snapshot.cpp).
int kplsnsd(const Scenario& s, const std::vector<std::string>& args);
int kplsdisk(const Scenario& s, const std::vector<std::string>& args);
int kplscluster(const Scenario& s, const std::vector<std::string>& args);
int kplspool(const Scenario& s, const std::vector<std::string>& args);
int kplsfs(const Scenario& s, const std::vector<std::string>& args);
int ps(const Scenario& s, const std::vector<std::string>& args);
int df(const Scenario& s, const std::vector<std::string>& args);
int kpcrsnapshot(const Scenario& s, const std::vector<std::string>& args);
int kpdelsnapshot(const Scenario& s, const std::vector<std::string>& args);

// Whether |name| is one of the fake commands.
bool is_admin_command(const std::string& name);

// Runs fake command |name| with |args| (logging, forced output, then the
// command itself). Returns the exit status.
int run_admin_command(const std::string& name, const std::vector<std::string>& args);

// Replaces the process with the system's own |name| (looked up in /usr/bin
// and /bin, never in the sandbox's stand-ins), for the invocations of ps and
// df that are not the library's. Returns only on failure, with status 127.
int exec_system_command(const std::string& name, const std::vector<std::string>& args);

}  // namespace kelpsim

#endif  // KELP_SIM_ADMIN_H
