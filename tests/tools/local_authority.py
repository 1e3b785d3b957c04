#!/usr/bin/env python3
"""Time-stamp authorities on 127.0.0.1 for the tests of zttsp stamp, one per path: /reply, backed
by `openssl ts -reply` with the test PKI in DIR, and the hostile kinds a client must survive
(/other-nonce, /other-imprint, /rejection, /html, /redirect, /unavailable, /closes, /huge,
/trickle). A proxy's request for http://any.host/PATH gets what PATH gets.

usage: local_authority.py --pki DIR [--rejection FILE] [--tls CERT KEY] [--parent PID]

Prints "listening on PORT" once it serves, and "request METHOD TARGET" per request. It ends when
PID (the test) is gone, and after five minutes in any case.
"""
import argparse
import http.server
import os
import ssl
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse

LIFETIME_SECONDS = 300
REPLY = "application/timestamp-reply"


def header(data, at):
    """The length of the DER header at `at` and the length of its contents."""
    first = data[at + 1]
    if first < 0x80:
        return 2, first
    count = first & 0x7F
    return 2 + count, int.from_bytes(data[at + 2:at + 2 + count], "big")


def children(data, at):
    """The offsets of the elements inside the constructed element at `at`."""
    head, length = header(data, at)
    offset, end = at + head, at + head + length
    while offset < end:
        yield offset
        child_head, child_length = header(data, offset)
        offset += child_head + child_length


def changed(request, what):
    """The request with the last byte of its nonce or of its digest flipped."""
    data = bytearray(request)
    parts = list(children(data, 0))
    if what == "nonce":
        target = [p for p in parts[1:] if data[p] == 0x02][0]
    else:
        target = list(children(data, parts[1]))[1]
    head, length = header(data, target)
    data[target + head + length - 1] ^= 0x01
    return bytes(data)


class Authority(http.server.BaseHTTPRequestHandler):
    lock = threading.Lock()

    def log_message(self, *args):
        pass

    def answer(self, status, content_type, body, extra=()):
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        for name, value in extra:
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def openssl_reply(self, request):
        with Authority.lock, tempfile.TemporaryDirectory() as work:
            query, response = os.path.join(work, "q.tsq"), os.path.join(work, "r.tsr")
            with open(query, "wb") as out:
                out.write(request)
            subprocess.run(["openssl", "ts", "-reply", "-config", "tsa.cnf", "-section",
                            "tsa_config", "-queryfile", query, "-signer", "rsa.pem", "-inkey",
                            "rsa.key", "-out", response], cwd=options.pki, check=True,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=30)
            with open(response, "rb") as result:
                return result.read()

    def do_POST(self):
        print("request", self.command, self.path, flush=True)
        request = self.rfile.read(int(self.headers.get("Content-Length", "0")))
        mode = urllib.parse.urlsplit(self.path).path.strip("/")
        if mode == "reply":
            self.answer(200, REPLY, self.openssl_reply(request))
        elif mode in ("other-nonce", "other-imprint"):
            self.answer(200, REPLY, self.openssl_reply(changed(request, mode[6:])))
        elif mode == "rejection":
            with open(options.rejection, "rb") as prepared:
                self.answer(200, REPLY, prepared.read())
        elif mode == "html":
            self.answer(200, "text/html; charset=utf-8",
                        b"<html><head><title>Sign in</title></head><body>Sign in</body></html>")
        elif mode == "redirect":
            self.answer(302, "text/html", b"", [("Location", "http://127.0.0.1:9/elsewhere")])
        elif mode == "unavailable":
            self.answer(503, "text/plain", b"down for maintenance\n")
        elif mode == "closes":
            self.close_connection = True
        elif mode == "huge":
            self.send_response(200)
            self.send_header("Content-Type", REPLY)
            self.end_headers()
            for _ in range(160):  # 10 MiB, no length: until the connection closes
                self.wfile.write(b"\x30" * 65536)
        elif mode == "trickle":
            self.send_response(200)
            self.send_header("Content-Type", REPLY)
            self.send_header("Content-Length", "4000")
            self.end_headers()
            for _ in range(4000):
                self.wfile.write(b"\x30")
                self.wfile.flush()
                time.sleep(0.2)
        else:
            self.answer(404, "text/plain", b"no such authority\n")


def watch(parent):
    deadline = time.monotonic() + LIFETIME_SECONDS
    while time.monotonic() < deadline:
        try:
            os.kill(parent, 0)
        except OSError:
            break
        time.sleep(0.5)
    os._exit(0)


parser = argparse.ArgumentParser()
parser.add_argument("--pki", required=True)
parser.add_argument("--rejection")
parser.add_argument("--tls", nargs=2, metavar=("CERT", "KEY"))
parser.add_argument("--parent", type=int, default=os.getppid())
options = parser.parse_args()

class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, request, client_address):
        pass  # a client that hangs up on a huge or slow answer is what the tests want


server = Server(("127.0.0.1", 0), Authority)
if options.tls:
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(*options.tls)
    server.socket = context.wrap_socket(server.socket, server_side=True)
threading.Thread(target=watch, args=(options.parent,), daemon=True).start()
print("listening on", server.server_address[1], flush=True)
try:
    server.serve_forever()
except KeyboardInterrupt:
    pass
sys.exit(0)
