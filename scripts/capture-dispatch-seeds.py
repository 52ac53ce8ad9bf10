#!/usr/bin/env python3
"""Captures seeds for fuzz_dispatch from a real exchange: ferroctl talks to ferrosim through a
loopback relay that records what the instrument sends. Each seed is the harness's request byte,
a name ended by a zero byte, then the instrument's bytes (cut at 64 KiB).

    scripts/capture-dispatch-seeds.py [BUILD_DIR] [OUT_DIR]

BUILD_DIR defaults to build/, OUT_DIR to fuzz/corpus/fuzz_dispatch/. Only loopback is used."""
import os
import re
import socket
import subprocess
import sys
import tempfile
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else os.path.join(ROOT, "build"))
OUT = os.path.abspath(sys.argv[2] if len(sys.argv) > 2 else os.path.join(ROOT, "fuzz/corpus/fuzz_dispatch"))
SIM = os.path.join(BUILD, "sim/ferrosim/ferrosim")
CTL = os.path.join(BUILD, "cli/ferroctl/ferroctl")
LIMIT = 64 * 1024


class Relay:
    """Forwards loopback connections to the instrument and keeps what it sends back."""

    def __init__(self, target_port):
        self.target = target_port
        self.server = socket.socket()
        self.server.bind(("127.0.0.1", 0))
        self.server.listen(4)
        self.port = self.server.getsockname()[1]
        self.received = bytearray()
        self.lock = threading.Lock()
        threading.Thread(target=self.accept, daemon=True).start()

    def take(self):
        with self.lock:
            data = bytes(self.received)
            self.received.clear()
        return data

    def accept(self):
        while True:
            client, _ = self.server.accept()
            upstream = socket.create_connection(("127.0.0.1", self.target), timeout=30)
            threading.Thread(target=self.pump, args=(client, upstream, False), daemon=True).start()
            threading.Thread(target=self.pump, args=(upstream, client, True), daemon=True).start()

    def pump(self, src, dst, keep):
        try:
            while True:
                data = src.recv(65536)
                if not data:
                    break
                if keep:
                    with self.lock:
                        self.received += data
                dst.sendall(data)
        except OSError:
            pass
        for s in (src, dst):
            try:
                s.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass


def main():
    work = tempfile.mkdtemp(prefix="ferro-seeds.")
    sim = subprocess.Popen([SIM, "--root", os.path.join(work, "root"), "--port", "0", "--history-days", "1",
                            "--exit-with-parent"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    port = None
    deadline = time.time() + 30
    while port is None and time.time() < deadline:
        line = sim.stdout.readline()
        m = re.search(r"listening on 127\.0\.0\.1:(\d+)", line)
        if m:
            port = int(m.group(1))
    if port is None:
        sim.kill()
        sys.exit("ferrosim did not start")
    relay = Relay(port)
    base = [CTL, "--port", str(relay.port), "--data-dir", os.path.join(work, "data"), "--ini-dir",
            os.path.join(work, "ini"), "--yes", "--timeout", "20000"]

    def run(*args):
        r = subprocess.run(base + list(args), capture_output=True, text=True, timeout=120)
        time.sleep(0.3)  # the last bytes of the closing exchange
        return r.stdout, relay.take()

    listing, _ = run("ls", "rec")
    rec = next((l.split()[0] for l in listing.splitlines() if l.strip()), "")
    listing, _ = run("ls", "evt")
    evt = next((l.split()[0] for l in listing.splitlines() if l.strip()), "")
    seeds = {
        "real-readout-rec": (0, rec, ("get", "rec", rec)),
        "real-readout-evt": (1, evt, ("get", "evt", evt)),
        "real-setup": (2, "", ("setup-get", os.path.join(work, "setup.xml"))),
        "real-scratchpad-status": (3, "", ("status",)),
        "real-lua": (4, "", ("lua", "print(1)")),
        "real-identity": (5, "", ("identify",)),
    }
    os.makedirs(OUT, exist_ok=True)
    for name, (pick, file_name, args) in seeds.items():
        if not all(args):
            print(f"{name}: nothing to ask for, skipped")
            continue
        _, data = run(*args)
        seed = bytes([pick]) + file_name.encode()[:32] + b"\0" + data[:LIMIT]
        with open(os.path.join(OUT, name), "wb") as f:
            f.write(seed)
        print(f"{name}: {len(data)} bytes from the instrument, {len(seed)} in the seed")
    sim.terminate()
    sim.wait(10)


if __name__ == "__main__":
    main()
