#!/usr/bin/env python3
"""Finishes the type library: an optional text argument that is passed by reference.

The IDL compiler accepts a text default only for a plain text parameter. In the compiled library a
parameter is a record of three 32-bit words: type, name, flags. The one optional plain text with a
default gets the type of the parameter before it (a text by reference) and the flag "out".

usage: by_reference_default.py COMPILED.tlb FINISHED.tlb
"""
import struct
import sys

PLAIN_TEXT = 0x80080008
IN, OUT, OPTIONAL, HAS_DEFAULT = 0x1, 0x2, 0x10, 0x20
WANTED = IN | OPTIONAL | HAS_DEFAULT


def main(source, target):
    with open(source, "rb") as file:
        library = bytearray(file.read())
    found = [
        at
        for at in range(12, len(library) - 11, 4)
        if struct.unpack_from("<I", library, at)[0] == PLAIN_TEXT
        and struct.unpack_from("<I", library, at + 8)[0] == WANTED
    ]
    if len(found) != 1:
        sys.exit(f"{source}: expected one optional text parameter, found {len(found)}")
    at = found[0]
    by_reference, _, flags = struct.unpack_from("<III", library, at - 12)
    if flags != IN | OUT:
        sys.exit(f"{source}: the parameter before the optional one is not passed by reference")
    struct.pack_into("<I", library, at, by_reference)
    struct.pack_into("<I", library, at + 8, WANTED | OUT)
    with open(target, "wb") as file:
        file.write(library)


main(sys.argv[1], sys.argv[2])
