#!/usr/bin/env bash
# The Windows hdutil and the registry under Wine: a state written with
# 'encode --to-registry' (and 'sample --to-registry') is read back by Wine's
# own reg.exe byte for byte and by 'inspect --registry' as the same settings;
# bad registry input ends in one line and exit status 2.
#   hdutil_registry_wine.sh PATH/TO/wine-run.sh PATH/TO/hdutil.exe WORKDIR
set -u
wine_run=$(realpath "$1")
hdutil=$(realpath "$2")
work=$3
rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1
failures=0
scratch="Software\\hd-Utilities-Tests\\hdutil-$$"

fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

expect_status() {  # expect_status WANTED DESCRIPTION ARGS... (ARGS go to hdutil)
  local wanted=$1 what=$2
  shift 2
  "$wine_run" "$hdutil" "$@" >out.txt 2>err.txt
  local status=$?
  [ "$status" -eq "$wanted" ] || fail "$what: exit status $status, wanted $wanted ($(head -c 300 err.txt))"
}

json_equal() {  # json_equal A B: the same facts, whatever the source line says
  python3 -c "
import json, sys
a = json.load(open(sys.argv[1])); b = json.load(open(sys.argv[2]))
a.pop('source'); b.pop('source')
sys.exit(0 if a == b else 1)" "$1" "$2" 2>/dev/null
}

reg_hex() {  # reg_hex ROOT\KEY VALUE: the value's data as reg.exe prints it ("" the default value)
  if [ -n "$2" ]; then
    "$wine_run" reg query "$1" /v "$2"
  else
    "$wine_run" reg query "$1" /ve
  fi 2>/dev/null | tr -d '\r' | awk -v name="${2:-(Default)}" '$1 == name && $2 == "REG_BINARY" { print $3 }'
}

expect_status 0 "sample" sample -o sample.bin
expect_status 0 "inspect --json of the sample" inspect sample.bin --json
mv out.txt sample.json
sample_hex=$(od -An -v -tx1 sample.bin | tr -d ' \n' | tr 'a-f' 'A-F')

for root in HKCU HKLM; do
  location="$root\\$scratch\\DevModeSettings"
  if [ "$root" = HKCU ]; then
    expect_status 0 "encode --to-registry $root" encode sample.json --to-registry "$location"
  else
    expect_status 0 "sample --to-registry $root" sample --to-registry "$location"
  fi
  grep -q "^wrote 625 bytes to .*DevModeSettings (REG_BINARY)" out.txt || fail "$root: confirmation line"
  [ "$(reg_hex "$root\\$scratch" DevModeSettings)" = "$sample_hex" ] || fail "$root: reg.exe reads other bytes"
  expect_status 0 "inspect --registry $root" inspect --registry "$location"
  grep -q "^Persisted settings state: registry value .*DevModeSettings (REG_BINARY)" out.txt || fail "$root: source line"
  grep -q "Namespace 5 (SavedSettingsData), 3 records" out.txt || fail "$root: namespace 5 line"
  expect_status 0 "inspect --registry $root --json" inspect --registry "$location" --json
  json_equal sample.json out.txt || fail "$root: the registry value does not read as the written state"
done

# A trailing backslash names the key's default value.
expect_status 0 "sample --to-registry the default value" sample --to-registry "HKCU\\$scratch\\"
[ "$(reg_hex "HKCU\\$scratch" "")" = "$sample_hex" ] || fail "default value: reg.exe reads other bytes"
expect_status 0 "inspect --registry the default value" inspect --registry "HKCU\\$scratch\\" --json
json_equal sample.json out.txt || fail "default value: does not read as the written state"

# Bad registry input: one line, exit status 2.
"$wine_run" reg add "HKCU\\$scratch" /v Text /t REG_SZ /d "not a state" /f >/dev/null 2>&1
check_bad() {  # check_bad LOCATION PATTERN
  expect_status 2 "inspect --registry $1" inspect --registry "$1"
  [ "$(wc -l <err.txt)" -eq 1 ] || fail "$1: more than one error line"
  grep -q "$2" err.txt || fail "$1: wanted '$2', got: $(cat err.txt)"
}
check_bad "HKCU\\$scratch\\Missing" "^hdutil: bad input: no registry value 'Missing'"
check_bad "HKCU\\$scratch\\NoKey\\Value" "^hdutil: bad input: cannot open registry key"
check_bad "HKXY\\$scratch\\Value" "^hdutil: bad input: registry location .*the root must be HKCU or HKLM"
check_bad "HKCU\\$scratch\\Text" "^hdutil: CPExceptionMissingOrBadPersistentAttributesFormat: "
expect_status 2 "--registry with a file" inspect sample.bin --registry "HKCU\\$scratch\\DevModeSettings"

for root in HKCU HKLM; do
  "$wine_run" reg delete "$root\\$scratch" /f >/dev/null 2>&1 || fail "$root: scratch key not deleted"
done

if [ "$failures" -ne 0 ]; then
  echo "$failures hdutil registry check(s) failed" >&2
  exit 1
fi
echo "hdutil registry under Wine: all checks passed"
