#!/usr/bin/env python3
"""hub_figures.py MVSMS [PART...]: what a hub costs, on a server of its own under the system's folder for
temporary files: `delay`, which it adds to a page; `idle`, how often a worker with nothing to do asks it;
`load`, pages a second by fifty workers, and the same with a million finished pages there (the program
mvsms_hub_load beside MVSMS). All of them unless told otherwise. Without a server it says so."""
import json
import pathlib
import random
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "e2e"))
from hub_trial import make_home, make_hub, programs, serving, until  # noqa: E402

PAGES = 20
IDLE_SECONDS = 120


def sql(server, statement):
    return server.ask(statement).splitlines()


def state_of(home, name):
    return json.loads(home.run("queue", "show", name, "--json"))["state"]


def figures(times):
    times = sorted(times)
    return f"median {times[len(times) // 2]:.2f} s, at most {times[-1]:.2f} s"


def pages_of(home, centre, name):
    """Seconds from the beginning of the command until the centre has the page, and until it is known at home."""
    heard, known = [], []
    for number in range(PAGES):
        time.sleep(random.uniform(1, 5))  # wherever in their rounds the machines are
        to = f"07{len(name)}{number:05}"
        begun = time.perf_counter()
        home.run("send", "--queue", "--quiet", "--id", f"{name}-{number}", "--service", "Pager", "--to", to, "Alarm")
        until(lambda to=to: to in centre.accepted())
        heard.append(time.perf_counter() - begun)
        until(lambda number=number: state_of(home, f"{name}-{number}") == "accepted")
        known.append(time.perf_counter() - begun)
    return heard, known


def delay(mvsms, folder, server):
    homes = [make_home(mvsms, folder / name, name, server.words("site"), int(name == "east")) for name in ("north", "east")]
    workers = [home.worker() for home in homes]
    try:
        centre = homes[1].processes[0]
        for words, home, name in (("over its own modem", homes[1], "own"), ("through the hub", homes[0], "others")):
            heard, known = pages_of(home, centre, name)
            print(f"a page {words}, {PAGES} of them: at the centre {figures(heard)}; known at home {figures(known)}")
    finally:
        for worker in workers:
            worker.terminate()
            worker.wait()
        for home in homes:
            home.end()


def idle(mvsms, folder, server):
    home = make_home(mvsms, folder / "idle", "idle", server.words("site"))
    worker = home.worker()
    try:
        time.sleep(10)
        server.ask("SELECT pg_stat_statements_reset()")
        time.sleep(IDLE_SECONDS)
        rows = [line.split("|", 2) for line in sql(server, """
            SELECT calls, round(total_exec_time::numeric, 1), query FROM pg_stat_statements
            WHERE query NOT LIKE '%pg_stat_statements%' ORDER BY calls DESC""")]
    finally:
        worker.terminate()
        worker.wait()
        home.end()
    calls = sum(int(row[0]) for row in rows)
    used = sum(float(row[1]) for row in rows)
    print(f"an idle worker: {calls / IDLE_SECONDS:.2f} queries a second over {IDLE_SECONDS} s (aim: under 1), "
          f"{used / IDLE_SECONDS:.2f} ms of the server a second")
    for count, spent, query in rows:
        print(f"    {int(count) / IDLE_SECONDS:.2f} a second, {float(spent) / int(count):.2f} ms: {query[:70]}")


def load(mvsms, _, server):
    subprocess.run([pathlib.Path(mvsms).with_name("mvsms_hub_load"), server.words("mvsms")], check=True)


def main():
    mvsms, *parts = sys.argv[1:]
    if programs() is None:
        print("no PostgreSQL server")
        return
    for part in [delay, idle, load]:
        if parts and part.__name__ not in parts:
            continue
        with tempfile.TemporaryDirectory(prefix="mvsms-hub-") as path:
            folder = pathlib.Path(path)
            folder.chmod(0o755)
            with serving(folder / "server", ["-c", "shared_preload_libraries=pg_stat_statements",
                                             "-c", "max_connections=80"]) as server:
                make_hub(mvsms, folder, server)
                server.ask("CREATE EXTENSION pg_stat_statements")
                part(mvsms, folder, server)


if __name__ == "__main__":
    main()
