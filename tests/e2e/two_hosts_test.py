#!/usr/bin/env python3
"""Two hosts on one Ethernet: the vehicle in one network namespace, the tester in another, and a link between them that
breaks. They find each other by multicast, which never leaves that link."""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import threading
import time
import unittest

from restart_test import PEER, Peer
from vehicle import DEFAULT_MANIFEST, PATIENCE, TESTER, UNHURRIED, Vehicle, wait_until
from vehicle_test import VALUES, expected

VEHICLE, MANAGER = "192.0.2.1", "192.0.2.2"
GROUP = "224.244.224.245"
DISCOVERY = {"mode": "multicast", "ttl_s": 3}  # a lost host is noticed well within the cut
CUT = 5  # seconds
LINK = "eth0"
# TCP sends again 0.2, 0.6, 1.4, 3, 6.2 and 12.6 s after what isn't acknowledged.
STALLED = 7  # seconds
NEXT_RETRANSMISSION = 12.4


def ip(*arguments):
    """Runs ip(8); a refusal is told with its reason."""
    try:
        run = subprocess.run(["ip", *arguments], capture_output=True, text=True)
    except FileNotFoundError:
        raise AssertionError("there is no ip(8): install Debian's iproute2 (scripts/setup.sh does)") from None
    if run.returncode != 0:
        raise AssertionError(f"no network of two hosts can be made here, since `ip {' '.join(arguments)}` says: "
                             f"{run.stderr.strip()}; it takes root with CAP_SYS_ADMIN and CAP_NET_ADMIN")
    return run.stdout


class Hosts:
    """Two namespaces named after this process and a cable between them, all gone at the end of the `with`."""

    def __init__(self):
        self.vehicle, self.manager = (f"diag{os.getpid()}{end}" for end in "vm")

    def __enter__(self):
        remove_left_behind()
        try:
            for name in (self.vehicle, self.manager):
                ip("netns", "add", name)
            ip("link", "add", LINK, "netns", self.vehicle, "type", "veth", "peer", "name", LINK, "netns", self.manager)
            for name, address in ((self.vehicle, VEHICLE), (self.manager, MANAGER)):
                ip("-n", name, "address", "add", f"{address}/24", "dev", LINK)
                ip("-n", name, "link", "set", "lo", "up")
                ip("-n", name, "link", "set", LINK, "up")
        except AssertionError:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        for name in (self.vehicle, self.manager):
            subprocess.run(["ip", "netns", "delete", name], capture_output=True)

    def plug(self, state):
        """The vehicle's end of the cable goes "down" or "up"."""
        ip("-n", self.vehicle, "link", "set", LINK, state)


def groups(interface, *where):
    """The multicast groups that are listened to at an interface."""
    return re.findall(r"inet\s+(\S+)", ip(*where, "maddress", "show", "dev", interface))


def remove_left_behind():
    """Namespaces of test processes that were killed."""
    for name, pid in re.findall(r"^(diag(\d+)[vm])\b", ip("netns", "list"), re.M):
        if not pathlib.Path("/proc", pid).exists():
            subprocess.run(["ip", "netns", "delete", name], capture_output=True)


class Watch:
    """`tester watch` on the manager's host, and when each thing was heard."""

    def __init__(self, command, **where):
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True, **where)
        self.heard = []  # seconds and line
        self.reader = threading.Thread(target=self._read)
        self.reader.start()

    def _read(self):
        for line in self.process.stdout:
            self.heard.append((time.monotonic(), json.loads(line)))

    def last_of_all(self, event, since):
        """When the last of the fourteen identifiers was told of, none of them before `since`."""
        def told():
            times = {line["service"]: at for at, line in list(self.heard)
                     if line["event"] == event and "::DataIdentifier_" in line["service"] and at >= since}
            return max(times.values()) if len(times) == len(VALUES) else None
        return wait_until(told, PATIENCE, lambda: f"'{event}' of {len(VALUES)} services after {since}: {self.heard}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        self.reader.join()
        self.process.stdout.close()


# Run on the manager's host. Prints each announcement that comes, asks for identification by broadcast after the third, and
# prints the answer: sender, payload type.
WAITING_TESTER = """
import socket, sys
heard = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
heard.bind(("255.255.255.255", 13400))
asking = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
asking.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
asking.bind((sys.argv[1], 0))
for each in (heard, asking):
    each.settimeout(float(sys.argv[2]))
print("listening", flush=True)
for _ in range(3):
    announcement, sender = heard.recvfrom(4096)
    print(sender[0], announcement[2:4].hex(), flush=True)
asking.sendto(bytes.fromhex("02fd000100000000"), ("255.255.255.255", 13400))
answer, sender = asking.recvfrom(4096)
print(sender[0], answer[2:4].hex(), flush=True)
"""


class GatewayOnAnotherHost(unittest.TestCase):
    def test_it_is_announced_and_found_by_broadcast_at_the_address_that_it_listens_at(self):
        with Hosts() as hosts:
            with subprocess.Popen(["ip", "netns", "exec", hosts.manager, sys.executable, "-c", WAITING_TESTER, MANAGER,
                                   str(PATIENCE)], stdout=subprocess.PIPE, text=True) as waiting:
                self.assertEqual(waiting.stdout.readline(), "listening\n")
                gateway = subprocess.Popen(
                    ["ip", "netns", "exec", hosts.vehicle, TESTER, "doip", "--json", "--bind", VEHICLE],
                    env=dict(os.environ, ARA_COM_ADDRESS=VEHICLE, ARA_LOG_TARGET="none"), stdout=subprocess.DEVNULL)
                try:
                    self.assertEqual(waiting.stdout.read().splitlines(), [f"{VEHICLE} 0004"] * 4)
                finally:
                    gateway.terminate()
                    gateway.wait()


class TwoHosts(unittest.TestCase):
    def test_all_identifiers_are_read_across_a_link_and_again_after_it_was_cut(self):
        with Hosts() as hosts, \
                Vehicle(VALUES, address=VEHICLE, discovery=DISCOVERY,
                        inside=("ip", "netns", "exec", hosts.vehicle)) as vehicle:
            where = {"cwd": vehicle.path,
                     "env": dict(vehicle.environment, ARA_COM_ADDRESS=MANAGER, ARA_LOG_TARGET="none")}
            tester = ("ip", "netns", "exec", hosts.manager, TESTER)

            def read_all(wait=PATIENCE):
                run = subprocess.run([*tester, "--json", *UNHURRIED, "--wait", str(wait), "read", "all"], capture_output=True,
                                     text=True, timeout=3 * PATIENCE, **where)
                rows = json.loads(run.stdout)["results"]
                return [row["id"] for row in rows if row["outcome"] == "ok"
                        and row["raw"].replace(" ", "").lower() == expected(int(row["id"], 16)).hex()]

            self.assertEqual(len(read_all()), len(VALUES))
            with Watch([*tester, "--json", "watch"], **where) as watch:
                watch.last_of_all("offered", 0)
                for name in (hosts.vehicle, hosts.manager):
                    self.assertIn(GROUP, groups(LINK, "-n", name))
                    self.assertNotIn(GROUP, groups("lo", "-n", name))
                hosts.plug("down")
                cut = time.monotonic()
                noticed = watch.last_of_all("lost", cut)
                self.assertEqual(read_all(wait=0.2), [], "nothing is read across a cut")
                time.sleep(max(0, cut + CUT - time.monotonic()))
                hosts.plug("up")
                restored = time.monotonic()
                self.assertEqual(len(read_all()), len(VALUES))
                read = time.monotonic()
                found = watch.last_of_all("offered", restored)
            print(f"\nlink cut for {restored - cut:.1f} s: noticed after {noticed - cut:.2f} s; restored: the watching tester "
                  f"found all {len(VALUES)} after {found - restored:.2f} s, a new one had read them after "
                  f"{read - restored:.2f} s", flush=True)

    def test_a_call_across_a_link_that_was_cut_does_not_wait_for_tcp_to_try_again(self):
        with tempfile.TemporaryDirectory(prefix="two-hosts-") as folder, Hosts() as hosts:
            path = pathlib.Path(folder, "manifest.json")
            manifest = json.loads(DEFAULT_MANIFEST.read_text())
            manifest["discovery"] = {"mode": "multicast", "ttl_s": 60}  # the offer stands throughout
            path.write_text(json.dumps(manifest))

            def peer(host, address, *arguments):
                return Peer(address, folder, *arguments, program=("ip", "netns", "exec", host, PEER),
                            ARA_COM_MANIFEST=str(path))

            with peer(hosts.vehicle, VEHICLE, "serve", "7"), peer(hosts.manager, MANAGER, "call") as client:
                client.answered()
                hosts.plug("down")
                cut = time.monotonic()
                client.process.stdin.write("call\n")
                client.process.stdin.flush()
                time.sleep(STALLED)  # the length of the cut is what this is about
                hosts.plug("up")
                restored = time.monotonic()
                client.answered()
                answered = time.monotonic()
        print(f"\nlink cut for {restored - cut:.1f} s below a call: answered {answered - restored:.2f} s after it was whole",
              flush=True)
        self.assertLess(answered - cut, NEXT_RETRANSMISSION)


if __name__ == "__main__":
    unittest.main()
