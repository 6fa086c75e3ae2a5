"""Reads a persisted attributes state with Python's struct and zlib modules.

    check_persisted_state.py STATE NAMESPACES TEST_PROGRAM

STATE is a PersistentAttributes state, NAMESPACES the namespaces state it was
built from; both are written by the unit test
PersistentAttributesInterop.WritesPersistedStateForOtherReaders and must be
newer than TEST_PROGRAM. The state must be the 16-byte little-endian header
(size 16, format version 0x20070001, creator version 7.4.0.999), one zlib
stream and the 13-byte big-endian "COM5" footer (format 1, level -1). The
stream must decompress on its own to exactly the footer's original size,
begin with "ABNS" and equal NAMESPACES.
"""
import os
import struct
import sys
import zlib

state_path, namespaces_path, program = sys.argv[1:4]
for path in (state_path, namespaces_path):
    if os.path.getmtime(path) < os.path.getmtime(program):
        sys.exit(f"{path} is older than {program}")

data = open(state_path, "rb").read()
namespaces = open(namespaces_path, "rb").read()
if len(data) < 16 + 13:
    sys.exit(f"only {len(data)} bytes: no room for header and footer")

header_size, format_version, *creator = struct.unpack("<II4H", data[:16])
if (header_size, format_version) != (16, 0x20070001):
    sys.exit(f"header size {header_size}, format version {format_version:#010x}; expected 16, 0x20070001")
if creator != [7, 4, 0, 999]:
    sys.exit(f"creator version {creator}, expected [7, 4, 0, 999]")

footer = data[-13:]
if footer[9:] != b"COM5":
    sys.exit(f"no COM5 footer: {footer.hex()}")
compression_format = footer[0]
level, original_size = struct.unpack(">ii", footer[1:9])
if compression_format != 1 or level != -1:
    sys.exit(f"footer format {compression_format}, level {level}; expected 1 (zlib) and -1")

decompressor = zlib.decompressobj()
restored = decompressor.decompress(data[16:-13]) + decompressor.flush()
if not decompressor.eof:
    sys.exit("the zlib stream has no end")
if decompressor.unused_data:
    sys.exit(f"{len(decompressor.unused_data)} bytes follow the zlib stream before the footer")
if len(restored) != original_size:
    sys.exit(f"zlib gives {len(restored)} bytes, the footer says {original_size}")
if not restored.startswith(b"ABNS"):
    sys.exit(f"the decompressed state begins {restored[:4]!r}, not b'ABNS'")
if restored != namespaces:
    sys.exit("the decompressed state differs from the namespaces state it was built from")
version = struct.unpack("<4H", restored[4:12])
print(f"Python zlib {zlib.ZLIB_RUNTIME_VERSION} reads a {len(data)}-byte persisted state: header "
      f"{header_size}/{format_version:#010x}/{'.'.join(map(str, creator))}, {len(data) - 29} bytes of stream into "
      f"{len(restored)} bytes of namespaces state (ABNS, version {'.'.join(map(str, version))})")
