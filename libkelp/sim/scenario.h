// Scenario files: the simulated cluster a test, the demo or a benchmark runs
// against, stated in one place. The simulated libkelp.so (block maps, pools)
// and the fake administration commands (kplsnsd, kplspool, ...) all read the
// scenario in effect, $KELP_SIM_DIR/scenario.
//
// Syntax: one record per line, a keyword followed by words separated by
// blanks; "#" starts a comment; a word in double quotes may hold blanks and
// the escapes \" \\ \n \t \xHH. A record may carry a block of verbatim text:
//
//   keyword words... <<END
//   any lines
//   END
//
// What the keywords mean is documented in sandbox/scenarios/README.md; this
// parser knows none of them.
#ifndef KELP_SIM_SCENARIO_H
#define KELP_SIM_SCENARIO_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace kelpsim {

struct ScenarioRecord {
  std::string keyword;
  std::vector<std::string> words;  // after the keyword
  std::string text;                // the verbatim block, if any ("" otherwise)
  bool has_text = false;
  int line = 0;                    // where the record starts, for messages

  // The word after "key" (as in "... blocksize 4M ..."), or |fallback|.
  std::string option(const std::string& key, const std::string& fallback = "") const;
  bool has_word(const std::string& word) const;
};

class Scenario final {
 public:
  // Parses |text|; a malformed line (an unterminated quote or block) is
  // reported in |error| and parsing stops there.
  static Scenario parse(const std::string& text, std::string* error = nullptr);

  const std::vector<ScenarioRecord>& records() const { return records_; }
  // Every record with |keyword|, in file order.
  std::vector<const ScenarioRecord*> all(const std::string& keyword) const;
  // The last record with |keyword| (later records override earlier ones), or null.
  const ScenarioRecord* last(const std::string& keyword) const;

 private:
  std::vector<ScenarioRecord> records_;
};

// The scenario in effect: $KELP_SIM_DIR/scenario, parsed again only when the
// file changes. An absent file is an empty scenario. Thread-safe.
std::shared_ptr<const Scenario> current_scenario();

// Makes |text| the scenario in effect (written atomically).
bool install_scenario(const std::string& text);

// Splits one line into words by the rules above (a "#" outside quotes ends
// the line); false on an unterminated quote.
bool split_words(const std::string& line, std::vector<std::string>& words);

// Parses sizes such as "4096", "256K", "4M", "1G", "1T" (powers of 1024) and
// plain or 0x-prefixed numbers. False when |text| is not one.
bool parse_size(const std::string& text, int64_t& out);
bool parse_u32(const std::string& text, uint32_t& out);

}  // namespace kelpsim

#endif  // KELP_SIM_SCENARIO_H
