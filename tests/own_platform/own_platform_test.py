#!/usr/bin/env python3
"""What the product needs of its platform, and that it runs on another one.

`own_platform_test.py --update` writes the list of imported symbols anew."""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
HERE = pathlib.Path(__file__).resolve().parent
API = ROOT / "platform/api"
LIST = ROOT / "docs/platform-symbols.md"
ADAPTER = "binding/adapter/Platform_adapter.cpp"
BUILD = pathlib.Path(os.environ["BUILD_DIR"])
OWN = BUILD / "own_platform"
LIBRARIES = {"libara_com.so.0": "Stub_ara_com.cpp", "libaralog.so.1": "Stub_aralog.cpp", "libdltproxy.so.1": None}
PLATFORM = re.compile(r"(?:(?:typeinfo|vtable|typeinfo name) for )?(?:ac|ara|eb)::")

HEAD = """# Symbols that the product imports from its platform

Made by `tests/own_platform/own_platform_test.py --update` and compared with the product by the test
`own_platform.Imports`. The operations in the first table are part of the platform's agreed interface. Those in the
second are used in `binding/adapter/Platform_adapter.cpp` alone, where a platform may have others or none:
[integration.md](integration.md#building-against-your-own-platform).
"""


def run(*command, **options):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, **options)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))}\n{done.stdout[-3000:]}{done.stderr[-3000:]}")
    return done.stdout


def undefined(binary, *options):
    """Symbols of the platform that a library or object needs, demangled."""
    names = (line.split(maxsplit=1)[1] for line in run("nm", "-C", "--undefined-only", *options, binary).splitlines() if line)
    return sorted({name for name in names if PLATFORM.match(name)})


def header_of(symbol):
    """The header of platform/api that declares it: one for a class or a free function, or one for a small family."""
    path = re.sub(r"^(typeinfo|vtable|typeinfo name) for ", "", symbol).split("(")[0].split("::")
    for end in range(len(path), 1, -1):
        header = pathlib.Path(*path[:end]).with_suffix(".h")
        if (API / header).is_file():
            return str(header)
    folder = next(API.joinpath(*path[:end]) for end in range(len(path) - 1, 0, -1) if API.joinpath(*path[:end]).is_dir())
    name = path[len(folder.relative_to(API).parts)]
    header, = [h for h in folder.glob("*.h") if re.search(rf"\b{name}\b\W", h.read_text())]
    return str(header.relative_to(API))


def imports():
    """What the product imports, as two lists: operations with a name, and those of the adapter alone."""
    product = undefined(os.environ["PRODUCT"], "-D")
    adapter = BUILD / "own_platform_adapter.o"
    flags = ["-std=c++20", "-fPIC", "-fvisibility=hidden", "-fvisibility-inlines-hidden", "-O1", f"-I{ROOT}", f"-I{API}"]
    run(os.environ["CXX"], *flags, "-c", ROOT / ADAPTER, "-o", adapter)
    stub = BUILD / "own_platform_stub_adapter.o"
    run(os.environ["CXX"], *flags, f"-I{HERE}", "-c", HERE / "Stub_adapter.cpp", "-o", stub)
    # What the adapter needs and its replacement does not, is the adapter's affair.
    own = set(undefined(adapter)) - set(undefined(stub))
    return [s for s in product if s not in own], [s for s in product if s in own]


def tables(text):
    return [re.findall(r"^\| `(.+)` \| `(.+)` \|$", part, re.M) for part in text.split("## ")[1:]]


def page():
    named, own = imports()
    def table(title, where, rows):
        return f"\n## {title}\n\n| Symbol | {where} |\n|---|---|\n" + "".join(rows)
    return (HEAD + table("Named operations", "Header", [f"| `{s}` | `{header_of(s)}` |\n" for s in named])
            + table("In the adapter alone", "Header of the stand-in", [f"| `{s}` | `{header_of(s)}` |\n" for s in own]))


class Imports(unittest.TestCase):
    def test_the_product_imports_what_is_listed_and_nothing_new(self):
        self.maxDiff = None
        self.assertEqual(LIST.read_text(), page(), "\nif the change is wanted: own_platform_test.py --update")


class OwnPlatform(unittest.TestCase):
    """Libraries with the named operations and nothing else, in place of the stand-in's."""

    @classmethod
    def setUpClass(cls):
        shutil.rmtree(OWN / "lib", ignore_errors=True)
        (OWN / "lib").mkdir(parents=True)
        cls.named = [symbol for symbol, _ in tables(LIST.read_text())[0]]
        script = OWN / "named.map"
        script.write_text('{ global: extern "C++" { ' + " ".join(f'"{symbol}";' for symbol in cls.named) + " }; local: *; };\n")
        for library, source in reversed(LIBRARIES.items()):
            sources = [HERE / source] if source else ["-x", "c++", "/dev/null"]
            others = [OWN / "lib/libaralog.so.1"] if library == "libara_com.so.0" else []
            run(os.environ["CXX"], "-std=c++20", "-fPIC", "-shared", "-Wall", "-Wextra", "-Werror", f"-I{API}", f"-I{HERE}",
                *sources, *others, f"-Wl,-soname,{library},--version-script={script},-z,defs", "-o", OWN / "lib" / library)
        run("cmake", "-S", ROOT, "-B", OWN / "build", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_UNITY_BUILD=ON",
            f"-DCMAKE_CXX_COMPILER={os.environ['CXX']}", "-DCMAKE_CXX_FLAGS=-O0", f"-DDIAG_ARA_PLATFORM_API={API}",
            f"-DDIAG_ARA_PLATFORM_LIBS={OWN / 'lib'}", f"-DDIAG_ARA_PLATFORM_ADAPTER={HERE / 'Stub_adapter.cpp'}")
        run("cmake", "--build", OWN / "build", "--target", "diag_ara")
        cls.product = OWN / "build/lib/libdiag_ara.so"

    def test_the_stubs_offer_the_named_operations_and_nothing_else(self):
        offered = set()
        for library in LIBRARIES:
            for line in run("nm", "-D", "-C", "--defined-only", OWN / "lib" / library).splitlines():
                offered.add(line.split(maxsplit=2)[2])
        self.assertEqual(sorted(offered), sorted(self.named))

    def test_only_the_adapter_differs_from_the_house_s_own_build(self):
        def sources(build):
            commands = json.loads((build / "compile_commands.json").read_text())
            parts = re.compile(r"CMakeFiles/(core|registry|registry_tables|servers_(did|routine|dtc)|client|binding|codec)\.dir/")
            found = set()
            for entry in commands:
                if parts.search(entry["command"]):
                    found |= {str(path).replace(str(build), "BUILD") for path in self.merged(entry["file"])}
            return found
        here, there = sources(BUILD), sources(OWN / "build")
        self.assertGreater(len(here), 50)
        self.assertEqual(here - there, {str(ROOT / ADAPTER)})
        self.assertEqual(there - here, {str(HERE / "Stub_adapter.cpp")})

    def merged(self, file):
        """The sources of a merged unit, or the file itself."""
        return re.findall(r'#include "(/.+)"', pathlib.Path(file).read_text()) if "/Unity/" in file else [file]

    def test_no_symbol_of_the_product_is_undefined(self):
        environment = os.environ | {"LD_LIBRARY_PATH": str(OWN / "lib")}
        checked = subprocess.run(["ldd", "-r", self.product], capture_output=True, text=True, env=environment)
        missing = [line for line in (checked.stdout + checked.stderr).splitlines() if "undefined symbol" in line or "not found" in line]
        self.assertEqual(missing, [])
        self.assertLessEqual(set(undefined(self.product, "-D")), set(self.named))
        print(f"undefined symbols: {len(missing)} of {len(undefined(self.product, '-D'))} imported", file=sys.stderr)

    def test_it_loads_registers_and_unregisters(self):
        environment = os.environ | {"LD_LIBRARY_PATH": str(OWN / "lib"), "LD_BIND_NOW": "1"}
        self.assertEqual(run(os.environ["LOAD_PRODUCT"], self.product, env=environment, timeout=60),
                         "register 0, unregister 0\n" * 2)


if __name__ == "__main__":
    if sys.argv[1:] == ["--update"]:
        LIST.write_text(page())
    else:
        unittest.main()
