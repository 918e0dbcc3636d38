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

struct BlockPlanner::Lookups {
  std::unordered_map<std::string, HostEntry> hosts;
  std::unordered_map<uint32_t, uint32_t> diskHosts;
  std::unordered_map<uint32_t, uint32_t> cacheHosts;

  uint32_t intern(std::vector<BlockHostsPlan::Host>& table, const std::string& name,
                  bool asReplica) {
    auto it = hosts.find(name);
    if (it == hosts.end()) {
      it = hosts.emplace(name, HostEntry{static_cast<uint32_t>(table.size()), false}).first;
      table.push_back(BlockHostsPlan::Host{name, "", false});
    }
    it->second.needsAddress = it->second.needsAddress || asReplica;
    return it->second.index;
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
  plan_.cachedLayout = plan_.cachedLayout || cached;
  Lookups& l = *lookups_;
  int64_t offset = start;
  for (size_t b = 0; b < count; ++b) {
    const uint8_t* record = map.records.data() + b * recordSize;
    const uint8_t* disks = cached ? record : record + 8;
    BlockHostsPlan::Block block;
    block.length = map.lengths[b];
    block.offset = cached ? offset : load64(record);
    block.firstReplica = static_cast<uint32_t>(plan_.replicaHosts.size());
    block.replicas = replicas;
    block.cachedLayout = cached;
    for (int r = 0; r < replicas; ++r) {
      uint32_t disk = load32(disks + 4 * r);
      auto it = l.diskHosts.find(disk);
      if (it == l.diskHosts.end()) {
        uint32_t host = l.intern(plan_.hosts, devid_node_name(static_cast<int32_t>(disk)), true);
        it = l.diskHosts.emplace(disk, host).first;
      }
      plan_.replicaHosts.push_back(it->second);
    }
    plan_.cachedHosts.resize(plan_.cachedHosts.size() + kMaxCachedHosts, 0);
    if (cached) {
      uint32_t* slots = &plan_.cachedHosts[plan_.cachedHosts.size() - kMaxCachedHosts];
      const uint8_t* nodes = record + 4 * replicas;
      int k = 0;
      for (int r = 0; r < replicas && k < kMaxCachedHosts; ++r) {
        uint32_t node = load32(nodes + 4 * r);
        if (node == kNotCached) continue;
        auto it = l.cacheHosts.find(node);
        if (it == l.cacheHosts.end()) {
          // A remote mount answers 0 without a name: the entry stays empty.
          std::string name;
          if (nodeId2Name(static_cast<int32_t>(node), name) != 0) continue;
          it = l.cacheHosts.emplace(node, l.intern(plan_.hosts, name, false)).first;
        }
        slots[k++] = it->second;
      }
      block.cachedCount = k;
      offset = static_cast<int64_t>(static_cast<uint64_t>(offset) + block.length);
    }
    plan_.blocks.push_back(block);
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
