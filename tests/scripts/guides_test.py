#!/usr/bin/env python3
"""The commands that the guides show, run as they stand, one guide beside the other: each in a home
of its own, with message centres behind the devices and hosts that it names; and what else the
guides claim and a program can check.

    guides_test.py MVSMS

Fenced blocks say what they are by their first word:

    sh         commands; every one succeeds
    sh runs-on commands, one a line, that go on until they are stopped: at the end of the guide
    console    commands behind "$ ", each with what it prints; a line "..." stands for any lines
    dialogue   a file for `mvsms centre --script`, played to one send
    cpp        compiled when it is a whole program
    text       anything else, and so are the words of other languages

A comment "<!-- not run: WHY -->" before a block of commands excuses it.
"""
import concurrent.futures
import json
import os
import pathlib
import random
import re
import shlex
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import textwrap
import time
import unittest

SOURCE = pathlib.Path(__file__).resolve().parent.parent.parent
GUIDES = sorted([SOURCE / "README.md", *SOURCE.glob("docs/*guide.md"),
                 SOURCE / "docs/lines-and-centres.md", SOURCE / "docs/message-centre.md",
                 *SOURCE.glob("examples/**/*.md"), *SOURCE.glob("integrations/**/*.md")])
ALL_PAGES = sorted({*GUIDES, *SOURCE.glob("*.md"), *SOURCE.glob("docs/*.md")})
sys.path.insert(0, str(SOURCE / "tests/e2e"))
from independent_centre import ucp_frame  # noqa: E402

LONGEST = 100  # seconds for a block

# What the guides name, and what the centre behind it speaks.
DEVICES = {"/dev/ttyUSB0": "tap", "/dev/ttyUSB1": "tap", "/dev/ttyS0": "tap",
           "/dev/serial/by-id/usb-Modem-if00": "tap"}
HOSTS = {"centre.example:4000": "ucp"}
OWN_PORTS = ("4000", "8026")  # where a guide starts a centre or the gateway itself

RUN = ("sh", "console", "dialogue", "cpp")
COMMAND = re.compile(r"^\s*(\$ )?(mvsms|apt-get|cmake|systemctl|regsvr32|scripts/\w+\.sh) ",
                     re.MULTILINE)


class Wrong(Exception):
    """The guide is not true; the text says where and why."""


class Block:
    def __init__(self, place, info, text, excuse):
        self.place, self.text, self.excuse = place, text, excuse
        self.kind, *self.words = info.split() or [""]

    @property
    def runs(self):
        return self.excuse is None and self.kind in RUN


FENCE = re.compile(r"(?:^ *<!-- not run: (?P<why>.+) -->\n)?"
                   r"^(?P<indent> *)```(?P<info>.*)\n(?P<text>(?:.*\n)*?)(?P=indent)```\n",
                   re.MULTILINE)
BESIDE_FENCES = {r"^ *```": "a block that is not closed",
                 r"<!-- not run": "\"not run\" excuses no block",
                 r"(?<=\n\n) {4}(?! *[*-] )": "a block without a fence"}


def line_of(text, position):
    return text.count("\n", 0, position) + 1


def blocks_of(name, markdown):
    """The fenced blocks. Commands anywhere else are an error, and so is an excuse for nothing."""
    beside = FENCE.sub(lambda fence: "\n" * fence[0].count("\n"), markdown)
    for pattern, wrong in BESIDE_FENCES.items():
        if found := re.search(pattern, beside, re.MULTILINE):
            raise Wrong(f"{name}:{line_of(beside, found.start())}: {wrong}")
    blocks = [Block(f"{name}:{line_of(markdown, fence.start('info'))}", fence["info"],
                    textwrap.dedent(fence["text"]), fence["why"])
              for fence in FENCE.finditer(markdown)]
    for block in blocks:
        if block.kind not in RUN and block.excuse is None and COMMAND.search(block.text):
            raise Wrong(f"{block.place}: commands in a block of the kind \"{block.kind}\"")
    return blocks


def console_steps(block):
    """Pairs of a command and what the guide says it prints."""
    steps = []
    for line in block.text.splitlines(keepends=True):
        if line.startswith("$ "):
            steps.append([line[2:], ""])
        elif steps:
            steps[-1][1] += line
        else:
            raise Wrong(f"{block.place}: output before the first command")
    return steps


def matches(shown, printed):
    """Whether the guide shows what was printed, but for times and what "..." stands for."""
    pattern = ""
    for line in shown.splitlines():
        if line == "...":
            pattern += r"(?:.*\n)*?"
            continue
        escaped = re.sub(r"\d{4}\\?-\d\d\\?-\d\d", r"\\d{4}-\\d\\d-\\d\\d", re.escape(line))
        pattern += re.sub(r"\d\d:\d\d:\d\d", r"\\d\\d:\\d\\d:\\d\\d", escaped) + r"[ \r]*\n"
    return re.fullmatch(pattern, printed) is not None


def free_port():
    """Below those that the system gives to callers, so that it is still free when it is used."""
    while True:
        port = random.randint(20000, 32000)
        try:
            with socket.create_server(("127.0.0.1", port)):
                return str(port)
        except OSError:
            continue


class World:
    """A home in which one guide is carried out."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="guide"))
        self.state = self.folder / "state"
        self.state.mkdir()
        shutil.copy(SOURCE / "resources/smstransports.inf", self.state)
        for name in ("examples", "integrations", "resources"):
            if (SOURCE / name).exists():
                (self.folder / name).symlink_to(SOURCE / name)
        self.environment = dict(os.environ, HOME=str(self.folder), MVSMS_HOME=str(self.state),
                                MVSMS_LOCK_DIR=str(self.folder),
                                PATH=f"{MVSMS.parent}:{os.environ['PATH']}")
        self.running = []
        self.stand_ins = {port: free_port() for port in OWN_PORTS}
        self.ran = 0

    # --- centres behind what is named

    def centre(self, *words):
        """A centre that answers until the end of the guide, and where it does."""
        process = self.start(shlex.join(["mvsms", "centre", *words]))
        first = process.stdout.readline()
        if not first.startswith("Listening on "):
            raise Wrong(f"no centre with {words}: {first}")
        return process, first.split()[-1]

    def stand_in_for(self, name):
        if name in DEVICES:
            link = self.folder / name.strip("/")
            link.parent.mkdir(parents=True, exist_ok=True)
            self.centre("--pty", "--link", str(link), "--protocol", DEVICES[name])
            return str(link)
        return self.centre("--tcp", "0", "--protocol", HOSTS[name])[1]

    def placed(self, command):
        """The command with stand-ins for the devices and hosts of its guide."""
        named = re.findall(r"/dev/(?:tty|serial)[\w/.-]*|\b[\w.-]+\.example:\d+", command)
        for name in named:
            if name not in self.stand_ins:
                if name not in DEVICES and name not in HOSTS:
                    raise Wrong(f"there is no stand-in for {name}")
                self.stand_ins[name] = self.stand_in_for(name)
        for name in sorted(set(named), key=len, reverse=True):
            command = command.replace(name, self.stand_ins[name])
        return re.sub("|".join(rf"\b{port}\b" for port in OWN_PORTS),
                      lambda port: self.stand_ins[port[0]], command)

    def unplaced(self, printed):
        """What was printed, with the names that the guide has for the stand-ins."""
        for name, stand_in in self.stand_ins.items():
            printed = printed.replace(stand_in, name) if name in DEVICES else printed
        return printed

    # --- commands

    def start(self, command, environment=None):
        process = subprocess.Popen(["sh", "-c", "exec " + command], cwd=self.folder,
                                   env=environment or self.environment, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                   encoding="utf-8")
        self.running.append(process)
        return process

    def run(self, commands):
        done = subprocess.run(["sh", "-euc", self.placed(commands)], cwd=self.folder,
                              env=self.environment, stdin=subprocess.DEVNULL, timeout=LONGEST,
                              encoding="utf-8", stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if done.returncode != 0:
            raise Wrong(f"exit code {done.returncode}: {done.stdout}")
        return done.stdout

    def carry_out(self, block):
        try:
            getattr(self, block.kind)(block)
            self.ran += 1
        except (Wrong, subprocess.TimeoutExpired) as error:
            raise Wrong(f"{block.place}: {error}") from None

    def sh(self, block):
        if "runs-on" in block.words:
            for command in shlex_lines(block.text):
                first = self.start(self.placed(command)).stdout.readline()
                if not first or first.startswith("mvsms: "):
                    raise Wrong(f"{command} ended at once: {first}")
        else:
            self.run(block.text)

    def console(self, block):
        for command, shown in console_steps(block):
            printed = self.unplaced(self.run(command))
            if not matches(shown, printed):
                raise Wrong(f"{command}printed\n{printed}and not\n{shown}")

    def dialogue(self, block):
        script = self.folder / "guide.dialogue"
        script.write_text(block.text, encoding="utf-8")
        home = dict(self.environment, MVSMS_HOME=str(self.folder / "script"))
        centre, address = self.centre("--tcp", "0", "--once", "--script", str(script))
        for words in ("modem add Modem --kind tcp", f"service add Pager PhoneNumber={address}",
                      "config set DefaultModem Modem", "config set DefaultService Pager"):
            subprocess.run([MVSMS, *words.split()], env=home, check=True, timeout=LONGEST)
        send = self.start("mvsms send --to 0172 text", home)
        said, _ = centre.communicate(timeout=LONGEST)
        if centre.returncode != 0:
            raise Wrong(f"the caller departed from the dialogue: {said}")
        printed, _ = send.communicate(timeout=LONGEST)
        if send.returncode != 0:
            raise Wrong(f"the send ended with {send.returncode}: {printed}")

    def cpp(self, block):
        if "int main(" not in block.text:
            return
        program = self.folder / "guide.cpp"
        program.write_text(block.text, encoding="utf-8")
        self.run(f"c++ -std=c++17 -fsyntax-only -I {SOURCE}/include {program}")

    def close(self):
        try:
            running = [process for process in self.running if process.poll() is None]
            for process in running:
                process.send_signal(signal.SIGINT)
            for process in running:
                process.communicate(timeout=20)
        finally:
            for process in self.running:
                process.kill()
                process.stdout.close()
            shutil.rmtree(self.folder)


def shlex_lines(text):
    """Commands, one a line, without comments and empty lines."""
    return [line for line in text.splitlines() if shlex.split(line, comments=True)]


def anchors_of(path):
    """Of its headings, as links name them."""
    headings = re.findall(r"^#+ (.*)$", path.read_text("utf-8"), re.MULTILINE)
    return [re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings]


def carry_out(name, markdown):
    """Runs a guide; how many blocks ran."""
    world = World()
    try:
        for block in blocks_of(name, markdown):
            if block.runs:
                world.carry_out(block)
        return world.ran
    finally:
        world.close()


class Guides(unittest.TestCase):
    """A test for each guide is added below."""

    @classmethod
    def setUpClass(cls):
        cls.pool = concurrent.futures.ThreadPoolExecutor(len(GUIDES))
        cls.addClassCleanup(cls.pool.shutdown)
        cls.runs = {path: cls.pool.submit(carry_out, path.name, path.read_text("utf-8"))
                    for path in GUIDES}

    def check(self, path):
        blocks = blocks_of(path.name, path.read_text("utf-8"))
        try:
            ran = self.runs[path].result()
        except Wrong as error:
            self.fail(str(error))
        self.assertEqual(ran, sum(block.runs for block in blocks))

    def test_every_guide_is_there(self):
        self.assertEqual([path for path in GUIDES if not path.exists()], [])

    def test_links_lead_somewhere(self):
        for path in ALL_PAGES:
            links = re.findall(r"\]\(([^)#:]+)(?:#([^)]*))?\)", path.read_text("utf-8"))
            for target, anchor in links:
                file = path.parent / target
                with self.subTest(guide=path.name, link=target):
                    self.assertTrue(file.exists())
                    self.assertTrue(not anchor or anchor in anchors_of(file), anchor)

    def test_tables_are_whole(self):
        """A blank line in a table makes plain text of all that follows."""
        for path in ALL_PAGES:
            for table in re.findall(r"(?:^\|.*\n)+", path.read_text("utf-8"), re.MULTILINE):
                self.assertRegex(table, r"\A\|.*\n\|[-|]+\|\n", f"{path.name}: {table[:60]}")

    def test_the_behaviours_of_the_centre_can_be_set(self):
        guide = (SOURCE / "docs/message-centre.md").read_text("utf-8")
        examples = re.findall(r"^\s*(--set .*)$", guide, re.MULTILINE)
        self.assertGreater(len(examples), 5)
        world = World()
        self.addCleanup(world.close)
        for example in examples:
            options = re.split(r"\s{2,}", example)[0]  # the remark stands apart
            world.centre("--tcp", "0", *shlex.split(options))


    def test_every_recipe_for_a_modem_is_taken(self):
        guide = (SOURCE / "docs/lines-and-centres.md").read_text("utf-8")
        recipes = re.findall(r"^\|.*\| `(--(?:init|dial) .*)` \|$", guide, re.MULTILINE)
        self.assertGreater(len(recipes), 8)
        world = World()
        self.addCleanup(world.close)
        world.run("mvsms modem add Modem --kind hayes --device /dev/ttyUSB0")
        for recipe in recipes:
            world.run(f"mvsms modem set Modem {recipe}; mvsms modem test Modem")

    def test_the_members_of_the_json_object_are_listed(self):
        guide = (SOURCE / "docs/integrator-guide.md").read_text("utf-8")
        table = guide.split("| member | meaning |")[-1].split("\n\n")[0]
        names = [line.split(" | ")[0] for line in table.splitlines()]
        members = re.findall(r"`(\w+)`", "".join(names))
        world = World()
        self.addCleanup(world.close)
        printed = world.start("mvsms send --json --to 0172 text 2>/dev/null").communicate()[0]
        self.assertEqual(sorted(members), sorted(json.loads(printed)))


# How often what the guide calls so must happen: least and most.
SHARES = {"never": (0, 0), "seldom": (0, 0.1), "two of five": (0.3, 0.5),
          "every second answer": (0.3, 0.65), "nearly always": (0.7, 1)}


class Checksums(unittest.TestCase):
    """The table of the numbers whose acknowledgements the component takes for damaged."""

    def setUp(self):
        self.random = random.Random(1)

    def hit(self, operation, words):
        empty = [""] if operation == "51" and words[0] == "A" else []
        frame = ucp_frame(["00", "00000", "R", operation, *words[:1], *empty, *words[1:]])
        return frame[-3:-2] == b"0"

    def digits(self, count):
        return "".join(self.random.choice("0123456789") for _ in range(count))

    def share(self, operation, number):
        """Of the acknowledgements over the day and the year."""
        roll = self.random.randint
        moments = ["%02d%02d26%02d%02d%02d" % (roll(1, 28), roll(1, 12), roll(0, 23), roll(0, 59),
                                               roll(0, 59)) for _ in range(60)]
        return sum(self.hit(operation, ["A", f"{number}:{m}"]) for m in moments) / len(moments)

    def check(self, said, shares):
        words = next(words for words in SHARES if said.startswith(words))
        least, most = SHARES[words]
        mean = sum(shares) / len(shares)
        self.assertTrue(least <= mean <= most, (said, mean))
        if "four of five" in said:
            self.assertTrue(0.7 <= max(shares) <= 0.9, (said, max(shares)))

    def test_the_table_is_true(self):
        guide = (SOURCE / "docs/lines-and-centres.md").read_text("utf-8")
        rows = re.findall(r"^\| ([\d ,to]+)(?:\((\d+ \d+) \d+\) )?\| (.*) \| (.*) \|$", guide,
                          re.MULTILINE)
        self.assertEqual(len(rows), 9)
        for lengths, prefix, *said in rows:
            prefix = prefix.replace(" ", "")
            for length in range(int(lengths.split()[0].strip(",")), int(lengths.split()[-1]) + 1):
                numbers = [prefix + self.digits(length - len(prefix)) for _ in range(60)]
                for operation, words in zip(("51", "01"), said):
                    with self.subTest(length=length, operation=operation):
                        self.check(words, [self.share(operation, number) for number in numbers])

    def test_refusals_without_text(self):
        for operation in ("51", "01"):
            hits = [self.hit(operation, ["N", f"{code:02}", ""]) for code in range(1, 99)]
            self.check("nearly always", hits)


for guide in GUIDES:
    setattr(Guides, f"test_{guide.relative_to(SOURCE)}", lambda self, path=guide: self.check(path))


class PlantedFaults(unittest.TestCase):
    """What is wrong in a guide is found."""

    def expect(self, markdown, reason):
        with self.assertRaisesRegex(Wrong, reason):
            carry_out("guide", textwrap.dedent(markdown))

    def test_a_sound_guide_has_none(self):
        self.assertEqual(carry_out("guide", "```sh\ntrue\nmvsms config list\n```\n"), 1)

    def test_a_command_that_fails(self):
        self.expect("```sh\nmvsms config get Nothing\ntrue\n```\n", "guide:1: exit code 2")

    def test_another_output(self):
        self.expect("```console\n$ echo one\ntwo\n```\n", "printed\none")

    def test_output_that_is_not_shown(self):
        self.expect("```console\n$ echo one; echo two\none\n```\n", "printed\none")

    def test_commands_without_a_fence(self):
        self.expect("Do this:\n\n    mvsms config list\n", "guide:3: a block without a fence")

    def test_commands_called_text(self):
        self.expect("```text\nmvsms config list\n```\n", "guide:1: commands in a block")

    def test_a_block_that_is_not_closed(self):
        self.expect("Do this:\n```sh\ntrue\n", "guide:2: a block that is not closed")

    def test_an_excuse_without_a_block(self):
        self.expect("<!-- not run: it takes long -->\nThen do this.\n", "excuses no block")

    def test_an_unknown_device(self):
        self.expect("```sh\nmvsms modem add M --kind hayes --device /dev/ttyACM9\n```\n",
                    "no stand-in for /dev/ttyACM9")

    def test_a_command_that_does_not_run_on(self):
        self.expect("```sh runs-on\ntrue\n```\n", "ended at once")

    def test_a_departure_from_a_dialogue(self):
        self.expect("```dialogue\nexpect XY\n```\n", "departed from the dialogue")

    def test_a_program_that_does_not_compile(self):
        self.expect("```cpp\nint main() { return mvsms; }\n```\n", "exit code")


class Matching(unittest.TestCase):
    def test_times_and_gaps(self):
        self.assertTrue(matches("at 2026-03-01 14:02:11\n...\nend\n",
                                "at 2026-11-22 03:04:05\na\nb\nend\n"))
        self.assertFalse(matches("...\nend\n", "a\nend \nb\n"))
        self.assertFalse(matches("a.c\n", "abc\n"))


if __name__ == "__main__":
    MVSMS = pathlib.Path(sys.argv[1]).resolve()
    unittest.main(argv=sys.argv[:1])
