#!/usr/bin/env python3
"""Whatever compiler and level of optimisation made it, the codec does the same with the same payloads."""

import argparse
import concurrent.futures
import difflib
import os
import pathlib
import random
import subprocess
import sys

BLOCK = 1000  # inputs behind one digest


def run(program, form, seed, first, count):
    done = subprocess.run([program, form, str(seed), str(first), str(count)], capture_output=True, check=False)
    if done.returncode != 0:
        sys.exit(f"{program} {form} {seed} {first} {count} ended with {done.returncode}: {done.stderr.decode()}")
    return done.stdout.decode().splitlines()


def explain(programs, digests, seed, count):
    """Every field in which two programs differ, of the first block in which any two do."""
    block = next(row for row, lines in enumerate(zip(*digests)) if len(set(lines)) > 1)
    first = block * BLOCK
    fields = [run(program, "fields", seed, first, min(BLOCK, count - first)) for program in programs]
    for program, lines in zip(programs[1:], fields[1:]):
        difference = difflib.unified_diff(fields[0], lines, programs[0], program, lineterm="", n=0)
        told = [named(fields[0], line) for line in difference]
        print("\n".join(told[:40]))


def named(lines, line):
    """A place in the difference with the input that it belongs to."""
    if not line.startswith("@@"):
        return line
    at = int(line.split()[1].split(",")[0][1:])
    return next(each for each in reversed(lines[:at]) if each.startswith("input "))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("programs", nargs="+", help="builds of codec/crosscheck/outcomes.cpp")
    parser.add_argument("--seed", type=int, default=random.getrandbits(32), help="default: another each time")
    parser.add_argument("--count", type=int, default=100000, help="inputs (default: %(default)s)")
    options = parser.parse_args()
    if len(options.programs) < 4:
        sys.exit("only one compiler was found when the build was configured: install clang-14 and configure again")

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        digests = list(pool.map(lambda program: run(program, "digest", options.seed, 0, options.count),
                                options.programs))
    names = ", ".join(pathlib.Path(program).name for program in options.programs)
    if any(lines != digests[0] for lines in digests):
        print(f"seed {options.seed}: not the same of all: {names}")
        explain(options.programs, digests, options.seed, options.count)
        sys.exit(1)
    if len(digests[0]) != -(-options.count // BLOCK):
        sys.exit(f"{len(digests[0])} digests of {options.count} inputs")
    print(f"seed {options.seed}: {options.count} payloads, the same of all: {names}")


if __name__ == "__main__":
    main()
