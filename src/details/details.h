// File-system and pool details per mounted Kelp file system (gPathToBlockSize).
//
// The cache is built once per process, under m_mutex, from ps, df,
// /etc/mtab, kelp_statfspool, kplspool and kplsfs, and is published only
// when the build is over: a reader never sees it half built, and once
// published it never changes, so the records handed out stay valid.
#ifndef KELP_DETAILS_DETAILS_H
#define KELP_DETAILS_DETAILS_H

#include <cstdint>
#include <string>

#include "details/details_types.h"

namespace kelp {

// The details of the file system mounted at |mountPoint| (exactly), or of the
// one with the smallest mount point when |mountPoint| is empty; null when
// unknown. Builds the cache on first use. The record lives as long as the
// process.
const kelpDetails_t* getDetails(const std::string& mountPoint);

// Fills gPathToBlockSize unless it already holds records. 0 on success; 1
// when a command could not be run; -1 when the file-system daemon does not
// run or a listed mount point is no kelp entry of /etc/mtab; 12 when the
// pool statistics did not fit in memory; otherwise the status of the last
// library call or command for the last file system. The records of the file
// systems done before a failure stay cached.
int buildDetails();

// The command lines of the pool listing and the file-system attributes of
// |device|, the name quoted for the shell (a plain name stands as it is).
std::string pool_listing_command(const std::string& device);
std::string fs_attributes_command(const std::string& device);

// Reads the placement attributes of pool |poolId| of |device| from
// kplspool into |details| (and isAllowWriteAffinity). 0; 1 when the pool is
// not listed; or the failing command runner's result.
int getPoolConfigbyCLI(const std::string& device, uint32_t poolId, kelpDetails_t* details);

}  // namespace kelp

#endif  // KELP_DETAILS_DETAILS_H
