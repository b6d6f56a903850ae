"""A fleet on loopback: a NATS server, simulated elements, and the collector that serves what they say."""

import ctypes
import json
import os
import pathlib
import signal
import socket
import subprocess
import time
import urllib.request

TOKEN = "0123456789abcdef-of-a-test"
OPERATOR = "night-desk"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def end_with_parent():
    """Also when that is killed, as by a test's time limit."""
    ctypes.CDLL(None).prctl(1, signal.SIGTERM)


class Fleet:
    """Its processes end with it."""

    def __init__(self, program, nats_server, folder, elements, faults="", page=""):
        self.program, self.folder, self.elements = program, pathlib.Path(folder), elements
        self.processes = []
        self.port, self.nats_port = free_port(), free_port()
        self.nats = f"nats://127.0.0.1:{self.nats_port}/ptp"
        self.folder.mkdir(parents=True, exist_ok=True)
        (self.folder / "faults.toml").write_text(faults)
        tokens = self.folder / "tokens"
        tokens.write_text(f"# who may act\n{OPERATOR} {TOKEN}\n")
        tokens.chmod(0o600)
        self.configuration = self.folder / "fleet.toml"
        self.configuration.write_text(
            f'uri = "{self.nats}"\ndatabase = "{self.folder}/fleet.db"\nsilent_after = 5\n'
            f'[serve]\nlisten = "127.0.0.1:{self.port}"\npage = "{page}"\ntokens = "{tokens}"\n')
        self.start(nats_server, "-a", "127.0.0.1", "-p", str(self.nats_port), "-js", "-sd", str(self.folder / "nats"))
        self.until(lambda: socket.create_connection(("127.0.0.1", self.nats_port), 1).close() is None, 10)
        subprocess.run([program, "prepare", self.nats], check=True, timeout=30, stdout=subprocess.DEVNULL)
        self.collector = self.start_collector()
        self.until(lambda: self.get("/healthz", True), 20)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in reversed(self.processes):
            if process.poll() is None:
                process.send_signal(signal.SIGTERM)
                try:
                    process.wait(10)
                except subprocess.TimeoutExpired:
                    process.kill()
                    process.wait()

    def start(self, *command):
        name = pathlib.Path(command[0]).name + (f"-{command[1]}" if command[0] == self.program else "")
        log = open(self.folder / f"{name}.log", "ab")
        self.processes.append(subprocess.Popen(command, stdout=log, stderr=log, preexec_fn=end_with_parent))
        return self.processes[-1]

    def start_collector(self):
        return self.start(self.program, "run", "--config", str(self.configuration))

    def start_elements(self):
        self.start(self.program, "simulate", "--elements", str(self.elements), "--grandmasters", "4", "--to", self.nats,
                   "--script", str(self.folder / "faults.toml"))
        self.until(lambda: json.loads(self.get("/api/v1/overview"))["clocks"] >= self.elements, 60)

    def get(self, path, is_any_status=False):
        try:
            with urllib.request.urlopen(f"http://127.0.0.1:{self.port}{path}", timeout=10) as answer:
                return answer.read()
        except urllib.error.HTTPError as error:
            if is_any_status:
                return error.read()
            raise

    def until(self, holds, seconds):
        end = time.monotonic() + seconds
        while True:
            try:
                if holds():
                    return
            except OSError:
                pass
            if time.monotonic() > end:
                raise TimeoutError(f"not within {seconds} s; the logs are in {self.folder}: {os.listdir(self.folder)}")
            time.sleep(0.1)
