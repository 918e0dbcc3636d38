// Storage-pool statistics of a file system, as the scenario describes its pools.
#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "kelp.h"
#include "pool_model.h"
#include "sim_request.h"
#include "sim_state.h"

namespace {

using kelpsim::ScenarioPool;

// A pool of 10 GiB, a tenth of it used, on one disk.
constexpr int64_t kPoolTotalKb = 10 * 1024 * 1024;
constexpr int64_t kPoolFreeKb = kPoolTotalKb - kPoolTotalKb / 10;

void fill_entry(uint8_t* e, const ScenarioPool& p, bool placement_reported) {
  std::memset(e, 0, kelpsim::kPoolEntrySize);
  std::memcpy(e + kelpsim::kPoolNameOffset, p.name.data(),
              std::min<size_t>(p.name.size(), kelpsim::kPoolNameSize - 1));
  kelpsim::store64(e + kelpsim::kPoolTotalKbOffset, kPoolTotalKb);
  kelpsim::store64(e + kelpsim::kPoolFreeKbOffset, kPoolFreeKb);
  kelpsim::store32(e + kelpsim::kPoolBlockSizeOffset, static_cast<uint32_t>(p.block_size));
  kelpsim::store32(e + kelpsim::kPoolIdOffset, p.id);
  kelpsim::store32(e + kelpsim::kPoolDiskCountOffset, 1);
  kelpsim::store32(e + kelpsim::kPoolFlagsOffset, p.use ? kelpsim::kPoolFlagUse : 0);
  // Older client libraries leave the placement words at zero.
  if (placement_reported) {
    kelpsim::store32(e + kelpsim::kPoolReplicationOffset, p.replicas);
    kelpsim::store32(e + kelpsim::kPoolBlockGroupFactorOffset, p.block_group_factor);
    kelpsim::store32(e + kelpsim::kPoolWriteAffinityOffset, p.write_affinity ? 1 : 0);
  }
}

}  // namespace

// With a null |buffer| it answers the number of pools; otherwise it fills one
// entry per pool and fails with ERANGE (|*count| telling how many there are)
// when they do not all fit. The cursor is left alone: every pool comes back
// in one call.
extern "C" int kelp_statfspool(const char* path, uint32_t* cursor, uint32_t options,
                               uint32_t* count, void* buffer, uint32_t bufferSize) {
  (void)cursor;
  (void)options;
  kelpsim::record("statfspool", path != nullptr ? path : "", &bufferSize, sizeof bufferSize);
  if (int err = kelpsim::take_failure("statfspool")) return kelpsim::fail(err);
  if (path == nullptr || count == nullptr) return kelpsim::fail(EFAULT);

  std::shared_ptr<const kelpsim::Scenario> scenario = kelpsim::current_scenario();
  kelpsim::ScenarioFileSystem fs;
  if (!kelpsim::find_filesystem_by_path(*scenario, path, fs)) return kelpsim::fail(EINVAL);
  std::vector<ScenarioPool> pools = kelpsim::pools_of(*scenario, fs.device);
  auto n = static_cast<uint32_t>(pools.size());
  if (buffer == nullptr) {
    *count = n;
    return 0;
  }
  if (bufferSize / kelpsim::kPoolEntrySize < n) {
    *count = n;
    return kelpsim::fail(ERANGE);
  }
  auto* out = static_cast<uint8_t*>(buffer);
  for (uint32_t i = 0; i < n; ++i) {
    fill_entry(out + i * kelpsim::kPoolEntrySize, pools[i], fs.placement_reported);
  }
  *count = n;
  return 0;
}
