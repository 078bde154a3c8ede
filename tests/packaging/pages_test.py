#!/usr/bin/env python3
"""The manual pages and completions, held against what the command says of itself, and as man and the
shells take them.

    pages_test.py FOLDER MVSMS

FOLDER has the pages and completions as they were built.
"""
import copy
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

FLAG, FILES = "-", "*"


def commands(command, path="mvsms"):
    """Every command with its path."""
    yield path, command
    for one in command["commands"]:
        yield from commands(one, f"{path} {one['name']}")


def plain(text):
    """What is between the macros of a page, as a reader sees it."""
    return text.replace("\\-", "-").replace("\\(aq", "'").replace('""', '"')


def part_for(path, pages):
    """The page, or the part of a page, that is about a command."""
    words = path.split()
    page = plain(pages.get("-".join(words[:2]) + ".1", ""))
    if len(words) < 3:
        return page
    parts = [part for part in re.split(r"(?m)^\.SS ", page) if part.startswith(f'"{path} ')]
    return parts[0] if parts else ""


def missing_in_pages(root, pages):
    missing = []
    for path, command in commands(root):
        part = part_for(path, pages)
        for option in command["options"] if not command["commands"] or path == "mvsms" else []:
            missing += [f"{path}: {name}" for name in option["names"]
                        if not re.search(rf'(?m)^\.B ".*(?<![\w-]){re.escape(name)}(?![\w-])', part)]
    return missing


def missing_in_completion(root, offers):
    missing = []
    for path, command in commands(root):
        words = path.split()[1:]
        offered = offers(*words, "") + offers(*words, "-")
        wanted = [one["name"] for one in command["commands"]]
        wanted += [name for option in command["options"] for name in option["names"] if name[0] == "-"]
        missing += [f"{path}: {word}" for word in wanted if word not in offered]
    return missing


def with_one_more(root):
    """The description of a command that has got an option since the pages were made."""
    later = copy.deepcopy(root)
    later["commands"][0]["options"].append({"names": ["--new"], "value": "", "text": "",
                                            "required": False, "several": False, "is_path": False})
    return later


class Pages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.root = json.loads((FOLDER / "description.json").read_text(encoding="utf-8"))
        cls.pages = {page.name: page.read_text(encoding="utf-8") for page in (FOLDER / "man").iterdir()}

    def test_every_option_is_in_its_page(self):
        self.assertEqual(missing_in_pages(self.root, self.pages), [])

    def test_an_option_without_a_line_would_be_told(self):
        self.assertEqual(missing_in_pages(with_one_more(self.root), self.pages), ["mvsms send: --new"])

    def test_every_command_has_a_page_and_no_page_is_left_over(self):
        wanted = {"mvsms.1"} | {f"mvsms-{one['name']}.1" for one in self.root["commands"]}
        self.assertEqual(set(self.pages), wanted)

    def test_the_pages_show_the_version_of_the_command(self):
        version = subprocess.run([MVSMS, "--version"], capture_output=True, text=True, check=True).stdout
        number = re.search(r"\d+\.\d+\.\d+", version).group()
        for name, page in self.pages.items():
            self.assertIn(f'"mvSMS {number}"', page.splitlines()[0], name)

    def test_the_pages_of_written_sections_exist(self):
        written = {file.stem + ".1" for file in (SOURCE / "packaging/man").glob("*.man")}
        self.assertLessEqual(written, set(self.pages))

    @unittest.skipUnless(shutil.which("man"), "no man here")
    def test_man_has_nothing_to_complain_about(self):
        environment = dict(os.environ, LC_ALL="C.UTF-8", MANWIDTH="80", MANROFFSEQ="")
        for name in self.pages:
            done = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z",
                                   FOLDER / "man" / name], capture_output=True, text=True,
                                  env=environment, check=False)
            self.assertEqual((done.returncode, done.stderr), (0, ""), name)


class Completions(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        home = tempfile.TemporaryDirectory()
        cls.addClassCleanup(home.cleanup)
        folder = pathlib.Path(home.name)
        (folder / "bin").mkdir()
        (folder / "bin/mvsms").symlink_to(MVSMS)
        (folder / "mvsms").mkdir()
        shutil.copy(FOLDER / "completion.sh", folder / "mvsms")
        for name in ("mvsms.bash", "_mvsms", "mvsms.fish"):
            text = (FOLDER / name).read_text(encoding="utf-8")
            (folder / name).write_text(re.sub(r"bash \S+/mvsms/", f"bash {folder}/mvsms/", text))
        cls.folder = folder
        cls.environment = dict(os.environ, LC_ALL="C.UTF-8", MVSMS_HOME=str(folder / "home"),
                               PATH=f"{folder}/bin:{os.environ['PATH']}")
        for words in (["modem", "add", "Modem 1", "--kind", "tcp"], ["profile", "copy", "Standard", "Büro"],
                      ["service", "add", "Pager", "Protocol=TAP", "PhoneNumber=127.0.0.1:1"]):
            cls.run_program(MVSMS, *words)
        cls.root = json.loads((FOLDER / "description.json").read_text(encoding="utf-8"))

    @classmethod
    def run_program(cls, *words):
        done = subprocess.run([str(word) for word in words], capture_output=True, text=True,
                              env=cls.environment, check=False)
        if done.returncode != 0 or done.stderr:
            raise AssertionError(f"{words} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
        return done.stdout

    def offers(self, *words):
        out = self.run_program("bash", self.folder / "mvsms/completion.sh", *words)
        return [line.split("\t")[0] for line in out.splitlines()]

    def test_every_command_and_option_is_offered(self):
        self.assertEqual(missing_in_completion(self.root, self.offers), [])

    def test_an_option_that_is_not_offered_would_be_told(self):
        self.assertEqual(missing_in_completion(with_one_more(self.root), self.offers),
                         ["mvsms send: --new"])

    def test_values_are_offered(self):
        for words, wanted in ((["send", "--profile", ""], ["Büro", "Standard"]),
                              (["--profile", "Standard", "send", "--service", ""], ["Pager"]),
                              (["modem", "test", ""], ["Modem 1"]),
                              (["modem", "add", ""], []),
                              (["centre", "--protocol", ""], ["tap", "ucp"]),
                              (["send", "--log", ""], [FILES]),
                              (["send", "--log", "=", ""], [FILES]),
                              (["registry", "import", ""], [FILES]),
                              (["send", "--to", "1", "--", "-"], [])):
            self.assertEqual(self.offers(*words), wanted, words)
        self.assertIn("DefaultModem", self.offers("config", "get", ""))

    def in_bash(self, *words):
        script = ('source "$1"; shift; COMP_WORDS=(mvsms "$@"); COMP_CWORD=$#; '
                  '_mvsms mvsms "${@: -1}" mvsms; printf "%s\\n" "${COMPREPLY[@]}"')
        return self.run_program("bash", "-c", script, "bash", self.folder / "mvsms.bash",
                                *words).split("\n")[:-1]

    def test_bash_takes_what_begins_alike(self):
        self.assertEqual(self.in_bash("se"), ["send", "service", "setup", "serve"])
        self.assertEqual(self.in_bash("send", "--pro"), ["--profile"])
        self.assertEqual(self.in_bash("modem", "test", "M"), ["Modem\\ 1"])

    @unittest.skipUnless(shutil.which("fish"), "no fish here")
    def test_fish_takes_what_begins_alike(self):
        script = f"source {self.folder}/mvsms.fish; complete --do-complete 'mvsms modem test M'"
        self.assertEqual(self.run_program("fish", "--no-config", "-c", script), "Modem 1\n")

    @unittest.skipUnless(shutil.which("zsh"), "no zsh here")
    def test_zsh_offers_words_with_their_meaning(self):
        script = (f"words=(mvsms se); CURRENT=2; PREFIX=se; _describe() {{ print -l -- $offers }}; "
                  f"source {self.folder}/_mvsms")
        out = self.run_program("zsh", "-f", "-c", script)
        self.assertIn("send:Send a message and wait until the message centre has taken it\n", out)


if __name__ == "__main__":
    SOURCE = pathlib.Path(__file__).resolve().parent.parent.parent
    FOLDER, MVSMS = (pathlib.Path(word).resolve() for word in (sys.argv.pop(1), sys.argv.pop(1)))
    unittest.main()
