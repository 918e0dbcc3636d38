// Per-mount-point facts about a Kelp file system.
#ifndef KELP_DETAILS_DETAILS_TYPES_H
#define KELP_DETAILS_DETAILS_TYPES_H

#include <cstdint>
#include <string>

namespace kelp {

struct kelpDetails_t {
  int32_t version = 1210;
  std::string device;
  std::string mountPoint;
  int64_t blockSize = 262144;
  int32_t blockGroupFactor = 1;
  int32_t dataReplicas = 1;
  int32_t maxDataReplicas = 1;
  int32_t allowWriteAffinity = 0;
};

}  // namespace kelp

#endif  // KELP_DETAILS_DETAILS_TYPES_H
