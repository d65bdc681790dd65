#!/usr/bin/env python3
"""Converts 24-bit uncompressed BMP files (as the dialog test writes them) to
PNG with the standard library alone: bmp_to_png.py IN.bmp OUT.png"""
import struct
import sys
import zlib


def convert(source, target):
    data = open(source, "rb").read()
    if data[:2] != b"BM":
        raise SystemExit(f"{source}: not a BMP file")
    offset = struct.unpack_from("<I", data, 10)[0]
    width, height, _, bits, compression = struct.unpack_from("<iiHHI", data, 18)
    if bits != 24 or compression != 0:
        raise SystemExit(f"{source}: only uncompressed 24-bit BMP files are read")
    row_bytes = (width * 3 + 3) & ~3
    rows = []
    for y in range(abs(height)):
        src = y if height < 0 else abs(height) - 1 - y
        row = data[offset + src * row_bytes: offset + src * row_bytes + width * 3]
        rgb = bytearray(row)
        rgb[0::3], rgb[2::3] = row[2::3], row[0::3]
        rows.append(b"\x00" + bytes(rgb))

    def chunk(kind, body):
        return (struct.pack(">I", len(body)) + kind + body +
                struct.pack(">I", zlib.crc32(kind + body) & 0xFFFFFFFF))

    png = b"\x89PNG\r\n\x1a\n"
    png += chunk(b"IHDR", struct.pack(">IIBBBBB", width, abs(height), 8, 2, 0, 0, 0))
    png += chunk(b"IDAT", zlib.compress(b"".join(rows), 9))
    png += chunk(b"IEND", b"")
    partial = target + ".partial"
    with open(partial, "wb") as out:
        out.write(png)
    import os
    os.replace(partial, target)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        raise SystemExit("usage: bmp_to_png.py IN.bmp OUT.png")
    convert(sys.argv[1], sys.argv[2])
