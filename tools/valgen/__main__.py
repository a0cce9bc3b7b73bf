"""Generates the VAL codec from its schemas.

    python3 tools/valgen --cpp OUT [--include-prefix codec] SCHEMA...
    python3 tools/valgen --java OUT SCHEMA...
    python3 tools/valgen --list-java SCHEMA...
    python3 tools/valgen --page OUT SCHEMA...   the message catalogue, to be read in a browser
    python3 tools/valgen breaking OLD NEW       what a change of the schemas breaks
    python3 tools/valgen freeze VERSION         releases the schemas as they are

Nothing is written unless every schema is sound. A refused schema ends the run with status 1 and one
line for each fault: file, line, what is wrong. Without an option the schemas are only checked.
"""

import argparse
import pathlib
import sys

import cpp_describe
import cpp_header
import cpp_source
import java_files
from model import SchemaError, build
from page import catalogue
from schema import parse_file
from versions import breaking


def write(folder, files):
    """Leaves alone what says the same already: an edit of one family doesn't build the others again."""
    folder.mkdir(parents=True, exist_ok=True)
    for name, text in files.items():
        if not (folder / name).exists() or (folder / name).read_text(encoding="utf-8") != text:
            (folder / name).write_text(text, encoding="utf-8")


def cpp_files(model, prefix):
    files = {"codec.h": cpp_header.umbrella(model, prefix), "describe.cpp": cpp_describe.families(model)}
    for family in model.families:
        files[f"{family.name}.h"] = cpp_header.header(model, family, prefix)
        files[f"{family.name}.cpp"] = cpp_source.source(family, prefix)
        files[f"describe_{family.name}.cpp"] = cpp_describe.describe(family, prefix)
    return files


def main():
    if sys.argv[1:2] in (["breaking"], ["freeze"]):
        return breaking.main(sys.argv[1:])
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("schemas", nargs="+", type=pathlib.Path, metavar="SCHEMA")
    arguments.add_argument("--cpp", type=pathlib.Path, metavar="OUT", help="write C++ into this folder")
    arguments.add_argument("--include-prefix", default="codec", help="how the C++ files include one another")
    arguments.add_argument("--java", type=pathlib.Path, metavar="OUT", help="write Java into this folder")
    arguments.add_argument("--list-java", action="store_true", help="print the names of the Java files")
    arguments.add_argument("--page", type=pathlib.Path, metavar="OUT", help="write the catalogue page into this folder")
    chosen = arguments.parse_args()

    try:
        generate(chosen, build([parse_file(path) for path in chosen.schemas]))
    except (SchemaError, OSError) as refused:
        print(refused, file=sys.stderr)
        return 1
    return 0


def generate(chosen, model):
    if chosen.cpp:
        write(chosen.cpp, cpp_files(model, chosen.include_prefix))
    if chosen.java:
        write(chosen.java, java_files.files(model))
    if chosen.page:
        write(chosen.page, {"index.html": catalogue.html(model)})
    if chosen.list_java:
        print("\n".join(java_files.files(model)))


sys.exit(main())
