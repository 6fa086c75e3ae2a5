#!/usr/bin/env bash
# Checks a cabinet written by CabCompressedBuffer under Wine with an
# independent reader: cabextract must list it without errors, and the file it
# extracts must equal the original bytes.
#   check_cabinet.sh INTEROP_FOLDER TEST_PROGRAM
# The files are cab_buffer.cab and cab_buffer.original, left by the Windows
# test CabCompressedBufferWin.WritesCabinetForOtherReaders; they must be newer
# than the test program, so that a stale pair from an older build never
# passes.
set -euo pipefail
folder=$1
program=$2
cabinet="$folder/cab_buffer.cab"
original="$folder/cab_buffer.original"

for f in "$cabinet" "$original"; do
  [ -f "$f" ] || { echo "missing $f (the Wine unit tests write it)" >&2; exit 1; }
  [ "$f" -nt "$program" ] || { echo "$f is older than $program" >&2; exit 1; }
done

listing=$(cabextract -l "$cabinet")
echo "$listing"
grep -q 'All done, no errors' <<<"$listing"
grep -Eq "^ +$(stat -c %s "$original") \|.*\| CompressedBuffer\.dat$" <<<"$listing"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cabextract -q -d "$work" "$cabinet"
cmp "$work/CompressedBuffer.dat" "$original"
echo "cabextract lists and extracts the cabinet; the content equals the original ($(stat -c %s "$original") bytes)"
