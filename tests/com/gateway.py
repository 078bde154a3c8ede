#!/usr/bin/env python3
"""gateway.py FOLDER: the gateway of another machine, as far as hosts that hand pages to it can tell.

Writes its addresses to FOLDER/gateway_http and FOLDER/gateway_https, its certificate to
FOLDER/certificate.name and .blob, as the registry keeps those that are trusted, and appends each
request that it heard to FOLDER/gateway as a line of JSON.
How it answers is said by the path.
"""
import hashlib
import http.server
import json
import pathlib
import ssl
import struct
import subprocess
import sys
import threading

TAKEN = {"pages": [{"id": "A-1", "recipient": "0171", "service": "Pager", "priority": 5}]}
ANSWERS = {
    "/v1/pages": (202, TAKEN),
    "/strict/v1/pages": (422, {"error": "the page was refused", "fields": {"to": "0171 is no number"}}),
    "/busy/v1/pages": (503, {"error": "the disk is full"}),
    "/moved/v1/pages": (302, {}),
    "/lost/v1/pages": (202, TAKEN),
}
folder = pathlib.Path(sys.argv[1])


class Gateway(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    heard = 0

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        with open(folder / "gateway", "a", encoding="utf-8") as record:
            print(json.dumps({"path": self.path, "token": self.headers["Authorization"],
                              "page": json.loads(body)}, ensure_ascii=False), file=record)
        Gateway.heard += 1
        if self.path.startswith("/lost") and Gateway.heard % 2:
            self.close_connection = True
            return
        status, answer = ANSWERS[self.path]
        if self.headers["Authorization"] not in (None, "Bearer secret-7"):
            status, answer = 401, {"error": "the token is not known"}
        answer = json.dumps(answer).encode()
        self.send_response(status)
        self.send_header("Content-Length", str(len(answer)))
        self.send_header("Location", "/v1/pages")
        self.end_headers()
        self.wfile.write(answer)

    def log_message(self, *_):
        pass


def serve(scheme):
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Gateway)
    if scheme == "https":
        files = folder / "certificate.pem", folder / "key.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
                        "/CN=localhost", "-addext", "subjectAltName=DNS:localhost", "-out", files[0],
                        "-keyout", files[1]], check=True, capture_output=True)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(*files)
        certificate = ssl.PEM_cert_to_DER_cert(files[0].read_text())
        digest = hashlib.sha1(certificate)
        (folder / "certificate.name").write_text(digest.hexdigest().upper())
        (folder / "certificate.blob").write_bytes(b"".join(
            struct.pack("<III", kind, 1, len(value)) + value for kind, value in ((3, digest.digest()), (32, certificate))))
        server.socket = context.wrap_socket(server.socket, server_side=True, do_handshake_on_connect=False)
    (folder / f"gateway_{scheme}").write_text(f"{scheme}://localhost:{server.server_port}")
    server.serve_forever()


threading.Thread(target=serve, args=("http",)).start()
serve("https")
