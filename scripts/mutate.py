#!/usr/bin/env python3
"""scripts/mutate.py [--sample N] [--seed S] [FILE...]

Asks whether the tests would notice a mistake: changes one constant, comparison, operator or text of
the core at a time (numbers and texts, line classes, protocols, engine), builds, and runs the core's
tests. A change that no test notices (a survivor) is printed with its place. Works on a copy of the
tree in build/mutants; --sample takes that many changes at random instead of all. The exit code is 1
when something survived.
"""
import argparse
import pathlib
import random
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
COPY = ROOT / "build" / "mutants"
FOLDERS = ["base", "protocols", "media", "engine", "dispatch"]
PROGRAMS = ["base_test", "protocols_test", "media_test", "engine_test", "dispatch_test", "sweep_test",
            "ui_test"]

# What is looked for, and what stands in its place.
SWAPS = [
    (r"(?<![<>=!\-])<=(?!=)", "<"), (r"(?<![<>=!\-])>=(?!=)", ">"), (r"==", "!="), (r"!=", "=="),
    (r" < ", " <= "), (r" > ", " >= "), (r" \+ ", " - "), (r" && ", " || "), (r" \|\| ", " && "),
    (r"\btrue\b", "false"), (r"\bfalse\b", "true"), (r"\+\+", "--"),
]
NUMBER = re.compile(r"(?<![\w.\"'\\])(0x[0-9A-Fa-f]+|\d+)(?![\w.\"'])")
CHARACTER = re.compile(r"'(?:[^'\\]|\\[^']+)'")
TEXT = re.compile(r'"((?:[^"\\]|\\.)+)"')


def candidates(path):
    """Every change to a file: (line number, column, length, replacement)."""
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines()):
        code = line.split("//")[0]
        if not code.strip() or code.lstrip().startswith(("#", "*", "static_assert", "template")):
            continue
        for pattern, replacement in SWAPS:
            for match in re.finditer(pattern, code):
                yield number, match.start(), len(match[0]), replacement
        for match in NUMBER.finditer(code):
            yield number, match.start(), len(match[0]), str(int(match[0], 16 if "x" in match[0] else 10) + 1)
        for match in CHARACTER.finditer(code):
            yield number, match.start(), len(match[0]), "'~'" if match[0] != "'~'" else "'^'"
        for match in TEXT.finditer(code):
            yield number, match.start(), len(match[0]), '"' + match[1] + 'x"'


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **options).returncode


def noticed():
    """True when the change does not build, or a test fails or hangs."""
    if run(["cmake", "--build", str(COPY / "b"), "--target", *PROGRAMS]) != 0:
        return True
    for program in PROGRAMS:
        try:
            if run([str(COPY / "b" / "bin" / program)], timeout=60) != 0:
                return True
        except subprocess.TimeoutExpired:
            return True
    return False


def prepare():
    if COPY.exists():
        shutil.rmtree(COPY)
    COPY.mkdir(parents=True)
    files = subprocess.check_output(["git", "ls-files"], cwd=ROOT, text=True).split()
    for name in files:
        target = COPY / name
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(ROOT / name, target)
    environment = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"] if shutil.which("ccache") else []
    subprocess.check_call(["cmake", "-G", "Ninja", "-S", str(COPY), "-B", str(COPY / "b"),
                           "-DCMAKE_CXX_FLAGS=-O0", *environment], stdout=subprocess.DEVNULL)
    if noticed():
        sys.exit("the unchanged tree does not pass its tests")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--sample", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("files", nargs="*")
    options = parser.parse_args()
    names = options.files or [str(path.relative_to(ROOT)) for folder in FOLDERS
                              for path in sorted((ROOT / folder).glob("*.[ch]*"))]
    changes = [(name, *change) for name in names for change in candidates(ROOT / name)]
    if options.sample and options.sample < len(changes):
        changes = random.Random(options.seed).sample(changes, options.sample)
    prepare()
    survivors = 0
    for name, line, column, length, replacement in changes:
        path = COPY / name
        lines = path.read_text(encoding="utf-8").splitlines(keepends=True)
        before = lines[line]
        lines[line] = before[:column] + replacement + before[column + length:]
        original = path.read_text(encoding="utf-8")
        path.write_text("".join(lines), encoding="utf-8")
        if not noticed():
            survivors += 1
            print(f"survived {name}:{line + 1}: {before.strip()}  ->  {lines[line].strip()}", flush=True)
        path.write_text(original, encoding="utf-8")
    print(f"{len(changes)} changes, {len(changes) - survivors} noticed, {survivors} survived")
    return 1 if survivors else 0


if __name__ == "__main__":
    sys.exit(main())
