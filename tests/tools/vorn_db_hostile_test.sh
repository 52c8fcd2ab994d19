#!/usr/bin/env bash
# The vorn tool's database commands on refused input and damaged databases:
# a refused import or export changes nothing, and check reports (and
# check --repair removes) each kind of problem.
set -uo pipefail
vorn=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

fail() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

# expect STATUS COMMAND...: the exit status, standard output kept in
# $work/stdout and standard error in $work/stderr.
expect() {
  local status=$1
  shift
  "$@" >"$work/stdout" 2>"$work/stderr"
  local actual=$?
  [ "$actual" = "$status" ] || fail "$* (status $actual, expected $status; stderr: $(head -c 300 "$work/stderr"))"
}

# has FILE TEXT: FILE holds the line TEXT.
has() {
  grep -qxF -- "$2" "$work/$1" || fail "$1 lacks '$2' (it holds: $(head -c 600 "$work/$1"))"
}

snapshot() { (cd "$1" && find . -printf '%p %s %T@\n' | sort && cat p.adi); }

db=$work/db
printf 'text\n' > "$work/t.txt"
expect 0 "$vorn" db create "$db" p
expect 0 "$vorn" db put "$db" p A1 "$work/t.txt"

# Import: a refused identifier anywhere in the list refuses the whole list.
before=$(snapshot "$db")
for bad in 's//b' 's/./b' '/x' 'x/' "$(printf 'x%.0s' $(seq 230))"; do
  printf 'B1\t%s\n%s\t%s\n' "$work/t.txt" "$bad" "$work/t.txt" > "$work/bad.list"
  expect 1 "$vorn" db import "$db" p "$work/bad.list"
done
[ "$before" = "$(snapshot "$db")" ] || fail "a refused import changed the database"

# Messages quote at most 80 bytes of a bad line.
printf '%s\n' "$(head -c 5000 /dev/zero | tr '\0' 'y')" > "$work/long.list"
expect 1 "$vorn" db import "$db" p "$work/long.list"
[ "$(wc -c < "$work/stderr")" -lt 300 ] || fail "a long bad line is quoted whole"

# Export: never into the database's own directory, never over a file it did
# not create unless --force.
expect 1 "$vorn" db export "$db" p "$db"
expect 1 "$vorn" db export "$db" p "$db/"
[ "$before" = "$(snapshot "$db")" ] || fail "export into the database directory changed it"
mkdir "$work/out"
printf 'mine\n' > "$work/out/A1"
expect 1 "$vorn" db export "$db" p "$work/out"
[ "$(cat "$work/out/A1")" = "mine" ] || fail "export overwrote a file without --force"
expect 0 "$vorn" db export --force "$db" p "$work/out"
[ "$(cat "$work/out/A1")" = "text" ] || fail "export --force did not write"

# File failures carry the system's reason.
mkfifo "$db/p_F.ade"
printf 'F\n' >> "$db/p.adi"
expect 1 timeout 10 "$vorn" db get "$db" p F
grep -q "Invalid argument" "$work/stderr" || fail "a FIFO entry: no reason given"
rm "$db/p_F.ade"
expect 1 "$vorn" db get "$db" p F
grep -q "No such file or directory" "$work/stderr" || fail "a missing entry: no reason given"
sed -i '/^F$/d' "$db/p.adi"

# Check: one database with one problem of each kind.
expect 0 "$vorn" db check "$db" p
has stdout "ok: 1 entries"
expect 0 "$vorn" db put "$db" p A2 "$work/t.txt"
expect 0 "$vorn" db put "$db" p A3 "$work/t.txt"
cp "$db/p_A1.ade" "$db/p_WRONG.ade"
printf '\0\0\0\7' | dd of="$db/p_A3.ade" conv=notrunc status=none
printf 'A1\nWRONG\n' >> "$db/p.adi"
printf 'a\0b\n' >> "$db/p.adi"
printf 'unended' >> "$db/p.adi"
: > "$db/p.adi.tmp"
: > "$db/p_A2.ade.tmp"
: > "$db/p.adi.tmp.123.4"
cp "$db/p_A1.ade" "$db/p_ORPHAN.ade"
printf 'x' > "$db/p.lock"
expect 1 "$vorn" db check "$db" p
has stdout "index line 4 repeats line 1: A1"
has stdout 'index line 6 holds a zero byte: a\0b'
has stdout "index ends without a line end; its last line is ignored"
has stdout "entry file holds the identifier 'A1': $db/p_WRONG.ade"
has stdout "entry file of unknown version 7: $db/p_A3.ade"
has stdout "entry file not in the index: $db/p_ORPHAN.ade"
has stdout "leftover temporary file: $db/p.adi.tmp"
has stdout "leftover temporary file: $db/p.adi.tmp.123.4"
has stdout "leftover temporary file: $db/p_A2.ade.tmp"
has stdout "lock file is not an empty regular file: $db/p.lock"
: > "$db/p.lock"
expect 1 "$vorn" db check "$db" p
grep -q "lock file" "$work/stdout" && fail "an empty lock file is reported"

# Repair removes the leftover temporary files only.
listed=$(cksum < "$db/p.adi")
expect 1 "$vorn" db check --repair "$db" p
has stdout "removed leftover temporary file: $db/p.adi.tmp"
has stdout "removed leftover temporary file: $db/p_A2.ade.tmp"
for gone in p.adi.tmp p_A2.ade.tmp p.adi.tmp.123.4; do
  [ -e "$db/$gone" ] && fail "repair left $gone"
done
for kept in p_A1.ade p_A2.ade p_A3.ade p_WRONG.ade p_ORPHAN.ade p.lock; do
  [ -e "$db/$kept" ] || fail "repair removed $kept"
done
[ "$listed" = "$(cksum < "$db/p.adi")" ] || fail "repair changed the index"
expect 1 "$vorn" db check "$db" p
grep -q "leftover" "$work/stdout" && fail "temporary files reported after repair"

if [ "$failures" -ne 0 ]; then
  echo "$failures checks failed"
  exit 1
fi
echo "all vorn db hostile-input checks passed"
