#!/usr/bin/env bash
# The Hadoop part of the demo, inside the sandbox: Hadoop's own shell on
# kelp:// and a MapReduce word count from kelp:// to kelp://. The class path
# was resolved by Maven outside the sandbox (names resolve only from the
# sandbox's /etc/hosts in here, so no repository is reachable).
set -euo pipefail
build=$1
apps=$2
cp="$build/java/classes:$apps/target/classes:$(cat "$apps/target/classpath.txt")"
scratch=$(mktemp -d /tmp/kelp-hadoop-demo.XXXXXX)
trap 'rm -rf "$scratch"' EXIT
run() {
  "$JAVA_HOME/bin/java" -XX:-UsePerfData -cp "$cp" -Djava.library.path="$build" \
    -Dhadoop.tmp.dir="$scratch" "$@"
}
status=0
echo
echo "=== Hadoop's shell (FsShell, what 'hadoop fs' runs) on kelp://"
run org.apache.hadoop.fs.kelp.apps.FsShellDemo kelp:///shell-demo || status=1
echo
echo "=== A MapReduce word count (local job runner) from kelp:// to kelp://"
run org.apache.hadoop.fs.kelp.apps.WordCount kelp:///wordcount/input \
  kelp:///wordcount/output "$scratch/job" 18 || status=1
exit $status
