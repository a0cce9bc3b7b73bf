"""Edits of a schema, planted one at a time: how each is judged, where, and what is said of it."""

import contextlib
import hashlib
import io
import json
import pathlib
import shutil
import tempfile
import unittest

from model import build
from schema import SchemaError, parse
from versions import breaking, released
from versions.changes import compare

BASE = """\
enum tColour : 8 stored 32 = 0..2, 7
    RED = 0
    BLUE = 7
enum tFlags : 16 mask 0x00FF
enum tMood : 8 any
enum tTide : 8 = -2..2
enum tUnused : 8 = 0..1
record VALPart_t text
    size u16        # mm
    colour enum tColour
record VALTwin_t text
    size u16        # mm
    colour enum tColour
record VALPoint_t text
    x u16
    y u16
    flags enum tFlags
    mark u8
record VALList_t text
    partCount u8
    dataLength u16
    parts record VALPart_t[partCount] max 16
    data u8[dataLength] max 512
    code u8[4]
    check u8 stored u32
record VALGuess_t text assumed
    guess u8
record VALUnnamed_t assumed names
    first u8
record tHolderds
    open bool
    point record VALPoint_t
    mood enum tMood
    tide enum tTide
record tLonelyds
    unused enum tUnused
    number u8
forward tValPointIndds to VALPoint_t
forward tValGuessIndds to VALGuess_t
message 10 ValPointInd carries tValPointIndds
message 11 Holder carries tHolderds
message 12 ValListInd carries VALList_t
message 13 ValGuessInd carries tValGuessIndds
message 14 Twin carries VALTwin_t
message 16 Unnamed carries VALUnnamed_t
"""

# What is replaced by what (every occurrence); the effect, the kind and the place of what is told, one for each change,
# the place with the offset where it has one.
EDITS = [
    # Messages
    ("message 14 ", "message 15 New carries VALPart_t\nmessage 14 ", ["safe message-added New"]),
    ("message 14 Twin carries VALTwin_t\n", "", ["wire message-removed Twin"]),
    ("message 14 ", "message 20 ", ["wire message-renumbered Twin"]),
    ("message 11 Holder", "message 11 Keeper", ["source message-renamed Holder"]),
    ("message 12 ValListInd carries VALList_t\nmessage 13", "message 13 ValListInd carries VALList_t\nmessage 12",
     ["wire message-renumbered ValListInd", "wire message-renumbered ValGuessInd"]),
    ("message 13 ValGuessInd carries tValGuessIndds\nmessage 14", "message 13",
     ["wire message-removed ValGuessInd", "wire message-renumbered Twin"]),
    ("Twin carries VALTwin_t", "Twin carries VALGuess_t", ["wire message-other-record Twin 0"]),
    ("Twin carries VALTwin_t", "Twin carries VALPart_t", ["source message-other-record Twin"]),
    # Records
    ("forward tValP", "record VALNew_t\n    a u8\nforward tValP", ["safe record-added VALNew_t"]),
    ("record tLonelyds\n    unused enum tUnused\n    number u8\n", "", ["source record-removed tLonelyds"]),
    ("VALPart_t", "VALPiece_t", ["source record-renamed VALPart_t"]),
    ("tValGuessIndds", "tValGuess2Indds", ["source wrapper-renamed tValGuessIndds"]),
    ("VALTwin_t text", "VALTwin_t text assumed", ["source assumed-added VALTwin_t"]),
    ("VALGuess_t text assumed", "VALGuess_t text", ["safe assumed-removed VALGuess_t"]),
    ("VALGuess_t text assumed", "VALGuess_t text assumed names",
     ["safe assumed-removed VALGuess_t", "safe assumed-names-added VALGuess_t"]),
    ("VALUnnamed_t assumed names", "VALUnnamed_t", ["safe assumed-names-removed VALUnnamed_t"]),
    ("    first u8\n", "    second u8\n", ["source field-renamed VALUnnamed_t first 0"]),
    ("record VALTwin_t text", "record VALTwin_t", ["source text-removed VALTwin_t"]),
    ("record tLonelyds", "record tLonelyds text", ["safe text-added tLonelyds"]),
    # Fields
    ("    y u16\n", "    middle u8\n    y u16\n", ["wire field-inserted VALPoint_t middle 2"]),
    ("    mark u8\n", "    mark u8\n    last u8\n", ["wire field-inserted VALPoint_t last 7"]),
    ("    x u16\n", "", ["wire field-removed VALPoint_t x 0"]),
    ("    mark u8\n", "", ["wire field-removed VALPoint_t mark 6"]),
    ("    x u16\n    y u16\n", "    y u16\n    x u16\n", ["wire field-reordered VALPoint_t y 2"]),
    ("    mark u8\n", "    brand u8\n", ["source field-renamed VALPoint_t mark 6"]),
    ("    mark u8\n", "    brand u16\n",
     ["wire field-removed VALPoint_t mark 6", "wire field-inserted VALPoint_t brand 6"]),
    ("    y u16\n", "    y u32\n", ["wire field-widened VALPoint_t y 2"]),
    ("    y u16\n", "    y u8\n", ["wire field-narrowed VALPoint_t y 2"]),
    ("    y u16\n", "    y i16\n", ["wire sign-changed VALPoint_t y 2"]),
    ("    open bool\n", "    open u8\n", ["wire field-retyped tHolderds open 0"]),
    ("    mark u8\n", "    mark enum tColour\n", ["wire field-retyped VALPoint_t mark 6"]),
    ("    mark u8\n", "    mark enum tMood\n", ["source field-retyped VALPoint_t mark 6"]),
    ("    number u8\n", "    number u16\n", ["source field-widened tLonelyds number 1"]),
    ("    guess u8\n", "    guess u16\n", ["wire field-widened VALGuess_t guess 0"]),
    ("    code u8[4]\n", "    code u32\n", ["source field-retyped VALList_t code 3 + parts + data"]),
    ("    code u8[4]\n", "    code i32\n", ["wire field-retyped VALList_t code 3 + parts + data"]),
    ("    code u8[4]\n", "    code u8[6]\n", ["wire size-changed VALList_t code 3 + parts + data"]),
    ("u8 stored u32", "u8 stored u64", ["source stored-changed VALList_t check 7 + parts + data"]),
    ("    point record VALPoint_t\n", "    x u16\n    y u16\n    flags enum tFlags\n    mark u8\n",
     ["source field-removed tHolderds point 1", "source field-inserted tHolderds x 1",
      "source field-inserted tHolderds y 3", "source field-inserted tHolderds flags 5",
      "source field-inserted tHolderds mark 7"]),
    # Arrays
    ("max 512", "max 600", ["wire maximum-raised VALList_t data 3 + parts"]),
    ("max 16", "max 15", ["wire maximum-lowered VALList_t parts 3"]),
    ("    partCount u8\n    dataLength u16\n", "    dataLength u16\n    partCount u8\n",
     ["wire count-moved VALList_t dataLength 1"]),
    ("    partCount u8\n", "    partCount u16\n", ["wire field-widened VALList_t partCount 0"]),
    ("    partCount u8\n    dataLength u16\n    parts record VALPart_t[partCount] max 16\n    data u8[dataLength] max 512",
     "    partCount u8\n    dataLength u16\n    parts record VALPart_t[dataLength] max 16\n    data u8[partCount] max 255",
     ["wire count-changed VALList_t parts 3", "wire count-changed VALList_t data 3 + parts",
      "wire maximum-lowered VALList_t data 3 + parts"]),
    ("record VALPart_t[", "u16[", ["wire field-retyped VALList_t parts 3"]),
    ("record VALPart_t[", "record VALTwin_t[", ["source field-retyped VALList_t parts 3"]),
    # Enumerations
    ("32 = 0..2, 7", "32 = 0..3, 7", ["wire values-added tColour"]),
    ("32 = 0..2, 7", "32 = 0..1, 7", ["wire values-removed tColour"]),
    ("tColour : 8 stored 32", "tColour : 16 stored 32", ["wire enumeration-width tColour"]),
    ("tColour : 8 stored 32", "tColour : 8", ["source enumeration-stored tColour"]),
    ("mask 0x00FF", "mask 0x01FF", ["wire values-added tFlags"]),
    ("mask 0x00FF", "mask 0x007F", ["wire values-removed tFlags"]),
    ("mask 0x00FF", "= 0..255", []),
    ("tMood : 8 any", "tMood : 8 = 1..255", ["wire values-removed tMood"]),
    ("= -2..2", "= -3..2", ["wire values-added tTide"]),
    ("tUnused : 8 = 0..1", "tUnused : 8 = 0..2", ["safe values-added tUnused"]),
    ("enum tFlags :", "enum tNew : 8 any\nenum tFlags :", ["safe enumeration-added tNew"]),
    ("    RED =", "    CRIMSON =", ["source value-renamed tColour RED"]),
    ("    RED = 0", "    RED = 1", ["wire value-changed tColour RED"]),
    ("    RED = 0\n", "    GREEN = 1\n", ["source value-name-removed tColour RED", "safe value-name-added tColour GREEN"]),
    ("    RED = 0\n", "", ["source value-name-removed tColour RED"]),
    ("    BLUE = 7\n", "    BLUE = 7\n    GREEN = 1\n", ["safe value-name-added tColour GREEN"]),
    ("tMood", "tSpirit", ["source enumeration-renamed tMood"]),
    # Comments
    ("    x u16\n", "    x u16     # mm\n", ["safe comment VALPoint_t x"]),
    ("record tHolderds", "record tHolderds    # holds", ["safe comment tHolderds"]),
]


def version(text):
    return released.Version("it", build([parse(text, "a.val")]), True)


def changes(edit):
    old, new, *_ = edit
    assert old in BASE, old
    return compare(version(BASE), version(BASE.replace(old, new)))


def told(change):
    offset = [] if change.offset is None else [str(change.offset).replace("size of ", "")]
    return " ".join(filter(None, [change.effect, change.kind, change.name, change.field, *offset]))


def consequence(old, new):
    return changes((old, new))[0].consequence


class PlantedEdits(unittest.TestCase):
    def test_each_is_judged_and_placed(self):
        self.assertGreaterEqual(len(EDITS), 40)
        for edit in EDITS:
            with self.subTest(edit[:2]):
                self.assertCountEqual([told(each) for each in changes(edit)], edit[2])

    def test_nothing_changed(self):
        self.assertEqual(compare(version(BASE), version(BASE)), [])

    def test_a_break_is_told_for_every_message_that_reaches_it(self):
        (change,) = changes(("    y u16\n", "    y u32\n"))
        self.assertEqual([(place.message.id, place.path, str(place.offset)) for place in change.reached],
                         [(10, "y", "2"), (11, "point.y", "3")])
        (change,) = [each for each in changes(("    size u16        # mm\n    colour enum tColour\nrecord VALTwin_t",
                                               "    size u8\n    colour enum tColour\nrecord VALTwin_t"))
                     if each.kind == "field-narrowed"]
        self.assertEqual([(place.message.id, place.path, str(place.offset)) for place in change.reached],
                         [(12, "parts[].size", "3")])

    def test_the_consequence_names_what_a_peer_sees(self):
        for old, new, what in (
            ("    y u16\n", "    middle u8\n    y u16\n",
             "the wire has no tags: every field behind offset 2 is read from the wrong place"),
            ("    check u8 stored u32\n", "    check u8 stored u32\n    more u8\n", "eUnpackTrailingBytes (5)"),
            ("    check u8 stored u32\n", "", "eUnpackTruncated (4)"),
            ("max 512", "max 513", "old readers refuse a count above 512: eUnpackArrayTooLong (8)"),
            ("max 512", "max 511", "ePackArrayTooLong (6)"),
            ("0..2, 7", "0..3, 7", "old readers refuse a payload with such a value: eUnpackBadEnum (11)"),
            ("0..2, 7", "0..1, 7", "new readers refuse a payload with such a value: eUnpackBadEnum (11)"),
            ("message 14 ", "message 20 ", "eUnpackWrongMessageId (2)"),
            ("    code u8[4]\n", "    code u16\n", "every field behind offset 3 + size of parts + size of data"),
            ("    mark u8\n", "    mark u8\n    last u8\n", "where another record holds this one"),
        ):
            with self.subTest(new):
                self.assertIn(what, consequence(old, new))

    def test_a_record_that_no_other_holds_ends_the_payload(self):
        self.assertNotIn("holds", consequence("    check u8 stored u32\n", ""))

    def test_a_message_that_is_gone_reaches_nothing(self):
        new = BASE.replace("message 11 Holder carries tHolderds\n", "").replace("    y u16\n", "    y u32\n")
        (change,) = [each for each in compare(version(BASE), version(new)) if each.kind == "field-widened"]
        self.assertEqual([place.message.id for place in change.reached], [10])

    def test_an_assumed_layout_is_marked(self):
        self.assertTrue(changes(("    guess u8\n", "    guess u16\n"))[0].assumed)
        self.assertFalse(changes(("    y u16\n", "    y u32\n"))[0].assumed)
        self.assertFalse(changes(("    first u8\n", "    first u16\n"))[0].assumed, "its bytes are agreed")


class AnotherFamily(unittest.TestCase):
    """A declaration moves from the file a.val to b.val."""

    def told(self, moved, is_whole=True):
        versions = [released.Version("it", build([parse(a, "a.val"), parse(b, "b.val")]), is_whole)
                    for a, b in ((BASE, ""), (BASE.replace(moved, ""), moved))]
        self.assertIn(moved, BASE)
        return compare(*versions)

    def test_breaks_who_includes_the_headers_of_one(self):
        for moved, subject in (("enum tMood : 8 any\n", "enumeration tMood"),
                               ("record VALGuess_t text assumed\n    guess u8\n", "record VALGuess_t"),
                               ("message 14 Twin carries VALTwin_t\n", "message Twin")):
            with self.subTest(subject):
                (change,) = self.told(moved)
                self.assertEqual((change.effect, change.kind, str(change)), ("source", f"{subject.split()[0]}-moved", subject))
                self.assertEqual(change.text, "stands in b.val in place of a.val")
                self.assertIn("the bytes are the same; code that includes a.h for it has to include b.h", change.consequence)
                self.assertEqual("Java" in change.consequence, subject.startswith("enumeration"))

    def test_is_unknown_of_a_frozen_version(self):
        self.assertEqual(self.told("enum tMood : 8 any\n", is_whole=False), [])


class CommandLine(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.old, self.released = self.schemas("old", BASE), self.folder / "released"

    def schemas(self, name, text):
        folder = self.folder / name
        folder.mkdir()
        (folder / "a.val").write_text(text, encoding="utf-8")
        return folder

    def valgen(self, *words):
        out, err = io.StringIO(), io.StringIO()
        with contextlib.redirect_stdout(out), contextlib.redirect_stderr(err):
            try:
                code = breaking.main([str(word) for word in words])
            except SystemExit as end:
                code = end.code
        return code, out.getvalue(), err.getvalue()

    def freeze(self, number, folder=None):
        return self.valgen("freeze", number, "--schemas", folder or self.old, "--into", self.released)

    def test_exit_codes(self):
        wider = self.schemas("wider", BASE.replace("    y u16\n", "    y u32\n"))
        text = self.schemas("text", BASE.replace("record tLonelyds", "record tLonelyds text"))
        self.assertEqual(self.valgen("breaking", self.old, text)[0], 0)
        self.assertEqual(self.valgen("breaking", self.old, wider)[0], 1)
        source = self.schemas("source", BASE.replace("    mark u8\n", "    brand u8\n"))
        self.assertEqual(self.valgen("breaking", self.old, source)[0], 1)
        self.assertEqual(self.valgen("breaking", self.old)[0], 2)
        self.assertEqual(self.valgen("breaking", self.old, self.folder / "none")[0], 2)

    def test_the_text(self):
        wider = self.schemas("wider", BASE.replace("    y u16\n", "    y u32\n"))
        self.assertEqual(self.valgen("breaking", self.old, wider)[1], f"""\
wire-breaking  record VALPoint_t, y, offset 2: u16 is now u32
    the wire has no tags: every field behind offset 2 is read from the wrong place
    reaches 10 ValPointInd at y, offset 2
    reaches 11 Holder at point.y, offset 3
{self.old} to {wider}: 1 wire-breaking, 0 source-breaking, 0 safe
""")

    def test_json(self):
        new = self.schemas("new", BASE.replace("max 512", "max 500"))
        document = json.loads(self.valgen("breaking", "--json", self.old, new)[1])
        self.assertEqual(document["counts"], {"wire": 1, "source": 0, "safe": 0})
        (change,) = document["changes"]
        self.assertEqual((change["effect"], change["kind"], change["name"], change["field"], change["offset"]),
                         ("wire", "maximum-lowered", "VALList_t", "data", {"least": 3, "after": ["parts"]}))
        self.assertEqual(change["reached"], [{"id": 12, "message": "ValListInd", "path": "data",
                                              "offset": {"least": 3, "after": ["parts"]}}])

    def test_a_frozen_version_is_the_schemas_without_their_comments(self):
        code, out, _ = self.freeze("1.0.0")
        self.assertEqual((code, out), (0, f"{self.released}/1.0.0.val: commit it; from now on it never changes\n"))
        first, _, text = (self.released / "1.0.0.val").read_text().partition("\n")
        self.assertEqual(first.rsplit(" ", 1)[1], hashlib.sha256(text.encode()).hexdigest())
        self.assertNotIn("#", text)
        self.assertIn("record VALUnnamed_t assumed names\n", text)
        code, out, _ = self.valgen("breaking", self.released, self.old)
        self.assertEqual((code, out), (0, f"version 1.0.0 to {self.old}: 0 wire-breaking, 0 source-breaking, 0 safe\n"))

    def test_the_order_of_declarations_is_no_change_of_a_frozen_version(self):
        self.freeze("1.0.0")
        halves = BASE.partition("record VALGuess_t")
        turned = self.schemas("turned", halves[1] + halves[2] + halves[0])
        self.freeze("1.0.1", turned)
        texts = [(self.released / name).read_text().partition("\n")[2] for name in ("1.0.0.val", "1.0.1.val")]
        self.assertEqual(*texts)

    def test_a_folder_of_frozen_versions_stands_for_the_last(self):
        for number in ("0.9.0", "0.10.0"):
            self.freeze(number)
        self.assertIn("version 0.10.0 to ", self.valgen("breaking", self.released, self.old)[1])

    def test_a_version_is_frozen_once_and_upwards(self):
        self.freeze("1.0.0")
        before = (self.released / "1.0.0.val").read_bytes()
        for number, why in (("1.0.0", "is released and never changes"), ("0.9.9", "1.0.0 is released already"),
                            ("1.1", "is no version: one looks like 1.4.0")):
            code, _, err = self.freeze(number, self.schemas(number, BASE + "message 99 Late carries VALPart_t\n"))
            self.assertEqual(code, 2)
            self.assertIn(why, err)
        self.assertEqual((self.released / "1.0.0.val").read_bytes(), before)

    def test_an_edited_frozen_version_is_refused(self):
        self.freeze("1.0.0")
        path = self.released / "1.0.0.val"
        for text in (path.read_text().replace("max 512", "max 513"), path.read_text().partition("\n")[2]):
            path.write_text(text)
            code, out, err = self.valgen("breaking", path, self.old)
            self.assertEqual((code, out), (2, ""))
            self.assertRegex(err, "was changed after its release|is no frozen version")
        with self.assertRaises(SchemaError):
            released.load(self.released)

    def test_the_gate_fails_for_contracts_alone_and_says_what_to_do(self):
        self.freeze("1.0.0")
        for edit, code in (("    guess u8\n", 0), ("    first u8\n", 1), ("    mark u8\n", 1)):
            folder = self.schemas(edit.strip(), BASE.replace(edit, edit.replace("u8", "u32")))
            found, out, err = self.valgen("breaking", "--gate", self.released, folder)
            self.assertEqual((found, "valgen freeze VERSION" in err, "wire-breaking  record" in out),
                             (code, bool(code), bool(code)))


if __name__ == "__main__":
    unittest.main()
