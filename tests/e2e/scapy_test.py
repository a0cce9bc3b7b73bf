#!/usr/bin/env python3
"""A stack of another make, scapy, as client of the vehicle and as a service for the tester and for the vehicle.

Its packet classes build and read every message; plain sockets carry them, as scapy cuts no TCP stream into messages. Of
what is used here it gets nothing wrong. Its `SOMEIP.fragment` isn't used: it adds an empty segment to a payload that is a
multiple of the segments' size (2.5.0).
"""
import contextlib
import json
import os
import socket
import subprocess
import tempfile
import threading
import unittest

os.environ.setdefault("XDG_CACHE_HOME", "/tmp")
from scapy.contrib.automotive.someip import (SD, SOMEIP, SDEntry_EventGroup, SDEntry_Service, SDOption_IP4_EndPoint)
from scapy.packet import Raw

from capture import Capture, Tshark
from discovery import PORTS, TCP, UDP
from vehicle import PATIENCE, PORT, TESTER, UNHURRIED, Vehicle, fresh_address, wait_until

READ, CANCEL = 2, 1
EMPTY_MAP = bytes(4)
MONITOR, DATA_SERVICE, VERSION_INFO, HISTORY, PARAMETERS = 0x0D7C, 0x0DDD, 0x017D, 0x54DC, 0x54DF
FIND, OFFER, SUBSCRIBE, SUBSCRIBE_ACK = 0, 1, 6, 7
ANY_INSTANCE, ANY_MAJOR, ANY_MINOR, FOR_EVER = 0xFFFF, 0xFF, 0xFFFFFFFF, 0xFFFFFF
CLIENT = 0x5CA9
VALUES = {VERSION_INFO: bytes(range(8)), PARAMETERS: b"parameters", HISTORY: bytes(i % 251 for i in range(4083))}


def array(data):
    return len(data).to_bytes(4, "big") + data


def request(service, method, payload=EMPTY_MAP, session=1, version=2):
    return SOMEIP(srv_id=service, method_id=method, client_id=CLIENT, session_id=session, iface_ver=version,
                  msg_type="REQUEST") / Raw(payload)


def answer(question, payload, kind="RESPONSE", code=0):
    return SOMEIP(srv_id=question.srv_id, method_id=question.method_id, client_id=question.client_id,
                  session_id=question.session_id, iface_ver=question.iface_ver, msg_type=kind,
                  retcode=code) / Raw(payload)


def payload(message):
    return bytes(message.payload)


class Stream:
    """A TCP connection that carries SOME/IP."""

    def __init__(self, connection):
        self.socket = connection
        self.socket.settimeout(PATIENCE)
        self.file = connection.makefile("rb")

    def send(self, message):
        self.socket.sendall(bytes(message))

    def receive(self):
        """The next message; None at the end of the connection."""
        head = self.file.read(8)
        return SOMEIP(head + self.file.read(int.from_bytes(head[4:], "big"))) if len(head) == 8 else None

    def call(self, message):
        self.send(message)
        return self.receive()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.file.close()
        self.socket.close()


class Discovery:
    """Speaks service discovery by unicast, at a port of the range that a whole machine shares."""

    def __init__(self, address, port=PORTS[-1]):
        self.address = address
        self.sessions = {}
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind((address, port))

    def send(self, peer, entry, options=()):
        self.sessions[peer] = self.sessions.get(peer, 0) + 1
        header = SOMEIP(srv_id=0xFFFF, sub_id=1, event_id=0x100, session_id=self.sessions[peer], msg_type="NOTIFICATION")
        message = SD(flags=0xC0, entry_array=[entry], option_array=list(options))
        self.socket.sendto(bytes(header / message), peer)

    def tell_all(self, entry, options=()):
        for port in PORTS:
            if (self.address, port) != self.socket.getsockname():
                self.send((self.address, port), entry, options)

    def hear(self, seconds):
        """Entries of the next message: peer, entry, its options."""
        self.socket.settimeout(seconds)
        try:
            frame, peer = self.socket.recvfrom(65536)
        except TimeoutError:
            return
        message = SOMEIP(frame)
        assert (message.srv_id, message.sub_id, message.event_id) == (0xFFFF, 1, 0x100), message
        found = SD(payload(message))
        for entry in found.entry_array:
            yield peer, entry, found.option_array[entry.index_1:entry.index_1 + entry.n_opt_1]

    def expect(self, wanted, ask):
        """Asks until an entry comes that is wanted."""
        def heard():
            ask()
            for peer, entry, options in self.hear(0.2):
                if wanted(entry):
                    return peer, entry, options
            return None
        return wait_until(heard, PATIENCE, "an entry of service discovery")

    def find(self, service, instance=ANY_INSTANCE):
        question = SDEntry_Service(type=FIND, srv_id=service, inst_id=instance, major_ver=ANY_MAJOR, ttl=3,
                                   minor_ver=ANY_MINOR)
        return self.expect(lambda entry: entry.type == OFFER and entry.srv_id == service and entry.ttl > 0
                           and instance in (ANY_INSTANCE, entry.inst_id), lambda: self.tell_all(question))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()


def endpoint(address, port, protocol=TCP):
    return SDOption_IP4_EndPoint(addr=address, l4_proto=protocol, port=port)


class ScapyCalls(unittest.TestCase):
    def test_identifiers_are_found_and_read_over_tcp(self):
        with Vehicle(VALUES) as vehicle, Discovery(vehicle.address) as finder:
            for service, data in VALUES.items():
                _, offer, (where,) = finder.find(service)
                self.assertEqual((offer.inst_id, offer.major_ver, offer.minor_ver), (1, 2, 0))
                self.assertEqual((where.addr, where.port, where.l4_proto), (vehicle.address, PORT, TCP))
                with Stream(socket.create_connection((where.addr, where.port))) as stream:
                    reply = stream.call(request(service, READ, session=7))
                self.assertEqual((reply.srv_id, reply.sub_id, reply.method_id, reply.client_id, reply.session_id),
                                 (service, 0, READ, CLIENT, 7))
                self.assertEqual((reply.msg_type, reply.retcode, reply.iface_ver), (SOMEIP.TYPE_RESPONSE, 0, 2))
                self.assertEqual(payload(reply), data if service == VERSION_INFO else array(data))

    def test_identifiers_are_read_over_udp_long_ones_in_segments(self):
        with Vehicle(VALUES, transport="udp") as vehicle, Discovery(vehicle.address) as finder, \
                socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as udp:
            _, _, (where,) = finder.find(HISTORY)
            self.assertEqual(where.l4_proto, UDP)
            udp.settimeout(PATIENCE)
            udp.sendto(bytes(request(PARAMETERS, READ)), (where.addr, where.port))
            self.assertEqual(payload(SOMEIP(udp.recv(65536))), array(VALUES[PARAMETERS]))
            udp.sendto(bytes(request(HISTORY, READ, session=2)), (where.addr, where.port))
            pieces = {}
            while not pieces or any(piece.more_seg for piece in pieces.values()) and len(pieces) < 3:
                piece = SOMEIP(udp.recv(65536))
                self.assertEqual((piece.msg_type, piece.session_id), (SOMEIP.TYPE_TP_RESPONSE, 2))
                pieces[piece.offset * 16] = piece
            self.assertEqual([piece.more_seg for _, piece in sorted(pieces.items())], [1, 1, 0])
            self.assertEqual(b"".join(payload(piece) for _, piece in sorted(pieces.items())), array(VALUES[HISTORY]))

    def test_a_call_of_something_unknown_is_an_error(self):
        with Vehicle(VALUES) as vehicle, Stream(socket.create_connection((vehicle.address, PORT))) as stream:
            reply = stream.call(request(PARAMETERS, 0x7FFF))
            self.assertEqual((reply.msg_type, reply.retcode, payload(reply)),
                             (SOMEIP.TYPE_ERROR, SOMEIP.RET_E_UNKNOWN_METHOD, b""))

    def test_a_trouble_code_is_subscribed_to_and_heard(self):
        with Vehicle({}) as vehicle, Discovery(vehicle.address) as finder:
            peer, offer, (where,) = finder.find(MONITOR, instance=2)
            with Stream(socket.create_connection((where.addr, where.port))) as stream:
                entry = SDEntry_EventGroup(type=SUBSCRIBE, n_opt_1=1, srv_id=MONITOR, inst_id=2, ttl=FOR_EVER,
                                           major_ver=offer.major_ver, eventgroup_id=1)
                own = endpoint(*stream.socket.getsockname())
                _, granted, _ = finder.expect(
                    lambda entry: entry.type == SUBSCRIBE_ACK and entry.ttl > 0,
                    lambda: finder.send(peer, entry, [own]))  # refused until the connection was seen
                self.assertEqual((granted.srv_id, granted.inst_id, granted.eventgroup_id), (MONITOR, 2, 1))
                vehicle.command("dtc 8495841 failed")
                event = stream.receive()
            self.assertEqual((event.srv_id, event.sub_id, event.event_id, event.msg_type, event.iface_ver),
                             (MONITOR, 1, 1, SOMEIP.TYPE_NOTIFICATION, 2))
            self.assertEqual(payload(event), b"\x01")


class Service:
    """One service at TCP that is offered by discovery. `replies` gives the answer to a request, or None."""

    def __init__(self, address, service, version, replies, notify=None):
        self.service, self.version, self.replies, self.notify = service, version, replies, notify
        self.listener = socket.create_server((address, 0))
        self.sd = Discovery(address, PORTS[1])  # the first is that of the processes under test
        self.requests = []
        self.streams = {}  # by the client's address
        self.ended = threading.Event()
        self.threads = [threading.Thread(target=self.accept), threading.Thread(target=self.offer)]
        for thread in self.threads:
            thread.start()

    def accept(self):
        while not self.ended.is_set():
            try:
                connection, peer = self.listener.accept()
            except OSError:
                return
            self.streams[peer] = Stream(connection)
            thread = threading.Thread(target=self.serve, args=(self.streams[peer],))
            thread.start()
            self.threads.append(thread)

    def serve(self, stream):
        try:
            while question := stream.receive():
                self.requests.append(question)
                if (reply := self.replies(question)) is not None:
                    stream.send(reply)
        except OSError:
            pass

    def offer(self):
        """Offers until the end, and grants every subscription."""
        offer = SDEntry_Service(type=OFFER, n_opt_1=1, srv_id=self.service, inst_id=1, major_ver=self.version[0],
                                minor_ver=self.version[1], ttl=3)
        own = [endpoint(*self.listener.getsockname())]
        while not self.ended.is_set():
            self.sd.tell_all(offer, own)
            for peer, entry, options in self.sd.hear(0.2):
                if entry.type == SUBSCRIBE and entry.srv_id == self.service and entry.ttl > 0:
                    entry.type, entry.n_opt_1 = SUBSCRIBE_ACK, 0
                    self.sd.send(peer, entry)
                    stream = self.streams.get((options[0].addr, options[0].port))
                    if self.notify and stream:
                        with contextlib.suppress(OSError):  # the client may have gone meanwhile
                            stream.send(self.notify)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.ended.set()
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        for stream in list(self.streams.values()):
            with contextlib.suppress(OSError):  # the client may have gone first
                stream.socket.shutdown(socket.SHUT_RDWR)
        for thread in self.threads:
            thread.join(PATIENCE)
        for stream in self.streams.values():
            stream.__exit__()
        self.sd.__exit__()


class ScapyAnswers(unittest.TestCase):
    def read(self, address, *arguments):
        run = subprocess.run([TESTER, "--json", *UNHURRIED, "--wait", str(PATIENCE), "read", "0x017D", *arguments],
                             env=dict(os.environ, ARA_COM_ADDRESS=address, ARA_LOG_TARGET="none"), capture_output=True,
                             text=True, timeout=2 * PATIENCE)
        return json.loads(run.stdout)["results"][0]

    def test_the_tester_reads_what_scapy_says_and_tshark_sees_the_same(self):
        address = fresh_address()
        replies = [lambda question: answer(question, bytes.fromhex("04020107ea2f04b7")),
                   lambda question: answer(question, b"\x26", "ERROR", 2),
                   lambda question: answer(question, b"", "ERROR", SOMEIP.RET_E_NOT_READY)]
        with tempfile.TemporaryDirectory(prefix="scapy-") as folder:
            with Capture(folder, address) as capture, \
                    Service(address, VERSION_INFO, (2, 0), lambda question: replies[0](question)) as service:
                good = self.read(address)
                del replies[0]
                refused = self.read(address)
                del replies[0]
                unready = self.read(address)
            frames = Tshark(folder).frames(capture.path)
        self.assertEqual([field["number"] for field in good["fields"]], [4, 2, 1, 2026, 47, 1207])
        self.assertEqual((refused["outcome"], refused["uds_code"], refused["uds_code_name"]),
                         ("service_error", 0x26, "failurePreventsExecutionOfRequestedAction"))
        self.assertEqual((unready["outcome"], unready["return_code"]), ("return_code", 4))
        for question in service.requests:
            self.assertEqual((question.srv_id, question.method_id, question.msg_type, payload(question)),
                             (VERSION_INFO, READ, SOMEIP.TYPE_REQUEST, EMPTY_MAP))
        answers = [frame for frame in frames if "diag_ara.request_in" in frame]
        self.assertEqual(answers[0].number("diag_ara.d_017d.field_4"), 2026)
        self.assertEqual(answers[1].label("diag_ara.uds_code"),
                         "uds_code: failurePreventsExecutionOfRequestedAction (38)")
        self.assertEqual([frame.show("someip.messagetype") for frame in answers[:2]], ["0x80", "0x81"])

    def test_the_vehicle_takes_its_adaptations_from_scapy(self):
        get_values, notify = 3, 1

        def value(question):
            if question.method_id != get_values:
                return answer(question, b"", "ERROR", SOMEIP.RET_E_UNKNOWN_METHOD)
            _, length, record = (int.from_bytes(payload(question)[at:at + 4], "big") for at in (0, 4, 8))
            return answer(question, array(record.to_bytes(4, "big")) + bytes(4)) if length == 4 else None

        hashes = bytes.fromhex("0000001A 00000016 2000 00000000 2001 00000000 3002 0123456789ABCDEF")
        event = SOMEIP(srv_id=DATA_SERVICE, sub_id=1, event_id=notify, session_id=1, iface_ver=3,
                       msg_type="NOTIFICATION") / Raw(hashes)
        address = fresh_address()
        with Service(address, DATA_SERVICE, (3, 1), value, event), Vehicle({}, address=address) as vehicle:
            vehicle.says("data service found (service 1)")
            vehicle.command("adaptation 149")
            vehicle.says("adaptation 149: 4 bytes 00 00 0A 50 (transaction ")


if __name__ == "__main__":
    unittest.main()
