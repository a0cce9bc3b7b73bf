#!/usr/bin/env python3
"""How a JVM with the bridge in it may end, whatever is under way: with its own exit code, soon, and without a report."""
import concurrent.futures
import contextlib
import itertools
import os
import signal
import subprocess
import threading
import time
import unittest

import wire
from data_service import DataService
from vehicle import JAR, PATIENCE, PRODUCT_DIR, Vehicle, wait_until

LONGEST_END = 10  # seconds on a busy machine; docs/threads.md has the times of an idle machine
AT_A_TIME = 6  # most of what a cell does is to wait
PARAMETER_LIST = 0x54DF
REBUILD_PARAMETERS, START = 0x0687, 3

# Ways to end, and the exit code that each has.
WAYS = {"return": 0, "exit": 7, "halt": 9, "SIGTERM": 128 + signal.SIGTERM, "unregister": 5}


class Program:
    """A JVM with the bridge; `role` is what its Java side does. Nothing of it is left behind its `with`."""

    def __init__(self, vehicle, role):
        self.vehicle = vehicle
        environment = dict(vehicle.environment, MALLOC_PERTURB_="165")  # what is freed doesn't look alive
        if os.environ.get("JAVA_PRELOAD"):
            environment["LD_PRELOAD"] = os.environ["JAVA_PRELOAD"]
        self.output = open(vehicle.path / "program.out", "w", encoding="utf-8")
        self.errors = open(vehicle.path / "program.err", "w", encoding="utf-8")
        self.process = subprocess.Popen(
            ["java", "-Xmx64m", "-XX:+UseSerialGC", "-XX:TieredStopAtLevel=1", "-XX:ErrorFile=hs_err.log",
             "-XX:-CreateCoredumpOnCrash", f"-Djava.library.path={PRODUCT_DIR}:{os.environ['E2E_LIBRARIES']}",
             "-cp", f"{JAR}:{os.environ['E2E_JAR']}", "zvif.vehicle.services.val.e2e.EndOfProcess", role],
            env=environment, cwd=vehicle.path, stdin=subprocess.PIPE, stdout=self.output, stderr=self.errors,
            text=True, start_new_session=True)

    def text(self, name):
        return (self.vehicle.path / name).read_text(encoding="utf-8", errors="replace")

    def says(self, line, times=1):
        """`line` is "up", or the number of a message that came."""
        wait_until(lambda: self.text("program.out").splitlines().count(str(line)) >= times or self.process.poll() is not None,
                   PATIENCE, lambda: f"the program says {line}: {self.text('program.out')} {self.text('program.err')}")
        assert self.process.poll() is None, f"ended with {self.process.returncode}: {self.text('program.err')}"

    def end(self, way):
        """Gives what was wrong with the end, and the seconds that it took."""
        begin = time.monotonic()
        if way == "SIGTERM":
            self.process.send_signal(signal.SIGTERM)
        else:
            self.process.stdin.write(way + "\n")
            self.process.stdin.flush()
        try:
            code = self.process.wait(LONGEST_END)
        except subprocess.TimeoutExpired:
            return [f"still runs after {LONGEST_END} s"], LONGEST_END
        seconds = time.monotonic() - begin
        wrong = []
        if code != WAYS[way]:
            wrong.append(f"exit code {code} instead of {WAYS[way]}")
        if self.text("program.err"):
            wrong.append("it reports: " + self.text("program.err")[:3000])
        if (self.vehicle.path / "hs_err.log").exists():
            wrong.append("crash log: " + self.text("hs_err.log")[:3000])
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self.process.pid, signal.SIGKILL)
            wrong.append("a process of its group was left running")
        return wrong, seconds

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self.process.stdin.close()
        self.output.close()
        self.errors.close()


@contextlib.contextmanager
def again_and_again(step):
    """Does it in the background until the end of its `with`, or until the program has gone."""
    stop = threading.Event()

    def work():
        with contextlib.suppress(OSError):
            while not stop.is_set():
                step()
    thread = threading.Thread(target=work)
    thread.start()
    try:
        yield
    finally:
        stop.set()
        thread.join()


# What is under way: each has it so when it yields the program.

@contextlib.contextmanager
def nothing(vehicle):
    with Program(vehicle, "silent") as program:
        program.says("up")
        yield program


@contextlib.contextmanager
def pending_read(vehicle):
    with Program(vehicle, "silent") as program:
        program.says("up")
        with vehicle.client() as client:
            client.send(wire.request(PARAMETER_LIST, wire.READ))
            program.says(2349)
            yield program


@contextlib.contextmanager
def traffic(vehicle):
    with Program(vehicle, "answer") as program:
        program.says("up")
        with vehicle.client() as client:
            client.socket.settimeout(1)

            def read():
                with contextlib.suppress(TimeoutError):
                    client.call(wire.request(PARAMETER_LIST, wire.READ))
            with again_and_again(read):
                program.says(2349, 20)
                yield program


@contextlib.contextmanager
def waiting_routine(vehicle):
    with Program(vehicle, "silent") as program:
        program.says("up")
        with vehicle.client() as client:
            for routine in range(REBUILD_PARAMETERS, REBUILD_PARAMETERS + 4):
                client.send(wire.request(routine, START))
            program.says(665, 4)
            yield program


@contextlib.contextmanager
def silent_data_service(vehicle):
    with DataService(vehicle, faults=["all silent"]) as service, Program(vehicle, "silent") as program:
        program.says("up")
        service.says("[at 0s all silent]", 2)  # in force, and met by the client
        yield program


@contextlib.contextmanager
def scan(vehicle):
    with DataService(vehicle) as service, Program(vehicle, "silent") as program:
        program.says("up")
        service.says("answer", 4)  # the values at the beginning
        service.tell("play", "all", "silent")
        service.tell("set", "2640", "01")
        service.says("[all silent]", 2)
        yield program


@contextlib.contextmanager
def events(vehicle):
    with DataService(vehicle) as service, Program(vehicle, "silent") as program:
        program.says("up")
        numbers = itertools.count()
        replacement = vehicle.path / "records.new"

        def change():
            replacement.write_text(f"2640 = {next(numbers) % 256:02x}\n")
            replacement.replace(service.file)
            time.sleep(0.005)
        with again_and_again(change):
            program.says(548, 3)
            yield program


@contextlib.contextmanager
def java_writers(vehicle):
    with Program(vehicle, "write") as program:
        program.says("up")
        yield program


@contextlib.contextmanager
def native_writers(vehicle):
    with Program(vehicle, "native") as program:
        program.says("up")
        yield program


UNDER_WAY = (nothing, pending_read, traffic, waiting_routine, silent_data_service, scan, events, java_writers,
             native_writers)


def cell(work, way):
    with Vehicle(starts=False) as vehicle:
        try:
            with work(vehicle) as program:
                return program.end(way)
        except Exception as failed:  # pylint: disable=broad-except  # the others still count
            return [f"was not brought about: {failed!r}"], 0.0


class EndOfTheProcess(unittest.TestCase):
    def test_every_way_to_end_works_whatever_is_under_way(self):
        cells = list(itertools.product(UNDER_WAY, WAYS))
        with concurrent.futures.ThreadPoolExecutor(AT_A_TIME) as pool:
            results = list(pool.map(lambda one: cell(*one), cells))
        for (work, way), (wrong, seconds) in zip(cells, results):
            print(f"{work.__name__:20} {way:10} {seconds:5.2f} s  {'; '.join(wrong) or 'ok'}")
        for (work, way), (wrong, _) in zip(cells, results):
            with self.subTest(under_way=work.__name__, way=way):
                self.assertEqual(wrong, [])


class TheSample(unittest.TestCase):
    def test_ends_on_sigterm_with_its_code_while_the_data_service_is_silent(self):
        def run(_):
            with Vehicle({}, starts=False) as vehicle, DataService(vehicle, faults=["all silent"]) as service:
                vehicle.start()
                service.says("[at 0s all silent]", 2)  # in force, and met by the client
                return vehicle.stop()
        with concurrent.futures.ThreadPoolExecutor(AT_A_TIME) as pool:
            codes, seconds = zip(*pool.map(run, range(10)))
        print(" ".join(f"{one:.2f}" for one in sorted(seconds)), "s")
        self.assertEqual(codes, 10 * (128 + signal.SIGTERM,))
        self.assertLess(min(seconds), 2.0, "it would wait 3 s for a reply, and promises a second at leisure")


if __name__ == "__main__":
    unittest.main()
