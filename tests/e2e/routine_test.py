#!/usr/bin/env python3
"""The four routines, as a diagnostic manager starts, stops and asks for them, byte by byte."""
import struct
import unittest

import wire
from vehicle import PATIENCE, Vehicle, wait_until
from wire import CANCEL, EMPTY_MAP

REQUEST_RESULTS, START, STOP = 2, 3, 4
ROUTINES = (0x0687, 0x0688, 0x0689, 0x068A)
NEVER_STARTED, RUNNING, FINISHED, STOPPED, NO_ANSWER = b"\x00", b"\x10", b"\x31", b"\x40", b"\x20"
LONG = "takes = 3600000 ms"


class Manager:
    """Calls one after another; each answer has to be of its call."""

    def __init__(self, test, client):
        self.test = test
        self.client = client
        self.session = 0

    def call(self, routine, method, payload=EMPTY_MAP):
        self.session += 1
        reply = self.client.call(wire.request(routine, method, payload, self.session))
        self.test.assertEqual((reply.service, reply.method, reply.session, reply.type, reply.return_code),
                              (routine, method, self.session, wire.RESPONSE, 0))
        return reply.payload

    def do(self, routine, *methods):
        for method in methods:
            self.test.assertEqual(self.call(routine, method), b"")

    def results(self, routine):
        return self.call(routine, REQUEST_RESULTS)


class OneRoutine(unittest.TestCase):
    def test_each_is_never_started_running_stopped_running_and_forgotten(self):
        for transport in ("tcp", "udp"):
            with Vehicle(routines={r: LONG for r in ROUTINES}, transport=transport) as vehicle, \
                    vehicle.client() as client:
                manager = Manager(self, client)
                for routine in ROUTINES:
                    with self.subTest(routine=hex(routine), transport=transport):
                        self.assertEqual(manager.results(routine), NEVER_STARTED)
                        manager.do(routine, START)
                        self.assertEqual(manager.results(routine), RUNNING)
                        manager.do(routine, STOP)
                        self.assertEqual(manager.results(routine), STOPPED)
                        manager.do(routine, START)
                        self.assertEqual(manager.results(routine), RUNNING)
                        manager.do(routine, CANCEL)
                        self.assertEqual(manager.results(routine), NEVER_STARTED)

    def test_each_finishes_with_what_java_says(self):
        outcomes = {0x0687: (3, 1, b"\x31"), 0x0688: (5, 2, b"\x52"), 0x0689: (0, 0, b"\x00"), 0x068A: (1, 2, b"\x12")}
        plans = {r: f"takes = 20 ms\nstatus = {s}\nresult = {c}" for r, (s, c, _) in outcomes.items()}
        with Vehicle(routines=plans) as vehicle, vehicle.client() as client:
            manager = Manager(self, client)
            for routine, (_, _, byte) in outcomes.items():
                manager.do(routine, START)
            for routine, (_, _, byte) in outcomes.items():
                wait_until(lambda: manager.results(routine) == byte, PATIENCE, f"0x{routine:04X} ends with {byte.hex()}")

    def test_a_status_that_does_not_fit_into_four_bits_is_no_answer(self):
        with Vehicle(routines={0x0687: "takes = 0 ms\nstatus = 16\nresult = 1"}) as vehicle, \
                vehicle.client() as client:
            manager = Manager(self, client)
            manager.do(0x0687, START)
            self.assertEqual(manager.results(0x0687), NO_ANSWER)

    def test_transactions_of_a_routine_are_consecutive_over_all_methods(self):
        with Vehicle(routines={}) as vehicle, vehicle.client() as client:
            manager = Manager(self, client)
            manager.do(0x0687, START, STOP)
            manager.results(0x0687)
            manager.do(0x0687, CANCEL)
            manager.do(0x0688, START)
            requests = [line for line in vehicle.log().splitlines() if line.startswith("routine ")]
            self.assertEqual([line.split("(")[1] for line in requests],
                             [f"transaction {number})" for number in (0, 1, 2, 3, 0)])

    def test_request_maps_of_any_content_change_nothing(self):
        text = b"\xEF\xBB\xBFreason\x00"
        pair = 2 * (struct.pack(">I", len(text)) + text)
        with Vehicle(routines={}) as vehicle, vehicle.client() as client:
            manager = Manager(self, client)
            for method in (START, REQUEST_RESULTS, STOP, CANCEL):
                reply = manager.call(0x0688, method, struct.pack(">I", len(pair)) + pair + b"behind the map")
                self.assertEqual(reply, FINISHED if method == REQUEST_RESULTS else b"")

    def test_methods_and_maps_that_are_none_are_refused(self):
        with Vehicle(routines={}) as vehicle, vehicle.client() as client:
            self.assertEqual(client.call(wire.request(0x0687, 5)).return_code, 0x03)
            self.assertEqual(client.call(wire.request(0x0687, START, struct.pack(">I", 9))).return_code, 0x80)
            self.assertEqual(client.call(wire.request(0x0687, START, interface=1)).return_code, 0x08)
            self.assertNotIn("routine", vehicle.log())


class ManyAtOnce(unittest.TestCase):
    def test_all_four_are_started_and_asked_at_once(self):
        with Vehicle(routines={r: LONG for r in ROUTINES}, options=("--delay", "300")) as vehicle, \
                vehicle.client() as client:
            calls = {}
            for method in (START, REQUEST_RESULTS, STOP, REQUEST_RESULTS):
                for routine in ROUTINES:
                    calls[len(calls) + 1] = (routine, method)
                    client.send(wire.request(routine, method, session=len(calls)))
            answered = {reply.session: reply for reply in (client.receive() for _ in calls)}
            self.assertEqual(set(answered), set(calls))
            for session, (routine, method) in calls.items():
                reply = answered[session]
                self.assertEqual((reply.service, reply.method, reply.return_code), (routine, method, 0))
                self.assertEqual(len(reply.payload), 1 if method == REQUEST_RESULTS else 0)

    def test_the_eleventh_request_of_a_routine_is_answered_at_once_and_java_is_not_asked(self):
        with Vehicle(routines={}, options=("--delay", "10000")) as vehicle, vehicle.client() as client:
            client.send(b"".join(wire.request(0x0687, REQUEST_RESULTS, session=session).pack()
                                 for session in range(1, 12)))
            replies = [client.receive() for _ in range(11)]
            self.assertEqual({reply.session for reply in replies}, set(range(1, 12)))
            self.assertEqual([reply.payload for reply in replies], [NO_ANSWER] + 10 * [NEVER_STARTED])
            self.assertEqual(vehicle.log().count("routine 0x0687 results"), 10)
            # Those that have ended make room.
            client.send(wire.request(0x0687, START, session=12))
            wait_until(lambda: vehicle.log().count("routine 0x0687 start") == 1, PATIENCE, "Java is asked again")

    def test_a_routine_that_java_does_not_answer_holds_up_no_other(self):
        with Vehicle(routines={}, options=("--silent", "0x0687")) as vehicle, vehicle.client() as client, \
                vehicle.client() as other:
            client.send(wire.request(0x0687, REQUEST_RESULTS, session=7))
            vehicle.says("0x0687 is to stay silent")
            manager = Manager(self, other)
            manager.do(0x0688, START)
            self.assertEqual(manager.results(0x0688), FINISHED)

    def test_the_end_of_the_service_answers_what_is_open_and_waits_for_none(self):
        with Vehicle(routines={}, options=("--silent", "0x0687")) as vehicle, vehicle.client() as client:
            client.send(wire.request(0x0687, REQUEST_RESULTS, session=7))
            client.send(wire.request(0x0687, START, session=8))
            wait_until(lambda: vehicle.log().count("0x0687 is to stay silent") == 2, PATIENCE, "Java got both")
            code, seconds = vehicle.stop()
            self.assertEqual(code, 143)
            self.assertLess(seconds, 20)  # and not the minute that an answer may take
            replies = [client.receive(), client.receive()]
            self.assertEqual({reply.session: (reply.return_code, reply.payload) for reply in replies},
                             {7: (0, NO_ANSWER), 8: (0, b"")})

    def test_data_identifiers_are_read_meanwhile(self):
        with Vehicle({0x54DF: b"\x01"}, routines={0x0687: LONG}, options=("--silent", "0x0688")) as vehicle, \
                vehicle.client() as client:
            Manager(self, client).do(0x0687, START)
            client.send(wire.request(0x0688, START, session=50))
            vehicle.says("0x0688 is to stay silent")
            self.assertEqual(vehicle.tester("read", "0x54DF").returncode, 0)


if __name__ == "__main__":
    unittest.main()
