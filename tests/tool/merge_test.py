import os

from support import ToolTest, collection, item, limit


class Merge(ToolTest):
    def setUp(self):
        super().setUp()
        self.ours = self.write("c.xml", collection(item("A1", "One", "<Notes>mine</Notes>"), item("A2")))
        self.other = self.write("o.xml", collection(item("A1", "One", "<Notes>theirs</Notes>", ' icon="2"'), item("B1")))

    def test_lists_conflicts_and_changes_nothing_until_told_what_counts(self):
        before = self.ours.read_bytes()
        failed = self.tool("merge", "-c", "c.xml", "o.xml", code=1)
        self.assertRegex(failed.err, "c.xml: 1 conflict; nothing is changed")
        self.assertRegex(failed.out, r"A1 +One +Notes +mine +theirs\n")
        self.assertIn("nothing written", self.tool("merge", "-c", "c.xml", "o.xml", "--ours", "--dry-run").out)
        self.assertEqual(self.ours.read_bytes(), before)
        os.utime(self.ours, (1, 1))
        result = self.json("merge", "-c", "c.xml", "-", "--theirs", text=self.other.read_text())
        self.assertEqual(result, {"added": 1, "changed": 1, "unchanged": 1, "conflicts": [
            {"ASIN": "A1", "Title": "One", "field": "Notes", "ours": "mine", "theirs": "theirs", "taken": "theirs"}]})
        self.assertEqual(self.asins("c.xml"), ["A1", "A2", "B1"])
        self.assertEqual(self.tool("merge", "-c", "c.xml", "o.xml").out,
                         "added 0, changed 0, unchanged 3, conflicts 0\n")

    def test_takes_what_is_newer(self):
        for times, notes in (((1, 2), "theirs"), ((2, 1), "mine")):
            content = self.ours.read_bytes()
            for path, time in zip((self.ours, self.other), times):
                os.utime(path, (time, time))
            self.tool("merge", "-c", "c.xml", "o.xml", "--newer")
            self.assertEqual(self.json("show", "-c", "c.xml", "A1")["Notes"], notes)
            self.ours.write_bytes(content)

    def test_fails_clearly(self):
        self.write("bad.xml", b"<R><Items><Item>")
        self.write("none.xml", b"<R/>")
        os.mkfifo(self.folder / "pipe")
        self.assert_failures([
            (2, "with itself", "merge", "-c", "c.xml", "./c.xml"),
            (2, "excludes", "merge", "-c", "c.xml", "o.xml", "--ours", "--newer"),
            (2, "tells no time", "merge", "-c", "c.xml", "-", "--newer"),
            (65, "bad.xml:1:", "merge", "-c", "c.xml", "bad.xml"),
            (65, "none.xml: this is no collection", "merge", "-c", "c.xml", "none.xml"),
            (65, "none.xml: this is no collection", "merge", "-c", "none.xml", "o.xml"),
            (66, "missing.xml: No such file", "merge", "-c", "missing.xml", "o.xml"),
            (66, "only a regular file can be edited", "merge", "-c", "pipe", "o.xml"),
        ], untouched=[self.ours, self.other])
        before = self.ours.read_bytes()
        self.tool("merge", "-c", "c.xml", "o.xml", "--ours", code=74, preexec_fn=limit(16))
        self.assertEqual(self.ours.read_bytes(), before)

    def test_finds_and_joins_duplicates(self):
        isbn = "<ItemAttributes><Title>Three</Title><{0}>{1}</{0}></ItemAttributes>"
        self.write("d.xml", collection(
            item("D1", inner=isbn.format("EAN", "9783161484100")),
            item("D2", inner=isbn.format("ISBN", "3-16-148410-X") + "<Notes>n</Notes>"),
            item("D3", inner=isbn.format("ISBN", "316148410X") + "<Notes>m</Notes>"),
            item("A1"), item("A1")))
        pairs = self.json("duplicates", "-c", "d.xml")
        self.assertEqual([(p["ASIN"], p["first"]["ASIN"], p["reason"], p["number"]) for p in pairs],
                         [("D2", "D1", "number", "9783161484100"), ("D3", "D1", "number", "9783161484100"),
                          ("A1", "A1", "key", None)])
        self.assertRegex(self.tool("duplicates", "-c", "-", text=(self.folder / "d.xml").read_text()).out,
                         r"D2 +Title +D1 +same product number 9783161484100\n")
        self.assertEqual(self.tool("duplicates", "-c", "d.xml", "--tsv").out.splitlines()[1],
                         "D2\tTitle\tD1\tTitle\tnumber\t9783161484100")
        merged = self.tool("duplicates", "-c", "d.xml", "--merge", code=1, lines=0)
        self.assertRegex(merged.out, r"D1 +Title +Notes +n +m\njoined 2, other editions 0, apart because of conflicts 1\n")
        self.assertEqual(self.asins("d.xml"), ["D1", "D3", "A1"])
        self.tool("duplicates", "-c", "d.xml", "--merge", "--prefer", "later")
        self.assertEqual(self.json("show", "-c", "d.xml", "D1")["Notes"], "m")
        self.assert_failures([
            (1, "no item is in it twice", "duplicates", "-c", "d.xml"),
            (2, "--merge", "duplicates", "-c", "d.xml", "--prefer", "first"),
            (2, "cannot be changed", "duplicates", "-c", "-", "--merge"),
            (66, "only a regular file", "duplicates", "-c", "/dev/null", "--merge"),
        ])
