#include "status/listing.h"

#include <dirent.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include "channel/connection.h"
#include "channel/framing.h"
#include "jni/fd.h"
#include "jni/logging.h"

namespace kelp {
namespace {

// A thread primitive failed: the queues can no longer be trusted, and no
// caller could recover them. The one place the library ends the process.
void check(int rc, const char* what) {
  if (rc == 0) return;
  debug_log("listing: %s failed (%s); exiting", what, std::strerror(rc));
  std::exit(1);
}

class QueueLock final {
 public:
  explicit QueueLock(pthread_mutex_t* m) : m_(m) { check(pthread_mutex_lock(m_), "mutex lock"); }
  ~QueueLock() { check(pthread_mutex_unlock(m_), "mutex unlock"); }
  QueueLock(const QueueLock&) = delete;
  QueueLock& operator=(const QueueLock&) = delete;

 private:
  pthread_mutex_t* m_;
};

// Entries that are never listed: the directory itself, its parent, and the
// snapshot directories.
bool skipped(const char* name) {
  return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0 ||
         std::strcmp(name, ".snapshot") == 0 || std::strcmp(name, ".snapshots") == 0;
}

void quit(int connection) {
  send_message(connection, kMsgQuit, nullptr, 0);
  ::close(connection);
}

std::unique_ptr<fileStatus> attempt(const queueElement& e, int daemonFd, const listStruct_t& list) {
  try {
    return make_file_status(daemonFd, e.path.c_str(), list.located, list.defaultBlockSize,
                            list.names);
  } catch (...) {
    return nullptr;  // out of memory: counts as a failed attempt
  }
}

// Reads the directory, queueing every entry; starts the workers on the way.
void enumerate(DIR* dir, const ListRequest& request, listStruct_t& list, WorkerPool& pool,
               size_t& entries) {
  // Whatever has been queued when memory runs out is listed; the rest is
  // treated like a read error.
  try {
    while (struct dirent* entry = ::readdir(dir)) {
      if (skipped(entry->d_name)) continue;
      if (request.threadThreshold >= 0 &&
          entries == static_cast<size_t>(request.threadThreshold)) {
        pool.count = startup_threads(pool, request.threadCount, list);
      }
      auto element = std::make_unique<queueElement>();
      element->path.reserve(request.path.size() + 1 + std::strlen(entry->d_name));
      element->path.append(request.path).append("/").append(entry->d_name);
      list.input->append(std::move(element));
      ++entries;
    }
  } catch (...) {
    debug_log("listing %s: out of memory after %zu entries", request.path.c_str(), entries);
  }
}

}  // namespace

workQueue::workQueue() {
  check(pthread_mutex_init(&mutex_, nullptr), "mutex init");
  check(pthread_cond_init(&cond_, nullptr), "condition init");
}

workQueue::~workQueue() {
  check(pthread_cond_destroy(&cond_), "condition destroy");
  check(pthread_mutex_destroy(&mutex_), "mutex destroy");
}

void workQueue::append(std::unique_ptr<queueElement> element) {
  QueueLock lock(&mutex_);
  items_.push_back(std::move(element));
  check(pthread_cond_broadcast(&cond_), "condition broadcast");
}

std::unique_ptr<queueElement> workQueue::take(const std::atomic<int>& running) {
  QueueLock lock(&mutex_);
  if (!items_.empty()) {
    std::unique_ptr<queueElement> e = std::move(items_.front());
    items_.pop_front();
    return e;
  }
  // The flag is read under the lock that wake_all takes, so a clear that
  // comes after this read is always followed by a broadcast this wait sees.
  if (running.load() != 0) check(pthread_cond_wait(&cond_, &mutex_), "condition wait");
  return nullptr;
}

void workQueue::wake_all() {
  QueueLock lock(&mutex_);
  check(pthread_cond_broadcast(&cond_), "condition broadcast");
}

ElementQueue workQueue::take_all() {
  QueueLock lock(&mutex_);
  ElementQueue all;
  all.swap(items_);
  return all;
}

int startup_threads(WorkerPool& pool, int threadCount, listStruct_t& list) {
  list.running->store(1);
  std::srand(static_cast<unsigned>(std::time(nullptr)));
  if (threadCount < 2) return 1;
  for (int i = 1;; ++i) {
    int connection = connect_daemon(list.impersonate ? 1 : 0, list.user.c_str());
    if (connection < 0) return i;
    // The slots are made before the thread, so a started thread is always
    // recorded and joined.
    try {
      pool.threads.resize(i + 1);
      pool.args.resize(i);
      pool.args.push_back(workerThreadArg_t{&list, connection});
    } catch (const std::bad_alloc&) {
      quit(connection);
      return i;
    }
    int rc = pthread_create(&pool.threads[i], nullptr, worker_thread, &pool.args[i]);
    if (rc != 0) {
      debug_log("listing: no worker thread (%s)", std::strerror(rc));
      quit(connection);
      return i;
    }
    if (i + 1 >= threadCount) return i + 1;
  }
}

void* worker_thread(void* p) {
  const workerThreadArg_t& arg = *static_cast<workerThreadArg_t*>(p);
  listStruct_t& list = *arg.list;
  for (;;) {
    std::unique_ptr<queueElement> e = list.input->take(*list.running);
    if (!e) {
      if (list.running->load() == 0) return nullptr;
      continue;
    }
    if (!e->result) {
      e->result = attempt(*e, arg.daemonFd, list);
      if (!e->result) e->result = attempt(*e, arg.daemonFd, list);
    }
    list.output->append(std::move(e));
  }
}

void cleanup_threads(WorkerPool& pool) {
  for (int i = 1; i < pool.count; ++i) {
    check(pthread_join(pool.threads[i], nullptr), "thread join");
    quit(pool.args[i].daemonFd);
  }
}

Listing list_directory(const ListRequest& request) {
  Listing out;
  workQueue output;
  workQueue input;
  std::atomic<int> running{0};
  OwnerNameCache names;
  listStruct_t list{&input, &output, &running, request.located, request.user,
                    request.impersonate, request.defaultBlockSize, &names};
  WorkerPool pool;

  UniqueFd fd(helper_get_fd(request.daemonFd, request.path.c_str()));
  if (fd) {
    DIR* stream = ::fdopendir(fd.get());
    if (stream == nullptr) {
      debug_log("listing %s: not a directory stream", request.path.c_str());
      out.outcome = ListOutcome::kNoStream;
      return out;
    }
    fd.release();  // closedir closes it, once
    UniqueDir dir(stream);
    enumerate(dir.get(), request, list, pool, out.entries);
    out.outcome = ListOutcome::kListed;
  }

  // Nothing more will be queued: waiting workers must wake to see that.
  running.store(0);
  input.wake_all();
  workerThreadArg_t caller{&list, request.daemonFd};
  worker_thread(&caller);
  cleanup_threads(pool);
  out.workers = pool.count;
  out.completed = output.take_all();
  return out;
}

}  // namespace kelp
