#!/usr/bin/env python3
"""The gateway as a process: killed, without room, under many connections and streams, asked for what
is none of theirs, with sockets that are handed over, and by TLS.

    serve_test.py MVSMS
"""
import http.client
import json
import os
import pathlib
import re
import resource
import shutil
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import threading
import unittest

import jsonschema

TOKEN = "boss-12345678901234"
MANY = 10_000


class ServeTest(unittest.TestCase):
    def setUp(self):
        self.home = tempfile.mkdtemp(prefix="serve")
        self.addCleanup(shutil.rmtree, self.home)
        self.environment = {**os.environ, "MVSMS_HOME": self.home}
        for words in ("modem add Modem --kind tcp",
                      "service add Pager --set PhoneNumber=localhost:4000 --set Protocol=TAP"):
            subprocess.run([MVSMS, *words.split()], env=self.environment, check=True,
                           stdout=subprocess.DEVNULL)

    def start(self, *words, address="127.0.0.1:0", command=None, **more):
        """A gateway that serves, and its port."""
        command = command or [MVSMS, "serve", "--http", address, *words]
        process = subprocess.Popen(command, env=self.environment, encoding="utf-8",
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **more)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        first = process.stdout.readline()
        self.assertTrue(first.startswith("Serving http"), first)
        return process, int(first.strip().rsplit(":", 1)[1])

    @staticmethod
    def ask(port, method, path, body=None, connection=None, **headers):
        connection = connection or http.client.HTTPConnection("127.0.0.1", port, timeout=30)
        text = None if body is None else json.dumps(body)
        connection.request(method, path, text, {"Content-Type": "application/json", **headers})
        answer = connection.getresponse()
        said = answer.read().decode()
        connection.close()
        return answer, said

    def put(self, port, identity):
        return self.ask(port, "POST", "/v1/pages", {"to": "0171", "text": "x", "id": identity})[0]

    def test_what_was_taken_is_there_when_the_gateway_is_killed(self):
        process, port = self.start()
        taken, enough = [], threading.Event()

        def submit(name):
            for number in range(1_000):
                try:
                    if self.put(port, f"{name}-{number}").status == 202:
                        taken.append(f"{name}-{number}")
                except (OSError, http.client.HTTPException):
                    return
                if len(taken) >= 100:
                    enough.set()

        threads = [threading.Thread(target=submit, args=(name,)) for name in "abcdefgh"]
        for thread in threads:
            thread.start()
        self.assertTrue(enough.wait(60))
        process.kill()
        for thread in threads:
            thread.join()
        _, port = self.start()
        for identity in taken:
            self.assertEqual(self.ask(port, "GET", f"/v1/pages/{identity}")[0].status, 200)
            self.assertEqual(self.put(port, identity).status, 202)

    def test_without_room_nothing_is_taken_until_there_is_some(self):
        process, port = self.start()
        self.assertEqual(self.put(port, "before").status, 202)
        before = resource.prlimit(process.pid, resource.RLIMIT_FSIZE, (1, resource.RLIM_INFINITY))
        answer = self.put(port, "meanwhile")
        self.assertEqual(answer.status, 503)
        self.assertTrue(answer.headers["Retry-After"])
        resource.prlimit(process.pid, resource.RLIMIT_FSIZE, before)
        self.assertEqual(self.ask(port, "GET", "/v1/pages/meanwhile")[0].status, 404)
        self.assertEqual(self.put(port, "meanwhile").status, 202)

    def test_many_connections_keep_nobody_out(self):
        _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        count = min(MANY, hard - 200)
        resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
        process, port = self.start("--max-connections", "500")
        crowd = []
        self.addCleanup(lambda: [one.close() for one in crowd])
        for _ in range(count):
            crowd.append(socket.create_connection(("127.0.0.1", port), timeout=30))
        self.assertEqual(self.put(port, "through").status, 202)
        descriptors = len(os.listdir(f"/proc/{process.pid}/fd"))
        self.assertLess(descriptors, 600)

    def test_many_streams_hold_each_event_once(self):
        process, port = self.start("--max-pages", "4000")
        streams = []
        self.addCleanup(lambda: [one.close() for one in streams])
        for _ in range(100):
            streams.append(socket.create_connection(("127.0.0.1", port), timeout=60))
            streams[-1].sendall(b"GET /v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n")
            self.assertIn(b"200", streams[-1].recv(12))
        before = self.most_memory(process)
        pages = [{"to": "0171", "text": "x" * 150, "id": str(number)} for number in range(4000)]
        self.assertEqual(self.ask(port, "POST", "/v1/pages", {"pages": pages})[0].status, 202)
        told = 0
        with streams[-1].makefile("rb") as lines:
            while told < 4000:
                told += next(lines) == b"event: page\n"
        self.assertLess(self.most_memory(process) - before, 100_000)

    @staticmethod
    def most_memory(process):
        """In KiB."""
        status = pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="utf-8")
        return int(status.split("VmHWM:")[1].split()[0])

    def test_a_socket_that_is_handed_over_is_served(self):
        with socket.create_server(("127.0.0.1", 0)) as listener:
            port = listener.getsockname()[1]

            def place():
                os.dup2(listener.fileno(), 3, inheritable=True)

            script = f"LISTEN_PID=$$ LISTEN_FDS=1 LISTEN_FDNAMES=http exec {MVSMS} serve"
            _, served = self.start(command=["sh", "-c", script], preexec_fn=place,
                                   pass_fds=[listener.fileno(), 3])
            self.assertEqual(served, port)
            self.assertEqual(self.put(port, "A").status, 202)

    def test_the_queue_goes_on_when_the_gateway_is_killed(self):
        process, port = self.start()
        _, centre = self.begin(r":(\d+)", "centre", "--protocol", "ucp", "--tcp", "0", "--quiet")
        subprocess.run([MVSMS, "service", "set", "Pager", f"PhoneNumber=127.0.0.1:{centre}",
                        "Protocol=UCP", "UCPCommand=01"], env=self.environment, check=True)
        self.assertEqual(self.put(port, "A").status, 202)
        process.kill()
        process.wait()
        self.begin("()", "worker", "--once")[0].wait(120)
        shown = subprocess.run([MVSMS, "--json", "queue", "show", "A"], env=self.environment,
                               check=True, capture_output=True, encoding="utf-8").stdout
        self.assertEqual(json.loads(shown)["state"], "accepted")

    def begin(self, wanted, *words):
        """Another command, and what it says that is wanted."""
        process = subprocess.Popen([MVSMS, *words], env=self.environment, encoding="utf-8",
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process, next(found[1] for line in process.stdout
                             if (found := re.search(wanted, line)))

    def test_nothing_that_is_asked_for_leads_out_or_into_a_log_or_a_header(self):
        process, port = self.start()
        for path in ("/../../../etc/passwd", "/..%2f..%2fetc%2fpasswd", "/%2e%2e/%2e%2e/etc/passwd",
                     "//etc/passwd", "/assets/../tokens", "/tokens", "/queue.db", "/.%00/queue.db",
                     "/v1/pages/..%2f..%2fqueue.db", "/..\\..\\etc\\passwd"):
            answer, said = self.ask(port, "GET", path)
            self.assertIn(answer.status, (400, 404), path)
            self.assertNotIn("root:", said)
        alert = {"alerts": [{"labels": {"alertname": "x\r\nmvsms: forged\x1b[2J"}}]}
        for query in ("to=%0d%0amvsms:+forged", "to=0171&service=%0amvsms:+forged%1b[2J",
                      "to=0171&from=x%0d%0aX-Forged:+1"):
            answer, said = self.ask(port, "POST", "/v1/alertmanager?" + query, alert)
            self.assertEqual(answer.status, 422, said)
            self.assertNotIn("X-Forged", answer.headers)
            self.assertNotIn("\n", said)
        answer, _ = self.ask(port, "POST", "/v1/pages", {"to": "0171", "text": "x"},
                             **{"Idempotency-Key": "a/../b"})
        self.assertEqual(answer.status, 422)
        process.send_signal(signal.SIGTERM)
        for line in process.stdout.read().splitlines():
            self.assertRegex(line, "^mvsms: an alert cannot be sent to [ -~]*$")

    def test_beyond_this_machine_it_takes_tokens(self):
        done = subprocess.run([MVSMS, "serve", "--http", "0.0.0.0:0"], env=self.environment,
                              capture_output=True, encoding="utf-8", timeout=30)
        self.assertEqual(done.returncode, 1)
        self.assertIn("--tokens", done.stderr)

    def test_tokens_that_everybody_can_read_are_refused(self):
        tokens = self.tokens(0o644)
        done = subprocess.run([MVSMS, "serve", "--http", "127.0.0.1:0", "--tokens", tokens],
                              env=self.environment, capture_output=True, encoding="utf-8",
                              timeout=30)
        self.assertEqual(done.returncode, 1)
        self.assertIn("chmod", done.stderr)

    def tokens(self, mode=0o600):
        path = pathlib.Path(self.home, "tokens")
        path.write_text(f"boss operate {TOKEN}\n", encoding="utf-8")
        path.chmod(mode)
        return str(path)

    def certify(self):
        """A new certificate and its key, under the same names."""
        certificate, key = (str(pathlib.Path(self.home, name)) for name in ("c.pem", "k.pem"))
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                        "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost",
                        "-out", certificate, "-keyout", key], check=True, capture_output=True)
        return certificate, key

    def test_tokens_and_certificate_are_read_again_when_asked(self):
        certificate, key = self.certify()
        tokens = self.tokens()
        process, port = self.start("--tokens", tokens, "--certificate", certificate, "--key", key)

        def status(token):
            trusted = ssl.create_default_context(cafile=certificate)
            connection = http.client.HTTPSConnection("localhost", port, context=trusted, timeout=30)
            return self.ask(port, "GET", "/v1/pages", connection=connection,
                            Authorization=f"Bearer {token}")[0].status

        def read_again():
            process.send_signal(signal.SIGHUP)
            return process.stdout.readline()

        self.assertEqual(status(TOKEN), 200)
        new = TOKEN[::-1]
        pathlib.Path(tokens).write_text(f"boss operate {new}\n", encoding="utf-8")
        self.certify()
        self.assertIn("were read again", read_again())
        self.assertEqual((status(TOKEN), status(new)), (401, 200))
        pathlib.Path(tokens).write_text("boss\n", encoding="utf-8")
        said = read_again()
        self.assertIn("line 1 of the tokens", said)
        self.assertIn("what was read before goes on", said)
        self.assertEqual(status(new), 200)

    def test_its_description_is_true(self):
        _, port = self.start()
        self.assertEqual(self.put(port, "A").status, 202)
        document = json.loads(self.ask(port, "GET", "/v1/openapi.json")[1])
        self.assertTrue(document["openapi"].startswith("3.1"))
        for path, operations in document["paths"].items():
            if "get" not in operations or path == "/v1/events":
                continue
            answer, said = self.ask(port, "GET", path.replace("{id}", "A"))
            response = operations["get"]["responses"][str(answer.status)]
            if "$ref" in response:
                response = document["components"]["responses"][response["$ref"].split("/")[-1]]
            kind = answer.headers["Content-Type"].split(";")[0]
            schema = response["content"][kind].get("schema", {})
            if kind == "application/json":
                jsonschema.Draft202012Validator({**schema, "components": document["components"]}).validate(
                    json.loads(said))

    def test_by_tls_a_token_opens_and_is_never_logged(self):
        certificate, key = self.certify()
        process, port = self.start("--tokens", self.tokens(), "--certificate", certificate,
                                   "--key", key)
        trusted = ssl.create_default_context(cafile=certificate)

        def status(token):
            connection = http.client.HTTPSConnection("localhost", port, context=trusted, timeout=30)
            return self.ask(port, "GET", "/v1/pages", connection=connection,
                            Authorization=f"Bearer {token}")[0].status

        unfinished = [socket.create_connection(("127.0.0.1", port)) for _ in range(200)]
        self.addCleanup(lambda: [one.close() for one in unfinished])
        for one in unfinished[:100]:
            one.send(b"\x16\x03\x01\x02")  # a handshake begins, and never goes on
        self.assertEqual(status(TOKEN), 200)
        self.assertEqual(status(TOKEN + "x"), 401)
        with self.assertRaises((OSError, http.client.HTTPException)):
            self.ask(port, "GET", "/v1/pages")  # in the clear
        process.send_signal(signal.SIGTERM)
        self.assertNotIn(TOKEN, process.stdout.read())
        self.assertEqual(process.wait(), 0)


if __name__ == "__main__":
    MVSMS = str(pathlib.Path(sys.argv.pop(1)).resolve())
    unittest.main()
