#!/usr/bin/env bash
# Builds the library and runs the demo inside the sandbox: a Java program that
# calls the library through its native declarations and tells what it did,
# then Hadoop's own shell and a MapReduce job on kelp://.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
export JAVA_HOME=${JAVA_HOME:-/usr/lib/jvm/java-17-openjdk-amd64}
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$(nproc)" >/dev/null
# Hadoop's shell and the MapReduce job: Maven resolves them here, outside the
# sandbox.
mvn -q -B -f java/apps/pom.xml package dependency:build-classpath -DskipTests \
  -Dmdep.outputFile=target/classpath.txt >/dev/null
exec scripts/kelp-sandbox scripts/demo-inside.sh "$PWD/build" "$PWD/java/apps"
