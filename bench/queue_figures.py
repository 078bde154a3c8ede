#!/usr/bin/env python3
"""queue_figures.py MVSMS [FOLDER]: what the queue costs, with the command itself and on the disk that
FOLDER (the system's for temporary files) lies on: handing a page over, one by one and from many
processes at once; a worker with a hundred thousand pages before it; and one with nothing to do."""
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time

TICKS = os.sysconf("SC_CLK_TCK")


class Home:
    """A folder of all state."""

    def __init__(self, mvsms, path):
        self.mvsms = mvsms
        self.environment = dict(os.environ, MVSMS_HOME=path, MVSMS_LOCK_DIR=path)

    def start(self, *arguments):
        return subprocess.Popen([self.mvsms, *arguments], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                env=self.environment)

    def run(self, *arguments):
        done = subprocess.run([self.mvsms, *arguments], env=self.environment, capture_output=True, check=True)
        return done.stdout.decode()

    def centre(self):
        """Starts a message centre that speaks UCP, and sets up the service over it."""
        centre = subprocess.Popen([self.mvsms, "centre", "--json", "--protocol", "ucp", "--tcp", "0"],
                                  stdout=subprocess.PIPE, env=self.environment)
        port = json.loads(centre.stdout.readline())["port"]
        self.run("modem", "add", "Modem", "--kind", "tcp")
        self.run("service", "add", "Pager", "Protocol=UCP", "UCPCommand=51", "TimeOut=200",
                 f"PhoneNumber=127.0.0.1:{port}")
        self.run("config", "set", "DefaultModem", "Modem")
        self.run("config", "set", "DefaultService", "Pager")
        return centre


def hand_over_one_by_one(home, count):
    times = []
    for number in range(count):
        begun = time.perf_counter()
        home.run("send", "--queue", "--quiet", "--id", f"one-{number}", "--to", f"0171{number}", "Pump 3 has stopped")
        times.append(1000 * (time.perf_counter() - begun))
    times.sort()
    print(f"a page handed over by `mvsms send --queue`, the process and the disk included: "
          f"p50 {times[count // 2]:.1f} ms, p99 {times[count * 99 // 100]:.1f} ms (aim: p99 under 20 ms)")


def hand_over_at_once(home, count, processes):
    numbers = "".join(f"{number}\n" for number in range(count)).encode()
    begun = time.perf_counter()
    subprocess.run(["xargs", "-P", str(processes), "-I", "{}", home.mvsms, "send", "--queue", "--quiet", "--id",
                    "many-{}", "--to", "0172{}", "Pump 3 has stopped"], input=numbers, env=home.environment,
                   stderr=subprocess.DEVNULL, check=True)
    seconds = time.perf_counter() - begun
    stats = json.loads(home.run("queue", "stats", "--json"))
    print(f"{count} pages by as many processes, {processes} at a time: {count / seconds:.0f} a second "
          f"(aim: 500); {sum(state['pages'] for state in stats.values())} pages lie there")


def status_of(process):
    """Seconds of processor, and the resident memory and its peak in MiB."""
    fields = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rsplit(")", 1)[1].split()
    memory = dict(line.split(":\t", 1) for line in
                  pathlib.Path(f"/proc/{process.pid}/status").read_text().splitlines() if ":\t" in line)
    kib = [int(memory[name].split()[0]) for name in ("VmRSS", "VmHWM")]
    return (int(fields[11]) + int(fields[12])) / TICKS, kib[0] / 1024, kib[1] / 1024


def fill(home, count):
    """Hands so many pages over in commands of a thousand recipients."""
    for first in range(0, count, 1000):
        to = [word for number in range(first, first + 1000) for word in ("--to", f"0173{number}")]
        home.run("send", "--queue", "--quiet", "--id", f"fill-{first}", *to, "Pump 3 has stopped")


def work_with_many(home, count):
    fill(home, count)
    worker = home.start("worker")
    time.sleep(20)
    used, _, peak = status_of(worker)
    worker.terminate()
    worker.wait()
    sent = json.loads(home.run("queue", "stats", "--json"))["accepted"]["pages"]
    print(f"a worker with {count} pages before it: {sent} sent in 20 s, {used:.2f} s of processor, at most "
          f"{peak:.1f} MiB (aim: under 50)")


def work_with_nothing(home, seconds):
    worker = home.start("worker")
    time.sleep(5)
    before, _, _ = status_of(worker)
    time.sleep(seconds)
    after, resident, _ = status_of(worker)
    worker.terminate()
    worker.wait()
    print(f"an idle worker with one line: {100 * (after - before) / seconds:.3f} % of a core over {seconds} s "
          f"(aim: under 0.1), {resident:.1f} MiB (aim: under 30)")


def main():
    mvsms, *folder = sys.argv[1:]
    for work in (lambda home: (hand_over_one_by_one(home, 500), hand_over_at_once(home, 3000, 16)),
                 lambda home: work_with_many(home, 100_000),
                 lambda home: work_with_nothing(home, 60)):
        with tempfile.TemporaryDirectory(prefix="mvsms-figures-", dir=folder[0] if folder else None) as path:
            home = Home(str(pathlib.Path(mvsms).resolve()), path)
            centre = home.centre()
            try:
                work(home)
            finally:
                centre.kill()
                centre.wait()


if __name__ == "__main__":
    main()
