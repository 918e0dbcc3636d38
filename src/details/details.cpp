#include "details/details.h"

#include <mntent.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <utility>
#include <vector>

#include "details/details_parse.h"
#include "fsops/kelpHadoop.h"
#include "jni/logging.h"
#include "jni/mutex.h"
#include "kelp.h"
#include "topology/command_runner.h"

namespace kelp {
namespace {

constexpr const char* kDaemonCommand = "ps -C kelpd -o pid=";
constexpr const char* kMountsCommand = "df -t kelp | grep / | awk '{ print $1, $6 }'";
constexpr const char* kMtab = "/etc/mtab";
constexpr const char* kDefaultFcntlCall = "FILESYSTEM";

// Set once gPathToBlockSize holds the records of a build; from then on the
// map never changes and is read without the lock.
std::atomic<bool> gDetailsPublished{false};

// Moves the records of a build into gPathToBlockSize when the build ends,
// however it ends (the records of the file systems done so far stay).
class Publisher final {
 public:
  explicit Publisher(std::map<std::string, kelpDetails_t>& built) : built_(built) {}
  ~Publisher() {
    gPathToBlockSize = std::move(built_);
    gDetailsPublished.store(!gPathToBlockSize.empty(), std::memory_order_release);
  }
  Publisher(const Publisher&) = delete;
  Publisher& operator=(const Publisher&) = delete;

 private:
  std::map<std::string, kelpDetails_t>& built_;
};

void set_fcntl_call() {
  const char* v = std::getenv("KELP_FCNTL_CALL");
  if (v == nullptr || *v == '\0') v = kDefaultFcntlCall;
  std::strncpy(skipKELPfcntl, v, sizeof skipKELPfcntl - 1);
  skipKELPfcntl[sizeof skipKELPfcntl - 1] = '\0';
}

// The device of the kelp entry of /etc/mtab mounted at |mountPoint| (the
// last one when there are several); false when there is none.
bool mtab_device(const std::string& mountPoint, std::string& device) {
  FILE* mtab = ::setmntent(kMtab, "r");  // glibc opens it close-on-exec
  if (mtab == nullptr) {
    debug_log("cannot read %s", kMtab);
    return false;
  }
  bool found = find_mount_device(mtab, mountPoint, device);
  ::endmntent(mtab);
  return found;
}

// Result of a build step that could not get memory for the pool statistics.
constexpr int kNoMemory = 12;

// The pool statistics of one file system, as kelp_statfspool gives them.
struct PoolStats {
  int status = 0;  // the library's, or kNoMemory
  uint32_t count = 0;
  std::vector<uint8_t> entries;  // count × 88 bytes
};

PoolStats read_pool_stats(const std::string& mountPoint) {
  PoolStats s;
  uint32_t cursor = 0;
  s.status = kelp_statfspool(mountPoint.c_str(), &cursor, 0, &s.count, nullptr, 0);
  if (s.status != 0 || s.count == 0) return s;
  // A buffer whose size the call cannot even express counts as unallocatable.
  uint64_t bytes = uint64_t{s.count} * kPoolEntrySize;
  bool allocated = bytes <= UINT32_MAX;
  if (allocated) {
    try {
      s.entries.assign(bytes, 0);
    } catch (const std::bad_alloc&) {
      allocated = false;
    }
  }
  if (!allocated) {
    s.status = kNoMemory;
    return s;
  }
  uint32_t capacity = s.count;
  s.status = kelp_statfspool(mountPoint.c_str(), &cursor, 0, &s.count, s.entries.data(),
                             static_cast<uint32_t>(bytes));
  // Never more entries than the buffer holds, whatever the count says now.
  if (s.count > capacity) s.count = capacity;
  return s;
}

// Fills |record| (its device known) from the pool statistics, the pool
// listing when the library gives no placement data, and the file-system
// attributes. The status of the last call. |chosen| is the index of the
// pool chosen last; a file system that flags no pool takes the same index.
int fill_record(kelpDetails_t& record, const PoolStats& pools, size_t& chosen) {
  if (pools.status != 0) return pools.status;
  bool poolSuppliedPlacement = false;
  for (uint32_t i = 0; i < pools.count; ++i) {
    if (read_pool_entry(&pools.entries[i * kPoolEntrySize]).flags & 1) {
      chosen = i;
      break;
    }
  }
  // No pool (or a carried index past this file system's pools): the
  // defaults stand.
  if (chosen < pools.count) {
    PoolEntry pool = read_pool_entry(&pools.entries[chosen * kPoolEntrySize]);
    record.blockSize = pool.blockSize;
    if (pool.writeAffinity == 0 && pool.replication == 0) {
      int rc = getPoolConfigbyCLI(record.device, pool.poolId, &record);
      if (rc != 0) return rc;
    } else {
      record.allowWriteAffinity = static_cast<int32_t>(pool.writeAffinity);
      record.blockGroupFactor = static_cast<int32_t>(pool.blockGroupFactor);
      record.dataReplicas = static_cast<int32_t>(pool.replication);
      isAllowWriteAffinity = record.allowWriteAffinity;
      poolSuppliedPlacement = true;
    }
  } else {
    debug_log("no pool statistics to choose from for %s", record.mountPoint.c_str());
  }

  std::string out;
  int rc = exec_command(fs_attributes_command(record.device), out);
  if (rc == 0) apply_fs_attributes(out, poolSuppliedPlacement, record);
  return rc;
}

const kelpDetails_t* find_details(const std::string& mountPoint) {
  if (gPathToBlockSize.empty()) return nullptr;
  if (mountPoint.empty()) return &gPathToBlockSize.begin()->second;
  auto it = gPathToBlockSize.find(mountPoint);
  return it != gPathToBlockSize.end() ? &it->second : nullptr;
}

}  // namespace

std::string pool_listing_command(const std::string& device) {
  return "/opt/kelp/bin/kplspool " + shell_quote(device) + " all -L";
}

std::string fs_attributes_command(const std::string& device) {
  return "/opt/kelp/bin/kplsfs " + shell_quote(device) + " -V -r -R | grep -e '\\-[VrR]'";
}

int getPoolConfigbyCLI(const std::string& device, uint32_t poolId, kelpDetails_t* details) {
  std::string out;
  int rc = exec_command(pool_listing_command(device), out);
  if (rc != 0) return rc;
  return apply_pool_listing(out, poolId, *details);
}

int buildDetails() {
  MutexLock lock(&m_mutex);
  if (!gPathToBlockSize.empty()) return 0;
  set_fcntl_call();

  std::string out;
  if (exec_command(kDaemonCommand, out) != 0) return 1;
  if (out.empty()) {
    debug_log("kelpd is not running: no file-system details");
    return -1;
  }
  out.clear();
  if (exec_command(kMountsCommand, out) != 0) return 1;

  std::map<std::string, kelpDetails_t> built;
  Publisher publish(built);
  int status = 0;
  size_t chosen = 0;
  for (std::string& mountPoint : parse_mount_points(out)) {
    kelpDetails_t record;
    record.mountPoint = std::move(mountPoint);
    if (!mtab_device(record.mountPoint, record.device)) {
      debug_log("%s is not a kelp mount in %s", record.mountPoint.c_str(), kMtab);
      return -1;
    }
    PoolStats pools = read_pool_stats(record.mountPoint);
    if (pools.status == kNoMemory) return kNoMemory;
    status = fill_record(record, pools, chosen);
    built[record.mountPoint] = record;
  }
  return status;
}

const kelpDetails_t* getDetails(const std::string& mountPoint) {
  if (gDetailsPublished.load(std::memory_order_acquire)) return find_details(mountPoint);
  MutexLock lock(&m_mutex);
  if (buildDetails() != 0) return nullptr;
  return find_details(mountPoint);
}

}  // namespace kelp
