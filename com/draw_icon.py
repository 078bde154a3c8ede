#!/usr/bin/env python3
"""Draws mvsms.ico beside this file: a short message, as a bubble with two lines of text.

Run it after a change of the drawing, and commit what it writes. The picture is described once, in the
unit square, and sampled for each size; edges are kept on whole pixels so that the small ones stay sharp.
"""
import pathlib
import struct
import zlib

SIZES = (16, 24, 32, 48, 256)
SAMPLES = 8  # in each direction, within a pixel
TOP, BOTTOM = (0x3B, 0x86, 0xE0), (0x1B, 0x58, 0xB4)
WHITE = (0xFF, 0xFF, 0xFF)


def in_rounded(x, y, left, top, right, bottom, radius):
    if not (left <= x <= right and top <= y <= bottom):
        return False
    dx = max(left + radius - x, x - (right - radius), 0)
    dy = max(top + radius - y, y - (bottom - radius), 0)
    return dx * dx + dy * dy <= radius * radius


def in_tail(x, y):
    """Below the bubble, to the left: its tip points down."""
    return 0.70 <= y <= 0.96 and 0.22 <= x <= 0.50 - (y - 0.70) * (0.28 / 0.26)


def lines(size):
    """The two lines of text: left, top, right, bottom."""
    step = 1 / size
    height = max(round(size * 0.08), 1 if size < 24 else 2) * step
    for middle, right in ((0.33, 0.80), (0.53, 0.62)):
        top = round((middle - height / 2) * size) * step
        yield round(0.20 * size) * step, top, round(right * size) * step, top + height


def bubble(size):
    return tuple(round(side * size) / size for side in (0.03, 0.08, 0.97, 0.78))


def colour_at(x, y, size, text):
    if any(left <= x <= right and top <= y <= bottom for left, top, right, bottom in text):
        return WHITE
    if in_rounded(x, y, *bubble(size), 0.17) or in_tail(x, y):
        return tuple(round(a + (b - a) * y) for a, b in zip(TOP, BOTTOM))
    return None


def pixel(column, row, size, text):
    """Red, green, blue and opacity of one pixel."""
    found = []
    for i in range(SAMPLES):
        for j in range(SAMPLES):
            x = (column + (i + 0.5) / SAMPLES) / size
            y = (row + (j + 0.5) / SAMPLES) / size
            found.append(colour_at(x, y, size, text))
    inside = [colour for colour in found if colour]
    if not inside:
        return 0, 0, 0, 0
    mean = [sum(channel) // len(inside) for channel in zip(*inside)]
    return *mean, 255 * len(inside) // len(found)


def draw(size):
    text = list(lines(size))
    return [[pixel(column, row, size, text) for column in range(size)] for row in range(size)]


def bitmap(rows):
    """As icons keep small pictures: lines from the bottom up, then a mask that nobody uses."""
    size = len(rows)
    head = struct.pack("<IiiHHIIiiII", 40, size, 2 * size, 1, 32, 0, 0, 0, 0, 0, 0)
    colours = b"".join(struct.pack("4B", b, g, r, a) for row in reversed(rows) for r, g, b, a in row)
    mask = bytes((size + 31) // 32 * 4 * size)
    return head + colours + mask


def png(rows):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    size = len(rows)
    pixels = b"".join(b"\0" + b"".join(struct.pack("4B", *p) for p in row) for row in rows)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(pixels, 9)) + chunk(b"IEND", b""))


def icon():
    pictures = [(size, png(draw(size)) if size == 256 else bitmap(draw(size))) for size in SIZES]
    directory = struct.pack("<HHH", 0, 1, len(pictures))
    offset = len(directory) + 16 * len(pictures)
    for size, data in pictures:
        directory += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(data), offset)
        offset += len(data)
    return directory + b"".join(data for _, data in pictures)


if __name__ == "__main__":
    pathlib.Path(__file__).with_name("mvsms.ico").write_bytes(icon())
