#include "sim_state.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <sstream>

#include "scenario.h"

namespace kelpsim {
namespace {

// Owns one descriptor; closes it on scope exit.
class Fd final {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) ::close(fd_);
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

void ensure_dir(const std::string& dir) {
  if (::mkdir(dir.c_str(), 01777) == 0) ::chmod(dir.c_str(), 01777);
}

// Serialises read-modify-write of the key files across processes.
class StateLock final {
 public:
  StateLock() : fd_(::open((state_dir() + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
    if (fd_.get() >= 0) ::flock(fd_.get(), LOCK_EX);
  }

 private:
  Fd fd_;
};

}  // namespace

bool read_text_file(const std::string& path, std::string& out) {
  Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) return false;
  char buf[4096];
  for (;;) {
    ssize_t n = ::read(fd.get(), buf, sizeof buf);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) return true;
    out.append(buf, static_cast<size_t>(n));
  }
}

bool write_text_file_atomically(const std::string& path, const std::string& text) {
  std::string tmp = path + ".tmp." + std::to_string(::getpid());
  {
    Fd fd(::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (fd.get() < 0) return false;
    ::fchmod(fd.get(), 0666);
    if (::write(fd.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) return false;
  }
  return ::rename(tmp.c_str(), path.c_str()) == 0;
}

namespace {

std::map<std::string, std::string> parse_keys(const std::string& text) {
  std::map<std::string, std::string> keys;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    size_t eq = line.find('=');
    if (eq != std::string::npos) keys[line.substr(0, eq)] = line.substr(eq + 1);
  }
  return keys;
}

bool get_key(const std::string& file, const std::string& key, std::string& value) {
  std::string text;
  if (!read_text_file(file, text)) return false;
  auto keys = parse_keys(text);
  auto it = keys.find(key);
  if (it == keys.end()) return false;
  value = it->second;
  return true;
}

bool set_key(const std::string& file, const std::string& key, const std::string& value) {
  StateLock lock;
  std::string text;
  read_text_file(file, text);
  auto keys = parse_keys(text);
  keys[key] = value;
  std::string out;
  for (const auto& kv : keys) out += kv.first + "=" + kv.second + "\n";
  bool written = write_text_file_atomically(file, out);
  bump_generation();
  return written;
}

std::string attr_file(const struct stat& st) {
  return state_dir() + "/files/" + std::to_string(st.st_dev) + ":" + std::to_string(st.st_ino);
}

void remove_tree_contents(const std::string& dir) {
  DIR* d = ::opendir(dir.c_str());
  if (d == nullptr) return;
  while (struct dirent* e = ::readdir(d)) {
    if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0) continue;
    ::unlink((dir + "/" + e->d_name).c_str());
  }
  ::closedir(d);
}

}  // namespace

std::string state_dir() {
  // Made once per process: a mkdir of an existing directory still takes its
  // parent's lock, which would serialise every request of every thread.
  static const std::string dir = [] {
    const char* env = std::getenv("KELP_SIM_DIR");
    std::string d = (env != nullptr && *env != '\0') ? env : "/run/kelp-sim";
    ensure_dir(d);
    ensure_dir(d + "/fail");
    ensure_dir(d + "/files");
    return d;
  }();
  return dir;
}

namespace {

// The shared counter: 8 bytes of $KELP_SIM_DIR/generation, mapped once per
// process. Null when the file cannot be made or mapped.
uint64_t* generation_word() {
  static uint64_t* word = []() -> uint64_t* {
    Fd fd(::open((state_dir() + "/generation").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (fd.get() < 0) return nullptr;
    ::fchmod(fd.get(), 0666);
    struct stat st;
    if (::fstat(fd.get(), &st) != 0) return nullptr;
    if (st.st_size < static_cast<off_t>(sizeof(uint64_t)) &&
        ::ftruncate(fd.get(), sizeof(uint64_t)) != 0) {
      return nullptr;
    }
    void* p = ::mmap(nullptr, sizeof(uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
    return p == MAP_FAILED ? nullptr : static_cast<uint64_t*>(p);
  }();
  return word;
}

}  // namespace

uint64_t state_generation() {
  static std::atomic<uint64_t> unshared{1};
  uint64_t* word = generation_word();
  if (word == nullptr) return unshared.fetch_add(1) << 1 | 1;  // odd: never matches a stamp twice
  return __atomic_load_n(word, __ATOMIC_ACQUIRE) << 1;
}

void bump_generation() {
  if (uint64_t* word = generation_word()) __atomic_fetch_add(word, 1, __ATOMIC_ACQ_REL);
}

bool get_attr(const struct stat& st, const std::string& key, std::string& value) {
  return get_key(attr_file(st), key, value);
}

bool set_attr(const struct stat& st, const std::string& key, const std::string& value) {
  return set_key(attr_file(st), key, value);
}

bool get_path_attr(const char* path, const std::string& key, std::string& value) {
  struct stat st;
  if (::stat(path, &st) != 0) return false;
  return get_attr(st, key, value);
}

bool get_config(const std::string& key, std::string& value) {
  return get_key(state_dir() + "/config", key, value);
}

long get_config_long(const std::string& key, long fallback) {
  std::string value;
  if (!get_config(key, value)) return fallback;
  char* end = nullptr;
  long v = std::strtol(value.c_str(), &end, 10);
  return (end != value.c_str()) ? v : fallback;
}

bool set_config(const std::string& key, const std::string& value) {
  return set_key(state_dir() + "/config", key, value);
}

bool logging_enabled() {
  static const bool enabled = [] {
    const char* v = std::getenv("KELP_SIM_LOG");
    return v == nullptr || (std::strcmp(v, "0") != 0 && std::strcmp(v, "off") != 0);
  }();
  return enabled;
}

void record(const std::string& call, const std::string& path, const void* bytes, size_t length) {
  if (!logging_enabled()) return;
  static const char kHex[] = "0123456789abcdef";
  std::string line = call + "\t" + std::to_string(::getpid()) + "\t" + path + "\t";
  const auto* p = static_cast<const uint8_t*>(bytes);
  for (size_t i = 0; i < length; ++i) {
    line += kHex[p[i] >> 4];
    line += kHex[p[i] & 15];
  }
  line += "\n";
  Fd fd(::open((state_dir() + "/requests.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
  if (fd.get() < 0) return;
  ::fchmod(fd.get(), 0666);
  // One write of an O_APPEND file: lines of concurrent writers never mix.
  ssize_t ignored = ::write(fd.get(), line.data(), line.size());
  (void)ignored;
}

std::vector<Record> read_log() {
  std::vector<Record> records;
  std::string text;
  if (!read_text_file(state_dir() + "/requests.log", text)) return records;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    Record r;
    size_t a = line.find('\t');
    size_t b = line.find('\t', a + 1);
    size_t c = line.rfind('\t');
    if (a == std::string::npos || b == std::string::npos || c <= b) continue;
    r.call = line.substr(0, a);
    r.pid = std::strtol(line.c_str() + a + 1, nullptr, 10);
    r.path = line.substr(b + 1, c - b - 1);
    for (size_t i = c + 1; i + 1 < line.size(); i += 2) {
      r.bytes.push_back(static_cast<uint8_t>(std::stoi(line.substr(i, 2), nullptr, 16)));
    }
    records.push_back(std::move(r));
  }
  return records;
}

void clear_log() { ::unlink((state_dir() + "/requests.log").c_str()); }

bool inject_failure(const std::string& what, int err) {
  std::string dir = state_dir() + "/fail";
  bool written = write_text_file_atomically(dir + "/" + what, std::to_string(err) + "\n");
  bump_generation();
  return written;
}

int take_failure(const std::string& what) {
  static const std::string dir = state_dir() + "/fail/";
  // The kinds found with nothing pending, and in which generation: until
  // the next change nothing can be pending for them.
  static std::mutex mu;
  static std::map<std::string, uint64_t> none_pending;
  uint64_t generation = state_generation();
  {
    std::lock_guard<std::mutex> lock(mu);
    auto it = none_pending.find(what);
    if (it != none_pending.end() && it->second == generation) return 0;
  }
  std::string pending = dir + what;
  // A stat says "nothing" without the directory lock a rename takes.
  struct stat st;
  if (::stat(pending.c_str(), &st) != 0) {
    std::lock_guard<std::mutex> lock(mu);
    none_pending[what] = generation;
    return 0;
  }
  // Renaming claims the failure: of several racing requests exactly one
  // wins, whatever name each claims it under.
  static std::atomic<unsigned long> claims{0};
  std::string claimed = pending + ".taken." + std::to_string(claims++) + "." +
                        std::to_string(reinterpret_cast<uintptr_t>(&pending));
  if (::rename(pending.c_str(), claimed.c_str()) != 0) return 0;
  bump_generation();
  std::string text;
  read_text_file(claimed, text);
  ::unlink(claimed.c_str());
  int err = std::atoi(text.c_str());
  return err > 0 ? err : EIO;
}

namespace {

std::string invocations_path() {
  std::string dir = state_dir() + "/commands";
  ensure_dir(dir);
  return dir + "/invocations.log";
}

std::string descriptors_path() {
  std::string dir = state_dir() + "/commands";
  ensure_dir(dir);
  return dir + "/descriptors.log";
}

// One argument as a quoted word: \\, \" and control bytes escaped, so that
// any argument, newlines included, stays on its line and reads back exactly
// (split_words of scenario.h reads it).
void append_quoted(std::string& line, const std::string& word) {
  static const char kHex[] = "0123456789abcdef";
  line += '"';
  for (unsigned char c : word) {
    if (c == '\\' || c == '"') {
      line += '\\';
      line += static_cast<char>(c);
    } else if (c < 0x20 || c == 0x7f) {
      line += "\\x";
      line += kHex[c >> 4];
      line += kHex[c & 15];
    } else {
      line += static_cast<char>(c);
    }
  }
  line += '"';
}

}  // namespace

void record_invocation(const std::vector<std::string>& argv) {
  std::string line;
  for (const std::string& a : argv) {
    if (!line.empty()) line += ' ';
    append_quoted(line, a);
  }
  line += '\n';
  Fd fd(::open(invocations_path().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
  if (fd.get() < 0) return;
  ::fchmod(fd.get(), 0666);
  ssize_t ignored = ::write(fd.get(), line.data(), line.size());
  (void)ignored;
}

std::vector<std::vector<std::string>> read_invocations() {
  std::vector<std::vector<std::string>> out;
  std::string text;
  if (!read_text_file(invocations_path(), text)) return out;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    std::vector<std::string> words;
    if (split_words(line, words) && !words.empty()) out.push_back(std::move(words));
  }
  return out;
}

void record_descriptors(const std::string& name) {
  // Scanned before anything here opens a file: what the command inherited.
  std::string line = name;
  if (DIR* d = ::opendir("/proc/self/fd")) {
    int own = ::dirfd(d);
    while (struct dirent* e = ::readdir(d)) {
      if (e->d_name[0] == '.' || std::atoi(e->d_name) == own) continue;
      line += ' ';
      line += e->d_name;
    }
    ::closedir(d);
  }
  line += '\n';
  Fd fd(::open(descriptors_path().c_str(),
               O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
  if (fd.get() < 0) return;
  ::fchmod(fd.get(), 0666);
  ssize_t ignored = ::write(fd.get(), line.data(), line.size());
  (void)ignored;
}

std::vector<int> read_descriptors(const std::string& name) {
  std::vector<int> last;
  std::string text;
  if (!read_text_file(descriptors_path(), text)) return last;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream words(line);
    std::string first;
    if (!(words >> first) || first != name) continue;
    last.clear();
    for (int fd; words >> fd;) last.push_back(fd);
  }
  return last;
}

void clear_invocations() {
  ::unlink(invocations_path().c_str());
  ::unlink(descriptors_path().c_str());
}

void reset() {
  StateLock lock;
  std::string dir = state_dir();
  remove_tree_contents(dir + "/files");
  remove_tree_contents(dir + "/fail");
  ::unlink((dir + "/config").c_str());
  clear_log();
  clear_invocations();
  bump_generation();
}

std::string fd_path(int fd) {
  char link[64];
  std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  char buf[4096];
  ssize_t n = ::readlink(link, buf, sizeof buf - 1);
  if (n < 0) return "";
  return std::string(buf, static_cast<size_t>(n));
}

}  // namespace kelpsim
