"""A network of machines on one: each has a network namespace of its own, and one program carries every packet
between them, so that any way can be cut, in both directions or in one, lose packets or be slow, without anybody at
its ends being told. Needs root, /dev/net/tun and namespaces, which containers often have not."""
import fcntl
import heapq
import os
import random
import select
import struct
import subprocess
import threading
import time

TUNSETIFF = 0x400454CA
IFF_TUN_NO_PI = 0x1001
NETWORK = "10.77.0."


def possible():
    """Whether there can be such a machine here: one is made and ended."""
    try:
        Machine("trial", 254, random.Random(0)).end()
    except (OSError, subprocess.CalledProcessError):
        return False
    return True


def ip(*words):
    subprocess.run(["ip", *map(str, words)], check=True, stderr=subprocess.DEVNULL)


class Machine:
    """Its address, how a program is started there (`enter` before its words), and what its wire does to packets."""

    def __init__(self, name, number, dice):
        self.space = f"mvsms-{os.getpid()}-{name}"
        self.address = f"{NETWORK}{number}"
        self.enter = ["ip", "netns", "exec", self.space]
        self.cut = {"there": False, "back": False}
        self.loss = 0
        self.delay = 0
        self.dice = dice
        device = f"mv{os.getpid()}-{number}"
        self.wire = os.open("/dev/net/tun", os.O_RDWR | os.O_NONBLOCK)
        fcntl.ioctl(self.wire, TUNSETIFF, struct.pack("16sH", device.encode(), IFF_TUN_NO_PI))
        ip("netns", "add", self.space)
        ip("link", "set", device, "netns", self.space)
        for words in (["link", "set", "lo", "up"], ["addr", "add", f"{self.address}/24", "dev", device],
                      ["link", "set", device, "up"]):
            ip("-netns", self.space, *words)

    def carries(self, direction):
        """Whether a packet arrives."""
        return not self.cut[direction] and self.dice.random() >= self.loss

    def fail(self, directions, seconds):
        for direction in directions:
            self.cut[direction] = True
        time.sleep(seconds)
        for direction in directions:
            self.cut[direction] = False

    def lose(self, share, seconds):
        self.loss = share
        time.sleep(seconds)
        self.loss = 0

    def slow(self, delay, seconds):
        self.delay = delay
        time.sleep(seconds)
        self.delay = 0

    def end(self):
        ip("netns", "delete", self.space)
        os.close(self.wire)


class Network:
    """Of machines by their names; a context, at whose end nothing is left of it."""

    def __init__(self, names, dice):
        self.machines = {name: Machine(name, number, dice) for number, name in enumerate(names, 1)}
        self.by_address = {machine.address: machine for machine in self.machines.values()}
        self.under_way = []
        self.over = False
        self.carrier = threading.Thread(target=self.carry)

    def __enter__(self):
        self.carrier.start()
        return self.machines

    def __exit__(self, *_):
        self.over = True
        self.carrier.join()
        for machine in self.machines.values():
            machine.end()

    def carry(self):
        wires = {machine.wire: machine for machine in self.machines.values()}
        while not self.over:
            for wire in select.select(list(wires), [], [], self.next_due())[0]:
                self.take(wires[wire])
            while self.under_way and self.under_way[0][0] <= time.monotonic():
                _, _, to, packet = heapq.heappop(self.under_way)
                self.deliver(to, packet)

    def next_due(self):
        return min(max(self.under_way[0][0] - time.monotonic(), 0), 0.2) if self.under_way else 0.2

    def take(self, source):
        packet = os.read(source.wire, 65536)
        to = self.by_address.get(".".join(map(str, packet[16:20]))) if packet[0] >> 4 == 4 else None
        if to and source.carries("there") and to.carries("back"):
            heapq.heappush(self.under_way, (time.monotonic() + source.delay + to.delay, id(packet), to, packet))

    def deliver(self, to, packet):
        try:
            os.write(to.wire, packet)
        except OSError:  # its queue is full: lost, as packets are
            pass
