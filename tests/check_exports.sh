#!/bin/sh
# Compares the shared library's dynamic symbol table with the names listed in
# tests/exports/*.txt: a missing or a leaked symbol fails.
# AddressSanitizer adds an __odr_asan. twin for each exported datum; those
# are the instrumentation's, not ours.
# usage: check_exports.sh <libkyr-core.so> <exports dir>
set -eu
lib=$1
dir=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cat "$dir"/*.txt | sed -e 's/#.*//' -e 's/[[:space:]]//g' | grep -v '^$' | sort -u > "$tmp/want"
nm -D --defined-only "$lib" | awk '$2 ~ /^[TDRBVW]$/ {print $3}' | sed 's/@.*//' \
  | grep -v -E '^(_init|_fini|_edata|_end|__bss_start)$' \
  | grep -v '^__odr_asan\.' | sort -u > "$tmp/have"
if ! diff -u "$tmp/want" "$tmp/have" > "$tmp/diff"; then
  echo "exported symbols differ from tests/exports (- listed only, + exported only):"
  grep -E '^[-+][^-+]' "$tmp/diff" || true
  exit 1
fi
echo "$(wc -l < "$tmp/have") symbols exported as listed"
