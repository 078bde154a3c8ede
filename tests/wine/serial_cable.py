#!/usr/bin/env python3
"""Two pseudo-terminals joined like two serial ports by a cable, under the two given names."""
import os
import pathlib
import pty
import select
import sys
import tty


def port(link):
    master, slave = pty.openpty()  # the slave is kept open: a terminal that nobody has open is dead
    tty.setraw(slave)
    path = pathlib.Path(link)
    path.unlink(missing_ok=True)
    path.symlink_to(os.ttyname(slave))
    return master


first, second = port(sys.argv[1]), port(sys.argv[2])
other = {first: second, second: first}
while True:
    for end in select.select(list(other), [], [])[0]:
        os.write(other[end], os.read(end, 4096))
