#!/bin/sh
# Installs the Debian packages that a task needs and that are missing.
# usage: scripts/deps.sh <group>...   groups: build test bench fuzz
set -eu

pkgs=""
for group in "$@"; do
  case "$group" in
    build) pkgs="$pkgs cmake ninja-build g++ pkg-config liblz4-dev binutils" ;;
    test)  pkgs="$pkgs libgtest-dev zlib1g-dev libssl-dev libeigen3-dev" ;;
    bench) pkgs="$pkgs libbenchmark-dev rapidjson-dev libcjson-dev libyuv-dev zlib1g-dev libssl-dev libeigen3-dev" ;;
    fuzz)  pkgs="$pkgs clang libclang-rt-dev" ;;
    *) echo "deps.sh: unknown group '$group'" >&2; exit 2 ;;
  esac
done

missing=""
for p in $pkgs; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    case " $missing " in *" $p "*) ;; *) missing="$missing $p" ;; esac
  fi
done
[ -z "$missing" ] && exit 0

echo "installing:$missing"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
# shellcheck disable=SC2086
$sudo apt-get install -y -qq --no-install-recommends $missing
