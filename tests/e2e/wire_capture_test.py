#!/usr/bin/env python3
"""Other people's tools see what the vehicle says: captures of real traffic, and of what should never be."""
import json
import os
import pathlib
import subprocess
import tempfile
import unittest

import discovery
import wire
from adaptation_test import is_found
from data_service import RECORDS, VALUES, DataService
from capture import Capture, Tshark, write_datagrams
from trouble_code_test import CODES, MONITOR, Watch
from vehicle import DEFAULT_MANIFEST, PATIENCE, PORT, TESTER, UNHURRIED, Vehicle

IDENTIFIERS = {0xB047, 0x15FE, 0x15FD, 0x017D, 0x488C, 0x488B, 0x117C, 0x117E, 0x117D, 0x0235, 0x0234, 0x54DC, 0x54DE,
               0x54DF}
ROUTINES = (0x0687, 0x0688, 0x0689, 0x068A)
DATA_SERVICE = 0x0DDD
REQUEST, REPLY, ERROR = "0x00", "0x80", "0x81"
UDS_SERVICE_FAILED = 2
FAILURE_PREVENTS_EXECUTION = 0x26


def prefix(service):
    kind = "r" if service in ROUTINES else "d"
    return f"diag_ara.{kind}_{service:04x}"


def of(frames, service, method, kind):
    return [frame for frame in frames if (service, method) in frame.messages()
            and frame.shows("someip.messagetype") == [kind]]


def is_discovery(frame):
    """Discovery's own messages, or what passes between the processes of one address for them."""
    return any(service == discovery.SERVICE for service, _ in frame.messages())


class EverythingTheVehicleSays(unittest.TestCase):
    """One capture of a vehicle that is read, whose routines run, whose trouble codes change and that asks for its
    adaptations."""

    @classmethod
    def setUpClass(cls):
        with Vehicle() as vehicle:
            with Capture(vehicle.path, vehicle.address) as capture, DataService(vehicle):
                is_found(vehicle)
                cls.read = vehicle.read_json(*UNHURRIED, "read", "all")[1]
                vehicle.read_json("routine", "start", "all")
                cls.results = vehicle.read_json("routine", "results", "all")[1]
                vehicle.read_json("routine", "stop", "all")
                vehicle.read_json("cancel", "0xB047")
                with Watch(vehicle) as watch:
                    watch.is_subscribed()
                    vehicle.command("dtc 8495840 failed")
                    watch.sees((8495840, "failed"))
                    vehicle.command("dtc 8495842 passed")
                    watch.sees((8495840, "failed"), (8495842, "passed"))
                    vehicle.tester("--timeout", str(1000 * PATIENCE), "dtc", "init", "8495840", "--reason", "restart")
                    watch.sees((8495840, "failed"), (8495842, "passed"), (8495840, "failed"))
                vehicle.command("adaptation-set all")  # it comes behind the first reading of all
                vehicle.says("     316: ")
            tshark = Tshark(vehicle.path / "home", "--address", vehicle.address)
            cls.frames = tshark.frames(capture.path)
            cls.discovery = set(tshark.run("-r", capture.path, "-Y", "someipsd", "-T", "fields", "-e",
                                           "_ws.col.Info").splitlines())
        # A read that meets the answer of another one has no reply, and is asked again.
        cls.repeated = {int(row["id"], 16) for row in cls.read["results"] if row["attempts"] > 1}

    def is_excused(self, frame):
        """Whether the request may have no reply: it was repeated, or the data service ended meanwhile."""
        (service, method), = frame.messages()
        last = of(self.frames, DATA_SERVICE, 3, REQUEST)[-1]
        return service in self.repeated and method == wire.READ or frame is last

    def test_every_frame_is_understood_and_none_is_malformed(self):
        understood = {"geninfo", "frame", "eth", "ip", "udp", "tcp", "someip", "someipsd", "diag_ara", "diag_ara_calls",
                      "fake-field-wrapper"}
        self.assertGreater(len(self.frames), 200)
        for frame in self.frames:
            self.assertLessEqual(set(frame.protocols), understood, frame)
            if frame.shows("tcp.len") != ["0"]:
                self.assertIn("someip", frame.protocols, frame)
            malformed = [name for name in frame.fields
                         if name.startswith("_ws.malformed") or name in ("diag_ara.malformed", "diag_ara.surplus")]
            self.assertEqual(malformed, [], frame)
            if "diag_ara.unanswered" in frame:
                self.assertTrue(self.is_excused(frame), frame)
                continue  # that is an expert's group of its own
            groups = {field.get("showname") for field in frame.fields.get("_ws.expert.group", [])}
            self.assertLessEqual(groups, {"Group: Sequence"}, frame)  # the beginning and end of TCP connections

    def test_every_payload_is_taken_apart(self):
        for frame in self.frames:
            if "someip" in frame.protocols and not is_discovery(frame):
                lengths = [int(show) for show in frame.shows("someip.length")]
                self.assertEqual(frame.protocols.count("diag_ara"), sum(length > 8 for length in lengths), frame)
                self.assertEqual(frame.protocols.count("diag_ara_calls"), len(lengths), frame)

    def test_every_message_has_names(self):
        for frame in self.frames:
            services = sum(service != discovery.SERVICE for service, _ in frame.messages())
            self.assertEqual(len(frame.shows("someip.servicename")), services, frame)
            self.assertEqual(len(frame.shows("someip.methodname")), services, frame)
            self.assertEqual(len(frame.shows("someipsd.entry.servicename")),
                             len(frame.shows("someipsd.entry.serviceid")), frame)
            self.assertEqual(len(frame.shows("someipsd.entry.eventgroupname")),
                             len(frame.shows("someipsd.entry.eventgroupid")), frame)

    def test_the_fourteen_replies_are_what_the_tester_says_field_by_field(self):
        self.assertEqual({int(row["id"], 16) for row in self.read["results"]}, IDENTIFIERS)
        for row in self.read["results"]:
            service = int(row["id"], 16)
            with self.subTest(identifier=row["id"]):
                reply = of(self.frames, service, wire.READ, REPLY)[-1]
                self.assertEqual(row["outcome"], "ok")
                for field in row["fields"]:
                    path = f"{prefix(service)}.field_{field['position']}"
                    self.assertEqual(reply.raw(path), field["raw"])
                    if field["number"] is not None:
                        self.assertEqual(reply.number(path), field["number"])
                    self.assertEqual(reply.shows(path + ".text"), [field["text"]] if field["text"] else [])
                    entries = [each.get("value") for each in reply.fields.get(path + ".entry", [])]
                    self.assertEqual(len(entries), field["entries"] or 0)
                    if entries:
                        self.assertEqual("".join(entries), field["raw"])
                known = {name for name in reply.fields if name.startswith("diag_ara.d_") and name.count(".") == 2}
                self.assertEqual(len(known), len(row["fields"]))

    def test_routines_are_started_asked_and_stopped(self):
        for row in self.results["results"]:
            service = int(row["id"], 16)
            with self.subTest(routine=row["id"]):
                reply, = of(self.frames, service, 2, REPLY)
                self.assertEqual(reply.number(prefix(service) + ".status"), row["status"])
                self.assertEqual(reply.number(prefix(service) + ".result"), row["result"])
                self.assertEqual(reply.raw(prefix(service) + ".field_1"), row["raw"])
                for method, name in ((3, "Start"), (4, "Stop")):
                    request, = of(self.frames, service, method, REQUEST)
                    self.assertEqual(request.show("someip.methodname"), name)
                    self.assertIn("diag_ara.meta", request)
                    self.assertEqual(request.show("diag_ara.reply_in"),
                                     of(self.frames, service, method, REPLY)[0].show("frame.number"))

    def test_trouble_codes_are_told_with_their_states(self):
        events = of(self.frames, MONITOR, 0x8001, "0x02")
        told = [(event.number("diag_ara.monitor.code"), event.label("diag_ara.monitor.state")) for event in events]
        failed = (CODES[1], "state: failed (1)")
        self.assertEqual(told, [failed, (CODES[3], "state: passed (0)"), failed])
        request, = of(self.frames, MONITOR, 1, REQUEST)
        self.assertEqual(request.number("diag_ara.monitor.code"), CODES[1])
        self.assertEqual(request.number("diag_ara.monitor.reason"), 1)

    def test_adaptations_are_told_with_records_and_values(self):
        by_number = {frame.show("frame.number"): frame for frame in self.frames}
        told = {}
        for reply in of(self.frames, DATA_SERVICE, 3, REPLY):
            request = by_number[reply.show("diag_ara.request_in")]
            self.assertEqual(request.number("diag_ara.data_service.name_space"), 0)
            self.assertEqual(reply.number("diag_ara.data_service.result_code"), 0)
            told[request.number("diag_ara.data_service.record")] = reply.raw("diag_ara.data_service.data")
        self.assertEqual(told, {RECORDS[i]: bytes.fromhex(VALUES[i]).hex() for i in RECORDS})
        hashes = of(self.frames, DATA_SERVICE, 0x8001, "0x02")
        self.assertTrue(hashes)
        self.assertGreater(hashes[0].number("diag_ara.data_service.hash.hash_value"), 0)

    def test_discovery_shows_every_offer_and_subscription(self):
        offered, subscribed = set(), set()
        for frame in self.frames:
            kinds = [int(show, 0) for show in frame.shows("someipsd.entry.type")]
            services = [int(show, 0) for show in frame.shows("someipsd.entry.serviceid")]
            for kind, service in zip(kinds, services):
                if kind == 1:
                    offered.add(service)
                elif kind == 7:
                    subscribed.add(service)
        self.assertLessEqual(IDENTIFIERS | set(ROUTINES) | {MONITOR, DATA_SERVICE}, offered)
        self.assertEqual(subscribed, {MONITOR, DATA_SERVICE})
        for line in ("subscribe DiagnosticDataDistribution", "acknowledge DiagnosticDataDistribution",
                     "offer DiagnosticDataDistribution, DataServiceControl"):
            self.assertIn(line, self.discovery)
        # A process of the vehicle's address knows most services before it asks.
        self.assertTrue([line for line in self.discovery if line.startswith("find ")], self.discovery)
        self.assertTrue([line for line in self.discovery if "DiagnosticMonitor 2" in line], self.discovery)


class ABadDay(unittest.TestCase):
    def test_errors_and_time_outs_are_shown_as_such(self):
        with Vehicle({0x017D: bytes(8)}) as vehicle:
            with Capture(vehicle.path, vehicle.address) as capture:
                self.assertEqual(vehicle.tester("--timeout", "300", "read", "0xB047").returncode, 1)
                with wire.Tcp(vehicle.address, PORT) as client:
                    for request, code in ((wire.request(0x017D, 0x7FFF, session=1), 3),
                                          (wire.request(0x017D, wire.READ, session=2, interface=9), 8),
                                          (wire.request(0x017D, wire.READ, b"\x00\x00\x00\x64", session=3), 0x80)):
                        self.assertEqual(client.call(request).return_code, code)
            frames = Tshark(vehicle.path / "home").frames(capture.path)
        asked = of(frames, 0xB047, wire.READ, REQUEST)
        self.assertEqual(len(asked), 2)
        for frame in asked:
            self.assertIn("diag_ara.unanswered", frame)
        errors = [frame for frame in frames if frame.shows("someip.messagetype") == [ERROR]]
        self.assertEqual([frame.number("someip.returncode") for frame in errors], [3, 8, 0x80])
        malformed = [frame for frame in frames if "diag_ara.malformed" in frame]
        self.assertEqual([frame.show("someip.sessionid") for frame in malformed], ["0x0003"])
        self.assertFalse([frame for frame in frames if "data" in frame.protocols or "_ws.malformed" in frame.protocols])

    def judged(self, folder, messages):
        path = pathlib.Path(folder) / "made.pcap"
        write_datagrams(path, [message.pack() for message in messages])
        frames = Tshark(folder).frames(path)
        self.assertEqual(len(frames), len(messages))
        return frames

    def test_a_reply_is_malformed_if_it_ends_anywhere_before_its_end_and_only_then(self):
        with tempfile.TemporaryDirectory(prefix="wire-") as folder, Vehicle() as vehicle:
            rows = vehicle.read_json(*UNHURRIED, "read", "all")[1]["results"]
            whole = [(int(row["id"], 16), bytes.fromhex(row["raw"])) for row in rows]
            cut = [(service, raw[:end], end == len(raw)) for service, raw in whole for end in range(len(raw) + 1)]
            frames = self.judged(folder, [wire.Message(service, wire.READ, 1, wire.RESPONSE, 0, payload)
                                          for service, payload, _ in cut])
            self.assertEqual(len(whole), 14)
            for frame, (service, payload, fits) in zip(frames, cut):
                self.assertEqual("diag_ara.malformed" not in frame, fits, f"0x{service:04X} {payload.hex()} {frame}")
            more = self.judged(folder, [wire.Message(service, wire.READ, 1, wire.RESPONSE, 0, raw + b"\x07")
                                        for service, raw in whole])
            for frame in more:
                self.assertEqual((frame.raw("diag_ara.rest"), "diag_ara.malformed" in frame), ("07", False))

    def test_what_is_malformed_is_marked_where_its_field_would_be(self):
        version, hashes = bytes.fromhex("04020107"), bytes.fromhex("00000020 0000000A 2000 00000007 2001 0000")
        cases = [(wire.Message(0x017D, wire.READ, 1, wire.RESPONSE, 0, version), "field_4: malformed", 3, 1),
                 (wire.Message(0x017D, wire.READ, 2, wire.RESPONSE, 0, version[:3]), "field_4: malformed", 2, 1),
                 (wire.Message(0xB047, wire.READ, 3, wire.RESPONSE, 0, bytes(3)), "field_1.length: malformed", 0, 3),
                 (wire.Message(0xB047, wire.READ, 4, wire.RESPONSE, 0, bytes([0, 0, 0, 19]) + bytes(60)),
                  "field_1: malformed", 4, 19),
                 (wire.Message(DATA_SERVICE, 1, 5, wire.RESPONSE, 0, hashes, interface=3), "hash: malformed", 4, 14)]
        with tempfile.TemporaryDirectory(prefix="wire-") as folder:
            frames = self.judged(folder, [message for message, *_ in cases])
        headers = 20 + 8 + 16  # of IP, UDP and SOME/IP
        for frame, (_, label, position, size) in zip(frames, cases):
            with self.subTest(label=label, position=position):
                marked, = [field for field in frame.fields["_ws.lua.text"] if field.get("showname") == label]
                self.assertEqual((int(marked.get("pos")), int(marked.get("size"))), (headers + position, size))
                self.assertIsNotNone(marked.find(".//field[@name='diag_ara.malformed']"))

    def test_payloads_of_requests_errors_and_the_data_service(self):
        def text(characters):
            encoded = b"\xEF\xBB\xBF" + characters.encode() + b"\x00"
            return len(encoded).to_bytes(4, "big") + encoded

        pairs = text("reason") + text("workshop") + text("") + text("ü")
        # A known member, and unknown ones with length fields of one, two and four bytes.
        hashes = bytes.fromhex("00000020 0000001C 2000 00000007 5ABC 01 11 6ABC 0002 2222 7ABC 00000003 333333 0ABC 44")
        cases = {
            "request": wire.request(0xB047, wire.READ, len(pairs).to_bytes(4, "big") + pairs),
            "uds": wire.Message(0x0687, 3, 2, wire.ERROR, UDS_SERVICE_FAILED, bytes([FAILURE_PREVENTS_EXECUTION])),
            "hash": wire.Message(DATA_SERVICE, 1, 3, wire.RESPONSE, 0, hashes, interface=3),
            "records": wire.Message(DATA_SERVICE, 3, 4, wire.REQUEST, 0,
                                    bytes.fromhex("00000000 00000008 00000A50 00000C5F"), interface=3),
            "refusal": wire.Message(0x7E57, 1, 5, wire.ERROR, 0x20, b"no such record", interface=1),
            "state": wire.Message(MONITOR, 0x8001, 6, wire.NOTIFICATION, 0, b"\x07", interface=1),
            "other array": wire.Message(0xB047, wire.READ, 8, wire.RESPONSE, 0, bytes([0, 0, 0, 19]) + bytes(60)),
            "stranger": wire.Message(0x1234, 1, 7, wire.REQUEST, 0, b"whatever"),
        }
        with tempfile.TemporaryDirectory(prefix="wire-") as folder:
            seen = dict(zip(cases, self.judged(folder, list(cases.values()))))
        self.assertIn("expected length 20, received length 19", seen.pop("other array").show("_ws.expert.message"))
        for name, frame in seen.items():
            self.assertNotIn("diag_ara.malformed", frame, name)
        self.assertEqual(seen["request"].shows("diag_ara.meta.key"), ["reason", ""])
        self.assertEqual(seen["request"].shows("diag_ara.meta.value"), ["workshop", "ü"])
        self.assertEqual(seen["uds"].label("diag_ara.uds_code"),
                         "uds_code: failurePreventsExecutionOfRequestedAction (38)")
        self.assertEqual(seen["hash"].number("diag_ara.data_service.hash.name_space"), 7)
        self.assertEqual([each.get("value") for each in seen["hash"].fields["diag_ara.data_service.hash.unknown"]],
                         ["11", "2222", "333333", "44"])
        self.assertEqual(seen["records"].shows("diag_ara.data_service.record"), ["2640", "3167"])
        self.assertEqual(seen["refusal"].show("diag_ara.data_service_control.refusal"), "no such record")
        self.assertEqual(seen["state"].label("diag_ara.monitor.state"), "state: Unknown (7)")
        self.assertIn("someip.payload", seen["stranger"])
        self.assertNotIn("diag_ara", seen["stranger"].protocols)


class OverUdp(unittest.TestCase):
    def test_a_reply_in_segments_is_put_together(self):
        history = bytes(i % 251 for i in range(4083))
        with Vehicle({0x54DC: history, 0x017D: bytes(8)}, transport="udp") as vehicle:
            with Capture(vehicle.path, vehicle.address) as capture:
                self.assertEqual(vehicle.tester(*UNHURRIED, "read", "0x54DC", "0x017D").returncode, 0)
            manifest = vehicle.path / "manifest.json"
            frames = Tshark(vehicle.path / "home", "--manifest", manifest).frames(capture.path)
        frames = [frame for frame in frames if "udp" in frame.protocols]  # the others are between vehicle and tester
        for frame in frames:
            self.assertIn("someip", frame.protocols)
            self.assertNotIn("diag_ara.malformed", frame)
        told = [frame for frame in frames if "diag_ara.d_54dc.field_1" in frame]
        self.assertEqual({frame.raw("diag_ara.d_54dc.field_1") for frame in told}, {history.hex()})
        self.assertEqual(told[0].show("someip.tp.fragment.count"), "3")
        self.assertTrue([frame for frame in frames if "diag_ara.d_017d.field_1" in frame])


class TheTesterWritesTheProfile(unittest.TestCase):
    def test_it_follows_the_manifest(self):
        manifest = json.loads(DEFAULT_MANIFEST.read_text())
        row = next(row for row in manifest["services"] if row["service_id"] == "0x54DF")
        row.update(service_id="0x4444", methods=[{"name": "Cancel", "id": 7}, {"name": "Read", "id": 9}],
                   endpoint={"transport": "udp", "port": 40404})
        with tempfile.TemporaryDirectory(prefix="wire-") as folder:
            file = pathlib.Path(folder) / "car.json"
            file.write_text(json.dumps(manifest))
            capture = pathlib.Path(folder) / "made.pcap"
            write_datagrams(capture, [wire.Message(0x4444, 9, 1, wire.RESPONSE, 0, b"\0\0\0\2\x0A\x0B").pack()])
            frame, = Tshark(folder, "--manifest", file).frames(capture)
        self.assertEqual((frame.show("someip.servicename"), frame.show("someip.methodname")),
                         ("DataIdentifier_ParameterList", "Read"))
        self.assertEqual(frame.raw("diag_ara.d_54df.field_1"), "0a0b")

    def test_what_it_cannot_do_is_told(self):
        with tempfile.TemporaryDirectory(prefix="wire-") as folder:
            file = pathlib.Path(folder) / "file"
            file.write_text("{}")
            for arguments, code, told in ((["wireshark", file], 1, f"{file}/.config/wireshark/profiles/diag_ara"),
                                          (["--raw", "wireshark", folder], 2, "no raw form"),
                                          (["--manifest", file, "wireshark", folder], 2, str(file))):
                run = subprocess.run([TESTER, *arguments], capture_output=True, text=True, timeout=PATIENCE)
                self.assertEqual(run.returncode, code, run.stderr)
                self.assertIn(told, run.stderr)
            self.assertEqual(list(pathlib.Path(folder).iterdir()), [file])

    def test_it_names_the_files_for_programs(self):
        with tempfile.TemporaryDirectory(prefix="wire-") as folder:
            run = subprocess.run([TESTER, "--json", "wireshark"], env=dict(os.environ, HOME=folder), check=True,
                                 capture_output=True, text=True, timeout=PATIENCE)
            told = set(json.loads(run.stdout)["files"])
            self.assertEqual(told, {str(path) for path in pathlib.Path(folder).rglob("*") if path.is_file()})
            self.assertIn(f"{folder}/.local/lib/wireshark/plugins/diag_ara.lua", told)


if __name__ == "__main__":
    unittest.main()
