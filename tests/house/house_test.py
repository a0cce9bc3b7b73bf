#!/usr/bin/env python3
"""Rules of the tree: layout of the code, who may include whom, what the product exports."""
import concurrent.futures
import functools
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["BUILD_DIR"])

# Who may include whom, from the ground up. `registry/Components.h` (with the `Runnable` that it hands out) and
# `registry/DiagAraService.h` are the two ways up from core.
FLOORS = {
    "codec": ["codec"],
    "binding": ["binding", "platform/api"],
    "core": ["core", "codec", "platform/api", "registry/Components.h", "registry/Runnable.h",
             "registry/DiagAraService.h"],
    "registry": ["registry", "core", "codec", "platform/api"],
    "servers": ["servers", "registry", "core", "codec", "binding", "platform/api"],
    "client": ["client", "registry", "core", "codec", "binding", "platform/api"],
    "platform/report": ["platform/report", "platform/api"],
    "platform/com": ["platform/com", "platform/report", "platform/api"],
    "platform/log": ["platform/log", "platform/api"],
    "tools": ["tools", "codec", "binding", "platform/report", "platform/api"],
}
# The one file that names every component.
TABLES = "registry/Diag_Ara_Components_Services.cpp"


def tracked(*patterns):
    listing = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", *patterns], cwd=ROOT, check=True,
                             capture_output=True, text=True).stdout.split()
    return [name for name in listing if (ROOT / name).is_file()]


class Formatting(unittest.TestCase):
    def test_every_source_file_is_formatted(self):
        files = [name for name in tracked("*.h", "*.cpp") if not name.startswith("codec/golden/")]
        self.assertGreater(len(files), 50)
        run = subprocess.run(["clang-format-14", "--dry-run", "-Werror", *files], cwd=ROOT, capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, run.stderr[:4000])


class IncludeFloors(unittest.TestCase):
    def test_nobody_includes_what_stands_above(self):
        include = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<((?:ara|ac|eb)/[^>]+)>)', re.M)
        wrong = []
        for name in tracked("*.h", "*.cpp"):
            folder = next((f for f in FLOORS if name.startswith(f + "/")), None)
            if folder is None or name.endswith("_test.cpp") or "/test/" in name or "/testing/" in name:
                continue
            allowed = FLOORS[folder] + (["servers", "client"] if name == TABLES else [])
            for own, platform in include.findall((ROOT / name).read_text()):
                path = "platform/api/" + platform if platform else own
                if not any(path == a or path.startswith(a + "/") for a in allowed):
                    wrong.append(f"{name} includes {path}")
        self.assertEqual(wrong, [])

    def test_the_product_includes_only_the_families_that_it_uses(self):
        # codec/codec.h would have all of it compiled again for the field of a record that it never sees.
        product = ("binding/", "core/", "registry/", "servers/", "client/")
        self.assertEqual([name for name in tracked("*.h", "*.cpp") if name.startswith(product)
                          and '"codec/codec.h"' in (ROOT / name).read_text()], [])

    def test_the_compiler_is_shown_no_more_than_that(self):
        for target, folder in {"codec": "codec", "binding": "binding", "core": "core", "registry": "registry",
                               "servers_did": "servers", "servers_routine": "servers", "servers_dtc": "servers",
                               "client": "client"}.items():
            view = BUILD / "sees" / target
            shown = {str(p.relative_to(view)) for p in view.rglob("*") if p.is_symlink()}
            self.assertTrue(shown, f"{target} has no view of the tree")
            self.assertLessEqual(shown, set(FLOORS[folder]))

    def test_files_are_not_longer_than_one_idea(self):
        long = [(n, count) for n in tracked("*.h", "*.cpp", "*.py", "*.java") if not n.startswith("codec/golden/")
                and (count := len((ROOT / n).read_text().splitlines())) > 520]
        self.assertEqual(long, [])


class HeadersCompileAlone(unittest.TestCase):
    """Each header is the first line of some translation unit: of the source file beside it, or of one made here, where
    only such headers stand before it as it includes itself."""

    FOLDERS = ["core", "registry", "servers", "client", "binding", "codec", "platform/com", "platform/log",
               "platform/api", "platform/report", "tools/tester"]

    def first_somewhere(self, header):
        for source in (header[:-2] + ".cpp", header[:-2] + "_test.cpp"):
            if (ROOT / source).is_file():
                first = re.search(r'^#include ["<](.+)[">]', (ROOT / source).read_text(), re.M)
                if first and first[1] in (header, header.removeprefix("platform/api/")):
                    return True
        return False

    def closures(self, headers):
        """What each header includes, and what that includes; headers of others by their names alone."""
        known = {header.removeprefix("platform/api/"): header for header in headers} | {h: h for h in headers}
        include = re.compile(r'^\s*#\s*include\s+["<]([^">]+)[">]', re.M)
        direct = {header: [known.get(name, name) for name in include.findall((ROOT / header).read_text())]
                  for header in headers}

        @functools.cache
        def closure(name):
            return frozenset().union(*({each} | closure(each) for each in direct.get(name, ())))
        return {header: closure(header) for header in headers}

    def units(self, headers, wanted):
        """Lists of headers such that each one follows only those that it includes, and its peers: those that include the
        same as it does, which are there in both orders. All that are wanted are in some list, and others that fit in."""
        closures = self.closures(headers)
        peers = {}
        for header in sorted(headers, key=lambda each: (len(closures[each]), each)):
            peers.setdefault(closures[header], []).append(header)
        left = list(peers.values())  # what includes comes behind what is included
        units = []
        while any(wanted & set(group) for group in left):
            chain = [next(group for group in reversed(left) if wanted & set(group))]
            left.remove(chain[0])
            while below := [group for group in left if closures[chain[0][0]].issuperset(group)]:
                chain.insert(0, below[-1])
                left.remove(below[-1])
            units.append([header for group in chain for header in group])
            if among_peers := [header for group in chain if len(group) > 1 for header in reversed(group)]:
                units.append(among_peers)
        return units

    def flags(self, folder):
        # Borrow the flags of a source file of the same folder: its include directories above all.
        commands = json.loads((BUILD / "compile_commands.json").read_text())
        for entry in commands:
            source = entry["file"]
            if re.match(rf"({ROOT}/{folder}/(?!.*_test\.cpp$)|{BUILD}/{folder}/CMakeFiles/(?!\w*_test\.dir))", source):
                words = shlex.split(entry["command"])
                words = words[next(i for i, w in enumerate(words) if w.startswith("-")):]
                keep, skip = [], False
                for word in words:
                    if skip:
                        skip = False
                    elif word in ("-o", "-c", "-MF", "-MT"):
                        skip = True
                    elif word != "-MD":
                        keep.append(word)
                return keep, entry["directory"]
        self.fail(f"no source file of {folder} in compile_commands.json")

    def test_each(self):
        headers = [header for folder in self.FOLDERS for header in tracked(f"{folder}/*.h")
                   if not header.startswith(("codec/golden/", "codec/oracle/")) and not re.search("/test(ing)?/", header)]
        wanted = {header for header in headers if not self.first_somewhere(header)}
        self.assertGreater(len(wanted), 20)
        units = self.units(headers, wanted)
        self.assertLessEqual(wanted, set().union(*units))
        flags = {folder: self.flags({"platform/api": "binding", "platform/report": "platform/com"}.get(folder, folder)) for folder in self.FOLDERS}

        def compile_alone(unit):
            options, directory = flags[next(folder for folder in self.FOLDERS if unit[-1].startswith(folder + "/"))]
            includes = [word for header in unit for word in ("-include", str(ROOT / header))]
            run = subprocess.run([os.environ["CXX"], *options, "-Wno-pragma-once-outside-header", "-fsyntax-only", "-x",
                                  "c++", *includes, "/dev/null"], cwd=directory, capture_output=True, text=True)
            return None if run.returncode == 0 else f"{', '.join(unit)}: {run.stderr[:600]}"

        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            broken = [text for text in pool.map(compile_alone, units) if text]
        self.assertEqual(broken, [])


class ExportedSymbols(unittest.TestCase):
    JNI = {f"Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_{name}"
           for name in ("register", "unregister", "write")}
    CODEC = re.compile(r"^(Pack|Unpack|PackedSizeOf|ToString|PackUnpackEnum)\w+\(.*\)$")

    PRIMITIVE = re.compile(r"^(Unp|P)ack(Uint(8|16|32|64)|Bool|(Uint(8|16|32)|Bool)Array)$")

    def symbols(self, *options):
        listing = subprocess.run([shutil.which("nm"), "-D", "-C", *options, os.environ["PRODUCT"]], check=True,
                                 capture_output=True, text=True).stdout
        return [line.split(maxsplit=2 if "--defined-only" in options else 1)[-1] for line in listing.splitlines()]

    def test_the_product_exports_three_jni_functions_and_the_codec_and_nothing_else(self):
        names = self.symbols("--defined-only")
        self.assertEqual({n for n in names if n.startswith("Java_")}, self.JNI)
        strangers = [n for n in names if n not in self.JNI and not self.CODEC.match(n)]
        self.assertEqual(strangers, [])
        for wanted in ("PackDiagmgrGetAdaptationReq(", "UnpackValDiagnosticsresponseInd(", "PackedSizeOftDiagCoding(",
                       "ToStringVALDiagnosticsResponse_t(", "PackUnpackEnumtControlParameterHasValue("):
            self.assertTrue(any(n.startswith(wanted) for n in names), wanted)

    def test_the_product_exports_every_function_of_the_agreed_catalogue(self):
        exported = {re.sub(r"\(.*", "", name) for name in self.symbols("--defined-only")} - self.JNI
        self.maxDiff = None
        self.assertEqual(sorted(self.agreed() - exported), [], "missing")
        self.assertEqual([n for n in sorted(exported - self.agreed()) if not self.PRIMITIVE.match(n)], [], "invented")

    def agreed(self):
        """The codec's functions by the list of what is agreed."""
        wanted = set()
        with open("codec/catalogue/agreed.txt", encoding="utf-8") as lines:
            for words in map(str.split, lines):
                kind, *names = words or [""]
                if kind == "enum":
                    wanted.add(f"PackUnpackEnum{names[0]}HasValue")
                elif kind == "message":
                    wanted |= {f"{verb}{names[1]}" for verb in ("Pack", "Unpack")} | self.record(names[2])
                elif kind in ("type", "nested"):
                    wanted |= self.record(names[0])
        return wanted

    def record(self, name):
        verbs = ["Pack", "Unpack", "PackedSizeOf"]
        if name.startswith(("VAL", "Val", "tVal")):  # the families' own records have no text form
            verbs.append("ToString")
        return {verb + name for verb in verbs}

    def test_the_product_needs_the_platform_by_its_sonames(self):
        dynamic = subprocess.run(["readelf", "-d", os.environ["PRODUCT"]], check=True, capture_output=True, text=True).stdout
        needed = set(re.findall(r"NEEDED.*\[(.+)\]", dynamic))
        self.assertLessEqual({"libara_com.so.0", "libaralog.so.1", "libdltproxy.so.1"}, needed)
        self.assertIn("NODELETE", dynamic)


if __name__ == "__main__":
    unittest.main()
