#!/usr/bin/env bash
# The vorn tool on the example data: a small entry database of protein notes
# and two identifier lists. Run from anywhere after building the default preset;
# the database goes to a fresh temporary directory.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
vorn=${VORN:-$root/build/default/tools/vorn}
cd "$root"
data=examples/data
db=$(mktemp -d)
trap 'rm -rf "$db"' EXIT

run() {
  local shown="$*"
  echo "\$ vorn ${shown//$db/\$DB}"
  "$vorn" "$@" 2>&1 | sed "s|$db|\$DB|g"
}

run db create "$db" proteins
run db import "$db" proteins "$data/notes"
run db list "$db" proteins
run db get "$db" proteins MYG_HUMAN
run db nearest "$db" proteins hbb_human
run db check "$db" proteins
run db copy "$db/proteins.adi" "sqlite:$db/proteins.sqlite"
run db get "sqlite:$db/proteins.sqlite" MYG_HUMAN
run ids diff "$data/screen_a.gcd" "$data/screen_b.gcd"
run pairs uniq --ignore-order "$data/similar.dip"
