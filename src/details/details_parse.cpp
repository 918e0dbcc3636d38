#include "details/details_parse.h"

#include <mntent.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "fsops/kelpHadoop.h"
#include "jni/logging.h"

namespace kelp {
namespace {

// Offsets of the entry fields read (the rest belongs to the client library).
constexpr size_t kBlockSizeOffset = 40;
constexpr size_t kPoolIdOffset = 48;
constexpr size_t kFlagsOffset = 56;
constexpr size_t kReplicationOffset = 60;
constexpr size_t kBlockGroupFactorOffset = 64;
constexpr size_t kWriteAffinityOffset = 72;

// kplspool reports factors above what a file may carry; the file system
// itself never uses more.
constexpr int32_t kMaxBlockGroupFactor = 1024;

uint32_t load32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

bool leading_decimal(const std::string& text, int32_t& out) {
  const char* start = text.c_str();
  char* end = nullptr;
  errno = 0;
  long long v = std::strtoll(start, &end, 10);
  if (end == start) return false;
  if (v > INT32_MAX) v = INT32_MAX;
  if (v < INT32_MIN) v = INT32_MIN;
  out = static_cast<int32_t>(v);
  return true;
}

}  // namespace

PoolEntry read_pool_entry(const uint8_t* entry) {
  PoolEntry e;
  e.blockSize = static_cast<int32_t>(load32(entry + kBlockSizeOffset));
  e.poolId = load32(entry + kPoolIdOffset);
  e.flags = load32(entry + kFlagsOffset);
  e.replication = load32(entry + kReplicationOffset);
  e.blockGroupFactor = load32(entry + kBlockGroupFactorOffset);
  e.writeAffinity = load32(entry + kWriteAffinityOffset);
  return e;
}

std::vector<std::string> split_lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) lines.push_back(line);
  return lines;
}

int32_t decimal_prefix(const std::string& text) {
  int32_t v = 0;
  return leading_decimal(text, v) ? v : 0;
}

bool parse_version(const std::string& value, int32_t& version) {
  size_t dot = value.find('.');
  int32_t v = 0;
  if (dot == std::string::npos || !leading_decimal(std::string(value).erase(dot, 1), v)) {
    debug_log("file-system version \"%s\" is not of the form major.minor; kept %d",
              value.c_str(), version);
    return false;
  }
  version = v;
  return true;
}

int apply_pool_listing(const std::string& listing, uint32_t poolId, kelpDetails_t& details) {
  bool inPool = false;
  for (const std::string& line : split_lines(listing)) {
    std::istringstream words(line);
    std::string key, separator, value;
    if (!(words >> key >> separator >> value)) continue;
    if (!inPool) {
      inPool = key == "poolID" && static_cast<uint32_t>(decimal_prefix(value)) == poolId;
      continue;
    }
    // The first factor line ends the scan, whichever pool it belongs to: an
    // affinity listed after it is not seen.
    if (key == "allowWriteAffinity") {
      details.allowWriteAffinity = value == "yes" ? 1 : 0;
      isAllowWriteAffinity = details.allowWriteAffinity;
    } else if (key == "blockGroupFactor") {
      int32_t factor = decimal_prefix(value);
      details.blockGroupFactor = factor > kMaxBlockGroupFactor ? kMaxBlockGroupFactor : factor;
      return 0;
    }
  }
  return inPool ? 0 : 1;
}

void apply_fs_attributes(const std::string& output, bool poolSuppliedPlacement,
                         kelpDetails_t& details) {
  for (const std::string& line : split_lines(output)) {
    std::istringstream words(line);
    std::string flag, value;
    if (!(words >> flag >> value)) return;
    if (flag == "-V") {
      parse_version(value, details.version);
    } else if (flag == "-r") {
      if (!poolSuppliedPlacement) details.dataReplicas = decimal_prefix(value);
    } else if (flag == "-R") {
      details.maxDataReplicas = decimal_prefix(value);
    }
  }
}

std::vector<std::string> parse_mount_points(const std::string& listing) {
  std::vector<std::string> points;
  for (const std::string& line : split_lines(listing)) {
    std::istringstream words(line);
    std::string source, point;
    if (words >> source >> point) points.push_back(std::move(point));
  }
  return points;
}

bool find_mount_device(FILE* table, const std::string& mountPoint, std::string& device) {
  bool found = false;
  struct mntent entry;
  char buf[8192];
  while (::getmntent_r(table, &entry, buf, sizeof buf) != nullptr) {
    if (std::strcmp(entry.mnt_type, "kelp") == 0 && mountPoint == entry.mnt_dir) {
      device = entry.mnt_fsname;
      found = true;
    }
  }
  return found;
}

}  // namespace kelp
