#!/bin/bash
# Runs JUnit test classes in a JVM checking its JNI calls, inside the sandbox,
# with a serving helper daemon:
# run_junit.sh JAVA LIBDIR DAEMON CLASSPATH CLASSPATH_FILE CLASS...
set -eu
java=$1 libdir=$2 daemon=$3 cp=$4 cpfile=$5
shift 5
scratch=$(mktemp -d /tmp/kelp-junit.XXXXXX)
daemon_pid=
cleanup() {
  [ -n "$daemon_pid" ] && kill "$daemon_pid" && wait "$daemon_pid" || true
  rm -rf "$scratch"
}
trap cleanup EXIT
# The daemon writes one byte to its --ready-fd once it listens.
mkfifo -m 600 "$scratch/ready"
# Root gives files to kelpuser1 (chown) in the shell session.
"$daemon" --serve --proxy-user root --proxy-users kelpuser1 --ready-fd 3 3>"$scratch/ready" &
daemon_pid=$!
IFS= read -r -n 1 byte <"$scratch/ready"
if [ -z "$byte" ]; then
  echo "run_junit: the helper daemon did not start" >&2
  exit 1
fi
"$java" -Xcheck:jni -XX:-UsePerfData -Djava.library.path="$libdir" \
  -Djava.io.tmpdir="$scratch" -cp "$cp:$(cat "$cpfile")" org.junit.runner.JUnitCore "$@"
