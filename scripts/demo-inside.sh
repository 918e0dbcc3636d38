#!/usr/bin/env bash
# The demo's run inside the sandbox: starts the reference helper daemon when
# it has been built, then the Java demo and the Hadoop applications.
set -euo pipefail
build=$1
apps=$2
daemon_pid=
stop_daemon() {
  if [ -n "$daemon_pid" ]; then
    kill "$daemon_pid" 2>/dev/null || true
    wait "$daemon_pid" 2>/dev/null || true
    daemon_pid=
  fi
}
trap stop_daemon EXIT
if [ -x "$build/kelp-helperd" ]; then
  # The daemon writes one byte to its --ready-fd once it listens.
  ready=$(mktemp -u /run/kelp-helperd-ready.XXXXXX)
  mkfifo -m 600 "$ready"
  # Root acts for kelpuser1 in the daemon part of the demo.
  "$build/kelp-helperd" --serve --allow-uid 0 --allow-uid 5001 --allow-uid 5002 \
    --proxy-user root --proxy-users kelpuser1 \
    --ready-fd 3 3>"$ready" &
  daemon_pid=$!
  byte=
  IFS= read -r -n 1 byte <"$ready" || true
  rm -f "$ready"
  if [ -z "$byte" ]; then
    echo "demo: the helper daemon did not start; going on without it" >&2
    stop_daemon
  fi
fi
status=0
"$JAVA_HOME/bin/java" -XX:-UsePerfData -cp "$(cat "$build/java/run.classpath")" \
  -Djava.library.path="$build" -Dkelp.sim.tool="$build/kelpsim" org.apache.hadoop.fs.kelp.demo.Demo || status=$?
"$(dirname "$0")/demo-hadoop.sh" "$build" "$apps" || status=$?
exit $status
