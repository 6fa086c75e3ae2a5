#!/usr/bin/env bash
# End-to-end checks of the hdutil settings inspector: the built-in sample, the
# three input forms, the JSON round trip (byte-identical), diff, and one clear
# line with exit status 2 for each kind of bad input.
#   hdutil_cli_test.sh PATH/TO/hdutil WORKDIR
set -u
hdutil=$(realpath "$1")
work=$2
rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1
failures=0

fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

expect_status() {  # expect_status WANTED DESCRIPTION COMMAND...
  local wanted=$1 what=$2
  shift 2
  "$@" >out.txt 2>err.txt
  local status=$?
  [ "$status" -eq "$wanted" ] || fail "$what: exit status $status, wanted $wanted ($(head -c 300 err.txt))"
}

# The built-in sample, shown and written.
expect_status 0 "inspect of the sample" "$hdutil"
grep -q '^Namespace 1 (DataModelDocProp), 14 records' out.txt || fail "sample: namespace 1 line"
grep -q "NewFeature('psk:PageMediaSize') *OPTION *NewValue('psk:ISOA4')" out.txt || fail "sample: media size record"
grep -q 'Feature(1205) *INTEGER *45  <unspecified>' out.txt || fail "sample: unspecified record"
grep -q 'format version    0x20070001 (current)' out.txt || fail "sample: header"
grep -q 'Driver version      7.48.0.1.0.0.0.999' out.txt || fail "sample: driver version"
grep -q '^Canonical form      yes' out.txt || fail "sample: canonical form line"
expect_status 0 "sample" "$hdutil" sample -o sample.bin
header=$(head -c 16 sample.bin | od -An -tx1 | tr -d ' \n')
[ "$header" = "1000000001000720070004000000e703" ] || fail "sample header bytes $header"
[ "$(tail -c 4 sample.bin)" = "COM5" ] || fail "sample does not end with the COM5 footer"

# JSON round trip: byte-identical.
expect_status 0 "inspect --json" "$hdutil" inspect sample.bin --json
mv out.txt sample.json
expect_status 0 "encode" "$hdutil" encode sample.json -o again.bin
cmp -s sample.bin again.bin || fail "encode of inspect --json is not byte-identical"

# A state with bytes after the compressed data reads, is reported as not
# canonical, and comes back from encode in the library's form.
python3 -c "
d = open('sample.bin', 'rb').read()
open('trailing.bin', 'wb').write(d[:-13] + b'xyz' + d[-13:])"
expect_status 0 "inspect of a non-canonical state" "$hdutil" inspect trailing.bin
grep -q "^Canonical form      no: encode writes the same settings in the library's form (625 bytes)" out.txt ||
  fail "trailing bytes: canonical form line"
expect_status 0 "inspect --json of a non-canonical state" "$hdutil" inspect trailing.bin --json
mv out.txt trailing.json
expect_status 0 "encode of a non-canonical state" "$hdutil" encode trailing.json -o trailing-again.bin
cmp -s sample.bin trailing-again.bin || fail "encode does not write the library's form of a non-canonical state"

# Binary data through standard input and output.
"$hdutil" sample >piped.bin && cmp -s sample.bin piped.bin || fail "sample through standard output"
expect_status 0 "inspect from standard input" bash -c "'$hdutil' inspect - <sample.bin"

# The same state as hex text (with and without blanks) and as a registry export.
expect_status 0 "sample --hex" "$hdutil" sample --hex -o sample.hex
python3 - <<'PY' || fail "could not write the text forms"
data = open("sample.bin", "rb").read()
open("spaced.hex", "w").write(" ".join("%02X" % b for b in data) + "\n")
pairs = ["%02x" % b for b in data]
lines, line = [], '"DevModeSettings"=hex:'
for i, p in enumerate(pairs):
    line += p + ("," if i + 1 < len(pairs) else "")
    if len(line) > 76 and i + 1 < len(pairs):
        lines.append(line + "\\")
        line = "  "
lines.append(line)
text = ("Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Software\\Halden\\Settings]\r\n"
        '"Count"=dword:00000002\r\n' + "\r\n".join(lines) + "\r\n")
open("export.reg", "wb").write(b"\xff\xfe" + text.encode("utf-16-le"))
PY
for form in sample.hex spaced.hex export.reg; do
  expect_status 0 "inspect $form" "$hdutil" inspect "$form" --json
  python3 -c "
import json, sys
a = json.load(open('sample.json')); b = json.load(open('out.txt'))
a.pop('source'); b.pop('source')
sys.exit(0 if a == b else 1)" || fail "$form does not read as the same state"
done
expect_status 0 "registry value by name" "$hdutil" inspect export.reg --value DevModeSettings
expect_status 2 "missing registry value" "$hdutil" inspect export.reg --value Nothing

# diff: one changed, one removed, one added record.
python3 - <<'PY'
import json
d = json.load(open("sample.json"))
records = d["namespaces"][0]["value"]["records"]
records[2]["value"]["value"] = 3
del records[3]
records.append({"id": {"type": "FEATURE", "featureId": 9999},
                "value": {"type": "BOOLEAN", "specified": True, "value": True}})
json.dump(d, open("edited.json", "w"))
PY
expect_status 0 "encode of an edited document" "$hdutil" encode edited.json -o edited.bin
expect_status 1 "diff of different states" "$hdutil" diff sample.bin edited.bin
grep -q "^  ~ NewFeature('psk:JobCopiesAllDocuments') .*INTEGER 2 -> INTEGER 3" out.txt || fail "diff: changed record"
grep -q "^  - NewFeature('psk:DocumentCollate') .*BOOLEAN *TRUE" out.txt || fail "diff: removed record"
grep -q '^  + Feature(9999) .*BOOLEAN *TRUE' out.txt || fail "diff: added record"
expect_status 0 "diff of equal states" "$hdutil" diff sample.bin @sample
grep -q '^no differences$' out.txt || fail "diff: no differences line"

# Bad input: exit status 2 and one line naming the library's exception.
python3 - <<'PY'
data = bytearray(open("sample.bin", "rb").read())
open("short.bin", "wb").write(data[:15])
open("truncated.bin", "wb").write(data[:300])
bad = bytearray(data); bad[-1] = ord("X"); open("badsignature.bin", "wb").write(bad)
size = bytearray(data); size[-5] ^= 0x01; open("badsize.bin", "wb").write(size)
stream = bytearray(data); stream[40] ^= 0xFF; open("badstream.bin", "wb").write(stream)
header = bytearray(data); header[4] = 0x55; open("badheader.bin", "wb").write(header)
PY
check_bad() {  # check_bad FILE EXCEPTION-CLASS
  expect_status 2 "bad input $1" "$hdutil" inspect "$1"
  [ "$(wc -l <err.txt)" -eq 1 ] || fail "$1: more than one error line"
  grep -q "^hdutil: $2: " err.txt || fail "$1: wanted $2, got: $(cat err.txt)"
}
check_bad short.bin CPExceptionMissingOrBadPersistentAttributesFormat
check_bad truncated.bin CPExceptionMissingOrBadCompressedBufferFooter
check_bad badsignature.bin CPExceptionMissingOrBadCompressedBufferFooter
check_bad badsize.bin CPExceptionMissingOrBadPersistentAttributesFormat
check_bad badstream.bin CPExceptionCompression
check_bad badheader.bin CPExceptionMissingOrBadPersistentAttributesFormat
grep -q 'required header  (16 bytes)' <("$hdutil" inspect short.bin 2>&1) || fail "short: header message"
grep -q "Size of decompressed data (1119) doesn't match" <("$hdutil" inspect badsize.bin 2>&1) || fail "badsize: message"
printf '{"driverVersion": [1, 2, 3], "namespaces": []}' >broken.json
expect_status 2 "encode of a bad document" "$hdutil" encode broken.json
grep -q '^hdutil: bad JSON: driverVersion must hold 4 numbers' err.txt || fail "encode: bad JSON message"
python3 - <<'PY'
import json
records = [{"id": {"type": "FEATURE", "featureId": 1}, "value": {"type": "INTEGER", "specified": True, "value": 7}}]
for _ in range(40):
    records = [{"id": {"type": "FEATURE", "featureId": 2},
                "value": {"type": "LIST", "specified": True, "kindOfList": 0, "records": records}}]
document = {"driverVersion": [1, 2, 3, 4], "namespaces": [
    {"id": {"type": "NAMESPACE", "nameSpaceId": 1},
     "value": {"type": "LIST", "specified": True, "kindOfList": 0, "records": records}}]}
json.dump(document, open("deep.json", "w"))
PY
expect_status 2 "lists nested 40 deep" "$hdutil" encode deep.json
grep -q 'nested deeper than 32 levels' err.txt || fail "deep nesting: message ($(cat err.txt))"
expect_status 2 "missing file" "$hdutil" inspect does-not-exist.bin
expect_status 2 "unknown option" "$hdutil" inspect --frobnicate

# The registry options belong to the Windows build.
for args in "inspect --registry HKCU\\Software\\X\\V" "encode sample.json --to-registry HKCU\\Software\\X\\V"; do
  expect_status 2 "$args" "$hdutil" $args
  [ "$(wc -l <err.txt)" -eq 1 ] && grep -q '^hdutil: the registry is a Windows facility' err.txt ||
    fail "$args: wanted one line saying the registry is a Windows facility, got: $(cat err.txt)"
done

# Help for every command.
for command in "" inspect diff encode sample platform error; do
  expect_status 0 "help $command" "$hdutil" $command --help
  grep -q '^Usage: hdutil' out.txt || fail "help of '$command'"
done

if [ "$failures" -ne 0 ]; then
  echo "$failures hdutil check(s) failed" >&2
  exit 1
fi
echo "hdutil: all checks passed"
