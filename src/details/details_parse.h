// Reading what kplspool, kplsfs and kelp_statfspool report into a
// file system's details record.
#ifndef KELP_DETAILS_DETAILS_PARSE_H
#define KELP_DETAILS_DETAILS_PARSE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "details/details_types.h"

namespace kelp {

// The fields of one 88-byte pool statistics entry that the details use.
constexpr size_t kPoolEntrySize = 88;
struct PoolEntry {
  int32_t blockSize = 0;
  uint32_t poolId = 0;
  uint32_t flags = 0;        // bit 0: the pool to use
  uint32_t replication = 0;  // 0 (with writeAffinity 0): no placement data
  uint32_t blockGroupFactor = 0;
  uint32_t writeAffinity = 0;
};
PoolEntry read_pool_entry(const uint8_t* entry);

// |text| cut at its newlines (a last line without one included).
std::vector<std::string> split_lines(const std::string& text);

// The leading decimal integer of |text| (after blanks, with an optional
// sign), as atoi reads it but clamped to the int range; 0 when there is none.
int32_t decimal_prefix(const std::string& text);

// A kplsfs "-V" value: 13.23 reads as 1323 (the first dot dropped). False,
// leaving |version| alone, for a value without a dot or without digits.
bool parse_version(const std::string& value, int32_t& version);

// Applies a kplspool listing to |details|: from the "poolID" line of
// |poolId| on, "allowWriteAffinity" sets the affinity (and
// isAllowWriteAffinity) and "blockGroupFactor" (capped at 1024) ends the
// scan. 0, or 1 when the pool is not listed.
int apply_pool_listing(const std::string& listing, uint32_t poolId, kelpDetails_t& details);

// Applies the "-V", "-r" and "-R" lines of kplsfs to |details|, up to the
// first line without two words; "-r" only when the pool did not supply the
// replication itself.
void apply_fs_attributes(const std::string& output, bool poolSuppliedPlacement,
                         kelpDetails_t& details);

// The mount points of the mounts listing ("source mount-point" lines, as
// the df pipeline prints them); lines of fewer than two words are skipped.
std::vector<std::string> parse_mount_points(const std::string& listing);

// Scans a mount table (setmntent's stream) for the entries of type "kelp"
// mounted at |mountPoint|; the last one's source goes to |device|. False
// when there is none.
bool find_mount_device(FILE* table, const std::string& mountPoint, std::string& device);

}  // namespace kelp

#endif  // KELP_DETAILS_DETAILS_PARSE_H
