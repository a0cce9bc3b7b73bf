"""The service that keeps the adaptation values, in a process of its own beside a vehicle."""
import subprocess

from vehicle import PATIENCE, TESTER, wait_until

RECORDS = {149: 2640, 255: 3167, 312: 421, 316: 1484}
VALUES = {149: "00 00 00 2A", 255: "64 65 2D 44 45", 312: "01", 316: "0A 0B 0C 0D 0E 0F"}


class DataService:
    """`tester data-service` in the background, for a vehicle; ended with its `with`. `faults` are in force from its
    start, a line each."""

    def __init__(self, vehicle, faults=()):
        self.vehicle = vehicle
        self.file = vehicle.path / "records.txt"
        self.file.write_text("".join(f"{RECORDS[i]} = {value}\n" for i, value in VALUES.items()))
        self.scenario = vehicle.path / "scenario.txt"
        self.scenario.write_text("".join(f"at 0s {fault}\n" for fault in faults))
        self.start()

    def start(self):
        self.output = open(self.vehicle.path / "data.log", "w", encoding="utf-8")
        self.process = subprocess.Popen([TESTER, "data-service", "--values", self.file, "--scenario", self.scenario],
                                        cwd=self.vehicle.path, env=dict(self.vehicle.environment, ARA_LOG_TARGET="none"),
                                        stdout=self.output, stderr=subprocess.STDOUT)
        self.says("offer")

    def log(self):
        return (self.vehicle.path / "data.log").read_text(encoding="utf-8")

    def says(self, text, times=1):
        wait_until(lambda: self.log().count(text) >= times, PATIENCE,
                   lambda: f"the data service prints {times} times '{text}': {self.log()}")

    def tell(self, *words):
        run = self.vehicle.tester("data-service", *words)
        assert run.returncode == 0, run.stdout + run.stderr

    def kill(self):
        self.process.kill()
        self.process.wait()
        self.output.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kill()
