"""A subscriber that shares no code with the project: finds a service, hears one of its eventgroups over UDP, and prints
each value. `python3 stranger.py ADDRESS PORT SERVICE EVENTGROUP`, where PORT is where the events go. Ends with its
standard input."""
import socket
import sys
import threading

import wire
from discovery import UDP, Discovery


def main(address, port, service, eventgroup):
    local = (address, int(port))
    with Discovery(address) as finder, socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as events:
        events.bind(local)
        threading.Thread(target=hear, args=(events,), daemon=True).start()
        finder.subscribe(finder.find(int(service)), int(eventgroup), local, UDP)
        sys.stdin.read()


def hear(events):
    while True:
        print("sample", wire.unpack(events.recv(65536)).payload.decode(), flush=True)


if __name__ == "__main__":
    main(*sys.argv[1:])
