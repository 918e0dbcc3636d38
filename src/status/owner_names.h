// The owner and group texts of file status records.
#ifndef KELP_STATUS_OWNER_NAMES_H
#define KELP_STATUS_OWNER_NAMES_H

#include <sys/types.h>

#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

namespace kelp {

// Longest owner or group name a status record carries, terminator included.
constexpr size_t kStatusNameCapacity = 256;

// Both names of |uid| and |gid|, or, when either has no name, both ids as
// signed 32-bit decimals (so 4294967294 reads "-2"). Asks the account
// database at every call.
void owner_and_group(uid_t uid, gid_t gid, std::string& owner, std::string& group);

// owner_and_group for the many records of one listing: each distinct uid and
// gid is looked up once, the results are the same. Thread-safe; meant to live
// no longer than one listing, so accounts changed later are seen by the next.
class OwnerNameCache final {
 public:
  void lookup(uid_t uid, gid_t gid, std::string& owner, std::string& group);

 private:
  // The name of |id|, from |known| or looked up with |resolve| and kept.
  template <typename Id, typename Resolve>
  const std::optional<std::string>& name_of(
      std::unordered_map<Id, std::optional<std::string>>& known, Id id, Resolve resolve);

  std::mutex mu_;
  std::unordered_map<uid_t, std::optional<std::string>> users_;
  std::unordered_map<gid_t, std::optional<std::string>> groups_;
};

}  // namespace kelp

#endif  // KELP_STATUS_OWNER_NAMES_H
