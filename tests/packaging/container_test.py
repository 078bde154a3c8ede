#!/usr/bin/env python3
"""packaging/Dockerfile against the tree: what it installs, what it starts and where that listens. That
its steps work is shown by tests/packaging/container.sh, which takes minutes.

    container_test.py MVSMS
"""
import json
import pathlib
import re
import subprocess
import sys
import unittest

SOURCE = pathlib.Path(__file__).resolve().parent.parent.parent


def instructions():
    """Pairs of an instruction and its words, stage by stage."""
    text = re.sub(r"^#.*\n", "", (SOURCE / "packaging/Dockerfile").read_text("utf-8"), flags=re.MULTILINE)
    stages = []
    for line in re.sub(r"\\\n", " ", text).splitlines():
        name, _, words = line.partition(" ")
        if name == "FROM":
            stages.append([])
        if name:
            stages[-1].append((name, words))
    return stages


def of(stage, name):
    return next(words for instruction, words in stage if instruction == name)


class Container(unittest.TestCase):
    def setUp(self):
        self.build, self.last = instructions()
        self.starts = json.loads(of(self.last, "ENTRYPOINT"))

    def test_it_builds_with_the_packages_that_the_tree_needs(self):
        needed = subprocess.run(["bash", "-c", '. scripts/packages.sh; echo "${command_packages[@]}"'],
                                cwd=SOURCE, check=True, encoding="utf-8", stdout=subprocess.PIPE).stdout
        installed = of(self.build, "RUN").split("--no-install-recommends")[1]
        self.assertEqual(sorted(installed.split()), sorted(set(needed.split()) - {"ccache"}))

    def test_it_runs_without_rights(self):
        user, group = map(int, of(self.last, "USER").split(":"))
        self.assertTrue(user > 0 and group > 0)

    def test_it_listens_where_it_says_and_is_asked(self):
        port = of(self.last, "EXPOSE")
        self.assertEqual(self.starts[self.starts.index("--tcp") + 1], port)
        self.assertIn(f":{int(port):04X} ", of(self.last, "HEALTHCHECK"))

    def test_what_it_starts_starts(self):
        words = [re.sub(r"^4000$", "0", word) for word in self.starts[1:]]
        with subprocess.Popen([MVSMS, *words], encoding="utf-8", stdout=subprocess.PIPE) as centre:
            self.addCleanup(centre.kill)
            self.assertRegex(centre.stdout.readline(), r"^Listening on 0\.0\.0\.0:\d+$")
            centre.terminate()
            self.assertEqual(centre.wait(timeout=20), 0)


if __name__ == "__main__":
    MVSMS = pathlib.Path(sys.argv[1]).resolve()
    unittest.main(argv=sys.argv[:1])
