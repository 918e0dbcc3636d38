#include "requests.h"

#include <cerrno>

#include "channel/framing.h"
#include "channel/payload.h"
#include "details/fcntl_requests.h"
#include "fsops/local_ops.h"
#include "policy.h"
#include "snapshot/snapshot.h"

namespace kelpd {
namespace {

using kelp::PayloadReader;

bool read_item(PayloadReader& r, std::string& s) { return r.str(s); }
bool read_item(PayloadReader& r, int& n) { return r.i32(n); }

// Reads exactly the listed items; anything missing or left over is malformed.
template <typename... Items>
bool read_all(const std::vector<char>& payload, Items&... items) {
  PayloadReader r(payload.data(), payload.size());
  return (read_item(r, items) && ...) && r.at_end();
}

void set_byte(Reply& reply, int value) { reply.payload.assign(1, static_cast<char>(value)); }

// Answers 1 followed by the descriptor when |fd| is one, else |failure|.
void set_fd(Reply& reply, int fd, int failure) {
  if (fd >= 0) {
    set_byte(reply, 1);
    reply.fd.reset(fd);
  } else {
    set_byte(reply, failure);
  }
}

// A failed create answers its negated errno as a signed byte; one that does
// not fit in a byte must still read as a failure, not as a descriptor.
int create_failure(int result) { return result >= -128 ? result : -EIO; }

// A path the request names and how it is reached.
struct Named {
  const std::string& path;
  Last last;
};

// Whether the policy (if any) lets the request reach every path and give
// ownership to |user| and |group|.
bool permitted(const Policy* policy, char type, std::initializer_list<Named> paths,
               const std::string& user = std::string(), const std::string& group = std::string()) {
  if (policy == nullptr) return true;
  for (const Named& n : paths) {
    if (!policy->path(type, n.path, n.last)) return false;
  }
  return policy->acting(type, user, group);
}

// The request's failure answer, nothing done.
Outcome refused(Reply& reply, int failure) {
  set_byte(reply, failure);
  return Outcome::kReply;
}

constexpr Last kFollow = Last::kFollow;
constexpr Last kNoFollow = Last::kNoFollow;

}  // namespace

Outcome perform(char type, const std::vector<char>& payload, Reply& reply,
                const Policy* policy) {
  std::string path, target, user, group, name, link, new_link, link_path, new_link_path;
  int mode = 0, replication = 0, flag = 0, bgf = 0;
  switch (type) {
    case kelp::kMsgOpen:
      if (!read_all(payload, path)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kFollow}})) return refused(reply, 0);
      set_fd(reply, kelp::kelp_open(path.c_str()), 0);
      break;
    case kelp::kMsgExists:
      if (!read_all(payload, path)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kFollow}})) return refused(reply, 0);
      set_byte(reply, kelp::kelp_exists(path.c_str()));
      break;
    case kelp::kMsgMkdirs:
      if (!read_all(payload, path, mode)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kFollow}})) return refused(reply, 0);
      set_byte(reply, kelp::kelp_mkdirs(path.c_str(), mode));
      break;
    case kelp::kMsgMkdirsAs:
      if (!read_all(payload, path, mode, user, group)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kFollow}}, user, group)) return refused(reply, 0);
      set_byte(reply, kelp::kelp_mkdirsAs(path.c_str(), mode, user.c_str(), group.c_str()));
      break;
    case kelp::kMsgDelete:
      if (!read_all(payload, path, flag)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kNoFollow}})) return refused(reply, kelp::kDeleteFailed);
      set_byte(reply, kelp::kelp_delete(path.c_str(), flag != 0));
      break;
    case kelp::kMsgCreate: {
      if (!read_all(payload, path, mode, replication, flag, bgf)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kFollow}})) return refused(reply, -EACCES);
      int fd = kelp::kelp_create(path.c_str(), mode, replication, flag != 0, bgf);
      set_fd(reply, fd, create_failure(fd));
      break;
    }
    case kelp::kMsgCreateAs: {
      if (!read_all(payload, path, mode, replication, flag, user, group, bgf)) {
        return Outcome::kMalformed;
      }
      if (!permitted(policy, type, {{path, kFollow}}, user, group)) return refused(reply, -EACCES);
      int fd = kelp::kelp_createAs(path.c_str(), mode, replication, flag != 0, user.c_str(),
                                   group.c_str(), bgf);
      set_fd(reply, fd, create_failure(fd));
      break;
    }
    case kelp::kMsgAppend:
      if (!read_all(payload, path)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kFollow}})) return refused(reply, 0);
      set_fd(reply, kelp::kelp_append(path.c_str()), 0);
      break;
    case kelp::kMsgAppendAs:
      if (!read_all(payload, path, user, group)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kFollow}}, user, group)) return refused(reply, 0);
      set_fd(reply, kelp::kelp_appendAs(path.c_str(), user.c_str(), group.c_str()), 0);
      break;
    case kelp::kMsgChown:
      if (!read_all(payload, path, user, group)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kFollow}}, user, group)) return refused(reply, 0);
      set_byte(reply, kelp::kelp_chown(path.c_str(), user.c_str(), group.c_str()));
      break;
    case kelp::kMsgChmod:
      if (!read_all(payload, path, mode)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kFollow}})) return refused(reply, 0);
      set_byte(reply, kelp::kelp_chmod(path.c_str(), mode));
      break;
    case kelp::kMsgRename:
      if (!read_all(payload, path, target)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kNoFollow}, {target, kFollow}})) {
        return refused(reply, kelp::kRenameFailed);
      }
      set_byte(reply, kelp::kelp_rename(path.c_str(), target.c_str()));
      break;
    case kelp::kMsgResolveSymlink: {
      if (!read_all(payload, path)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kFollow}})) return refused(reply, 0);  // ""
      // An unresolvable path answers the empty string, as a local call would.
      char resolved[kelp::kSymlinkBufferSize + 1] = {};
      kelp::kelp_resolvesymlink(path.c_str(), resolved, kelp::kSymlinkBufferSize);
      reply.payload.assign(resolved);
      reply.payload.push_back('\0');
      break;
    }
    case kelp::kMsgCreateSymlink:
      if (!read_all(payload, target, path)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kNoFollow}})) return refused(reply, 0);
      set_byte(reply, kelp::kelp_createsymlink(target.c_str(), path.c_str()));
      break;
    case kelp::kMsgCreateSymlinkAs:
      if (!read_all(payload, target, path, user, group)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kNoFollow}}, user, group)) return refused(reply, 0);
      set_byte(reply, kelp::kelp_createsymlinkAs(target.c_str(), path.c_str(), user.c_str(),
                                                 group.c_str()));
      break;
    case kelp::kMsgSetBlockGroupFactor:
      if (!read_all(payload, path, bgf)) return Outcome::kMalformed;
      if (!permitted(policy, type, {{path, kFollow}})) return refused(reply, 0);
      set_byte(reply, kelp::kelp_set_block_group_factor(path.c_str(), bgf) ? 1 : 0);
      break;

    case kelp::kMsgCreateSnapshot:
      if (!read_all(payload, path, name, link)) return Outcome::kMalformed;
      link_path = kelp::snapshot_link_path(path, link);
      if (!permitted(policy, type, {{path, kFollow}, {link_path, kNoFollow}})) {
        return refused(reply, 0);
      }
      set_byte(reply, kelp::kelp_createSnapshot(path.c_str(), name.c_str(), link.c_str()));
      break;
    case kelp::kMsgCreateSnapshotAs:
      if (!read_all(payload, path, name, link, user, group)) return Outcome::kMalformed;
      link_path = kelp::snapshot_link_path(path, link);
      if (!permitted(policy, type, {{path, kFollow}, {link_path, kNoFollow}}, user, group)) {
        return refused(reply, 0);
      }
      set_byte(reply, kelp::kelp_createSnapshotAs(path.c_str(), name.c_str(), link.c_str(),
                                                  user.c_str(), group.c_str()));
      break;
    case kelp::kMsgDeleteSnapshot:
      if (!read_all(payload, path, link)) return Outcome::kMalformed;
      link_path = kelp::snapshot_link_path(path, link);
      if (!permitted(policy, type, {{path, kFollow}, {link_path, kNoFollow}})) {
        return refused(reply, 0);
      }
      set_byte(reply, kelp::kelp_deleteSnapshot(path.c_str(), link.c_str()));
      break;
    case kelp::kMsgRenameSnapshot:
      if (!read_all(payload, path, link, new_link)) return Outcome::kMalformed;
      link_path = kelp::snapshot_link_path(path, link);
      new_link_path = kelp::snapshot_link_path(path, new_link);
      if (!permitted(policy, type,
                     {{path, kFollow}, {link_path, kNoFollow}, {new_link_path, kNoFollow}})) {
        return refused(reply, 0);
      }
      set_byte(reply, kelp::kelp_renameSnapshot(path.c_str(), link.c_str(), new_link.c_str()));
      break;

    default:
      return Outcome::kUnknown;
  }
  return Outcome::kReply;
}

}  // namespace kelpd
