#!/usr/bin/env python3
"""The gateway's frames: DoIP and UDS to tshark, without a profile's help."""
import unittest

from capture import Capture, Tshark
from doip_test import CODES, IDENTIFIERS, ROUTINES, Gateway, ask
from scapy.contrib.automotive.uds import UDS_DSC, UDS_RC, UDS_RDBI, UDS_RDTCI, UDS_TP
from vehicle import PATIENCE, UNHURRIED, Vehicle, wait_until

DOIP_PORT = 13400  # tshark knows it
DIAGNOSTIC_MESSAGE = 0x8001
UNKNOWN_IDENTIFIER, REQUEST_OUT_OF_RANGE, RESPONSE_PENDING = 0x1234, 0x31, 0x78


class TheGatewayOnTheWire(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with Vehicle() as vehicle:
            cls.raw = dict(zip(IDENTIFIERS, vehicle.tester(*UNHURRIED, "read", "--raw", *map(hex, IDENTIFIERS)).stdout.split()))
            with Capture(vehicle.path, vehicle.address) as capture, Gateway(vehicle, port=DOIP_PORT) as gateway:
                tester = gateway.connect()
                for identifier in [*IDENTIFIERS, UNKNOWN_IDENTIFIER]:
                    ask(tester, UDS_RDBI(identifiers=[identifier]))
                ask(tester, UDS_DSC(diagnosticSessionType=3))
                for routine in ROUTINES:
                    ask(tester, UDS_RC(routineControlType=1, routineIdentifier=routine))
                    ask(tester, UDS_RC(routineControlType=3, routineIdentifier=routine))
                vehicle.command(f"dtc {CODES[0]} failed")
                codes = UDS_RDTCI(reportType=2, DTCStatusMask=1)
                wait_until(lambda: len(bytes(ask(tester, codes))) > 3, PATIENCE, "the code has failed")
                ask(tester, UDS_TP(subFunction=0))
                tester.close()
            cls.frames = Tshark(vehicle.path / "home").frames(capture.path)
        cls.doip = [frame for frame in cls.frames if "doip" in frame.protocols]

    def test_every_frame_is_understood_and_none_is_malformed(self):
        for frame in self.frames:
            if frame.shows("tcp.len") != ["0"]:
                self.assertTrue({"someip", "doip"} & set(frame.protocols), frame)
            self.assertFalse({"data", "_ws.malformed"} & set(frame.protocols), frame)
            groups = {field.get("showname") for field in frame.fields.get("_ws.expert.group", [])}
            self.assertLessEqual(groups, {"Group: Sequence", "Group: Response"}, frame)
        for frame in self.doip:
            messages = [int(show, 0) for show in frame.shows("doip.type")].count(DIAGNOSTIC_MESSAGE)
            self.assertEqual(frame.protocols.count("uds"), messages, frame)

    def responses(self, service, identifier_field):
        """Positive responses of a service, by the identifier that they name."""
        found = {}
        for frame in self.doip:
            if frame.shows("uds.sid") == [service] and frame.shows("uds.reply") == ["0x01"] and identifier_field in frame:
                found.setdefault(frame.number(identifier_field), []).append(frame)
        return found

    def test_the_data_of_all_identifiers_is_seen(self):
        seen = self.responses("0x22", "uds.rdbi.data_identifier")
        self.assertEqual(set(seen), set(IDENTIFIERS))
        for identifier, frames in seen.items():
            self.assertEqual({frame.raw("uds.rdbi.data_record") for frame in frames}, {self.raw[identifier]})

    def test_routines_and_refusals_are_seen(self):
        self.assertEqual(set(self.responses("0x31", "uds.rc.identifier")), set(ROUTINES))
        refused = {(frame.number("uds.err.sid"), frame.number("uds.err.code"))
                   for frame in self.doip if "uds.err.code" in frame}
        # On a slow machine any of them may be pending for a while.
        self.assertEqual({(service, code) for service, code in refused if code != RESPONSE_PENDING},
                         {(0x22, REQUEST_OUT_OF_RANGE)})


if __name__ == "__main__":
    unittest.main()
