import os
import shutil

from support import ToolTest, collection, item


class Link(ToolTest):
    def setUp(self):
        super().setUp()
        self.setting(XDG_STATE_HOME=self.folder / "state", TESSARON_COLLECTION=self.folder / "c.xml")
        self.file = self.write("c.xml", collection(item("A1", "Tides"), item("A2", "Salt Roads"), item("A3", "Rain")))

    def links(self, *arguments):
        return [(row["ASIN"], row["path"], row["state"]) for row in self.json("links", *arguments)]

    def test_files_come_and_go(self):
        strange = "a \\ b\n\x01 \"<&>'.txt"
        for name in ("disc/1.flac", "disc/2.flac", strange):
            self.write(name, name * 50000)
        self.tool("link", "salt", "disc", self.folder / strange, "/etc/passwd")
        linked = [("A2", "disc/1.flac"), ("A2", "disc/2.flac"), ("A2", strange), ("A2", "/etc/passwd")]
        self.assertEqual(self.links(), [(*link, "present") for link in linked])
        self.tool("link", "-", text=f"A1\tdisc/1.flac\n\nA3\t{self.folder}/disc/2.flac\r\n")
        self.assertEqual(self.links("-salt"), [("A1", "disc/1.flac", "present"), ("A3", "disc/2.flac", "present")])
        self.assertEqual([file["path"] for file in self.json("show", "A2")["files"]], [path for _, path in linked])
        self.tool("export", "--html", "-o", "page.html")
        self.assertIn('"path":"disc/2.flac"', (self.folder / "page.html").read_text())
        self.tool("export", "--json", "-o", "c.json")
        self.tool("import", "-c", "copy.xml", "c.json")
        self.assertEqual(self.links("-c", "copy.xml"), self.links())

        # Moved and renamed files are found again, the same ones by their names; others are not guessed.
        self.write("moved/two.flac", "")
        self.write("moved/x/2.flac", "")
        shutil.move(self.folder / "disc/1.flac", self.folder / "moved/x/1.flac")
        shutil.move(self.folder / "disc/2.flac", self.folder / "moved/x/one.flac")
        shutil.copy(self.folder / "moved/x/one.flac", self.folder / "moved/two.flac")
        shutil.copy(self.folder / "moved/x/1.flac", self.folder / "moved/x/copy.flac")
        self.assertEqual(self.asins("c.xml", "missing:file"), ["A1", "A3"])
        self.assertEqual(self.asins("c.xml", "has:file", "-missing:file"), ["A2"])
        self.assertEqual(len(self.links("--missing")), 4)
        before = self.file.read_bytes()
        self.tool("relink", "--dry-run", self.folder / "moved", code=1, lines=2)
        self.assertEqual(self.file.read_bytes(), before)
        done = self.tool("relink", "moved", code=1, lines=2)
        self.assertRegex(done.err, "disc/2.flac: it may be any of these: moved/two.flac, moved/x/one.flac\n.*1 of 2")
        self.assertEqual(self.links("tides"), [("A1", "moved/x/1.flac", "present")])
        (self.folder / "moved/two.flac").unlink()
        self.tool("relink", self.folder)
        self.assertEqual(self.links("rain"), [("A3", "moved/x/one.flac", "present")])
        self.write("moved/x/one.flac", "another")
        self.assertEqual(self.links("rain"), [("A3", "moved/x/one.flac", "changed")])
        self.tool("undo", "2")
        self.assertEqual(self.file.read_bytes(), before)
        self.tool("link", "--remove", "A2", "disc", "/etc/passwd")
        self.tool("link", "--remove", "--query", "tides,rain")
        self.assertEqual(self.links(), [("A2", strange, "present")])
        self.tool("link", "--remove", "A2")
        os.mkfifo(self.folder / "fifo")
        self.assert_failures([
            (1, "c.xml: no files are linked", "links"),
            (1, "A2: no file is linked to it", "link", "--remove", "A2"),
            (1, "A2: \"disc\" is not linked to it", "link", "--remove", "A2", "disc"),
            (2, "link: name the files", "link", "A2"),
            (2, "ITEM or --query QUERY is required", "link"),
            (66, "fifo: No such device", "link", "A2", "fifo"),
            (66, "nope: No such file", "link", "A2", "moved/x/2.flac", "nope"),
            (66, "name is not UTF-8", "link", "A2", "\udcff"),
        ], untouched=[self.file])

    def test_hostile_links_are_only_told(self):
        files = [f'<File path="{path}" size="{size}"/>' for path, size in (
            ("../../../../../etc/shadow.none", 1), ("/dev/zero", 0), ("fifo", -5), ("a/" * 50000, "9" * 40),
            ("", 1), ("fifo", 2), ("\\u0000\\uD800\\", 3))]
        self.write("c.xml", collection(item("A1", "Tides", "<Tessaron><Files>" + "".join(files * 300) +
                                            "</Files></Tessaron>")))
        os.mkfifo(self.folder / "fifo")
        self.assertEqual({state for _, _, state in self.links()}, {"missing"})
        self.assertEqual(len(self.links()), 5)
        self.assertEqual(self.asins("c.xml", "missing:file"), ["A1"])
        self.tool("relink", ".", code=1, lines=6)

    def test_scan_matches_and_links(self):
        self.write("books/Salt Roads (2011).txt", "x")
        self.write("books/9780306406157.txt", "y")
        self.write("books/other.txt", "z")
        self.tool("set", "A3", "--field", "ISBN=0306406152")
        rows = [(row["path"], row["score"], row["ASIN"], row["match"]) for row in
                self.json("scan", "books", "--match", "--min-score", "55")]
        self.assertEqual(rows, [("books/9780306406157.txt", 100, "A3", "clear"),
                                ("books/other.txt", None, None, "none"),
                                ("books/Salt Roads (2011).txt", 57, "A2", "possible")])
        before = self.file.read_bytes()
        self.assertIn("changed  A3", self.tool("scan", "books", "--match", "--link", "--dry-run", "--csv").out)
        self.assertEqual(self.file.read_bytes(), before)
        self.tool("scan", "books", "--match", "--link", "-o", "matches.txt")
        self.assertEqual(self.links(), [("A3", "books/9780306406157.txt", "present")])
        self.assertIn("linked", self.tool("scan", "books", "--match").out)
        self.assert_failures([
            (2, "--link requires --match", "scan", "books", "--link"),
            (2, "--match has no XML form", "scan", "books", "--match", "--xml"),
            (66, "none.xml", "scan", "books", "--match", "-c", "none.xml"),
        ], untouched=[self.file])
