// The hosts of each block: disk numbers named through the disk map, cache
// nodes through the node map, host names resolved to addresses.
#include "topology/block_locations.h"

#include <arpa/inet.h>
#include <netdb.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unordered_map>

#include "topology/topology.h"

namespace kelp {
namespace {

uint32_t load32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
int64_t load64(const uint8_t* p) {
  int64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// A host's index in the plan, and whether its address is wanted (only
// replica hosts carry one).
struct HostEntry {
  uint32_t index;
  bool needsAddress;
};

}  // namespace

// An id-to-host cache: a small direct-mapped table in front of a hash map,
// since a file's blocks keep meeting the same few disks and nodes.
class IdHosts final {
 public:
  // The host of |id|, or -1 when it has none yet.
  int64_t find(uint32_t id) {
    Slot& slot = slots_[id % kSlots];
    if (slot.used && slot.id == id) return slot.host;
    auto it = map_.find(id);
    if (it == map_.end()) return -1;
    slot = Slot{id, it->second, true};
    return it->second;
  }
  void put(uint32_t id, jint host) {
    map_[id] = host;
    slots_[id % kSlots] = Slot{id, host, true};
  }

 private:
  static constexpr size_t kSlots = 64;
  struct Slot {
    uint32_t id = 0;
    jint host = 0;
    bool used = false;
  };
  Slot slots_[kSlots];
  std::unordered_map<uint32_t, jint> map_;
};

struct BlockPlanner::Lookups {
  std::unordered_map<std::string, HostEntry> hosts;
  IdHosts diskHosts;
  IdHosts cacheHosts;

  jint intern(std::vector<BlockHostsPlan::Host>& table, const std::string& name, bool asReplica) {
    auto it = hosts.find(name);
    if (it == hosts.end()) {
      it = hosts.emplace(name, HostEntry{static_cast<uint32_t>(table.size()), false}).first;
      table.push_back(BlockHostsPlan::Host{name, "", false});
    }
    it->second.needsAddress = it->second.needsAddress || asReplica;
    return static_cast<jint>(it->second.index);
  }
};

namespace {
}  // namespace

int host2IP(const std::string& hostName, std::string& out) {
  // gethostbyname's static result would be shared by every Java thread.
  std::vector<char> scratch(2048);
  struct hostent entry;
  struct hostent* found = nullptr;
  int hostError = 0;
  for (;;) {
    int rc = ::gethostbyname_r(hostName.c_str(), &entry, scratch.data(), scratch.size(), &found,
                               &hostError);
    if (rc == ERANGE && scratch.size() < (size_t{1} << 20)) {
      scratch.resize(scratch.size() * 2);
      continue;
    }
    if (rc != 0 || found == nullptr) return 0;
    break;
  }
  if (found->h_addrtype != AF_INET || found->h_addr_list[0] == nullptr) return 0;
  char text[INET_ADDRSTRLEN];
  if (::inet_ntop(AF_INET, found->h_addr_list[0], text, sizeof text) == nullptr) return 0;
  out = std::string(text) + ":0";
  return 1;
}

BlockPlanner::BlockPlanner() : lookups_(std::make_unique<Lookups>()) {}
BlockPlanner::~BlockPlanner() = default;

size_t BlockPlanner::add(int blockCount, int replicas, int64_t start, const BlockMap& map) {
  if (blockCount <= 0 || replicas <= 0) return 0;
  const bool cached = map.cached_layout;
  const size_t recordSize = static_cast<size_t>(block_record_size(cached, replicas));
  // Never more blocks than the reader gathered.
  const size_t count = std::min({static_cast<size_t>(blockCount), map.records.size() / recordSize,
                                 map.lengths.size()});
  BlockHostsPlan& p = plan_;
  p.anyCachedLayout = p.anyCachedLayout || cached;
  // Every per-block array grows once per map (resize grows geometrically, so
  // a listing's many small maps stay linear), then is written by index.
  const size_t base = p.offsets.size();
  const size_t replicaBase = p.replicaHosts.size();
  p.offsets.resize(base + count);
  p.lengths.resize(base + count);
  p.cachedLayout.resize(base + count, cached ? JNI_TRUE : JNI_FALSE);
  p.replicaStart.resize(base + count + 1);
  p.cachedStart.resize(base + count + 1);
  p.replicaHosts.resize(replicaBase + count * replicas);
  jlong* offsets = p.offsets.data() + base;
  jlong* lengths = p.lengths.data() + base;
  jint* replicaStart = p.replicaStart.data() + base + 1;
  jint* cachedStart = p.cachedStart.data() + base + 1;
  jint* replicaHosts = p.replicaHosts.data() + replicaBase;

  Lookups& l = *lookups_;
  int64_t offset = start;
  for (size_t b = 0; b < count; ++b) {
    const uint8_t* record = map.records.data() + b * recordSize;
    const uint8_t* disks = cached ? record : record + 8;
    lengths[b] = map.lengths[b];
    offsets[b] = cached ? offset : load64(record);
    for (int r = 0; r < replicas; ++r) {
      uint32_t disk = load32(disks + 4 * r);
      int64_t host = l.diskHosts.find(disk);
      if (host < 0) {
        host = l.intern(p.hosts, devid_node_name(static_cast<int32_t>(disk)), true);
        l.diskHosts.put(disk, static_cast<jint>(host));
      }
      *replicaHosts++ = static_cast<jint>(host);
    }
    replicaStart[b] = static_cast<jint>(replicaHosts - p.replicaHosts.data());
    if (cached) {
      const uint8_t* nodes = record + 4 * replicas;
      int k = 0;
      for (int r = 0; r < replicas && k < kMaxCachedHosts; ++r) {
        uint32_t node = load32(nodes + 4 * r);
        if (node == kNotCached) continue;
        int64_t host = l.cacheHosts.find(node);
        if (host < 0) {
          // A remote mount answers 0 without a name: the entry stays empty.
          std::string name;
          if (nodeId2Name(static_cast<int32_t>(node), name) != 0) continue;
          host = l.intern(p.hosts, name, false);
          l.cacheHosts.put(node, static_cast<jint>(host));
        }
        p.cachedHosts.push_back(static_cast<jint>(host));
        ++k;
      }
      offset = static_cast<int64_t>(static_cast<uint64_t>(offset) + map.lengths[b]);
    }
    cachedStart[b] = static_cast<jint>(p.cachedHosts.size());
  }
  return count;
}

BlockHostsPlan BlockPlanner::finish() {
  for (const auto& h : lookups_->hosts) {
    if (!h.second.needsAddress) continue;
    BlockHostsPlan::Host& host = plan_.hosts[h.second.index];
    host.resolves = host2IP(host.name, host.address) == 1;
  }
  return std::move(plan_);
}

BlockHostsPlan plan_block_hosts(int blockCount, int replicas, int64_t start, const BlockMap& map) {
  BlockPlanner planner;
  planner.add(blockCount, replicas, start, map);
  return planner.finish();
}

}  // namespace kelp
