#!/usr/bin/env python3
"""Clients that send more than the vehicle can handle: they connect again and again, never read, or use UDP. Memory stays
bounded, the next client is served at once, and the service ends as if they weren't there."""
import multiprocessing
import os
import socket
import subprocess
import sys
import time
import unittest

import wire
from two_hosts_test import VEHICLE, Hosts
from vehicle import PORT, Vehicle, wait_until
from vehicle_test import VALUES, expected

SECONDS = float(os.environ.get("FLOOD_SECONDS", "3"))  # of each flood
PROMPT = 15  # seconds that a second may take on a machine with much else to do
GROWTH = 200  # MB, most of it the heap of the JVM
READS = b"".join(wire.request(service, wire.READ, session=1 + number).pack()
                 for number, service in enumerate(list(VALUES) * 8))  # 112 of them


def reconnecting(address, stop):
    while not stop.is_set():
        try:
            with socket.create_connection((address, PORT), 1) as client:
                client.sendall(READS)
        except OSError:
            pass  # refused, or closed in favour of another one


def never_reading(address, stop):
    while not stop.is_set():
        try:
            with socket.create_connection((address, PORT), 1) as client:
                while not stop.is_set():
                    client.sendall(READS)
        except OSError:
            pass


def by_datagrams(address, stop):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
        client.bind(("127.0.0.1", 0))
        client.connect((address, PORT))
        one = wire.request(next(iter(VALUES)), wire.READ).pack()
        while not stop.is_set():
            try:
                client.send(one)
            except OSError:
                pass


class Flooding:
    """Three processes that flood, until the end of the `with`."""

    def __init__(self, how, address):
        self.stop = multiprocessing.Event()
        self.clients = [multiprocessing.Process(target=how, args=(address, self.stop)) for _ in range(3)]

    def __enter__(self):
        for client in self.clients:
            client.start()
        return self

    def __exit__(self, *_):
        self.stop.set()
        for client in self.clients:
            client.join(5)
            if client.is_alive():
                client.kill()
                client.join()


def resident(process):
    """MB."""
    with open(f"/proc/{process.pid}/status", encoding="ascii") as status:
        return next(int(line.split()[1]) / 1024 for line in status if line.startswith("VmRSS"))


class Flood(unittest.TestCase):
    def check(self, how, transport="tcp"):
        service = next(iter(VALUES))

        def is_read(client):
            return client.call(wire.request(service, wire.READ)).payload == expected(service)

        with Vehicle(VALUES, transport=transport) as vehicle:
            with vehicle.client() as client:
                self.assertTrue(is_read(client))
            before = resident(vehicle.java)
            with Flooding(how, vehicle.address):
                time.sleep(SECONDS)  # the length of the flood is what is tested
                after = resident(vehicle.java)
            ended = time.monotonic()
            # Over UDP what the flood left in the socket may cost the first call.
            def served():
                with vehicle.client() as client:
                    client.socket.settimeout(1)
                    try:
                        return is_read(client)
                    except OSError:
                        return False
            wait_until(served, PROMPT, "a client is served after the flood")
            first = time.monotonic() - ended
            with Flooding(how, vehicle.address):
                time.sleep(SECONDS)
                code, end = vehicle.stop()
        print(f"\n{how.__name__} for {SECONDS:g} s: memory {before:.0f} -> {after:.0f} MB, first call after it {first:.3f} s, "
              f"service ended in {end:.2f} s during it", flush=True)
        self.assertEqual(code, 143)
        self.assertLess(end, PROMPT)
        self.assertLess(after - before, GROWTH)

    def test_clients_that_connect_again_and_again(self):
        self.check(reconnecting)

    def test_clients_that_never_read(self):
        self.check(never_reading)

    def test_clients_that_send_datagrams(self):
        self.check(by_datagrams, "udp")


CONNECTIONS = 512  # limits.connections
REACH_LIMIT = 10  # seconds after which a connection to a host out of reach breaks

# Runs on the host that vanishes: connects, and says so. Runs on the vehicle's host: a client that is timed.
CONNECT = f"""
import socket, sys
held = [socket.create_connection(("{VEHICLE}", {PORT}), 60) for _ in range({CONNECTIONS})]
print("connected", flush=True)
sys.stdin.read()
"""
READ = f"""
import sys, time
sys.path.insert(0, {os.path.dirname(os.path.abspath(__file__))!r})
import wire
started = time.monotonic()
with wire.Tcp("{VEHICLE}", {PORT}) as client:
    payload = client.call(wire.request(int(sys.argv[1]), wire.READ)).payload
print(time.monotonic() - started, payload.hex())
"""


class VanishedHost(unittest.TestCase):
    def test_its_connections_lock_nobody_out_and_end(self):
        service = next(iter(VALUES))
        with Hosts() as hosts:
            on_vehicle = ("ip", "netns", "exec", hosts.vehicle)
            with Vehicle(VALUES, address=VEHICLE, discovery={"mode": "static"}, inside=on_vehicle) as vehicle:
                def established():
                    rows = subprocess.run([*on_vehicle, "ss", "-Htn", "state", "established", f"sport = :{PORT}"],
                                          capture_output=True, text=True, check=True).stdout
                    return len(rows.splitlines())

                with subprocess.Popen(["ip", "netns", "exec", hosts.manager, sys.executable, "-c", CONNECT],
                                      stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as other:
                    try:
                        self.assertEqual(other.stdout.readline(), "connected\n")
                        wait_until(lambda: established() == CONNECTIONS, PROMPT, "all connections are accepted")
                        hosts.plug("down")
                        cut = time.monotonic()
                        run = subprocess.run([*on_vehicle, sys.executable, "-c", READ, str(service)], capture_output=True,
                                             text=True, timeout=PROMPT, check=True)
                        seconds, payload = run.stdout.split()
                        self.assertEqual(bytes.fromhex(payload), expected(service))
                        wait_until(lambda: established() == 0, 6 * REACH_LIMIT, lambda: f"{established()} are left")
                        gone = time.monotonic() - cut
                    finally:
                        other.kill()
        print(f"\n{CONNECTIONS} connections of a vanished host: a new client was served in {float(seconds):.3f} s, "
              f"the last of them was gone after {gone:.1f} s", flush=True)


if __name__ == "__main__":
    unittest.main()
