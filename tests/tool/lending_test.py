import datetime
import os
import stat

from support import ToolTest, collection, item

TODAY = datetime.date.today()


class Lending(ToolTest):
    def setUp(self):
        super().setUp()
        self.setting(XDG_STATE_HOME=self.folder / "state")
        self.file = self.write("c.xml", collection(item("A1", "Tides"), item("A2"), item("A3")))

    def edit(self, *arguments, **options):
        verb, *rest = arguments
        return self.tool(verb, "-c", "c.xml", *rest, **options)

    def loans(self, *arguments):
        return [[row[key] for key in ("ASIN", "name", "target", "returned")]
                for row in self.json("loans", "-c", "c.xml", *arguments)]

    def test_a_day_at_the_shelf(self):
        self.edit("lend", "A1", "A2", "--to", "Mira", "--until", "+14d")
        self.edit("borrow", "A3", "--from", "Jo", "--until", "tomorrow")
        self.assertEqual(self.loans(), [["A1", "Lent", "Mira", None], ["A2", "Lent", "Mira", None],
                                        ["A3", "Borrowed", "Jo", None]])
        self.edit("return", "-", text="A1\r\n\nA3\tJO\n")
        self.edit("lend", "-", "--to", "Bo", text="A1\tAna\nA3\n")
        day = TODAY.isoformat()
        self.assertEqual(self.loans("--all"),
                         [["A1", "Lent", "Ana", None], ["A1", "Lent", "Mira", day], ["A2", "Lent", "Mira", None],
                          ["A3", "Lent", "Bo", None], ["A3", "Borrowed", "Jo", day]])
        self.edit("return", "--query", "who:bo,ana")
        self.assertEqual(self.loans(), [["A2", "Lent", "Mira", None]])
        self.edit("undo")
        self.assertEqual([each["ASIN"] for each in self.json("show", "-c", "c.xml", "--query", "status:lent -tides")],
                         ["A2", "A3"])
        shown = self.json("show", "-c", "c.xml", "A1")
        self.assertEqual((shown["copies"], [loan["target"] for loan in shown["loans"]]), (1, ["Mira"]))
        self.edit("export", "--html", "-o", "page.html")
        self.assertRegex((self.folder / "page.html").read_text(), rf'"target":"Mira","begin":"{day}".*"returned":"{day}"')
        self.assert_failures([
            (1, "A1: it is lent to Ana already", "lend", "-c", "c.xml", "A1", "--to", "Bo"),
            (1, "c.xml: no item matches", "loans", "-c", "c.xml", "status:favorite"),
            (1, "A9", "return", "-c", "c.xml", "A1", "A9"),
            (1, "A1: it is not with Mira but lent to Ana", "return", "-c", "c.xml", "A1", "--from", "Mira"),
            (2, "A1: tell who, with --to", "lend", "-c", "c.xml", "A1"),
            (2, "\"soon\" is no date", "lend", "-c", "c.xml", "A1", "--to", "Bo", "--until", "soon"),
        ], untouched=[self.file])

    def test_undo_takes_back_what_each_verb_did(self):
        states = [self.file.read_text()]
        for command in (["set", "A1", "--notes", "n"], ["lend", "A2", "--to", "Mira"], ["remove", "A2", "A3"],
                        ["import", self.write("r.xml", collection(item("B1"), item("A1", "New")))]):
            trial = self.edit(*command, "--dry-run").out
            self.assertEqual(self.file.read_text(), states[-1], command)
            self.assertRegex(trial, r"(changed|removed)  A\d  ", command)
            self.edit(*command)
            states.append(self.file.read_text())
        self.assertIn("added  B1  Title", trial)
        self.assertIn("  Title: Tides -> New\n", trial)
        log = self.json("log", "-c", "c.xml")
        self.assertEqual([(edit["verb"], edit["added"], edit["changed"], edit["removed"]) for edit in log],
                         [("import", 1, 1, 0), ("remove", 0, 0, 2), ("lend", 0, 1, 0), ("set", 0, 1, 0)])
        self.edit("undo")
        self.assertEqual(self.file.read_text(), states[3])
        self.edit("undo", "3")
        self.assertEqual(self.file.read_text(), states[0])
        self.edit("undo", "--redo", "4")
        self.assertEqual(self.file.read_text(), states[4])
        for path in (self.folder / "state").rglob("*.edit"):
            self.assertEqual(stat.S_IMODE(path.stat().st_mode), 0o600)

        self.file.write_text(states[4].replace(">New<", ">Newer<"))
        self.assert_failures([
            (1, r"c.xml: an item is not as edit \d+ \(import, .*\) left it: A1; nothing is changed",
             "undo", "-c", "c.xml"),
            (1, "there are only 4 edits", "undo", "-c", "c.xml", "9"),
            (1, "r.xml: there is no edit to take back", "undo", "-c", "r.xml"),
            (2, "N", "undo", "-c", "c.xml", "0"),
        ], untouched=[self.file])

    def test_a_thousand_lines_are_one_edit(self):
        names = [f"A{i}" for i in range(1000)]
        self.file.write_text(collection(*map(item, names)))
        lines = "".join(f"{name}\tP{i}\n" for i, name in enumerate(names))
        self.edit("lend", "-", text=lines)
        self.edit("return", "-", text=lines)
        self.assertEqual([(edit["verb"], edit["changed"]) for edit in self.json("log", "-c", "c.xml")],
                         [("return", 1000), ("lend", 1000)])
        self.assertEqual(len(self.loans("--all")), 1000)

    def test_an_edit_does_not_fail_for_its_history(self):
        self.needs_linux("a state folder of one's choice")
        os.environ["XDG_STATE_HOME"] = "/dev/null"
        self.assertRegex(self.edit("set", "A1", "--notes", "n").err, "c.xml: the edit cannot be taken back: /dev/null")
        self.assertEqual(self.json("show", "-c", "c.xml", "A1")["Notes"], "n")
