// Client library of the Kelp file system: the calls this binding makes.
// The real libkelp.so ships with the file system; the project's simulated one
// implements the same functions over local directories.
#ifndef KELP_KELP_H
#define KELP_KELP_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// File control request types (the type word of a request's hint).
enum {
  KELP_FCNTL_SET_REPLICATION = 2005,
  KELP_FCNTL_SYNC_RANGE = 2009,
  KELP_FCNTL_GET_BLOCKMAP = 3005,
  KELP_FCNTL_GET_BLOCKMAP_CACHED = 3006,
  KELP_FCNTL_SET_ATTRIBUTE = 6002,
};

// Applies the self-describing control request in |request| (a 16-byte
// header: total length, version 1, error offset, reserved; then one hint:
// its length, its type, its body) to the open file |fd|. 0 on success,
// -1 with errno set on failure.
int kelp_fcntl(int fd, void* request);

// Reserves disk blocks for |length| bytes of |fd| from |start|. 0 on success,
// -1 with errno set on failure.
int kelp_prealloc(int fd, int64_t start, int64_t length);

// Storage-pool statistics of the file system holding |path|: with a null
// |buffer| stores the number of pools in |*count|; otherwise fills |buffer|
// (|bufferSize| bytes) with one 88-byte entry per pool. 0 on success, -1 with
// errno set on failure.
int kelp_statfspool(const char* path, uint32_t* cursor, uint32_t options,
                    uint32_t* count, void* buffer, uint32_t bufferSize);

#ifdef __cplusplus
}
#endif

#endif  // KELP_KELP_H
