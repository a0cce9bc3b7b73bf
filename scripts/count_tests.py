#!/usr/bin/env python3
"""Prints "passed failed" for a CTest report and the folders of reports that its entries left.

A test that did not run (skipped, disabled, no report at all) counts as failed: nothing may be
missing without being told.
"""
import pathlib
import sys
import xml.etree.ElementTree as ET


def count(report):
    good = bad = 0
    for case in ET.parse(report).getroot().iter("testcase"):
        broken = case.get("status") not in (None, "run")
        broken = broken or any(case.find(kind) is not None for kind in ("failure", "error", "skipped"))
        good, bad = (good, bad + 1) if broken else (good + 1, bad)
    return good, bad


def main():
    ctest_report, folders = pathlib.Path(sys.argv[1]), [pathlib.Path(name) for name in sys.argv[2:]]
    if not ctest_report.exists():
        print("0 1")
        return
    good, bad = count(ctest_report)
    for report in (file for folder in folders for file in folder.glob("*.xml")):
        more_good, more_bad = count(report)
        good, bad = good + more_good, bad + more_bad
    print(good, bad)


if __name__ == "__main__":
    main()
