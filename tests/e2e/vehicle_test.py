#!/usr/bin/env python3
"""What a diagnostic manager sees of a running vehicle, byte by byte."""
import socket
import struct
import time
import unittest

import wire
from vehicle import PATIENCE, PORT, Vehicle, wait_until


def array(data):
    """A fixed array or byte vector on the wire: its length in four bytes, then the bytes."""
    return struct.pack(">I", len(data)) + data


def ramp(count, first=1):
    return bytes((first + i) % 256 for i in range(count))


def counted(count, entry):
    return bytes([count]) + ramp(count * entry), lambda d: array(d[:1]) + array(d[1:])


def split(*sizes):
    def reply(data):
        parts, position = [], 0
        for size in sizes:
            parts.append(array(data[position:position + size]))
            position += size
        if position < len(data):
            parts.append(array(data[position:]))
        return b"".join(parts)
    return reply


# Each identifier: what Java holds, and how the reply is made of it.
IDENTIFIERS = {
    0xB047: (ramp(42), split(20, 20, 2)),
    0x15FE: (ramp(74), split(20, 20, 32, 2)),
    0x15FD: (ramp(74, 100), split(20, 20, 32, 2)),
    0x017D: (ramp(8), lambda d: d),
    0x488C: counted(100, 32),
    0x488B: (b"\x00\x02" + ramp(10), split(2)),
    0x117C: counted(3, 20),
    0x117E: counted(64, 22),
    0x117D: counted(1, 22),
    0x0235: (ramp(43) + b"\x02" + ramp(62), split(1, 7, 1, 1, 1, 4, 4, 4, 4, 16, 1)),
    0x0234: counted(2, 15),
    0x54DC: (ramp(4083), array),
    0x54DE: (b"metadata", array),
    0x54DF: (b"\x00", array),
}
VALUES = {identifier: data for identifier, (data, _) in IDENTIFIERS.items()}


def expected(identifier):
    data, reply = IDENTIFIERS[identifier]
    return reply(data)


class ReadAllFourteen(unittest.TestCase):
    def read_all(self, transport, identifiers):
        with Vehicle(VALUES, transport=transport) as vehicle, vehicle.client() as client:
            for session, identifier in enumerate(identifiers, 1):
                with self.subTest(identifier=hex(identifier)):
                    reply = patiently(client, wire.request(identifier, wire.READ, session=session))
                    self.assertEqual((reply.type, reply.return_code), (wire.RESPONSE, 0))
                    self.assertEqual((reply.service, reply.method, reply.session, reply.client),
                                     (identifier, wire.READ, session, 0x7E57))
                    self.assertEqual(reply.payload.hex(), expected(identifier).hex())

            code, document = vehicle.read_json("read", *map(hex, identifiers))
            self.assertEqual(code, 0, document)
            rows = {int(row["id"], 16): row for row in document["results"]}
            self.assertEqual(set(rows), set(identifiers))
            for identifier, row in rows.items():
                with self.subTest(identifier=hex(identifier)):
                    self.assertEqual(row["raw"], expected(identifier).hex())
                    self.assertEqual(row["return_code"], 0)

    def test_over_tcp(self):
        self.read_all("tcp", list(IDENTIFIERS))

    def test_over_udp_long_replies_in_segments(self):
        self.read_all("udp", list(IDENTIFIERS))

    def test_the_sample_values_that_come_with_the_service(self):
        with Vehicle() as vehicle:
            code, document = vehicle.read_json("read", "all")
            self.assertEqual(code, 0, document)
            self.assertEqual(len(document["results"]), 14)
            self.assertTrue(all(row["outcome"] == "ok" for row in document["results"]), document)


def patiently(client, request):
    """Reads as a diagnostic manager has to: a read that comes while the last answer is still being handed round
    may be lost by design, so a pause comes first, and a repeat after a time-out. If that came too early, the read has
    two answers; what is left of those before is passed over."""
    time.sleep(0.02)
    for _ in range(int(PATIENCE)):
        client.send(request)
        client.socket.settimeout(1)
        try:
            while (reply := client.receive()).session != request.session:
                pass
            return reply
        except TimeoutError:
            continue
    raise AssertionError(f"no answer to {request} within {PATIENCE} s")


class OneAfterAnother(unittest.TestCase):
    def test_cancel_answers_the_pending_read_with_zeros(self):
        silent = {i: d for i, d in VALUES.items() if i != 0xB047}
        with Vehicle(silent) as vehicle, wire.Tcp(vehicle.address, PORT) as tcp:
            tcp.send(wire.request(0xB047, wire.READ, session=3))
            wait_until(lambda: "B047" in vehicle.log().upper(), PATIENCE, "Java has got the request")
            tcp.send(wire.request(0xB047, wire.CANCEL, session=4))
            replies = {m.session: m for m in (tcp.receive(), tcp.receive())}
            self.assertEqual(set(replies), {3, 4})
            self.assertEqual(replies[3].payload, array(bytes(20)) + array(bytes(20)) + array(bytes(2)))
            self.assertEqual((replies[4].return_code, replies[4].payload), (0, b""))

    def test_request_maps_of_any_content_change_nothing(self):
        def text(characters):
            encoded = b"\xEF\xBB\xBF" + characters.encode() + b"\x00"
            return struct.pack(">I", len(encoded)) + encoded

        pairs = text("reason") + text("workshop") + text("") + text("ü")
        maps = [struct.pack(">I", len(pairs)) + pairs,
                struct.pack(">I", 0),
                struct.pack(">I", len(pairs)) + pairs + b"bytes behind the announced length"]
        with Vehicle(VALUES) as vehicle, wire.Tcp(vehicle.address, PORT) as tcp:
            for session, payload in enumerate(maps, 1):
                with self.subTest(payload=payload.hex()):
                    reply = patiently(tcp, wire.request(0x54DF, wire.READ, payload, session))
                    self.assertEqual((reply.return_code, reply.payload), (0, expected(0x54DF)))


class WhatTheTesterSays(unittest.TestCase):
    def test_time_out_is_told_with_what_was_tried(self):
        with Vehicle({0x017D: VALUES[0x017D]}) as vehicle:
            run = vehicle.tester("--timeout", "300", "read", "0xB047")
            self.assertEqual(run.returncode, 1, run.stdout + run.stderr)
            told = run.stdout + run.stderr
            for piece in ("0xB047", vehicle.address, "300 ms", "2"):
                self.assertIn(piece, told)

            def outcomes():
                code, document = vehicle.read_json("--timeout", "300", "read", "0xB047", "0x017D", "0x54DF")
                self.assertEqual(code, 1)
                return [row["outcome"] for row in document["results"]]
            # A busy machine may need longer for the one that is answered.
            wait_until(lambda: outcomes() == ["time_out", "ok", "time_out"], PATIENCE, "one of three is read")

    def test_nobody_there(self):
        with Vehicle({}) as vehicle:
            vehicle.kill()
            run = vehicle.tester("--timeout", "500", "read", "0xB047")
            self.assertEqual(run.returncode, 3, run.stdout + run.stderr)
            self.assertIn(vehicle.address, run.stdout + run.stderr)

    def test_unknown_identifier_is_a_usage_error_that_lists_the_known_ones(self):
        with Vehicle({}) as vehicle:
            run = vehicle.tester("read", "0x1234")
            self.assertEqual(run.returncode, 2)
            self.assertIn("0xB047", run.stderr)


def good_call(test, vehicle, client=None):
    """A call on this connection, or on a fresh one, is answered."""
    if client is None:
        with vehicle.client() as fresh:
            good_call(test, vehicle, fresh)
        return
    client.send(wire.request(0x017D, wire.CANCEL, session=77))
    while (reply := client.receive()).session != 77:  # a datagram that was refused may have had its answer
        test.assertNotEqual(reply.return_code, 0)


class HostileFrames(unittest.TestCase):
    # name, frame, return code of the answer, or None where none is due
    ANSWERED = [
        ("wrong protocol version", wire.request(0x017D, wire.READ, protocol=2), 0x07),
        ("wrong interface version", wire.request(0x017D, wire.READ, interface=9), 0x08),
        ("unknown service", wire.request(0x0BAD, wire.READ), 0x02),
        ("unknown method", wire.request(0x017D, 0x7FFF), 0x03),
        ("a response that nobody asked for", wire.Message(0x017D, wire.READ, 1, wire.RESPONSE, 0, b""), None),
        ("a notification", wire.Message(0x017D, 0x8001, 1, 0x02, 0, b""), None),
        ("map announces more than there is", wire.request(0x017D, wire.READ, struct.pack(">I", 100)), 0x80),
        ("map announces all of 32 bits", wire.request(0x017D, wire.READ, b"\xFF\xFF\xFF\xFF" + bytes(20)), 0x80),
        ("string runs past the map", wire.request(0x017D, wire.READ, struct.pack(">III", 8, 40, 0) + bytes(60)), 0x80),
        ("no byte of a map", wire.request(0x017D, wire.READ, b""), 0x80),
        ("three bytes of a map", wire.request(0x017D, wire.READ, bytes(3)), 0x80),
    ]

    def test_frames_that_keep_the_framing_are_answered_or_ignored_and_the_connection_stays(self):
        for transport in ("tcp", "udp"):
            with Vehicle(VALUES, transport=transport) as vehicle, vehicle.client() as client:
                for name, frame, code in self.ANSWERED:
                    with self.subTest(frame=name, transport=transport):
                        client.send(frame)
                        if code is not None:
                            self.assertEqual(client.receive().return_code, code)
                        good_call(self, vehicle, client)
                        good_call(self, vehicle)

    def test_frames_that_break_the_framing_end_at_most_their_connection(self):
        hostile = {
            "length below the header's rest": wire.request(0x017D, wire.READ, length=7),
            "length zero": wire.request(0x017D, wire.READ, length=0),
            "length of nearly 32 bits": wire.request(0x017D, wire.READ, length=0xFFFFFFFF),
            "length above the bound": wire.request(0x017D, wire.READ, length=0x00200000),
            "truncated header": wire.request(0x017D, wire.READ).pack()[:9],
            "truncated payload": wire.request(0x017D, wire.READ, bytes(60)).pack()[:40],
            "one byte": b"\x01",
            "noise": bytes(range(256)) * 40,
        }
        for transport in ("tcp", "udp"):
            with Vehicle(VALUES, transport=transport) as vehicle:
                for name, frame in hostile.items():
                    with self.subTest(frame=name, transport=transport):
                        with vehicle.client() as client:
                            client.send(frame)
                            if transport == "udp":  # a datagram stands for itself
                                good_call(self, vehicle, client)
                        good_call(self, vehicle)

    def test_a_request_split_at_every_byte_and_many_merged_are_all_answered(self):
        frame = wire.request(0x54DF, wire.CANCEL).pack()
        with Vehicle(VALUES) as vehicle, wire.Tcp(vehicle.address, PORT) as tcp:
            tcp.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            for cut in range(1, len(frame)):
                tcp.send(frame[:cut])
                tcp.send(frame[cut:])
                self.assertEqual(tcp.receive().return_code, 0)
            tcp.send(b"".join(wire.request(0x017D, wire.CANCEL, session=s).pack() for s in range(1, 101)))
            self.assertEqual(sorted(tcp.receive().session for _ in range(100)), list(range(1, 101)))

    def test_a_peer_that_never_reads_holds_nobody_up(self):
        with Vehicle(VALUES) as vehicle:
            deaf = wire.Tcp(vehicle.address, PORT)
            deaf.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
            deaf.socket.settimeout(0.5)
            try:
                for _ in range(3000):
                    deaf.send(wire.request(0x54DC, wire.READ))
            except OSError:
                pass  # the service stopped reading, or gave the connection up: both are its right
            good_call(self, vehicle)
            # Java's answers to the flood, as long as they come, end the reads of others.
            wait_until(lambda: vehicle.tester("read", "0x017D").returncode == 0, PATIENCE, "a read is answered")
            deaf.socket.close()
            code, seconds = vehicle.stop()
            self.assertLess(seconds, PATIENCE / 2)


class ComingAndGoing(unittest.TestCase):
    def test_the_service_ends_at_once_when_asked_to(self):
        with Vehicle({}) as vehicle:
            code, seconds = vehicle.stop()
            self.assertIn(code, (0, 143))
            self.assertLess(seconds, 10)
            self.assertEqual(sorted(p.name for p in vehicle.path.iterdir()),
                             ["ara.log", "java.log", "manifest.json", "values.txt"])

    def test_killed_and_started_again_it_is_read_again(self):
        with Vehicle(VALUES) as vehicle:
            for _ in range(3):
                vehicle.kill()
                vehicle.start()
                self.assertEqual(vehicle.tester("read", "0x017D").returncode, 0)

    def test_two_vehicles_on_one_machine_do_not_meet(self):
        with Vehicle({0x54DF: b"one"}) as one, Vehicle({0x54DF: b"two"}) as two:
            self.assertEqual(one.tester("--raw", "read", "0x54DF").stdout.split()[-1].lower(), array(b"one").hex())
            self.assertEqual(two.tester("--raw", "read", "0x54DF").stdout.split()[-1].lower(), array(b"two").hex())

    def test_a_second_service_on_the_same_endpoint_is_refused_loudly(self):
        with Vehicle(VALUES) as first:
            with Vehicle(VALUES, address=first.address, comes_up=False) as second:
                self.assertNotEqual(second.java.wait(timeout=PATIENCE), 0)
                self.assertIn(first.address, (second.path / "ara.log").read_text())
            self.assertEqual(first.tester("read", "0x017D").returncode, 0)


if __name__ == "__main__":
    unittest.main()
