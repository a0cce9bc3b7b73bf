#!/usr/bin/env python3
"""A stack of another make that only listens, and minds what such a stack minds: discovery_listener.py ADDRESS [GROUP]

Every discovery message that arrives at its port 30490, or at the group there, is a line of JSON on its output. Ends with
its input.
"""
import json
import select
import socket
import struct
import sys
import time

PORT = 30490


def bound(address):
    opened = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    opened.bind((address, PORT))
    return opened


def message(frame, peer, by_group):
    service_method, length, _, session, _, _, _, _ = struct.unpack_from(">IIHHBBBB", frame)
    assert (service_method, length) == (0xFFFF8100, len(frame) - 8), frame.hex()
    payload = frame[16:]
    entries, = struct.unpack_from(">I", payload, 4)
    offers = []
    for at in range(8, 8 + entries, 16):
        kind, _, _, _, service, instance, major_ttl, _ = struct.unpack_from(">BBBBHHII", payload, at)
        if kind == 1:
            offers.append([service, instance, major_ttl & 0xFFFFFF])
    return {"at": time.monotonic(), "from": list(peer), "group": by_group, "session": session,
            "reboot": bool(payload[0] & 0x80), "offers": offers}


def main(address, group=None):
    sockets = {bound(address): False}
    if group:
        member = bound(group)
        member.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP,
                          socket.inet_aton(group) + socket.inet_aton(address))
        sockets[member] = True
    print("listening", flush=True)
    while True:
        for ready in select.select([*sockets, sys.stdin], [], [])[0]:
            if ready is sys.stdin:
                return
            print(json.dumps(message(*ready.recvfrom(65536), sockets[ready])), flush=True)


if __name__ == "__main__":
    main(*sys.argv[1:])
