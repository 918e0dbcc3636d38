// The topology listings as the administration commands print them: the disk
// servers (kplsnsd), the disk ids of a file system (kplsdisk -L) and the
// node table (kplscluster). One source, built once per listing
// (KELP_FUZZ_LISTING), so that each parser gets a target of its own.
#include <string_view>

#include "topology/listings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
#if KELP_FUZZ_LISTING == 0
  (void)kelp::reports_no_disks(text);
  for (const auto& fs : kelp::parse_nsd_listing(text)) (void)fs;
#elif KELP_FUZZ_LISTING == 1
  for (const auto& id : kelp::parse_disk_ids(text)) (void)id;
#else
  for (const auto& node : kelp::parse_node_table(text)) (void)node;
#endif
  return 0;
}
