"""Listing, showing, and what reaches a terminal."""

import csv
import io
import os
import re
import signal
import unicodedata

from support import ToolTest, collection, item, response

HOSTILE = "&#27;[2J&#155;31m\u202e&#7;&#127;x\r\ny\u009b"


def columns(line):
    return sum(0 if unicodedata.category(c) in ("Mn", "Cf") else
               2 if unicodedata.east_asian_width(c) in "WF" else 1 for c in line)


class List(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("c.xml", collection(
            item("A1", "Disc 10", "<DateAdded>35</DateAdded>"),
            item("A2", "äther", attributes=' status="7"'),
            item("A3", "Zebra", "<DateAdded>34</DateAdded>", ' status="2"'),
            item("A4", "disc 9").replace("Book", "art")))

    def test_sorts_and_selects(self):
        rows = [
            ([], "A1 A2 A3 A4"),
            (["--sort", "title"], "A2 A4 A1 A3"),
            (["--sort", "added"], "A3 A1 A2 A4"),
            (["--sort", "-added,-title"], "A1 A3 A4 A2"),
            (["--sort", "status", "--limit", "2"], "A3 A2"),
            (["-group:art", "DISC,zebra"], "A1 A3"),
            (["--", "-disc", "-status:favorite"], "A3"),
            (["-custom.x:y", "-cover:x", "-original=x", "-q", "list"], ""),
            (["--sort", "group"], "A4 A2 A1 A3"),
            (["--sort", "status"], "A3 A2 A4 A1"),
            (["--status", "none"], "A1 A4"),
            (["--status", "Rented out"], "A3"),
            (["--status", "FAVORITE", "--sort", "title"], "A2"),
        ]
        for arguments, expected in rows:
            with self.subTest(arguments=arguments):
                listed = self.tool("list", "-c", "c.xml", "--format", "{asin}", *arguments, code=not expected)
                self.assertEqual(listed.out.split(), expected.split())
        self.write("none.xml", collection())
        self.assert_failures([
            (1, "c.xml: .*sold-out", "list", "-c", "c.xml", "--status", "sold-out"),
            (1, "none.xml: ", "list", "-c", "none.xml"),
            (2, "lent, borrowed, .*favorite", "list", "-c", "c.xml", "--status", "here"),
            (2, "--sort", "list", "-c", "c.xml", "--sort", ""),
            (2, "--collection", "list"),
            (2, "a verb is required, one of use", "-q"),
            (2, '"lst" is no verb; did you mean list\\?', "lst", "-c", "c.xml"),
            (2, '"xyzzy" is no verb; there are use', "xyzzy"),
            (2, 'settings: "sett" is no verb; did you mean set\\?', "settings", "sett"),
            (2, "--jsn.*did you mean --json", "list", "-c", "c.xml", "--jsn"),
            (2, '"-c" must come after the verb', "-c", "c.xml", "list"),
            (2, "which collection", "list", "nonsense", "--", "-x"),
            (2, '"--colums" is no option; did you mean --columns', "list", "-c", "c.xml", "--colums"),
            (2, '"titel:x", character 1: "titel" is no field; did you mean Title', "list", "-c", "c.xml", "titel:x"),
            (2, '"ä year:x", character 8: "x" is no number', "list", "-c", "c.xml", "ä", "year:x"),
            (2, '--sort: "name" is no field', "list", "-c", "c.xml", "--sort", "name"),
            (2, '"Title" is there twice', "list", "-c", "c.xml", "--columns", "title,year,Title"),
            (2, "brace at character 3 has no partner", "list", "-c", "c.xml", "--format", "ä {title"),
            (2, "excludes", "list", "-c", "c.xml", "--json", "--format", "x"),
            (2, '"quer"; did you mean query', "help", "quer"),
            (1, 'no item matches "disc nonsense"', "list", "-c", "c.xml", "disc", "nonsense"),
            (1, 'no item matches "x"', "export", "--csv", "-c", "c.xml", "x", "-o", "out.csv"),
            (1, 'no item matches "x"', "stats", "--by", "group", "-c", "c.xml", "x"),
            (2, "name is empty", "list", "-c", ""),
            (66, "name is empty", "cart", ""),
            (66, "no.xml: No such file", "list", "-c", "no.xml"),
        ])
        self.assertEqual(self.tool("list", "-c", "none.xml", "--json", code=1).out, "[]\n")

    def test_gives_what_is_asked_for(self):
        rows = [
            (["--count", "group:book"], "3\n"),
            (["--columns", "asin,added,status", "--csv", "--sort", "-title", "--limit", "2"],
             "ASIN,DateAdded,status.name\r\nA3,1980-01-02,Rented Out\r\nA1,1980-01-03,\r\n"),
            (["--format", r"{{{title}}}\t{people}|{status}\n", "zebra"], "{Zebra}\t|Rented Out\n\n"),
        ]
        for arguments, expected in rows:
            with self.subTest(arguments=arguments):
                self.assertEqual(self.tool("list", "-c", "c.xml", *arguments).out, expected)
        self.assertEqual(self.json("list", "-c", "c.xml", "zebra", "--columns", "title,people,due,year,custom.ä\""),
                         [{"Title": "Zebra", "people": [], "due": None, "year": None, "custom.ä\"": None}])
        help_text = self.tool("help", "query").out
        for name in ("custom.NAME", "author", "status.target", "on-the-way"):
            self.assertIn(name, help_text)

    def test_a_reader_may_go_away(self):
        read, write = os.pipe()
        os.close(read)
        for arguments in ([], ["-o", "/dev/stdout"]):
            for handler, code, lines in [(signal.SIG_DFL, -signal.SIGPIPE, 0), (signal.SIG_IGN, 74, 1)]:
                with self.subTest(arguments=arguments, handler=handler):
                    self.tool("list", "-c", "c.xml", *arguments, code=code, lines=lines, stdout=write,
                              restore_signals=False, preexec_fn=lambda: signal.signal(signal.SIGPIPE, handler))
        os.close(write)

    def test_csv_keeps_texts_apart_and_formulas_harmless(self):
        titles = {
            'a,"b"': 'a,"b"', "=1+1": "'=1+1", "+x": "'+x", "-5": "-5", "-5+2": "'-5+2", "@x": "'@x",
            "two\nlines": "two\nlines", "＝1": "'＝1", "x;=1+1;y": "x;'=1+1;y", 'x; "=1"': 'x; \'"=1"',
            "a; -b;-5;-": "a; '-b;-5;-", "l\n@m": "l\n'@m", "a;\t\\\r=b": "a;\t\\\r'=b"}
        self.write("c.xml", collection(*(item("A", t.replace('"', "&quot;")) for t in titles)))
        out = self.tool("list", "-c", "c.xml", "--csv").out
        self.assertEqual(out.count("\r\n"), len(titles) + 1)
        rows = list(csv.DictReader(io.StringIO(out, newline="")))
        self.assertEqual([row["Title"] for row in rows], list(titles.values()))
        out = self.tool("list", "-c", "c.xml", "--tsv").out
        for text in ("x;'=1+1;y", r"l\n@m", r"a;\t\\\r=b"):
            self.assertIn(text, out)

    def test_nothing_in_a_text_steers_the_terminal(self):
        self.write("h.xml", collection(item("A1", HOSTILE, f"<Notes>{HOSTILE}</Notes>")))
        for form in [["list"], ["list", "--json"], ["list", "--csv"], ["show", "A1"], ["show", "A1", "--json"]]:
            with self.subTest(form=form):
                out = self.on_terminal(*form, "-c", "h.xml", "--color", "never", width=200)
                self.assertIn("[2J", out)
                self.assertNotRegex(out, "[\x00-\x08\x0b\x0c\x0e-\x1f\x7f-\x9f]")
                data = "--json" in form or "--csv" in form  # is complete
                self.assertEqual("\u202e" in out, data)
        for verb in ("sort", "sortform"):
            self.write("lines", "\x1b[2J\x9bx\n")
            self.assertNotRegex(self.on_terminal(verb, "lines"), "[\x1b\x9b]")
            self.assertIn("\x1b[2J\x9b", self.tool(verb, "lines").out.lower().replace("[2j", "[2J"))
        self.assertNotRegex(self.tool("show", "-c", "h.xml", "\x1b[9Z", code=1).err, "\x1b")

    def test_tables_fit_the_terminal_and_are_whole_elsewhere(self):
        long = "星を編む猫の手帖 " * 6 + "e\u0301" * 120 + "🚂" * 9
        key, who = "B" * 19, "αβγδεζηθικλμνξοπρστυφχψω"
        self.write("w.xml", collection(item(key, long), item("B2", "Short")))
        self.tool("set", "-c", "w.xml", key, "--status", "lent", "--target", who, "--until",
                  "2024-02-29", "--from", "2024-02-28")
        for width in (20, 80):
            with self.subTest(width=width):
                out = self.on_terminal("list", "-c", "w.xml", "--color", "never", width=width)
                self.assertLessEqual(max(map(columns, out.splitlines())), width)
                for whole in (key, "2024-02-29", "overdue", "Lent", "…", "🚂"):
                    self.assertIn(whole, out)
                self.assertEqual(out.count("…"), 1, "only the title may lose something")
                self.assertEqual("".join(c for c in out if c in who), who)
        self.write("x.xml", collection(item("A", "x" * 300)))
        out = self.on_terminal("list", "-c", "x.xml", width=40)
        self.assertGreater(min(map(len, re.findall("[x…]+", out))), 10, "a line of little else than …")
        lines = self.tool("list", "-c", "w.xml").out.splitlines()
        self.assertIn(long, lines[1])
        self.assertEqual(columns(lines[0].split("Group")[0]), columns(lines[1].split("Book")[0]))

    def test_progress_fits_and_vanishes(self):
        names = ["a-response-with-a-long-name.xml", "b.xml"]
        for name in names:
            self.write(name, response(item(name)))
        out = self.on_terminal("import", "-c", "n.xml", *names)
        steps = re.findall(r"\r\x1b\[K([^\r\n]*)", out)
        self.assertEqual(steps[:2], ["importing 0/2 a-re…", "importing 1/2 b.xml"])
        self.assertTrue(all(columns(step) < 20 for step in steps[:2]))
        self.assertRegex(steps[2], "^read 2, ")  # in a line that is empty again
        self.assertNotIn("\x1b", self.on_terminal("import", "-q", "-c", "n.xml", *names))
        self.assertEqual(self.tool("import", "-c", "n.xml", *names).err, "")

    def test_colour_only_where_it_is_wanted(self):
        for env, arguments, expected in [({}, [], True), ({"NO_COLOR": "1"}, [], False), ({"NO_COLOR": ""}, [], True),
                                         ({"NO_COLOR": "1"}, ["--color", "always"], True),
                                         ({}, ["--color=never"], False)]:
            with self.subTest(env=env, arguments=arguments):
                out = self.on_terminal(*arguments, "list", "-c", "c.xml", env=env, width=80)
                self.assertEqual("\x1b[" in out, expected)
        self.assertNotIn("\x1b", self.tool("list", "-c", "c.xml").out)
        self.assertIn("\x1b", self.tool("list", "-c", "c.xml", "--color", "always").out)

    def test_show_prints_what_there_is(self):
        out = self.tool("show", "-c", "-", "A3", text=collection(item(
            "A3", "Zebra", "<Notes>one\ntwo</Notes><Tracks><Disc><Track>t1</Track></Disc></Tracks>"))).out
        self.assertIn("Title: Zebra\n", out)
        self.assertIn("Notes: one\n  two\n", out)
        self.assertRegex(out, r"discs:\n +-\n +- t1\n")
        self.assertNotIn("Publisher", out)
