#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (AddressSanitizer and
# UndefinedBehaviorSanitizer, in build-fuzz/) and runs each from its seed
# corpus in fuzz/corpus/<target>.
#
#   scripts/fuzz.sh [SECONDS | runs=N] [TARGET...]
#
# SECONDS (default 20) bounds each target's time; runs=N runs each for N
# executions instead. Without targets every one runs, one after another.
# New inputs go to build-fuzz/corpus/<target> (the seeds stay as they are);
# a crash, leak or sanitizer report stops the script with its input in
# build-fuzz/artifacts/ and a non-zero status.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

scripts/install-deps.sh clang libclang-rt-14-dev llvm
export JAVA_HOME=${JAVA_HOME:-/usr/lib/jvm/java-17-openjdk-amd64}

limit=-max_total_time=20
if [ $# -gt 0 ]; then
  case $1 in
    runs=*) limit=-runs=${1#runs=}; shift ;;
    [0-9]*) limit=-max_total_time=$1; shift ;;
  esac
fi

dir=build-fuzz
CC=clang CXX=clang++ cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKELP_FUZZ=ON \
  -DKELP_SANITIZE=address,undefined >/dev/null
cmake --build "$dir" -j "$(nproc)" --target fuzz_targets

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for seeds in fuzz/corpus/*/; do targets+=("$(basename "$seeds")"); done
fi
mkdir -p "$dir/artifacts" "$dir/tmp" "$dir/logs"
export ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=0
export UBSAN_OPTIONS=print_stacktrace=1
export TMPDIR=$root/$dir/tmp
for t in "${targets[@]}"; do
  mkdir -p "$dir/corpus/$t"
  echo "=== $t"
  # Standard output and error of the code under test are discarded (the
  # daemon logs every dropped connection); libFuzzer and the sanitizers
  # still report on their own descriptor, into the target's log.
  status=0
  "$dir/fuzz/$t" "$limit" -close_fd_mask=3 -max_len=4096 -timeout=20 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$root/$dir/artifacts/$t-" \
    "$dir/corpus/$t" "fuzz/corpus/$t" >"$dir/logs/$t.log" 2>&1 || status=$?
  grep -E '^(stat::number_of_executed_units|stat::average_exec_per_sec|Done|==|SUMMARY|artifact)|ERROR|runtime error|left open' \
    "$dir/logs/$t.log" || true
  if [ "$status" -ne 0 ]; then
    echo "fuzz: $t failed (status $status): $dir/logs/$t.log; the input is in $dir/artifacts/" >&2
    exit 1
  fi
done
