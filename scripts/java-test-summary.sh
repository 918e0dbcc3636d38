#!/usr/bin/env bash
# Prints tests, passed, skipped and failed (failures plus errors) per test
# class and mode from the surefire reports under the given target directory.
set -euo pipefail
target=${1:-java/binding/target}
printf '%-8s %-40s %6s %6s %7s %6s\n' mode suite tests passed skipped failed
for mode in local daemon noacl; do
  dir=$target/surefire-reports
  [ "$mode" != local ] && dir=$target/surefire-reports-$mode
  [ -d "$dir" ] || continue
  for f in "$dir"/TEST-*.xml; do
    [ -e "$f" ] || continue
    head -c 4096 "$f" | tr '\n' ' ' | grep -o '<testsuite [^>]*>' | head -1 | awk -v mode="$mode" '
      function attr(name,   m) { if (match($0, name "=\"[^\"]*\"")) { m = substr($0, RSTART + length(name) + 2, RLENGTH - length(name) - 3); return m } return 0 }
      { n = split(attr("name"), parts, "."); t = attr("tests"); s = attr("skipped"); f = attr("failures") + attr("errors");
        printf "%-8s %-40s %6d %6d %7d %6d\n", mode, parts[n], t, t - s - f, s, f }'
  done
done
