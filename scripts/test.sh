#!/usr/bin/env bash
# Builds the library and runs every test: a normal build, a short run of
# every fuzz target, then a build under AddressSanitizer and
# UndefinedBehaviorSanitizer, then the threaded code under ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
export JAVA_HOME=${JAVA_HOME:-/usr/lib/jvm/java-17-openjdk-amd64}
jobs=$(nproc)

run_suite() {
  local dir=$1; shift
  echo "=== $dir: configure and build"
  cmake -S . -B "$dir" "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
  echo "=== $dir: tests"
  (cd "$dir" && ctest --output-on-failure -j "$jobs" ${KELP_TEST_FILTER:+-R "$KELP_TEST_FILTER"})
}

run_suite build -DCMAKE_BUILD_TYPE=RelWithDebInfo
# The Java half's Maven tests (Hadoop's contract suites among them), against
# the normal build, in both connection modes. A ctest filter leaves them out
# unless KELP_JAVA_TEST names the test classes to run (surefire's -Dtest).
if [ -z "${KELP_TEST_FILTER:-}" ] || [ -n "${KELP_JAVA_TEST:-}" ]; then
  echo "=== java: Maven tests, locally and through the helper daemon"
  scripts/java-test.sh ${KELP_JAVA_TEST:+-Dtest="$KELP_JAVA_TEST"}
fi
# Every fuzz target for a short, bounded time (clang; scripts/fuzz.sh).
if [ "${KELP_SKIP_FUZZ:-0}" != 1 ] && [ -z "${KELP_TEST_FILTER:-}" ]; then
  echo "=== build-fuzz: fuzz targets, ${KELP_FUZZ_SECONDS:-15} s each"
  scripts/fuzz.sh "${KELP_FUZZ_SECONDS:-15}"
fi
if [ "${KELP_SKIP_SANITIZERS:-0}" != 1 ]; then
  run_suite build-asan -DCMAKE_BUILD_TYPE=Debug -DKELP_SANITIZE=address,undefined
  run_suite build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKELP_SANITIZE=thread
fi
