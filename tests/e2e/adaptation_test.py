#!/usr/bin/env python3
"""The four adaptations: Java asks, the data service changes, goes and comes back."""
import unittest

from data_service import VALUES, DataService
from vehicle import PATIENCE, Vehicle, wait_until

FOUND = "data service found (service 1)"


def size(value):
    count = len(value.split())
    return f"{count} byte{'' if count == 1 else 's'} {value}"


def says_often(vehicle, times, text):
    wait_until(lambda: vehicle.log().count(text) >= times, PATIENCE,
               lambda: f"the service prints {times} times '{text}'; its output so far:\n{vehicle.log()}")


def is_found(vehicle, times=1):
    says_often(vehicle, times, FOUND)


class Values(unittest.TestCase):
    def test_java_reads_each_alone_and_all_in_a_set(self):
        with Vehicle({}) as vehicle, DataService(vehicle):
            is_found(vehicle)
            vehicle.command("adaptation all")
            for adaptation, value in VALUES.items():
                vehicle.says(f"adaptation {adaptation}: {size(value)} (transaction ")
            vehicle.command("adaptation-set 149 105 255 312 316")
            vehicle.says(")\n" + "".join(
                f"     {i}: {size(VALUES[i]) if i in VALUES else 'no value'}\n" for i in (149, 105, 255, 312, 316)))

    def test_a_change_is_told_to_java_once_and_java_asks_for_the_value(self):
        with Vehicle({}) as vehicle, DataService(vehicle) as service:
            is_found(vehicle)
            vehicle.command("adaptation-set all")  # it comes behind the first reading of all
            vehicle.says("     316: " + size(VALUES[316]))
            for number in range(1, 4):
                service.tell("set", "2640", f"0000000{number}")
                vehicle.says(f"adaptation 149: 4 bytes 00 00 00 0{number} (transaction ")
            service.tell("set", "421", "02")
            vehicle.says("adaptation 312: 1 byte 02 (transaction ")
            # The field's first value may have come before the first reading, and everything been told as changed.
            self.assertIn(vehicle.log().count("adaptation 149 changed (status 0x00)"), (3, 4))
            self.assertIn(vehicle.log().count("adaptation 312 changed (status 0x00)"), (1, 2))
            self.assertLessEqual(vehicle.log().count(" changed "), 8)

    def test_a_record_that_is_not_answered_has_no_length_in_a_set(self):
        with Vehicle({}) as vehicle, DataService(vehicle) as service:
            is_found(vehicle)
            vehicle.command("adaptation 316")  # it comes behind the first reading of all
            vehicle.says("adaptation 316: " + size(VALUES[316]))
            service.tell("play", "3167", "silent")  # to a scan behind the first one as well
            vehicle.command("adaptation-set 149 255 312")
            vehicle.says(f")\n     149: {size(VALUES[149])}\n"
                         "     255: no length: timed out\n"
                         f"     312: {size(VALUES[312])}\n")


class DataServiceComesAndGoes(unittest.TestCase):
    def test_the_data_service_goes_and_comes_back(self):
        with Vehicle({}) as vehicle, DataService(vehicle) as service:
            for times in (1, 2, 3):
                is_found(vehicle, times)
                vehicle.command("adaptation 149")
                says_often(vehicle, times, "adaptation 149: 4 bytes 00 00 00 2A (transaction ")
                service.tell("play", "service", "gone")
                vehicle.command("adaptation 149")
                says_often(vehicle, times, "adaptation 149: no value (transaction ")
                service.tell("play", "service", "back")

    def test_the_data_service_may_be_there_first_and_be_killed(self):
        with Vehicle({}, starts=False) as vehicle, DataService(vehicle) as service:
            vehicle.start()
            is_found(vehicle)
            service.kill()
            service.start()
            is_found(vehicle, 2)
            vehicle.command("adaptation 255")
            vehicle.says("adaptation 255: " + size(VALUES[255]))

    def test_a_data_service_that_is_killed_and_started_again_at_once_is_found_each_time(self):
        with Vehicle({}) as vehicle, DataService(vehicle) as service:
            for life in range(1, 6):
                is_found(vehicle, life)
                service.kill()
                service.start()
            is_found(vehicle, 6)

    def test_what_is_fixed_is_answered_without_a_data_service(self):
        with Vehicle({}) as vehicle:
            for command, answer in (
                    ("dataset-version 190", 'dataset 190: version "----", flags false and false (transaction 1)'),
                    ("dataset 320 7", "dataset 320, segment 0: no data, flag true (transaction 2)"),
                    ("coding", "coding: status 2, 58 bytes of zeros"),
                    ("monitor-path 3", "monitor path: component 7, path 80 80 80 80 (transaction 3)"),
                    ("adaptation 149", "adaptation 149: no value (transaction 4)"),
                    ("adaptation 105", "adaptation 105: no value (transaction 5)")):
                vehicle.command(command)
                vehicle.says(answer)
            self.assertEqual(vehicle.stop()[0], 143)


if __name__ == "__main__":
    unittest.main()
