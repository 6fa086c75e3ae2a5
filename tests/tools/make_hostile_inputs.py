#!/usr/bin/env python3
"""Writes the hostile inputs of hdutil_cli_test.sh into the current folder.

Needs sample.bin and sample.json (the built-in sample and its inspect --json)
to be there already.
"""
import json
import struct
import zlib


def edited_sample(edit):
    document = json.load(open("sample.json"))
    edit(document)
    return document


def write_json(name, document):
    json.dump(document, open(name, "w"))


def first_records(document):
    return document["namespaces"][0]["value"]["records"]


# A namespace twice: the library refuses the second with a message that ends
# in its own line end.
write_json("duplicate-namespace.json",
           edited_sample(lambda d: d["namespaces"].append(d["namespaces"][0])))


# A record name that would start a line of its own, colour the terminal and
# turn the text around.
def forge(document):
    first_records(document)[0]["id"] = {
        "type": "NEWFEATURE", "name": "x\nhdutil: forged line \x1b[31mred\x1b[0m \u202e"}


write_json("forged-name.json", edited_sample(forge))


# Unpaired surrogates in a string value and in a name.
def surrogates(document):
    records = first_records(document)
    records.append({"id": {"type": "FEATURE", "featureId": 4242},
                    "value": {"type": "STRING", "specified": True, "value": {"utf16": [0xD800, 0x41]}}})
    records.append({"id": {"type": "NEWFEATURE", "name": {"utf16": [0x42, 0xDC00]}},
                    "value": {"type": "STRING", "specified": True, "value": {"utf16": [0xDBFF]}}})


write_json("surrogates.json", edited_sample(surrogates))

# Documents that are not JSON, or not the JSON of a state.
open("string-with-backslash-newline.json", "w").write('{"driverVersion": "a\\\nb"}')
open("duplicate-member.json", "w").write(
    '{"driverVersion": [1, 2, 3, 4], "driverVersion": [5, 6, 7, 8], "namespaces": []}')
members = ", ".join('"extra%d": 0' % i for i in range(100))
open("many-members.json", "w").write('{"driverVersion": [1, 2, 3, 4], "namespaces": [], ' + members + "}")
for name, number in [("plus", "+1"), ("fraction", ".5"), ("leading-zero", "007"), ("trailing-dot", "1."),
                     ("negative-zero-one", "-01")]:
    open("number-%s.json" % name, "w").write('{"driverVersion": [%s, 2, 3, 4], "namespaces": []}' % number)
open("invalid-utf8.json", "wb").write(b'{"driverVersion": [1, 2, 3, 4], "namespaces": [], "note": "\xff\xfe"}')

# Hex text with a two-byte letter.
open("hex-with-letter.hex", "wb").write("10 00 00 00 \u00e9 00".encode("utf-8"))

# A registry export whose string value holds "=hex:" ahead of the binary
# value, and a value name with the escapes regedit writes (\" and \\).
state = open("sample.bin", "rb").read()
hex_data = ",".join("%02x" % b for b in state)
text = ('Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Software\\Halden]\r\n'
        '"Note"="see x=hex:00,01"\r\n'
        '"Quote\\"d \\\\ name"=hex:' + hex_data + '\r\n')
open("tricky.reg", "w", newline="").write(text)

# The sample with the id of its first namespace turned into a feature id: a
# top-level record that is not a namespace.
inner = bytearray(zlib.decompress(state[16:-13]))
first_record = 20  # behind "ABNS", the 8-byte version, "ABIL" and "ABRL"
assert inner[first_record] == 9, "the first record of the sample is not a namespace"
inner[first_record] = 2
footer = bytes([1]) + struct.pack(">iI", -1, len(inner)) + b"COM5"
open("feature-at-top.bin", "wb").write(state[:16] + zlib.compress(bytes(inner)) + footer)
