// The file systems, storage pools and file-system attributes of a scenario,
// as both the simulated kelp_statfspool and the fake kplspool, kplsfs, ps
// and df see them (records "filesystem", "pool", "fsattr" and "kelpd"; see
// sandbox/scenarios/README.md).
#ifndef KELP_SIM_POOL_MODEL_H
#define KELP_SIM_POOL_MODEL_H

#include <cstdint>
#include <string>
#include <vector>

#include "scenario.h"

namespace kelpsim {

// Size of one pool statistics entry of kelp_statfspool, and the offsets of
// its fields (little-endian).
constexpr uint32_t kPoolEntrySize = 88;
constexpr uint32_t kPoolNameOffset = 0;  // 24 bytes, NUL-padded
constexpr uint32_t kPoolNameSize = 24;
constexpr uint32_t kPoolTotalKbOffset = 24;  // 64-bit
constexpr uint32_t kPoolFreeKbOffset = 32;   // 64-bit
constexpr uint32_t kPoolBlockSizeOffset = 40;
constexpr uint32_t kPoolIdOffset = 48;
constexpr uint32_t kPoolDiskCountOffset = 52;
constexpr uint32_t kPoolFlagsOffset = 56;  // bit 0: the pool to use
constexpr uint32_t kPoolReplicationOffset = 60;
constexpr uint32_t kPoolBlockGroupFactorOffset = 64;
constexpr uint32_t kPoolWriteAffinityOffset = 72;
constexpr uint32_t kPoolFlagUse = 1;

struct ScenarioFileSystem {
  std::string device;
  std::string mount;
  // fsattr: what kplsfs reports, and whether the client library fills the
  // placement words of its pool entries.
  std::string version = "13.23";
  std::string replicas = "1";
  std::string max_replicas = "2";
  bool placement_reported = true;
};

struct ScenarioPool {
  std::string name;
  uint32_t id = 0;
  int64_t block_size = 256 * 1024;
  bool use = false;
  uint32_t replicas = 1;
  uint32_t block_group_factor = 1;
  bool write_affinity = false;
  // How kplspool lists it: "affinity-first" (the usual order),
  // "affinity-last" (allowWriteAffinity after blockGroupFactor) or "no-bgf".
  std::string listing = "affinity-first";
};

inline ScenarioFileSystem scenario_filesystem(const Scenario& s, const ScenarioRecord& record) {
  ScenarioFileSystem fs;
  fs.device = record.words.size() > 0 ? record.words[0] : "";
  fs.mount = record.words.size() > 1 ? record.words[1] : "";
  for (const ScenarioRecord* a : s.all("fsattr")) {
    if (a->words.empty() || a->words[0] != fs.device) continue;
    fs.version = a->option("version", fs.version);
    fs.replicas = a->option("replicas", fs.replicas);
    fs.max_replicas = a->option("maxreplicas", fs.max_replicas);
    fs.placement_reported = a->option("placement", "reported") != "none";
  }
  return fs;
}

// Every file system, in scenario order (df lists them so).
inline std::vector<ScenarioFileSystem> filesystems(const Scenario& s) {
  std::vector<ScenarioFileSystem> out;
  for (const ScenarioRecord* r : s.all("filesystem")) out.push_back(scenario_filesystem(s, *r));
  return out;
}

inline bool find_filesystem_by_device(const Scenario& s, const std::string& device,
                                      ScenarioFileSystem& out) {
  for (const ScenarioFileSystem& fs : filesystems(s)) {
    if (fs.device == device) {
      out = fs;
      return true;
    }
  }
  return false;
}

// The file system holding |path|: the one with the longest mount point that
// is |path| or one of its parents.
inline bool find_filesystem_by_path(const Scenario& s, const std::string& path,
                                    ScenarioFileSystem& out) {
  size_t best = 0;
  bool found = false;
  for (const ScenarioFileSystem& fs : filesystems(s)) {
    const std::string& m = fs.mount;
    bool holds = path == m || (path.size() > m.size() && path.compare(0, m.size(), m) == 0 &&
                               (m == "/" || path[m.size()] == '/'));
    if (holds && (!found || m.size() > best)) {
      out = fs;
      best = m.size();
      found = true;
    }
  }
  return found;
}

// The pools of |device|, in scenario order.
inline std::vector<ScenarioPool> pools_of(const Scenario& s, const std::string& device) {
  std::vector<ScenarioPool> out;
  for (const ScenarioRecord* r : s.all("pool")) {
    if (r->words.size() < 2 || r->words[0] != device) continue;
    ScenarioPool p;
    p.name = r->words[1];
    parse_u32(r->option("id", "0"), p.id);
    parse_size(r->option("blocksize", "256K"), p.block_size);
    p.use = r->has_word("use");
    parse_u32(r->option("replicas", "1"), p.replicas);
    parse_u32(r->option("bgf", "1"), p.block_group_factor);
    p.write_affinity = r->option("writeaffinity", "no") == "yes";
    p.listing = r->option("listing", p.listing);
    out.push_back(p);
  }
  return out;
}

}  // namespace kelpsim

#endif  // KELP_SIM_POOL_MODEL_H
