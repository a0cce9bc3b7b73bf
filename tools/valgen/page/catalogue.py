"""The message catalogue as one HTML file, which needs no network: the schemas as data, and what shows them."""

import json
import pathlib

import words
from layout import enums, forwards, messages, offsets, records, span, type_text

HERE = pathlib.Path(__file__).resolve().parent
SCRIPTS = ("data.js", "search.js", "picture.js", "details.js", "main.js")


def html(model):
    """The page's text."""
    text = (HERE / "page.html").read_text(encoding="utf-8")
    parts = {
        "style": (HERE / "style.css").read_text(encoding="utf-8"),
        "script": "\n".join((HERE / name).read_text(encoding="utf-8") for name in SCRIPTS),
        # Nothing in it may end the element that holds it.
        "data": json.dumps(data(model), separators=(",", ":")).replace("</", "<\\/"),
    }
    for name, part in parts.items():
        text = text.replace(f"@{name}@", part)
    return text


def data(model):
    """What the page's scripts read; see data.js for what they make of it."""
    return {
        "families": {family.name: family.comment for family in model.families},
        "messages": [{"id": each.id, "name": each.name, "type": each.record.name, "record": each.payload.name,
                      "family": each.family, "comment": each.comment} for each in messages(model)],
        "records": {name: _record(each) for name, each in sorted(records(model).items())},
        "wrappers": {name: {"target": each.target.name, "family": each.family, "comment": each.comment}
                     for name, each in sorted(forwards(model).items())},
        "enums": {name: _enum(each) for name, each in sorted(enums(model).items())},
    }


def _record(record):
    return {
        "family": record.family, "comment": record.comment, "assumed": record.assumed, "assumedNames": record.assumed_names, "text": record.text,
        "least": record.fixed_size, "most": record.largest_size,
        "fields": [_field(field, offset) for field, offset in offsets(record)],
    }


def _field(field, offset):
    least, most = span(field)
    told = {
        "name": field.name, "kind": field.kind, "type": type_text(field), "least": least, "most": most,
        "offset": offset.least, "after": offset.after, "comment": field.comment,
        "enum": field.enum.name if field.enum else "", "record": field.record.name if field.record else "",
        "count": field.count.name if field.count else "", "maximum": field.maximum,
        "counts": field.counts.name if field.counts else "",
    }
    return {key: value for key, value in told.items() if value not in ("", ()) or key in ("name", "kind")}


def _enum(enum):
    return {
        "family": enum.family, "comment": enum.comment, "assumed": enum.assumed, "bits": enum.bits,
        "stored": enum.stored_bits, "values": words.values(enum), "kind": enum.kind, "mask": enum.mask,
        "ranges": enum.ranges, "names": [[each.value, each.name, each.comment] for each in enum.names],
    }
