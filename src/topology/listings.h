// Reading the text tables that the administration commands print: the disk
// servers (kplsnsd), the disk ids of one file system (kplsdisk -L) and the
// node table (kplscluster). Pure functions over the captured output.
#ifndef KELP_TOPOLOGY_LISTINGS_H
#define KELP_TOPOLOGY_LISTINGS_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "topology/topology_types.h"

namespace kelp {

// Reads one line word by word the way the listings' column formats do:
// blanks before a field are skipped, a word runs to the next blank, a number
// is an optional sign and decimal digits. Every field is a view into the
// line, so no field can outgrow anything.
class LineScanner final {
 public:
  explicit LineScanner(std::string_view line) : rest_(line) {}
  // The next word; false at the end of the line.
  bool word(std::string_view& out);
  bool skip_word() {
    std::string_view ignored;
    return word(ignored);
  }
  // The next decimal integer (digits after an optional sign, stopping at the
  // first other character); false when there is none or it does not fit.
  bool number(int32_t& out);

 private:
  void skip_blanks();
  std::string_view rest_;
};

// Calls |fn| with each line of |text| (without its newline).
template <typename F>
void for_each_line(std::string_view text, F&& fn) {
  while (!text.empty()) {
    size_t end = text.find('\n');
    fn(text.substr(0, end));
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
}

// Whether kplsnsd said that the cluster has no disks (this node sees the
// file system only as a remote mount).
bool reports_no_disks(std::string_view nsdOutput);

// The file systems of a kplsnsd listing, in order of first appearance, each
// with its disks and the first server of each disk. Free disks, lines of
// fewer than three words and everything above the first dash rule are left
// out; a later line for the same disk wins.
std::vector<FsToNsdMap> parse_nsd_listing(std::string_view nsdOutput);

// (disk name, disk id) for each line of a kplsdisk -L listing below its
// first "-" whose ninth column is a number, in order.
std::vector<std::pair<std::string, int32_t>> parse_disk_ids(std::string_view diskOutput);

// Node number to daemon node name from a kplscluster listing: the lines
// below its last dash rule that start with a number and two words.
std::map<int, std::string> parse_node_table(std::string_view clusterOutput);

}  // namespace kelp

#endif  // KELP_TOPOLOGY_LISTINGS_H
