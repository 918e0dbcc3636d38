// The directory walk shared by the plain and the impersonated mkdirs.
#ifndef KELP_FSOPS_MKDIRS_WALK_H
#define KELP_FSOPS_MKDIRS_WALK_H

#include <sys/stat.h>

#include <cerrno>
#include <string>

namespace kelp {

// Calls mkdir(prefix, mode) for every prefix of |path| that ends at a '/' or
// at the end of the path, left to right, and then step(prefix, err) with err
// 0 when the directory was made, else mkdir's errno. The first two
// characters are never taken as separators: "/a/b" makes "/a" then "/a/b",
// and "a/b" is made in one step. The walk stops early when |step| returns
// false. Throws std::bad_alloc for the copy of the path.
template <typename Step>
void walk_mkdirs(const char* path, int mode, Step step) {
  std::string p(path);
  const size_t n = p.size();
  for (size_t i = n < 2 ? n : 2;; ++i) {
    if (i == n || p[i] == '/') {
      char saved = p[i];
      p[i] = '\0';
      int err = ::mkdir(p.c_str(), static_cast<mode_t>(mode)) == 0 ? 0 : errno;
      bool go_on = step(static_cast<const char*>(p.c_str()), err);
      p[i] = saved;
      if (!go_on || i == n) return;
    }
  }
}

}  // namespace kelp

#endif  // KELP_FSOPS_MKDIRS_WALK_H
