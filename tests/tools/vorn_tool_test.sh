#!/usr/bin/env bash
# End-to-end checks of the vorn tool: every subcommand on the example data,
# exit statuses, and that failing commands leave nothing half-written.
set -uo pipefail
vorn=$1
data=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

# expect STATUS EXPECTED_STDOUT COMMAND...
expect() {
  local status=$1 expected=$2
  shift 2
  local output actual
  output=$("$@" 2>"$work/stderr")
  actual=$?
  if [ "$actual" != "$status" ] || [ "$output" != "$expected" ]; then
    echo "FAILED: $*"
    echo "  status $actual (expected $status)"
    echo "  stdout: $output"
    echo "  expected: $expected"
    echo "  stderr: $(cat "$work/stderr")"
    failures=$((failures + 1))
  fi
}

db=$work/db
expect 0 "" "$vorn" db create "$db" p
expect 1 "" "$vorn" db create "$db" p
expect 0 "" "$vorn" db import "$db" p "$data/notes"
expect 0 "$(printf 'CYC_HUMAN\nHBA_HUMAN\nHBB_HUMAN\nMYG_HUMAN')" "$vorn" db list "$db" p
expect 0 "Cytochrome c, 105 residues." "$vorn" db get "$db" p CYC_HUMAN
expect 0 "$(printf 'HBB_HUMAN\tcase-insensitive')" "$vorn" db nearest "$db" p hbb_human
expect 0 "$(printf 'HBA_HUMAN\texact')" "$vorn" db nearest "$db" p HBA_HUMAN -loglevel 0
expect 0 "ok: 4 entries" "$vorn" db check "$db" p

printf 'new text\n' > "$work/new.txt"
expect 0 "" "$vorn" db put "$db" p HBA_HUMAN "$work/new.txt"
expect 0 "new text" "$vorn" db get "$db" p HBA_HUMAN
printf 'from stdin' | expect 0 "" "$vorn" db put "$db" p STDIN
expect 0 "from stdin" "$vorn" db get "$db" p STDIN
expect 0 "" "$vorn" db remove "$db" p STDIN
expect 1 "" "$vorn" db get "$db" p STDIN

# Refused input changes nothing.
before=$(cd "$db" && ls -l --time-style=full-iso && cat p.adi)
printf 'a\0b' > "$work/binary"
expect 1 "" "$vorn" db put "$db" p BIN "$work/binary"
expect 1 "" "$vorn" db put "$db" p "../escape" "$work/new.txt"
printf 'X1\t%s\nX1\t%s\n' "$work/new.txt" "$work/new.txt" > "$work/twice.list"
expect 1 "" "$vorn" db import "$db" p "$work/twice.list"
printf 'Y1\t%s\nY2\tmissing-file\n' "$work/new.txt" > "$work/missing.list"
expect 1 "" "$vorn" db import "$db" p "$work/missing.list"
after=$(cd "$db" && ls -l --time-style=full-iso && cat p.adi)
[ "$before" = "$after" ] || { echo "FAILED: refused commands changed the database"; failures=$((failures + 1)); }

printf 'Z1\tnew.txt\n' > "$work/relative.list"
expect 0 "" "$vorn" db import "$db" p "$work/relative.list"
expect 0 "new text" "$vorn" db get "$db" p Z1

expect 0 "" "$vorn" db export "$db" p "$work/out"
expect 0 "Myoglobin, 154 residues; oxygen storage in muscle." cat "$work/out/MYG_HUMAN"
touch "$db/p_STRAY.ade"
rm "$db/p_Z1.ade"
expect 1 "$(printf 'index line without entry file: Z1\nentry file not in the index: %s' "$db/p_STRAY.ade")" \
  "$vorn" db check "$db" p
expect 1 "" "$vorn" db list "$work" missing

expect 0 "$(printf 'CYC_HUMAN\nHBA_HUMAN\nHBB_HUMAN\nMYG_HUMAN\nMYG_HUMAN')" "$vorn" ids sort "$data/screen_a.gcd"
expect 0 "$(printf 'HBB_HUMAN\nMYG_HUMAN\nCYC_HUMAN\nHBA_HUMAN\nINS_HUMAN')" \
  "$vorn" ids uniq "$data/screen_a.gcd" "$data/screen_b.gcd"
expect 0 "$(printf 'HBA_HUMAN\nMYG_HUMAN')" "$vorn" ids diff "$data/screen_a.gcd" "$data/screen_b.gcd"
expect 0 "$(printf 'CYC_HUMAN\nHBB_HUMAN')" "$vorn" ids intersect "$data/screen_a.gcd" "$data/screen_b.gcd"
expect 0 "not equivalent" "$vorn" ids equiv "$data/screen_a.gcd" "$data/screen_b.gcd"
expect 0 "equivalent" "$vorn" ids equiv "$data/screen_a.gcd" - < "$data/screen_a.gcd"

expect 0 "$(printf 'HBA_HUMAN HBB_HUMAN\nHBB_HUMAN HBA_HUMAN\nMYG_HUMAN HBB_HUMAN')" "$vorn" pairs sort "$data/similar.dip"
expect 0 "$(printf 'HBA_HUMAN HBB_HUMAN\nHBA_HUMAN HBB_HUMAN\nHBB_HUMAN MYG_HUMAN')" \
  "$vorn" pairs sort --ignore-order "$data/similar.dip"
expect 0 "$(printf 'HBA_HUMAN HBB_HUMAN\nMYG_HUMAN HBB_HUMAN')" "$vorn" pairs uniq --ignore-order "$data/similar.dip"
expect 0 "$(printf 'HBB_HUMAN HBA_HUMAN\nHBA_HUMAN HBB_HUMAN\nHBB_HUMAN MYG_HUMAN')" "$vorn" pairs swap "$data/similar.dip"
printf 'HBA_HUMAN HBB_HUMAN\n' > "$work/one.dip"
expect 0 "$(printf 'HBB_HUMAN HBA_HUMAN\nMYG_HUMAN HBB_HUMAN')" "$vorn" pairs diff "$data/similar.dip" "$work/one.dip"
expect 0 "HBB_HUMAN MYG_HUMAN" "$vorn" pairs diff --ignore-order "$data/similar.dip" "$work/one.dip"
expect 0 "not equivalent" "$vorn" pairs equiv "$data/similar.dip" "$work/one.dip"

expect 0 "vorn 0.1.0" "$vorn" --version
expect 2 "" "$vorn"
expect 2 "" "$vorn" frobnicate
expect 2 "" "$vorn" ids diff "$data/screen_a.gcd"
expect 2 "" "$vorn" ids sort
expect 2 "" "$vorn" db list "$db"
expect 1 "" "$vorn" ids sort "$work/no-such-file"
"$vorn" db --help | grep -q "vorn db create" || { echo "FAILED: --help"; failures=$((failures + 1)); }

if [ "$failures" -ne 0 ]; then
  echo "$failures checks failed"
  exit 1
fi
echo "all vorn tool checks passed"
