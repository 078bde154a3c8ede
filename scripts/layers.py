#!/usr/bin/env python3
"""scripts/layers.py [ROOT]: holds every #include to the architecture.

Each room of the tree lists the rooms that it may include from; an include of any other one is named
with its file and line, and makes the exit code 1. The core, which is what the list calls so, includes
of the system's headers only those of the C++ standard library; <windows.h> is for the rooms of
Windows. Tests, benchmarks and fuzz targets may include everything.

A setting is named once: whoever writes the name of a row of engine/settings.h in quotes again, where
a misspelt one would compile, is named as well.
"""
import pathlib
import re
import sys

# From the ground up: a room, and what lies below it that it may use. A room may use itself. A folder
# without a row belongs to the room of the folder that it lies in.
ROOMS = {
    "base": "",
    "platform": "base",
    "resources": "base platform",
    "forms": "base platform resources",
    "media": "base platform",
    "protocols": "base platform media",
    "engine": "base platform media protocols",
    "dispatch": "base platform media protocols engine",
    "diagnostics": "base platform resources forms engine",
    "ui": "base platform resources forms media protocols engine diagnostics",
    "backends/memory": "base platform forms dispatch",
    "backends/win32": "base platform forms",
    "backends/posix/system": "base platform",
    "backends/posix/store": "base platform dispatch backends/posix/system",
    "backends/posix/line": "base platform backends/posix/system backends/posix/store",
    "backends/posix/hub": "base dispatch",
    "backends/posix": "base platform backends/posix/system backends/posix/store backends/posix/line",
    "centre": "",
    "centre/posix": "centre",
    "com": "base platform resources media engine ui backends/win32",
    "gateway": "base platform engine dispatch backends/posix/system",
    "cli": "base platform media protocols engine dispatch",
    "cli/posix": "base platform media engine dispatch gateway cli backends/posix backends/posix/line backends/posix/store "
                 "backends/posix/hub backends/posix/system centre centre/posix",
    "cli/gateway": "base platform engine dispatch gateway cli cli/posix backends/posix backends/posix/store "
                   "backends/posix/system",
    "cli/win32": "base platform media engine dispatch ui cli backends/win32",
    "include": "",
    "library": "base platform media engine dispatch backends/posix backends/posix/store backends/posix/system include",
    "examples": "",
    "packaging": "",
}
CORE = ["base", "platform", "resources", "forms", "media", "protocols", "engine", "dispatch",
        "diagnostics", "ui", "backends/memory", "centre"]
WINDOWS = ["backends/win32", "com", "cli/win32", "examples"]
FREE = ["tests", "bench", "fuzz"]
GENERATED = ["mvSMS.h", "version.rc"]

SETTINGS = ["engine/settings.h", "engine/settings.cpp"]

ROW = re.compile(r'\b(k\w+)\{\s*\.name = "(\w+)"')
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def room_of(path):
    """The room that a file lies in, or that an include names; None when there is none."""
    for folder in path.parents:
        if str(folder) in ROOMS:
            return str(folder)
    return None


def fault(room, bracket, header):
    """What is wrong with an include in a room, or None."""
    if bracket == "<":
        if header.lower() == "windows.h":
            return None if room in WINDOWS else "only the rooms of Windows include it"
        if room_of(pathlib.PurePosixPath(header)):
            return "a header of the tree stands in quotes"
        if room in CORE and ("/" in header or header.endswith(".h")):
            return f"{room} is of the core, which knows the standard library alone"
        return None
    if header in GENERATED and room in WINDOWS:
        return None
    used = room_of(pathlib.PurePosixPath(header))
    if used is None:
        return "no room of the tree has it"
    if used != room and used not in ROOMS[room].split():
        return f"{room} may not use {used}"
    return None


def settings_of(root):
    """The rows of the settings table, by the names that they have in the store."""
    table = root / SETTINGS[0]
    return {name: row for row, name in ROW.findall(table.read_text(encoding="utf-8"))} if table.exists() else {}


def check(root):
    """The faults of a tree, a line each."""
    faults = []
    settings = settings_of(root)
    quoted = re.compile('"(%s)[="]' % "|".join(settings)) if settings else None
    for path in sorted(p for e in ("h", "hpp", "c", "cpp", "def", "in") for p in root.rglob(f"*.{e}")):
        name = path.relative_to(root)
        if name.parts[0] in FREE or name.parts[0] in ("build", ".git"):
            continue
        room = room_of(pathlib.PurePosixPath(name))
        if room is None:
            faults.append(f"{name}: lies in no room; scripts/layers.py lists them")
            continue
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            wrong = match and fault(room, *match.groups())
            if wrong:
                faults.append(f"{name}:{number}: {match[0].strip()}: {wrong}")
            if quoted and name.suffix != ".def" and str(name) not in SETTINGS:
                faults += [f"{name}:{number}: {again[1]} is setting::{settings[again[1]]}"
                           for again in quoted.finditer(line)]
    return faults


if __name__ == "__main__":
    here = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parent.parent
    found = check(here)
    print("\n".join(found) if found else f"{len(ROOMS)} rooms, every include goes down, every setting is named once")
    sys.exit(1 if found else 0)
