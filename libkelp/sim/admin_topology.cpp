// kplsnsd, kplsdisk and kplscluster: the cluster's disks, their servers and
// its nodes, rendered from the scenario. Every table pads its columns to the
// widest cell; "listing" records of the scenario add verbatim rows to a
// table and can widen its name column.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "admin.h"

namespace kelpsim {
namespace {

struct Disk {
  std::string name;
  std::string fileSystem;  // "" for a free disk
  std::string id;
  std::string servers;     // "" for a directly attached disk
  std::string pool;
  std::string failureGroup;
};

std::vector<Disk> disks_of(const Scenario& s) {
  std::vector<Disk> disks;
  for (const ScenarioRecord* r : s.all("disk")) {
    if (r->words.empty()) continue;
    disks.push_back(Disk{r->words[0], r->option("filesystem"),
                         r->option("id", std::to_string(disks.size() + 1)), r->option("servers"),
                         r->option("pool", "system"), r->option("failuregroup", "1")});
  }
  return disks;
}

// What the scenario adds to one command's table: verbatim rows and the
// least width of its name column.
struct Extra {
  std::string rows;
  size_t nameWidth = 0;
};

Extra extra_of(const Scenario& s, const std::string& command, const std::string& fileSystem = "") {
  Extra extra;
  for (const ScenarioRecord* r : s.all("listing")) {
    if (r->words.empty() || r->words[0] != command) continue;
    // kplsdisk rows belong to one file system, named after the command.
    if (!fileSystem.empty() && (r->words.size() < 2 || r->words[1] != fileSystem)) continue;
    extra.rows += r->text;
    std::string width = r->option("width");
    if (!width.empty()) extra.nameWidth = std::strtoul(width.c_str(), nullptr, 10);
  }
  return extra;
}

// A text table: cells padded to their column's width, numbers to the right.
class Table final {
 public:
  explicit Table(std::vector<bool> rightAligned) : right_(std::move(rightAligned)) {
    widths_.assign(right_.size(), 0);
  }
  void row(std::vector<std::string> cells) {
    for (size_t i = 0; i < cells.size() && i < widths_.size(); ++i) {
      widths_[i] = std::max(widths_[i], cells[i].size());
    }
    rows_.push_back(std::move(cells));
  }
  void widen(size_t column, size_t width) { widths_[column] = std::max(widths_[column], width); }
  // Row |i| as printed, each cell followed by |gap| blanks but the last.
  std::string line(size_t i, size_t gap) const {
    std::string out;
    const std::vector<std::string>& cells = rows_[i];
    for (size_t c = 0; c < cells.size(); ++c) {
      std::string pad(widths_[c] - std::min(widths_[c], cells[c].size()), ' ');
      out += right_[c] ? pad + cells[c] : cells[c] + (c + 1 < cells.size() ? pad : "");
      if (c + 1 < cells.size()) out += std::string(gap, ' ');
    }
    out.erase(out.find_last_not_of(' ') + 1);  // empty last cells leave no blanks
    return out;
  }
  // A rule under each column ("----- ---- --") or across them all.
  std::string rule(size_t gap, bool perColumn) const {
    std::string out;
    for (size_t c = 0; c < widths_.size(); ++c) {
      out += std::string(widths_[c], '-');
      if (c + 1 < widths_.size()) out += std::string(gap, perColumn ? ' ' : '-');
    }
    return out;
  }
  size_t size() const { return rows_.size(); }

 private:
  std::vector<bool> right_;
  std::vector<size_t> widths_;
  std::vector<std::vector<std::string>> rows_;
};

// The header row, a rule across the whole width, then the other rows; each
// row indented by one blank, columns three apart.
void print_ruled_table(const Table& table) {
  std::string header = table.line(0, 3);
  std::printf(" %s\n%s\n", header.c_str(), std::string(table.rule(3, false).size() + 2, '-').c_str());
  for (size_t i = 1; i < table.size(); ++i) std::printf(" %s\n", table.line(i, 3).c_str());
}

bool known_file_system(const Scenario& s, const std::vector<Disk>& disks, const std::string& name) {
  for (const ScenarioRecord* r : s.all("filesystem")) {
    if (!r->words.empty() && r->words[0] == name) return true;
  }
  for (const Disk& d : disks) {
    if (d.fileSystem == name) return true;
  }
  return false;
}

}  // namespace

int kplsnsd(const Scenario& s, const std::vector<std::string>& args) {
  if (!args.empty()) {
    std::fprintf(stderr, "kplsnsd: Incorrect option: %s\nUsage: kplsnsd\n", args[0].c_str());
    return 1;
  }
  std::vector<Disk> disks = disks_of(s);
  Extra extra = extra_of(s, "kplsnsd");
  if (disks.empty() && extra.rows.empty()) {
    std::fprintf(stderr, "kplsnsd: No disks were found\n");
    return 1;
  }
  Table table({false, false, false});
  table.row({"File system", "Disk name", "NSD servers"});
  table.widen(1, extra.nameWidth);
  // Disks of file systems first, then the free ones.
  for (int free = 0; free < 2; ++free) {
    for (const Disk& d : disks) {
      if (d.fileSystem.empty() != (free == 1)) continue;
      table.row({free ? "(free disk)" : d.fileSystem, d.name,
                 d.servers.empty() ? "(directly attached)" : d.servers});
    }
  }
  std::printf("\n");
  print_ruled_table(table);
  std::fputs(extra.rows.c_str(), stdout);
  std::printf("\n");
  return 0;
}

int kplsdisk(const Scenario& s, const std::vector<std::string>& args) {
  if (args.empty() || args[0].empty() || args[0][0] == '-' || args.size() > 2 ||
      (args.size() == 2 && args[1] != "-L")) {
    std::fprintf(stderr, "Usage: kplsdisk Device [-L]\n");
    return 1;
  }
  const std::string& device = args[0];
  const bool full = args.size() == 2;
  std::vector<Disk> disks = disks_of(s);
  if (!known_file_system(s, disks, device)) {
    std::fprintf(stderr, "kplsdisk: File system %s is not known to the Kelp cluster.\n",
                 device.c_str());
    return 1;
  }
  Extra extra = extra_of(s, "kplsdisk", device);
  // Two header rows; in the full listing the ninth column is the disk id.
  std::vector<bool> right = {false, false, true, true, false, false, false, false, false};
  if (full) right = {false, false, true, true, false, false, false, false, true, false, false};
  Table table(right);
  if (full) {
    table.row({"disk", "driver", "sector", "failure", "holds", "holds", "", "", "", "storage", ""});
    table.row({"name", "type", "size", "group", "metadata", "data", "status", "availability",
               "disk id", "pool", "remarks"});
  } else {
    table.row({"disk", "driver", "sector", "failure", "holds", "holds", "", "", "storage"});
    table.row({"name", "type", "size", "group", "metadata", "data", "status", "availability",
               "pool"});
  }
  table.widen(0, extra.nameWidth);
  int count = 0;
  for (const Disk& d : disks) {
    if (d.fileSystem != device) continue;
    // The first three disks hold the file system's descriptor quorum.
    std::string remarks = ++count <= 3 ? "desc" : "";
    if (full) {
      table.row({d.name, "nsd", "512", d.failureGroup, "yes", "yes", "ready", "up", d.id, d.pool,
                 remarks});
    } else {
      table.row({d.name, "nsd", "512", d.failureGroup, "yes", "yes", "ready", "up", d.pool});
    }
  }
  for (size_t i = 0; i < table.size(); ++i) {
    if (i == 2) std::printf("%s\n", table.rule(1, true).c_str());
    std::printf("%s\n", table.line(i, 1).c_str());
  }
  if (table.size() == 2) std::printf("%s\n", table.rule(1, true).c_str());
  std::fputs(extra.rows.c_str(), stdout);
  if (full) {
    int quorum = std::min(count, 3);
    std::printf("Number of quorum disks: %d\nRead quorum value:      %d\nWrite quorum value:     %d\n",
                quorum, quorum / 2 + 1, quorum / 2 + 1);
  }
  return 0;
}

int kplscluster(const Scenario& s, const std::vector<std::string>&) {
  Extra extra = extra_of(s, "kplscluster");
  Table table({true, false, false, false, false});
  table.row({"Node", "Daemon node name", "IP address", "Admin node name", "Designation"});
  table.widen(1, extra.nameWidth);
  for (const ScenarioRecord* r : s.all("node")) {
    if (r->words.size() < 3) continue;
    table.row({r->words[0], r->words[1], r->words[2], r->option("admin", r->words[1]),
               r->option("designation")});
  }
  // The summary above the node table has a rule of its own.
  std::printf("\nKelp cluster information\n------------------------\n"
              "  Kelp cluster name:         kelpcluster.sim\n"
              "  Kelp cluster id:           7340032000000001\n"
              "  Kelp UID domain:           kelpcluster.sim\n"
              "  Remote shell command:      /usr/bin/ssh\n"
              "  Remote file copy command:  /usr/bin/scp\n"
              "  Repository type:           CCR\n\n");
  print_ruled_table(table);
  std::fputs(extra.rows.c_str(), stdout);
  std::printf("\n");
  return 0;
}

}  // namespace kelpsim
