"""SOME/IP service discovery of its own kind, for a client that finds one service and subscribes to its events.

A discovery message is a notification of service 0xFFFF, method 0x8100. Its payload: flags and three zeros, the length
of the entries and the entries of 16 bytes, the length of the options and the options.
"""
import collections
import socket
import struct
import time
from dataclasses import dataclass

import wire
from vehicle import PATIENCE

PORTS = range(30490, 30506)  # the first is the vehicle's; a program at its address that has another hears its offers
SERVICE, METHOD = 0xFFFF, 0x8100
REBOOT_AND_UNICAST = 0xC0
FIND, OFFER, SUBSCRIBE, SUBSCRIBE_ACK = 0, 1, 6, 7
ENDPOINT = struct.Struct(">HBB4sBBH")  # length, type, reserved, address, reserved, protocol, port
IPV4_ENDPOINT = 4
TCP, UDP = 6, 17
FOR_EVER = 0xFFFFFF


@dataclass
class Offer:
    peer: tuple  # where its discovery listens
    service: int
    instance: int
    major: int
    minor: int
    ttl: int
    endpoints: dict  # protocol: (address, port)


class Discovery:
    """Listens at a port of the vehicle's address; closed at the end of its `with`."""

    def __init__(self, address):
        self.address = address
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.sessions = collections.Counter()  # by the peer that they count for
        for port in reversed(PORTS):
            try:
                self.socket.bind((address, port))
                break
            except OSError:
                continue
        else:
            raise OSError(f"no port of {PORTS} is free at {address}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def _send(self, peer, entry, option=b""):
        self.sessions[peer] += 1
        payload = (bytes([REBOOT_AND_UNICAST, 0, 0, 0]) + struct.pack(">I", len(entry)) + entry
                   + struct.pack(">I", len(option)) + option)
        message = wire.Message(SERVICE, METHOD, self.sessions[peer], wire.NOTIFICATION, 0, payload, client=0, interface=1)
        self.socket.sendto(message.pack(), peer)

    def _entries(self, seconds):
        """Each entry of the messages that come within this time: peer and session id, the 16 bytes, and its options."""
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            self.socket.settimeout(left)
            try:
                frame, peer = self.socket.recvfrom(65536)
            except TimeoutError:
                return
            message = wire.unpack(frame)
            assert (message.service, message.method, message.type) == (SERVICE, METHOD, wire.NOTIFICATION)
            length, = struct.unpack_from(">I", message.payload, 4)
            entries, rest = message.payload[8:8 + length], message.payload[8 + length:]
            assert struct.unpack_from(">I", rest) == (len(rest) - 4,), "the options end with the message"
            options = _options(rest[4:])
            for at in range(0, length, 16):
                entry = entries[at:at + 16]
                first, second, counts = entry[1], entry[2], entry[3]
                own = options[first:first + (counts >> 4)] + options[second:second + (counts & 15)]
                yield (peer, message.session), entry, own

    def find(self, service, instance=0xFFFF):
        """Asks until somebody offers the instance; gives the offer."""
        question = struct.pack(">BBBBHHII", FIND, 0, 0, 0, service, instance, 0xFF000000 | 3, 0xFFFFFFFF)
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            for port in PORTS:
                self._send((self.address, port), question)
            for (peer, _), entry, options in self._entries(1):
                kind, _, _, _, found, number, major_ttl, minor = struct.unpack(">BBBBHHII", entry)
                ttl = major_ttl & FOR_EVER
                if kind == OFFER and found == service and instance in (0xFFFF, number) and ttl:
                    return Offer(peer, found, number, major_ttl >> 24, minor, ttl, dict(options))
        raise AssertionError(f"nobody offers service 0x{service:04X} instance {instance} at {self.address}")

    def _ask(self, offer, eventgroup, local, protocol, ttl):
        entry = struct.pack(">BBBBHHIHH", SUBSCRIBE, 0, 0, 0x10, offer.service, offer.instance,
                            offer.major << 24 | ttl, 0, eventgroup)
        option = ENDPOINT.pack(9, IPV4_ENDPOINT, 0, socket.inet_aton(local[0]), 0, protocol, local[1])
        self._send(offer.peer, entry, option)

    def subscribe(self, offer, eventgroup, local, protocol=TCP, ttl=FOR_EVER):
        """Asks for an eventgroup, to arrive at `local`; gives the time to live that was granted, 0 for a refusal."""
        self._ask(offer, eventgroup, local, protocol, ttl)
        for _, answer, _ in self._entries(PATIENCE):
            kind, _, _, _, service, instance, major_ttl, _, group = struct.unpack(">BBBBHHIHH", answer)
            if (kind, service, instance, group) == (SUBSCRIBE_ACK, offer.service, offer.instance, eventgroup):
                return major_ttl & FOR_EVER
        raise AssertionError(f"no answer to a subscription within {PATIENCE} s")

    def unsubscribe(self, offer, eventgroup, local, protocol=TCP):
        self._ask(offer, eventgroup, local, protocol, 0)


def _options(data):
    """The options in their order: an endpoint as protocol and address, any other as a protocol of its own."""
    options, at = [], 0
    while at < len(data):
        length, kind = struct.unpack_from(">HB", data, at)
        if kind == IPV4_ENDPOINT:
            _, _, _, address, _, protocol, port = ENDPOINT.unpack_from(data, at)
            options.append((protocol, (socket.inet_ntoa(address), port)))
        else:
            options.append((f"type {kind}", None))
        at += 3 + length
    return options
