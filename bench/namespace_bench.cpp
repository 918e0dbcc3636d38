// Cost of the library's namespace work: the frame codec on its own, and the
// same operations run locally and through the helper daemon. Runs inside the
// sandbox (scripts/bench.sh).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "channel/connection.h"
#include "channel/framing.h"
#include "channel/payload.h"
#include "channel/request.h"
#include "fsops/kelpHadoop.h"
#include "fsops/local_ops.h"
#include "jni/fd.h"
#include "support/helper_daemon.h"
#include "support/sandbox.h"

namespace {

// A request and its one-byte reply over a socket pair, answered by a thread
// that echoes the request's type: the codec and two system calls each way.
void BM_FrameRoundTrip(benchmark::State& state) {
  int fds[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
    state.SkipWithError("socketpair");
    return;
  }
  kelp::UniqueFd client(fds[0]);
  kelp::UniqueFd server(fds[1]);
  std::thread echo([fd = server.get()] {
    char type;
    char payload[kelp::kPathReplySize];
    while (kelp::recv_message(fd, &type, payload, sizeof payload) >= 0 && type != kelp::kMsgQuit) {
      char one = 1;
      kelp::send_message(fd, type, &one, 1);
    }
  });
  const std::string path = "/mnt/kelp/bench/some/directory/part-00000";
  for (auto _ : state) {
    signed char reply = 0;
    bool ok = kelp::exchange_byte(client.get(), kelp::kMsgExists, kelp::Payload().str(path), reply);
    benchmark::DoNotOptimize(ok);
  }
  kelp::send_message(client.get(), kelp::kMsgQuit, nullptr, 0);
  echo.join();
}
BENCHMARK(BM_FrameRoundTrip);

// A one-byte file in a scratch directory, and the connection the benchmark
// runs on: -42 (local), or a socket to a serving daemon (argument 1).
class Fixture final {
 public:
  Fixture(const char* name, benchmark::State& state) : dir_(name), file_(dir_ / "f") {
    kelptest::write_file(file_, "x");
    if (state.range(0) != 0) {
      daemon_ = std::make_unique<kelptest::HelperDaemon>(std::vector<std::string>{"--serve"});
      connection_ = daemon_->ready() ? kelp::connect_daemon(0, "root") : -1;
      if (connection_ == -1) state.SkipWithError("no daemon");
    }
  }
  ~Fixture() {
    if (connection_ >= 0) {
      kelp::send_message(connection_, kelp::kMsgQuit, nullptr, 0);
      ::close(connection_);
    }
  }
  Fixture(const Fixture&) = delete;
  Fixture& operator=(const Fixture&) = delete;

  bool ok() const { return connection_ != -1; }
  int connection() const { return connection_; }
  const std::string& file() const { return file_; }

 private:
  kelptest::ScratchDir dir_;
  std::string file_;
  std::unique_ptr<kelptest::HelperDaemon> daemon_;
  int connection_ = kelp::kLocalConnection;
};

// Existence test of one path, as Hadoop asks it before most operations.
void BM_Exists(benchmark::State& state) {
  Fixture fx("bench-exists", state);
  if (!fx.ok()) return;
  const std::string& f = fx.file();
  const int conn = fx.connection();
  for (auto _ : state) {
    int exists = conn == kelp::kLocalConnection
                     ? kelp::kelp_exists(f.c_str())
                     : [&] {
                         signed char reply = 0;
                         kelp::exchange_byte(conn, kelp::kMsgExists, kelp::Payload().str(f), reply);
                         return static_cast<int>(reply);
                       }();
    benchmark::DoNotOptimize(exists);
  }
}
BENCHMARK(BM_Exists)->ArgName("daemon")->Arg(0)->Arg(1);

// Open for reading: a local open, or a request plus a passed descriptor.
void BM_OpenForRead(benchmark::State& state) {
  Fixture fx("bench-open", state);
  if (!fx.ok()) return;
  for (auto _ : state) {
    kelp::UniqueFd fd(kelp::helper_get_fd(fx.connection(), fx.file().c_str()));
    if (!fd) state.SkipWithError("open failed");
  }
}
BENCHMARK(BM_OpenForRead)->ArgName("daemon")->Arg(0)->Arg(1);

// Create (with the replication request) and delete of a file in a fresh
// directory: the write path of every Hadoop task output.
void BM_CreateDelete(benchmark::State& state) {
  kelptest::ScratchDir dir("bench-create");
  std::string f = dir / "out/part";
  for (auto _ : state) {
    kelp::UniqueFd fd(kelp::kelp_create(f.c_str(), 0644, 2, true, 0));
    if (!fd) state.SkipWithError("create failed");
    fd.reset();
    kelp::kelp_delete(f.c_str(), false);
  }
}
BENCHMARK(BM_CreateDelete);

}  // namespace

BENCHMARK_MAIN();
