#!/usr/bin/env bash
# Fails when a library refers to a symbol that only a library above it
# defines: the layers are frame -> geo -> gks -> plot -> radar, each using
# only the ones below. Usage: check_layers.sh NM LIB_frame LIB_geo ...
set -euo pipefail
nm_tool=$1; shift
libs=("$@")
names=(frame geo gks plot radar)
tmp=$(mktemp -d); trap 'rm -rf "$tmp"' EXIT
for i in "${!libs[@]}"; do
  "$nm_tool" -g --defined-only "${libs[$i]}" 2>/dev/null |
    awk -v n="$i" 'NF >= 3 && $2 ~ /^[TDBRVWu]$/ { print $3, n }' >> "$tmp/defs"
done
sort -u -k1,1 "$tmp/defs" > "$tmp/defs.sorted"
status=0
for i in "${!libs[@]}"; do
  "$nm_tool" -u "${libs[$i]}" 2>/dev/null | awk '$1 == "U" { print $2 }' | sort -u > "$tmp/und"
  bad=$(join "$tmp/und" "$tmp/defs.sorted" | awk -v n="$i" '$2 > n { print $1 }')
  if [ -n "$bad" ]; then
    status=1
    echo "${names[$i]} uses symbols of a higher layer:"
    echo "$bad" | c++filt | sed 's/^/  /'
  fi
done
[ "$status" = 0 ] && echo "layers: no library uses one above it"
exit "$status"
