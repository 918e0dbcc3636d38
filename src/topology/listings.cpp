#include "topology/listings.h"

#include <limits>

namespace kelp {
namespace {

// The blanks of the C locale's isspace.
bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// |text| from one character after the start of |marker| (the first or the
// last occurrence); all of it when the marker does not occur.
std::string_view after_marker(std::string_view text, std::string_view marker, bool last) {
  size_t at = last ? text.rfind(marker) : text.find(marker);
  return at == std::string_view::npos ? text : text.substr(at + 1);
}

}  // namespace

void LineScanner::skip_blanks() {
  while (!rest_.empty() && is_blank(rest_.front())) rest_.remove_prefix(1);
}

bool LineScanner::word(std::string_view& out) {
  skip_blanks();
  size_t n = 0;
  while (n < rest_.size() && !is_blank(rest_[n])) ++n;
  if (n == 0) return false;
  out = rest_.substr(0, n);
  rest_.remove_prefix(n);
  return true;
}

bool LineScanner::number(int32_t& out) {
  skip_blanks();
  size_t i = 0;
  bool negative = false;
  if (i < rest_.size() && (rest_[i] == '+' || rest_[i] == '-')) negative = rest_[i++] == '-';
  size_t digits_start = i;
  int64_t value = 0;
  constexpr int64_t kLimit = int64_t{std::numeric_limits<int32_t>::max()} + 1;
  while (i < rest_.size() && rest_[i] >= '0' && rest_[i] <= '9') {
    value = value * 10 + (rest_[i++] - '0');
    if (value > kLimit) return false;
  }
  if (i == digits_start) return false;
  if (negative) value = -value;
  if (value > std::numeric_limits<int32_t>::max()) return false;
  out = static_cast<int32_t>(value);
  rest_.remove_prefix(i);
  return true;
}

bool reports_no_disks(std::string_view nsdOutput) {
  return nsdOutput.find("kplsnsd: No disks were found") != std::string_view::npos;
}

std::vector<FsToNsdMap> parse_nsd_listing(std::string_view nsdOutput) {
  std::vector<FsToNsdMap> fileSystems;
  for_each_line(after_marker(nsdOutput, "----", false), [&](std::string_view line) {
    LineScanner scan(line);
    std::string_view fs, disk, servers;
    if (!scan.word(fs) || !scan.word(disk) || !scan.word(servers)) return;
    if (fs.substr(0, 5) == "(free") return;  // a disk that belongs to no file system
    // Only the first server of a list is kept; "(directly attached)" reads
    // as the node "(directly".
    std::string node(servers.substr(0, servers.find(',')));
    std::string diskName(disk);
    FsToNsdMap* target = nullptr;
    for (FsToNsdMap& f : fileSystems) {
      if (f.fsName == fs) {
        target = &f;
        break;
      }
    }
    if (target == nullptr) {
      fileSystems.push_back(FsToNsdMap{std::string(fs), {}});
      target = &fileSystems.back();
    }
    target->nsds[diskName] = NsdToNodeMap{diskName, std::move(node)};
  });
  return fileSystems;
}

std::vector<std::pair<std::string, int32_t>> parse_disk_ids(std::string_view diskOutput) {
  std::vector<std::pair<std::string, int32_t>> ids;
  for_each_line(after_marker(diskOutput, "-", false), [&](std::string_view line) {
    LineScanner scan(line);
    std::string_view disk;
    int32_t id = 0;
    if (!scan.word(disk)) return;
    for (int column = 2; column <= 8; ++column) {
      if (!scan.skip_word()) return;
    }
    if (!scan.number(id)) return;
    ids.emplace_back(std::string(disk), id);
  });
  return ids;
}

std::map<int, std::string> parse_node_table(std::string_view clusterOutput) {
  std::map<int, std::string> nodes;
  // The listing prints a cluster summary, with a rule of its own, above the
  // node table: the table starts below the last rule.
  for_each_line(after_marker(clusterOutput, "-----", true), [&](std::string_view line) {
    LineScanner scan(line);
    int32_t number = 0;
    std::string_view name, address;
    if (!scan.number(number) || !scan.word(name) || !scan.word(address)) return;
    nodes[number] = std::string(name);
  });
  return nodes;
}

}  // namespace kelp
