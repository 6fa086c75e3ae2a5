#!/usr/bin/env bash
# End-to-end checks of the hdutil settings inspector: the built-in sample, the
# three input forms, the JSON round trip (byte-identical), diff, and one clear
# line with exit status 2 for each kind of bad input; and of log-config check
# on logging configurations.
#   hdutil_cli_test.sh PATH/TO/hdutil WORKDIR
set -u
hdutil=$(realpath "$1")
here=$(cd "$(dirname "$0")" && pwd)
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
# Hostile input: every failure is exit status 2 and exactly one line that
# input cannot forge (no raw control character, valid UTF-8).
check_one_line() {  # check_one_line DESCRIPTION: judges err.txt
  [ "$(wc -l <err.txt)" -eq 1 ] || fail "$1: not one error line: $(head -c 300 err.txt | od -c | head -5)"
  LC_ALL=C grep -q $'[\x01-\x08\x0b-\x1f\x7f]' err.txt && fail "$1: a raw control character in the error line"
  grep -q $'\r' err.txt && fail "$1: a carriage return in the error line"
  python3 -c "import sys; open(sys.argv[1], 'rb').read().decode('utf-8')" err.txt 2>/dev/null ||
    fail "$1: the error line is not UTF-8"
}
python3 "$here/make_hostile_inputs.py" || fail "could not write the hostile inputs"
expect_status 2 "encode with a duplicate namespace" "$hdutil" encode duplicate-namespace.json
check_one_line "duplicate namespace"
grep -q '^hdutil: CPExceptionDuplicateAttributeId: An entry already exists in the list for=NameSpace(1)! Insertion failed!$' err.txt ||
  fail "duplicate namespace: message ($(cat -A err.txt))"
expect_status 0 "encode of a name with control characters" "$hdutil" encode forged-name.json -o forged-name.bin
expect_status 0 "inspect of a name with control characters" "$hdutil" inspect forged-name.bin
LC_ALL=C grep -q $'[\x01-\x08\x0b-\x1f\x7f]' out.txt && fail "inspect: a raw control character in the report"
grep -q '^hdutil: forged' out.txt && fail "inspect: a record name started a line of its own"
grep -qF "NewFeature('x\\nhdutil: forged line \\x1B[31mred\\x1B[0m \\u202E')" out.txt ||
  fail "inspect: the escaped record name ($(grep -a forged out.txt | cat -A))"
expect_status 1 "diff with a name with control characters" "$hdutil" diff sample.bin forged-name.bin
LC_ALL=C grep -q $'[\x01-\x08\x0b-\x1f\x7f]' out.txt && fail "diff: a raw control character in the report"
expect_status 2 "a JSON string with a backslash before a line end" "$hdutil" encode string-with-backslash-newline.json
check_one_line "backslash-newline"
expect_status 2 "hex text with a non-ASCII letter" "$hdutil" inspect hex-with-letter.hex
check_one_line "hex text with a non-ASCII letter"
grep -q "unexpected character 'é' at offset 12" err.txt || fail "hex text: message ($(cat -A err.txt))"

# Text output is always UTF-8: an unpaired surrogate shows as U+FFFD in values as in ids.
expect_status 0 "encode of unpaired surrogates" "$hdutil" encode surrogates.json -o surrogates.bin
expect_status 0 "inspect of unpaired surrogates" "$hdutil" inspect surrogates.bin
python3 -c "import sys; open(sys.argv[1], 'rb').read().decode('utf-8')" out.txt 2>/dev/null ||
  fail "inspect of unpaired surrogates writes text that is not UTF-8"
grep -q "^  Feature(4242) *STRING *'�A'$" out.txt || fail "surrogates: string value ($(grep -a 4242 out.txt | cat -A))"
grep -q "^  NewFeature('B�') *STRING *'�'$" out.txt || fail "surrogates: named record ($(grep -a STRING out.txt | cat -A))"
expect_status 0 "inspect --json of unpaired surrogates" "$hdutil" inspect surrogates.bin --json
mv out.txt surrogates-again.json
expect_status 0 "encode of unpaired surrogates, again" "$hdutil" encode surrogates-again.json -o surrogates-again.bin
cmp -s surrogates.bin surrogates-again.bin || fail "unpaired surrogates do not survive the JSON round trip"

# JSON is JSON: malformed numbers, invalid UTF-8, duplicate and surplus members.
for json in number-plus number-fraction number-leading-zero number-trailing-dot number-negative-zero-one \
  invalid-utf8 duplicate-member many-members; do
  expect_status 2 "encode of $json.json" "$hdutil" encode "$json.json"
  check_one_line "$json.json"
  grep -q '^hdutil: bad JSON: ' err.txt || fail "$json.json: wanted a bad JSON line, got: $(cat err.txt)"
done
grep -q 'duplicate member "driverVersion"' <("$hdutil" encode duplicate-member.json 2>&1) ||
  fail "duplicate member: message"
grep -q 'more than 64 members' <("$hdutil" encode many-members.json 2>&1) || fail "many members: message"

# Registry exports: a string value holding "=hex:" is not a binary value, and
# value names are read with regedit's escapes.
expect_status 0 "inspect of a tricky registry export" "$hdutil" inspect tricky.reg
grep -qF 'Persisted settings state: tricky.reg (registry value "Quote"d \ name")' out.txt ||
  fail "tricky registry export: source line ($(head -1 out.txt))"
expect_status 0 "a registry value named with escapes" "$hdutil" inspect tricky.reg --value 'Quote"d \ name'
expect_status 2 "a string value is not a binary value" "$hdutil" inspect tricky.reg --value Note
check_one_line "string value by name"

# Settings above 8 MiB (a 9 MiB data blob added to the sample's last
# namespace; the ceiling is 64 MiB): shown with the blob's first 24 bytes, in
# the library's form, and as JSON with every byte.
python3 - <<'PY'
import random, struct, zlib
random.seed(3)
state = open("sample.bin", "rb").read()
inner = bytearray(zlib.decompress(state[16:-13]))
blob = random.randbytes(9 * 1024 * 1024)
record = b"\x02" + struct.pack("<i", 4100) + b"\x0a\x00" + struct.pack("<I", len(blob)) + blob
last = inner.find(b"\x09\x05\x00\x00\x00\x0b")  # namespace 5, the last record, a list value
assert last > 0, "namespace 5 of the sample not found"
length = struct.unpack_from("<I", inner, last + 8)[0]
struct.pack_into("<I", inner, last + 8, length + len(record))
inner += record
footer = bytes([1]) + struct.pack(">iI", -1, len(inner)) + b"COM5"
open("large.bin", "wb").write(state[:16] + zlib.compress(bytes(inner)) + footer)
open("large.hex", "w").write(blob.hex().upper())
PY
expect_status 0 "inspect of 9 MiB of settings" "$hdutil" inspect large.bin
grep -q '^  Feature(4100) *DATABLOB *9437184 bytes [0-9A-F]\{48\}\.\.\.$' out.txt ||
  fail "9 MiB of settings: blob line ($(grep -a 4100 out.txt | head -c 200))"
grep -q '^Canonical form      yes' out.txt || fail "9 MiB of settings: canonical form line"
expect_status 0 "inspect --json of 9 MiB of settings" "$hdutil" inspect large.bin --json
python3 -c "
import json, sys
records = json.load(open('out.txt'))['namespaces'][3]['value']['records']
sys.exit(0 if records[-1]['value']['hex'] == open('large.hex').read() else 1)" ||
  fail "9 MiB of settings: the blob's hex in the JSON"
rm -f large.bin large.hex

# Input size: a documented ceiling, and a directory is an error, not an empty file.
mkdir -p a-directory
expect_status 2 "inspect of a directory" "$hdutil" inspect a-directory
check_one_line "directory"
grep -q "^hdutil: bad input: 'a-directory' is a directory$" err.txt || fail "directory: message ($(cat err.txt))"
truncate -s 1G huge.bin
expect_status 2 "inspect of a 1 GiB file" "$hdutil" inspect huge.bin
check_one_line "1 GiB file"
grep -q "^hdutil: bad input: 'huge.bin' is larger than hdutil's limit of 64 MiB$" err.txt ||
  fail "1 GiB file: message ($(cat err.txt))"
rm -f huge.bin
expect_status 2 "64 MiB and one byte on standard input" bash -c "head -c 67108865 /dev/zero | '$hdutil' inspect -"
check_one_line "standard input over the limit"
grep -q "^hdutil: bad input: standard input is larger than hdutil's limit of 64 MiB$" err.txt ||
  fail "standard input over the limit: message ($(cat err.txt))"

# A state whose namespaces hold a record that is not a namespace: shown, with
# what is unusual flagged; encode refuses to write such a state.
expect_status 0 "inspect of a state with a feature record at the top" "$hdutil" inspect feature-at-top.bin
grep -q '^Record Feature(1), 14 records, kind of list 0$' out.txt || fail "feature at the top: record line"
grep -q '^Unusual             a top-level record that is not a namespace list: Feature(1) LIST$' out.txt ||
  fail "feature at the top: unusual line ($(grep -a -i unusual out.txt))"
expect_status 0 "inspect --json of a state with a feature record at the top" "$hdutil" inspect feature-at-top.bin --json
mv out.txt feature-at-top.json
expect_status 2 "encode of a state with a feature record at the top" "$hdutil" encode feature-at-top.json
check_one_line "encode of a feature record at the top"
grep -qF 'hdutil: CPExceptionMissingOrBadPersistentAttributesFormat: The namespaces state holds a record that is not a namespace list (Feature(1), ABVTE_LIST).' err.txt ||
  fail "encode of a feature record at the top: message ($(cat err.txt))"

# Error codes are 32-bit: larger numbers are refused, not wrapped.
for code in 99999999999999999999999 4294967296 0x100000000 -2147483649 12abc ""; do
  expect_status 2 "error '$code'" "$hdutil" error "$code"
  check_one_line "error '$code'"
done
expect_status 0 "error 4294967295" "$hdutil" error 4294967295
grep -q '^4294967295 (0xffffffff): ' out.txt || fail "error 4294967295: $(cat out.txt)"
expect_status 0 "error 0x80070005" "$hdutil" error 0x80070005
grep -q '^2147942405 (0x80070005): ' out.txt || fail "error 0x80070005: $(cat out.txt)"
expect_status 0 "error -2147024891" "$hdutil" error -2147024891
grep -q '^2147942405 (0x80070005): ' out.txt || fail "error -2147024891: $(cat out.txt)"
expect_status 0 "error 010" "$hdutil" error 010
grep -q '^10 (0xa): ' out.txt || fail "error 010 is decimal: $(cat out.txt)"

# Help for every command.
for command in "" inspect diff encode sample platform error; do
  expect_status 0 "help $command" "$hdutil" $command --help
  grep -q '^Usage: hdutil' out.txt || fail "help of '$command'"
done

# log-config check: a logging configuration read as the driver reads it
# (the built-in configuration, then the file), for a process named on the
# command line. The samples that ship with the tool are copied here so that
# reports name them briefly.
cp "$here/../../tools/hdutil/samples/logging-good.toml" "$here/../../tools/hdutil/samples/logging-mistakes.toml" . ||
  fail "could not copy the logging samples"
expect_status 0 "log-config check of the good sample" "$hdutil" log-config check logging-good.toml --process spoolsv.exe
grep -qx 'Reports: none' out.txt || fail "good sample: reports line"
grep -qx "  logging-good.toml, entry 1: applies to destination 'constraints'" out.txt || fail "good sample: entry line"
grep -qx "      contexts\[1\] matches: processes 'spoolsv.exe' is in \[spoolsv.exe, PrintIsolationHost.exe\]" out.txt ||
  fail "good sample: why the entry applies"
grep -qx '  constraints (file, enabled)' out.txt || fail "good sample: constraints destination"
grep -qx '    allowed categories: XC_ERR, XC_ATTRIBUTES, XC_DATAMODEL, XC_ATTRBYTES' out.txt ||
  fail "good sample: allowed categories of the driver destination"
grep -qx 'Logging: on (2 of 2 destinations enabled)' out.txt || fail "good sample: logging line"
grep -qx 'Result: clean (exit status 0)' out.txt || fail "good sample: result line"
# The same file for another process: the entry does not apply.
expect_status 0 "log-config check for another process" "$hdutil" log-config check logging-good.toml --process explorer.exe
grep -qx '  logging-good.toml, entry 1: does not apply' out.txt || fail "other process: entry line"
grep -qx "      contexts\[1\] does not match: processes 'explorer.exe' is not in \[spoolsv.exe, PrintIsolationHost.exe\]" \
  out.txt || fail "other process: why the entry does not apply"
grep -qx '  constraints (file, disabled: enable-logging is false)' out.txt || fail "other process: constraints destination"
grep -qx 'Logging: on (1 of 2 destinations enabled)' out.txt || fail "other process: logging line"
# Warm-up mode: the built-in configuration keeps logging off.
expect_status 0 "log-config check in warm-up mode" "$hdutil" log-config check logging-good.toml --process spoolsv.exe \
  --warmup on
grep -qx "  Parse Built-in Configuration, entry 1: applies to the facility's options and to destinations 'constraints', 'driver'" \
  out.txt || fail "warm-up: built-in entry line ($(grep -a 'Built-in' out.txt))"
grep -qx "      contexts\[1\] matches: warmup-mode 'on' is in \[on\]" out.txt || fail "warm-up: why the entry applies"
grep -qx 'Logging: off (enable-logging is false for the facility)' out.txt || fail "warm-up: logging line"
# The sample of mistakes: every report with its exact title and text.
expect_status 2 "log-config check of the mistakes sample" "$hdutil" log-config check logging-mistakes.toml \
  --process spoolsv.exe
grep -qxF '  error in logging-mistakes.toml: Format Error: Invalid Debug Logging Category Name' out.txt ||
  fail "mistakes: category title"
grep -qxF "      Invalid category name, 'XC_ATTRIBUTS'. Did you misspell it? Note that category strings are case-sensitive and generally all uppercase. This category will be ignored." \
  out.txt || fail "mistakes: category text"
grep -qxF '  error in logging-mistakes.toml: Error Parsing Logging Configuration TOML Data' out.txt ||
  fail "mistakes: missing type title"
grep -qxF "      The 'type' key is missing from the [logging.destination.trace] section. This is a required key!" out.txt ||
  fail "mistakes: missing type text"
grep -qxF "      Wrong type. Expect this key's value to be an integer: 'logging.options.max-verbosity-level'." out.txt ||
  fail "mistakes: type mismatch text"
grep -qxF '  warning in logging-mistakes.toml: Warning Parsing Logging Configuration TOML Data' out.txt ||
  fail "mistakes: unknown key warning"
grep -qx 'Result: 5 errors, 1 warning (exit status 2)' out.txt || fail "mistakes: result line"
# A mistyped category alone is an error; an unknown key alone a warning.
printf '[logging.options]\nenable-logging = true\n[logging.destination.d]\ntype = "null"\nincluded-categories-array = ["XC_ERR", "XC_TRACES"]\n' >category.toml
expect_status 2 "log-config check of a mistyped category" "$hdutil" log-config check category.toml
grep -qxF "      Invalid category name, 'XC_TRACES'. Did you misspell it? Note that category strings are case-sensitive and generally all uppercase. This category will be ignored." \
  out.txt || fail "mistyped category: text"
printf '[logging.destination.d]\ntype = "null"\nshow-dates = true\n' >unknown-key.toml
expect_status 1 "log-config check of an unknown key" "$hdutil" log-config check unknown-key.toml
# Text the TOML parser refuses: one report, exit status 2, no crash.
printf '[logging.options\nenable-logging = true\n[[' >broken.toml
expect_status 2 "log-config check of bad TOML" "$hdutil" log-config check broken.toml
[ "$(grep -c '^  error in ' out.txt)" -eq 1 ] || fail "bad TOML: not exactly one report"
grep -q "^      Unable to parse the logging configuration 'broken.toml': .*The whole source is being ignored.$" out.txt ||
  fail "bad TOML: parse report ($(grep -a Unable out.txt))"
[ -s err.txt ] && fail "bad TOML: something on standard error ($(cat err.txt))"
# Standard input, and the same facts as JSON.
expect_status 0 "log-config check from standard input" bash -c "'$hdutil' log-config check - --process spoolsv.exe <logging-good.toml"
grep -qx 'Logging configuration: standard input, applied over the built-in configuration' out.txt ||
  fail "standard input: source line"
expect_status 2 "log-config check --json" "$hdutil" log-config check logging-mistakes.toml --process spoolsv.exe --json
python3 - <<'PY' || fail "log-config check --json: shape"
import json, sys
d = json.load(open("out.txt"))
assert list(d) == ["source", "context", "sources", "reports", "contextual-options", "facility", "destinations",
                   "logging", "errors", "warnings", "exit-status"], list(d)
assert d["context"] == {"process": "spoolsv.exe", "build": d["context"]["build"], "platform": d["context"]["platform"],
                        "warmup-mode": "off", "unit-tests": d["context"]["unit-tests"]}
assert [r["severity"] for r in d["reports"]] == ["error", "error", "warning", "error", "error", "error"]
assert all(list(r) == ["source", "severity", "title", "text"] for r in d["reports"])
assert d["reports"][1]["title"] == "Format Error: Invalid Debug Logging Category Name"
assert [e["applies"] for e in d["contextual-options"]] == [False, True]
assert [x["name"] for x in d["destinations"]] == ["driver"]
driver = d["destinations"][0]
assert driver["type"] == "file" and driver["enabled"] is True and len(driver["options"]) == 37
assert driver["options"]["included-categories-array"] == {"value": ["XC_ERR"], "specified": True}
assert driver["allowed-categories"] == ["XC_ERR"]
assert d["facility"]["options"]["max-verbosity-level"] == {"value": 5, "specified": False}
assert d["logging"] == {"on": True, "reason": "1 of 1 destination enabled"}
assert (d["errors"], d["warnings"], d["exit-status"]) == (5, 1, 2)
PY
# Input that cannot be read, and usage mistakes: one line, exit status 2.
mkdir -p a-directory
expect_status 2 "log-config check of a directory" "$hdutil" log-config check a-directory
check_one_line "log-config check of a directory"
grep -q "^hdutil: bad input: 'a-directory' is a directory$" err.txt || fail "log-config directory: $(cat err.txt)"
expect_status 2 "log-config check of a missing file" "$hdutil" log-config check does-not-exist.toml
check_one_line "log-config check of a missing file"
expect_status 2 "log-config check over the size limit" bash -c "head -c 67108865 /dev/zero | '$hdutil' log-config check -"
check_one_line "log-config check over the size limit"
grep -q "^hdutil: bad input: standard input is larger than hdutil's limit of 64 MiB$" err.txt ||
  fail "log-config over the limit: $(cat err.txt)"
expect_status 2 "log-config check --build fast" "$hdutil" log-config check logging-good.toml --build fast
check_one_line "log-config check --build fast"
grep -qF "hdutil: --build takes one of checked, debug, free, release, aefree, aeplus, not 'fast'" err.txt ||
  fail "--build fast: $(cat err.txt)"
expect_status 2 "log-config without check" "$hdutil" log-config logging-good.toml
check_one_line "log-config without check"
expect_status 0 "log-config check --help" "$hdutil" log-config check --help
grep -q '^Usage: hdutil log-config check' out.txt || fail "log-config check --help"

if [ "$failures" -ne 0 ]; then
  echo "$failures hdutil check(s) failed" >&2
  exit 1
fi
echo "hdutil: all checks passed"
