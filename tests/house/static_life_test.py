#!/usr/bin/env python3
"""What the libraries destroy at the end of the process: nothing that a thread may still use."""
import os
import re
import subprocess
import unittest

# What may end then, and why.
ALLOWED = {
    "PRODUCT": {
        "zvg::val::diag_ara::DiagAraService::unload": "ends the bridge's components; the bridge itself stays",
    },
    "PLATFORM_COM": {},
    "PLATFORM_LOG": {
        "ara::log::Log_core::instance()::flushAtExit": "writes out what is queued, and frees nothing",
        "an object of atexit, by a function": "Dlt_target::end: no line reaches libdlt once that is gone; it frees nothing",
    },
}

FUNCTION = re.compile(r"^[0-9a-f]+ <(.*)>:$")
ADDRESS = re.compile(r"\s(?:lea|mov)\s.*,%r(di|si)\s+# [0-9a-f]+ <(.*)>$")
CALL = re.compile(r"\s(?:call|jmp)\s+[0-9a-f]+ <(.*)>$")


def destroyed_at_exit(library):
    """The objects whose destruction the library's code asks for, by load or by first use: the second argument of each
    call of __cxa_atexit, or the function that calls where the argument does not show."""
    code = subprocess.run(["objdump", "--disassemble", "--demangle", "--no-show-raw-insn", library], check=True,
                          capture_output=True, text=True).stdout
    objects = set()
    function, arguments = "", {}
    for line in code.splitlines():
        if begin := FUNCTION.match(line):
            function, arguments = begin[1], {}
        elif address := ADDRESS.search(line):
            arguments[address[1]] = address[2]
        elif call := CALL.search(line):
            if call[1].startswith(("__cxa_atexit", "__cxa_thread_atexit")):
                unnamed = f"an object of {function}, by {arguments.get('di', 'a function')}"
                objects.add(arguments.get("si", unnamed).replace("[abi:cxx11]", ""))
            arguments = {}
    return objects


class StaticLife(unittest.TestCase):
    def test_nothing_is_destroyed_that_a_thread_may_still_use(self):
        for library, allowed in ALLOWED.items():
            with self.subTest(library=os.environ[library]):
                # As sets, so that a reader who finds nothing any more is noticed as well.
                self.assertEqual(destroyed_at_exit(os.environ[library]), set(allowed))


if __name__ == "__main__":
    unittest.main()
