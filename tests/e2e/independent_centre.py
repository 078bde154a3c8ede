"""A message centre that shares nothing with the one in the tree, so that the two ends of the line
cannot be wrong in the same way: TAP 1.8 and UCP 01 and 51 as their public descriptions have them,
on a socket or behind an AT-command modem on a pseudo-terminal. What it says to each step of the
dialogue is given; what it received is checked and kept.
"""
import os
import pty
import select
import socket
import threading
import time
import tty

STX, ETX, EOT, ACK, NAK, ESC, RS = b"\x02", b"\x03", b"\x04", b"\x06", b"\x15", b"\x1b", b"\x1e"
LET_IN = b"110 1.8\r\r" + ACK + b"\r" + ESC + b"[p\r"
LONGEST = 60  # seconds without a byte from the caller

HANG_UP = object()  # instead of an answer: the line is lost
SILENCE = object()  # instead of an answer: none, and the line stays


class HungUp(Exception):
    """The call is over."""


class SocketLine:
    def __init__(self, connection):
        self._connection = connection
        self._connection.settimeout(LONGEST)

    def read(self):
        try:
            data = self._connection.recv(4096)
        except OSError:
            data = b""
        if not data:
            raise HungUp
        return data

    def write(self, data):
        try:
            self._connection.sendall(data)
        except OSError:
            raise HungUp from None

    def close(self):
        self._connection.close()


class Call:
    """The caller's bytes, cut where the protocol ends a unit, and the centre's answers."""

    def __init__(self, line):
        self._line = line
        self._unread = b""

    def until(self, *ends):
        """What comes up to and including the first of `ends`."""
        while True:
            stops = [self._unread.find(end) + len(end) for end in ends if end in self._unread]
            if stops:
                unit, self._unread = self._unread[:min(stops)], self._unread[min(stops):]
                return unit
            self._unread += self._line.read()

    def exactly(self, count):
        while len(self._unread) < count:
            self._unread += self._line.read()
        unit, self._unread = self._unread[:count], self._unread[count:]
        return unit

    def say(self, answer):
        if answer is HANG_UP:
            raise HungUp
        if answer is not SILENCE:
            self._line.write(answer)


# --- TAP


def tap_checksum(block):
    """Of everything from STX through ETX: twelve bits of the sum, four in each character."""
    total = sum(byte & 0x7F for byte in block)
    return bytes(0x30 + (total >> shift & 15) for shift in (8, 4, 0))


class Tap:
    """`prompts` are the answers to one CR of the caller after the other, the last one to all that
    follow; `logins` those to the logins, `answers` those to the blocks. `noise` is put before their
    every byte."""

    def __init__(self, prompts=(b"ID=",), logins=(LET_IN,),
                 answers=(b"211 Page accepted\r" + ACK + b"\r",), noise=b""):
        self.prompts, self.logins, self.answers, self.noise = prompts, logins, answers, noise

    def hold(self, call, received):
        self._let_in(call)
        for answer in self._in_turn(self.answers):
            received.append(self._take_block(call))
            self._say(call, answer)

    def _let_in(self, call):
        prompts, logins = self._in_turn(self.prompts), self._in_turn(self.logins)
        answer = SILENCE
        while answer is SILENCE or ESC + b"[p" not in answer:
            asked = prompts if call.until(b"\r") == b"\r" else logins
            answer = next(asked)
            self._say(call, answer)
            if answer is not SILENCE and ESC + EOT in answer:
                raise HungUp

    @staticmethod
    def _in_turn(answers):
        yield from answers
        while True:
            yield answers[-1]

    def _say(self, call, answer):
        if isinstance(answer, bytes) and self.noise:
            answer = b"".join(self.noise + bytes([byte]) for byte in answer)
        call.say(answer)

    @staticmethod
    def _take_block(call):
        """The pager and the text of a block, which must be sound."""
        call.until(STX)
        body = call.until(ETX)
        checksum = call.exactly(4)
        if checksum != tap_checksum(STX + body) + b"\r":
            raise AssertionError(f"block {body!r} has the checksum {checksum!r}")
        pager, text, rest = body.split(b"\r")
        if rest != ETX:
            raise AssertionError(f"block {body!r} has more than two fields")
        return pager.decode("ascii"), text.decode("ascii")


# --- UCP


def ucp_frame(fields):
    """The frame with these fields from TRN on, of which the length is filled in."""
    length = sum(len(field) for field in fields) + len(fields) + 2
    body = "/".join(fields[:1] + [f"{length:05}"] + fields[2:]) + "/"
    return f"\x02{body}{sum(body.encode('latin-1')) % 256:02X}\x03".encode("latin-1")


class Operation:
    """An operation of the caller, which must be sound."""

    def __init__(self, frame):
        self.frame = frame
        body = frame.strip(STX + ETX).decode("ascii")
        self.fields = body.split("/")
        self.trn, length, kind, self.number = self.fields[:4]
        checksum = sum(body[:-2].encode("ascii")) % 256
        if kind != "O" or int(length) != len(body) or int(self.fields[-1], 16) != checksum:
            raise AssertionError(f"damaged operation {frame!r}")
        # Counted from the fields of the data, which begin behind the operation's number.
        # Of a login it is the user and the password.
        text = {"01": 4, "51": 20, "60": 4}[self.number]
        self.recipient = self.fields[4]
        self.text = bytes.fromhex(self.fields[4 + text]).decode("ascii")

    def acknowledged(self, message="", trn=None, number=None):
        number = number or self.number
        validity = [""] if number == "51" else []
        return ucp_frame([trn or self.trn, "00000", "R", number, "A", *validity, message])

    def refused(self, code, message=""):
        return ucp_frame([self.trn, "00000", "R", self.number, "N", code, message])


class Ucp:
    """`answer` makes the answer to an Operation."""

    def __init__(self, answer=Operation.acknowledged):
        self.answer = answer

    def hold(self, call, received):
        while True:
            call.until(STX)
            operation = Operation(STX + call.until(ETX))
            received.append((operation.recipient, operation.text))
            call.say(self.answer(operation))


# --- where it answers


class Centre:
    """Holds every call as `protocol` does. `received` are the recipients and texts of sound frames,
    `faults` what was not sound."""

    def __init__(self, protocol):
        self._protocol = protocol
        self.received = []
        self.faults = []

    def answer(self, line):
        try:
            self._protocol.hold(Call(line), self.received)
        except HungUp:
            pass
        except Exception as error:  # whatever it is, the test must hear of it
            self.faults.append(repr(error))
        finally:
            line.close()


class TcpCentre(Centre):
    def __init__(self, protocol):
        super().__init__(protocol)
        self._listener = socket.create_server(("127.0.0.1", 0), backlog=200)
        self.number = "127.0.0.1:%d" % self._listener.getsockname()[1]
        threading.Thread(target=self._listen, daemon=True).start()

    def _listen(self):
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            line = SocketLine(connection)
            threading.Thread(target=self.answer, args=(line,), daemon=True).start()

    def close(self):
        # accept() in another thread does not end by itself when the socket is closed.
        self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()


class Modem:
    """A modem on a pseudo-terminal. `result` is what it says to a dialled number; to "CONNECT" the
    centre answers. Without a result it says nothing at all."""

    def __init__(self, centre=None, result="CONNECT"):
        self._centre, self._result = centre, result
        self._fd, slave = pty.openpty()
        tty.setraw(slave)
        self.device = os.ttyname(slave)
        self._slave = slave  # kept open, so that the terminal outlives its callers
        self._escaped = False
        self._gone = False
        self._wake, self._bell = os.pipe()
        threading.Thread(target=self._serve, daemon=True).start()

    def read(self):
        ready, _, _ = select.select([self._fd, self._wake], [], [], LONGEST)
        if self._wake in ready:
            self._vanish()
        data = os.read(self._fd, 4096) if self._fd in ready else b""
        if not data:
            raise HungUp
        if b"+++" in data:  # the caller's way to hang up a line without DTR
            self._escaped = True
            time.sleep(1)
            self.write(b"\r\nOK\r\n")
            raise HungUp
        return data

    def write(self, data):
        os.write(self._fd, data)

    def close(self):
        if not self._escaped and not self._gone:
            self.write(b"\r\nNO CARRIER\r\n")

    def unplug(self):
        os.write(self._bell, b"!")

    def _vanish(self):
        """On the thread that serves: elsewhere a closed descriptor may be another one by now."""
        self._gone = True
        os.close(self._fd)
        os.close(self._slave)
        raise HungUp

    def _serve(self):
        commands = Call(self)
        while not self._gone:
            try:
                self._carry_out(commands.until(b"\r").strip())
            except HungUp:
                pass  # the end of a call, or a long silence

    def _carry_out(self, command):
        if self._result is None:
            return
        dials = command.upper().startswith(b"ATD")
        self.write(b"\r\n%s\r\n" % (self._result.encode() if dials else b"OK"))
        if dials and self._result == "CONNECT":
            self._escaped = False
            self._centre.answer(self)
