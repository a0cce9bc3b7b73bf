"""A vehicle for a test: the sample VAL service in a JVM of its own, and the tester that reads from it."""
import json
import os
import pathlib
import signal
import subprocess
import tempfile
import time

import wire

PRODUCT_DIR = os.environ["PRODUCT_DIR"]
JAR = os.environ["SAMPLE_JAR"]
TESTER = os.environ["TESTER"]
DEFAULT_MANIFEST = pathlib.Path(__file__).resolve().parents[2] / "platform/com/deployment/default_manifest.json"
PORT = 30509
PATIENCE = 60  # seconds for what has to come, on a machine with much else to do
UNHURRIED = ("--timeout", "10000")  # of the tester: milliseconds for each of two attempts there

_next_address = 0  # the loopback addresses from 127.64 on belong to other kinds of tests


def fresh_address():
    """An address of the loopback network that no other test of this machine uses."""
    global _next_address
    _next_address += 1
    pid = os.getpid()
    return f"127.{1 + _next_address % 63}.{pid >> 8 & 255}.{pid & 255}"


def wait_until(condition, seconds, what):
    """Gives what the condition gave when it held; `what` may be a function that tells what was missing."""
    end = time.monotonic() + seconds
    while not (held := condition()):
        if time.monotonic() > end:
            raise AssertionError(f"not within {seconds} s: {what() if callable(what) else what}")
        time.sleep(0.02)
    return held


class Vehicle:
    """`values` maps a data identifier to its bytes; an identifier left out is one that Java doesn't answer.
    `routines` maps a routine to the lines that say what it does; the others end at once. `options` are the
    sample's, `discovery` is the manifest's. `inside` is the command that runs the service elsewhere, in a network
    namespace. With `starts` false only the folder is made."""

    def __init__(self, values=None, address=None, transport="tcp", comes_up=True, routines=None, options=(),
                 starts=True, discovery=None, inside=()):
        self.folder = tempfile.TemporaryDirectory(prefix="vehicle-")
        self.path = pathlib.Path(self.folder.name)
        self.address = address or fresh_address()
        self.transport = transport
        self.environment = dict(os.environ, ARA_COM_ADDRESS=self.address, ARA_LOG_TARGET=f"file:{self.path}/ara.log")
        manifest = json.loads(DEFAULT_MANIFEST.read_text())
        manifest["defaults"]["endpoint"]["transport"] = transport
        if discovery:
            manifest["discovery"] = discovery
        (self.path / "manifest.json").write_text(json.dumps(manifest))
        self.environment["ARA_COM_MANIFEST"] = str(self.path / "manifest.json")
        self.arguments = list(options)
        self.inside = list(inside)
        if values is not None or routines is not None:
            (self.path / "values.txt").write_text(
                "".join(f"[0x{i:04X}]\nbytes = {data.hex(' ')}\n" for i, data in (values or {}).items()) +
                "".join(f"[0x{i:04X}]\n{lines}\n" for i, lines in (routines or {}).items()))
            self.arguments += ["--values", str(self.path / "values.txt")]
        self.java = None
        self.output = None
        if starts:
            self.start(comes_up)

    def start(self, comes_up=True):
        self.close_files()
        self.output = open(self.path / "java.log", "a+", encoding="utf-8")
        environment = dict(self.environment)
        if os.environ.get("JAVA_PRELOAD"):
            environment["LD_PRELOAD"] = os.environ["JAVA_PRELOAD"]
        already = self.log().count("VAL service is up")
        self.java = subprocess.Popen(
            [*self.inside, "java", "-Xmx128m", f"-Djava.library.path={PRODUCT_DIR}", "-cp", JAR,
             "zvif.vehicle.services.val.sample.SampleValService", *self.arguments],
            env=environment, cwd=self.path, stdin=subprocess.PIPE, stdout=self.output,
            stderr=subprocess.STDOUT, text=True)
        wait_until(lambda: self.log().count("VAL service is up") > already or self.java.poll() is not None, PATIENCE,
                   "the Java service comes up")
        assert (self.java.poll() is None) == comes_up, self.log()

    def log(self):
        """What the service has printed, by all of its lives."""
        file = self.path / "java.log"
        return file.read_text(encoding="utf-8", errors="replace") if file.exists() else ""

    def command(self, line):
        """Types a line into the service."""
        self.java.stdin.write(line + "\n")
        self.java.stdin.flush()

    def says(self, text, seconds=PATIENCE):
        wait_until(lambda: text in self.log(), seconds,
                   lambda: f"the service prints '{text}'; its output so far:\n{self.log()}")

    def client(self):
        carrier = wire.Tcp if self.transport == "tcp" else wire.Udp
        return carrier(self.address, PORT)

    def tester(self, *arguments, timeout=3 * PATIENCE):
        return subprocess.run([TESTER, *arguments], env=dict(self.environment, ARA_LOG_TARGET="none"), cwd=self.path,
                              capture_output=True, text=True, timeout=timeout)

    def read_json(self, *arguments):
        run = self.tester("--json", *arguments)
        return run.returncode, json.loads(run.stdout)

    def kill(self):
        self.java.kill()
        self.java.wait()

    def stop(self):
        """Ends the service as a person would; gives exit code and seconds."""
        started = time.monotonic()
        self.java.send_signal(signal.SIGTERM)
        code = self.java.wait(timeout=PATIENCE)
        return code, time.monotonic() - started

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.java and self.java.poll() is None:
            self.kill()
        self.close_files()
        self.folder.cleanup()

    def close_files(self):
        if self.output:
            self.output.close()
            self.java.stdin.close()
