import csv
import datetime
import errno
import io
import json
import os
import re
import resource
import struct
import subprocess
import unittest
import xml.etree.ElementTree as ET

from support import TOOL, ToolTest, ffmpeg, png_size


def bmp(width, height):
    """A 24-bit picture whose pixels are left out where they would be many."""
    pixels = bytes(min((width * 3 + 3) // 4 * 4 * height, 1 << 20))
    return (b"BM" + struct.pack("<IHHI", 54 + len(pixels), 0, 0, 54)
            + struct.pack("<IiiHHIIiiII", 40, width, height, 1, 24, 0, 0, 11811, 11811, 0, 0)
            + pixels)


class ScanTest(ToolTest):
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
        for more in [], ["--thumbnails", "th"]:  # either file may be read first
            done = self.tool("scan", "a.bmp", "b.bmp", *more, code=66)
            [lost] = re.findall(r"(\w)\.bmp: its content cannot be read", done.err)
            self.assertEqual(re.findall(r"(\w)\.bmp .* 8 x 8", done.out), ["b" if lost == "a" else "a"])
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

        def no_threads():  # no stack is small enough
            resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
            resource.setrlimit(resource.RLIMIT_STACK, (8 << 30, resource.RLIM_INFINITY))

        for options in {}, {"preexec_fn": no_threads}:
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

    def test_shows_pace_on_a_terminal(self):
        for i in range(60):
            self.write(f"{i}.bmp", bmp(500, 500))
        received = self.on_terminal("scan", ".", "--thumbnails", "th", width=120, stdout=subprocess.DEVNULL)
        self.assertRegex(received,
                         r"describing \[[#.]{20}\] \d+/60, \d+/s, (\?|\d+:\d\d) left, \./\d+\.bmp")
        self.assertTrue(received.endswith("\r\x1b[K"))
