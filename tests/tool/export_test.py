import csv
import io
import json
import os
import pathlib

from support import ToolTest, collection, item

EXAMPLES = pathlib.Path(os.environ["TESSARON_SOURCE"]) / "examples"
TRICKY = collection(
    item("A1", 'Say "hi", ok; 1', '<Notes>line one\nline two</Notes>', ' icon="-4"'),
    item("A2", "=1+1", '<CustomFields><CustomField name="@a" value="-b"/>'
                       '<CustomField name="n" value="v"/></CustomFields>'),
    item("A3", "-12.5", "<Notes>+49 30 123</Notes>"),
    item("A4", "", "<Tracks><Disc><Track>a</Track><Track/><Track>b</Track></Disc>"
                   "<Disc><Track>c, d</Track></Disc></Tracks>"),
)


class Export(ToolTest):
    def setUp(self):
        super().setUp()
        self.tool("import", "-c", "c.xml", EXAMPLES / "response.xml", EXAMPLES / "response_v3.xml")
        self.tool("set", "-c", "c.xml", "EXB0000001", "--status", "lent", "--target", "Mo, Jr.",
                  "--from", "2024-02-29", "--until", "2024-03-01", "--field", "Shelf=4")
        self.write("tricky.xml", TRICKY)

    def export(self, file, form):
        return self.tool("export", "-c", file, "--" + form).out

    def test_json_holds_what_the_responses_say(self):
        records = {r["ASIN"]: r for r in json.loads(self.export("c.xml", "json"))}
        self.assertEqual(len(records), 15)
        for asin, key, expected in [
            ("EXB0000003", "ListPrice", "¥1,680"),
            ("EXS0000012", "features", ["Findet jeden Zettel <sofort> & ohne Murren",
                                        "Zählt rückwärts, wenn es sein muss"]),
            ("EXM0000006", "discs", [["改札の向こうの海", "各駅停車ワルツ", "網棚のうえの月"]]),
            ("EXB0000001", "offerListing", {"OfferListingId": "exoffer-0001", "Price": "$16.80",
                                            "Availability": "Usually ships in 24 hours"}),
            ("EXB0000001", "customFields", [{"name": "Shelf", "value": "4"}]),
            ("EXD0000008", "languages", ["English (Original Language)", "Spanish (Subtitled)",
                                         "French (Stereo)"]),
        ]:
            with self.subTest(asin=asin, key=key):
                self.assertEqual(records[asin][key], expected)
        self.write("none.xml", collection())
        self.assertIn("This collection is empty", self.export("none.xml", "html"))
        status = records["EXB0000001"]["status"]
        dates = (status["begin"], status["end"], status["due"])
        self.assertEqual(dates, ("2024-02-29", "2024-03-01", 1))

    def test_csv_holds_all_records_and_no_formula(self):
        rows = {}
        for file in ("c.xml", "tricky.xml"):
            text = self.export(file, "csv")
            self.assertEqual(text.count("\r\n"), text.count("\r"), "a line ends with CRLF")
            head, *lines = csv.reader(io.StringIO(text, newline=""), strict=True)
            records = json.loads(self.export(file, "json"))
            self.assertEqual({name.split(".")[0] for name in head},
                             set(records[0]) - {"offers", "folders"})
            self.assertEqual([dict(zip(head, line, strict=True))["ASIN"] for line in lines],
                             [record["ASIN"] for record in records])
            rows.update((line[head.index("ASIN")], dict(zip(head, line))) for line in lines)
        for asin, name, expected in [
            ("EXM0000022", "Title", "'=SUM(Rain)"),
            ("EXB0000001", "status.end", "2024-03-01"),
            ("EXB0000001", "status.target", "Mo, Jr."),
            ("EXB0000001", "offerListing.Price", "$16.80"),
            ("A1", "Title", 'Say "hi", ok; 1'),
            ("A1", "Notes", "line one\nline two"),
            ("A1", "icon", "-4"),
            ("A2", "Title", "'=1+1"),
            ("A2", "customFields", "'@a: -b; n: v"),
            ("A3", "Title", "-12.5"),
            ("A3", "Notes", "'+49 30 123"),
            ("A4", "discs", "a; ; b\nc, d"),
        ]:
            with self.subTest(asin=asin, name=name):
                self.assertEqual(rows[asin][name], expected)

    def test_verbs_agree_on_columns_and_forms(self):
        self.tool("set", "-c", "tricky.xml", "A1", "--status", "lent", "--until", "today")
        whole = list(csv.DictReader(io.StringIO(self.export("tricky.xml", "csv"), newline="")))
        for verb, own in [("list", set()), ("due", {"state", "daysLeft"})]:
            done = self.tool(verb, "-c", "tricky.xml", "--csv", "-o", "rows.csv")
            self.assertEqual(done.out, "")
            with open(self.folder / "rows.csv", newline="", encoding="utf-8") as file:
                rows = list(csv.DictReader(file, strict=True))
            self.assertEqual(set(rows[0]) - set(whole[0]), own)
            self.assertEqual([{name: row[name] for name in row if name not in own} for row in rows],
                             [{name: row[name] for name in rows[0] if name not in own}
                              for row in whole[:len(rows)]])
            lines = self.tool(verb, "-c", "tricky.xml", "--tsv").out.splitlines()
            self.assertEqual([line.split("\t") for line in lines],
                             [list(rows[0]), *(list(row.values()) for row in rows)])
        self.write("t.xml", collection(item("T", "a;\t\\\r\n=b")))
        self.assertIn(r"a;\t\\\r\n=b", self.tool("list", "-c", "t.xml", "--tsv").out)
        self.assertIn('T,"a;\t', self.tool("list", "-c", "t.xml", "--csv").out)

    def test_targets(self):
        old = self.write("out.json", "old")
        old.chmod(0o640)
        done = self.tool("export", "-c", "c.xml", "--json", "-o", "out.json")
        self.assertEqual((done.out, done.err), ("", "out.json: 15 items\n"))
        self.assertEqual(old.read_text(), self.export("c.xml", "json"))
        self.assertEqual(old.stat().st_mode & 0o777, 0o640)
        self.assertEqual(self.tool("--quiet", "export", "-c", "c.xml", "--csv", "-o", "o.csv").err, "")
        text = (self.folder / "c.xml").read_text()
        piped = self.tool("export", "-c", "-", "--html", text=text).out
        self.assertIn("<h1 dir=\"auto\">Collection</h1>", piped)

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
            (66, "no.xml: ", "export", "-c", "no.xml", "--html", "-o", "out.html"),
            (73, "no/out.html: ", *export, "--html", "-o", "no/out.html"),
            (2, "empty", *export, "--json", "-o", ""),
        ], untouched=[file, out, broken])
        with open("/dev/full", "wb") as full:
            self.tool(*export, "--html", code=74, stdout=full)
