#!/bin/sh
# Runs JUnit test classes in a JVM checking its JNI calls, inside the sandbox:
# run_junit.sh JAVA LIBDIR CLASSPATH CLASSPATH_FILE CLASS...
set -eu
java=$1 libdir=$2 cp=$3 cpfile=$4
shift 4
scratch=$(mktemp -d /tmp/kelp-junit.XXXXXX)
trap 'rm -rf "$scratch"' EXIT
"$java" -Xcheck:jni -XX:-UsePerfData -Djava.library.path="$libdir" \
  -Djava.io.tmpdir="$scratch" -cp "$cp:$(cat "$cpfile")" org.junit.runner.JUnitCore "$@"
