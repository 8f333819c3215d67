"""What is exported, and that each form holds the same."""

import csv
import io
import json
import os

import jsonschema
from support import RESPONSES, SOURCE, ToolTest, collection, item

TRICKY = collection(
    item("A1", 'Say "hi", ok; 1', "<Notes>line one\nline two</Notes>", ' icon="-4"'),
    item("A2", "=1+1", "<Notes>+49 30 123</Notes><CustomFields><CustomField name='@a' value='-b'/>"
                       "<CustomField name='n' value='v'/></CustomFields>"),
)
# Items with what no response holds: odd numbers, dates that do not exist, a slot without a name.
ODD = collection(
    item("A1", attributes=' icon="-3" status="42"', inner="<DateAdded>65535</DateAdded>"),
    item("A2", attributes=' status="1"', inner="<StatusEndDate>1</StatusEndDate><StatusTarget/>"),
    item("A3", inner='<CustomFields><CustomField name="" value="v"/></CustomFields>'
                     "<DateAdded>13089</DateAdded>"),
    "<Item/>",
)
SCHEMA = json.loads((SOURCE / "docs" / "collection.schema.json").read_text())


def validator(schema):
    return jsonschema.Draft202012Validator(schema, format_checker=jsonschema.FormatChecker())


ONE = validator({"$ref": "#/$defs/record", "$defs": SCHEMA["$defs"]})


class Export(ToolTest):
    def setUp(self):
        super().setUp()
        self.tool("import", "-c", "c.xml", *RESPONSES)
        self.tool("set", "-c", "c.xml", "EXB0000001", "--status", "lent", "--target", "Mo, Jr.", "--icon", "7",
                  "--from", "2024-02-29", "--until", "2024-03-01", "--field", "Shelf=4")
        self.write("tricky.xml", TRICKY)

    def export(self, file, form):
        return self.tool("export", "-c", file, "--" + form).out

    def test_json_fits_the_schema(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)
        whole = validator(SCHEMA)
        for name, text, count in [("c.xml", None, 15), ("odd.xml", ODD, 4), ("none.xml", collection(), 0)]:
            if text:
                self.write(name, text)
            records = json.loads(self.export(name, "json"))
            self.assertEqual(len(records), count)
            whole.validate(records)
            if count:
                self.assertEqual(self.json("list", "-c", name), records)
        self.assertIn("This collection is empty", self.export("none.xml", "html"))
        ONE.validate(self.json("show", "-c", "c.xml", "EXB0000001"))

    def test_the_schema_allows_nothing_else(self):
        record = self.json("show", "-c", "c.xml", "EXB0000001")
        described = SCHEMA["$defs"]["record"]
        self.assertEqual([described["required"], list(described["properties"])], [list(record)] * 2)
        others = [{**record, key: value} for key in record for value in ([None], {"x": 1}, 1.5)]
        for part, key, value in [("status", "due", 3), ("status", "end", "22.11.2026"), ("offerListing", "Price", None)]:
            others.append({**record, part: {**record[part], key: value}})
        for other in [{**record, "Colour": "blue"}, *others]:
            self.assertFalse(ONE.is_valid(other), other)

    def test_csv_holds_all_records_and_no_formula(self):
        rows = {}
        for file in ("c.xml", "tricky.xml"):
            text = self.export(file, "csv")
            self.assertEqual(text.count("\r\n"), text.count("\r"), "a line ends with CRLF")
            head, *lines = csv.reader(io.StringIO(text, newline=""), strict=True)
            records = json.loads(self.export(file, "json"))
            self.assertEqual({name.split(".")[0] for name in head}, set(records[0]) - {"offers", "folders", "loans", "files"})
            rows.update((record["ASIN"], dict(zip(head, line, strict=True)))
                        for record, line in zip(records, lines, strict=True))
        for asin, name, expected in [
            ("EXM0000022", "Title", "'=SUM(Rain)"),
            ("EXB0000001", "status.end", "2024-03-01"),
            ("EXB0000001", "offerListing.Price", "$16.80"),
            ("A1", "icon", "-4"),
            ("A2", "customFields", "'@a: -b; n: v"),
            ("A2", "Notes", "'+49 30 123"),
        ]:
            with self.subTest(asin=asin, name=name):
                self.assertEqual(rows[asin][name], expected)

    def test_verbs_agree_on_columns_and_forms(self):
        self.tool("set", "-c", "tricky.xml", "A1", "--status", "lent", "--until", "today")
        whole = list(csv.DictReader(io.StringIO(self.export("tricky.xml", "csv"), newline="")))
        for verb, own in [("list", set()), ("due", {"state", "daysLeft"})]:
            self.assertEqual(self.tool(verb, "-c", "tricky.xml", "--csv", "-o", "rows.csv").out, "")
            with open(self.folder / "rows.csv", newline="", encoding="utf-8") as file:
                rows = list(csv.DictReader(file, strict=True))
            self.assertEqual(set(rows[0]) - set(whole[0]), own)
            self.assertEqual([{name: row[name] for name in row if name not in own} for row in rows],
                             [{name: row[name] for name in rows[0] if name not in own}
                              for row in whole[:len(rows)]])
            lines = self.tool(verb, "-c", "tricky.xml", "--tsv").out.splitlines()
            self.assertEqual([line.split("\t") for line in lines],
                             [list(rows[0]), *(list(row.values()) for row in rows)])

    def test_targets(self):
        old = self.write("out.json", "old")
        old.chmod(0o640)
        done = self.tool("export", "-c", "c.xml", "--json", "-o", "out.json")
        self.assertEqual((done.out, done.err), ("", "out.json: 15 items\n"))
        self.assertEqual(old.read_text(), self.export("c.xml", "json"))
        self.assertEqual(old.stat().st_mode & 0o777, 0o640)
        self.assertEqual(self.tool("--quiet", "export", "-c", "c.xml", "--csv", "-o", "o.csv").err, "")
        self.assertIn('<h1 dir="auto">Collection</h1>', self.tool("export", "-c", "-", "--html", text=TRICKY).out)

    def test_failures_leave_every_file_alone(self):
        file = self.folder / "c.xml"
        out = self.write("out.html", "old")
        broken = self.write("broken.xml", collection(item("A1"), item("A2"))[:-30])
        os.link(file, self.folder / "same.xml")
        export = ("export", "-c", "c.xml")
        self.assert_failures([
            (2, "one of --json", *export),
            (2, "--csv excludes --html", *export, "--csv", "--html", "-o", "b.csv"),
            (2, "c.xml: the output", *export, "--csv", "-o", "c.xml"),
            (2, "same.xml: the output", *export, "--html", "-o", "same.xml"),
            (65, r"broken.xml:\d+:\d+: ", "export", "-c", "broken.xml", "--html", "-o", "out.html"),
            (73, "no/out.html: ", *export, "--html", "-o", "no/out.html"),
            (2, "empty", *export, "--json", "-o", ""),
        ], untouched=[file, out, broken])
        with open("/dev/full", "wb") as full:
            self.tool(*export, "--html", code=74, stdout=full)
