// One corpus of hostile names for every code path that runs a command: a
// path, user, group, device, file-system or snapshot name holding any of
// these must reach the command as exactly the bytes given, and nothing a
// shell would do with it may happen. Each word that a shell would run
// creates the sentinel file.
#ifndef KELP_TESTS_SUPPORT_HOSTILE_NAMES_H
#define KELP_TESTS_SUPPORT_HOSTILE_NAMES_H

#include <unistd.h>

#include <string>
#include <vector>

namespace kelptest {

// Created by any of the words below that a shell runs.
constexpr const char* kInjectionSentinel = "/run/kelp-pwned";

inline bool injection_sentinel_exists() { return ::access(kInjectionSentinel, F_OK) == 0; }

// What a shell expands to "/" (the first character of $PWD), so that the
// words below name the sentinel without holding a slash themselves.
#define KELP_SH_SLASH "${PWD%${PWD#?}}"
#define KELP_SENTINEL KELP_SH_SLASH "run" KELP_SH_SLASH "kelp-pwned"

// One word per hazard; none holds '/' or a NUL, so each is also a valid
// file name. The last ones are not UTF-8 at all, or only the modified UTF-8
// of the JVM (an encoded NUL, a lone surrogate).
inline const std::vector<std::string> kHostileWords = {
    "semi;touch " KELP_SENTINEL,
    "and&&touch " KELP_SENTINEL,
    "pipe|touch " KELP_SENTINEL,
    "$(touch " KELP_SENTINEL ")",
    "`touch " KELP_SENTINEL "`",
    "q'; touch " KELP_SENTINEL "; '",
    "d\"; touch " KELP_SENTINEL "; \"",
    "line\ntouch " KELP_SENTINEL,
    "with space",
    "-leading-dash",
    "--target-directory=x",
    "tab\there",
    "*",
    "back\\slash",
    ">redirect<in",
    "$HOME",
    std::string("latin1-\xe9\xff\xfe"),
    std::string("bad-utf8-\xc3\x28"),
    std::string("jvm-nul-\xc0\x80"),
    std::string("jvm-surrogate-\xed\xa0\x80"),
};

#undef KELP_SENTINEL
#undef KELP_SH_SLASH

}  // namespace kelptest

#endif  // KELP_TESTS_SUPPORT_HOSTILE_NAMES_H
