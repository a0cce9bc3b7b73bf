#!/usr/bin/env python3
"""docs/wire.md: its commands do what it says, and its table is the manifest's."""
import json
import os
import pathlib
import re
import signal
import subprocess
import unittest

from capture import ROOT_IS_DANGEROUS, SLOW, mark
from vehicle import DEFAULT_MANIFEST, PATIENCE, TESTER, Vehicle, wait_until

PAGE = (pathlib.Path(__file__).resolve().parents[2] / "docs/wire.md").read_text()
COMMANDS = re.findall(r"^    \$ (.+)$", PAGE, re.M)
# What a line of tshark's says behind number, time, addresses, ports and session.
ABOUT = re.compile(r"(FunctionOnDemandVersionInfo Read .*|SOME/IP Protocol \(.*\))$", re.M)


class TheCommands(unittest.TestCase):
    def shell(self, command, **options):
        """A command of the page, at the vehicle's address, with a home folder of its own."""
        environment = dict(self.vehicle.environment, ARA_LOG_TARGET="none", HOME=str(self.vehicle.path),
                           PATH=f"{pathlib.Path(TESTER).parent}:{os.environ['PATH']}")
        environment.pop("XDG_CONFIG_HOME", None)
        command = command.replace("127.0.0.1", self.vehicle.address)
        return subprocess.Popen(f"exec env {command}" if "=" in command.split()[0] else f"exec {command}", shell=True,
                                cwd=self.vehicle.path, env=environment, text=True, **options)

    def done(self, command):
        process = self.shell(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        output, complaints = process.communicate(timeout=SLOW)
        complaints = complaints.replace(ROOT_IS_DANGEROUS, "").strip()
        self.assertEqual((process.returncode, complaints), (0, ""), command)
        return output

    def watched(self, command, is_enough, file=None):
        """What a command that captures prints, while `tester read 0x017D` is run until it has seen enough. All reads are
        whole in the `file` that it writes, if it writes one."""
        printed = self.vehicle.path / "printed.txt"
        with open(printed, "w", encoding="utf-8") as output:
            process = self.shell(command + " -l", stdout=output, stderr=subprocess.STDOUT)
        try:
            def reads():
                self.assertIsNone(process.poll(), printed.read_text())
                self.done("tester read 0x017D")
                return is_enough(printed.read_text())
            wait_until(reads, SLOW, lambda: f"{command}: {printed.read_text()}")
            if file:
                mark(file, self.vehicle.address)
        finally:
            process.send_signal(signal.SIGINT)
            process.wait(timeout=PATIENCE)
        return printed.read_text()

    def test_each_does_what_the_page_says(self):
        self.assertEqual(len(COMMANDS), 8)
        self.assertEqual(COMMANDS[2], "tester read 0x017D")
        profile, watch, _, bare, save, fields, detail, complaints = COMMANDS
        shown = ABOUT.findall(PAGE)
        self.assertGreater(len(shown), 4)
        with Vehicle() as self.vehicle:
            self.done(profile)
            for command, is_shown in ((watch, "Read"), (bare, "Protocol")):
                expected = {line for line in shown if is_shown in line}
                self.assertGreaterEqual(len(expected), 2)
                self.watched(command, lambda text: expected <= set(ABOUT.findall(text)))
            file = self.vehicle.path / "read.pcapng"
            request, reply = bytes.fromhex("017d00020000000c"), bytes.fromhex("04020107ea2f04b7")

            def has_a_whole_read(_):
                return file.exists() and reply in file.read_bytes().partition(request)[2]
            self.watched(save, has_a_whole_read, file)
            # The capture may have begun between a request and its reply, which then has no time.
            lines = self.done(fields).splitlines()
            for line in lines:
                self.assertRegex(line, r"^2026\t(\d+\.\d+)?$")
            self.assertRegex(lines[-1], r"^2026\t\d+\.\d+$")
            told = self.done(detail)
            for line in re.findall(r"^    ((?:    )?field_\d.*|Vehicle Diagnostics: .*)$", PAGE, re.M):
                self.assertIn(line, told)
            self.assertEqual(self.done(complaints), "")


class TheTable(unittest.TestCase):
    def test_it_is_the_manifests(self):
        rows = [line for line in PAGE.splitlines() if re.match(r"\| [A-Z].* \| .*0x.* \| tcp ", line)]
        self.assertEqual(len(rows), 5)
        manifest = json.loads(DEFAULT_MANIFEST.read_text())
        for service in manifest["services"]:
            service = manifest["defaults"] | service
            row, = [row for row in rows if service["service_id"] in row.split(" | ")[1]]
            with self.subTest(service=service["interface"]):
                endpoint = manifest["defaults"]["endpoint"] | service["endpoint"]
                self.assertIn(str(endpoint["port"]), row)
                self.assertIn(f"{service['version']['major']}.{service['version']['minor']}", row)
                for method in service["methods"]:
                    self.assertIn(f"{method['id']} {method['name']}", row)
                for event in service.get("events", []):
                    self.assertIn(f"{event['id']} {event['name']} in eventgroup {event['eventgroup']}", row)


if __name__ == "__main__":
    unittest.main()
