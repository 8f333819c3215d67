"""What scan tells by the content of files, against what was put in."""

import csv
import io
import json
import os
import pathlib
import re
import subprocess
import sys
import zipfile

import jsonschema

from support import TOOL, ToolTest, ffmpeg, png_size

SOURCE = pathlib.Path(os.environ["TESSARON_SOURCE"])
SCHEMA = json.loads((SOURCE / "docs/scan.schema.json").read_text())

SOUND = "-f lavfi -i sine=d=1"
FILM = "-f lavfi -i testsrc2=d=1"
PLACE = "-metadata location=+48.8577-002.2950/ -metadata creation_time=2024-05-06T07:08:09Z"
# File, how ffmpeg makes it, what its description contains, in any part.
FEATURES = [
    ("cover.flac", f"{SOUND} -i cover.png -map 0 -map 1 -c:v copy -disposition:v:0 attached_pic",
     {"Kind": "FLAC", "Covers": r"PNG 400 x 300, \S+ kB", "Channel Layout": "mono"}),
    ("cover.m4a", f"{SOUND} -i cover.png -map 0 -map 1 -c:v copy -disposition:v:0 attached_pic",
     {"Kind": "MPEG-4 Audio", "Covers": r"PNG 400 x 300, \S+ kB", "Codec Profile": "LC"}),
    ("film.mkv", f"{FILM} {SOUND} -i notes -map 0 -map 1 -map_chapters 2 -attach cover.png -metadata:s:t mimetype=image/png "
     "-metadata:s:a:0 language=ger -c:a aac -c:v libx264 -pix_fmt yuv420p10le",
     {"Covers": r"PNG 400 x 300, \S+ kB", "Chapters": "2", "Chapter Titles": "One; Two", "Audio Languages": "ger",
      "Bit Depth": "10 bit", "Codec Profile": "High 10", "Frame Rate Mode": None}),
    ("lies.jpg", f"{FILM} {PLACE} -c:v libx264 -pix_fmt yuv420p -f mp4",
     {"Kind": "MPEG-4", "Latitude": "48° 51' 27.7\" N", "Longitude": "2° 17' 42\" W",
      "Date Created": "2024-05-06 07:08:09 UTC"}),
    ("turned.mov", "-i lies.jpg -c copy -metadata:s:v:0 rotate=90", {"Kind": "QuickTime", "Rotation": "270°"}),
    ("hdr.mkv", f"{FILM} -c:v libx264 -pix_fmt yuv420p10le -color_trc arib-std-b67 -color_primaries bt2020 -colorspace bt2020nc",
     {"Dynamic Range": r"HDR \(HLG\)"}),
] + [(f"uneven.{kind}", "-f lavfi -i testsrc2=d=4:r=30 -vf select='if(lt(t\\,2)\\,1\\,not(mod(n\\,3)))' -vsync vfr -c:v libx264",
      {"Frame Rate Mode": "Variable"}) for kind in ("mp4", "mkv")]


class ContentTest(ToolTest):
    def described(self, *arguments):
        folders = self.json("scan", *arguments)
        jsonschema.validate(folders, SCHEMA)
        return {file["name"]: file for folder in folders for file in folder["files"]}

    @staticmethod
    def facts(file):
        maps = [file["info"], file["metaInfo"], *file["videoStreams"], *file["audioStreams"]]
        return {entry["label"]: entry["value"] for part in reversed(maps) for entry in part.values()}

    def test_files_of_past_findings_are_described(self):
        files = self.described(*sorted((SOURCE / "fuzz/seeds").iterdir()))
        self.assertEqual(len(files["late-stream.flv"]["videoStreams"]), 2)
        self.assertEqual(self.facts(files["damaged-png"])["Dimensions"], "16 x 16")

    def test_tells_what_was_put_into_every_kind_whose_readers_may_crash(self):
        done = subprocess.run([sys.executable, SOURCE / "bench/compare_media", TOOL, "--quick", "--keep", self.folder / "p"],
                              capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertRegex(done.stdout, r"^[6-9]\d files of .* 0 wrong\n$")
        if "SHIM" not in os.environ:
            self.skipTest("from here on sanitizers use more than is permitted")
        files = [path for path in sorted((self.folder / "p").iterdir()) if path.name != "truth.json"]
        # The first reads tell the kind, the others are the reader's own: those of several, for some kinds.
        faults = {"crash.2": "Segmentation", "abort.3": "Aborted", "crash.9": "Segmentation", "memory.2": "not enough memory"}
        for path in files:
            for fault in faults:
                os.link(path, path.with_name(f"{fault}.{path.name}"))
        self.setting(TESSARON_TEST_FAULTS=1)
        done = subprocess.run([TOOL, "scan", "p", "--csv", "--thumbnails", "th"], cwd=self.folder, capture_output=True,
                              text=True, timeout=250, check=False)
        self.assertEqual(done.returncode, 66)
        told = dict(re.findall(r"tessaron: p/(\S+): (.*)\n", done.stderr))
        contents = {row["path"]: row["content"] for row in csv.DictReader(io.StringIO(done.stdout))}
        for path in files:
            self.assertTrue(contents[f"p/{path.name}"])
            for fault, reason in faults.items():
                name = f"{fault}.{path.name}"
                is_quick = fault != "crash.2" or path.suffix in (".gz", ".tar", ".zip")
                if is_quick and f"p/{name}" in contents:  # it is read with fewer reads
                    self.assertEqual(contents[f"p/{name}"], contents[f"p/{path.name}"])
                else:
                    self.assertRegex(told[name], reason, name)

    def test_tells_what_belongs_to_a_film(self):
        os.chdir(self.folder)
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=400x300", "-frames:v", 1, "cover.png")
        self.write("notes", ";FFMETADATA1\n" + "".join(
            f"[CHAPTER]\nTIMEBASE=1/1000\nSTART={n * 500}\nEND={n * 500 + 500}\ntitle={title}\n"
            for n, title in enumerate(["One", "Two"])))
        for name, arguments, _ in FEATURES:
            ffmpeg(*arguments.split(), name)
        names = [name for name, *_ in FEATURES]
        files = self.described("--location", "--thumbnails", "th", *names)
        for name, _, expected in FEATURES:
            facts = self.facts(files[name])
            for label, value in expected.items():
                self.assertRegex(facts.get(label, ""), f"^{value}$" if value else "^$", (name, label))
            covers = [png_size(pathlib.Path(path)) for path in files[name]["thumbnails"]]
            self.assertEqual(covers, [(256, 192)] if "Covers" in expected else [], name)
        self.assertNotIn("Latitude", self.facts(self.described("lies.jpg")["lies.jpg"]))
        by_name = self.described("--by-name", "lies.jpg", "film.mkv")
        self.assertEqual([file["category"] for file in by_name.values()], [32, 1])

    def test_tells_pictures_and_books_by_their_own_records(self):
        os.chdir(self.folder)
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=40x30", "-frames:v", 1, "a.jpg")
        subprocess.run("exiftool -q -overwrite_original -IPTC:ObjectName=Weir -IPTC:Keywords=x -IPTC:Keywords=y -XMP:Rating=3 "
                       "-GPSLatitude=48.85 -GPSLatitudeRef=N -EXIF:Make=Acme a.jpg".split(), check=True)
        with zipfile.ZipFile("b.epub", "w", zipfile.ZIP_DEFLATED) as book:
            book.writestr("META-INF/container.xml", '<c><rootfile full-path="a/b%.opf"/></c>')
            book.writestr("a/b%.opf", '<package version="2.0"><metadata><meta name="cover" content="c"/><title>T &amp; U</title>'
                          '<creator>A</creator><creator>B</creator><identifier scheme="ISBN">0-306-40615-2</identifier>'
                          '</metadata><manifest><item id="c" href="../i%2fc.jpg"/></manifest></package>')
            book.write("a.jpg", "i/c.jpg")
        files = self.described("a.jpg", "b.epub", "--thumbnails", "th")
        picture, book = map(self.facts, files.values())
        self.assertEqual([picture.get(x) for x in ("Title", "Keywords", "Rating", "Camera Make", "Latitude")],
                         ["Weir", "x; y", "3", "Acme", None])
        self.assertEqual([book.get(x) for x in ("Kind", "Title", "Author", "ISBN")], ["EPUB", "T & U", "A; B", "0306406152"])
        self.assertEqual([png_size(pathlib.Path(path)) for path in files["b.epub"]["thumbnails"]], [(40, 30)])
