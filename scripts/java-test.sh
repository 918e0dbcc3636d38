#!/usr/bin/env bash
# Runs the Maven tests of the Java half against a CMake build (default
# build/): Maven compiles and fetches outside the sandbox, where the network
# is, then runs the tests offline inside it, once with the library working
# locally and once through the helper daemon, and prints each suite's counts.
# Extra arguments go to Maven (e.g. -Dtest='TestKelpContract*').
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${KELP_BUILD_DIR:-build}")
export JAVA_HOME=${JAVA_HOME:-/usr/lib/jvm/java-17-openjdk-amd64}
mvn -B -q -f java/pom.xml test -DskipTests "$@"
rm -rf java/binding/target/surefire-reports java/binding/target/surefire-reports-daemon \
  java/binding/target/surefire-reports-noacl \
  java/binding/target/kelp-helperd.log
status=0
KELP_SIM_TOOL=$build/kelpsim scripts/kelp-sandbox mvn -o -B -q -f java/pom.xml \
  surefire:test@default-test surefire:test@daemon-test surefire:test@noacl-test \
  -Dsurefire.failIfNoSpecifiedTests=false \
  -Dkelp.native.dir="$build" "$@" || status=$?
scripts/java-test-summary.sh java/binding/target
exit $status
