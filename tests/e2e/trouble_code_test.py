#!/usr/bin/env python3
"""The three trouble codes, as an event manager subscribes to them and hears them."""
import json
import subprocess
import unittest

import discovery
import wire
from discovery import Discovery
from vehicle import PATIENCE, TESTER, Vehicle, wait_until

MONITOR = 0x0D7C
EVENTGROUP = 1
INIT_MONITOR, MONITOR_ACTION = 1, 0x8001
PASSED, FAILED = b"\x00", b"\x01"
CODES = {1: 8495840, 2: 8495841, 3: 8495842}  # instance: code
FIRST_PORT = 30511


class Monitor:
    """The subscription of one instance, over the connection of its service."""

    def __init__(self, test, finder, instance):
        self.test = test
        self.finder = finder
        self.offer = finder.find(MONITOR, instance)
        self.tcp = wire.Tcp(*self.offer.endpoints[discovery.TCP], timeout=PATIENCE)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.tcp.socket.close()

    def subscribe(self):
        # Refused as long as the service hasn't seen the connection.
        wait_until(lambda: self.finder.subscribe(self.offer, EVENTGROUP, self.tcp.local()) > 0, PATIENCE,
                   "the subscription is accepted")
        return self

    def expect_state(self, state):
        heard = self.tcp.receive()
        self.test.assertEqual((heard.service, heard.method, heard.type, heard.return_code, heard.interface),
                              (MONITOR, MONITOR_ACTION, wire.NOTIFICATION, 0, 2))
        self.test.assertEqual(heard.payload, state)

    def init(self, session, reason=b"\x01"):
        """Asks for a repetition; the answer and, if there is a state, a notification come in any order."""
        self.tcp.send(wire.request(MONITOR, INIT_MONITOR, reason, session, interface=2))

    def expect_answer(self, session):
        answer = self.tcp.receive()
        self.test.assertEqual((answer.type, answer.session, answer.return_code, answer.payload),
                              (wire.RESPONSE, session, 0, b""))


class OnTheWire(unittest.TestCase):
    def test_each_code_has_an_instance_that_is_found_and_heard(self):
        with Vehicle({}) as vehicle, Discovery(vehicle.address) as finder:
            for instance, code in CODES.items():
                with self.subTest(code=code), Monitor(self, finder, instance) as monitor:
                    self.assertEqual(monitor.offer.endpoints,
                                     {discovery.TCP: (vehicle.address, FIRST_PORT + instance - 1)})
                    self.assertEqual((monitor.offer.major, monitor.offer.minor), (2, 0))
                    monitor.subscribe()
                    for state, byte in (("failed", FAILED), ("passed", PASSED), ("failed", FAILED)):
                        vehicle.command(f"dtc {code} {state}")
                        monitor.expect_state(byte)

    def test_a_code_is_heard_by_its_own_subscribers_and_by_all_of_them(self):
        with Vehicle({}) as vehicle, Discovery(vehicle.address) as finder, \
                Monitor(self, finder, 1).subscribe() as first, Monitor(self, finder, 1).subscribe() as again, \
                Monitor(self, finder, 2).subscribe() as second:
            vehicle.command("dtc 0x81A2E1 failed")
            vehicle.command("dtc 0x81A2E0 passed")
            first.expect_state(PASSED)
            again.expect_state(PASSED)
            second.expect_state(FAILED)

    def test_init_repeats_the_last_state_and_says_nothing_before_the_first(self):
        with Vehicle({}) as vehicle, Discovery(vehicle.address) as finder, \
                Monitor(self, finder, 3).subscribe() as monitor:
            monitor.init(session=1)
            monitor.expect_answer(1)
            vehicle.command("dtc 8495842 failed")
            monitor.expect_state(FAILED)
            for session, reason in enumerate((b"\x00", b"\x01", b"\x02", b"\x03"), 2):
                monitor.init(session, reason)
                heard = {m.type: m for m in (monitor.tcp.receive(), monitor.tcp.receive())}
                self.assertEqual(heard[wire.NOTIFICATION].payload, FAILED)
                self.assertEqual((heard[wire.RESPONSE].session, heard[wire.RESPONSE].return_code), (session, 0))

    def test_who_has_unsubscribed_hears_nothing_more(self):
        with Vehicle({}) as vehicle, Discovery(vehicle.address) as finder, \
                Monitor(self, finder, 1).subscribe() as leaver, Monitor(self, finder, 1).subscribe() as stayer:
            finder.unsubscribe(leaver.offer, EVENTGROUP, leaver.tcp.local())
            # An answered subscription of the same peer shows that what was sent before it has been read.
            with Monitor(self, finder, 2).subscribe():
                vehicle.command("dtc 8495840 failed")
                stayer.expect_state(FAILED)
                leaver.init(session=9)  # repeats to the others, and answers here
                stayer.expect_state(FAILED)
                leaver.expect_answer(9)

    def test_an_eventgroup_that_does_not_exist_is_refused(self):
        with Vehicle({}) as vehicle, Discovery(vehicle.address) as finder, Monitor(self, finder, 1) as monitor:
            self.assertEqual(finder.subscribe(monitor.offer, 7, monitor.tcp.local()), 0)

    def test_codes_reported_at_the_start_are_there_for_who_asks(self):
        with Vehicle({}, options=("--dtc", "8495840=failed")) as vehicle, Discovery(vehicle.address) as finder, \
                Monitor(self, finder, 1).subscribe() as monitor:
            vehicle.says("trouble code 0x81A2E0 (8495840) failed")
            monitor.init(session=1)
            heard = set()  # the report itself may have come as well
            while heard != {wire.RESPONSE, wire.NOTIFICATION}:
                message = monitor.tcp.receive()
                heard.add(message.type)
                self.assertEqual(message.payload, FAILED if message.type == wire.NOTIFICATION else b"")


class Watch:
    """`tester dtc watch` in the background; ended with its `with`."""

    def __init__(self, vehicle):
        self.file = vehicle.path / "watch.txt"
        with open(self.file, "w", encoding="utf-8") as output:
            self.process = subprocess.Popen([TESTER, "--json", "dtc", "watch"], cwd=vehicle.path, stdout=output,
                                            env=dict(vehicle.environment, ARA_LOG_TARGET="none"))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        try:
            self.process.wait(timeout=PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()

    def lines(self):
        complete = self.file.read_text(encoding="utf-8").rpartition("\n")[0]
        return [json.loads(line) for line in complete.splitlines()]

    def states(self):
        return [(line["code"], line["state"]) for line in self.lines() if line["what"] == "state"]

    def words(self, what, word):
        return sum(line["what"] == what and line["state"] == word for line in self.lines())

    def sees(self, *states):
        """All states so far are these."""
        wait_until(lambda: len(self.states()) >= len(states), PATIENCE, lambda: f"{states} in {self.lines()}")
        seen = self.states()
        assert seen == list(states), f"expected {states}, seen {seen}"

    def is_subscribed(self, times=1):
        wait_until(lambda: self.words("subscription", "subscribed") >= 3 * times, PATIENCE,
                   lambda: f"all three monitors are subscribed to {times} times in {self.lines()}")


class WithTheTester(unittest.TestCase):
    def test_the_watch_sees_each_code_set_and_cleared_and_repeated(self):
        with Vehicle({}) as vehicle, Watch(vehicle) as watch:
            watch.is_subscribed()
            expected = []
            for code in CODES.values():
                for state in ("failed", "passed"):
                    vehicle.command(f"dtc {code} {state}")
                    expected.append((code, state))
                    watch.sees(*expected)
                run = vehicle.tester("dtc", "init", str(code))
                self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
                expected.append((code, "passed"))
                watch.sees(*expected)

    def test_init_before_any_report_is_answered_and_nothing_is_seen(self):
        with Vehicle({}) as vehicle, Watch(vehicle) as watch:
            watch.is_subscribed()
            self.assertEqual(vehicle.tester("dtc", "init", "all").returncode, 0)
            vehicle.command("dtc 8495842 failed")
            watch.sees((8495842, "failed"))

    def test_the_watch_may_come_before_the_service(self):
        with Vehicle({}, starts=False) as vehicle, Watch(vehicle) as watch:
            vehicle.start()
            watch.is_subscribed()
            vehicle.command("dtc 8495841 failed")
            watch.sees((8495841, "failed"))

    def test_a_service_that_was_killed_and_started_again_is_seen_again(self):
        with Vehicle({}) as vehicle, Watch(vehicle) as watch:
            watch.is_subscribed()
            vehicle.command("dtc 8495840 failed")
            watch.sees((8495840, "failed"))
            before = watch.words("service", "unavailable")
            vehicle.kill()
            wait_until(lambda: watch.words("service", "unavailable") >= before + 3, PATIENCE,
                       lambda: f"the loss of all three in {watch.lines()}")
            vehicle.start()
            watch.is_subscribed(times=2)
            vehicle.command("dtc 8495840 passed")
            watch.sees((8495840, "failed"), (8495840, "passed"))

    def test_a_service_that_ended_orderly_and_came_back_is_seen_again(self):
        with Vehicle({}) as vehicle, Watch(vehicle) as watch:
            watch.is_subscribed()
            for life in (2, 3):
                vehicle.stop()
                vehicle.start()
                watch.is_subscribed(times=life)
            vehicle.command("dtc 8495842 failed")
            watch.sees((8495842, "failed"))


if __name__ == "__main__":
    unittest.main()
