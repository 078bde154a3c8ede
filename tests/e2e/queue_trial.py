#!/usr/bin/env python3
"""The queue as a whole, in real time and in processes of its own: kills without end, and a storm of
pages over modems of which some are busy and one dies. The message centres' own record is held
against queue and journal. Prints its figures; exit code 1 when a page is lost, twice without a word,
or nobody knows where.

    queue_trial.py MVSMS kills [KILLS]          submitters and workers, SIGKILL at any moment
    queue_trial.py MVSMS storm [PAGES] [tap]    over four modems, by UCP unless told otherwise

The seed of what happens when is printed, and taken from SEED in the environment.
"""
import collections
import json
import os
import pathlib
import random
import signal
import subprocess
import sys
import tempfile
import threading
import time

STATES = ["ready", "held", "claimed", "dialling", "accepted", "unknown", "parked", "cancelled", "expired", "joined",
          "offering", "at-hub", "withdrawing"]
SERIES = (71, 72, 73, 74)  # of submitters, each with a service and a modem
ON_THE_WAY = {"ready", "claimed", "dialling", "unknown"}


class Centre:
    """A message centre with what it heard in a file."""

    def __init__(self, home, number, place, protocol, settings=()):
        self.record = home.path / f"centre-{number}"
        command = [home.mvsms, "centre", "--json", "--protocol", protocol, *place, "--set", "system-message=ok"]
        for setting in settings:
            command += ["--set", setting]
        with open(self.record, "wb") as record:
            self.process = subprocess.Popen(command, stdout=record, stderr=subprocess.DEVNULL, env=home.environment)
        self.address = self.first_line()

    def first_line(self):
        for _ in range(500):
            text = self.record.read_text(encoding="utf-8")
            if "\n" in text:
                return json.loads(text.split("\n", 1)[0])
            time.sleep(0.02)
        raise RuntimeError("the message centre does not begin")

    def accepted(self):
        """The recipients of the messages that it took, one for each."""
        lines = [line for line in self.record.read_text(encoding="utf-8").split("\n")[1:] if line.startswith("{")]
        entries = [json.loads(line) for line in lines if line.endswith("}")]
        return [entry["recipient"] for entry in entries if entry.get("type") and entry["accepted"]]


class Home:
    """A folder of all state, with the programs that work on it; `enter` are the words that start them elsewhere."""

    def __init__(self, mvsms, path, enter=()):
        self.mvsms = mvsms
        self.enter = enter
        self.path = pathlib.Path(path)
        self.environment = dict(os.environ, MVSMS_HOME=str(path), MVSMS_LOCK_DIR=str(path))
        self.processes = []

    def start(self, *arguments, out=subprocess.PIPE):
        return subprocess.Popen([*self.enter, self.mvsms, *arguments], stdout=out, stderr=subprocess.DEVNULL, env=self.environment)

    def worker(self):
        return self.start("worker", out=subprocess.DEVNULL)

    def run(self, *arguments):
        process = self.start(*arguments)
        out = process.communicate()[0]
        if process.returncode != 0:
            raise RuntimeError(f"{arguments} ended with {process.returncode}")
        return out.decode()

    def centre(self, *details):
        self.processes.append(Centre(self, len(self.processes), *details))
        return self.processes[-1]

    def modem(self, name, protocol, settings=()):
        """A modem with a centre behind it. Its device is a link of this home: the terminal's own name is somebody
        else's as soon as the centre has ended, and a worker would go on opening it."""
        device = self.path / name
        self.centre(["--pty", "--link", device], protocol, settings)
        self.run("modem", "add", name, "--kind", "hayes", "--device", device)

    def service(self, name, protocol, number, modem, timeout):
        self.run("service", "add", name, f"Protocol={protocol.upper()}", f"PhoneNumber={number}",
                 f"ModemName={modem}", "UCPCommand=51", f"TimeOut={timeout}")

    def pages(self):
        states = [word for state in STATES for word in ("--state", state)]
        return json.loads(self.run("queue", "list", "--json", *states))

    def stats(self):
        return json.loads(self.run("queue", "stats", "--json"))

    def drain(self, seconds):
        end = time.monotonic() + seconds
        while time.monotonic() < end and any(self.stats()[state]["pages"] for state in ON_THE_WAY):
            time.sleep(0.5)

    def journal(self):
        return [json.loads(line) for line in self.run("journal", "--json", "--since", "1000d").splitlines()]

    def faults(self, promised):
        """Holds the centres' record against queue and journal; a sentence for each broken promise."""
        heard = collections.Counter(to for centre in self.processes for to in centre.accepted())
        pages = {page["id"]: page for page in self.pages()}
        rows = self.journal()
        in_journal = {row["id"].rsplit(".", 1)[0] for row in rows}
        faults = [f"{name}: promised, and not in the queue" for name in promised if name not in pages]
        for name, page in pages.items():
            times = heard.pop(page["recipient"], 0)
            if page["state"] != "accepted" and times == 0:
                faults.append(f"{name}: {page['state']}, never sent: {page['last_result']}")
            if page["state"] == "accepted" and times == 0:
                faults.append(f"{name}: accepted by nobody")
            if times > 1 and not page["perhaps_twice"]:
                faults.append(f"{name}: went out {times} times without a word")
            if times > 0 and name not in in_journal:
                faults.append(f"{name}: went out, and is not in the journal")
        faults += [f"{to}: went out without being in the queue" for to in heard]
        marked = sum(page["perhaps_twice"] for page in pages.values())
        twice = sum(times > 1 for times in collections.Counter(
            to for centre in self.processes for to in centre.accepted()).values())
        print(f"{len(pages)} pages, {len(rows)} tries; marked as perhaps twice {marked}, of which the centres have "
              f"twice {twice}; broken promises {len(faults)}")
        return faults

    def end(self):
        for centre in self.processes:
            centre.process.kill()
            centre.process.wait()


def kill(process):
    process.send_signal(signal.SIGKILL)
    return process.communicate()[0], process.returncode


class Kills:
    """Submitters and a worker, each killed some milliseconds after its start."""

    def __init__(self, home, dice, kills):
        self.home, self.dice = home, dice
        self.workers = kills * 15 // 100
        self.submitters = kills - self.workers
        self.promised = []

    def submit(self, series):
        dice = random.Random(self.dice.random())
        for number in range(self.submitters // len(SERIES)):
            name = f"{series}-{number}"
            command = ["send", "--queue", "--id", name, "--service", f"Service{series}", "--to",
                       f"0{series}{number:05}", f"Alarm {name}"]
            process = self.home.start(*command)
            time.sleep(dice.uniform(0, 0.03))
            out, _ = kill(process)
            told = out.decode().strip() == name
            if not told and dice.random() < 0.5:  # as a program that repeats what was not confirmed
                told = self.home.run(*command).strip() == name
            if told:
                self.promised.append(name)
            time.sleep(dice.uniform(0, 0.5))

    def work(self):
        dice = random.Random(self.dice.random())
        for _ in range(self.workers):
            process = self.home.worker()
            time.sleep(dice.uniform(0.01, 3))
            kill(process)


def trial_of_kills(home, dice, kills):
    port = home.centre(["--tcp", "0"], "ucp").address["port"]
    for series in SERIES:
        home.run("modem", "add", f"Modem{series}", "--kind", "tcp")
        home.service(f"Service{series}", "ucp", f"127.0.0.1:{port}", f"Modem{series}", 50)
    home.run("config", "set", "QuickRetries", "0 " * kills)
    trial = Kills(home, dice, kills)
    begun = time.monotonic()
    threads = [threading.Thread(target=trial.submit, args=(series,)) for series in SERIES]
    threads += [threading.Thread(target=trial.work)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    worker = home.worker()
    home.drain(1200)
    worker.terminate()
    worker.communicate()
    print(f"{kills} kills in {time.monotonic() - begun:.0f} s: {trial.submitters} submitters, "
          f"{trial.workers} workers; {len(trial.promised)} pages were confirmed")
    return home.faults(trial.promised)


def trial_of_a_storm(home, dice, count, protocol):
    troubles = [[], ["call=busy", "failed-calls=8"], ["call=no-carrier", "failed-calls=5"], []]
    for number, settings in enumerate(troubles):
        home.modem(f"Modem{number}", protocol, settings)
    home.run("modem", "add", "Pool", "--kind", "pool", "--members", "Modem0,Modem1,Modem2,Modem3")
    home.service("Pager", protocol, "0301234", "Pool", 200)
    home.run("config", "set", "DefaultService", "Pager")
    home.run("config", "set", "QuickRetries", "1 2 5 10 30 60")
    home.run("config", "set", "PagesPerCall", "20")
    promised = []
    begun = time.monotonic()
    worker = home.worker()
    for number in range(count):
        promised.append(home.run("send", "--queue", "--quiet", "--id", f"S{number}", "--to", f"0171{number:05}",
                                 f"Alarm {number}") or f"S{number}")
        if number == count // 2:
            time.sleep(5)
            (home.path / "Modem3").unlink()
            home.processes[3].process.kill()  # in the middle of a call
    put = time.monotonic() - begun
    home.drain(3600)
    seconds = time.monotonic() - begun
    worker.terminate()
    worker.communicate()
    calls = [len(centre.accepted()) for centre in home.processes]
    print(f"{protocol}: {count} pages handed over in {put:.0f} s, sent after {seconds:.0f} s: "
          f"{60 * count / seconds:.0f} a minute; by modem {calls}, the last one dead from the middle on")
    faults = home.faults(promised)
    faults += [f"{page['id']}: {page['state']}" for page in home.pages() if page["state"] != "accepted"]
    return faults


def main():
    mvsms, what, *more = sys.argv[1:]
    seed = int(os.environ.get("SEED", random.randrange(10**6)))
    print(f"seed {seed}")
    dice = random.Random(seed)
    with tempfile.TemporaryDirectory(prefix="mvsms-trial-") as path:
        home = Home(mvsms, path)
        try:
            if what == "kills":
                faults = trial_of_kills(home, dice, int(more[0]) if more else 2000)
            else:
                protocol = more[1] if len(more) > 1 else "ucp"
                faults = trial_of_a_storm(home, dice, int(more[0]) if more else 1000, protocol)
        finally:
            home.end()
    print("\n".join(faults[:30]))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
