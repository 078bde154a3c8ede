#!/usr/bin/env python3
"""Sends one message from Python, with nothing but the standard library and libmvsms.

    send.py NUMBER TEXT

Exit code: as of `mvsms send`, 0 when the message was accepted.
"""
import ctypes
import sys

STATUS = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_char_p)
ERROR = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_int32, ctypes.c_char_p, ctypes.c_char_p)

library = ctypes.CDLL("libmvsms.so.1")
library.mvsms_new.argtypes = [ctypes.c_char_p, ctypes.c_char_p]
library.mvsms_new.restype = ctypes.c_void_p
library.mvsms_free.argtypes = [ctypes.c_void_p]
library.mvsms_on_status.argtypes = [ctypes.c_void_p, STATUS, ctypes.c_void_p]
library.mvsms_on_error.argtypes = [ctypes.c_void_p, ERROR, ctypes.c_void_p]
library.mvsms_send.argtypes = [ctypes.c_void_p] + [ctypes.c_char_p] * 4
library.mvsms_send.restype = ctypes.c_int
library.mvsms_error.argtypes = [ctypes.c_void_p]
library.mvsms_error.restype = ctypes.c_char_p

MISUSE = 2


def main(words):
    if len(words) != 2:
        print(__doc__, file=sys.stderr)
        return MISUSE
    # Kept in variables: the library calls them for as long as the sender lives.
    on_status = STATUS(lambda context, line: print(line.decode(), flush=True))
    on_error = ERROR(lambda context, number, description, source: print(
        f"error {number}: {description.decode()}", file=sys.stderr))

    sender = library.mvsms_new(b"", b"")  # the settings of the command, the profile "Standard"
    library.mvsms_on_status(sender, on_status, None)
    library.mvsms_on_error(sender, on_error, None)
    number, text = (word.encode() for word in words)
    result = library.mvsms_send(sender, number, b"", text, b"")
    if result == MISUSE:
        print(library.mvsms_error(sender).decode(), file=sys.stderr)
    library.mvsms_free(sender)
    return result


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
