// The parallel directory listing, without Java: the calling thread reads the
// directory and queues its entries; once enough are queued a pool of worker
// threads, each with its own helper-daemon connection, makes their status
// records; the calling thread joins in at the end. Results come back in the
// order their examination finished.
//
// A failure of a mutex or condition variable ends the process with exit(1):
// the queues could no longer be trusted.
#ifndef KELP_STATUS_LISTING_H
#define KELP_STATUS_LISTING_H

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "status/file_status.h"
#include "status/owner_names.h"

namespace kelp {

// One directory entry on its way through the listing.
struct queueElement {
  std::string path;  // the directory as given, "/", the entry name
  std::unique_ptr<fileStatus> result;  // null until examined, and when that failed
};

using ElementQueue = std::deque<std::unique_ptr<queueElement>>;

// A queue shared by the listing's threads: appended at the back, taken from
// the front, every append broadcast.
class workQueue final {
 public:
  workQueue();
  ~workQueue();
  workQueue(const workQueue&) = delete;
  workQueue& operator=(const workQueue&) = delete;

  void append(std::unique_ptr<queueElement> element);
  // The front element. When there is none: waits for the next broadcast if
  // |running| (read under the queue's lock) is set, and returns null either way.
  std::unique_ptr<queueElement> take(const std::atomic<int>& running);
  // Wakes every thread waiting in take().
  void wake_all();
  // Everything queued, in order; the queue is left empty.
  ElementQueue take_all();

 private:
  ElementQueue items_;
  pthread_mutex_t mutex_;
  pthread_cond_t cond_;
};

// What every thread of one listing shares.
struct listStruct_t {
  workQueue* input;          // entries to examine
  workQueue* output;         // examined entries
  std::atomic<int>* running;  // set while entries may still be queued
  bool located;
  std::string user;  // the name the workers' connections give the daemon
  bool impersonate;  // a proxy user was named: keep the connection whatever the answer
  int64_t defaultBlockSize;
  OwnerNameCache* names;
};

struct workerThreadArg_t {
  listStruct_t* list;
  int daemonFd;  // this worker's own connection (the caller's for worker 0)
};

// The started workers. Slot 0 of both is the calling thread, never started.
struct WorkerPool {
  std::vector<pthread_t> threads;
  std::deque<workerThreadArg_t> args;  // a deque: a started thread's argument never moves
  int count = 1;                       // workers including the caller
};

// Sets the running flag and starts up to threadCount - 1 workers, each on a
// connection of its own; stops early when a connection or a thread cannot be
// had. Returns the number of workers including the caller.
int startup_threads(WorkerPool& pool, int threadCount, listStruct_t& list);

// The work loop of one workerThreadArg_t: examines queued entries (two
// attempts each) until the queue is empty and the running flag is clear.
void* worker_thread(void* arg);

// Joins the started workers and ends their connections.
void cleanup_threads(WorkerPool& pool);

struct ListRequest {
  int daemonFd = -42;
  std::string path;
  int threadCount = 1;
  int threadThreshold = 0;
  bool located = false;
  std::string user;
  bool impersonate = false;
  int64_t defaultBlockSize = 0;
};

enum class ListOutcome {
  kListed,     // the directory was read
  kNotOpened,  // no descriptor for it: an empty result
  kNoStream,   // a descriptor that is not a directory stream: no result at all
};

struct Listing {
  ListOutcome outcome = ListOutcome::kNotOpened;
  size_t entries = 0;      // entries queued
  ElementQueue completed;  // every queued entry, in order of completion
  int workers = 1;         // threads that worked, the caller included
};

// Lists request.path: skips ".", "..", ".snapshot" and ".snapshots"; starts
// the workers when the threshold-th entry has been queued and another
// follows (a threshold of 0: before the first entry).
Listing list_directory(const ListRequest& request);

}  // namespace kelp

#endif  // KELP_STATUS_LISTING_H
