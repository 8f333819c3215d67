import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import zlib

from support import TOOL, ToolTest, file_limit

SOURCE = pathlib.Path(os.environ["TESSARON_SOURCE"])
IDENTIFIER = bytes(range(16))
MAIN = """<p><info><author>Ada</author><name>Größe</name></info>
<theme name="Day" screenshot="day.png"><templates><t mode="fullframe" file="f.png"/></templates>
<virtualshelf background="day.png" uwidth="3"><g name="Book" image="b.png" olx="1"/></virtualshelf>
</theme><theme name="Night"/></p>"""


def entry(number, content):
    data = zlib.compress(content)
    return struct.pack("<III64x", number, len(data), len(content)) + data


def package(files):
    """A package written down apart from the tool; files by name, main.xml first."""
    index = "".join(f'<x id="{i}" filename="{name}"/>' for i, name in enumerate(files, 1))
    content = struct.pack("<2sH16s1024x", b"TP", 1, IDENTIFIER) + entry(0, f"<i>{index}</i>".encode())
    return content + b"".join(entry(i, data) for i, data in enumerate(files.values(), 1))


class Theme(ToolTest):
    def test_tells_what_is_in_a_package(self):
        self.write("t.tpk", package({"main.xml": MAIN.encode(), "day.png": b"x" * 999}))
        info = self.json("theme", "info", "t.tpk")
        self.assertEqual(info["identifier"], IDENTIFIER.hex().upper())
        self.assertEqual((info["name"], info["author"]), ("Größe", "Ada"))
        day, night = info["schemes"]
        self.assertEqual(day["background"], "day.png")
        self.assertEqual(day["fullFrameTemplate"], "f.png")
        self.assertEqual(day["uwidth"], 3)
        self.assertEqual(day["groups"], [{"name": "Book", "image": "b.png", "olx": 1, "oly": 0,
                                          "olwidth": 0, "olheight": 0}])
        self.assertEqual(night["name"], "Night")
        self.assertEqual([(file["entry"], file["name"], file["size"]) for file in info["files"]],
                         [(1, "main.xml", len(MAIN.encode())), (2, "day.png", 999)])
        self.assertEqual(info["dropped"], [])
        text = self.tool("theme", "info", "t.tpk").out
        for expected in ("Größe", "Ada", "Scheme 1", "Night", "day.png"):
            self.assertIn(expected, text)
        with open(self.folder / "t.tpk", "rb") as file:
            piped = subprocess.run([TOOL, "theme", "info", "-"], stdin=file, capture_output=True)
        self.assertEqual(piped.stdout.decode(), text)

    def test_unpacks_into_a_folder_of_its_own(self):
        files = {"main.xml": MAIN.encode(), "day.png": os.urandom(100000)}
        self.write("t.tpk", package(files))
        done = self.json("theme", "unpack", "t.tpk", "new/out")
        folder = self.folder / "new" / "out" / IDENTIFIER.hex().upper()
        self.assertEqual(self.folder / done["folder"], folder)
        self.assertEqual([path.name for path in folder.iterdir()], ["day.png"])
        self.assertEqual((folder / "day.png").read_bytes(), files["day.png"])
        self.assertEqual(self.tool("theme", "unpack", "t.tpk", "new/out").out,
                         f"{done['folder']}\n")

        # Nothing of a folder stays that was made for what cannot be written.
        failed = self.tool("theme", "unpack", "t.tpk", "newer/out\x1b[31m", code=74,
                           preexec_fn=file_limit(50000))
        self.assertIn("day.png", failed.err)
        self.assertFalse((self.folder / "newer").exists())
        self.assertNotIn("\x1b", self.tool("theme", "unpack", "t.tpk", "newer/out\x1b[31m").out)

    def test_dropped_entries_are_told_and_fail(self):
        bad = {"../evil": "another folder", "nul.png": "device", "DAY.png": "only in case"}
        files = {"main.xml": MAIN.encode(), "day.png": b"day"} | {name: b"bad" for name in bad}
        self.write("t.tpk", package(files))
        for verb, *more in (("info",), ("unpack", "out")):
            done = subprocess.run([TOOL, "theme", verb, "t.tpk", *more], cwd=self.folder,
                                  capture_output=True, check=False)
            self.assertEqual(done.returncode, 1)
            lines = done.stderr.decode().splitlines()
            self.assertEqual(len(lines), len(bad))
            for line, (name, reason) in zip(lines, bad.items()):
                self.assertRegex(line, rf'^tessaron: t\.tpk: entry \d+ "{re.escape(name)}": .*{reason}')
        names = sorted(str(path.relative_to(self.folder)) for path in self.folder.rglob("*"))
        folder = f"out/{IDENTIFIER.hex().upper()}"
        self.assertEqual(names, ["out", folder, f"{folder}/day.png", "t.tpk"])

    def test_packs_what_it_unpacks_again(self):
        folder = self.folder / "theme"
        folder.mkdir()
        files = {"main.xml": MAIN.encode(), "day & night.png": os.urandom(5000), "ä'.png": b"\0"}
        for name, content in files.items():
            (folder / name).write_bytes(content)
        warned = self.tool("theme", "pack", "a.tpk", "theme").err.splitlines()
        self.assertEqual(warned[:2], [  # of six, and what was done
            'tessaron: theme: scheme 0: "day.png": the package lacks this file, the screenshot',
            'tessaron: theme: scheme 0: "f.png": the package lacks this file, the frame for pictures '
            'that stand upright'])
        self.assertEqual(len(warned), 7)
        os.utime(folder / "main.xml", (0, 0))
        with open(self.folder / "b.tpk", "wb") as piped:
            self.tool("theme", "pack", "-", "theme/", stdout=piped)
        subprocess.run([SOURCE / "scripts/pack-theme", self.folder / "c.tpk", folder], check=True)
        for checked in ("theme", "c.tpk"):
            done = subprocess.run([TOOL, "theme", "check", checked, "--json", "-o", "warnings"],
                                  cwd=self.folder, capture_output=True, check=False)
            self.assertEqual((done.returncode, done.stdout), (1, b""))
            self.assertEqual([warning["name"] for warning in
                              json.loads((self.folder / "warnings").read_text())],
                             ["day.png", "f.png", "day.png", "b.png", "day & night.png", "ä'.png"])
        packed = (self.folder / "a.tpk").read_bytes()
        for other in ("b.tpk", "c.tpk"):
            self.assertEqual((self.folder / other).read_bytes(), packed)
        out = self.folder / self.json("theme", "unpack", "a.tpk", "out")["folder"]
        del files["main.xml"]
        self.assertEqual({path.name: path.read_bytes() for path in out.iterdir()}, files)

        (folder / "a.png").write_bytes(b"another")
        self.tool("theme", "pack", "d.tpk", "theme")
        self.assertNotEqual(self.json("theme", "info", "d.tpk")["identifier"], out.name)

    def test_the_default_theme_is_sound(self):
        folder = SOURCE / "examples/themes/default"
        self.assertEqual(self.tool("theme", "check", folder).out, "")
        self.tool("theme", "pack", "DefaultTheme.tpk", folder)
        info = self.json("theme", "info", "DefaultTheme.tpk")
        self.assertEqual([scheme["name"] for scheme in info["schemes"]], ["Wood", "Night"])
        for scheme in info["schemes"]:
            self.assertEqual(len(scheme["groups"]), 4)
            for group in scheme["groups"]:
                picture = (folder / group["image"]).read_bytes()
                width, height = struct.unpack_from(">II", picture, 16)  # of the PNG's header
                self.assertLessEqual(group["olx"] + group["olwidth"], width)
                self.assertLessEqual(group["oly"] + group["olheight"], height)

    def test_lists_and_selects_what_the_data_folder_has(self):
        environment = os.environ | {"TESSARON_HOME": str(self.folder / "home"),
                                    "TESSARON_SETTINGS": str(self.folder / "settings.db")}
        run = lambda *arguments, **options: self.tool(  # noqa: E731
            "theme", *arguments, env=environment, **options)
        self.assertIn("no themes", run("list", code=1).err)
        data = self.folder / "home" / "Data"
        data.mkdir(parents=True)
        (data / "DefaultTheme.tpk").write_bytes(package({"main.xml": MAIN.encode(), "a.png": b"a"}))
        (data / "Foreign.TPK").write_text("none")
        (data / "other.zip").write_text("none")
        index = "".join(f'<x id="2" filename="{name}"/>' for name in range(16))
        bomb = package({"main.xml": MAIN.encode()})[:1044] + entry(0, f"<i>{index}</i>".encode())
        (data / "bomb").write_bytes(bomb + entry(2, bytes(65 << 20)))
        self.tool("theme", "check", data / "bomb", code=65)
        chosen = {"file": "DefaultTheme.tpk", "scheme": 0}
        listed = {"selected": chosen | {"fault": None}, "inForce": chosen, "packages": [
            {"file": "DefaultTheme.tpk", "isPackage": True, "name": "Größe", "schemes": ["Day", "Night"]},
            {"file": "Foreign.TPK", "isPackage": False, "name": "", "schemes": []}]}
        self.assertEqual(json.loads(run("list", "--json").out), listed)
        for name, scheme, fault, line in [
            ("Gone.tpk", 0, "cannot be read: No such file", '"DefaultTheme.tpk" is in force'),
            ("Foreign.TPK", 0, "is no package", ""), ("DefaultTheme.tpk", 7, "has no scheme 7", ""),
            ("../Data/DefaultTheme.tpk", 0, "is no file of the data folder", ""),
            ("bomb", 0, "cannot be unpacked: it unpacks to more than 1024 MiB", ""),
        ]:
            for setting, value in (("ThemeFile", name), ("ThemeScheme", scheme)):
                self.tool("settings", "set", setting, value, env=environment)
            found = json.loads(run("list", "--json").out)
            self.assertIn(fault, found["selected"]["fault"])
            self.assertEqual(found["inForce"], chosen)
            self.assertIn(line, run("list").err)

        self.assertIn("Night selected", run("select", "DefaultTheme.tpk", 1).err)
        listed["selected"]["scheme"] = chosen["scheme"] = 1
        self.assertEqual(json.loads(run("list", "--json").out), listed)
        self.assertTrue((data / IDENTIFIER.hex().upper() / "a.png").is_file())
        files = {"main.xml": MAIN.replace("f.png", "nul.png").encode(), "nul.png": b"x", "day.png": b"x"}
        (data / "dropped").write_bytes(package(files))
        for code, message, *arguments in [
            (1, "no scheme 2; it has 2", "DefaultTheme.tpk", 2),
            (1, '"nul.png" was dropped, the frame .* device', "dropped", 0),
            (2, r"0 to 2147483647 \(", "DefaultTheme.tpk", -1),
            (65, "no package", "Foreign.TPK"), (66, "No such file", "Missing.tpk"),
            (2, "another folder", "../Data/DefaultTheme.tpk"),
        ]:
            with self.subTest(arguments=arguments):
                self.assertRegex(run("select", *arguments, code=code).err, message)
        self.assertEqual(json.loads(run("list", "--json").out), listed)
        self.assertIn("nul.png", run("select", "dropped", 1).err)
        self.assertEqual(json.loads(run("list", "--json").out)["selected"]["file"], "dropped")
        run("select", "DefaultTheme.tpk", 1)
        unpacked = data / IDENTIFIER.hex().upper()
        shutil.rmtree(unpacked)
        unpacked.write_text("in the way")
        self.assertIn("cannot be used", run("select", "DefaultTheme.tpk", 0, code=73).err)
        self.assertEqual(json.loads(run("list", "--json").out), listed)
        self.assertRegex(run("list").out, r"DefaultTheme\.tpk +Größe +Day, Night +Night")

        unpacked.unlink()
        (self.folder / "settings.db").unlink()
        (self.folder / "settings.db").mkdir()
        self.assertIn("settings", run("select", "DefaultTheme.tpk", code=73).err)

    def test_failures(self):
        good = self.write("good.tpk", package({"main.xml": MAIN.encode()}))
        self.write("foreign", "no package")
        self.write("version.tpk", b"TP\2\0" + good.read_bytes()[4:])
        for name, files in {
            "empty": {"main.xml": MAIN, "a": ""},
            "none": {"a": "a"},
            "device": {"main.xml": MAIN, "aux.png": "a"},
            "case": {"main.xml": MAIN, "a": "a", "A": "a"},
            "damaged": {"main.xml": "<p>"},
        }.items():
            (self.folder / name).mkdir()
            for file, content in files.items():
                (self.folder / name / file).write_text(content)
        (self.folder / "link").mkdir()
        (self.folder / "link" / "main.xml").symlink_to(good)
        self.assert_failures([
            (65, "no package", "theme", "info", "foreign"),
            (65, "no package", "theme", "info", "version.tpk"),
            (65, "no package", "theme", "unpack", "foreign", "out"),
            (66, "No such file", "theme", "info", "missing"),
            (66, "directory", "theme", "info", "none"),
            (73, "foreign/out: Not a directory", "theme", "unpack", "good.tpk", "foreign/out"),
            (73, "No such file", "theme", "pack", "no/x.tpk", SOURCE / "examples/themes/default"),
            (66, "No such file", "theme", "pack", "x.tpk", "missing"),
            (65, "empty", "theme", "pack", "x.tpk", "empty"),
            (65, "no main.xml", "theme", "pack", "x.tpk", "none"),
            (65, "device", "theme", "pack", "x.tpk", "device"),
            (65, "only in case", "theme", "pack", "x.tpk", "case"),
            (65, "line 1", "theme", "pack", "x.tpk", "damaged"),
            (65, "only files", "theme", "pack", "x.tpk", "link"),
            (2, "verb", "theme"),
            (2, '^tessaron: theme info: "--csv" is no option', "theme", "info", "good.tpk", "--csv"),
            (66, r"no\\xE9\.tpk: .* not UTF-8", "theme", "info", os.fsdecode(b"no\xE9.tpk")),
            (66, r"no\\xE9\.xml: .* not UTF-8", "list", "-c", os.fsdecode(b"no\xE9.xml")),
        ], untouched=[good])
