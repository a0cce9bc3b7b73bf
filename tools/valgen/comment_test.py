"""Whose a schema's comments are."""

import unittest

from model import build
from schema import parse

SCHEMA = """\
# What this file holds,
# in two lines.

# Nobody's: a heading.

# Of the
# enumeration,
enum tColour : 8    # all of it
    # of the
    RED = 1         # red
    BLUE = 2
record R            # of the record
    x u8            # of a field
    # of another

    n u8
    names u8[n] max 3   # of an array
    date u8[4]          # of bytes
record T text
    c enum tColour
# Of the forwarder.
forward tF to T
message 1 F carries tF  # of the message
"""


class Comments(unittest.TestCase):
    def setUp(self):
        self.family = build([parse(SCHEMA, "a.val")]).families[0]

    def test_a_file_starts_with_what_the_family_is(self):
        self.assertEqual(self.family.comment, "What this file holds, in two lines.")
        touching = build([parse("# The family.\nrecord R\n    x u8\n", "a.val")]).families[0]
        self.assertEqual((touching.comment, touching.records[0].comment), ("The family.", ""))

    def test_a_comment_belongs_to_its_line_and_to_the_one_right_below(self):
        colour, (record, text) = self.family.enums[0], self.family.records
        self.assertEqual(colour.comment, "Of the enumeration, all of it")
        self.assertEqual([each.comment for each in colour.names], ["of the red", ""])
        self.assertEqual((record.comment, text.comment), ("of the record", ""))
        self.assertEqual([each.comment for each in record.fields], ["of a field", "", "of an array", "of bytes"])
        self.assertEqual(self.family.forwards[0].comment, "Of the forwarder.")
        self.assertEqual(self.family.messages[0].comment, "of the message")


if __name__ == "__main__":
    unittest.main()
