// The block-map reader against replies of any shape: the client library's
// kelp_fcntl is replaced here by one that answers each request with the next
// reply of the input (replicas, blocks, block size, records). The reader
// must never read or copy past the reply buffer, never loop without end and
// never reserve memory that no reply could fill.
#include <fcntl.h>

#include <cstring>

#include "fsops/kelpHadoop.h"
#include "fuzz_support.h"
#include "kelp.h"
#include "topology/block_locations.h"

using namespace kelpfuzz;

namespace {
Input* g_replies = nullptr;
int g_calls = 0;
}  // namespace

// Layout of the request buffer the reader hands over (see block_map_reader).
extern "C" int kelp_fcntl(int, void* arg) {
  auto* buf = static_cast<uint8_t*>(arg);
  uint32_t size;
  std::memcpy(&size, buf, sizeof size);
  if (++g_calls > 4096) fail("the reader keeps asking");
  Input& in = *g_replies;
  uint8_t control = in.byte();
  if (in.empty() || (control & 0x80) != 0) return -1;
  auto put32 = [&](size_t at, uint32_t v) { std::memcpy(buf + at, &v, sizeof v); };
  // Small counts mostly, any count now and then.
  put32(56, (control & 1) ? in.u32() : in.byte() % 8);   // replicas
  put32(60, (control & 2) ? in.u32() : in.byte() % 64);  // blocks
  put32(64, (control & 4) ? in.u32() : uint32_t{1} << (in.byte() % 32));  // block size
  // Records: whatever the input holds, up to the buffer's end.
  std::string records = in.bytes(in.byte() * 8u);
  if (records.size() > size - 72) records.resize(size - 72);
  std::memcpy(buf + 72, records.data(), records.size());
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  uint8_t mode = in.byte();
  // -1 probes first; 0 and 1 are the layouts a probe settles on.
  kelp::isCacheInMemEnabled = static_cast<int>(mode % 3) - 1;
  kelp::FilemapIn filemap;
  filemap.start = (mode & 4) ? in.i64() : in.byte() * 4096;
  filemap.blockSize = (mode & 8) ? in.i64() : int64_t{in.byte()} << 12;
  filemap.length = (mode & 16) ? in.i64() : int64_t{in.u32()} << (in.byte() % 24);
  filemap.replicas = in.byte() % 4;
  g_replies = &in;
  g_calls = 0;
  kelp::BlockMap map;
  int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (kelp::kelpGetFileBlockLocationOLD(kelp::kLocalConnection, "/dev/null", filemap, map, fd) ==
      0) {
    if (static_cast<int64_t>(map.lengths.size()) != map.count) fail("lengths and count differ");
    int64_t record = kelp::block_record_size(map.cached_layout, filemap.replicas);
    if (map.count > 0 && static_cast<int64_t>(map.records.size()) != map.count * record) {
      fail("records and count differ");
    }
  }
  return 0;
}
