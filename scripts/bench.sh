#!/usr/bin/env bash
# Builds and runs the benchmarks inside the sandbox. Extra arguments go to
# Google Benchmark (for instance --benchmark_filter=Exists).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
export JAVA_HOME=${JAVA_HOME:-/usr/lib/jvm/java-17-openjdk-amd64}
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build-bench -j "$(nproc)" --target namespace_bench kelp-helperd kelpsim >/dev/null
export KELP_SIM_TOOL=$PWD/build-bench/kelpsim
exec scripts/kelp-sandbox build-bench/namespace_bench "$@"
