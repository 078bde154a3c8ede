#!/usr/bin/env python3
"""What `mvsms send` says of a message, against a message centre that shares no code with it: one
row for every way in which a send can end, all at once.

    outcomes_test.py MVSMS
"""
import concurrent.futures
import dataclasses
import fcntl
import json
import os
import pathlib
import signal
import sqlite3
import socket
import subprocess
import sys
import tempfile
import termios
import unittest

from independent_centre import (ACK, EOT, ESC, HANG_UP, LET_IN, NAK, RS, SILENCE, Modem, Tap,
                                TcpCentre, Ucp)

EXAMPLES = pathlib.Path(__file__).resolve().parent.parent.parent / "examples"
LONGEST = 120  # seconds for a send
TEXT = "Pump 3 has stopped"
TO = "0172123456"
QUICK = ["TimeOut=100"]  # a centre that says nothing is given up after 21 of them (UCP)
PIECES = ["MaxLength=10", "MaxMessages=2"]
PASSWORD = "TopSecret9"


def below_10h(operation):
    """An acknowledgement whose checksum begins with a zero."""
    answers = (operation.acknowledged(chr(code)) for code in range(ord("A"), ord("z")))
    return next(answer for answer in answers if answer[-3:-2] == b"0")


def small_letters(operation):
    """An acknowledgement whose checksum has letters, and small ones."""
    answers = (operation.acknowledged("00" + chr(code)) for code in range(ord("A"), ord("z")))
    answer = next(answer for answer in answers if answer[-2:-1].isalpha() and answer[-3:-2] != b"0")
    return answer[:-3] + answer[-3:].lower()


def damaged(operation):
    answer = operation.acknowledged("fine")
    return answer.replace(b"fine", b"fire")


def alert(_):
    """The centre asks whether we are there, instead of answering."""
    return b"\x0200/00044/O/31/0234765439845/0539/F2\x03"


def in_turn(*answers):
    """A UCP centre whose answers to one operation after the other are these."""
    left = list(answers)
    return Ucp(lambda operation: left.pop(0)(operation))


@dataclasses.dataclass
class Row:
    """One send. Without a protocol nobody is called."""
    outcome: str
    exit_code: int
    protocol: object = None
    service: list = dataclasses.field(default_factory=list)  # settings of the service
    result: object = None    # of the modem to the number: over a modem, else a socket
    text: str = TEXT
    to: str = TO
    words: list = dataclasses.field(default_factory=list)    # further ones for `mvsms send`
    pieces: int = 0          # accepted beyond doubt, where not every one is
    after: object = None     # what happens once `at` was said
    at: str = ""
    spoil: object = None     # what is wrong before the send

    @property
    def name(self):
        return "TAP" if isinstance(self.protocol, Tap) else "UCP"


def interrupt(world, send):
    send.send_signal(signal.SIGINT)


def terminate(world, send):
    send.send_signal(signal.SIGTERM)


def unplug(world, send):
    world.modem.unplug()


def hold_modem(world):
    """Another program has the modem."""
    fd = os.open(world.modem.device, os.O_RDWR | os.O_NOCTTY)
    fcntl.ioctl(fd, termios.TIOCEXCL)
    world.closing.append(lambda: os.close(fd))


def stop_listening(world):
    world.centre.close()


def hold_back(world):
    """A server that takes the connection, and hangs up at once."""
    world.centre.answer = lambda line: line.close()


def lock_settings(world):
    """Another program holds their file."""
    other = sqlite3.connect(world.environment["MVSMS_HOME"] + "/settings.db", isolation_level=None,
                            check_same_thread=False)
    other.execute("BEGIN EXCLUSIVE")
    world.closing.append(other.close)


def forget_defaults(world):
    world.do("config", "set", "DefaultService", "")


def forget_modem(world):
    world.do("service", "set", "Pager", "ModemName=Modem")
    world.do("modem", "delete", "Modem")


ROWS = {
    # The centre has acknowledged every piece.
    "tap acknowledged": Row("accepted", 0, Tap()),
    "tap acknowledged, without words": Row("accepted", 0, Tap(answers=[b"\r" + ACK + b"\r"])),
    "tap acknowledged, NULs between all bytes": Row("accepted", 0, Tap(noise=b"\0\0")),
    "tap over a modem": Row("accepted", 0, Tap(), result="CONNECT"),
    "tap login refused once": Row("accepted", 0, Tap(logins=[b"\r" + NAK + b"\r", LET_IN])),
    "tap greeting before the prompt": Row("accepted", 0, Tap(prompts=[b"Welcome\r\nID=", b"ID="])),
    "tap two pieces": Row("accepted", 0, Tap(), PIECES),
    "ucp 51 acknowledged": Row("accepted", 0, Ucp(), QUICK),
    "ucp 01 acknowledged": Row("accepted", 0, Ucp(), QUICK + ["UCPCommand=01"]),
    "ucp over a modem": Row("accepted", 0, Ucp(), QUICK, result="CONNECT"),
    "ucp checksum below 10h": Row("accepted", 0, Ucp(below_10h), QUICK),
    "ucp checksum in small letters": Row("accepted", 0, Ucp(small_letters), QUICK),
    "ucp NULs between all bytes": Row(
        "accepted", 0, Ucp(lambda o: b"\0".join(bytes([b]) for b in o.acknowledged("x"))), QUICK),
    "ucp line ends around the answer": Row(
        "accepted", 0, Ucp(lambda o: b"\r\n" + o.acknowledged("x") + b"\r\n"), QUICK),
    "ucp echo before the answer": Row(
        "accepted", 0, Ucp(lambda o: o.frame + o.acknowledged("x")), QUICK),
    "ucp two pieces": Row("accepted", 0, Ucp(lambda o: o.acknowledged("yes")), QUICK + PIECES),

    # It refuses the message, for good or for now.
    "ucp refused 06 without text": Row("refused", 1, Ucp(lambda o: o.refused("06")), QUICK),
    "ucp refused 02 with text": Row("refused", 1, Ucp(lambda o: o.refused("02", "Syntax")), QUICK),
    "ucp refused 10, worth a retry": Row(
        "refused", 75, Ucp(lambda o: o.refused("10", "Line not operational")), QUICK),
    "ucp refused 04 without text": Row("refused", 75, Ucp(lambda o: o.refused("04")), QUICK),
    "tap RS": Row("refused", 1, Tap(answers=[b"511 Invalid pager\r" + RS + b"\r"])),
    "tap NAK": Row("refused", 75, Tap(answers=[b"\r" + NAK + b"\r"])),
    "tap ESC EOT": Row("refused", 75, Tap(answers=[b"\r" + ESC + EOT + b"\r"])),
    "tap second piece refused": Row(
        "refused", 1, Tap(answers=[b"\r" + ACK + b"\r", b"\r" + RS + b"\r"]), PIECES, pieces=1),
    "tap second piece refused for now": Row(
        "refused", 75, Tap(answers=[b"\r" + ACK + b"\r", b"\r" + NAK + b"\r"]), PIECES, pieces=1),

    # It refuses the login.
    "tap login NAK to the end": Row(
        "refused", 1, Tap(logins=[b"\r" + NAK + b"\r"] * 3 + [b"\r" + ESC + EOT + b"\r"]),
        ["Password=" + PASSWORD]),
    "tap login ESC EOT": Row(
        "refused", 1, Tap(logins=[b"509 Invalid password\r" + ESC + EOT + b"\r"]),
        ["Password=" + PASSWORD]),

    # Nothing of the message went out.
    "busy": Row("unreachable", 75, Tap(), result="BUSY"),
    "no answer": Row("unreachable", 75, Tap(), result="NO ANSWER"),
    "no dial tone": Row("unreachable", 75, Tap(), result="NO DIALTONE"),
    "no carrier": Row("unreachable", 75, Tap(), result="NO CARRIER"),
    "silent modem": Row("unreachable", 75, Tap(), result=SILENCE),
    "modem in use": Row("unreachable", 75, Tap(), result="CONNECT", spoil=hold_modem),
    "connection refused": Row("unreachable", 75, Tap(), spoil=stop_listening),
    "connection closed at once": Row("unreachable", 75, Tap(), spoil=hold_back),
    "settings locked": Row("unreachable", 75, spoil=lock_settings),
    "no prompt": Row("unreachable", 75, Tap(prompts=[SILENCE])),
    "prompt behind other text": Row("unreachable", 75, Tap(prompts=[b"Welcome\r\nID="])),
    "login unanswered": Row("unreachable", 75, Tap(logins=[SILENCE])),
    "line lost before the prompt": Row("unreachable", 75, Tap(prompts=[HANG_UP])),
    "line lost at the login": Row("unreachable", 75, Tap(logins=[HANG_UP])),
    "carrier lost at the login": Row("unreachable", 75, Tap(logins=[HANG_UP]), result="CONNECT"),
    "modem unplugged at the login": Row("unreachable", 75, Tap(), result="CONNECT",
                                        at="Sending Terminal ID", after=unplug),
    "timeout before the message": Row("unreachable", 75, Tap(prompts=[SILENCE]),
                                      words=["--timeout", "2"]),
    "Ctrl-C before the message": Row("unreachable", 130, Tap(prompts=[SILENCE]), at="Sending <CR>",
                                     after=interrupt),
    "TERM before the message": Row("unreachable", 143, Tap(prompts=[SILENCE]), at="Sending <CR>",
                                   after=terminate),

    # A piece went out, and nobody can tell.
    "tap silence after the block": Row("unknown", 76, Tap(answers=[SILENCE])),
    "ucp silence after the frame": Row("unknown", 76, Ucp(lambda o: SILENCE), QUICK),
    "tap line lost after the block": Row("unknown", 76, Tap(answers=[HANG_UP])),
    "tap carrier lost after the block": Row("unknown", 76, Tap(answers=[HANG_UP]),
                                            result="CONNECT"),
    "ucp line lost after the frame": Row("unknown", 76, Ucp(lambda o: HANG_UP), QUICK),
    "tap the five letters <ACK>": Row("unknown", 76, Tap(answers=[b"<ACK>\r"])),
    "tap ACK and NAK": Row("unknown", 76, Tap(answers=[ACK + b"\r" + NAK + b"\r"])),
    "tap words alone": Row("unknown", 76, Tap(answers=[b"211 Page accepted\r"])),
    "ucp another transaction": Row("unknown", 76, Ucp(lambda o: o.acknowledged("x", trn="07")),
                                   QUICK),
    "ucp another operation": Row("unknown", 76, Ucp(lambda o: o.acknowledged("x", number="01")),
                                 QUICK),
    "ucp an alert instead": Row("unknown", 76, Ucp(alert), QUICK),
    "ucp damaged": Row("unknown", 76, Ucp(damaged), QUICK),
    "ucp cut off": Row("unknown", 76, Ucp(lambda o: o.acknowledged("x")[:-5]), QUICK),
    "tap second piece unanswered": Row(
        "unknown", 76, Tap(answers=[b"\r" + ACK + b"\r", SILENCE]), PIECES, pieces=1),
    "ucp rest not sent": Row(
        "unknown", 76, in_turn(below_10h), QUICK + PIECES, pieces=1),
    "Ctrl-C after the message": Row("unknown", 76, Tap(answers=[SILENCE]),
                                    at="Sending TAP Message", after=interrupt),

    # Nothing could go out.
    "empty text": Row("unusable", 65, text="  "),
    "no number": Row("unusable", 65, to="Karl"),
    "too long": Row("unusable", 65, text="x" * 161),
    "a character that TAP cannot carry": Row("unusable", 65, Tap(), text="Müller: è"),
    "not configured": Row("unusable", 78, spoil=forget_defaults),
    "modem missing": Row("unusable", 78, spoil=forget_modem),
    "unknown service": Row("", 2, words=["--service", "Gone"]),
    "unknown profile": Row("", 2, words=["--profile", "Gone"]),
}


class World:
    """A folder of all state with one service, and the centre that it reaches."""

    def __init__(self, protocol="TAP", settings=(), centre=None, modem=None):
        self.centre, self.modem = centre, modem
        self.closing = []
        self._folder = tempfile.TemporaryDirectory()
        self.environment = dict(os.environ, MVSMS_HOME=self._folder.name,
                                MVSMS_LOCK_DIR=self._folder.name)
        kind = ["--kind", "hayes", "--device", modem.device] if modem else ["--kind", "tcp"]
        self.do("modem", "add", "Modem", *kind)
        number = "0301234" if modem or not centre else centre.number
        self.do("service", "add", "Pager", f"Protocol={protocol}", f"PhoneNumber={number}",
                "UCPCommand=51", *settings)
        self.do("config", "set", "DefaultModem", "Modem")
        self.do("config", "set", "DefaultService", "Pager")

    def do(self, *words):
        done = subprocess.run([MVSMS, *words], env=self.environment, capture_output=True,
                              encoding="utf-8", timeout=LONGEST)
        if done.returncode != 0:
            raise AssertionError(f"{words}: {done.stderr}")

    def send(self, *words):
        return subprocess.Popen([MVSMS, "send", *words], env=self.environment, encoding="utf-8",
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def close(self):
        for close in self.closing:
            close()
        self._folder.cleanup()


@dataclasses.dataclass
class Ending:
    exit_code: int
    out: str
    err: str
    received: list
    faults: list


def run_row(row):
    centre = TcpCentre(row.protocol or Tap())
    modem = row.result and Modem(centre, None if row.result is SILENCE else row.result)
    world = World(row.name, row.service, centre, modem)
    try:
        if row.spoil:
            row.spoil(world)
        # The moment of an accident is told by the lines that the send prints, which are not JSON.
        form = [] if row.at else ["--json"]
        send = world.send(*form, "--to", row.to, *row.words, "--", row.text)
        seen = ""
        while row.at and row.at not in seen:
            line = send.stdout.readline()
            if not line:
                break
            seen += line
        if row.after:
            row.after(world, send)
        out, err = send.communicate(timeout=LONGEST)
        return Ending(send.returncode, seen + out, err, centre.received, centre.faults)
    finally:
        world.close()


class Outcome(unittest.TestCase):
    """A test for each row is added below."""

    @classmethod
    def setUpClass(cls):
        # They wait nearly all the time.
        with concurrent.futures.ThreadPoolExecutor(len(ROWS)) as pool:
            endings = {name: pool.submit(run_row, row) for name, row in ROWS.items()}
        cls.endings = endings

    def check(self, name):
        row, ending = ROWS[name], self.endings[name].result()
        self.assertEqual(ending.faults, [])
        self.assertEqual(ending.exit_code, row.exit_code, ending)
        self.assertNotIn(PASSWORD, ending.out + ending.err)
        if row.outcome == "accepted":
            self.assertEqual(ending.err, "")
            self.assertEqual("".join(text for _, text in ending.received), row.text)
            self.assertEqual({to for to, _ in ending.received}, {row.to})
        else:
            self.assertRegex(ending.err, r"\Amvsms: [^\n]+\n\Z")
        if row.outcome in ("unreachable", "unusable"):
            self.assertEqual(ending.received, [])
        if row.outcome and not row.at:
            self.check_json(row, ending)

    def check_json(self, row, ending):
        told = json.loads(ending.out)
        self.assertEqual(told["outcome"], row.outcome, told)
        self.assertEqual(told["exit_code"], row.exit_code)
        pieces = len(ending.received) if row.outcome == "accepted" else row.pieces
        self.assertEqual(told["pieces"]["accepted"], pieces)


for name in ROWS:
    setattr(Outcome, "test_" + name, lambda self, name=name: self.check(name))


class ManyNumbers(unittest.TestCase):
    """Ordinary German mobile numbers, the fourteen digits of which bring the checksum of many an
    acknowledgement below 10h."""
    COUNT = 100
    AT_ONCE = 20  # few enough for each to write into the one journal

    def test_each_is_accepted(self):
        numbers = ["004917112345%02d" % i for i in range(self.COUNT)]
        answers = {}

        def acknowledge(operation):
            # As centres do, with the recipient and a time; each number has a time of its own.
            moment = int(operation.recipient[-2:])
            message = f"{operation.recipient}:0103261402{moment % 60:02d}"
            answers[operation.recipient] = operation.acknowledged(message)
            return answers[operation.recipient]

        centre = TcpCentre(Ucp(acknowledge))
        world = World("UCP", ["TimeOut=500"], centre)
        self.addCleanup(world.close)

        def send(number):
            process = world.send("--json", "--to", number, TEXT)
            return process.communicate(timeout=LONGEST), process.returncode

        with concurrent.futures.ThreadPoolExecutor(self.AT_ONCE) as pool:
            sends = list(pool.map(send, numbers))
        for (out, err), code in sends:
            self.assertEqual((code, err), (0, ""), out)
        told = [json.loads(out) for (out, _), _ in sends]
        self.assertEqual(centre.faults, [])
        self.assertEqual(sorted(centre.received), sorted((number, TEXT) for number in numbers))
        # The component itself calls the ones with a zero failed, and the outcome does not.
        zeros = [number for number in numbers if answers[number][-3:-2] == b"0"]
        self.assertGreater(len(zeros), self.COUNT / 10)
        self.assertEqual([t["recipient"] for t in told if not t["result"]], zeros)


class LineLogin(unittest.TestCase):
    """A centre that wants a login of the line before all else."""

    def send(self, password):
        def answer(operation):
            if operation.number == "60" and operation.text != PASSWORD:
                return operation.refused("07", "Authentication failure")
            return operation.acknowledged()

        self.centre = TcpCentre(Ucp(answer))
        world = World("UCP", QUICK, self.centre)
        self.addCleanup(world.close)
        file = pathlib.Path(world.environment["MVSMS_HOME"], "password")
        file.write_text(password + "\n")
        world.do("modem", "set", "Modem", "--login", "user", "--password-file", str(file))
        out, err = world.send("--json", "--to", TO, TEXT).communicate(timeout=LONGEST)
        self.assertEqual(self.centre.faults, [])
        self.assertNotIn(password, out + err)
        return json.loads(out)

    def test_comes_before_the_message(self):
        self.assertEqual(self.send(PASSWORD)["outcome"], "accepted")
        self.assertEqual(self.centre.received, [("user", PASSWORD), (TO, TEXT)])

    def test_refused_is_refused_in_the_centre_s_words(self):
        told = self.send("Wrong1234")
        self.assertEqual((told["outcome"], told["exit_code"]), ("refused", 1))
        self.assertIn("07/Authentication failure", told["reason"])
        self.assertEqual(self.centre.received, [("user", "Wrong1234")])


class ExampleScript(unittest.TestCase):
    """How often the example for the shell calls, of three times that the profile allows."""

    def calls_after(self, answer, exit_code):
        centre = TcpCentre(Ucp(answer))
        world = World("UCP", QUICK, centre)
        self.addCleanup(world.close)
        world.do("config", "set", "Retries", "3")
        world.do("config", "set", "RetryDelay", "0")
        done = subprocess.run([EXAMPLES / "send.sh", TO, TEXT], timeout=LONGEST, encoding="utf-8",
                              capture_output=True, env=dict(world.environment, MVSMS=MVSMS))
        self.assertEqual(done.returncode, exit_code, done.stderr)
        self.assertEqual(centre.faults, [])
        return len(centre.received)

    def test_tries_again_what_was_refused_for_now(self):
        self.assertEqual(self.calls_after(lambda o: o.refused("10", "Later"), 75), 3)

    def test_takes_an_unknown_fate_for_final(self):
        self.assertEqual(self.calls_after(damaged, 76), 1)

    def test_takes_a_refusal_for_final(self):
        self.assertEqual(self.calls_after(lambda o: o.refused("06"), 1), 1)


if __name__ == "__main__":
    MVSMS = str(pathlib.Path(sys.argv[1]).resolve())
    unittest.main(argv=sys.argv[:1])
