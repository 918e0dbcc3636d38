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

// The distinct host names of one plan, each entered once.
class HostTable final {
 public:
  explicit HostTable(std::vector<BlockHostsPlan::Host>& hosts) : hosts_(hosts) {}

  uint32_t intern(const std::string& name, bool asReplica) {
    auto it = index_.find(name);
    uint32_t i;
    if (it != index_.end()) {
      i = it->second;
    } else {
      i = static_cast<uint32_t>(hosts_.size());
      hosts_.push_back(BlockHostsPlan::Host{name, "", false});
      needsAddress_.push_back(false);
      index_.emplace(name, i);
    }
    if (asReplica) needsAddress_[i] = true;
    return i;
  }

  // Only replica hosts carry an address; each is resolved once.
  void resolve() {
    for (size_t i = 0; i < hosts_.size(); ++i) {
      if (needsAddress_[i]) hosts_[i].resolves = host2IP(hosts_[i].name, hosts_[i].address) == 1;
    }
  }

 private:
  std::vector<BlockHostsPlan::Host>& hosts_;
  std::vector<bool> needsAddress_;
  std::unordered_map<std::string, uint32_t> index_;
};

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

BlockHostsPlan plan_block_hosts(int blockCount, int replicas, int64_t start, const BlockMap& map) {
  BlockHostsPlan plan;
  plan.cachedLayout = map.cached_layout;
  if (blockCount <= 0 || replicas <= 0) return plan;
  plan.replicas = replicas;
  const size_t recordSize = static_cast<size_t>(block_record_size(map.cached_layout, replicas));
  // Never more blocks than the reader gathered.
  const size_t count = std::min({static_cast<size_t>(blockCount), map.records.size() / recordSize,
                                 map.lengths.size()});
  plan.blocks.resize(count);
  plan.replicaHosts.resize(count * replicas);
  plan.cachedHosts.assign(map.cached_layout ? count * kMaxCachedHosts : 0, 0);

  HostTable table(plan.hosts);
  // Within one call each disk is named once, and each cache node once it
  // has been named (an unknown node is asked about again every time).
  std::unordered_map<uint32_t, uint32_t> diskHosts;
  std::unordered_map<uint32_t, uint32_t> cacheHosts;
  int64_t offset = start;
  for (size_t b = 0; b < count; ++b) {
    const uint8_t* record = map.records.data() + b * recordSize;
    const uint8_t* disks = map.cached_layout ? record : record + 8;
    BlockHostsPlan::Block& block = plan.blocks[b];
    block.length = map.lengths[b];
    block.offset = map.cached_layout ? offset : load64(record);
    for (int r = 0; r < replicas; ++r) {
      uint32_t disk = load32(disks + 4 * r);
      auto it = diskHosts.find(disk);
      if (it == diskHosts.end()) {
        uint32_t host = table.intern(devid_node_name(static_cast<int32_t>(disk)), true);
        it = diskHosts.emplace(disk, host).first;
      }
      plan.replicaHosts[b * replicas + r] = it->second;
    }
    if (map.cached_layout) {
      const uint8_t* nodes = record + 4 * replicas;
      int k = 0;
      for (int r = 0; r < replicas && k < kMaxCachedHosts; ++r) {
        uint32_t node = load32(nodes + 4 * r);
        if (node == kNotCached) continue;
        auto it = cacheHosts.find(node);
        if (it == cacheHosts.end()) {
          // A remote mount answers 0 without a name: the entry stays empty.
          std::string name;
          if (nodeId2Name(static_cast<int32_t>(node), name) != 0) continue;
          it = cacheHosts.emplace(node, table.intern(name, false)).first;
        }
        plan.cachedHosts[b * kMaxCachedHosts + k++] = it->second;
      }
      block.cachedCount = k;
      offset = static_cast<int64_t>(static_cast<uint64_t>(offset) + block.length);
    }
  }
  table.resolve();
  return plan;
}

}  // namespace kelp
