#!/usr/bin/env python3
"""scripts/demo.sh with the programs of this build: what it counts, and what it leaves behind."""
import os
import pathlib
import signal
import subprocess
import tempfile
import time
import unittest

from vehicle import PATIENCE, wait_until

ROOT = pathlib.Path(__file__).resolve().parents[2]
DEMO = ROOT / "scripts/demo.sh"
BUILD = pathlib.Path(os.environ["TESTER"]).parents[1]


class Demo(unittest.TestCase):
    def start(self, *options):
        return subprocess.Popen([DEMO, "--build", BUILD, *options], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True, start_new_session=True)

    def left_of(self, demo):
        """Processes of the demo's session that are still there."""
        left = []
        for entry in pathlib.Path("/proc").iterdir():
            try:
                fields = (entry / "stat").read_text().rpartition(")")[2].split()
            except OSError:
                continue
            if entry.name.isdigit() and int(fields[3]) == demo.pid and fields[0] != "Z":
                left.append(entry.name)
        return left

    def logs_of(self, demo):
        return ROOT / "build/demo" / str(demo.pid)

    def end(self, demo):
        output, _ = demo.communicate(timeout=5 * PATIENCE)
        # What the interrupt itself ends may take a moment.
        wait_until(lambda: not self.left_of(demo), PATIENCE, lambda: f"{self.left_of(demo)} end: {output}")
        return output

    def test_everything_is_seen_with_the_vehicle_there_first_and_last(self):
        seen = "demo: 14/14 data identifiers, 4/4 routines, 3/3 trouble codes, 4/4 adaptations"
        for options, more in (((), ""), (("--late-vehicle", "--doip"), ", 1/1 by DoIP")):
            with self.subTest(options=options):
                demo = self.start(*options)
                output = self.end(demo)
                self.assertEqual(demo.returncode, 0, output)
                self.assertEqual(output.splitlines()[-1], seen + more)
                self.assertFalse(self.logs_of(demo).exists())

    def test_an_interrupt_at_any_moment_leaves_nothing_behind(self):
        for moment in (0, 0.1, 0.4, "Data identifiers", "Routines", "Trouble codes", "Adaptations"):
            with self.subTest(moment=moment):
                demo = self.start()
                if isinstance(moment, str):
                    while line := demo.stdout.readline():
                        if line == f"== {moment}\n":
                            break
                    self.assertTrue(line, "the demo gets there")
                else:
                    time.sleep(moment)
                os.killpg(demo.pid, signal.SIGINT)  # as a terminal does
                output = self.end(demo)
                self.assertIn(demo.returncode, (0, 130, -signal.SIGINT), output)
                for log in self.logs_of(demo).glob("*"):
                    log.unlink()
                if self.logs_of(demo).exists():
                    self.logs_of(demo).rmdir()

    def test_wrong_arguments_are_told(self):
        for arguments, told in ((["--late"], "unknown argument '--late'"), (["--build"], "--build needs the folder"),
                                (["--build", "/nowhere"], "--build needs the folder")):
            run = subprocess.run([DEMO, *arguments], capture_output=True, text=True, timeout=PATIENCE)
            self.assertEqual(run.returncode, 2)
            self.assertIn(told, run.stderr)

    def test_without_scapy_the_gateway_is_not_shown_and_what_to_install_is_told(self):
        with tempfile.TemporaryDirectory(prefix="demo-") as folder:
            hidden = "No module named 'scapy'"
            (pathlib.Path(folder) / "scapy.py").write_text(f'raise ModuleNotFoundError("{hidden}")\n')
            run = subprocess.run([DEMO, "--doip", "--build", BUILD], env=dict(os.environ, PYTHONPATH=folder),
                                 capture_output=True, text=True, timeout=PATIENCE)
        self.assertEqual((run.returncode, run.stdout), (2, ""))
        self.assertIn("install Debian's python3-scapy", run.stderr)
        self.assertIn(hidden, run.stderr)


if __name__ == "__main__":
    unittest.main()
