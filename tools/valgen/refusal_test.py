"""Schemas that must be refused, each with the file, the line and what is wrong."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

from model import build
from schema import SchemaError, parse

GOOD = """\
enum tColour : 8 stored 32 = 0..2, 7
record VALPoint_t text
    x i32
    colour enum tColour
message 1 ValPointInd carries VALPoint_t
"""


def fault_of(*texts):
    """What the schemas a.val, b.val ... are refused with."""
    try:
        build([parse(text, f"{'abc'[number]}.val") for number, text in enumerate(texts)])
    except SchemaError as refused:
        return str(refused)
    return "accepted"


class Refusals(unittest.TestCase):
    def refused(self, text, expected):
        self.assertEqual(fault_of(text), expected)

    def field(self, line, expected, before=""):
        """Refuses the last field of a record whose first is `n u8`."""
        text = f"{before}record R\n    n u8\n    {line}\n"
        self.refused(text, f"a.val:{text.count(chr(10))}: {expected}")

    def test_a_sound_schema_is_accepted(self):
        self.assertEqual(fault_of(GOOD), "accepted")

    def test_every_fault_is_told_at_once(self):
        text = "record A\n    x enum tNone\nrecord B\n    y enum tNone\n"
        self.refused(text, "a.val:2: there is no enumeration 'tNone'\na.val:4: there is no enumeration 'tNone'")

    # Lines that cannot be read.

    def test_an_unknown_declaration(self):
        self.refused("struct A\n", "a.val:1: 'struct' is none of: enum, record, forward, message")

    def test_an_indented_line_without_a_declaration(self):
        self.refused("# nothing yet\n    x u8\n",
                     "a.val:2: an indented line belongs to a declaration, and none stands above it")

    def test_a_body_below_a_message(self):
        self.refused("message 1 M carries R\n    x u8\n", "a.val:2: only enumerations and records have lines below them")

    def test_unreadable_declarations(self):
        for line, start in (
            ("enum tA 8 = 1", "an enumeration reads:"),
            ("enum tA : 8 = 1 2", "'1 2' is neither a value nor a range such as 3..7"),
            ("enum tA : 8 = --1", "'--1' is neither a value nor a range such as 3..7"),
            ("record A textual", "a record reads:"),
            ("record 9A", "a record reads:"),
            ("forward A B", "a forwarder reads:"),
            ("message A 1 carries R", "a message reads:"),
            ("message -1 A carries R", "a message reads:"),
        ):
            with self.subTest(line):
                self.assertTrue(fault_of(line + "\n").startswith(f"a.val:1: {start}"), fault_of(line + "\n"))

    def test_unreadable_fields(self):
        for line in ("x", "x u7", "x float", "x enum", "x u8[]", "x u8[n", "x u8 max many", "x u8[-1]", "9x u8"):
            with self.subTest(line):
                self.assertTrue(fault_of(f"record R\n    {line}\n").startswith("a.val:2: a field reads:"))

    def test_a_comment_that_would_end_the_comment_it_becomes(self):
        for text in ("*/", "\\\\u0041", "\u00b0C"):
            self.refused(f"record R\n    x u8 # {text}\n", "a.val:2: a comment is ASCII, without a backslash and "
                         "without '*/'")

    def test_an_unreadable_named_value(self):
        self.refused("enum tA : 8\n    ONE 1\n", "a.val:2: a named value reads: NAME = VALUE")

    # Names.

    def test_a_type_declared_twice(self):
        self.refused("record A\n    x u8\nenum A : 8 = 1\n", "a.val:3: 'A' is already declared at a.val:1")

    def test_a_type_declared_in_two_files(self):
        self.assertEqual(fault_of("record A\n    x u8\n", "\nrecord A\n    x u8\n"),
                         "b.val:2: 'A' is already declared at a.val:1")

    def test_a_message_name_twice(self):
        self.refused(GOOD + "message 2 ValPointInd carries VALPoint_t\n",
                     "a.val:6: 'ValPointInd' is already declared at a.val:5")

    def test_a_message_id_twice(self):
        self.refused(GOOD + "message 1 ValPoint2Ind carries VALPoint_t\n",
                     "a.val:6: the message id 1 is already declared at a.val:5")

    def test_a_field_twice(self):
        self.field("n u16", "'R' has a field 'n' already")

    def test_a_named_value_twice(self):
        self.refused("enum tA : 8\n    ONE = 1\nenum tB : 8\n    ONE = 2\n",
                     "a.val:4: the value name 'ONE' is already declared at a.val:2")

    def test_words_of_the_languages(self):
        self.field("default u8", "'default' is a word of C++ or Java")
        self.refused("record class\n    x u8\n", "a.val:1: 'class' is a word of C++ or Java")
        self.refused("enum tA : 8\n    new = 1\n", "a.val:2: 'new' is a word of C++ or Java")

    # Types.

    def test_unknown_types(self):
        self.field("x enum tNone", "there is no enumeration 'tNone'")
        self.field("x record None_t", "there is no record 'None_t'")
        self.field("x enum R", "there is no enumeration 'R'")
        self.refused("forward F to None_t\n", "a.val:1: there is no record 'None_t'")
        self.refused("message 1 M carries None_t\n", "a.val:1: there is no record 'None_t'")

    def test_a_record_without_fields(self):
        self.refused("record R\n", "a.val:1: 'R' has no fields")

    def test_a_record_that_holds_itself(self):
        self.assertIn("a.val:1: 'A' holds itself", fault_of("record A\n    b record B\nrecord B\n    a record A\n"))

    def test_families_that_need_one_another(self):
        self.assertEqual(
            fault_of("record A\n    b record B\nrecord C\n    x u8\n", "record B\n    x u8\nrecord D\n    c record C\n"),
            "these families need one another in a ring: a, b")

    def test_a_text_over_a_record_without_one(self):
        before = "record A\n    x u8\n"
        self.refused(before + "record B text\n    a record A\n",
                     "a.val:4: 'B' has a text form and needs one of 'A'")
        self.refused(before + "forward F to A\n", "a.val:3: 'F' has a text form and needs one of 'A'")

    def test_an_assumption_in_a_record_that_is_none(self):
        before = "record A assumed\n    x u8\nrecord B\n    n u8\n"
        for field in ("a record A", "a record A[n] max 2"):
            self.refused(before + f"    {field}\n", "a.val:5: 'B' holds 'A', whose layout is assumed, and is assumed "
                         "itself")

    def test_a_message_id_out_of_range(self):
        for number in (0, 65536):
            self.refused(GOOD + f"message {number} M carries VALPoint_t\n",
                         f"a.val:6: {number} is no message id: 1 to 65535")

    # Members wider than the wire.

    def test_a_member_that_cannot_hold_the_wire(self):
        for line in ("x u16 stored u8", "x u16 stored i32", "x bool stored u8", "x u8[4] stored u32"):
            self.assertIn("a single integer goes into a wider member of the same sign",
                          fault_of(f"record R\n    {line}\n"), line)

    # Arrays.

    def test_a_count_after_its_array(self):
        self.refused("record R\n    x u8[later] max 3\n    later u8\n",
                     "a.val:2: the count 'later' of 'x' does not stand before it")

    def test_a_count_that_is_no_unsigned_integer(self):
        for kind in ("bool", "i16", "enum tA", "u8[3]"):
            self.refused(f"enum tA : 8 = 1\nrecord R\n    n {kind}\n    x u8[n] max 3\n",
                         "a.val:4: the count 'n' of 'x' is no unsigned integer")

    def test_a_count_of_two_arrays(self):
        self.field("x u8[n] max 3\n    y u8[n] max 3", "'n' counts 'x' already")

    def test_an_array_without_a_maximum(self):
        self.field("x u8[n]", "'x' has no maximum")
        self.field("x u8[n] max 0", "'x' has no maximum")

    def test_a_maximum_that_the_count_cannot_reach(self):
        self.field("x u8[n] max 256", "8 bits of 'n' cannot count up to 256")

    def test_a_maximum_of_what_is_no_array(self):
        self.field("x u8 max 3", "'x' is no array and has no maximum")
        self.field("x u8[4] max 4", "'x' has a fixed size, which is at least 1, and no maximum")

    def test_arrays_of_what_they_cannot_hold(self):
        self.field("x u16[4]", "'x': an array of fixed size holds bytes (u8)")
        self.field("x u8[0]", "'x' has a fixed size, which is at least 1, and no maximum")
        for kind in ("bool", "i8", "i32", "u64"):
            self.field(f"x {kind}[n] max 3", "'x': an array holds u8, u16, u32, enumerations or records")

    # Files, given to the command.

    def run_on(self, *words):
        run = subprocess.run([sys.executable, "-B", str(pathlib.Path(__file__).parent), *words],
                             capture_output=True, text=True, check=False)
        return run.returncode, run.stderr

    def test_files_that_cannot_be_read_or_written(self):
        with tempfile.TemporaryDirectory() as folder:
            good, odd, new = (pathlib.Path(folder) / name for name in ("good.val", "odd.val", "new.val"))
            good.write_text(GOOD)
            odd.write_bytes(GOOD.encode() + b"# \xFF\n")
            self.assertEqual(self.run_on(good), (0, ""))
            self.assertEqual(self.run_on(new), (1, f"{new}: cannot be read: No such file or directory\n"))
            self.assertEqual(self.run_on(folder), (1, f"{folder}: cannot be read: Is a directory\n"))
            self.assertEqual(self.run_on(odd), (1, f"{odd}:6: the byte 0xff is no UTF-8\n"))
            self.assertEqual(self.run_on(good, "--cpp", good), (1, f"[Errno 17] File exists: '{good}'\n"))
            self.assertEqual(self.run_on("breaking", good, folder), (2, f"valgen: {good}:1: is no frozen version; "
                                                                        "`valgen freeze` writes one\n"))
            self.assertEqual(self.run_on("breaking", odd, folder), (2, f"valgen: {odd}:6: the byte 0xff is no UTF-8\n"))

    # Enumerations.

    def test_widths_that_an_enumeration_cannot_have(self):
        self.refused("enum tA : 64 = 1\n", "a.val:1: an enumeration takes 8, 16 or 32 bits, not 64")
        self.refused("enum tA : 16 stored 8 = 1\n", "a.val:1: 8 bits in memory cannot hold 16 bits of the wire")

    def test_values_that_overlap(self):
        self.refused("enum tA : 8 = 1..5, 5\n", "a.val:1: 5..5 overlaps 1..5 in 'tA'")
        self.refused("enum tA : 8\n    ONE = 1\n    EINS = 1\n", "a.val:3: 1..1 overlaps 1..1 in 'tA'")

    def test_a_range_that_runs_backwards(self):
        self.refused("enum tA : 8 = 5..1\n", "a.val:1: the range 5..1 runs backwards")

    def test_values_beyond_the_width(self):
        self.refused("enum tA : 8 = 256\n", "a.val:1: 256 does not fit the 8 bits of 'tA'")
        self.refused("enum tA : 8 = -1, 128\n", "a.val:1: 128 does not fit the 8 signed bits of 'tA'")
        self.refused("enum tA : 8 = -129..0\n", "a.val:1: -129 does not fit the 8 signed bits of 'tA'")
        self.refused("enum tA : 8 mask 0x100\n", "a.val:1: the mask 0x100 does not fit 8 bits")
        self.refused("enum tA : 8 mask 0\n", "a.val:1: the mask 0x0 does not fit 8 bits")

    def test_no_values(self):
        self.refused("enum tA : 8\n", "a.val:1: 'tA' has no values")

    def test_names_outside_the_values(self):
        self.refused("enum tA : 8 = 1..2\n    THREE = 3\n", "a.val:2: 'THREE' names 3, which is outside of 'tA'")
        self.refused("enum tA : 8 mask 1\n    TWO = 2\n", "a.val:2: 'TWO' names 2, which is outside of 'tA'")
        self.refused("enum tA : 8 any\n    MUCH = 256\n", "a.val:2: 'MUCH' names 256, which is outside of 'tA'")
        self.refused("enum tA : 8 any\n    LESS = -1\n", "a.val:2: 'LESS' names -1, which is outside of 'tA'")


if __name__ == "__main__":
    unittest.main()
