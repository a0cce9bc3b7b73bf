#!/usr/bin/env python3
"""Several processes at one address, and a stranger that knows that an address has one discovery: what it hears has one
port, one session counter and one reboot flag, whichever of the processes is killed."""
import json
import pathlib
import subprocess
import sys
import tempfile
import threading
import time
import unittest

from restart_test import PEER, Peer
from two_hosts_test import GROUP, MANAGER, VEHICLE, Hosts
from vehicle import DEFAULT_MANIFEST, PATIENCE, fresh_address, wait_until

PORT = 30490
PARAMETERS, DISTRIBUTION = 0x54DF, 0x0DDD
TAKE_OVER = 1.0  # seconds


class Stranger:
    """discovery_listener.py, and what it heard."""

    def __init__(self, *arguments, inside=()):
        script = pathlib.Path(__file__).with_name("discovery_listener.py")
        self.process = subprocess.Popen([*inside, sys.executable, script, *arguments], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        assert self.process.stdout.readline() == "listening\n"
        self.heard = []
        self.reader = threading.Thread(target=self._read)
        self.reader.start()

    def _read(self):
        for line in self.process.stdout:
            self.heard.append(json.loads(line))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait()
        self.reader.join()
        self.process.stdout.close()

    def standing(self, by_group):
        """Which services stand after each message, and how often the voice restarted until then."""
        known, restarts, last, rows = {}, 0, 0, []
        for message in [message for message in list(self.heard) if message["group"] == by_group]:
            if message["session"] != last + 1:
                restarts += 1
                known = {}
            last = message["session"]
            for service, _, ttl in message["offers"]:
                known[service] = message["at"] + ttl
                if ttl == 0:
                    del known[service]
            known = {service: end for service, end in known.items() if end > message["at"]}
            rows.append((message, set(known), restarts))
        return rows

    def hears(self, services, by_group, restarts):
        def now():
            rows = self.standing(by_group)
            return rows and rows[-1][1:] == (services, restarts)
        wait_until(now, PATIENCE, lambda: f"{services} after {restarts} restarts: {self.standing(by_group)[-5:]}")


class Case(unittest.TestCase):
    def judge(self, stranger, address, by_group, restarts):
        """All that was heard has one voice; a message out of its order would look like one restart more."""
        rows = stranger.standing(by_group)
        for message, _, _ in rows:
            self.assertEqual(message["from"], [address, PORT])
            self.assertTrue(message["reboot"])
        self.assertEqual(rows[-1][2], restarts)
        firsts = [message["session"] for (message, _, now), (_, _, before) in zip(rows[1:], rows) if now != before]
        self.assertEqual(firsts, [1] * restarts)

    def kill_in_turn(self, start, stranger, address, by_group):
        with start("offer") as speaker:
            self.assertEqual(speaker.lines.get(timeout=PATIENCE), "offered")
            with start("serve", "7") as service, start("call") as client:
                client.answered()
                stranger.hears({PARAMETERS, DISTRIBUTION}, by_group, 0)
                speaker.process.kill()
                killed = time.monotonic()
                stranger.hears({DISTRIBUTION}, by_group, 1)
                client.answered()
                rows = [row for row in stranger.standing(by_group) if row[0]["at"] > killed]
                restart = next(row[0]["at"] for row in rows if row[2] == 1)
                self.assertLess(restart - killed, TAKE_OVER)
                self.assertTrue(all(DISTRIBUTION in services for _, services, _ in rows), rows)
                print(f"\n{'multicast' if by_group else 'unicast'}: the next one spoke {1000 * (restart - killed):.0f} ms "
                      "after the speaker was killed", flush=True)
                with start("offer") as late:
                    self.assertEqual(late.lines.get(timeout=PATIENCE), "offered")
                    stranger.hears({PARAMETERS, DISTRIBUTION}, by_group, 1)
                stranger.hears({DISTRIBUTION}, by_group, 1)
                client.answered()
                self.judge(stranger, address, by_group, 1)
                service.process.kill()

    def manifest(self, folder, discovery):
        manifest = json.loads(DEFAULT_MANIFEST.read_text())
        manifest["discovery"] = discovery
        path = pathlib.Path(folder, "car.json")
        path.write_text(json.dumps(manifest))
        return str(path)


class OneAddress(Case):
    def test_stranger_hears_one_restart_and_loses_no_service_that_is_still_there(self):
        address, other = fresh_address(), fresh_address()
        with tempfile.TemporaryDirectory(prefix="voice-") as folder, Stranger(other) as stranger:
            manifest = self.manifest(folder, {"peers": [other]})
            self.kill_in_turn(lambda *arguments: Peer(address, folder, *arguments, ARA_COM_MANIFEST=manifest), stranger, address,
                              by_group=False)


class OneHostOfAGroup(Case):
    def test_stranger_of_a_group_hears_one_restart_and_loses_no_service_that_is_still_there(self):
        with tempfile.TemporaryDirectory(prefix="voice-") as folder, Hosts() as hosts, \
                Stranger(MANAGER, GROUP, inside=("ip", "netns", "exec", hosts.manager)) as stranger:
            manifest = self.manifest(folder, {"mode": "multicast"})
            inside = ("ip", "netns", "exec", hosts.vehicle)
            self.kill_in_turn(lambda *arguments: Peer(VEHICLE, folder, *arguments, program=(*inside, PEER),
                                                         ARA_COM_MANIFEST=manifest), stranger,
                              VEHICLE, by_group=True)


if __name__ == "__main__":
    unittest.main()
