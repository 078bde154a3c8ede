#!/usr/bin/env python3
"""draw_side.py OUTPUT: the picture beside the installer's first and last page, with our icon on it."""
import pathlib
import struct
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "com"))
import draw_icon  # noqa: E402

WIDTH, HEIGHT, ICON, TOP = 164, 314, 96, 60
UPPER, LOWER = (0xF4, 0xF8, 0xFD), (0xC9, 0xDD, 0xF5)


def background(row):
    return [round(a + (b - a) * row / HEIGHT) for a, b in zip(UPPER, LOWER)]


def colour(column, row, icon):
    left = (WIDTH - ICON) // 2
    below = background(row)
    if not (TOP <= row < TOP + ICON and left <= column < left + ICON):
        return below
    *over, opacity = icon[row - TOP][column - left]
    return [(a * opacity + b * (255 - opacity)) // 255 for a, b in zip(over, below)]


def main():
    icon = draw_icon.draw(ICON)
    pixels = bytearray()
    for row in reversed(range(HEIGHT)):  # a row is a multiple of four bytes long
        for column in range(WIDTH):
            pixels += bytes(reversed(colour(column, row, icon)))
    header = struct.pack("<IiiHHIIiiII", 40, WIDTH, HEIGHT, 1, 24, 0, len(pixels), 2835, 2835, 0, 0)
    start = 14 + len(header)
    file = struct.pack("<2sIHHI", b"BM", start + len(pixels), 0, 0, start) + header + pixels
    pathlib.Path(sys.argv[1]).write_bytes(file)


main()
