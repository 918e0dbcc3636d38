// What the details read from the administration commands and the mount
// table: the pool listing (kplspool), the file-system attributes (kplsfs),
// the mounts listing (df) with /etc/mtab, and the pool statistics entries.
// One source, built once per reader (KELP_FUZZ_DETAILS).
#include <cstdio>
#include <string>

#include "details/details_parse.h"
#include "fuzz_support.h"

using namespace kelpfuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
#if KELP_FUZZ_DETAILS == 0
  uint32_t poolId = in.byte();
  kelp::kelpDetails_t details;
  int rc = kelp::apply_pool_listing(in.rest(), poolId, details);
  if (rc != 0 && rc != 1) fail("pool listing result");
  if (details.blockGroupFactor > 1024) fail("block-group factor past its cap");
#elif KELP_FUZZ_DETAILS == 1
  bool poolSupplied = in.byte() & 1;
  kelp::kelpDetails_t details;
  kelp::apply_fs_attributes(in.rest(), poolSupplied, details);
  int32_t version = 0;
  kelp::parse_version(std::string(reinterpret_cast<const char*>(data), size), version);
#elif KELP_FUZZ_DETAILS == 2
  // The df listing, then a mount table for each mount point it names.
  size_t split = in.byte() * 16;
  std::string listing = in.bytes(split);
  std::string table = in.rest();
  for (const std::string& point : kelp::parse_mount_points(listing)) {
    FILE* f = ::fmemopen(table.empty() ? nullptr : &table[0], table.size() + 1, "r");
    if (f == nullptr) continue;
    std::string device;
    kelp::find_mount_device(f, point, device);
    std::fclose(f);
  }
#else
  // Pool statistics entries, 88 bytes each, and the numbers of the texts.
  while (in.left() >= kelp::kPoolEntrySize) {
    std::string entry = in.bytes(kelp::kPoolEntrySize);
    (void)kelp::read_pool_entry(reinterpret_cast<const uint8_t*>(entry.data()));
  }
  (void)kelp::decimal_prefix(in.rest());
#endif
  return 0;
}
