// ACL entries as the Java side hands them over (type, permission, scope and
// a name of any bytes), converted and applied to a scratch file and
// directory by modify, remove and set, then read back. Names are bounded the
// way the entry point bounds them; the rest is the library's own work.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <string>

#include "acl/aclutil.h"
#include "acl/libopenacl.h"
#include "fuzz_support.h"

using namespace kelpfuzz;

namespace {

std::string g_root, g_file, g_dir;

void remove_scratch() {
  ::unlink(g_file.c_str());
  ::rmdir(g_dir.c_str());
  ::rmdir(g_root.c_str());
}

// Names the host knows, so that named entries get past the look-up.
const char* const kNames[] = {"", "root", "daemon", "bin", "nobody", "nogroup"};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const char* tmp = std::getenv("TMPDIR");
  std::string dir = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/kelp-fuzz-acl-XXXXXX";
  if (::mkdtemp(&dir[0]) == nullptr) fail("mkdtemp");
  g_root = dir;
  g_dir = dir + "/d";
  g_file = dir + "/f";
  std::atexit(remove_scratch);
  ::mkdir(g_dir.c_str(), 0750);
  kelp::UniqueFd(::open(g_file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0640));
  if (kelp::ACLUtil::libacl_handle.load() == nullptr) fail("libacl did not load");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  uint8_t control = in.byte();
  const std::string& path = (control & 1) ? g_dir : g_file;
  // Every run starts from the same minimal ACLs.
  kelp::removeACL(path.c_str());
  ::chmod(path.c_str(), 0750);

  std::list<kelp::AclEntry*> entries;
  kelp::AclEntryListGuard guard(entries);
  while (!in.empty() && entries.size() < 32) {
    std::unique_ptr<kelp::AclEntry> e(new kelp::AclEntry());
    uint8_t t = in.byte();
    e->type = (t & 0x80) ? static_cast<int32_t>(in.u32()) : t % 4;
    uint8_t p = in.byte();
    e->permission = (p & 0x80) ? static_cast<int32_t>(in.u32()) : p % 8;
    e->scope = in.byte() % 3;
    uint8_t n = in.byte();
    std::string name = (n & 0x80) ? in.bytes(n & 0x7f) : kNames[n % 6];
    // The entry point refuses a name that does not fit, as here.
    if (name.size() >= sizeof e->name) continue;
    std::memcpy(e->name, name.data(), name.size());
    entries.push_back(e.release());
  }
  switch ((control >> 1) % 3) {
    case 0: kelp::modifyAclEntries(path.c_str(), entries); break;
    case 1: kelp::removeAclEntries(path.c_str(), entries); break;
    default: kelp::setAcl(path.c_str(), entries); break;
  }
  std::unique_ptr<kelp::AclStatusInfo> status = kelp::getAclStatus(path.c_str());
  if (status) {
    for (const kelp::AclEntry* e : status->entries) {
      if (::strnlen(e->name, sizeof e->name) == sizeof e->name) fail("unterminated name");
    }
  }
  if (control & 0x40) kelp::removeDefaultAcl(path.c_str());
  return 0;
}
