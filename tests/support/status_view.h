// Reading the LocatedFileStatus objects the library returns, the way Java
// code does: through their getters.
#ifndef KELP_TESTS_SUPPORT_STATUS_VIEW_H
#define KELP_TESTS_SUPPORT_STATUS_VIEW_H

#include <jni.h>

#include <string>
#include <vector>

#include "support/block_location_view.h"

namespace statustest {

struct StatusView {
  std::string cls;  // the object's class, "org.apache.hadoop.fs.LocatedFileStatus"
  long long length = 0;
  bool isdir = false;
  int replication = 0;
  long long blocksize = 0;
  long long mtime = 0;
  long long atime = 0;
  std::string permission_cls;
  int permission = 0;  // toExtendedShort(), as an unsigned 16-bit value
  std::string owner;
  std::string group;
  std::string path;  // getPath().toString()
  bool has_symlink = false;
  bool has_blocks = false;  // getBlockLocations() is not null
  std::vector<kelptest::Location> blocks;
};

// Every field of |status| (not null). Deletes the references it makes.
StatusView view(jobject status);

// The elements of a LocatedFileStatus[]: a view each, and whether it was null.
struct Slot {
  bool null = true;
  StatusView status;
};
std::vector<Slot> slots(jobjectArray array);

}  // namespace statustest

#endif  // KELP_TESTS_SUPPORT_STATUS_VIEW_H
