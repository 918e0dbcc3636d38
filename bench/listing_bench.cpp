// What Hadoop asks most often, timed as the JVM calls it: directory listings
// (nListStatus) and block locations (nGetFileBlockLocations), each in the same
// run as its baselines, and a table of the ratios at the end:
//   - a plain C++ loop making per entry exactly the calls a status record
//     needs (readdir, stat, an open, the block-map request that gives the
//     replication and block size, close, the ACL probe; each distinct owner
//     and group resolved once), the floor for any listing;
//   - the same listing in pure Java (java.nio.file, PosixFileAttributes),
//     through the harness class org.apache.hadoop.fs.kelp.bench.KelpBench;
//   - for block locations, pure Java building the identical BlockLocation[].
// Runs inside the sandbox with the request log of the simulated library off
// (scripts/bench.sh).
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <set>
#include <memory>
#include <string>
#include <vector>

#include "details/fcntl_requests.h"
#include "jni/fd.h"
#include "kelp.h"
#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "status/identity.h"
#include "status/listing.h"
#include "support/helper_daemon.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::jstr;
using kelptest::jvm_env;

constexpr const char* kBenchRoot = "/mnt/kelp/bench";
constexpr jlong kBlockSize = 4 << 20;
constexpr jlong kDefaultBlockSize = 128 << 20;
const std::vector<int> kListingSizes = {10000, 100000};
const std::vector<std::pair<const char*, int64_t>> kBlockFiles = {
    {"1GiB", int64_t{1} << 30}, {"64GiB", int64_t{64} << 30}, {"1TiB", int64_t{1} << 40}};

std::string listing_dir(int entries) { return std::string(kBenchRoot) + "/d" + std::to_string(entries); }
std::string block_file(const char* name) { return std::string(kBenchRoot) + "/blocks-" + name; }

// One-byte files, one block each.
void make_listing_dir(int entries) {
  std::string dir = listing_dir(entries);
  ::mkdir(kBenchRoot, 0755);
  if (::mkdir(dir.c_str(), 0755) != 0) return;  // made by an earlier run of this process
  for (int i = 0; i < entries; ++i) {
    char name[64];
    std::snprintf(name, sizeof name, "/part-%06d", i);
    kelp::UniqueFd fd(::open((dir + name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    if (!fd || ::write(fd.get(), "x", 1) != 1) std::abort();
  }
}

// Sparse files with three replicas.
void make_block_file(const char* name, int64_t size) {
  kelp::UniqueFd fd(::open(block_file(name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
  if (!fd || ::ftruncate(fd.get(), size) != 0 || !kelp::kelp_set_replication_fd(fd.get(), 3)) {
    std::abort();
  }
}

// A serving helper daemon for the whole run: a listing's workers each need a
// connection of their own (without one the caller lists alone), whether the
// caller itself works locally (-42) or through the daemon too.
std::unique_ptr<kelptest::HelperDaemon> gDaemon;

int daemon_connection() {
  static int conn = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nConnect(
      jvm_env(), kelptest::kelp_fs(), jstr("root"), nullptr);
  return conn;
}

// Runs |body| once per iteration inside a local frame, so every reference a
// listing hands back is released like a Java caller's would be.
void in_frame(const std::function<long()>& body, benchmark::State& state) {
  JNIEnv* env = jvm_env();
  long items = 0;
  for (auto _ : state) {
    env->PushLocalFrame(16);
    long n = body();
    env->PopLocalFrame(nullptr);
    if (n < 0) {
      state.SkipWithError("the call failed");
      return;
    }
    items += n;
  }
  state.SetItemsProcessed(items);
}

long list_status(int conn, const std::string& dir, int threads, bool located) {
  JNIEnv* env = jvm_env();
  jobjectArray r = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nListStatus(
      env, kelptest::kelp_fs(), conn, jstr(dir), threads, 0, located ? JNI_TRUE : JNI_FALSE,
      jstr("root"), nullptr, kDefaultBlockSize);
  return r == nullptr ? -1 : env->GetArrayLength(r);
}

// A block-map request for |length| bytes from 0, as libkelp.so takes it.
bool block_map_request(int fd, std::vector<uint8_t>& buf, uint32_t type, int64_t length) {
  constexpr uint32_t kSize = 64584;
  buf.resize(kSize);
  std::memset(buf.data(), 0, 72);  // the header and reply fields, as the library does
  uint32_t words[] = {kSize, 1, 0, 0, kSize - 16, type};
  std::memcpy(buf.data(), words, sizeof words);
  int64_t args[] = {0, kDefaultBlockSize, length};
  std::memcpy(buf.data() + 24, args, sizeof args);
  return kelp_fcntl(fd, buf.data()) == 0;
}

// The floor: per entry stat, open, the block-map request (length 0: no
// blocks are wanted), close and the ACL probe; each distinct owner and group
// resolved once.
long baseline_loop(const std::string& dir) {
  static std::vector<uint8_t> request;
  static const uint32_t type = [] {
    // The library asks for cache nodes when the file system answers them.
    std::vector<uint8_t> probe;
    kelp::UniqueFd fd(::open(kBenchRoot, O_RDONLY | O_CLOEXEC));
    return block_map_request(fd.get(), probe, KELP_FCNTL_GET_BLOCKMAP_CACHED, 0)
               ? KELP_FCNTL_GET_BLOCKMAP_CACHED
               : KELP_FCNTL_GET_BLOCKMAP;
  }();
  DIR* d = ::opendir(dir.c_str());
  if (d == nullptr) return -1;
  kelp::UniqueDir owner(d);
  std::map<uid_t, std::string> users;
  std::map<gid_t, std::string> groups;
  long n = 0;
  std::string path;
  while (struct dirent* e = ::readdir(d)) {
    if (e->d_name[0] == '.') continue;
    path.assign(dir).append("/").append(e->d_name);
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) continue;
    {
      kelp::UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
      benchmark::DoNotOptimize(block_map_request(fd.get(), request, type, 0));
    }
    benchmark::DoNotOptimize(::getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0));
    char name[256];
    if (users.find(st.st_uid) == users.end() && kelp::uid_to_usrname(st.st_uid, name, sizeof name) == 0) {
      users[st.st_uid] = name;
    }
    if (groups.find(st.st_gid) == groups.end() && kelp::gid_to_grpname(st.st_gid, name, sizeof name) == 0) {
      groups[st.st_gid] = name;
    }
    ++n;
  }
  return n;
}

// The listing's native engine alone (one thread, no Java objects): what the
// library adds to the floor before any object is made.
long engine_only(const std::string& dir) {
  kelp::ListRequest request;
  request.path = dir;
  request.threadCount = 1;
  request.user = "root";
  request.defaultBlockSize = kDefaultBlockSize;
  kelp::Listing listing = kelp::list_directory(request);
  return static_cast<long>(listing.entries);
}

jclass bench_class() {
  static jclass cls = [] {
    JNIEnv* env = jvm_env();
    jclass local = env->FindClass("org/apache/hadoop/fs/kelp/bench/KelpBench");
    if (local == nullptr) std::abort();
    auto global = static_cast<jclass>(env->NewGlobalRef(local));
    env->DeleteLocalRef(local);
    return global;
  }();
  return cls;
}

long java_listing(const std::string& dir) {
  JNIEnv* env = jvm_env();
  static jmethodID m =
      env->GetStaticMethodID(bench_class(), "nioList", "(Ljava/lang/String;)I");
  jint n = env->CallStaticIntMethod(bench_class(), m, jstr(dir));
  return env->ExceptionCheck() ? (env->ExceptionDescribe(), -1) : n;
}

jobjectArray block_locations(int conn, const std::string& file, int64_t size) {
  return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetFileBlockLocations(
      jvm_env(), kelptest::kelp_fs(), conn, jstr(file), 0, size, kBlockSize);
}

long java_copy_of_block_locations(jobjectArray sample) {
  JNIEnv* env = jvm_env();
  static jmethodID m = env->GetStaticMethodID(
      bench_class(), "copyBlockLocations",
      "([Lorg/apache/hadoop/fs/BlockLocation;)[Lorg/apache/hadoop/fs/BlockLocation;");
  auto copy = static_cast<jobjectArray>(env->CallStaticObjectMethod(bench_class(), m, sample));
  return copy == nullptr ? -1 : env->GetArrayLength(copy);
}

// Collects each run's time per iteration for the ratio table.
class Collector final : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs) {
      if (r.error_occurred) continue;
      // With repetitions the median stands for the run; without, the one run.
      bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
      if (median || (r.run_type == Run::RT_Iteration && medians_.count(name(r)) == 0)) {
        ns_[name(r)] = r.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(r.time_unit) * 1e9;
        if (median) medians_.insert(name(r));
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
  // Nanoseconds per iteration of |name|, or 0 when it did not run.
  double ns(const std::string& name) const {
    auto it = ns_.find(name);
    return it == ns_.end() ? 0 : it->second;
  }

 private:
  static const std::string& name(const Run& r) { return r.run_name.function_name; }

  std::map<std::string, double> ns_;
  std::set<std::string> medians_;
};

std::string listing_name(int entries, const char* mode, bool located, int threads) {
  return "list/" + std::to_string(entries) + "/" + mode + "/located=" + (located ? "1" : "0") +
         "/threads=" + std::to_string(threads);
}

void register_all() {
  for (int entries : kListingSizes) {
    std::string dir = listing_dir(entries);
    benchmark::RegisterBenchmark(("list/" + std::to_string(entries) + "/baseline-loop").c_str(),
                                 [dir](benchmark::State& s) {
                                   in_frame([&] { return baseline_loop(dir); }, s);
                                 })
        ->Unit(benchmark::kMillisecond)->UseRealTime();
    benchmark::RegisterBenchmark(("list/" + std::to_string(entries) + "/engine-only").c_str(),
                                 [dir](benchmark::State& s) {
                                   in_frame([&] { return engine_only(dir); }, s);
                                 })
        ->Unit(benchmark::kMillisecond)->UseRealTime();
    benchmark::RegisterBenchmark(("list/" + std::to_string(entries) + "/pure-java").c_str(),
                                 [dir](benchmark::State& s) {
                                   in_frame([&] { return java_listing(dir); }, s);
                                 })
        ->Unit(benchmark::kMillisecond)->UseRealTime();
    for (const char* mode : {"local", "daemon"}) {
      for (bool located : {false, true}) {
        for (int threads : {1, 2, 4}) {
          benchmark::RegisterBenchmark(
              listing_name(entries, mode, located, threads).c_str(),
              [=](benchmark::State& s) {
                int conn = std::string(mode) == "local" ? -42 : daemon_connection();
                if (conn == -1) {
                  s.SkipWithError("no helper daemon");
                  return;
                }
                in_frame([&] { return list_status(conn, dir, threads, located); }, s);
              })
              ->Unit(benchmark::kMillisecond)->UseRealTime();
        }
      }
    }
  }
  for (const auto& f : kBlockFiles) {
    std::string file = block_file(f.first);
    int64_t size = f.second;
    benchmark::RegisterBenchmark((std::string("blocks/") + f.first + "/native").c_str(),
                                 [=](benchmark::State& s) {
                                   in_frame([&]() -> long {
                                     jobjectArray a = block_locations(-42, file, size);
                                     return a == nullptr ? -1 : jvm_env()->GetArrayLength(a);
                                   }, s);
                                 })
        ->Unit(benchmark::kMillisecond)->UseRealTime();
    benchmark::RegisterBenchmark((std::string("blocks/") + f.first + "/pure-java").c_str(),
                                 [=](benchmark::State& s) {
                                   JNIEnv* env = jvm_env();
                                   env->PushLocalFrame(16);
                                   jobjectArray sample = block_locations(-42, file, size);
                                   if (sample != nullptr) {
                                     in_frame([&] { return java_copy_of_block_locations(sample); }, s);
                                   } else {
                                     s.SkipWithError("no block locations");
                                   }
                                   env->PopLocalFrame(nullptr);
                                 })
        ->Unit(benchmark::kMillisecond)->UseRealTime();
  }
}

void print_ratios(const Collector& c) {
  std::printf("\nRatios (time per entry or block; lower is better for the first column)\n");
  for (int entries : kListingSizes) {
    std::string base = "list/" + std::to_string(entries);
    double loop = c.ns(base + "/baseline-loop") / entries;
    double java = c.ns(base + "/pure-java") / entries;
    double engine = c.ns(base + "/engine-only") / entries;
    std::printf("%d entries: C++ loop %.0f ns/entry, the library's engine without Java objects "
                "%.0f ns/entry, pure Java %.0f ns/entry\n",
                entries, loop, engine, java);
    for (const char* mode : {"local", "daemon"}) {
      for (bool located : {false, true}) {
        for (int threads : {1, 2, 4}) {
          double t = c.ns(listing_name(entries, mode, located, threads)) / entries;
          if (t <= 0) continue;
          double one = c.ns(listing_name(entries, mode, located, 1)) / entries;
          double unlocated = c.ns(listing_name(entries, mode, false, threads)) / entries;
          std::printf(
              "  %-6s located=%d threads=%d  %7.0f ns/entry  %5.2fx loop  %5.1fx faster than Java"
              "  speed-up over 1 thread %4.2fx  located/unlocated %4.2fx\n",
              mode, located, threads, t, t / loop, java / t, one / t, t / unlocated);
        }
      }
    }
  }
  double first_per_block = 0;
  for (const auto& f : kBlockFiles) {
    int64_t blocks = f.second / kBlockSize;
    double nat = c.ns(std::string("blocks/") + f.first + "/native");
    double java = c.ns(std::string("blocks/") + f.first + "/pure-java");
    if (nat <= 0) continue;
    double per_block = nat / blocks;
    if (first_per_block == 0) first_per_block = per_block;
    std::printf("%-6s %7lld blocks: native %9.3f ms (%6.1f ns/block, %+5.1f%% vs 1GiB), "
                "pure Java %9.3f ms: %4.2fx\n",
                f.first, static_cast<long long>(blocks), nat / 1e6, per_block,
                (per_block / first_per_block - 1) * 100, java / 1e6, nat / java);
  }
}

}  // namespace

int main(int argc, char** argv) {
  kelptest::require_sandbox();
  for (int entries : kListingSizes) make_listing_dir(entries);
  for (const auto& f : kBlockFiles) make_block_file(f.first, f.second);
  gDaemon = std::make_unique<kelptest::HelperDaemon>(std::vector<std::string>{"--serve"});
  if (!gDaemon->ready()) {
    std::fprintf(stderr, "the helper daemon did not start: %s\n", gDaemon->log().c_str());
    return 1;
  }
  register_all();
  benchmark::Initialize(&argc, argv);
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  print_ratios(collector);
  benchmark::Shutdown();
  gDaemon.reset();
  return 0;
}
