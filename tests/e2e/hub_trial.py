#!/usr/bin/env python3
"""Three machines and their hub in real time and in processes of their own: one has no modem, two have
some. The message centres' own record is held against every queue and journal. Prints its figures; exit
code 1 when a page is lost, twice without a word, or nobody knows where. Without a PostgreSQL server it
says so, with exit code 77.

    hub_trial.py MVSMS kills [KILLS]             submitters, workers and the server, SIGKILL at any moment
    hub_trial.py MVSMS links [PAGES] [MINUTES] [MODEMS]
                                                 three machines, a server and its standby, each with a network of
                                                 its own: wires are cut in both directions or in one, lose packets,
                                                 are slow, connections end, all at random; workers and server are
                                                 killed; half-way the standby takes the server's place; one
                                                 machine's clock is an hour ahead
    hub_trial.py MVSMS away [PAGES]              the hub takes calls and never answers: each machine sends
                                                 what its own modems can
    hub_trial.py MVSMS restore                   a backup is put back that is older than its machines: it is held
                                                 until they have told it what they know, and released

The seed of what happens when is printed, and taken from SEED in the environment.
"""
import collections
import contextlib
import os
import pathlib
import pwd
import random
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

import network
from queue_trial import Home, kill

PAUSES = "0 1 2 3 5"


def programs():
    """The folder of the newest server's programs, or None."""
    found = sorted(pathlib.Path("/usr/lib/postgresql").glob("*/bin/initdb"), key=lambda p: int(p.parts[-3]))
    return found[-1].parent if found else None


def runs(process):
    """Whether it does, and is not only waiting for somebody to ask how it ended."""
    try:
        return pathlib.Path(f"/proc/{process}/stat").read_text().rsplit(")", 1)[1].split()[0] != "Z"
    except (FileNotFoundError, ProcessLookupError):
        return False


class Server:
    """A server of its own in a folder, reached by a socket there, and on a machine of a network by its address, too."""

    def __init__(self, path, settings=(), machine=None, follows=None):
        self.path = pathlib.Path(path)
        self.machine = machine
        self.settings = ["-c", f"listen_addresses={machine.address if machine else ''}", "-c", "shared_buffers=16MB",
                         *settings]
        self.bin = programs()
        self.as_user = machine.enter if machine else []
        if os.geteuid() == 0:
            user = pwd.getpwnam("postgres")
            os.chown(path, user.pw_uid, user.pw_gid)
            self.as_user = [*self.as_user, "setpriv", "--reuid", "postgres", "--regid", "postgres", "--clear-groups"]
        self.environment = dict(os.environ, HOME=str(path))
        if follows:
            self.run("pg_basebackup", "-D", "data", "-R", "-X", "stream", "-c", "fast", "-h",
                     follows.machine.address, "-U", "mvsms")
        else:
            self.run("initdb", "-D", "data", "-A", "trust", "-U", "mvsms", "--no-locale", "-E", "UTF8")
            with open(self.path / "data/pg_hba.conf", "a", encoding="utf-8") as access:
                access.write("host all,replication all samenet trust\n")
        self.process = None
        self.start()

    def words(self, user):
        return f"host={self.path} dbname=postgres user={user}"

    def run(self, program, *arguments):
        subprocess.run([*self.as_user, self.bin / program, *arguments], cwd=self.path, env=self.environment, check=True,
                       stdout=subprocess.DEVNULL)

    def ask(self, statement):
        """The answer to an owner's statement, a row a line."""
        return subprocess.run([self.bin / "psql", "-XqAt", self.words("mvsms"), "-c", statement], env=self.environment,
                              check=True, capture_output=True).stdout.decode()

    def start(self):
        log = open(self.path / "log", "ab")
        self.process = subprocess.Popen([*self.as_user, self.bin / "postgres", "-D", "data", "-k", str(self.path),
                                         *self.settings], cwd=self.path, env=self.environment, stdout=log, stderr=log)
        ready = [*self.as_user, self.bin / "pg_isready", "-q", "-h", str(self.path)]
        while subprocess.run(ready, env=self.environment, cwd=self.path).returncode != 0:
            time.sleep(0.05)

    def kill(self):
        """All of it at once, as a power failure of the machine does."""
        children = subprocess.run(["pgrep", "-P", str(self.process.pid)], capture_output=True).stdout.split()
        self.process.kill()
        for child in children:
            try:
                os.kill(int(child), signal.SIGKILL)
            except ProcessLookupError:
                pass
        self.process.wait()
        while any(runs(int(child)) for child in children):
            time.sleep(0.02)

    def crash(self):
        self.kill()
        self.start()

    @contextlib.contextmanager
    def stopped(self):
        self.end()
        yield
        self.start()

    def put_back(self, backup):
        shutil.rmtree(self.path / "data")
        subprocess.run(["cp", "-a", str(backup), str(self.path / "data")], check=True)

    def end(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGINT)
            self.process.wait()


class Trial:
    def __init__(self, server, homes, dice, kills):
        self.server, self.homes, self.dice = server, homes, dice
        self.kills = kills
        self.promised = collections.defaultdict(list)

    def submit(self, home, count):
        """Pages to numbers that no other home pages; every third submitter is killed."""
        dice = random.Random(self.dice.random())
        place = self.homes.index(home)
        for number in range(count):
            name = f"{place}-{number}"
            command = ["send", "--queue", "--id", name, "--service", "Pager", "--to", f"07{place}{number:05}",
                       f"Alarm {name}"]
            process = home.start(*command)
            if dice.random() < 0.3:
                time.sleep(dice.uniform(0, 0.03))
                out, _ = kill(process)
            else:
                out = process.communicate()[0]
            told = out.decode().strip() == name
            if told:
                self.promised[home].append(name)
            time.sleep(dice.uniform(0, 0.4))

    def work(self, home, kills):
        dice = random.Random(self.dice.random())
        for _ in range(kills):
            process = home.worker()
            time.sleep(dice.uniform(0.5, 12))
            kill(process)

    def crash(self, crashes):
        dice = random.Random(self.dice.random())
        for _ in range(crashes):
            time.sleep(dice.uniform(2, 12))
            self.server.crash()

    def hand_over(self, home, names):
        """Until the hub has them, and nobody else."""
        for name in names:
            home.run("send", "--queue", "--id", name, "--service", "Pager", "--to", f"070{len(self.promised[home]):05}",
                     f"Alarm {name}")
            self.promised[home].append(name)
        worker = home.worker()
        until(lambda: all(page["state"] == "at-hub" for page in home.pages() if page["id"] in names))
        worker.terminate()
        worker.communicate()

    def waiting(self):
        """How many pages are not over."""
        return sum(counted["pages"] for home in self.homes for state, counted in home.stats().items()
                   if state not in ("accepted", "parked"))

    def drain(self, workers, longest):
        end = time.monotonic() + longest
        while self.waiting() and time.monotonic() < end:
            time.sleep(1)
        for worker in workers:
            worker.terminate()
            worker.communicate()

    def run(self):
        each = max(self.kills // 4, 1)
        threads = [threading.Thread(target=self.submit, args=(home, 8 * each)) for home in self.homes]
        threads += [threading.Thread(target=self.work, args=(home, each)) for home in self.homes]
        threads += [threading.Thread(target=self.crash, args=(each,))]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.drain([home.worker() for home in self.homes], 900)

    def faults(self):
        heard = collections.Counter(to for home in self.homes for centre in home.processes for to in centre.accepted())
        twice = sum(times > 1 for times in heard.values())
        faults, pages, marked, elsewhere = [], 0, 0, 0
        for home in self.homes:
            here = {page["id"]: page for page in home.pages()}
            rows = collections.Counter(row["id"].rsplit(".", 1)[0] for row in home.journal())
            pages += len(here)
            marked += sum(page["perhaps_twice"] for page in here.values())
            elsewhere += sum("/" in (page["last_result"] or {}).get("modem", "") for page in here.values())
            faults += [f"{name}: promised, and not in the queue" for name in self.promised[home] if name not in here]
            for name, page in here.items():
                times = heard.pop(page["recipient"], 0)
                if page["state"] != "accepted" or times == 0:
                    faults.append(f"{name}: {page['state']}, sent {times} times: {page['last_result']}")
                if times > 1 and not page["perhaps_twice"]:
                    faults.append(f"{name}: went out {times} times without a word")
                if times > 0 and rows[name] == 0:
                    faults.append(f"{name}: went out, and is not in the journal at home")
        faults += [f"{to}: went out without being in a queue" for to in heard]
        print(f"{pages} pages; marked as perhaps twice {marked}, of which the centres have twice {twice}; "
              f"broken promises {len(faults)}")
        return faults


class LinkTrial(Trial):
    """Faults of all kinds until all but a few pages are over."""

    def __init__(self, server, standby, homes, machines, dice, pages, seconds):
        super().__init__(server, homes, dice, 0)
        self.standby, self.machines, self.count, self.seconds = standby, machines, pages, seconds
        self.over = threading.Event()
        self.had = collections.Counter()

    def submit_all(self, home):
        place = self.homes.index(home)
        count = self.count // len(self.homes)
        begun = time.monotonic()
        for number in range(count):
            name = f"{place}-{number}"
            home.run("send", "--queue", "--id", name, "--service", "Pager", "--to", f"07{place}{number:05}",
                     f"Alarm {name}")
            self.promised[home].append(name)
            time.sleep(max(0, begun + self.seconds * (number + 1) / count - time.monotonic()))

    def work_until_over(self, home):
        dice = random.Random(self.dice.random())
        while not self.over.is_set():
            process = home.worker()
            self.over.wait(dice.uniform(20, 90))
            kill(process)
            self.had["workers killed"] += 1

    def trouble(self, machine):
        dice = random.Random(self.dice.random())
        faults = {"cut in both directions": lambda seconds: machine.fail(("there", "back"), seconds),
                  "cut on the way there": lambda seconds: machine.fail(("there",), seconds),
                  "cut on the way back": lambda seconds: machine.fail(("back",), seconds),
                  "packets lost": lambda seconds: machine.lose(dice.uniform(0.05, 0.5), seconds),
                  "slow": lambda seconds: machine.slow(dice.uniform(0.2, 3), seconds),
                  "connections ended": lambda seconds: self.end_connections(machine)}
        while not self.over.wait(dice.uniform(2, 25)):
            name = dice.choice(list(faults))
            faults[name](dice.choice([1, 5, 15, 40]))
            self.had[name] += 1

    def end_connections(self, machine):
        """By the server, if there is one just now."""
        with contextlib.suppress(subprocess.CalledProcessError):
            self.server.ask("SELECT pg_terminate_backend(pid) FROM pg_stat_activity"
                            f" WHERE client_addr = '{machine.address}'")

    def crash_until_over(self):
        """The server dies now and then; half-way it does not come back."""
        dice = random.Random(self.dice.random())
        begun = time.monotonic()
        while not self.over.wait(dice.uniform(20, 60)):
            if self.standby and time.monotonic() - begun > self.seconds / 2:
                self.server.kill()
                self.standby.run("pg_ctl", "promote", "-D", "data")
                self.server, self.standby = self.standby, None
                self.had["standby promoted"] += 1
            else:
                self.server.crash()
                self.had["server killed"] += 1

    def run(self):
        faults = [threading.Thread(target=self.work_until_over, args=(home,)) for home in self.homes]
        faults += [threading.Thread(target=self.trouble, args=(machine,)) for machine in self.machines]
        faults += [threading.Thread(target=self.crash_until_over)]
        submitters = [threading.Thread(target=self.submit_all, args=(home,)) for home in self.homes]
        for thread in faults + submitters:
            thread.start()
        for thread in submitters:
            thread.join()
        end = time.monotonic() + 2 * self.seconds
        while self.waiting() > self.count / 20 and time.monotonic() < end:
            time.sleep(1)
        self.over.set()
        for thread in faults:
            thread.join()
        print(", ".join(f"{name} {times}" for name, times in sorted(self.had.items())))
        self.drain([home.worker() for home in self.homes], 3600)


AN_HOUR_AHEAD = """
#define _GNU_SOURCE
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>
int clock_gettime(clockid_t clock, struct timespec *moment) {
  long result = syscall(SYS_clock_gettime, clock, moment);
  if (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE) moment->tv_sec += 3600;
  return (int)result;
}
int gettimeofday(struct timeval *restrict moment, void *restrict zone) {
  struct timespec now;
  (void)zone;
  clock_gettime(CLOCK_REALTIME, &now);
  moment->tv_sec = now.tv_sec;
  moment->tv_usec = now.tv_nsec / 1000;
  return 0;
}
time_t time(time_t *where) {
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  if (where) *where = now.tv_sec;
  return now.tv_sec;
}
"""


def hurry(home):
    """The calendar of all programs of this machine is an hour ahead, and their stopwatches are right, as it is where
    nobody sets the clock."""
    library = home.path / "ahead.so"
    subprocess.run(["cc", "-shared", "-fPIC", "-o", library, "-x", "c", "-"], input=AN_HOUR_AHEAD.encode(), check=True)
    home.environment["LD_PRELOAD"] = str(library)


def make_home(mvsms, path, name, words, modems=1, enter=()):
    """A machine, whose programs are started by the words `enter`; without modems, its pages are sent by the others. One modem is a connection, several are a pool of
    emulated ones."""
    path.mkdir()
    home = Home(mvsms, path, enter)
    home.run("config", "set", "Hub", words)
    home.run("config", "set", "HubName", name)
    home.run("config", "set", "QuickRetries", " ".join([PAUSES] * 40))
    number = "127.0.0.1:9"
    if modems > 1:
        for modem in range(modems):
            home.modem(f"Modem{modem}", "ucp")
        home.run("modem", "add", "Modem", "--kind", "pool", "--members", ",".join(f"Modem{i}" for i in range(modems)))
        number = "0301234"
    else:
        home.run("modem", "add", "Modem", "--kind", "tcp")
    if modems == 1:
        number = f"127.0.0.1:{home.centre(['--tcp', '0'], 'ucp').address['port']}"
    home.run("service", "add", "Pager", "Protocol=UCP", f"PhoneNumber={number}", "UCPCommand=51", "TimeOut=200",
             "ModemName=Modem")
    if modems == 0:
        home.run("modem", "delete", "Modem")
    return home


def trial_of_kills(mvsms, folder, dice, kills=200):
    with serving(folder / "server") as server:
        make_hub(mvsms, folder, server)
        homes = [make_home(mvsms, folder / name, name, server.words("site"), int(name != "north"))
                 for name in ("north", "east", "west")]
        with ending(homes):
            trial = Trial(server, homes, dice, kills)
            begun = time.monotonic()
            trial.run()
            print(f"{kills} kills in {time.monotonic() - begun:.0f} s")
            return trial.faults()


def trial_of_links(mvsms, folder, dice, pages=600, minutes=10, modems=8):
    sites = {"north": 0, "east": modems // 2, "west": modems - modems // 2}
    with (network.Network(["server", "standby", *sites], random.Random(dice.random())) as machines,
          serving(folder / "server", machine=machines["server"]) as server):
        make_hub(mvsms, folder, server)
        with serving(folder / "standby", ["-c", "cluster_name=standby"], machines["standby"], server) as standby:
            server.ask("ALTER SYSTEM SET synchronous_standby_names = 'ANY 1 (standby)'")
            server.ask("SELECT pg_reload_conf()")
            words = f"host={machines['server'].address},{machines['standby'].address} dbname=postgres user=site"
            homes = []
            with ending(homes):
                for name, own in sites.items():
                    homes.append(make_home(mvsms, folder / name, name, words, own, machines[name].enter))
                    homes[-1].run("config", "set", "SpillAfter", "20")
                    homes[-1].run("config", "set", "PagesPerCall", "40")
                hurry(homes[-1])
                trial = LinkTrial(server, standby, homes, [machines[name] for name in ("standby", *sites)], dice, pages,
                                  60 * minutes)
                begun = time.monotonic()
                trial.run()
                print(f"{pages} pages in {time.monotonic() - begun:.0f} s")
                return trial.faults()


def trial_of_absence(mvsms, folder, dice, pages=40):
    with socket.create_server(("127.0.0.1", 0)) as nobody:
        words = f"host=127.0.0.1 port={nobody.getsockname()[1]} dbname=postgres user=site"
        homes = [make_home(mvsms, folder / name, name, words, 2) for name in ("east", "west")]
        with ending(homes):
            trial = Trial(None, homes, dice, 0)
            for number in range(pages):
                place = number % len(homes)
                name = f"{place}-{number}"
                homes[place].run("send", "--queue", "--id", name, "--service", "Pager", "--to",
                                 f"07{place}{number:05}", "Alarm")
                trial.promised[homes[place]].append(name)
            begun = time.monotonic()
            trial.drain([home.worker() for home in homes], 900)
            print(f"{pages} pages without the hub in {time.monotonic() - begun:.0f} s")
            return trial.faults()


def trial_of_a_backup(mvsms, folder, dice):
    """What was ready at the hub when the backup was made has gone out since, and what came later is not in it."""
    with serving(folder / "server") as server:
        make_hub(mvsms, folder, server)
        north, east = homes = [make_home(mvsms, folder / name, name, server.words("site"), int(name == "east"))
                               for name in ("north", "east")]
        with ending(homes):
            trial = Trial(server, homes, dice, 0)
            trial.hand_over(north, ["before-1", "before-2", "before-3"])
            with server.stopped():
                subprocess.run(["cp", "-a", str(server.path / "data"), str(folder / "backup")], check=True)
            trial.drain([home.worker() for home in homes], 300)
            trial.hand_over(north, ["after-1", "after-2"])
            with server.stopped():
                server.put_back(folder / "backup")
            workers = [home.worker() for home in homes]
            until(lambda: server.ask("SELECT held <> '' AND NOT EXISTS(SELECT 1 FROM mvsms.machines WHERE NOT told)"
                                     " FROM mvsms.hub").strip() == "t")
            sent = len(east.processes[0].accepted())
            Home(mvsms, folder / "owner").run("hub", "release", "--at", server.words("mvsms"))
            trial.drain(workers, 300)
            return trial.faults() + ([] if sent == 3 else [f"a held hub gave pages out: {sent} were sent, not 3"])


def until(what, longest=120):
    end = time.monotonic() + longest
    while not what():
        if time.monotonic() > end:
            raise RuntimeError("it does not happen")
        time.sleep(0.01)


@contextlib.contextmanager
def serving(path, settings=(), machine=None, follows=None):
    path.mkdir()
    server = Server(path, settings, machine, follows)
    try:
        yield server
    finally:
        server.end()


@contextlib.contextmanager
def ending(homes):
    try:
        yield
    finally:
        for home in homes:
            home.end()


def make_hub(mvsms, folder, server):
    Home(mvsms, folder / "owner").run("hub", "init", "--at", server.words("mvsms"))
    server.ask("CREATE ROLE site LOGIN IN ROLE mvsms_worker")


def main():
    mvsms, what, *more = sys.argv[1:]
    if programs() is None or not pathlib.Path(mvsms).with_name("mvsms-hub.so").exists():
        print("no PostgreSQL server, or no plug-in for a hub")
        return 77
    if what == "links" and not network.possible():
        print("networks of their own need root, /dev/net/tun and namespaces")
        return 77
    seed = int(os.environ.get("SEED", random.randrange(10**6)))
    print(f"seed {seed}", flush=True)
    trials = {"kills": trial_of_kills, "links": trial_of_links, "away": trial_of_absence,
              "restore": trial_of_a_backup}
    with tempfile.TemporaryDirectory(prefix="mvsms-hub-") as path:
        folder = pathlib.Path(path)
        folder.chmod(0o755)
        try:
            faults = trials[what](mvsms, folder, random.Random(seed), *map(int, more))
        finally:
            if os.environ.get("KEEP"):
                shutil.copytree(folder, os.environ["KEEP"], ignore=shutil.ignore_patterns(".s.*"))
    print("\n".join(faults[:30]))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
