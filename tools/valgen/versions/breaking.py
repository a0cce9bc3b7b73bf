"""Tells every change between two versions of the schemas, and freezes versions.

    python3 tools/valgen breaking OLD NEW [--json] [--gate]
    python3 tools/valgen freeze VERSION [--schemas codec/schema] [--into codec/released]

OLD and NEW are folders of schemas, frozen files, or a folder of frozen files, which stands for its last version.
Exit codes: 0 nothing breaks, 1 something breaks, 2 wrong usage, or a version that cannot be read.
"""

import argparse
import json
import pathlib
import sys

from schema import SchemaError
from versions import released
from versions.changes import SAFE, SOURCE, WIRE, compare

SHOWN = 4  # messages that a change is told for; --json tells all
LABELS = {WIRE: "wire-breaking", SOURCE: "source-breaking", SAFE: "safe"}
GATE = """
The released messages above don't have the layout any more that the other side knows.
Put the layout back, and give what is new a message with an id of its own. If both sides change at the same time,
release: python3 tools/valgen freeze VERSION"""


def main(words):
    chosen = _arguments().parse_args(words)
    try:
        return chosen.run(chosen)
    except (SchemaError, OSError) as refused:
        print(f"valgen: {refused}", file=sys.stderr)
        return 2


def _arguments():
    arguments = argparse.ArgumentParser(
        prog="valgen", description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    commands = arguments.add_subparsers(required=True, metavar="COMMAND")
    breaking = commands.add_parser("breaking", help="tell every change from OLD to NEW, with its consequence")
    breaking.add_argument("old", metavar="OLD", type=pathlib.Path)
    breaking.add_argument("new", metavar="NEW", type=pathlib.Path)
    breaking.add_argument("--json", action="store_true", help="one JSON document, with every message reached")
    breaking.add_argument("--gate", action="store_true", help="exit with 1 only for wire-breaking changes of layouts that "
                          "are agreed, and say what to do: what the test command runs")
    breaking.set_defaults(run=_breaking)
    freeze = commands.add_parser("freeze", help="write the schemas as a released version, which never changes")
    freeze.add_argument("version", metavar="VERSION", help="such as 1.4.0, higher than the last")
    freeze.add_argument("--schemas", type=pathlib.Path, default="codec/schema", help="(default: %(default)s)")
    freeze.add_argument("--into", type=pathlib.Path, default="codec/released", help="(default: %(default)s)")
    freeze.set_defaults(run=_freeze)
    return arguments


def _freeze(chosen):
    path = released.freeze(chosen.version, released.load(chosen.schemas).model, chosen.into)
    print(f"{path}: commit it; from now on it never changes")
    return 0


def _breaking(chosen):
    old, new = released.load(chosen.old), released.load(chosen.new)
    changes = compare(old, new)
    told = [each for each in changes if not chosen.gate or _agreed_break(each)]
    print(_document(old, new, told) if chosen.json else _text(old, new, told))
    if chosen.gate and told:
        print(GATE, file=sys.stderr)
    return int(any(each.effect != SAFE for each in told))


def _agreed_break(change):
    """It breaks a contract: assumed layouts are none."""
    return change.effect == WIRE and not change.assumed


def _counts(changes):
    return {effect: sum(each.effect == effect for each in changes) for effect in LABELS}


def _text(old, new, changes):
    lines = []
    for each in changes:
        place = "" if each.offset is None else f", offset {each.offset}"
        assumed = " (an assumed layout)" if each.assumed else ""
        lines += [f"{LABELS[each.effect]}  {each}{place}: {each.text}{assumed}", f"    {each.consequence}"]
        for reached in each.reached[:SHOWN]:
            where = f" at {reached.path}," if reached.path else " at"
            lines.append(f"    reaches {reached.message.id} {reached.message.name}{where} offset {reached.offset}")
        if len(each.reached) > SHOWN:
            lines.append(f"    and {len(each.reached) - SHOWN} more places in messages")
    counts = ", ".join(f"{number} {LABELS[effect]}" for effect, number in _counts(changes).items())
    return "\n".join([*lines, f"{old.title} to {new.title}: {counts}"])


def _document(old, new, changes):
    return json.dumps({
        "old": old.title,
        "new": new.title,
        "counts": _counts(changes),
        "changes": [{
            "effect": each.effect,
            "kind": each.kind,
            "subject": each.subject,
            "name": each.name,
            "field": each.field or None,
            "offset": _offset(each.offset),
            "text": each.text,
            "consequence": each.consequence,
            "assumed": each.assumed,
            "reached": [{"id": place.message.id, "message": place.message.name, "path": place.path,
                         "offset": _offset(place.offset)} for place in each.reached],
        } for each in changes],
    }, indent=2)


def _offset(offset):
    """A number, and the names of the arrays whose size adds to it."""
    return offset and {"least": offset.least, "after": list(offset.after)}
