// Block-map requests: where the blocks of a file and their replicas live.
#include "kelp.h"
#include "sim_request.h"

namespace kelpsim {

int get_block_map(const Request& r) {
  (void)r;
  return fail(EINVAL);
}

}  // namespace kelpsim
