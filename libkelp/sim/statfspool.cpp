// Storage-pool statistics of a file system, as the scenario describes its pools.
#include "kelp.h"
#include "sim_request.h"
#include "sim_state.h"

extern "C" int kelp_statfspool(const char* path, uint32_t* cursor, uint32_t options,
                               uint32_t* count, void* buffer, uint32_t bufferSize) {
  (void)cursor;
  (void)options;
  (void)count;
  (void)buffer;
  kelpsim::record("statfspool", path != nullptr ? path : "", &bufferSize, sizeof bufferSize);
  if (int err = kelpsim::take_failure("statfspool")) return kelpsim::fail(err);
  return kelpsim::fail(ENOSYS);
}
