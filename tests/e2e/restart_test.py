#!/usr/bin/env python3
"""Processes that are killed and started again, hundreds of times: the other side finds them each time, and nothing
stays behind."""
import json
import os
import pathlib
import queue
import socket
import statistics
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest

from vehicle import DEFAULT_MANIFEST, PATIENCE, Vehicle, fresh_address, wait_until

PEER = os.environ["RESTART_PEER"]
DISTRIBUTION = 0x0DDD
ROUNDS = int(os.environ.get("RESTART_ROUNDS", "100"))
SAMPLED = 5  # in so many rounds the field is waited for; a service that is killed earlier is gone before it is missed


class Peer:
    """A process with its lines, by default of restart_peer; killed at the end of its `with`."""

    def __init__(self, address, folder, *arguments, program=(PEER,), **environment):
        environment = dict(os.environ, ARA_COM_ADDRESS=address, **{"ARA_LOG_TARGET": "none", **environment})
        self.started = time.monotonic()
        self.process = subprocess.Popen([*program, *arguments], env=environment, cwd=folder, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        self.lines = queue.Queue()
        self.samples = set()
        self.reader = threading.Thread(target=self._read)
        self.reader.start()

    def _read(self):
        for line in self.process.stdout:
            if line.startswith("sample "):
                self.samples.add(line.split()[1])
            else:
                self.lines.put(line.strip())

    def answered(self):
        """Calls until a call is answered."""
        end = time.monotonic() + PATIENCE
        while True:
            self.process.stdin.write("call\n")
            self.process.stdin.flush()
            line = self.lines.get(timeout=PATIENCE)
            if line == "answered":
                return
            if time.monotonic() > end:
                raise AssertionError(f"no answer within {PATIENCE} s: {line}")
            time.sleep(0.001)

    def wait_for_sample(self, value):
        wait_until(lambda: value in self.samples, PATIENCE, f"sample {value}, beside {self.samples}")

    def held(self):
        """Threads and descriptors."""
        process = pathlib.Path(f"/proc/{self.process.pid}")
        return len(list((process / "task").iterdir())), len(list((process / "fd").iterdir()))

    def resident_kb(self):
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return int(status.split("VmRSS:")[1].split()[0])

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.reader.join()
        self.process.stdin.close()
        self.process.stdout.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kill()


def open_ports(address):
    """What the kernel knows of sockets at an address that listen or take datagrams."""
    wanted = f"{struct.unpack('=I', socket.inet_aton(address))[0]:08X}:"
    found = []
    for table, states in (("tcp", {"0A"}), ("udp", None)):
        for row in pathlib.Path(f"/proc/net/{table}").read_text().splitlines()[1:]:
            fields = row.split()
            if fields[1].startswith(wanted) and (states is None or fields[3] in states):
                found.append(f"{table} {fields[1]}")
    return found


class Restart(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="restart-")
        self.addCleanup(self.folder.cleanup)
        self.address = fresh_address()

    def peer(self, *arguments, **how):
        return Peer(self.address, self.folder.name, *arguments, **how)

    def tearDown(self):
        wait_until(lambda: open_ports(self.address) == [], PATIENCE, f"ports are free: {open_ports(self.address)}")
        self.assertEqual(os.listdir(self.folder.name), [])

    def judge(self, what, times, survivor, held, resident):
        print(f"\n{what}: from start to first answered call {1000 * min(times):.0f} / "
              f"{1000 * statistics.median(times):.0f} / {1000 * max(times):.0f} ms (min/median/max of {len(times)}); "
              f"memory of the survivor {resident} kB after a tenth, {survivor.resident_kb()} kB at the end", flush=True)
        wait_until(lambda: survivor.held() == held, PATIENCE,
                   f"threads and descriptors {survivor.held()} return to {held}")
        if "SANITIZED" not in os.environ:  # the address sanitizer keeps what was freed
            self.assertLess(survivor.resident_kb(), resident + 1024)

    def test_a_service_that_is_killed_is_found_again_by_its_client(self):
        times = []
        with self.peer("call") as client:
            for number in range(ROUNDS):
                with self.peer("serve", str(number)) as service:
                    client.answered()
                    times.append(time.monotonic() - service.started)
                    if number % SAMPLED == 0 or number == ROUNDS - 1:
                        client.wait_for_sample(str(number))
                    if number == ROUNDS // 10:
                        held, resident = client.held(), client.resident_kb()
                    if number == ROUNDS - 1:
                        self.judge("service killed", times, client, held, resident)

    def test_a_client_that_is_killed_leaves_nothing_with_its_service(self):
        times = []
        with self.peer("serve", "7") as service:
            self.assertEqual(service.lines.get(timeout=PATIENCE), "offered")
            before = service.held()
            for number in range(ROUNDS):
                with self.peer("call") as client:
                    client.answered()
                    times.append(time.monotonic() - client.started)
                    if number % SAMPLED == 0:
                        client.wait_for_sample("7")
                if number == ROUNDS // 10:
                    wait_until(lambda: service.held()[1] == before[1], PATIENCE, "connections are closed")
                    held, resident = service.held(), service.resident_kb()
            self.judge("client killed", times, service, held, resident)

    def test_a_stranger_that_is_killed_gets_the_fields_value_in_each_of_its_lives(self):
        manifest = json.loads(DEFAULT_MANIFEST.read_text())
        manifest["defaults"]["endpoint"]["transport"] = "udp"
        with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
            json.dump(manifest, file)
            file.flush()
            with self.peer("serve", "7", ARA_COM_MANIFEST=file.name) as service:
                self.assertEqual(service.lines.get(timeout=PATIENCE), "offered")
                for life in range(5):
                    # The same words from the same ports each time, as a control unit says them that is switched on again.
                    with self.subTest(life=life), self.peer(
                            self.address, "30600", str(DISTRIBUTION), "1",
                            program=(sys.executable, pathlib.Path(__file__).with_name("stranger.py"))) as stranger:
                        stranger.wait_for_sample("7")

    def test_a_java_service_that_is_killed_is_read_again(self):
        times = []
        # The client comes first, and so speaks for both of them from beginning to end.
        with self.peer("read") as client, Vehicle({0x54DF: b"value"}, address=self.address) as vehicle:
            client.answered()
            held = client.held()
            for _ in range(5):
                vehicle.kill()
                started = time.monotonic()
                vehicle.start()
                client.answered()
                times.append(time.monotonic() - started)
            self.judge("Java service killed", times, client, held, client.resident_kb())


if __name__ == "__main__":
    unittest.main()
