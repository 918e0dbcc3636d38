// Block-map requests: where the blocks of a file and their replicas live.
//
// Request 3005 and 3006 share one buffer of 64584 bytes: the 16-byte header,
// the request length (64568) and type, then the arguments (start offset,
// block-size hint, length wanted, replicas; 8, 8, 8 and 4 bytes at 24..51),
// the reply fields (replicas, blocks, block size at 56, 60 and 64) and from
// byte 72 up to 64512 bytes of block records:
//   3005: the block's offset (8 bytes), then one disk number per replica;
//   3006: one disk number per replica, then one cache node number per
//         replica (0xFFFFFFFF: not cached).
// A file needing more records than fit answers as many whole blocks as fit;
// the caller asks again from where the reply ended.
//
// The scenario gives the block size, the replication of files that have
// none of their own, the placement of replicas on disks and cache nodes, and
// which request types the library refuses (sandbox/scenarios/README.md).
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kelp.h"
#include "scenario.h"
#include "sim_request.h"
#include "sim_state.h"

namespace kelpsim {
namespace {

constexpr uint32_t kRequestSize = 64584;
constexpr uint32_t kRequestLength = kRequestSize - kHeaderSize;
constexpr size_t kRecordsAt = 72;
constexpr size_t kRecordsCapacity = kRequestSize - kRecordsAt;
constexpr uint32_t kNotCached = 0xFFFFFFFF;
// Replicas per block the simulation answers at most.
constexpr uint32_t kMaxReplicas = 16;

struct Placement {
  std::string path;  // applies to files under this prefix ("" for all)
  std::vector<uint32_t> disks;
  std::vector<uint32_t> cache;  // empty: nothing cached
  // A prefix that is the root of a mount matches by device, which needs no
  // look at the descriptor's path.
  bool byDevice = false;
  dev_t device = 0;
};

struct Settings {
  int64_t blockSize = int64_t{4} << 20;
  uint32_t replication = 1;
  std::vector<uint32_t> refused;
  std::vector<Placement> placements;  // in scenario order; the last match wins
  bool placementByPath = false;
};

// "1,2,none,0x9": numbers, "none" standing for 0xFFFFFFFF.
std::vector<uint32_t> parse_list(const std::string& text) {
  std::vector<uint32_t> out;
  size_t at = 0;
  while (at <= text.size()) {
    size_t comma = text.find(',', at);
    std::string item = text.substr(at, comma == std::string::npos ? std::string::npos : comma - at);
    uint32_t v = 0;
    if (item == "none") {
      out.push_back(kNotCached);
    } else if (parse_u32(item, v)) {
      out.push_back(v);
    }
    if (comma == std::string::npos) break;
    at = comma + 1;
  }
  return out;
}

Settings read_settings(const Scenario& s) {
  Settings out;
  if (const ScenarioRecord* r = s.last("blockmap")) {
    int64_t size = 0;
    if (parse_size(r->option("blocksize"), size) && size > 0 && size <= 0x7FFFFFFF) {
      out.blockSize = size;
    }
    uint32_t replication = 0;
    if (parse_u32(r->option("replication"), replication) && replication >= 1) {
      out.replication = std::min(replication, kMaxReplicas);
    }
    for (size_t i = 0; i + 1 < r->words.size(); ++i) {
      uint32_t type = 0;
      if (r->words[i] == "refuse" && parse_u32(r->words[i + 1], type)) out.refused.push_back(type);
    }
  }
  for (const ScenarioRecord* r : s.all("placement")) {
    Placement p{r->option("path"), parse_list(r->option("disks")), parse_list(r->option("cache"))};
    if (p.disks.empty()) continue;
    struct stat dir, parent;
    if (!p.path.empty() && ::stat(p.path.c_str(), &dir) == 0 &&
        ::stat((p.path + "/..").c_str(), &parent) == 0 && dir.st_dev != parent.st_dev) {
      p.byDevice = true;
      p.device = dir.st_dev;
    }
    out.placementByPath = out.placementByPath || (!p.path.empty() && !p.byDevice);
    out.placements.push_back(std::move(p));
  }
  if (out.placements.empty()) {
    // No placement stated: the replicas go round the file systems' disks.
    Placement all;
    for (const ScenarioRecord* r : s.all("disk")) {
      uint32_t id = 0;
      if (!r->option("filesystem").empty() && parse_u32(r->option("id"), id)) all.disks.push_back(id);
    }
    if (all.disks.empty()) all.disks.push_back(1);
    out.placements.push_back(std::move(all));
  }
  return out;
}

// The settings of the scenario in effect, worked out once per scenario.
std::shared_ptr<const Settings> current_settings() {
  static std::mutex mu;
  static std::shared_ptr<const Scenario> seen;
  static std::shared_ptr<const Settings> settings;
  std::shared_ptr<const Scenario> scenario = current_scenario();
  std::lock_guard<std::mutex> lock(mu);
  if (scenario != seen || !settings) {
    settings = std::make_shared<Settings>(read_settings(*scenario));
    seen = scenario;
  }
  return settings;
}

// The file's "replication" attribute, or |fallback|; read again only after
// the simulation's state changed.
uint32_t file_replication(const struct stat& st, uint32_t fallback) {
  struct Cached {
    uint64_t generation;
    uint32_t replication;  // 0: none set
  };
  static std::mutex mu;
  static std::map<std::pair<dev_t, ino_t>, Cached> cache;
  const std::pair<dev_t, ino_t> key(st.st_dev, st.st_ino);
  const uint64_t generation = state_generation();
  {
    std::lock_guard<std::mutex> lock(mu);
    auto it = cache.find(key);
    if (it != cache.end() && it->second.generation == generation) {
      return it->second.replication == 0 ? fallback : it->second.replication;
    }
  }
  std::string value;
  uint32_t replication = 0;
  if (get_attr(st, "replication", value) && parse_u32(value, replication)) {
    replication = std::min(replication, kMaxReplicas);
  }
  std::lock_guard<std::mutex> lock(mu);
  if (cache.size() > (size_t{1} << 18)) cache.clear();
  cache[key] = Cached{generation, replication};
  return replication == 0 ? fallback : replication;
}

const Placement& placement_for(const Settings& s, const Request& r) {
  std::string path = s.placementByPath ? fd_path(r.fd) : "";
  const Placement* chosen = nullptr;
  for (const Placement& p : s.placements) {
    bool applies = p.path.empty() || (p.byDevice ? r.st.st_dev == p.device
                                                 : path.compare(0, p.path.size(), p.path) == 0);
    if (applies) chosen = &p;
  }
  return chosen != nullptr ? *chosen : s.placements.front();
}

}  // namespace

int get_block_map(const Request& r) {
  if (r.total != kRequestSize || r.hint_length != kRequestLength) return fail(EINVAL);
  std::shared_ptr<const Settings> settings = current_settings();
  const Settings& s = *settings;
  if (std::find(s.refused.begin(), s.refused.end(), r.type) != s.refused.end()) return fail(EINVAL);
  const bool cached = r.type == KELP_FCNTL_GET_BLOCKMAP_CACHED;
  const int64_t start = load64(r.bytes + 24);
  const int64_t wanted = load64(r.bytes + 40);
  if (start < 0) return fail(EINVAL);

  const uint32_t replicas = file_replication(r.st, s.replication);
  const int64_t blockSize = s.blockSize;
  const int64_t size = S_ISREG(r.st.st_mode) ? r.st.st_size : 0;
  const int64_t end = wanted > size - start ? size : start + wanted;
  const size_t recordSize = cached ? 8 * replicas : 8 + 4 * replicas;
  int64_t first = start / blockSize;
  int64_t blocks = 0;
  if (wanted > 0 && start < end) {
    blocks = std::min<int64_t>((end - 1) / blockSize - first + 1, kRecordsCapacity / recordSize);
  }
  store32(r.bytes + 56, replicas);
  store32(r.bytes + 60, static_cast<uint32_t>(blocks));
  store32(r.bytes + 64, static_cast<uint32_t>(blockSize));

  // Replica i of block b lies on disk (b + i) mod the disks, cached on node
  // (b + i) mod the nodes; the indexes advance without a division per record.
  const Placement& p = placement_for(s, r);
  const size_t disks = p.disks.size();
  const size_t nodes = p.cache.size();
  size_t disk = static_cast<size_t>(first % static_cast<int64_t>(disks));
  size_t node = nodes == 0 ? 0 : static_cast<size_t>(first % static_cast<int64_t>(nodes));
  uint8_t* out = r.bytes + kRecordsAt;
  for (int64_t b = first; b < first + blocks; ++b) {
    if (!cached) {
      store64(out, b * blockSize);
      out += 8;
    }
    for (uint32_t i = 0, d = static_cast<uint32_t>(disk); i < replicas; ++i, out += 4) {
      store32(out, p.disks[d]);
      if (++d == disks) d = 0;
    }
    if (++disk == disks) disk = 0;
    if (!cached) continue;
    for (uint32_t i = 0, n = static_cast<uint32_t>(node); i < replicas; ++i, out += 4) {
      store32(out, nodes == 0 ? kNotCached : p.cache[n]);
      if (nodes != 0 && ++n == nodes) n = 0;
    }
    if (nodes != 0 && ++node == nodes) node = 0;
  }
  return 0;
}

}  // namespace kelpsim
