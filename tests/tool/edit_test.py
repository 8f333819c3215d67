import datetime
import os
import pty
import subprocess
import unittest

from support import ON_WINDOWS, TOOL, ToolTest, collection, item

TODAY = datetime.date.today()


def day(distance):
    return (TODAY + datetime.timedelta(days=distance)).isoformat()


class Edit(ToolTest):
    def setUp(self):
        super().setUp()
        self.file = self.write("c.xml", collection(item("A1"), item("A2"), item("A3")))

    def set(self, *arguments, **options):
        return self.tool("set", "-c", "c.xml", "A1", *arguments, **options)

    def record(self):
        return self.json("show", "-c", "c.xml", "A1")

    def test_status_options(self):
        rows = [  # each goes on where the one before has left the item
            (["--status", "LENT", "--target", "Ana 🎁", "--from", "2024-02-29", "--until", "+14d"],
             [0, "Lent", "Ana 🎁", "2024-02-29", day(14)]),
            (["--status", "lent", "--until", "tomorrow"], [0, "Lent", "Ana 🎁", "2024-02-29", day(1)]),
            (["--from", "", "--target", ""], [0, "Lent", "", None, day(1)]),
            (["--status", "rented-out", "--from", "today", "--until", "today"],
             [2, "Rented Out", "", day(0), day(0)]),
            (["--status", "On the Way"], [6, "On the Way", "", None, None]),
            (["--target", "Shop", "--from", "2107-12-31"], [6, "On the Way", "Shop", "2107-12-31", None]),
            (["--no-status"], None),
        ]
        for arguments, expected in rows:
            with self.subTest(arguments=arguments):
                self.set(*arguments)
                status = self.record()["status"]
                self.assertEqual(status and [status[key] for key in "value name target begin end".split()], expected)

    def test_notes_icon_and_fields(self):
        self.set("--notes", "-a <b>\n\"c\"", "--icon", "-1", "--field", "Shelf=a=b", "--field", "Ä=ö")
        record = self.record()
        self.assertEqual([record[name] for name in ("Notes", "icon", "customFields")],
                         ["-a <b>\n\"c\"", -1, [{"name": "Shelf", "value": "a=b"}, {"name": "Ä", "value": "ö"}]])
        self.set("--notes", "", "--no-icon", "--field", "Shelf=", "--field", "Unknown=", "--field", "custom.New=1")
        record = self.record()
        self.assertEqual((record["Notes"], record["icon"]), ("", None))
        self.assertCountEqual(record["customFields"], [{"name": "New", "value": "1"}, {"name": "Ä", "value": "ö"}])

    def test_failures_change_nothing(self):
        for i in range(7):
            self.set("--field", f"F{i}=x")
        broken = self.write("broken.xml", collection(item("A1")).replace("</Title>", "", 1))
        page = self.write("page.html", "<html><head/></html>")
        os.mkfifo(self.folder / "pipe")
        with open(self.folder / "large.xml", "wb") as large:
            large.truncate((4 << 30) + 1)
        a1 = ("set", "-c", "c.xml", "A1")
        self.assert_failures([
            (1, "c.xml: .*fields", *a1, "--notes", "no", "--field", "F7=x"),
            (1, "c.xml: .*A9", "set", "-c", "c.xml", "A9", "--notes", "x"),
            (1, "c.xml: .*status", *a1, "--target", "Bo"),
            (1, "c.xml: .*A9", "remove", "-c", "c.xml", "A1", "A9"),
            (1, "c.xml: .*A9", "show", "-c", "c.xml", "A9"),
            (2, "lent, borrowed, rented-out", *a1, "--status", "gone"),
            (2, "2023-02-29", *a1, "--status", "lent", "--until", "2023-02-29"),
            (2, "1979", *a1, "--status", "lent", "--until", "1979-12-31"),
            (2, "2108", *a1, "--status", "lent", "--until", "2108-01-01"),
            (2, "99999d", *a1, "--status", "lent", "--until", "+99999d"),
            (2, "before", *a1, "--status", "lent", "--from", "2024-05-02", "--until", "2024-05-01"),
            (2, "excludes --no-status", *a1, "--no-status", "--target", "Bo"),
            (2, "NAME=VALUE", *a1, "--field", "=x"),
            (2, "--field pages: .*no number", *a1, "--field", "pages=x"),
            (2, "did you mean author", *a1, "--field", "Auther=x"),
            (2, "needs its title", *a1, "--field", "title="),
            (2, "one key", "set", "-c", "c.xml", "A1", "A2", "--field", "asin=A4"),
            (1, "another item has the key A3", *a1, "--field", "asin=A3"),
            (1, "no item is named", "remove", "-c", "c.xml", "-"),
            (2, "--icon", *a1, "--icon", "two"),
            (2, "at least one", *a1),
            (2, "ITEM.*empty", "set", "-c", "c.xml", "", "--notes", "x"),
            (2, "ITEM.*empty", "remove", "-c", "c.xml", "A1", " "),
            (2, "ITEM.*empty", "show", "-c", "c.xml", ""),
            (2, "standard input", "set", "-c", "-", "A1", "--notes", "x"),
            (65, r"broken.xml:2:\d+: ", "set", "-c", "broken.xml", "A1", "--notes", "x"),
            (65, "page.html: ", "remove", "-c", "page.html", "A1"),
            (66, "no.xml: No such", "set", "-c", "no.xml", "A1", "--notes", "x"),
            (66, "pipe: only a regular file", "set", "-c", "pipe", "A1", "--notes", "x"),
            (66, "/dev/full: only a regular file", "import", "-c", "/dev/full", "c.xml"),
            (65, "/dev/zero:1:1: a NUL", "list", "-c", "/dev/zero"),
            (65, "large.xml:1:1: a NUL", "show", "-c", "large.xml", "A1"),
        ], untouched=[self.file, broken, page])

    def test_every_field_can_be_set(self):
        self.set("--field", "until=2024-05-02", "--field", "who=Bo", "--field", "status=lent",
                 "--field", "authors=Ann; Bob", "--field", "actor=C; D", "--field", "ACTOR=E",
                 "--field", "price=$5.00", "--field", "added=today", "--field", "custom.price=mine")
        record = self.record()
        self.assertEqual([record[name] for name in ("authors", "actors", "ListPrice", "DateAdded", "customFields")],
                         [["Ann", "Bob"], ["C; D", "E"], "$5.00", day(0), [{"name": "price", "value": "mine"}]])
        self.assertEqual([record["status"][name] for name in ("name", "target", "end")], ["Lent", "Bo", "2024-05-02"])
        self.tool("set", "-c", "c.xml", "A1", "--field", "price=$6.00", code=2)  # which of the two?

    def test_names_of_items(self):
        self.write("c.xml", collection(
            item("A1", "Red Moon").replace("<Pro", "<EAN>4006381333931</EAN><Pro"), item("A2", "Red Sun"), item("A3", "Blue"),
            item("A3", "Blue again"), item("", "Nameless")))
        self.tool("set", "-c", "c.xml", "-", "sun", "A1", "--notes", "x", text="nameless\r\n\n4 006381 333931\n")
        self.assertEqual([r["Notes"] for r in self.json("list", "-c", "c.xml")], ["x", "x", "", "", "x"])
        self.assertEqual([r["ASIN"] for r in self.json("show", "-c", "c.xml", "sun", "a1", "sun")], ["A2", "A1", "A2"])
        self.assertEqual(self.json("show", "-c", "-", "sun", text=(self.file.read_text()))["ASIN"], "A2")
        self.assertRegex(self.tool("remove", "-c", "c.xml", "A1", "red", "A9", code=1, lines=4).err,
                         'red" may be A1  Red Moon\n.*A2  Red Sun\n.*matches 2 items.*\n.*no item A9; nothing')
        self.assertRegex(self.tool("show", "-c", "c.xml", "4006381333932", code=1).err, "check digit")
        self.tool("remove", "-c", "c.xml", "A3", "nameless")
        self.assertEqual(self.asins("c.xml"), ["A1", "A2"])

    def test_items_of_a_query(self):
        self.set("--notes", "Größe")
        self.assertIn("2 items changed", self.tool("set", "-c", "c.xml", "--query", "-note:GROSSE", "--icon", "7").err)
        self.assert_failures([
            (1, 'no item matches "xyz"; nothing is changed', "remove", "-c", "c.xml", "--query", "xyz"),
            (2, "the query is empty", "remove", "-c", "c.xml", "--query", " "),
            (2, '"icn" is no field; did you mean icon', "set", "-c", "c.xml", "--query", "icn:7", "--no-icon"),
            (2, "excludes", "remove", "-c", "c.xml", "A1", "--query", "icon:7"),
            (2, "several items cannot have one key", "set", "-c", "c.xml", "--query", "A1", "--field", "ASIN=B"),
            (2, "ITEM or --query QUERY is required", "remove", "-c", "c.xml"),
        ], untouched=[self.file])
        self.tool("remove", "-c", "c.xml", "--query", "icon:7")
        self.assertEqual(self.asins("c.xml"), ["A1"])

    def test_usual_collection(self):
        self.setting(TESSARON_SETTINGS=self.folder / "settings.db")
        self.assertEqual(self.tool().out.count("\n"), 5)
        self.assertRegex(self.tool("list", code=2).err, "tessaron use FILE")
        self.assertIn("Usage: tessaron list", self.tool("--help", "list").out)
        self.tool("use", code=1)
        self.tool("use", self.write("page.html", "<html/>"), code=65)
        self.tool("use", "no/c.xml", code=66)
        self.tool("use", "c.xml")
        self.assertEqual(self.tool("use").out, f"{self.file.resolve()}\n")
        self.assertEqual(len(self.json("list")), 3)
        self.setting(TESSARON_COLLECTION="two.xml")
        self.assertEqual(self.asins("c.xml"), ["A1", "A2", "A3"])
        self.tool("list", code=66)
        self.setting(TESSARON_COLLECTION="-")
        self.assertRegex(self.tool("remove", "A1", code=2).err, "TESSARON_COLLECTION: standard input")

    def test_adds_items(self):
        def add(*arguments, **options):
            return self.tool("add", "-c", "new.xml", *arguments, **options).out.strip()

        book = add("--title", "The Tide", "--author", "Mira Ebb", "--author", "Zoe; Yu", "--group", "book",
                   "--isbn", "0-261-10221-4", "--field", "pages=12")
        record = self.json("show", "-c", "new.xml", "978-0-261-10221-7")
        self.assertEqual([record[name] for name in ("ASIN", "Title", "authors", "ProductGroup", "ISBN", "DateAdded")],
                         [book, "Tide, The", ["Ebb, Mira", "Yu, Zoe;"], "Book", "0261102214", day(0)])
        other = add("--title", "Other", "--ean", "9780261102217", "--again")
        shop = add("--title", "Shop's", "--field", "ASIN=B1")
        self.assertEqual(self.asins("new.xml"), [book, other, "B1"])
        self.assertEqual((len({book, other}), shop), (2, "B1"))
        plain = add("--title", "Plain")
        self.assert_failures([
            (1, f"{book}.* has that EAN, UPC or ISBN", "add", "-c", "new.xml", "--title", "x", "--ean", "9780261102217",
             "--field", "ASIN=B2"),
            (1, f"{plain}.* is that item already", "add", "-c", "new.xml", "--title", "plain"),
            (1, "B1.* has that key", "add", "-c", "new.xml", "--title", "x", "--field", "asin=B1", "--again"),
            (2, "check digit", "add", "-c", "new.xml", "--title", "x", "--upc", "036000291453"),
            (2, "title is empty", "add", "-c", "new.xml", "--title", " "),
            (2, "no date", "add", "-c", "new.xml", "--title", "x", "--field", "added=soon"),
        ], untouched=[self.folder / "new.xml"])

    def edit(self, script, code=0, lines=1):
        self.setting(EDITOR=f"sed -i -e '{script}'", TMPDIR=self.folder / "tmp")
        done = self.tool("edit", "-c", "c.xml", "A1", code=code, lines=lines, stdin=subprocess.DEVNULL)
        return done.err, [path.read_text() for path in sorted((self.folder / "tmp").iterdir())]

    def test_edits_an_item_as_a_text(self):
        (self.folder / "tmp").mkdir()
        before = self.file.read_text()
        self.assertEqual(self.edit("")[1], [])
        self.assertEqual(self.file.read_text(), before)
        self.assertEqual(self.edit("s/^Title: .*/Title: New/; $ a note: |\\n  a\\n\\n  b\\nactor: C\\nactor: D")[1], [])
        record = self.record()
        self.assertEqual([record[name] for name in ("Title", "Notes", "actors")], ["New", "a\n\nb", ["C", "D"]])
        self.assertEqual(self.edit("s/^ASIN: .*/ASIN: A4/; /^note/,/^  b/ d")[1], [])
        self.assertEqual(self.json("show", "-c", "c.xml", "A4")["Notes"], "")
        self.assertEqual(self.asins("c.xml"), ["A4", "A2", "A3"])

    def test_text_that_cannot_be_taken_is_kept(self):
        (self.folder / "tmp").mkdir()
        before = self.file.read_text()
        rows = [
            ("$ a pages: x\\nfoo: y", 65, 3, r":\d+: .*no number\n.*:\d+: \"foo\" is no field.*\n.*kept in .*/tmp/"),
            ("s/^ASIN: .*/ASIN: A2/", 1, 1, "another item has the key A2.*kept in "),
            ("s/^Title/title/;q1", 1, 1, "exit code 1; .*kept in "),
        ]
        for count, (script, code, lines, message) in enumerate(rows, 1):
            with self.subTest(script=script):
                error, texts = self.edit(script, code, lines)
                self.assertRegex(error, message)
                self.assertEqual(len(texts), count)
                self.assertEqual(self.file.read_text(), before)
        self.write("meanwhile", f"sed -i s/Title:.*/Title:x/ $1; {TOOL} set -q -c c.xml A1 --notes mine\n")
        self.setting(EDITOR="sh ./meanwhile")
        self.assertRegex(self.tool("edit", "-c", "c.xml", "A1", code=1).err, "changed by another program.*kept in ")
        self.assertEqual([self.record()[name] for name in ("Title", "Notes")], ["Title", "mine"])

    def test_errors_in_a_text_can_be_mended(self):
        ours, theirs = pty.openpty()
        self.write("editor", "grep -q ^pages $1 && sed -i s/pages:.*/pages:7/ $1 || echo pages: x >>$1\n")
        self.setting(VISUAL="sh ./editor", EDITOR="false")
        os.write(ours, b"?\ne\n")
        process = subprocess.run([TOOL, "edit", "-c", "c.xml", "A1"], stdin=theirs, stdout=theirs, stderr=theirs,
                                 cwd=self.folder, timeout=60, check=False)
        self.assertEqual((process.returncode, self.record()["NumberOfPages"]), (0, "7"))
        self.assertRegex(os.read(ours, 4096).decode(), r"no number\r\nEdit again \(e\) or give up \(g\)\? Edit again")
        os.close(ours)
        os.close(theirs)

    @unittest.skipUnless(ON_WINDOWS, "the editors above are those of Linux")
    def test_an_editor_of_windows(self):
        for editor, code, authors in [("cmd.exe /c echo author: Ines>>", 0, ["Ines"]), ("cmd.exe /c exit 3", 1, ["Ines"]),
                                      ("no-such-editor", 1, ["Ines"])]:
            self.setting(VISUAL=editor)
            self.tool("edit", "-c", "c.xml", "A1", code=code)
            self.assertEqual(self.record()["authors"], authors)

    def test_simultaneous_edits_do_not_lose_one_another(self):
        self.file.write_text(collection(*(item(f"A{i}") for i in range(24))))
        running = [subprocess.Popen([TOOL, "set", "-q", "-c", self.file, f"A{i}", "--notes", f"n{i}"])
                   for i in range(24)]
        self.assertEqual([process.wait(60) for process in running], [0] * 24)
        self.assertEqual([r["Notes"] for r in self.json("list", "-c", "c.xml")],
                         [f"n{i}" for i in range(24)])
