// File-system and pool details per mounted Kelp file system (gPathToBlockSize).
#ifndef KELP_DETAILS_DETAILS_H
#define KELP_DETAILS_DETAILS_H

#include <string>

#include "details/details_types.h"

namespace kelp {

// The details of the file system mounted at |mountPoint| (exactly), or of the
// one with the smallest mount point when |mountPoint| is empty; null when
// unknown. Builds the cache on first use. The record lives as long as the
// process.
const kelpDetails_t* getDetails(const std::string& mountPoint);

}  // namespace kelp

#endif  // KELP_DETAILS_DETAILS_H
