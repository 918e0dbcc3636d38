#!/usr/bin/env bash
# Builds and runs the benchmarks inside the sandbox: the native ones (Google
# Benchmark; extra arguments go to them, e.g. --benchmark_filter=list/10000),
# the Java harness that times what Java sees, and the JMH benchmark of
# KelpFileSystem against Hadoop's RawLocalFileSystem. The simulated libkelp.so
# keeps no request log meanwhile, so the library is timed, not the log.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
export JAVA_HOME=${JAVA_HOME:-/usr/lib/jvm/java-17-openjdk-amd64}
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build-bench -j "$(nproc)" --target kelphadoopmap java_classes namespace_bench \
  listing_bench kelp-helperd kelpsim >/dev/null
# The JMH peer benchmark: Maven resolves it here, outside the sandbox.
mvn -q -B -f java/jmh/pom.xml package dependency:build-classpath \
  -Dmdep.outputFile=target/classpath.txt >/dev/null
export KELP_SIM_TOOL=$PWD/build-bench/kelpsim
exec scripts/kelp-sandbox scripts/bench-inside.sh "$PWD/build-bench" "$PWD/java/jmh" "$@"
