"""What passes the loopback interface: caught by dumpcap, taken apart by tshark with the tester's profile.

A capture sees one address alone, so that tests may run side by side. Needs root or CAP_NET_RAW.
"""
import os
import pathlib
import signal
import socket
import struct
import subprocess
import time
import xml.etree.ElementTree as ET

from vehicle import PATIENCE, TESTER, wait_until

# Seconds for a program that starts others, reads hundreds of files and computes for seconds: on a machine with much else
# to do each of its processes waits for its turn, again and again.
SLOW = 4 * PATIENCE
DISCARD = 9  # udp: nobody listens there
PROFILE = "diag_ara"
ROOT_IS_DANGEROUS = 'Running as user "root" and group "root". This could be dangerous.'


def mark(path, address, check=lambda: None):
    """Sends a datagram to the discard port until it is in the capture file, and with it all that came before."""
    marker = f"marker {time.monotonic_ns()}".encode()

    def arrived():
        check()
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as udp:  # again, as nobody may be listening yet
            udp.sendto(marker, (address, DISCARD))
        return path.exists() and marker in path.read_bytes()

    wait_until(arrived, SLOW, f"{path} holds a datagram that was sent")


class Capture:
    """Catches everything to and from `address` while its `with` lasts, apart from the kernel's "port unreachable". It
    begins and ends with a datagram to the discard port that has to be in it, so that nothing in between is missed."""

    def __init__(self, folder, address):
        self.path = pathlib.Path(folder) / "wire.pcapng"
        self.log = pathlib.Path(folder) / "dumpcap.log"
        self.address = address
        self.process = None

    def __enter__(self):
        with open(self.log, "w", encoding="utf-8") as log:
            self.process = subprocess.Popen(
                ["dumpcap", "-q", "-i", "lo", "-f", f"host {self.address} and not icmp", "-w", self.path], stderr=log)
        try:
            self._marks()
        except BaseException:
            self._end()
            raise
        return self

    def __exit__(self, failed, *_):
        try:
            if not failed:
                self._marks()
        finally:
            self._end()

    def _marks(self):
        def runs():
            assert self.process.poll() is None, f"dumpcap ended: {self.log.read_text()}"

        mark(self.path, self.address, runs)

    def _end(self):
        self.process.send_signal(signal.SIGINT)
        try:
            self.process.wait(timeout=PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()


class Frame:
    """A frame as tshark tells it: its protocols, and each field by its name with all of its values."""

    def __init__(self, packet):
        self.protocols = [proto.get("name") for proto in packet.findall("proto")]
        self.fields = {}
        for field in packet.iter("field"):
            self.fields.setdefault(field.get("name"), []).append(field)

    def __contains__(self, name):
        return name in self.fields

    def shows(self, name):
        return [field.get("show") for field in self.fields.get(name, [])]

    def _one(self, name):
        fields = self.fields.get(name, [])
        assert len(fields) == 1, f"{name}: {len(fields)} times in {self}"
        return fields[0]

    # Of a field that is there once: the value, as a number, as bytes in hex digits, and as a person sees it.

    def show(self, name):
        return self._one(name).get("show")

    def number(self, name):
        return int(self.show(name), 0)

    def raw(self, name):
        return self._one(name).get("value", "")

    def label(self, name):
        return self._one(name).get("showname")

    def messages(self):
        """Service and method of each SOME/IP message."""
        return [divmod(int(show, 0), 0x10000) for show in self.shows("someip.messageid")]

    def is_marker(self):
        return self.shows("udp.dstport") == [str(DISCARD)]

    def __repr__(self):
        return f"frame {self.shows('frame.number')} {self.protocols} {sorted(self.fields)}"


class Tshark:
    """tshark as a user has it who has written the profile to a home folder of his own."""

    def __init__(self, folder, *options):
        self.home = pathlib.Path(folder)
        subprocess.run([TESTER, *options, "wireshark", self.home], check=True, stdout=subprocess.DEVNULL)

    def run(self, *arguments):
        environment = dict(os.environ, HOME=str(self.home))
        environment.pop("XDG_CONFIG_HOME", None)
        run = subprocess.run(["tshark", "-C", PROFILE, *map(str, arguments)], env=environment, capture_output=True,
                             text=True, timeout=SLOW)
        complaints = [line for line in run.stderr.splitlines() if line != ROOT_IS_DANGEROUS]
        assert run.returncode == 0 and not complaints, f"{run.args} ends with {run.returncode}: {run.stderr}"
        return run.stdout

    def frames(self, path):
        """All frames, markers left out. Two passes, so that what has no reply is told."""
        document = ET.fromstring(self.run("-r", path, "-2", "-Y", "frame", "-T", "pdml"))
        frames = [frame for frame in map(Frame, document.findall("packet")) if not frame.is_marker()]
        broken = [frame for frame in frames if "_ws.lua.error" in frame]
        assert not broken, f"the dissector fails: {broken[0].shows('_ws.lua.error')} in {broken[0]}"
        return frames


def write_datagrams(path, datagrams, source=("127.0.0.1", 40000), destination=("127.0.0.1", 30509)):
    """A capture file of UDP datagrams, none of which was ever sent."""
    raw_ip = 101
    with open(path, "wb") as file:
        file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 0x10000, raw_ip))
        for index, datagram in enumerate(datagrams):
            udp = struct.pack(">HHHH", source[1], destination[1], 8 + len(datagram), 0) + datagram
            ip = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 20 + len(udp), 0, 0, 64, 17, 0, socket.inet_aton(source[0]),
                             socket.inet_aton(destination[0])) + udp
            file.write(struct.pack("<IIII", index, 0, len(ip), len(ip)) + ip)
