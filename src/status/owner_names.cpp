#include "status/owner_names.h"

#include <cstdint>

#include "status/identity.h"

namespace kelp {
namespace {

// Both ids in decimal: what a record shows when either name is unknown.
void numeric_names(uid_t uid, gid_t gid, std::string& owner, std::string& group) {
  owner = std::to_string(static_cast<int32_t>(uid));
  group = std::to_string(static_cast<int32_t>(gid));
}

}  // namespace

void owner_and_group(uid_t uid, gid_t gid, std::string& owner, std::string& group) {
  char user_buf[kStatusNameCapacity];
  char group_buf[kStatusNameCapacity];
  if (uidgid_to_names(uid, gid, user_buf, sizeof user_buf, group_buf, sizeof group_buf) != 0) {
    numeric_names(uid, gid, owner, group);
    return;
  }
  owner = user_buf;
  group = group_buf;
}

template <typename Id, typename Resolve>
const std::optional<std::string>& OwnerNameCache::name_of(
    std::unordered_map<Id, std::optional<std::string>>& known, Id id, Resolve resolve) {
  auto it = known.find(id);
  if (it != known.end()) return it->second;
  char buf[kStatusNameCapacity];
  std::optional<std::string> name;
  if (resolve(id, buf, sizeof buf) == 0) name = buf;
  return known.emplace(id, std::move(name)).first->second;
}

void OwnerNameCache::lookup(uid_t uid, gid_t gid, std::string& owner, std::string& group) {
  std::lock_guard<std::mutex> lock(mu_);
  // As in uidgid_to_names, the group is only asked for once the user is known.
  const std::optional<std::string>& user_name = name_of(users_, uid, uid_to_usrname);
  if (user_name) {
    const std::optional<std::string>& group_name = name_of(groups_, gid, gid_to_grpname);
    if (group_name) {
      owner = *user_name;
      group = *group_name;
      return;
    }
  }
  numeric_names(uid, gid, owner, group);
}

}  // namespace kelp
