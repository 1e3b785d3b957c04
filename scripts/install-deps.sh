#!/usr/bin/env bash
# Installs the Debian packages that building, testing and running need, when they are missing.
# Usage: scripts/install-deps.sh [GROUP...]   (groups: base, the default; windows; fuzz; bench)
set -euo pipefail

declare -A groups=(
  [base]="cmake ninja-build g++ libssl-dev openssl libgtest-dev libgmock-dev pkg-config curl osslsigncode libmicrohttpd-dev libp11-dev libtomlplusplus-dev libcurl4-openssl-dev ca-certificates python3 softhsm2 opensc wrk"
  [windows]="g++-mingw-w64-x86-64 mingw-w64 googletest wine wine64"
  [fuzz]="clang libclang-rt-14-dev"
  [bench]="libbenchmark-dev valgrind wrk apache2-utils"
)

wanted=()
for group in "${@:-base}"; do
  [[ -n "${groups[$group]+set}" ]] || { echo "unknown package group: $group" >&2; exit 2; }
  read -r -a list <<<"${groups[$group]}"
  wanted+=("${list[@]}")
done

missing=()
for package in "${wanted[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" ||
    missing+=("$package")
done
((${#missing[@]} == 0)) && exit 0

echo "installing: ${missing[*]}"
sudo=""
[[ "$(id -u)" -eq 0 ]] || sudo="sudo"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
