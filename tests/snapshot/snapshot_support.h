// Shared by the snapshot tests: their fixture, the images the fake
// kpcrsnapshot keeps under /mnt/kelp/.snapshots, reading links, scenario
// variants and a read-only bind mount.
#ifndef KELP_TESTS_SNAPSHOT_SNAPSHOT_SUPPORT_H
#define KELP_TESTS_SNAPSHOT_SNAPSHOT_SUPPORT_H

#include <dirent.h>
#include <unistd.h>

#include <set>
#include <string>
#include <vector>

#include "support/connection_modes.h"
#include "support/sandbox.h"

namespace snaptest {

// Runs each test locally and through the helper daemon, in a scratch
// directory of /mnt/kelp, with the log of fake commands cleared.
class SnapshotTest : public kelptest::ConnectionModeTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(ConnectionModeTest::SetUp());
    kelptest::clear_admin_invocations();
  }
  // |tag| made unique across tests and modes (snapshot names are
  // file-system wide), its first characters kept.
  std::string unique(const std::string& tag) const {
    return tag + "@" + dir_.path().substr(dir_.path().rfind('/') + 1);
  }

  kelptest::ScratchDir dir_{"snap"};
};

// Where the fake command keeps snapshot |name| of /mnt/kelp.
inline std::string image_of(const std::string& name) {
  return std::string(kelptest::kKelpMount) + "/.snapshots/" + name;
}

// The runs of kpcrsnapshot and kpdelsnapshot since the last clear, in
// order, each as its argument vector (the details the library gathers
// first run other commands).
inline std::vector<std::vector<std::string>> snapshot_commands() {
  std::vector<std::vector<std::string>> runs;
  for (auto& argv : kelptest::admin_invocations()) {
    if (argv.front() == "kpcrsnapshot" || argv.front() == "kpdelsnapshot") runs.push_back(argv);
  }
  return runs;
}

// The names of the snapshots of /mnt/kelp.
inline std::set<std::string> snapshot_images() {
  std::set<std::string> names;
  DIR* d = ::opendir((std::string(kelptest::kKelpMount) + "/.snapshots").c_str());
  if (d == nullptr) return names;
  while (struct dirent* e = ::readdir(d)) {
    std::string n = e->d_name;
    if (n != "." && n != "..") names.insert(n);
  }
  ::closedir(d);
  return names;
}

// The target of symbolic link |path| ("" when it is none).
inline std::string read_link(const std::string& path) {
  char buf[4096];
  ssize_t n = ::readlink(path.c_str(), buf, sizeof buf);
  return n < 0 ? "" : std::string(buf, static_cast<size_t>(n));
}

// The sandbox's default cluster plus |records|, in effect for the object's
// lifetime.
class ScenarioWith final {
 public:
  explicit ScenarioWith(const std::string& records) {
    std::string base = kelptest::read_file(std::string(KELP_TEST_SOURCE_DIR) +
                                           "/sandbox/scenarios/default.scn");
    kelptest::use_scenario_text(base + "\n" + records + "\n");
  }
  ~ScenarioWith() { kelptest::use_scenario("default"); }
  ScenarioWith(const ScenarioWith&) = delete;
  ScenarioWith& operator=(const ScenarioWith&) = delete;
};

// |dir| made read-only, even for root, by a bind mount over itself (inside
// the sandbox's namespace); unmounted on destruction.
class ReadOnlyBind final {
 public:
  explicit ReadOnlyBind(const std::string& dir) : dir_(dir) {
    std::string q = "'" + dir + "'";
    ok_ = kelptest::run_command("mount --bind " + q + " " + q + " && mount -o remount,bind,ro " +
                                q) == 0;
  }
  ~ReadOnlyBind() { kelptest::run_command("umount '" + dir_ + "'"); }
  ReadOnlyBind(const ReadOnlyBind&) = delete;
  ReadOnlyBind& operator=(const ReadOnlyBind&) = delete;
  bool ok() const { return ok_; }

 private:
  std::string dir_;
  bool ok_ = false;
};

}  // namespace snaptest

#endif  // KELP_TESTS_SNAPSHOT_SNAPSHOT_SUPPORT_H
