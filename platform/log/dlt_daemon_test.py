"""Messages through a real DLT daemon, which serves this test alone: its pipes, sockets and ports are its own."""
import os
import re
import shutil
import socket
import subprocess
import tempfile
import time
import unittest

PATIENCE = 60  # seconds; more than anything here may take on a loaded machine
PIECE = 1383

# UDPConnectionSetup = 0: without it the daemon sends every message by multicast.
CONFIGURATION = """
UDPConnectionSetup = 0
BindAddress = ::ffff:{address}
ControlSocketPath = {folder}/control
PersistanceStoragePath = {folder}
LoggingMode = 2
LoggingFilename = {folder}/daemon.log
"""


def free_port(address):
    with socket.socket() as probe:
        probe.bind((address, 0))
        return probe.getsockname()[1]


def eventually(condition):
    deadline = time.monotonic() + PATIENCE
    while time.monotonic() < deadline:
        if condition():
            return True
        time.sleep(0.02)
    return False


class Daemon:
    """A dlt-daemon in the foreground with everything in one folder."""

    def __init__(self, folder):
        self.folder = folder
        number = os.getpid()
        self.address = f"127.{16 + (number >> 16) % 16}.{number >> 8 & 255}.{number & 255}"
        self.port = free_port(self.address)
        self.process = None
        with open(f"{folder}/dlt.conf", "w", encoding="ascii") as file:
            file.write(CONFIGURATION.format(folder=folder, address=self.address))

    def start(self):
        command = ["dlt-daemon", "-c", f"{self.folder}/dlt.conf", "-t", self.folder, "-p", str(self.port)]
        self.process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

        def listens():
            with socket.socket() as probe:
                return probe.connect_ex((self.address, self.port)) == 0

        if not eventually(listens):
            raise AssertionError("the daemon does not listen")

    def stop(self):
        if self.process is None:
            return
        self.process.terminate()
        try:
            self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.process = None


class DltDaemon(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="dlt")
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.daemon = Daemon(self.folder)
        self.addCleanup(self.daemon.stop)

    def environment(self, **settings):
        return os.environ | {"DLT_PIPE_DIR": self.folder, "ARA_LOG_TARGET": "dlt", "ARA_LOG_LEVEL": "verbose"} | settings

    def receive(self):
        """Starts dlt-receive; what it prints comes into a file, so that nothing waits for this test."""
        path = f"{self.folder}/received"
        with open(path, "wb") as file:
            receiver = subprocess.Popen(
                ["stdbuf", "-oL", "dlt-receive", "-a", "-p", str(self.daemon.port), self.daemon.address],
                stdout=file, stderr=subprocess.STDOUT)
        self.addCleanup(receiver.wait)
        self.addCleanup(receiver.kill)
        return path

    def lines(self, path):
        """(application, context, level, text) of each message of the program's."""
        with open(path, encoding="utf-8", errors="replace") as file:
            found = re.findall(r"^\S+ \S+ +\d+ \d+ \S+ (\S+) DIAG\S* log (\w+) V 1 \[(.*)\]$", file.read(), re.MULTILINE)
        return found

    def write(self, *messages, **settings):
        done = subprocess.run([os.environ["LOG_LINES"], *messages], env=self.environment(**settings),
                              capture_output=True, text=True, timeout=PATIENCE, check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done

    def write_and_stay(self, *messages):
        """A writer that lives on when it has written, until it reads a line: libdlt gives little time at an exit."""
        writer = subprocess.Popen([os.environ["LOG_LINES"], *messages], env=self.environment(), stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.addCleanup(writer.communicate, "\n", PATIENCE)
        self.assertEqual(writer.stdout.readline(), "paused\n")
        return writer

    def await_lines(self, path, count):
        self.assertTrue(eventually(lambda: len(self.lines(path)) >= count), self.lines(path))
        return self.lines(path)

    def test_levels_and_texts_arrive_as_they_were_sent(self):
        self.daemon.start()
        path = self.receive()
        done = self.write("1:one", "2:two", "3:three", "4:four\n", "5:five", "6:six")
        self.assertEqual(self.await_lines(path, 6), [
            ("DARA", "fatal", "one"), ("DARA", "error", "two"), ("DARA", "warn", "three"), ("DARA", "info", "four"),
            ("DARA", "debug", "five"), ("DARA", "verbose", "six")])
        self.assertEqual((done.stdout, done.stderr), ("", ""))

    def test_the_threshold_and_the_application_are_the_environments(self):
        self.daemon.start()
        path = self.receive()
        self.write("5:left out", "4:sent", ARA_LOG_LEVEL="info", ARA_LOG_TARGET="dlt:CAR1")
        self.assertEqual(self.await_lines(path, 1), [("CAR1", "info", "sent")])

    def test_long_texts_arrive_whole_in_several_messages(self):
        self.daemon.start()
        path = self.receive()
        lengths = [PIECE - 1, PIECE, PIECE + 1, 2 * PIECE, 3000, 70000]
        self.write_and_stay(*(f"4:{length}xa" for length in lengths), "pause")
        expected = []
        for length in lengths:
            expected += [PIECE] * (length // PIECE) + ([length % PIECE] if length % PIECE else [])
        lines = self.await_lines(path, len(expected))
        self.assertEqual([len(text) for _, _, text in lines], expected)
        self.assertEqual(set("".join(text for _, _, text in lines)), {"a"})

    def test_a_daemon_that_comes_late_gets_what_was_written_before(self):
        writer = self.write_and_stay("4:early", "pause", "4:late", "pause")
        self.daemon.start()
        path = self.receive()
        self.assertEqual([text for _, _, text in self.await_lines(path, 1)], ["early"])
        writer.stdin.write("\n")
        writer.stdin.flush()
        self.assertEqual([text for _, _, text in self.await_lines(path, 2)], ["early", "late"])

    def test_without_a_daemon_nothing_waits_and_nothing_is_printed(self):
        started = time.monotonic()
        done = self.write(*["4:nobody reads this"] * 2000)
        # libdlt by itself would wait 10 s at the end, whatever came before.
        self.assertLess(time.monotonic() - started, 10)
        self.assertEqual(done.stdout, "")

    def test_the_daemon_of_the_test_sends_nothing_by_udp(self):
        self.daemon.start()
        self.receive()
        self.write("4:one")
        inodes = set()
        for descriptor in os.listdir(f"/proc/{self.daemon.process.pid}/fd"):
            target = os.readlink(f"/proc/{self.daemon.process.pid}/fd/{descriptor}")
            if target.startswith("socket:["):
                inodes.add(target[8:-1])
        for table in ("udp", "udp6"):
            with open(f"/proc/net/{table}", encoding="ascii") as file:
                self.assertFalse(inodes & {line.split()[9] for line in file.readlines()[1:]}, table)


if __name__ == "__main__":
    unittest.main()
