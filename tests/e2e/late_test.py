#!/usr/bin/env python3
"""A tester that is there before the vehicle, and one that stays while the vehicle goes and comes."""
import subprocess
import unittest

from vehicle import PATIENCE, TESTER, Vehicle


def waiting(vehicle, *arguments):
    """The tester in the background, with patience for a service that is still to come."""
    return subprocess.Popen([TESTER, "--wait", str(PATIENCE), *arguments], cwd=vehicle.path,
                            env=dict(vehicle.environment, ARA_LOG_TARGET="none"), stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True)


class VehicleStartsLater(unittest.TestCase):
    def run_before_the_vehicle(self, *arguments):
        with Vehicle(starts=False) as vehicle:
            tester = waiting(vehicle, *arguments)
            try:
                with self.assertRaises(subprocess.TimeoutExpired, msg="it waits for the vehicle"):
                    tester.wait(timeout=1)
                vehicle.start()
                output, _ = tester.communicate(timeout=3 * PATIENCE)
            finally:
                tester.kill()
                tester.wait()
            self.assertEqual(tester.returncode, 0, output)
            return output

    def test_all_data_identifiers_are_read(self):
        self.assertIn("14/14 data identifiers read", self.run_before_the_vehicle("read", "all"))

    def test_routines_are_started(self):
        rows = [line for line in self.run_before_the_vehicle("routine", "start", "all").splitlines()
                if line.startswith("0x068")]
        self.assertEqual([line.split()[-1] for line in rows], 4 * ["ok"], rows)

    def test_nobody_comes(self):
        with Vehicle(starts=False) as vehicle:
            run = vehicle.tester("--wait", "0.3", "read", "0x017D")
            self.assertEqual(run.returncode, 3, run.stdout + run.stderr)


if __name__ == "__main__":
    unittest.main()
