#!/bin/sh
# beside_root_daemon.sh DAEMON COMMAND...
# Runs COMMAND as kelpuser1 (uid 5001, group 6001, no supplementary groups)
# while the helper daemon serves it as root, and exits with COMMAND's status.
# Inside the sandbox only.
set -u
daemon=$1
shift
ready=$(mktemp -u /run/kelp-helperd-ready.XXXXXX)
mkfifo -m 600 "$ready"
"$daemon" --serve --allow-uid 5001 --ready-fd 3 3>"$ready" &
pid=$!
trap 'kill "$pid" 2>/dev/null; wait "$pid" 2>/dev/null' EXIT
# The daemon writes one byte once it listens; end of file if it died first.
byte=$(head -c 1 "$ready")
rm -f "$ready"
if [ -z "$byte" ]; then
  echo "beside_root_daemon: the helper daemon did not start" >&2
  exit 1
fi
setpriv --reuid=5001 --regid=6001 --clear-groups "$@"
