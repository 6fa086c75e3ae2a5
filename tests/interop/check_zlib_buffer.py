"""Reads a ZlibCompressedBuffer's data with Python's zlib module.

    check_zlib_buffer.py BUFFER ORIGINAL TEST_PROGRAM

BUFFER is the data (zlib stream followed by the 13-byte footer), ORIGINAL the
bytes that were compressed; both are written by the unit test
CompressedBufferInterop.WritesZlibBufferForOtherReaders and must be newer than
TEST_PROGRAM. The stream before the footer must decompress on its own, and
its length must equal the footer's big-endian original size.
"""
import os
import struct
import sys
import zlib

buffer_path, original_path, program = sys.argv[1:4]
for path in (buffer_path, original_path):
    if os.path.getmtime(path) < os.path.getmtime(program):
        sys.exit(f"{path} is older than {program}")

data = open(buffer_path, "rb").read()
original = open(original_path, "rb").read()
footer = data[-13:]
if footer[9:] != b"COM5":
    sys.exit(f"no COM5 footer: {footer.hex()}")
compression_format = footer[0]
level, original_size = struct.unpack(">ii", footer[1:9])
if compression_format != 1:
    sys.exit(f"footer format {compression_format}, expected 1 (zlib)")

decompressor = zlib.decompressobj()
restored = decompressor.decompress(data[:-13]) + decompressor.flush()
if not decompressor.eof:
    sys.exit("the zlib stream has no end")
if decompressor.unused_data:
    sys.exit(f"{len(decompressor.unused_data)} bytes follow the zlib stream before the footer")
if len(restored) != original_size:
    sys.exit(f"zlib gives {len(restored)} bytes, the footer says {original_size}")
if restored != original:
    sys.exit("the decompressed bytes differ from the original")
print(f"Python zlib {zlib.ZLIB_RUNTIME_VERSION} reads {len(data) - 13} bytes of stream into {len(restored)} bytes "
      f"(footer: level {level}, original size {original_size})")
