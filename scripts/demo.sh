#!/usr/bin/env bash
# Builds the library and runs the demo: a Java program that calls the library
# through its native declarations inside the sandbox and tells what it did.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
export JAVA_HOME=${JAVA_HOME:-/usr/lib/jvm/java-17-openjdk-amd64}
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$(nproc)" >/dev/null
exec scripts/kelp-sandbox scripts/demo-inside.sh "$PWD/build"
