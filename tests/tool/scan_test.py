import contextlib
import csv
import datetime
import errno
import io
import json
import os
import pathlib
import re
import resource
import shutil
import signal
import struct
import subprocess
import time
import unittest
import xml.etree.ElementTree as ET

from support import ON_WINDOWS, TOOL, ToolTest, ffmpeg, png_size


def bmp(width, height):
    """A 24-bit picture whose pixels are left out where they would be many."""
    pixels = bytes(min((width * 3 + 3) // 4 * 4 * height, 1 << 20))
    return (b"BM" + struct.pack("<IHHI", 54 + len(pixels), 0, 0, 54)
            + struct.pack("<IiiHHIIiiII", 40, width, height, 1, 24, 0, 0, 11811, 11811, 0, 0)
            + pixels)


def no_threads():  # no stack is small enough
    resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
    resource.setrlimit(resource.RLIMIT_STACK, (8 << 30, resource.RLIM_INFINITY))


FORBIDDEN, SLOW, LIES = "tried something that is forbidden", "takes too long", "gave no proper answer"
FAULTS = {"abort": "crashed .Aborted", "crash": "crashed .Segmentation", "loop": SLOW, "sleep": SLOW, "memory": "not enough memory",
          "shared": "not enough memory", "fork": FORBIDDEN, "connect": FORBIDDEN, "write": FORBIDDEN, "code": FORBIDDEN,
          "kill": FORBIDDEN, "lie": LIES, "garble": LIES, "exit": "has ended"}

KINDS = ".avi", ".bmp", ".mp3"
if ON_WINDOWS:  # Wine limits neither memory nor processes
    FAULTS = {"abort": "crashed .abort", "crash": "crashed .access violation", "loop": SLOW, "sleep": SLOW,
              "exit": "has ended"}
    KINDS = ".bmp",


def readers():
    """The processes of the tool that read files."""
    found = []
    for path in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
        with contextlib.suppress(OSError):
            if b"--read-for-parent" in path.read_bytes():
                found.append(int(path.parent.name))
    return found


class ScanTest(ToolTest):
    tells_paths = True

    def files(self, *arguments, **options):
        return {file["name"]: file for folder in self.json("scan", *arguments, **options)
                for file in folder["files"]}

    def tree(self):
        (self.folder / "t/sub/deep").mkdir(parents=True)
        self.write("t/a.bmp", bmp(30, 20))
        self.write("t/sub/b.txt", "b")
        self.write("t/sub/deep/c.zip", b"PK\5\6" + bytes(18))
        (self.folder / "t/sub/loop").symlink_to("..")

    def test_prints_table_json_and_xml(self):
        self.tree()
        table = self.tool("scan", "t").out.splitlines()
        self.assertRegex(table[0], "^File +Kind +Size +Modified +Content$")
        self.assertRegex(table[1], r"^t/a.bmp +image +1.89 kB +\S+Z +BMP 30 x 20 24 bit$")
        self.assertEqual(len(table), 2)

        folders = self.json("scan", "-r", "t/", "t/sub/b.txt")
        self.assertEqual([(f["id"], f["parentId"], f["path"], [x["path"] for x in f["files"]])
                          for f in folders],
                         [(0, -1, "t", ["t/a.bmp"]), (1, 0, "t/sub", ["t/sub/b.txt"]),
                          (2, 1, "t/sub/deep", ["t/sub/deep/c.zip"]),
                          (3, -1, "t/sub", ["t/sub/b.txt"])])
        self.assertEqual(list(folders[0]["files"][0]), (
            "path name extension category size creationTime lastWriteTime attributes encryptionStatus checksum "
            "digest info metaInfo audioStreams videoStreams thumbnails").split())
        file = folders[0]["files"][0]
        self.assertEqual(file["info"], {
            "40001": {"label": "Resolution", "value": "300 x 300 dpi"},
            "40002": {"label": "Color", "value": "24 bit"},
            "40003": {"label": "Dimensions", "value": "30 x 20"},
            "40401": {"label": "Kind", "value": "BMP"}})
        modified = datetime.datetime.fromtimestamp(int((self.folder / "t/a.bmp").stat().st_mtime), datetime.timezone.utc)
        self.assertEqual((file["size"], file["lastWriteTime"]), (1894, modified.strftime("%Y-%m-%dT%H:%M:%SZ")))
        for kinds, picture, archive in [("image,audio", 32, 1), ("archive", 1, 2), ("video,font", 1, 1)]:
            files = self.files("-r", "--detect", kinds, "t")
            self.assertEqual((files["a.bmp"]["category"], files["c.zip"]["category"], bool(files["a.bmp"]["info"])),
                             (picture, archive, picture == 32))

        self.assertEqual(self.tool("scan", "-r", "--xml", "-o", "x.xml", "t").err, "x.xml: 3 files\n")
        root = ET.parse(self.folder / "x.xml").getroot()
        self.assertEqual([(f.get("ID"), f.get("ParentID"), [e.tag for e in f]) for f in root],
                         [("0", "-1", ["File"]), ("1", "0", ["File"]), ("2", "1", ["File"])])
        self.assertEqual(root.findtext("Folder/File/Info/Node[@Name='40003']"), "30 x 20")
        self.assertEqual(root[2].findtext("File/PathFileName"), "t/sub/deep/c.zip")
        self.assertEqual(self.tool("scan", "-r", "--xml", "t").out, (self.folder / "x.xml").read_text())
        rows = list(csv.DictReader(io.StringIO(self.tool("scan", "-r", "--csv", "t").out)))
        self.assertEqual([(row["path"], row["kind"], row["size"], row["content"]) for row in rows], [
            ("t/a.bmp", "image", "1894", "BMP 30 x 20 24 bit"), ("t/sub/b.txt", "other", "1", ""),
            ("t/sub/deep/c.zip", "archive", "22", "ZIP")])

    def test_what_cannot_be_read_is_told_and_the_rest_goes_on(self):
        self.tree()
        (self.folder / "t/dead.jpg").symlink_to("nowhere")
        (self.folder / "t/circle").symlink_to("circle")
        os.mkfifo(self.folder / "t/pipe.mpg")
        for name, content in [(b"caf\xe9.txt", "this"), ("caf\ufffd.txt".encode(), "the other one")]:
            self.write(os.path.join("t", os.fsdecode(name)), content)
        done = self.tool("scan", "--json", "missing.mp3", "t", "t/pipe.mpg", code=66, lines=5)
        self.assertEqual(sorted(done.err.splitlines()), [
            "tessaron: ./missing.mp3: No such file or directory",
            r"tessaron: t/caf\xE9.txt: the name is not UTF-8",
            "tessaron: t/circle: Too many levels of symbolic links",
            "tessaron: t/dead.jpg: No such file or directory",
            "tessaron: t/pipe.mpg: No such device or address"])
        sizes = {f["name"]: f["size"] for folder in json.loads(done.out) for f in folder["files"]}
        self.assertEqual(sizes, {"a.bmp": 1894, "caf\ufffd.txt": 13})
        kept = self.write("kept.xml", "<Folders />")
        self.assert_failures([
            (2, "nothing not in", "scan", "--detect", "nothing", "t"),
            (2, "empty", "scan", ""),
            (2, "replace the input", "scan", "--xml", "-o", "kept.xml", "kept.xml"),
            (66, "No such", "scan", "--xml", "-o", "kept.xml", "gone"),
            (73, "t/a.bmp: ", "scan", "t", "--thumbnails", "t/a.bmp"),
            (73, "No such", "scan", "t/sub", "--xml", "-o", "missing/x"),
        ], untouched=[kept])

    @unittest.skipUnless("SHIM" in os.environ, "reads fail by a library of the build")
    def test_a_picture_whose_reads_fail_is_told(self):
        for name in "a.bmp", "b.bmp":
            self.write(name, bmp(8, 8))
        self.setting(FAILURE=f"pread 1 once {errno.EIO} -1", LD_PRELOAD=os.environ["SHIM"])
        for more in [], ["--thumbnails", "th"]:  # one process reads both files
            done = self.tool("scan", "a.bmp", "b.bmp", *more, code=66, preexec_fn=no_threads)
            self.assertEqual(done.err, "tessaron: ./a.bmp: its content cannot be read\n")
            self.assertRegex(done.out, r"b\.bmp .* 8 x 8")
        self.setting(FAILURE=f"pread 2 always {errno.EIO} -1")
        kept = self.write("kept.json", "[]")
        self.assert_failures([(66, "cannot be read", "scan", "a.bmp", "--json", "-o", kept)], untouched=[kept])

    @unittest.skipUnless("SHIM" in os.environ, "sanitizers take more memory")
    def test_rows_and_json_are_written_while_files_are_described(self):
        self.write("one.bmp", bmp(2, 2))
        (self.folder / "many/more").mkdir(parents=True)
        for i in range(8000):
            os.link(self.folder / "one.bmp", self.folder / f"many/{i // 4000 * 'more/'}{i}.bmp")
        for form in "--csv", "--json":
            process = subprocess.Popen([TOOL, "scan", "-q", "-r", "many", form, "-o", "out"], cwd=self.folder)
            _, process.returncode, usage = os.wait4(process.pid, 0)
            self.assertEqual(process.returncode, 0)
            self.assertLess(usage.ru_maxrss, 48 << 10)  # KiB
        folders = json.loads((self.folder / "out").read_text())
        self.assertEqual([(f["id"], f["parentId"], [x["name"] for x in f["files"]]) for f in folders],
                         [(0, -1, [f"{i}.bmp" for i in range(4000)]), (1, 0, [f"{i}.bmp" for i in range(4000, 8000)])])

    def test_writes_thumbnails_that_never_collide(self):
        for name, size in [("x", (600, 300)), ("y", (20, 10))]:
            (self.folder / name).mkdir()
            self.write(name + "/p.bmp", bmp(*size))
        self.write("x/broken.jpg", "no picture")
        for _ in range(2):  # the second run gives the same names
            files = self.json("scan", "x", "y", "--thumbnails", "deep/th")
        paths = [self.folder / path for folder in files for f in folder["files"] for path in f["thumbnails"]]
        self.assertEqual(sorted(paths), sorted((self.folder / "deep/th").iterdir()))
        self.assertEqual(set(map(png_size, paths)), {(256, 128), (20, 10)})

    def test_order_does_not_depend_on_the_threads(self):
        (self.folder / "many").mkdir()
        for i in range(300):
            self.write(f"many/{i}.bmp", bmp(i + 1, 5))

        isLimited = ON_WINDOWS or "SHIM" in os.environ  # sanitizers take more memory
        for options in {}, {"preexec_fn": no_threads if isLimited else None}:
            rows = self.tool("scan", "many", **options).out.splitlines()[1:]
            self.assertEqual([row.split()[0] for row in rows], [f"many/{i}.bmp" for i in range(300)])

    def test_measures_are_the_same_with_thumbnails(self):
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=640x480", "-frames:v", 1, self.folder / "whole.png")
        png = (self.folder / "whole.png").read_bytes()
        at = png.index(b"IDAT") + 4
        self.write("broken.jpg", png[:at] + bytes(len(png) - at))
        self.write("flipped.bmp", bmp(640, 480).replace(struct.pack("<I", 640), struct.pack("<I", 640 + 0x10000), 1))
        plain = self.files("broken.jpg", "flipped.bmp")
        self.assertEqual([file["info"].get("40003", {}).get("value") for file in plain.values()], ["640 x 480", None])
        done = self.tool("scan", "--json", "--thumbnails", "th", "broken.jpg", "flipped.bmp")
        self.assertEqual([f["info"] for f in json.loads(done.out)[0]["files"]],
                         [file["info"] for file in plain.values()])
        self.assertEqual(done.err, "tessaron: ./broken.jpg: the picture cannot be decoded; "
                         "its measures are those in its header\n")

    def test_thumbnails_are_turned_as_pictures_are_to_be_shown(self):
        # Exif's number, and which corners of the file are shown above, from left to right.
        rows = dict(enumerate(["rg", "gr", "wb", "bw", "rb", "br", "wg", "gw"], 1))
        sources = " ".join(f"-f lavfi -i color={color}:s=40x20" for color in ("red", "green", "blue", "white")).split()
        for number in rows:
            path = self.folder / f"{number}.jpg"
            ffmpeg(*sources, "-filter_complex", "xstack=inputs=4:layout=0_0|w0_0|0_h0|w0_h0",
                   "-frames:v", 1, "-update", 1, path)
            subprocess.run(["exiftool", "-q", "-overwrite_original", f"-Orientation#={number}", path],
                           check=True)
        files = self.files(*(f"{number}.jpg" for number in rows), "--thumbnails", "th")
        for number, above in rows.items():
            [path] = files[f"{number}.jpg"]["thumbnails"]
            size = (80, 40) if number < 5 else (40, 80)
            self.assertEqual(png_size(self.folder / path), size)
            pixels = subprocess.check_output(["ffmpeg", "-v", "error", "-i", self.folder / path, "-f",
                                              "rawvideo", "-pix_fmt", "rgb24", "-"])
            corners = [pixels[3 * at:3 * at + 3] for at in (5 * size[0] + 5, 6 * size[0] - 6)]
            self.assertEqual("".join("gbrw"[2 * (red > 99) + (blue > 99)] for red, _, blue in corners), above, number)

    @unittest.skipUnless(ON_WINDOWS or "SHIM" in os.environ, "sanitizers use more than is permitted")
    def test_a_reader_that_misbehaves_costs_one_file(self):
        self.setting(TESSARON_TEST_FAULTS=1)
        self.write("p/whole.bmp", bmp(9, 9))
        ffmpeg("-f", "lavfi", "-i", "sine=duration=1", self.folder / "p/whole.mp3")
        ffmpeg("-f", "lavfi", "-i", "testsrc=d=1:s=64x48", self.folder / "p/whole.avi")
        for name in [*FAULTS, "open"]:  # opening is only refused
            for kind in KINDS:
                os.link(self.folder / f"p/whole{kind}", self.folder / f"p/{name}{kind}")
        done = self.tool("scan", "p", "--csv", "--patience", 5, code=66, lines=len(KINDS) * len(FAULTS))
        told = dict(re.findall(r"tessaron: p/(\S+): (.*)\n", done.err))
        for name, reason in FAULTS.items():
            for kind in KINDS:
                self.assertRegex(told[name + kind], reason, name + kind)
        contents = {row["path"]: row["content"] for row in csv.DictReader(io.StringIO(done.out))}
        self.assertEqual(sorted(contents), sorted(f"p/{name}{kind}" for name in ("open", "whole") for kind in KINDS))
        for kind in KINDS:
            self.assertTrue(contents["p/whole" + kind])
            self.assertEqual(contents["p/open" + kind], contents["p/whole" + kind])

    @unittest.skipUnless("SHIM" in os.environ, "sanitizers use more than is permitted")
    def test_an_interrupted_scan_leaves_nothing(self):
        self.setting(TESSARON_TEST_FAULTS=1)
        for name in "a.bmp", "sleep.bmp", "sleep.b.bmp":
            self.write(name, bmp(9, 9))
        others = set(readers())
        for number in signal.SIGINT, signal.SIGTERM, signal.SIGKILL:
            process = subprocess.Popen([TOOL, "scan", ".", "--json", "-o", "out", "--index", "i.db"], cwd=self.folder)
            limit = time.monotonic() + 30
            while len(mine := set(readers()) - others) < min(os.cpu_count(), 2) and time.monotonic() < limit:
                time.sleep(0.05)
            self.assertTrue(mine)
            time.sleep(0.3)
            process.send_signal(number)
            self.assertEqual(process.wait(20), -number)
            while mine & set(readers()) and time.monotonic() < limit:
                time.sleep(0.05)
            self.assertFalse(mine & set(readers()))
            self.assertEqual({path.name for path in self.folder.iterdir()} - {"i.db-journal"} if number == signal.SIGKILL
                             else {path.name for path in self.folder.iterdir()},
                             {"a.bmp", "sleep.bmp", "sleep.b.bmp", "i.db"})

    def changes(self, *arguments):
        rows = self.json("scan", "-r", "t", "--index", "i.db", "--changed", *arguments)
        return [(row["change"], row["path"], *([row["before"]] if "before" in row else [])) for row in rows]

    def test_an_index_spares_reading_and_tells_what_changed(self):
        self.tree()
        self.write("t/crash.bmp", bmp(5, 5))
        first = self.tool("scan", "-r", "t", "--json", "--index", "i.db").out
        self.setting(TESSARON_TEST_FAULTS=1)  # now it cannot be read again
        self.assertEqual(self.tool("scan", "-r", "t", "--json", "--index", "i.db").out, first)
        self.assertEqual(self.tool("scan", "-r", "t", "--index", "i.db", "--changed").out, "")
        self.write("t/sub/x.db-journal.txt", "")
        os.environ.pop("TESSARON_TEST_FAULTS")
        for _ in range(2):  # an index among the files is none of them
            self.assertEqual(list(self.files("-r", "t", "--index", "t/sub/x.db")),
                             ["a.bmp", "crash.bmp", "b.txt", "x.db-journal.txt", "c.zip"])
        (self.folder / "t/sub/x.db").unlink(), (self.folder / "t/sub/x.db-journal.txt").unlink()
        self.setting(TESSARON_TEST_FAULTS=1)
        (self.folder / "t/crash.bmp").rename(self.folder / "t/sub/crash.here.bmp")
        shutil.rmtree(self.folder / "t/sub/deep")
        self.write("t/a.bmp", bmp(31, 20))
        self.write("t/new.txt", "")
        expected = [("changed", "t/a.bmp"), ("new", "t/new.txt"), ("moved", "t/sub/crash.here.bmp", "t/crash.bmp"),
                    ("gone", "t/sub/deep/c.zip")]
        self.assertEqual(self.changes(), expected)
        self.assertEqual(self.changes(), [])
        self.assertEqual(self.files("-r", "t", "--index", "i.db")["crash.here.bmp"]["info"]["40003"]["value"], "5 x 5")
        os.environ.pop("TESSARON_TEST_FAULTS")
        # Other roots, other options and a folder that is not listed are no changes.
        self.write("u/x.txt", "x")
        self.json("scan", "u", "--index", "i.db")
        self.assertEqual(self.tool("scan", "t/new.txt", "--index", "i.db", "--changed", "--csv").out, "change,path,before\r\n")
        self.assertEqual(self.changes(), [])
        self.tool("scan", "-r", "t", "--detect", "audio", "--index", "i.db")
        thumbnails = self.files("t", "--index", "i.db", "--thumbnails", "th")["a.bmp"]["thumbnails"]
        (self.folder / thumbnails[0]).unlink()
        self.assertEqual(self.files("t", "--index", "i.db", "--thumbnails", "th")["a.bmp"]["thumbnails"], thumbnails)
        self.assertEqual(png_size(self.folder / thumbnails[0]), (31, 20))

    def test_a_damaged_index_is_made_anew(self):
        self.tree()
        first = self.tool("scan", "-r", "t", "--json", "--index", "i.db").out
        whole = (self.folder / "i.db").read_bytes()
        value = whole.index("30 x 20".encode("utf-16-le"))
        for name, damaged in [("a value", whole[:value] + b"9" + whole[value + 1:]), ("header", b"x" * 100 + whole[100:]),
                              ("cut", whole[:4096]), ("pages", whole[:4096] + b"\xA5" * (len(whole) - 4096)),
                              ("empty", b"")]:
            with self.subTest(name):
                self.write("i.db", damaged)
                done = self.tool("scan", "-r", "t", "--json", "--index", "i.db")
                self.assertEqual(done.out, first)
                if name in ("header", "cut", "pages"):
                    self.assertEqual(done.err, "tessaron: i.db: the index was damaged and is made anew\n")
                self.assertEqual(self.changes(), [])
        kept = self.write("letter.txt", "Dear index, ")
        self.assert_failures([(65, "no index", "scan", "t", "--index", "letter.txt"),
                              (73, "cannot be used", "scan", "t", "--index", "missing/i.db"),
                              (2, "no XML", "scan", "t", "--index", "i.db", "--changed", "--xml"),
                              (2, "requires --index", "scan", "t", "--changed")], untouched=[kept])

    def test_shows_pace_on_a_terminal(self):
        for i in range(60):
            self.write(f"{i}.bmp", bmp(500, 500))
        received = self.on_terminal("scan", ".", "--thumbnails", "th", width=120, stdout=subprocess.DEVNULL)
        self.assertRegex(received,
                         r"describing \[[#.]{20}\] \d+/60, \d+/s, (\?|\d+:\d\d) left, \./\d+\.bmp")
        self.assertTrue(received.endswith("\r\x1b[K"))
