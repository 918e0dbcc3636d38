#!/usr/bin/env bash
# Installs the Debian packages that building, testing and the demo need, or
# only the packages named as arguments; packages already present are left
# alone, so a second run costs nothing.
set -euo pipefail
packages=(
  cmake make g++ binutils pkg-config
  openjdk-17-jdk-headless maven
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  libacl1-dev acl attr
  util-linux mount procps gawk grep coreutils
)
if [ $# -gt 0 ]; then packages=("$@"); fi
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "install-deps: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
