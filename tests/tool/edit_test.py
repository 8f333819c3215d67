import datetime
import os
import subprocess

from support import TOOL, ToolTest, collection, item

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
        self.set("--notes", "", "--no-icon", "--field", "Shelf=", "--field", "Unknown=", "--field", "New=1")
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
            (2, "--icon", *a1, "--icon", "two"),
            (2, "at least one", *a1),
            (2, "ASIN.*empty", "set", "-c", "c.xml", "", "--notes", "x"),
            (2, "ASIN.*empty", "remove", "-c", "c.xml", "A1", " "),
            (2, "ASIN.*empty", "show", "-c", "c.xml", ""),
            (2, "standard input", "set", "-c", "-", "A1", "--notes", "x"),
            (65, r"broken.xml:2:\d+: ", "set", "-c", "broken.xml", "A1", "--notes", "x"),
            (65, "page.html: ", "remove", "-c", "page.html", "A1"),
            (66, "no.xml: No such", "set", "-c", "no.xml", "A1", "--notes", "x"),
            (66, "pipe: only a regular file", "set", "-c", "pipe", "A1", "--notes", "x"),
            (66, "/dev/full: only a regular file", "import", "-c", "/dev/full", "c.xml"),
            (65, "/dev/zero:1:1: a NUL", "list", "-c", "/dev/zero"),
            (65, "large.xml:1:1: a NUL", "show", "-c", "large.xml", "A1"),
        ], untouched=[self.file, broken, page])

    def test_removes_every_named_item(self):
        self.tool("remove", "-c", "c.xml", "A3", "A1", "A3", "--quiet")
        self.assertEqual(self.asins("c.xml"), ["A2"])

    def test_simultaneous_edits_do_not_lose_one_another(self):
        self.file.write_text(collection(*(item(f"A{i}") for i in range(24))))
        running = [subprocess.Popen([TOOL, "set", "-q", "-c", self.file, f"A{i}", "--notes", f"n{i}"])
                   for i in range(24)]
        self.assertEqual([process.wait(60) for process in running], [0] * 24)
        self.assertEqual([r["Notes"] for r in self.json("list", "-c", "c.xml")],
                         [f"n{i}" for i in range(24)])
