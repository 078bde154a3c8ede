"""A gateway whose state a test sets, with the status page as it lies in the tree. What it serves beside
the page has the forms of the real one, and so have its headers."""
import contextlib
import datetime
import http.server
import json
import pathlib
import queue
import random
import re
import socket
import threading
import time
import urllib.parse

FILES = pathlib.Path(__file__).resolve().parents[3] / "gateway/status_page"
TYPES = {".html": "text/html", ".css": "text/css", ".js": "text/javascript", ".svg": "image/svg+xml"}
SLOWEST = 0.03  # s: replies come in any order, as over a network
POLICY = ("default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
          "base-uri 'none'; form-action 'none'; frame-ancestors 'none'")


def moment(minutes_ago=0.0):
    at = datetime.datetime.now().astimezone() - datetime.timedelta(minutes=minutes_ago)
    return at.isoformat(timespec="seconds")


def page(id, state, minutes_ago=1.0, **more):
    """A page as the gateway shows it."""
    return {"id": id, "state": state, "profile": "Standard", "recipient": "01711234567", "from": "",
            "text": "Pump 3 has stopped", "service": "Pager", "priority": 5, "arrived": moment(minutes_ago),
            "changed": moment(minutes_ago), "not_before": None, "expires": None, "attempts": 0,
            "perhaps_twice": False, "last_result": None, **more}


def result(outcome, reason, answer="", modem="Modem 1"):
    return {"outcome": outcome, "reason": reason, "answer": answer, "modem": modem}


def line(name, state="idle", why="", success=None):
    """A line that had its last success so many minutes ago."""
    return {"name": name, "state": state, "why": why, "since": moment(60),
            "last_success": moment(success) if success else None}


def machine(name, silent=0, **more):
    """A machine that shares pages with this one, and was heard of so many minutes ago."""
    return {"name": name, "version": "1.0", "services": ["Pager"], "modems": 2, "free": 1, "pages_at_hub": 0,
            "seen": moment(silent), "told": False, **more}


def hub(*machines, **more):
    return {"machine": "north", "away_since": None, "held": "", "unserved": [], "machines": list(machines), **more}


def history(accepted=lambda quarter: 0, failed=lambda quarter: 0):
    """Of the last 96 quarters of an hour."""
    begin = (time.time() // 900 - 95) * 900
    return {"from": datetime.datetime.fromtimestamp(begin).astimezone().isoformat(), "seconds": 900,
            "accepted": [accepted(i) for i in range(96)], "failed": [failed(i) for i in range(96)]}


class FakeGateway:
    def __init__(self):
        self.streams = []
        self.connections = set()
        self.reset()
        outer = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"
            do_GET = do_POST = do_DELETE = lambda self: outer.answer(self)

            def handle(self):
                outer.connections.add(self.connection)
                try:
                    super().handle()
                except ConnectionError:  # a browser drops what it no longer needs
                    pass
                finally:
                    outer.connections.discard(self.connection)

            def log_message(self, *_):
                pass

        class Server(http.server.ThreadingHTTPServer):
            daemon_threads = True
            request_queue_size = 64
            allow_reuse_address = True

        self._make = lambda port: Server(("127.0.0.1", port), Handler)
        self._server = self._make(0)
        self.port = self._server.server_port
        self.url = f"http://127.0.0.1:{self.port}/"
        self._serve()

    def reset(self):
        self.pages, self.lines, self.journal, self.history = {}, [line("Modem 1")], [], history()
        self.worker, self.token, self.role, self.hub = True, None, "operate", None
        self.heard = []

    def put(self, *pages):
        for one in pages:
            self.pages[one["id"]] = one
            self.tell("page", one)

    def tell(self, event, thing):
        for stream in list(self.streams):
            stream.put((event, thing))

    def _serve(self):
        threading.Thread(target=self._server.serve_forever, args=(0.05,), daemon=True).start()

    def stop(self):
        """Goes away, with all its connections, as a machine does that is switched off."""
        self._server.shutdown()
        self._server.server_close()
        for connection in list(self.connections):
            with contextlib.suppress(OSError):
                connection.shutdown(socket.SHUT_RDWR)
        self.tell(None, None)

    def start(self):
        self._server = self._make(self.port)
        self._serve()

    # --- What it answers.

    def answer(self, request):
        length = int(request.headers.get("Content-Length") or 0)
        body = json.loads(request.rfile.read(length)) if length else None
        path, _, query = request.path.partition("?")
        self.heard.append((request.command, request.path, body))
        time.sleep(random.random() * SLOWEST)
        if path.startswith("/v1/") and self.token and request.headers["Authorization"] != f"Bearer {self.token}":
            return self.reply(request, 401, {"error": "the token is not known"})
        if path == "/v1/events":
            return self.stream(request)
        if path == "/v1/hub":
            return self.reply(request, 200, self.hub)  # null where none is set
        status, document = self.api(request.command, path, urllib.parse.parse_qs(query), body)
        if document is not None:
            return self.reply(request, status, document)
        file = FILES / ("index.html" if path == "/" else path.removeprefix("/assets/"))
        if not re.fullmatch(r"/|/assets/[a-z]+\.[a-z]+", path) or not file.exists():
            return self.reply(request, 404, {"error": "there is nothing of this name"})
        self.reply(request, 200, file.read_bytes(), TYPES[file.suffix])

    def api(self, method, path, query, body):
        if path == "/v1/pages" and method == "POST":
            return self.submit(body)
        if path == "/v1/pages":
            states = query.get("state")
            found = [one for one in self.pages.values() if not states or one["state"] in states]
            found.sort(key=lambda one: one["arrived"], reverse=True)
            return 200, found[: int(query.get("limit", ["100"])[0])]
        if one := re.fullmatch("/v1/pages/([^/]+)(?:/(retry|hold|release))?", path):
            return self.operate(method, urllib.parse.unquote(one[1]), one[2])
        if path == "/v1/journal":
            wanted = query.get("q", [""])[0]
            return 200, [row for row in self.journal if wanted in json.dumps(row, ensure_ascii=False)]
        if path.startswith("/v1/journal/"):
            id = urllib.parse.unquote(path.removeprefix("/v1/journal/"))
            return next(((200, row) for row in self.journal if row["id"] == id), (404, {"error": "there is no such attempt"}))
        simple = {"/v1/lines": self.lines, "/v1/history": self.history,
                  "/v1/stats": {"worker": self.worker, "role": self.role}}
        return 200, simple.get(path)

    def submit(self, body):
        if self.role == "read":
            return 403, {"error": "the token may only read"}
        numbers = {"@night": ["0171", "0172"]}.get(body["to"], [body["to"]])
        if not numbers[0].replace(" ", "").isdigit():
            return 422, {"error": "wrong", "fields": {"to": f"{body['to']} is no number"}}
        new = [page(f"T{number}", "ready", 0, recipient=number, text=body["text"]) for number in numbers]
        self.put(*new)
        return 202, {"pages": [{**one, "new": True} for one in new]}

    def operate(self, method, id, action):
        one = self.pages.get(id)
        if one is None:
            return 404, {"error": "there is no such page"}
        if method == "GET":
            return 200, {**one, "tries": [{key: row[key] for key in ("id", "begun", "outcome", "service", "modem", "reason")}
                                          for row in self.journal if row["id"].startswith(id + ".")]}
        if self.role != "operate":
            return 403, {"error": "the token may not do this"}
        state = {"retry": "ready", "release": "ready", "hold": "held", None: "cancelled"}[action]
        changed = {**one, "state": state, "changed": moment(), "attempts": 0}
        self.put(changed)
        return 200, changed

    def reply(self, request, status, document, type="application/json"):
        body = document if type != "application/json" else json.dumps(document).encode()
        request.send_response(status)
        request.send_header("Content-Type", type)
        request.send_header("Content-Length", str(len(body)))
        self.protect(request)
        request.end_headers()
        request.wfile.write(body)

    def stream(self, request):
        events = queue.Queue()
        self.streams.append(events)
        request.send_response(200)
        request.send_header("Content-Type", "text/event-stream")
        request.send_header("Connection", "close")
        self.protect(request)
        request.end_headers()
        request.close_connection = True
        try:
            request.wfile.write(b": here\n\n")
            for id, (event, thing) in enumerate(iter(events.get, (None, None))):
                request.wfile.write(f"id: {id}\nevent: {event}\ndata: {json.dumps(thing)}\n\n".encode())
        except OSError:
            pass
        finally:
            self.streams.remove(events)

    def protect(self, request):
        request.send_header("Content-Security-Policy", POLICY)
        request.send_header("X-Content-Type-Options", "nosniff")
        request.send_header("Cache-Control", "no-store")
