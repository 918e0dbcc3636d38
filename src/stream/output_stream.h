// Durability for the output stream: syncing a byte range or a file's data
// through a process-wide cache of write descriptors keyed by path, and
// reserving space for a file. All of it runs with the rights of this process.
#ifndef KELP_STREAM_OUTPUT_STREAM_H
#define KELP_STREAM_OUTPUT_STREAM_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace kelp {

// What the three calls return when the file cannot be opened for writing;
// distinct from the -1 of a failed sync.
constexpr int kCannotOpen = 1;

constexpr size_t kSyncRangeRequestSize = 48;
using SyncRangeRequest = std::array<uint8_t, kSyncRangeRequestSize>;

// Sync-range control request (type 2009) for |length| bytes from |offset|.
SyncRangeRequest build_sync_range_request(int64_t offset, int64_t length);

// The write descriptor cached for |path| (compared byte for byte, so two
// spellings of one file are two entries), opened and cached on first use.
// -1 when the path cannot be opened for writing; nothing is cached then.
// Cached descriptors stay open, close-on-exec, for the life of the process,
// so a later sync of the same path acts on the file first opened even if it
// was renamed or replaced since.
int cached_write_fd(const std::string& path);

// Sends the sync-range request over the cached descriptor of |path|: the
// file system's result, or kCannotOpen.
int sync_file_range_cached(const std::string& path, int64_t offset, int64_t length);

// fdatasync over the cached descriptor of |path|: 0 or -1, or kCannotOpen.
int fdatasync_cached(const std::string& path);

// Reserves space for the first |length| bytes of |path| through a descriptor
// of its own, closed before returning: the file system's result, or
// kCannotOpen. Leaves the descriptor cache alone.
int preallocate_file(const std::string& path, int64_t length);

}  // namespace kelp

#endif  // KELP_STREAM_OUTPUT_STREAM_H
