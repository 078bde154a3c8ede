#!/usr/bin/env python3
"""One version everywhere: CMakeLists.txt has it, and what people write by hand agrees.

    version_test.py MVSMS
"""
import pathlib
import re
import subprocess
import sys
import unittest

SOURCE = pathlib.Path(__file__).resolve().parent.parent.parent
# Where a person writes it: the file, and the pattern that finds the newest.
BY_HAND = {"CHANGELOG.md": r"^## ([\d.]+)",
           "debian/changelog": r"^mvsms \(([\d.]+)"}


def found(path, pattern):
    match = re.search(pattern, (SOURCE / path).read_text("utf-8"), re.MULTILINE)
    return match[1] if match else None


VERSION = found("CMakeLists.txt", r"^project\(mvsms VERSION ([\d.]+) ")


class OneVersion(unittest.TestCase):
    def test_the_command_says_it(self):
        said = subprocess.run([MVSMS, "--version"], check=True, encoding="utf-8",
                              stdout=subprocess.PIPE).stdout
        self.assertRegex(said, rf"\Amvsms {re.escape(VERSION)}( \([0-9a-f]{{12}}\))?\n\Z")

    def test_what_is_written_by_hand_agrees(self):
        for path, pattern in BY_HAND.items():
            if (SOURCE / path).exists():
                with self.subTest(file=path):
                    self.assertEqual(found(path, pattern), VERSION)

    def test_the_header_of_the_library_agrees(self):
        numbers = [found("include/mvsms/mvsms.h", rf"^#define MVSMS_VERSION_{part} (\d+)")
                   for part in ("MAJOR", "MINOR", "PATCH")]
        self.assertEqual(".".join(numbers), VERSION)


if __name__ == "__main__":
    MVSMS = pathlib.Path(sys.argv[1]).resolve()
    unittest.main(argv=sys.argv[:1])
