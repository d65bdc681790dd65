#!/usr/bin/env python3
"""Writes the seed corpus of fuzz_tiff_parse into corpus/tiff_parse/.

Real blocks: the APP1 TIFF payloads of the camera files in testdata/exif/, cut
after the last byte that IFD0 and the EXIF directory use (which drops the
thumbnails) and to at most 4 KB. Handmade blocks: every field type in both byte
orders, the JPEG layouts the block search knows, and the faults the reader
files (pointers out of the block, faulty types, sizes past 32 bits, cut IFDs).
"""
import os
import struct

here = os.path.dirname(os.path.abspath(__file__))
out = os.path.join(here, 'corpus', 'tiff_parse')
td = os.path.join(here, '..', '..', 'testdata', 'exif')

def app1_payload(path):
    b = open(path, 'rb').read()
    i = b.find(b'Exif\0\0')
    L = (b[i-2] << 8) | b[i-1]
    return b[i+6:i-2+L]

SIZES = {1:1,2:1,3:2,4:4,5:8,6:1,7:1,8:2,9:4,10:8,11:4,12:8}
def used_end(t):
    e = '<' if t[:2] == b'II' else '>'
    end = 8
    def rd(fmt, off): return struct.unpack_from(e+fmt, t, off)[0]
    def walk(off, follow):
        nonlocal end
        if off + 2 > len(t): return
        n = rd('H', off)
        end = max(end, off + 2 + 12*n + 4)
        exif = None
        for k in range(n):
            p = off + 2 + 12*k
            if p + 12 > len(t): return
            tag, typ, cnt = rd('H', p), rd('H', p+2), rd('I', p+4)
            sz = SIZES.get(typ, 0) * cnt
            if sz > 4:
                vo = rd('I', p+8)
                if vo + sz <= len(t): end = max(end, vo + sz)
            if follow and tag == 34665: exif = rd('I', p+8)
        if exif: walk(exif, False)
    walk(rd('I', 4), True)
    return min(end, len(t))

for sub in ('exif-jpeg', 'exif-only'):
    for f in sorted(os.listdir(os.path.join(td, sub))):
        t = app1_payload(os.path.join(td, sub, f))
        t = t[:used_end(t)][:4096]
        name = 'app1-' + f.split('_', 1)[1].rsplit('.', 1)[0][:40]
        open(os.path.join(out, name + '.tiff'), 'wb').write(t)

# Handmade blocks.
def tiff(order, ifd0, exif=None, exif_ptr=None):
    e = '<' if order == 'II' else '>'
    def dirbytes(n): return 2 + 12*n + 4 if n else 0
    ifd0 = list(ifd0)
    if exif is not None and exif_ptr is None:
        ifd0.append((34665, 4, 1, None))
    exif = exif or []
    exif_off = 8 + dirbytes(len(ifd0))
    values_at = exif_off + dirbytes(len(exif))
    if exif_ptr is None:
        ifd0 = [(t, ty, c, exif_off if t == 34665 and v is None else v) for (t, ty, c, v) in ifd0]
    head = (b'II*\0' if order == 'II' else b'MM\0*') + struct.pack(e+'I', 8)
    vals = b''
    def put_dir(d):
        nonlocal head, vals
        if not d: return
        head += struct.pack(e+'H', len(d))
        for (tag, ty, cnt, v) in d:
            head += struct.pack(e+'HHI', tag, ty, cnt)
            if isinstance(v, int):
                head += struct.pack(e+'I', v & 0xffffffff)
            elif len(v) <= 4:
                head += v + b'\0' * (4 - len(v))
            else:
                head += struct.pack(e+'I', values_at + len(vals))
                vals += v + (b'\0' if len(v) % 2 else b'')
        head += struct.pack(e+'I', 0)
    put_dir(ifd0); put_dir(exif)
    return head + vals

def all_types(order):
    e = '<' if order == 'II' else '>'
    return [
        (271, 2, 6, b'Canon\0'), (272, 2, 3, b'X1\0'),
        (258, 3, 3, struct.pack(e+'HHH', 8, 8, 8)), (256, 4, 1, struct.pack(e+'I', 4000)),
        (282, 5, 1, struct.pack(e+'II', 72, 1)), (700, 1, 4, b'\1\2\3\4'),
        (1001, 6, 2, b'\xfe\x05'), (1002, 7, 5, b'0220x'), (1003, 8, 1, struct.pack(e+'h', -2)),
        (1004, 9, 1, struct.pack(e+'i', -7)), (1005, 10, 1, struct.pack(e+'ii', -1, 3)),
        (1006, 11, 1, struct.pack(e+'f', 1.5)), (1007, 12, 2, struct.pack(e+'dd', 0.1, 1e300)),
    ]

def w(name, data): open(os.path.join(out, name), 'wb').write(data)

for o in ('II', 'MM'):
    e = '<' if o == 'II' else '>'
    focal = [(37386, 5, 1, struct.pack(e+'II', 50, 1)), (33437, 5, 1, struct.pack(e+'II', 0, 0))]
    w('bare-%s-all-types.tiff' % o, tiff(o, all_types(o), focal))
    w('bare-%s-exif-outside.tiff' % o, tiff(o, [(274, 3, 1, struct.pack(e+'H', 1)), (34665, 4, 1, 0xfffffff0)], exif_ptr=True))
    w('bare-%s-faulty.tiff' % o, tiff(o, [(271, 0, 1, 0), (272, 13, 1, 0), (270, 2, 10, 0xfffffff8),
                                          (273, 4, 0x40000000, 8), (305, 1, 0x80000000, 8)]))
    t = tiff(o, [(256, 3, 1, b'\1\0'), (257, 3, 1, b'\1\0'), (258, 3, 1, b'\1\0')])
    w('bare-%s-truncated-ifd.tiff' % o, t[:30])

small = tiff('II', [(271, 2, 6, b'NIKON\0')], [(37386, 5, 1, struct.pack('<II', 171, 10))])
app0 = b'\xff\xe0\x00\x10JFIF\0\1\1\0\0\1\0\1\0\0'
app1 = b'\xff\xe1' + struct.pack('>H', len(small) + 8) + b'Exif\0\0' + small
w('jpeg-app0-app1.jpg', b'\xff\xd8' + app0 + app1 + b'\xff\xdb\x00\x03\x00\xff\xd9')
w('jpeg-dqt-first.jpg', b'\xff\xd8\xff\xdb\x00\x04\0\0' + small)
w('jpeg-short-app1.jpg', b'\xff\xd8\xff\xe1\x00\x06Exif' + small)
w('jpeg-app1-tiny.jpg', b'\xff\xd8\xff\xe1\x00\x0aExif\0\0II')
w('scan-mii.bin', b'MII*\0IMM\0*III*\0' + small[4:])
