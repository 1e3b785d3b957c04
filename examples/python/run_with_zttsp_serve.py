#!/usr/bin/env python3
"""The test of timestamp_file.py: starts `zttsp serve` on 127.0.0.1 (a free port, a development
identity in a fresh folder), has the example time-stamp a file there and check the token with the
authority's certificate, then with another certificate (which must fail), and stops the server.
Every wait is bounded.

    run_with_zttsp_serve.py ZTTSP_PROGRAM LIBZTTSP
"""
import os
import re
import subprocess
import sys
import tempfile
import threading

HERE = os.path.dirname(os.path.abspath(__file__))
STARTUP_SECONDS = 60
RUN_SECONDS = 60


def started_url(server):
    """The URL the server prints once it listens, read from its stderr within STARTUP_SECONDS."""
    found = {}
    listening = threading.Event()

    # Reads to the end, so that the server never blocks on a full pipe.
    def read():
        for line in server.stderr:
            match = re.search(r"serving on (http://127\.0\.0\.1:\d+/)", line)
            if match:
                found["url"] = match.group(1)
                listening.set()

    threading.Thread(target=read, daemon=True).start()
    if not listening.wait(STARTUP_SECONDS):
        sys.exit("zttsp serve did not start in time")
    return found["url"]


def example(library, *arguments):
    return subprocess.run([sys.executable, os.path.join(HERE, "timestamp_file.py"), *arguments,
                           "--library", library], capture_output=True, text=True,
                          timeout=RUN_SECONDS)


def main(program, library):
    with tempfile.TemporaryDirectory() as work:
        data = os.path.join(work, "data")
        stamped = os.path.join(work, "document.txt")
        with open(stamped, "w") as f:
            f.write("a document to be time-stamped\n")
        server = subprocess.Popen([program, "serve", "-port", "0", "-bind", "127.0.0.1", "-data",
                                   data, "-tsa_name"], stderr=subprocess.PIPE, text=True)
        try:
            url = started_url(server)
            token = os.path.join(work, "document.tsr")
            good = example(library, stamped, "--url", url, "--cert",
                           os.path.join(data, "tsa.pem"), "--out", token)
            print(good.stdout, good.stderr)
            if good.returncode != 0 or "verified:" not in good.stdout or not os.path.exists(token):
                sys.exit("the example did not get a verified token")
            # The development CA's certificate holds another key: the signature must not verify.
            other = example(library, stamped, "--url", url, "--cert", os.path.join(data, "ca.pem"))
            print(other.stdout, other.stderr)
            if other.returncode == 0 or "0x80090006" not in other.stderr:
                sys.exit("the example took a token signed with another key")
        finally:
            server.terminate()
            try:
                server.wait(10)
            except subprocess.TimeoutExpired:
                server.kill()
                server.wait(10)
    print("python ctypes example: ok")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2])
