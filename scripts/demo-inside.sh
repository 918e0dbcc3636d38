#!/usr/bin/env bash
# The demo's run inside the sandbox: starts the reference helper daemon when
# it has been built, then the Java demo.
set -euo pipefail
build=$1
daemon_pid=
if [ -x "$build/kelp-helperd" ]; then
  "$build/kelp-helperd" --serve --allow-uid 0 --allow-uid 5001 --allow-uid 5002 &
  daemon_pid=$!
  for _ in $(seq 1 100); do [ -S /var/run/kelp_conn_sock ] && break; sleep 0.05; done
fi
status=0
"$JAVA_HOME/bin/java" -XX:-UsePerfData -cp "$build/java/classes" \
  -Djava.library.path="$build" -Dkelp.sim.tool="$build/kelpsim" org.apache.hadoop.fs.kelp.demo.Demo || status=$?
if [ -n "$daemon_pid" ]; then kill "$daemon_pid" 2>/dev/null || true; wait "$daemon_pid" 2>/dev/null || true; fi
exit $status
