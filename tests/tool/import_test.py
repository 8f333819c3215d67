import datetime
import os
import subprocess
from xml.sax.saxutils import escape

from support import TOOL, ToolTest, collection, item, limit, response

OLD_DIALECT = """<ProductInfo><Details url="http://shop.example/old"><Asin>OLD1</Asin>
<ProductName>Older</ProductName><Catalog>Music</Catalog></Details></ProductInfo>"""
SERVICE_ERROR = """<R><Items><Request><Errors><Error><Code>None</Code>
<Message>We found no match.</Message></Error></Errors></Request></Items></R>"""


class Import(ToolTest):
    def assert_counts(self, counts, *arguments, **options):
        """Numbers of added, updated and skipped items; the rejected ones come back."""
        result = self.json("import", "-c", "c.xml", *arguments, **options)
        rejected = result["rejected"]
        self.assertEqual([result[key] for key in ("added", "updated", "skipped")], counts)
        self.assertEqual(result["read"], sum(counts) + len(rejected))
        return rejected

    def test_adds_then_skips_then_updates_what_the_shop_changed(self):
        self.write("r.xml", response(item("A1", "Äpfel 🍏"), item("A2")))
        self.write("old.xml", OLD_DIALECT)
        self.assert_counts([3, 0, 0], "r.xml", "old.xml", "--dry-run")
        self.assertFalse((self.folder / "c.xml").exists())
        self.assert_counts([3, 0, 0], "r.xml", "old.xml")
        before = (self.folder / "c.xml").stat()
        self.assert_counts([0, 0, 3], "r.xml", "old.xml")
        after = (self.folder / "c.xml").stat()
        self.assertEqual((before.st_ino, before.st_mtime_ns), (after.st_ino, after.st_mtime_ns))

        self.tool("set", "-c", "c.xml", "A1", "--status", "lent", "--target", "Åsa", "--notes",
                  "signed", "--icon", 3, "--field", "Shelf=7")
        self.write("r.xml", response(item("A1", "Birnen"), item("A2")))
        self.assert_counts([0, 1, 1], "r.xml")
        record = self.json("show", "-c", "c.xml", "A1")
        self.assertEqual([record["Title"], record["DateAdded"], record["status"]["target"], record["Notes"],
                          record["icon"], record["customFields"]],
                         ["Birnen", datetime.date.today().isoformat(), "Åsa", "signed", 3,
                          [{"name": "Shelf", "value": "7"}]])

    def test_names_and_titles_take_any_character(self):
        name, title = "本屋 🎵 é.xml", "星を編む 🎵"
        self.write(name, response(item("A1", title)))
        self.assert_counts([1, 0, 0], name)
        self.tool("export", "--json", "-c", "c.xml", "-o", "出力🎵.json")
        self.tool("import", "-c", name + "2", "出力🎵.json")
        self.setting(TESSARON_COLLECTION=name + "2")
        self.assertEqual(self.tool("list", "--format", "{title}", title.split()[0]).out, title + "\n")

    def test_stores_what_items_sort_by_and_knows_them_again(self):
        people = "".join(f"<{kind}>jo van der doe</{kind}>" for kind in ("Actor", "Author"))
        def shop(title):
            self.write("r.xml", response(item("A1", title).replace("<Title>", people + "<Title>")))
        def stored():
            record = self.json("show", "-c", "c.xml", "A1")
            return record["Title"], record["actors"], record["authors"]
        self.setting(TESSARON_SETTINGS=self.folder / "settings.db")
        shop("The Matrix")
        self.assert_counts([1, 0, 0], "r.xml")
        self.assertEqual(stored(), ("Matrix, The", ["Doe, Jo Van Der"], ["Doe, Jo Van Der"]))
        self.assert_counts([0, 0, 1], "r.xml")
        self.tool("set", "-c", "c.xml", "A1", "--status", "lent")
        shop("The Matrix Reloaded")
        self.assert_counts([0, 1, 0], "r.xml")
        self.assertEqual(stored()[0], "Matrix Reloaded, The")
        self.tool("settings", "set", "CollationOption", 3)
        self.assert_counts([0, 1, 0], "r.xml")
        self.assertEqual(stored(), ("Matrix Reloaded, The", ["jo van der doe"], ["jo van der doe"]))
        self.assertEqual(self.tool("sortform", text="jo doe").out, "jo doe\n")
        self.tool("settings", "reset", "CollationOption")
        shop("Les Misérables")
        self.assert_counts([0, 1, 0], "r.xml", "--sort-language", "nl")
        self.assertEqual(stored(), ("Les Misérables", ["doe, jo van der"], ["doe, jo van der"]))
        self.write("r.xml", (self.folder / "r.xml").read_text().replace(
            "</Author>", "</Author><Languages><Language><Name>English</Name><Type>Original Language</Type></Language>"
                         "<Language><Name>French</Name><Type>Published</Type></Language></Languages>"))
        self.assert_counts([0, 1, 0], "r.xml", "--sort-language", "auto")
        self.assertEqual(stored()[0], "Misérables, Les")
        self.assert_counts([0, 0, 1], "r.xml", "--sort-language", "auto")
        self.needs_linux("a file with settings")
        self.setting(TESSARON_SETTINGS=self.folder)  # which cannot be read as a file
        self.assert_failures([
            (66, "cannot be opened", "import", "-c", "c.xml", "r.xml"),
            (66, "cannot be opened", "sortform", "r.xml"),
            (66, "cannot be opened", "theme", "list"),
        ], untouched=[self.folder / "c.xml"])

    def test_reads_standard_input_and_pipes_and_rejects_single_items(self):
        text = response(item("A1"), item("", "Nameless"))
        self.assertEqual([(r["file"], r["item"], r["title"], bool(r["reason"]))
                          for r in self.assert_counts([1, 0, 0], "-", text=text)],
                         [("standard input", 2, "Nameless", True)])
        self.needs_linux("names for pipes")
        read, write = os.pipe()
        os.write(write, text.replace("A1", "A2").encode())
        os.close(write)
        done = self.tool("import", "-c", "c.xml", f"/dev/fd/{read}", pass_fds=[read])
        os.close(read)
        self.assertEqual(done.out, "read 2, added 1, updated 0, skipped 0, rejected 1\n")
        self.assertRegex(done.err, r'\Atessaron: /dev/fd/\d+: item 2 "Nameless" rejected: .+\n\Z')

    def test_takes_exports_back_and_tells_what_it_recognized(self):
        hard = ["=1+1", "'=x", " a ", "x;=b", "a,b\\\"c\"\\t", "l1\nl2", "-3", "ä\u3042"]
        text = "".join(item(f"A{i}", escape(title)) for i, title in enumerate(hard))
        self.write("c.xml", collection(text))
        self.tool("set", "-c", "c.xml", "A1", "--status", "lent", "--target", "=Mo", "--until", "2030-01-02",
                  "--icon", 3, "--field", "Shelf=a; b", "--field", "x=y: z")
        for form in ("json", "csv", "tsv"):
            with self.subTest(form):
                self.tool("export", "-c", "c.xml", f"--{form}", "-o", "out")
                self.assertEqual(self.json("import", "-c", f"{form}.xml", "out")["added"], 8)
                self.assertEqual(self.json("import", "-c", f"{form}.xml", "out")["skipped"], 8)
                self.assertEqual(self.tool("export", "-c", f"{form}.xml", f"--{form}").out.encode(),
                                 (self.folder / "out").read_bytes())

        self.write("t.csv", "Book;Who;Where\nX;Lund, Bo;7\n;Y;\n")
        (self.folder / "books/X (1)").mkdir(parents=True)
        (self.folder / "books/X (1)/metadata.opf").write_text(
            "<package><metadata><dc:title>X</dc:title></metadata></package>")
        mapped = ("--map", "title=book", "--map", "author=Who", "--map", "custom=Where")
        done = self.tool("import", "-c", "new.xml", "t.csv", "books", *mapped, "--dry-run")
        self.assertRegex(done.out, "^t.csv: CSV, UTF-8, separator semicolon\n  Book -> Title\n  Who -> authors\n"
                                   "  Where -> customFields: Where\nbooks: OPF of calibre, UTF-8\n"
                                   r"(added  item-\w+  X\n){2}"
                                   r"read 3, added 2, updated 0, skipped 0, rejected 1 \(nothing written\)\n$")
        self.assertIn('t.csv: item 2 (line 3) "" rejected: it has no title', done.err)
        self.write("w.json", '[{"Title": "W", "odd": 1}, {"Title": "V", "odd": 2}]')
        self.assertEqual(self.tool("import", "-c", "new.xml", "w.json").err,
                         'tessaron: w.json: the key "odd" is unknown and was skipped\n')
        into = ("import", "-c", "new.xml")
        self.write("cut.json", '[{"Title":\n "W"')
        self.assert_failures([
            (65, 't.csv: no column .* "Book", "Who", "Where"', *into, "t.csv"),
            (65, 't.csv: there is no column "No"', *into, "t.csv", "--map", "title=No"),
            (65, "cut.json:2:5: ", *into, "w.json", "cut.json"),
            (2, "no field", *into, "t.csv", "--map", "titel=Book"),
            (2, "FIELD=COLUMN", *into, "t.csv", "--map", "title"),
            (66, "books: .*OPF", *into, "books", "--from", "csv"),
        ], untouched=[self.folder / "new.xml"])

    def test_failures_leave_the_collection_as_it_was(self):
        kept = self.write("c.xml", collection(item("A1")))
        for name, text in {
            "good.xml": response(item("A2")), "cut.xml": response(item("A3"))[:-20], "none.xml": response(),
            "error.xml": SERVICE_ERROR,
            "bad.xml": response(item("")), "page.html": "<html><body><p>Not found</p></body></html>",
            "empty.xml": "", "picture.svg": "<svg><g/></svg>",
        }.items():
            self.write(name, text)
        broken = self.write("broken.xml", "<PriceTracker>\n<Items>\n  <Item></Itm></Items>")
        (self.folder / "folder").mkdir()
        into = ("import", "-c", "c.xml")
        self.assert_failures([
            (1, "none.xml: no item", *into, "none.xml"),
            (1, "error.xml: .*We found no match", *into, "error.xml"),
            (1, "bad.xml: item 1", *into, "bad.xml"),
            (65, r"cut.xml:2:\d+: ", *into, "good.xml", "cut.xml"),
            (65, "page.html: ", *into, "good.xml", "page.html"),
            (65, "empty.xml:1:1: ", *into, "empty.xml"),
            (66, "missing.xml: No such file", *into, "good.xml", "missing.xml"),
            (66, "folder: no metadata.opf", *into, "folder"),
            (66, "standard input: .*once", *into, "-", "-"),
            (65, r"broken.xml:3:\d+: ", "import", "-c", "broken.xml", "good.xml"),
            (65, "picture.svg: ", "import", "-c", "picture.svg", "good.xml"),
            (73, "no/c.xml: No such file", "import", "-c", "no/c.xml", "good.xml"),
            (2, "standard input", "import", "-c", "-", "good.xml"),
            (2, "FILE", "import", "-c", "c.xml"),
        ], untouched=[kept, broken])

        into = (*into, "good.xml")
        self.assertEqual(self.tool(*into, code=74, preexec_fn=limit(100)).out, "", "nothing was imported")
        self.assertEqual(kept.read_text(), collection(item("A1")))
        self.assertEqual([p for p in self.folder.iterdir() if ".tmp" in p.name], [])
        closed = subprocess.run([TOOL, *into], cwd=self.folder, check=False, timeout=60,
                                preexec_fn=lambda: os.closerange(0, 3))
        self.assertEqual(closed.returncode, 74, "there are no standard streams")
        with open("/dev/full", "wb") as full:
            self.assertIn("the collection is saved", self.tool(*into, code=74, stdout=full).err)
