#include "scenario.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <sstream>

#include "sim_state.h"

namespace kelpsim {
namespace {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

bool split_words(const std::string& line, std::vector<std::string>& words) {
  size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && is_blank(line[i])) ++i;
    if (i >= line.size() || line[i] == '#') break;
    std::string word;
    if (line[i] == '"') {
      ++i;
      bool closed = false;
      while (i < line.size()) {
        char c = line[i++];
        if (c == '"') {
          closed = true;
          break;
        }
        if (c == '\\' && i < line.size()) {
          char e = line[i++];
          if (e == 'x' && i + 1 < line.size() && hex_digit(line[i]) >= 0 &&
              hex_digit(line[i + 1]) >= 0) {
            word += static_cast<char>(hex_digit(line[i]) * 16 + hex_digit(line[i + 1]));
            i += 2;
          } else {
            word += e == 'n' ? '\n' : e == 't' ? '\t' : e;
          }
        } else {
          word += c;
        }
      }
      if (!closed) return false;
    } else {
      while (i < line.size() && !is_blank(line[i])) word += line[i++];
    }
    words.push_back(std::move(word));
  }
  return true;
}

std::string ScenarioRecord::option(const std::string& key, const std::string& fallback) const {
  for (size_t i = 0; i + 1 < words.size(); ++i) {
    if (words[i] == key) return words[i + 1];
  }
  return fallback;
}

bool ScenarioRecord::has_word(const std::string& word) const {
  for (const std::string& w : words) {
    if (w == word) return true;
  }
  return false;
}

Scenario Scenario::parse(const std::string& text, std::string* error) {
  Scenario s;
  std::istringstream in(text);
  std::string line;
  int line_no = 0;
  while (std::getline(in, line)) {
    ++line_no;
    std::vector<std::string> words;
    if (!split_words(line, words)) {
      if (error != nullptr) *error = "line " + std::to_string(line_no) + ": unterminated quote";
      return s;
    }
    if (words.empty()) continue;
    ScenarioRecord r;
    r.line = line_no;
    r.keyword = words.front();
    words.erase(words.begin());
    if (!words.empty() && words.back().rfind("<<", 0) == 0 && words.back().size() > 2) {
      std::string end = words.back().substr(2);
      words.pop_back();
      bool closed = false;
      while (std::getline(in, line)) {
        ++line_no;
        if (line == end) {
          closed = true;
          break;
        }
        r.text += line;
        r.text += '\n';
      }
      if (!closed) {
        if (error != nullptr) *error = "line " + std::to_string(r.line) + ": no " + end;
        return s;
      }
      r.has_text = true;
    }
    r.words = std::move(words);
    s.records_.push_back(std::move(r));
  }
  return s;
}

std::vector<const ScenarioRecord*> Scenario::all(const std::string& keyword) const {
  std::vector<const ScenarioRecord*> out;
  for (const ScenarioRecord& r : records_) {
    if (r.keyword == keyword) out.push_back(&r);
  }
  return out;
}

const ScenarioRecord* Scenario::last(const std::string& keyword) const {
  const ScenarioRecord* found = nullptr;
  for (const ScenarioRecord& r : records_) {
    if (r.keyword == keyword) found = &r;
  }
  return found;
}

namespace {

struct Cache {
  std::mutex mu;
  bool loaded = false;
  dev_t dev = 0;
  ino_t ino = 0;
  struct timespec mtime {};
  off_t size = -1;
  std::shared_ptr<const Scenario> scenario = std::make_shared<Scenario>();
  uint64_t generation = 0;  // the state generation of the last check (valid once loaded)
};

Cache& cache() {
  static Cache* c = new Cache;  // never destroyed: readers may run during exit
  return *c;
}

std::string scenario_path() { return state_dir() + "/scenario"; }

}  // namespace

std::shared_ptr<const Scenario> current_scenario() {
  Cache& c = cache();
  uint64_t generation = state_generation();
  {
    std::lock_guard<std::mutex> lock(c.mu);
    if (c.loaded && c.generation == generation) return c.scenario;
  }
  struct stat st;
  bool present = ::stat(scenario_path().c_str(), &st) == 0;
  std::lock_guard<std::mutex> lock(c.mu);
  if (!present) {
    if (c.loaded && c.size != -1) c.scenario = std::make_shared<Scenario>();
    c.loaded = true;
    c.generation = generation;
    c.size = -1;
    return c.scenario;
  }
  // The file is replaced by rename, so a new scenario is a new inode.
  if (c.loaded && c.size == st.st_size && c.dev == st.st_dev && c.ino == st.st_ino &&
      c.mtime.tv_sec == st.st_mtim.tv_sec && c.mtime.tv_nsec == st.st_mtim.tv_nsec) {
    c.generation = generation;
    return c.scenario;
  }
  std::string text;
  if (!read_text_file(scenario_path(), text)) return c.scenario;
  c.scenario = std::make_shared<Scenario>(Scenario::parse(text));
  c.loaded = true;
  c.generation = generation;
  c.dev = st.st_dev;
  c.ino = st.st_ino;
  c.mtime = st.st_mtim;
  c.size = st.st_size;
  return c.scenario;
}

bool install_scenario(const std::string& text) {
  bool written = write_text_file_atomically(scenario_path(), text);
  bump_generation();
  return written;
}

bool parse_size(const std::string& text, int64_t& out) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  long long v = std::strtoll(text.c_str(), &end, 0);
  if (errno != 0 || end == text.c_str()) return false;
  int64_t unit = 1;
  std::string suffix(end);
  if (suffix == "K" || suffix == "k") {
    unit = int64_t{1} << 10;
  } else if (suffix == "M") {
    unit = int64_t{1} << 20;
  } else if (suffix == "G") {
    unit = int64_t{1} << 30;
  } else if (suffix == "T") {
    unit = int64_t{1} << 40;
  } else if (!suffix.empty()) {
    return false;
  }
  out = static_cast<int64_t>(v) * unit;
  return true;
}

bool parse_u32(const std::string& text, uint32_t& out) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  unsigned long long v = std::strtoull(text.c_str(), &end, 0);
  if (errno != 0 || *end != '\0' || v > 0xFFFFFFFFull) return false;
  out = static_cast<uint32_t>(v);
  return true;
}

}  // namespace kelpsim
