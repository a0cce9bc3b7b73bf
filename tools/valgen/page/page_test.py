"""The catalogue page of the schemas, opened in a browser.

    python3 -m unittest page.page_test      from tools/valgen
    python3 -m page.page_test PAGE          checks a page that stands somewhere already
"""

import pathlib
import shutil
import sys
import tempfile
import time
import unittest

import layout
from model import build
from page import catalogue
from page.browser import Browser
from schema import parse, parse_file

SCHEMAS = pathlib.Path(__file__).resolve().parents[3] / "codec" / "schema"
PAGE = None  # the page to check; made if there is none

MADE_UP = """\
# Two points, and </script> in a comment.
enum tColour : 8 stored 32 = 0..7
    BLUE = 2    # like the sky
    GREEN = 4
enum tFlags : 16 mask 0x00FF
enum tTide : 8 = -2..2
record VALPart_t text
    size u16    # mm
record VALPoint_t text
    count u8
    longCount u16
    x i32
    colour enum tColour
    data u8[count] max 200
    block u8[100]
    open bool
    part record VALPart_t
    parts record VALPart_t[longCount] max 300
record VALGuess_t text assumed
    guess enum tFlags
    tides u8
    tide enum tTide
record VALUnnamed_t assumed names
    first u8
forward tValPointIndds to VALPoint_t
message 10 ValPointInd carries tValPointIndds
message 101 Other carries VALPoint_t
message 102 Guess carries VALGuess_t
message 103 Unnamed carries VALUnnamed_t
"""

# What stands in the list, in order: its group, its title, what it leads to.
RESULTS = """
return [...document.querySelectorAll("#results .rows")].flatMap(rows => [...rows.querySelectorAll("a.result")].map(each =>
    [rows.previousElementSibling.firstChild.textContent, each.querySelector(".name").textContent, each.getAttribute("href")]));
"""
BOXES = """
return [...document.querySelectorAll(".picture .part")].map(part => [part.dataset.path, part.getAttribute("class"),
    [...part.querySelectorAll(".box")].map(box => [Number(box.dataset.bytes), box.getBBox().x, box.getBBox().width])]);
"""
TEXT = "return document.querySelector(arguments[0]).innerText;"
WIDE = """
return Math.max(...[document.documentElement, document.getElementById("details"), document.getElementById("results")].map(
    each => each.scrollWidth - each.clientWidth));
"""
VISIBLE = """
const row = document.querySelector("#results [aria-current]").getBoundingClientRect();
const list = document.getElementById("results").getBoundingClientRect();
return row.top >= list.top && row.bottom <= list.bottom;
"""


class Page(unittest.TestCase):
    browser = None

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.model = build([parse_file(path) for path in sorted(SCHEMAS.glob("*.val"))])
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)
        cls.page = PAGE or cls.write("page.html", cls.model)

    @classmethod
    def write(cls, name, model):
        (cls.folder / name).write_text(catalogue.html(model), encoding="utf-8")
        return cls.folder / name

    def open(self, target="", page=None):
        self.browser.emulate(1280, 900, False)
        self.browser.open("about:blank")  # so that another target of the same page is a new page
        self.browser.open(f"file://{page or self.page}#{target}")

    def tearDown(self):
        self.assertEqual(self.browser.console(), [])

    def text(self, selector="#details"):
        return self.browser.run(TEXT, selector)

    def found(self, query):
        self.browser.run("document.getElementById('search').value = ''")
        self.browser.type(query)
        return self.browser.run(RESULTS)


class Catalogue(Page):
    """The page of all messages."""

    def test_its_counts_are_those_of_the_schemas(self):
        self.open()
        messages, layouts = layout.messages(self.model), layout.records(self.model)
        names, enums = layout.forwards(self.model), layout.enums(self.model)
        assumed = sum(each.assumed for each in layouts.values())
        self.assertEqual(self.text("#counts"),
                         f"{len(messages)} messages · {len(layouts) + len(names)} records · {len(enums)} enumerations")
        self.assertEqual(" ".join(self.text("#contract").split()),
                         f"contract {len(layouts) - assumed} assumed {assumed} of {len(layouts)} layouts")
        self.assertEqual(len(self.browser.run(RESULTS)), len(messages))
        under = sum(each.payload.assumed for each in messages)
        self.assertIn(f"they are under {under} messages", self.text())
        self.assertIn(f"{sum(each.assumed_names for each in layouts.values())} of these are agreed to the byte", self.text())
        for family in self.model.families:
            if family.messages:
                self.assertIn(f"{family.name}\t{len(family.messages)}\t", self.text(".families"))

    def test_each_search_finds_the_right_thing(self):
        self.open()
        for query, expected in (
            ("2350", ["Messages", "ValDiagnosticsresponseInd", "#2350"]),
            ("0x92e", ["Messages", "ValDiagnosticsresponseInd", "#2350"]),
            ("valdiagnosticsresponse", ["Messages", "ValDiagnosticsresponseInd", "#2350"]),
            ("VALDiagnosticsResponse_t", ["Records", "VALDiagnosticsResponse_t", "#VALDiagnosticsResponse_t"]),
            ("climate", ["Messages", "ValParkheateractivetimerInd", "#2370"]),
            ("totalLength", ["Fields", "totalLength", "#VALDiagnosticsResponse_t.totalLength"]),
            ("tVALMeasurementID", ["Enumerations", "tVALMeasurementID", "#tVALMeasurementID"]),
            ("VALMEASUREMENT_PSO_PARAMETER_LIST", ["Values", "VALMEASUREMENT_PSO_PARAMETER_LIST", "#tVALMeasurementID"]),
        ):
            with self.subTest(query):
                self.assertEqual(self.found(query)[0], expected)
        self.assertEqual(self.found("nothing of this name"), [])
        self.assertIn("'nothing of this name'", self.text("#results"))

    def test_every_message_record_and_enumeration_can_be_shown(self):
        self.open()
        missing = self.browser.run("""
            const targets = [...byId.keys(), ...Object.keys(catalogue.records), ...Object.keys(catalogue.wrappers),
                             ...Object.keys(catalogue.enums)];
            return targets.filter(target => {
              const shown = byId.has(target) ? showMessage(byId.get(target))
                : target in catalogue.enums ? showEnum(target) : showRecord(target);
              details.replaceChildren(...shown);
              draw();
              return !details.querySelector("h1").textContent.includes(target)
                || !(target in catalogue.enums || details.querySelector(".picture .part"));
            });""")
        self.assertEqual(missing, [])

    def test_the_list_shows_where_the_message_stands(self):
        for target in ("512", "2350", "3002"):
            self.open(target)
            end = time.monotonic() + 30
            while not self.browser.run(VISIBLE):
                self.assertLess(time.monotonic(), end, target)

    def test_every_family_tells_what_it_declares(self):
        self.open()
        links = self.browser.run("return [...document.querySelectorAll('.families a')].map(each => each.getAttribute('href'));")
        self.assertEqual(links, sorted(f"#{family.name}.val" for family in self.model.families if family.messages))
        shown = self.browser.run("""
            return Object.fromEntries(Object.keys(catalogue.families).map(name => [name, showFamily(name).flatMap(
                each => [...each.querySelectorAll("li a")].map(link => link.getAttribute("href").slice(1)))]));""")
        for family in self.model.families:
            self.assertCountEqual(shown[family.name], [str(each.id) for each in family.messages] + [each.name for each in family.records]
                                  + [each.name for each in family.enums])

    def test_widths_are_to_scale(self):
        for target, record in (("2350", "VALDiagnosticsResponse_t"), ("tDiagCoding", "tDiagCoding"),
                               ("VALFunctionOnDemandReport_t", "VALFunctionOnDemandReport_t")):
            self.open(target)
            unit = self.browser.run("return Number(document.querySelector('.picture').dataset.unit)")
            drawn = 0
            for path, kind, boxes in self.browser.run(BOXES):
                with self.subTest(target, path=path):
                    self.assertGreater(len(boxes), 0)
                    if "fixed" in kind.split():
                        for number, _, width in boxes:
                            self.assertAlmostEqual(width, number * unit, places=2)
                            drawn += number
            self.assertEqual(drawn, layout.records(self.model)[record].fixed_size)

    def test_it_fits_a_phone_and_a_desk_light_and_dark(self):
        for target in ("", "2350", "tDiagCoding", "VALFunctionOnDemandReport_t", "tVALMeasurementID"):
            self.open(target)
            for width in (1280, 800, 360):
                for dark in (False, True):
                    with self.subTest(target, width=width, dark=dark):
                        self.browser.emulate(width, 800, dark)
                        self.assertLessEqual(self.browser.run(WIDE), 0)
                        ground, ink = self.browser.run("""
                            const style = getComputedStyle(document.body);
                            return [style.backgroundColor, style.color].map(each => Number(each.match(/[0-9]+/)[0]));""")
                        self.assertEqual(ground < ink, dark)


class MadeUp(Page):
    """The page of a small schema, where everything that is shown is known."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.page = cls.write("made_up.html", build([parse(MADE_UP, "points.val")]))

    def test_a_message_tells_its_record_field_by_field(self):
        self.open("10")
        text = self.text()
        self.assertIn("10\nValPointInd", text)
        self.assertIn("Carries tValPointIndds, another name of VALPoint_t, and shares it with 1 other message.", text)
        rows = [line.split("\t") for line in self.text(".fields tbody").splitlines()]
        rows = [[" ".join(cell.split()) for cell in row] for row in rows]
        self.assertEqual([row for row in rows if len(row) > 1], [
            ["0", "count counts data", "u8", "1", ""],
            ["1", "longCount counts parts", "u16", "2", ""],
            ["3", "x", "i32", "4", ""],
            ["7", "colour", "enum tColour", "1", ""],
            ["8", "data", "u8[count] max 200", "0 to 200", ""],
            ["8 + data", "block", "u8[100]", "100", ""],
            ["108 + data", "open", "bool", "1", ""],
            ["109 + data", "part", "record VALPart_t", "2", ""],
            ["109 + data", "size", "u16", "2", "mm"],
            ["111 + data", "parts", "record VALPart_t[longCount] max 300", "0 to 600", ""],
            ["+0", "size", "u16", "2", "mm"],
        ])

    def test_the_picture_shows_what_is_to_scale_what_varies_and_what_counts(self):
        self.open("10")
        kinds = {path: kind.split()[1:] for path, kind, _ in self.browser.run(BOXES)}
        self.assertEqual(kinds, {
            "count": ["count", "fixed"], "longCount": ["count", "fixed"], "x": ["integer", "fixed"],
            "colour": ["enum", "fixed"], "data": ["bytes", "variable"], "block": ["bytes", "torn"],
            "open": ["bool", "fixed"], "part.size": ["integer", "fixed"], "parts": ["bytes", "variable"]})
        self.assertIn("size varies, not to scale", self.text(".legend"))
        self.assertIn("long block, not to scale", self.text(".legend"))
        arrows = "return [...document.querySelectorAll('.arrow')].map(each => [each.dataset.from, each.dataset.to]);"
        self.assertEqual(self.browser.run(arrows), [["count", "data"], ["longCount", "parts"]])

    def test_no_two_fields_overlap(self):
        self.open("10")
        boxes = self.browser.run("""return [...document.querySelectorAll('.picture .box')].map(each => {
            const box = each.getBBox(); return [box.y, box.x, box.x + box.width]; });""")
        for (row, start, end), (next_row, next_start, _) in zip(boxes, boxes[1:]):
            self.assertTrue(next_row > row or next_start >= end > start)

    def test_an_enumeration_tells_its_values_and_who_uses_it(self):
        self.open("tColour")
        rows = [line.split("\t") for line in self.text(".values tbody").splitlines()]
        self.assertCountEqual(rows, [["2", "0x02", "BLUE", "like the sky"], ["4", "0x04", "GREEN", ""], ["0 to 1", "0x00 to 0x01", "", ""],
                                     ["3", "0x03", "", ""], ["5 to 7", "0x05 to 0x07", "", ""]])
        self.assertIn("VALPoint_t.colour", self.text())
        self.open("tFlags")
        self.assertIn("any bits of 0xff", self.text())
        self.open("tTide")
        self.assertEqual(self.text(".values tbody").strip(), "-2 to 2")

    def test_an_assumed_layout_is_marked(self):
        marks = "return [...document.querySelectorAll('#results .result.assumed .name')].map(each => each.textContent);"
        self.open("102")
        self.assertEqual(self.browser.run(marks), ["Guess"])
        self.assertIn("assumed", self.text("h1"))
        self.open("10")
        self.assertIn("contract", self.text("h1"))
        self.open("103")
        self.assertIn("names ours", self.text("h1"))
        self.assertEqual(self.browser.run(marks), ["Guess"])

    def test_addresses_lead_to_what_they_name(self):
        for target, title in (("10", "10\nValPointInd"), ("ValPointInd", "10\nValPointInd"), ("VALPart_t", "VALPart_t"),
                              ("tValPointIndds", "tValPointIndds"), ("tColour", "tColour"), ("points.val", "points.val"), ("none", "Nothing of that name"),
                              ("toString", "Nothing of that name"), ("%", "Nothing of that name")):
            self.open(target)
            self.assertTrue(self.text("h1").startswith(title), self.text("h1"))
        self.open("VALPoint_t.colour")
        self.assertIn("colour", self.text("tr.target"))

    def test_what_fits_best_is_found_first(self):
        self.open()
        for query, expected in (
            ("tide", ["Fields tide", "Fields tides", "Enumerations tTide"]),  # the whole name, its start, a part of it
            ("part", ["Fields part", "Fields parts", "Fields size"]),  # and all fields before VALPart_t itself
            ("o", ["Messages Other", "Messages ValPointInd", "Messages Guess"]),
            ("point", ["Messages ValPointInd", "Messages Other", "Messages Guess"]),  # of the family points.val
        ):
            with self.subTest(query):
                self.assertEqual([f"{group} {title}" for group, title, _ in self.found(query)][:3], expected)

    def test_keys_alone_are_enough(self):
        self.open()
        self.browser.press("/", "v", "a", "l", "p", "o", "enter")
        self.assertEqual(self.browser.run("return location.hash"), "#10")
        self.browser.press("down", "down", "enter")
        self.assertEqual(self.browser.run("return location.hash"), "#VALPoint_t")
        self.browser.press("escape")
        self.assertEqual(self.browser.run("return document.activeElement.id"), "search")

    def test_nested_fields_open_and_close(self):
        self.open("10")
        rows = "return [...document.querySelectorAll('.fields tbody tr')].filter(each => !each.hidden).length;"
        before = self.browser.run(rows)
        self.browser.run("document.querySelector('.toggle').click();")
        self.assertEqual(self.browser.run(rows), before - 1)

    def test_nothing_is_fetched(self):
        self.open()
        self.assertEqual(self.browser.run("return performance.getEntriesByType('resource').length"), 0)
        self.assertNotRegex(pathlib.Path(self.page).read_text(), r"(src|href)=\"?(https?:)?//")


if __name__ == "__main__":
    if len(sys.argv) > 1:
        PAGE = pathlib.Path(sys.argv.pop(1)).resolve()
    unittest.main()
