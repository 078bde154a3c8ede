#!/usr/bin/env python3
"""windows_imports.py FILE...: whether programs and DLLs run on the oldest Windows that is promised.

They may use DLLs that every Windows has, and of those only functions that the headers of the tool
chain declare for that Windows. What is looked up while running (SystemFunction) is not among the
imports, and may be newer. The run-time library is that of the system, the same since Windows XP.
"""
import re
import subprocess
import sys
import tempfile

OLDEST = "0x0601"  # Windows 7
DLLS = set("ADVAPI32 COMCTL32 GDI32 KERNEL32 MSVCRT OLE32 OLEAUT32 SHELL32 SHLWAPI USER32 VERSION WINHTTP".split())
NEWER = {  # declared there all the same
    "GetSystemTimePreciseAsFileTime", "GetSystemCpuSetInformation", "GetCurrentThreadStackLimits",
    "QueryInterruptTime", "QueryInterruptTimePrecise", "GetOverlappedResultEx",
}
HEADERS = "windows.h ole2.h oleauto.h olectl.h commctrl.h shellapi.h shlwapi.h tlhelp32.h io.h winhttp.h".split()


def tools(path):
    """The tools for the file's machine, by the magic number of its header."""
    with open(path, "rb") as file:
        image = file.read(1024)
    header = int.from_bytes(image[0x3C:0x40], "little")
    machine = int.from_bytes(image[header + 4 : header + 6], "little")
    return "x86_64-w64-mingw32" if machine == 0x8664 else "i686-w64-mingw32"


def imports(path):
    """Names of functions by DLL."""
    printed = subprocess.run([tools(path) + "-objdump", "-p", path], check=True, text=True,
                             stdout=subprocess.PIPE).stdout
    found = {}
    for line in printed.splitlines():
        if dll := re.search(r"DLL Name: (\S+)\.dll", line, re.IGNORECASE):
            names = found.setdefault(dll[1].upper(), [])
        elif name := re.match(r"\t[0-9a-f]+\t +\d+  (\w+)$", line):
            names.append(name[1])
    return found


def undeclared(compiler, names):
    """Those that no header declares for the oldest Windows."""
    with tempfile.NamedTemporaryFile("w", suffix=".c") as source:
        source.writelines(f"#include <{header}>\n" for header in HEADERS)
        source.write("const void* const used[] = {\n")
        source.writelines(f"(const void*)&{name},\n" for name in names)
        source.write("};\n")
        source.flush()
        said = subprocess.run([compiler + "-gcc", "-fsyntax-only", "-w", f"-D_WIN32_WINNT={OLDEST}",
                               f"-DWINVER={OLDEST}", source.name], text=True, stderr=subprocess.PIPE)
    return sorted(NEWER.intersection(names).union(re.findall(r"error: .(\w+). undeclared", said.stderr)))


def main():
    failures = 0
    for path in sys.argv[1:]:
        found = imports(path)
        names = sorted({name for dll, names in found.items() if dll != "MSVCRT" for name in names})
        problems = [f"{dll}.dll is not part of every Windows" for dll in sorted(set(found) - DLLS)]
        problems += [f"{name} is newer than Windows 7" for name in undeclared(tools(path), names)]
        print(f"{path}: {len(names)} functions of {len(found)} DLLs")
        for problem in problems:
            print(f"{path}: {problem}")
        failures += len(problems) + (not names)
    return failures > 0


if __name__ == "__main__":
    sys.exit(main())
