#!/usr/bin/env bash
# The benchmarks' run inside the sandbox (scripts/bench.sh).
set -euo pipefail
build=$1
jmh=$2
shift 2
export KELP_SIM_LOG=0 KELP_BENCH_JVM=1

echo "=== Native benchmarks: namespace operations"
"$build/namespace_bench" "$@"
echo
echo "=== Native benchmarks: listings and block locations (the JVM calls in as Hadoop does)"
"$build/listing_bench" "$@"

# The Java harness: the same calls made from Java, against pure-Java
# equivalents in the same JVM, and a listing's memory. The heap is fixed and
# touched up front, so resident growth is what the library itself adds.
java_run() {
  "$JAVA_HOME/bin/java" -XX:-UsePerfData -Xms2g -Xmx2g -XX:+AlwaysPreTouch \
    -cp "$(cat "$build/java/run.classpath")" -Djava.library.path="$build" \
    org.apache.hadoop.fs.kelp.bench.KelpBench "$@"
}
dirs=(/mnt/kelp/bench/d10000 /mnt/kelp/bench/d100000)
files=(/mnt/kelp/bench/blocks-1GiB /mnt/kelp/bench/blocks-64GiB /mnt/kelp/bench/blocks-1TiB)
echo
# A listing's workers each work through a daemon connection of their own,
# also when the caller works locally: without a daemon it lists alone.
daemon_pid=
trap '[ -n "$daemon_pid" ] && kill "$daemon_pid" && wait "$daemon_pid" 2>/dev/null' EXIT
ready=$(mktemp -u /run/kelp-bench-ready.XXXXXX)
mkfifo -m 600 "$ready"
"$build/kelp-helperd" --serve --ready-fd 3 3>"$ready" &
daemon_pid=$!
IFS= read -r -n 1 byte <"$ready" || true
rm -f "$ready"

echo
echo "=== Java harness: listings, the caller working locally"
java_run listing "${dirs[@]}"
echo
echo "=== Java harness: block locations"
java_run blocks "${files[@]}"
echo
echo "=== Java harness: memory of a 100,000-entry listing"
java_run memory /mnt/kelp/bench/d100000

echo
echo "=== Java harness: listings through the helper daemon"
java_run listing /mnt/kelp/bench/d10000 --daemon

# Hadoop's FileSystem API over one 10,000-entry directory: KelpFileSystem
# against RawLocalFileSystem on the same mounted directory (JMH). Without
# Hadoop's native library RawLocalFileSystem runs a command per entry to
# read its owner, so its two single-shot listings take most of this part.
if [ "${KELP_BENCH_PEER:-1}" != 0 ]; then
  peer_dir=/mnt/kelp/bench/d10000
  if [ ! -d "$peer_dir" ]; then
    # The same one-byte files the native listing benchmark makes.
    mkdir -p "$peer_dir"
    for i in $(seq 0 9999); do
      printf -v name 'part-%06d' "$i"
      printf x >"$peer_dir/$name"
    done
  fi
  echo
  echo "=== JMH: KelpFileSystem against RawLocalFileSystem (Hadoop's FileSystem API)"
  "$JAVA_HOME/bin/java" -XX:-UsePerfData -Xmx1g \
    -cp "$build/java/classes:$jmh/target/classes:$(cat "$jmh/target/classpath.txt")" \
    -Djava.library.path="$build" org.apache.hadoop.fs.kelp.jmh.PeerBenchMain /mnt/kelp /bench/d10000
fi
