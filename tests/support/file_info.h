// What tests check about a path after an operation: lstat's view of it.
#ifndef KELP_TESTS_SUPPORT_FILE_INFO_H
#define KELP_TESTS_SUPPORT_FILE_INFO_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

namespace kelptest {

// lstat of |path|; a failure is reported to the running test.
inline struct stat stat_of(const std::string& path) {
  struct stat st {};
  EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
  return st;
}

inline mode_t mode_of(const std::string& path) { return stat_of(path).st_mode & 07777; }
inline uid_t owner_of(const std::string& path) { return stat_of(path).st_uid; }
inline gid_t group_of(const std::string& path) { return stat_of(path).st_gid; }

}  // namespace kelptest

#endif  // KELP_TESTS_SUPPORT_FILE_INFO_H
