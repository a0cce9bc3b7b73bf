"""A SOME/IP client of its own kind: sockets and struct, nothing of the project's code.

Frames follow the published SOME/IP protocol: a 16-byte header (service, method, length, client, session,
protocol version, interface version, message type, return code), all big-endian, then the payload.
"""
import socket
import struct
from dataclasses import dataclass, replace

HEADER = struct.Struct(">HHIHHBBBB")
REQUEST, NOTIFICATION, RESPONSE, ERROR = 0x00, 0x02, 0x80, 0x81
SEGMENT = 0x20  # flag of the type: a second header of four bytes with offset and more-segments flag (SOME/IP-TP)
CANCEL, READ = 1, 2
PATIENCE = 60.0  # seconds for a message that has to come
EMPTY_MAP = bytes(4)


@dataclass
class Message:
    service: int
    method: int
    session: int
    type: int
    return_code: int
    payload: bytes
    client: int = 0x7E57
    interface: int = 2
    protocol: int = 1
    length: int | None = None  # None: what the payload asks for

    def pack(self):
        length = 8 + len(self.payload) if self.length is None else self.length
        return HEADER.pack(self.service, self.method, length, self.client, self.session, self.protocol, self.interface,
                           self.type, self.return_code) + self.payload


def request(service, method, payload=EMPTY_MAP, session=1, **changes):
    return Message(service, method, session, REQUEST, 0, payload, **changes)


def unpack(frame):
    service, method, length, client, session, protocol, interface, kind, code = HEADER.unpack_from(frame)
    assert length == len(frame) - 8, f"length field says {length}, the frame has {len(frame) - 8}"
    return Message(service, method, session, kind, code, frame[16:], client, interface, protocol)


class Carrier:
    """A socket that speaks SOME/IP; closed at the end of its `with`."""

    def __init__(self, opened, timeout):
        self.socket = opened
        self.socket.settimeout(timeout)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, message):
        self.socket.sendall(message.pack() if isinstance(message, Message) else message)

    def call(self, message):
        self.send(message)
        return self.receive()

    def local(self):
        """This end's address and port."""
        return self.socket.getsockname()


class Tcp(Carrier):
    def __init__(self, address, port, timeout=PATIENCE):
        super().__init__(socket.create_connection((address, port), timeout), timeout)

    def _exactly(self, count):
        data = b""
        while len(data) < count:
            piece = self.socket.recv(count - len(data))
            if not piece:
                raise ConnectionError("the peer closed the connection")
            data += piece
        return data

    def receive(self):
        head = self._exactly(8)
        return unpack(head + self._exactly(struct.unpack(">I", head[4:])[0]))


class Udp(Carrier):
    def __init__(self, address, port, timeout=PATIENCE):
        super().__init__(socket.socket(socket.AF_INET, socket.SOCK_DGRAM), timeout)
        self.socket.bind(("127.0.0.1", 0))
        self.socket.connect((address, port))

    def receive(self):
        """The next message, put together if it comes in segments."""
        message = unpack(self.socket.recv(65536))
        if not message.type & SEGMENT:
            return message
        payload, more = b"", True
        while more:
            word, = struct.unpack_from(">I", message.payload)
            assert word & 0xFFFFFFF0 == len(payload), f"a segment at {word & 0xFFFFFFF0} follows {len(payload)} bytes"
            assert len(message.payload) <= 4 + 1392, f"a segment of {len(message.payload)} bytes"
            payload += message.payload[4:]
            more = word & 1
            if more:
                head, message = message, unpack(self.socket.recv(65536))
                assert replace(head, payload=b"") == replace(message, payload=b""), "all segments have one header"
        return replace(message, type=message.type & ~SEGMENT, payload=payload)
