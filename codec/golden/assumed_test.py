"""An assumed layout is used by those alone who say so: the others don't compile, and are told why.

    python3 assumed_test.py SOURCE_FOLDER GENERATED_FOLDER COMPILER...
"""

import re
import subprocess
import sys
import unittest

SOURCE, GENERATED, *COMPILERS = sys.argv[1:]
FLAGS = ["-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Werror", "-fsyntax-only", "-x", "c++", "-",
         f"-I{SOURCE}", f"-I{GENERATED}"]
ACCEPT = "-DDIAG_ARA_ACCEPT_ASSUMED_LAYOUTS"
# Each way to use one, and the record that the compiler has to name.
USES = {
    "VALSampleArrays_t record{};": "VALSampleArrays_t",
    "VALSampleArrays_t* record = nullptr; (void)record;": "VALSampleArrays_t",
    "PackVALSampleArrays_t(nullptr, nullptr, nullptr, nullptr);": "VALSampleArrays_t",
    "UnpackVALSampleArrays_t(nullptr, nullptr, nullptr, nullptr);": "VALSampleArrays_t",
    "PackedSizeOfVALSampleArrays_t(nullptr, nullptr);": "VALSampleArrays_t",
    "ToStringVALSampleArrays_t(nullptr, nullptr, 0);": "VALSampleArrays_t",
    "tValSampleArraysIndds record{};": "VALSampleArrays_t",
    "PacktValSampleArraysIndds(nullptr, nullptr, nullptr, nullptr);": "VALSampleArrays_t",
    "ToStringtValSampleArraysIndds(nullptr, nullptr, 0);": "VALSampleArrays_t",
    "UnpackValSampleArraysInd(nullptr, nullptr, nullptr);": "VALSampleArrays_t",
    "tSampleGuessds record{};": "tSampleGuessds",
    "PackSampleGuess(nullptr, nullptr, 0, nullptr);": "tSampleGuessds",
}
AGREED = "tSampleHolderds record{}; (void)record; tSampleTokends token{}; (void)token; return ValSampleArraysIndId == SampleGuessId;"

# Agreed to the byte, under names of ours.
NAMES_ASSUMED = " ".join(
    f"{{ {record} record{{}}; (void)record; }}"
    for record in ("tDiagmgrSetEventds", "tDiagmgrDatasetCheckIndds", "tDiagmgrPutDatasetReqds", "tDiagmgrPutDatasetRespds",
                   "tDiagmgrPutDatasetTransferexitIndds", "tDiagmgrJavaControlMonitorPathIndds"))


def compile_with(compiler, headers, body, *options):
    """The compiler's complaints, empty if it has none."""
    code = "".join(f'#include "{each}"\n' for each in headers) + f"int use() {{ {body} return 0; }}\n"
    run = subprocess.run([compiler, *FLAGS, *options], input=code, capture_output=True, text=True, check=False)
    assert bool(run.stderr) == (run.returncode != 0), run.stderr
    return run.stderr


class AssumedLayouts(unittest.TestCase):
    def for_every_compiler(self, check):
        for compiler in COMPILERS:
            with self.subTest(compiler):
                check(compiler)

    def test_every_header_can_be_included_and_what_is_agreed_be_used(self):
        def check(compiler):
            self.assertEqual(compile_with(compiler, ["codec/codec.h"], NAMES_ASSUMED), "")
            self.assertEqual(compile_with(compiler, ["codec/golden/codec.h"], AGREED), "")
        self.for_every_compiler(check)

    def test_whoever_uses_an_assumption_is_told_its_record_and_what_to_do(self):
        def check(compiler):
            for body, record in USES.items():
                said = compile_with(compiler, ["codec/golden/codec.h"], body)
                self.assertRegex(said, rf"error: .*\bthe layout of {re.escape(record)} is assumed", body)
                self.assertIn("define DIAG_ARA_ACCEPT_ASSUMED_LAYOUTS", said, body)
        self.for_every_compiler(check)

    def test_whoever_accepts_assumptions_uses_them(self):
        def check(compiler):
            everything = " ".join(f"{{ {body} }}" for body in USES)
            self.assertEqual(compile_with(compiler, ["codec/golden/codec.h"], everything, ACCEPT,
                                          "-Wno-nonnull", "-Wno-unused-variable"), "")
        self.for_every_compiler(check)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
