"""Versions of the schemas: folders that are worked on, and released versions, which are frozen.

A frozen version is one file of canonical schema text: every declaration, sorted, without comments. Its first line
holds the SHA-256 of what follows, so that nobody edits it unnoticed.
"""

import hashlib
import re
from dataclasses import dataclass
from pathlib import Path

from layout import enums, forwards, messages, records, type_text
from model import build
from schema import SchemaError, parse, parse_file, read

FIRST_LINE = "# Frozen version {version}, SHA-256 of the lines below: {hash}\n"
FROZEN = re.compile(r"# Frozen version (\S+), SHA-256 of the lines below: ([0-9a-f]{64})$")
VERSION = re.compile(r"(\d+)\.(\d+)\.(\d+)$")


@dataclass
class Version:
    """The schemas as they are, or as they once were."""

    title: str
    model: object
    is_whole: bool  # with comments and families, which a frozen version doesn't keep


def load(path):
    """A frozen file, a folder of frozen files (its last version), or a folder of schemas. Raises SchemaError."""
    path = Path(path)
    if path.is_file():
        return _load_frozen(path)
    files = sorted(path.glob("*.val")) if path.is_dir() else []
    if not files:
        raise SchemaError(f"{path}: neither a folder of schemas (*.val) nor a frozen version")
    last = last_frozen(path)
    return _load_frozen(last) if last else Version(str(path), build([parse_file(each) for each in files]), True)


def last_frozen(folder):
    """The file of the highest version in a folder; None if it has none."""
    frozen = [path for path in Path(folder).glob("*.val") if VERSION.match(path.stem)]
    return max(frozen, key=lambda path: _order(path.stem), default=None)


def freeze(version, model, folder):
    """Writes the frozen file and returns its path. Raises SchemaError where that may not be."""
    if not VERSION.match(version):
        raise SchemaError(f"'{version}' is no version: one looks like 1.4.0")
    path, last = Path(folder) / f"{version}.val", last_frozen(folder)
    if path.exists():
        raise SchemaError(f"{path}: version {version} is released and never changes; choose a higher one")
    if last and _order(version) < _order(last.stem):
        raise SchemaError(f"{path}: {last.stem} is released already; choose a higher version")
    text = canonical(model)
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(FIRST_LINE.format(version=version, hash=_hash(text)) + text, encoding="utf-8")
    return path


def canonical(model):
    """The model as schema text: equal models give equal text."""
    parts = [_enum(each) for _, each in sorted(enums(model).items())]
    parts += [_record(each) for _, each in sorted(records(model).items())]
    parts += [f"forward {name} to {each.target.name}\n" for name, each in sorted(forwards(model).items())]
    parts += [f"message {each.id} {each.name} carries {each.record.name}\n" for each in messages(model)]
    return "".join(parts)


def _load_frozen(path):
    first, _, text = read(path).partition("\n")
    head = FROZEN.match(first)
    if not head:
        raise SchemaError(f"{path}:1: is no frozen version; `valgen freeze` writes one")
    if head[2] != _hash(text):
        raise SchemaError(f"{path}: was changed after its release (its SHA-256 is another): restore it")
    return Version(f"version {head[1]}", build([parse(text, path.name)]), False)


def _order(version):
    return tuple(map(int, version.split(".")))


def _hash(text):
    return hashlib.sha256(text.encode()).hexdigest()


def _enum(enum):
    head = f"enum {enum.name} : {enum.bits}"
    if enum.stored_bits != enum.bits:
        head += f" stored {enum.stored_bits}"
    if enum.assumed:
        head += " assumed"
    ranges = ", ".join(str(first) if first == last else f"{first}..{last}" for first, last in enum.ranges)
    head += {"any": " any", "mask": f" mask {enum.mask:#x}", "ranges": f" = {ranges}"}[enum.kind]
    return head + "\n" + "".join(f"    {each.name} = {each.value}\n" for each in enum.names)


def _record(record):
    mark = " assumed" if record.assumed else " assumed names" if record.assumed_names else ""
    head = f"record {record.name}{' text' if record.text else ''}{mark}\n"
    return head + "".join(f"    {each.name} {type_text(each)}\n" for each in record.fields)
