// kplspool and kplsfs, and the ps and df stand-ins: the file systems, their
// pools and attributes, and whether the file-system daemon runs.
#include <cstdio>
#include <string>
#include <vector>

#include "admin.h"
#include "pool_model.h"

namespace kelpsim {
namespace {

// The pid ps reports for a running kelpd unless the scenario names one.
constexpr const char* kDefaultKelpdPid = "2417";
// Every pool holds 10 GiB, a tenth of it used (as kelp_statfspool says).
constexpr long long kPoolKb = 10LL * 1024 * 1024;

bool find_device(const Scenario& s, const char* command, const std::string& device,
                 ScenarioFileSystem& fs) {
  if (find_filesystem_by_device(s, device, fs)) return true;
  std::fprintf(stderr, "%s: File system %s is not known to the cluster.\n", command,
               device.c_str());
  return false;
}

void print_pool_long(const ScenarioPool& p) {
  auto line = [](const char* key, const std::string& value) {
    std::printf("%-26s = %s\n", key, value.c_str());
  };
  std::string affinity = p.write_affinity ? "yes" : "no";
  line("poolName", p.name);
  line("poolID", std::to_string(p.id));
  line("blockSize", std::to_string(p.block_size));
  line("usage", p.use ? "dataOnly" : "metadataOnly");
  line("maxDiskSize", "10 GB");
  line("layoutMap", "cluster");
  if (p.listing != "affinity-last") line("allowWriteAffinity", affinity);
  line("writeAffinityDepth", "0");
  if (p.listing != "no-bgf") line("blockGroupFactor", std::to_string(p.block_group_factor));
  if (p.listing == "affinity-last") line("allowWriteAffinity", affinity);
  std::printf("\n");
}

}  // namespace

// kplspool DEVICE {all | POOL} [-L]
int kplspool(const Scenario& s, const std::vector<std::string>& args) {
  bool listing = args.size() == 3 && args[2] == "-L";
  if (args.size() != 2 && !listing) {
    std::fprintf(stderr, "Usage: kplspool Device {all | PoolName} [-L]\n");
    return 1;
  }
  ScenarioFileSystem fs;
  if (!find_device(s, "kplspool", args[0], fs)) return 1;
  bool any = false;
  if (listing) {
    std::printf("Storage pools in file system at '%s':\n\n", fs.mount.c_str());
  } else {
    std::printf("%-24s %10s %12s\n", "Name", "Id", "BlkSize");
  }
  for (const ScenarioPool& p : pools_of(s, fs.device)) {
    if (args[1] != "all" && args[1] != p.name) continue;
    any = true;
    if (listing) {
      print_pool_long(p);
    } else {
      std::printf("%-24s %10u %12lld\n", p.name.c_str(), p.id, static_cast<long long>(p.block_size));
    }
  }
  if (!any && args[1] != "all") {
    std::fprintf(stderr, "kplspool: Storage pool %s not found.\n", args[1].c_str());
    return 1;
  }
  return 0;
}

// kplsfs DEVICE [-V] [-r] [-R]: the flags asked for, in that order; all of
// them when none is given.
int kplsfs(const Scenario& s, const std::vector<std::string>& args) {
  if (args.empty()) {
    std::fprintf(stderr, "Usage: kplsfs Device [-V] [-r] [-R]\n");
    return 1;
  }
  ScenarioFileSystem fs;
  if (!find_device(s, "kplsfs", args[0], fs)) return 1;
  std::vector<std::string> flags(args.begin() + 1, args.end());
  if (flags.empty()) flags = {"-V", "-r", "-R"};
  std::string rows;
  for (const std::string& f : flags) {
    const char* value;
    const char* what;
    if (f == "-V") {
      value = fs.version.c_str();
      what = "Current file system version";
    } else if (f == "-r") {
      value = fs.replicas.c_str();
      what = "Default number of data replicas";
    } else if (f == "-R") {
      value = fs.max_replicas.c_str();
      what = "Maximum number of data replicas";
    } else {
      std::fprintf(stderr, "kplsfs: Invalid option: %s\n", f.c_str());
      return 1;
    }
    char row[512];
    std::snprintf(row, sizeof row, " %-18s %-24s %s\n", f.c_str(), value, what);
    rows += row;
  }
  std::printf("%-19s %-24s %s\n", "flag", "value", "description");
  std::printf("%s %s %s\n", std::string(19, '-').c_str(), std::string(24, '-').c_str(),
              std::string(35, '-').c_str());
  std::fputs(rows.c_str(), stdout);
  return 0;
}

// ps -C kelpd -o pid=: the file-system daemon's pid, or nothing (status 1)
// when the scenario says it is stopped. Every other use is the real ps.
int ps(const Scenario& s, const std::vector<std::string>& args) {
  if (args != std::vector<std::string>{"-C", "kelpd", "-o", "pid="}) {
    return exec_system_command("ps", args);
  }
  const ScenarioRecord* kelpd = s.last("kelpd");
  if (kelpd != nullptr && kelpd->has_word("stopped")) return 1;
  std::string pid = kelpd != nullptr ? kelpd->option("pid", kDefaultKelpdPid) : kDefaultKelpdPid;
  std::printf("%7s\n", pid.c_str());
  return 0;
}

// df -t kelp: the scenario's Kelp file systems. Every other use is the real df.
int df(const Scenario& s, const std::vector<std::string>& args) {
  if (args != std::vector<std::string>{"-t", "kelp"}) return exec_system_command("df", args);
  std::vector<ScenarioFileSystem> all = filesystems(s);
  if (all.empty()) {
    std::fprintf(stderr, "df: no file systems processed\n");
    return 1;
  }
  std::printf("%-14s %10s %9s %9s %4s %s\n", "Filesystem", "1K-blocks", "Used", "Available",
              "Use%", "Mounted on");
  for (const ScenarioFileSystem& fs : all) {
    long long pools = static_cast<long long>(pools_of(s, fs.device).size());
    long long total = kPoolKb * (pools > 0 ? pools : 1);
    long long used = total / 10;
    std::printf("%-14s %10lld %9lld %9lld %3lld%% %s\n", fs.device.c_str(), total, used,
                total - used, used * 100 / total, fs.mount.c_str());
  }
  return 0;
}

}  // namespace kelpsim
