#!/usr/bin/env python3
"""Writes the seed corpus of the image-file fuzzer: tiny valid files of each
format and of the variants the readers accept. Run from any directory; the
files go to corpus/ beside this script."""
import os
import struct
import zlib

OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")


def save(name, data):
    with open(os.path.join(OUT, name), "wb") as f:
        f.write(data)


def bmp(width, rows, bits, top_down=False, palette=()):
    """rows top to bottom, each bytes of width * bits / 8; palette of (r, g, b)."""
    row_bytes = (width * bits + 31) // 32 * 4
    offset = 14 + 40 + 4 * len(palette)
    height = len(rows)
    head = b"BM" + struct.pack("<IHHI", offset + row_bytes * height, 0, 0, offset)
    info = struct.pack("<IiiHHIIiiII", 40, width, -height if top_down else height, 1, bits, 0,
                       row_bytes * height, 2835, 2835, len(palette), 0)
    pal = b"".join(bytes((b, g, r, 0)) for r, g, b in palette)
    stored = rows if top_down else rows[::-1]
    pixels = b"".join(r.ljust(row_bytes, b"\0") for r in stored)
    return head + info + pal + pixels


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def png(width, height, depth, colour, raw, extra=(), interlace=0):
    """raw: the filtered scanlines (filter bytes included)."""
    ihdr = struct.pack(">IIBBBBB", width, height, depth, colour, 0, 0, interlace)
    out = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", ihdr)
    for kind, data in extra:
        out += chunk(kind, data)
    return out + chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b"")


def scanlines(rows):
    return b"".join(b"\0" + r for r in rows)


def adam7(pixels, width, height):
    """Scanlines of an interlaced 8-bit grey image (pixels[y][x])."""
    passes = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2),
              (0, 1, 1, 2)]
    raw = b""
    for x0, y0, sx, sy in passes:
        xs = range(x0, width, sx)
        if not xs:
            continue
        for y in range(y0, height, sy):
            raw += b"\0" + bytes(pixels[y][x] for x in xs)
    return raw


def main():
    os.makedirs(OUT, exist_ok=True)
    save("grey8.pgm", b"P5\n# tiny\n3 2\n255\n" + bytes([0, 128, 255, 1, 2, 3]))
    save("grey16.pgm", b"P5 2 2 1000\n" + struct.pack(">4H", 0, 1, 999, 1000))
    grey = [(i, i, i) for i in range(256)]
    save("grey8.bmp", bmp(3, [b"\x00\x10\x20", b"\x30\x40\xff"], 8, palette=grey))
    save("palette8.bmp", bmp(2, [b"\x00\x01", b"\x02\x03"], 8,
                             palette=[(255, 0, 0), (0, 255, 0), (0, 0, 255), (9, 9, 9)]))
    save("rgb24_topdown.bmp",
         bmp(3, [bytes(range(9)), bytes(range(100, 109))], 24, top_down=True))
    save("grey8.png", png(3, 2, 8, 0, scanlines([b"\x00\x80\xff", b"\x01\x02\x03"])))
    save("grey16.png", png(2, 1, 16, 0, scanlines([struct.pack(">2H", 4660, 65535)])))
    save("grey2.png", png(4, 1, 2, 0, scanlines([b"\x1b"])))
    save("rgb8.png", png(2, 1, 8, 2, scanlines([bytes((10, 20, 30, 7, 7, 7))])))
    save("rgba16.png", png(1, 1, 16, 6, scanlines([bytes(8)])))
    save("palette.png", png(3, 1, 8, 3, scanlines([b"\x02\x00\x01"]),
                            extra=[(b"PLTE", bytes((0, 0, 0, 60, 60, 60, 9, 9, 9))),
                                   (b"tRNS", b"\x00\x80")]))
    pixels = [[10 * y + x for x in range(5)] for y in range(5)]
    save("interlaced.png", png(5, 5, 8, 0, adam7(pixels, 5, 5), interlace=1))


if __name__ == "__main__":
    main()
