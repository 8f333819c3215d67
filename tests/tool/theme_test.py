import json
import os
import re
import shutil
import struct
import subprocess
import zlib

from support import SOURCE, ToolTest, limit, png_size

IDENTIFIER = bytes(range(16))
MAIN = """<p><info><author>Ada</author><name>Größe</name></info>
<theme name="Day" screenshot="day.png"><templates><t mode="fullframe" file="f.png"/></templates>
<virtualshelf background="day.png" uwidth="3"><g name="Book" image="b.png" olx="1"/></virtualshelf>
</theme><theme name="Night"/></p>""".encode()


def entry(number, content):
    data = zlib.compress(content)
    return struct.pack("<III64x", number, len(data), len(content)) + data


def package(**files):
    """A package written down apart from the tool, of main.xml and other files by their names."""
    files = {"main.xml": MAIN} | files
    index = "".join(f'<x id="{i}" filename="{name}"/>' for i, name in enumerate(files, 1))
    content = struct.pack("<2sH16s1024x", b"TP", 1, IDENTIFIER) + entry(0, f"<i>{index}</i>".encode())
    return content + b"".join(entry(i, data) for i, data in enumerate(files.values(), 1))


class Theme(ToolTest):
    tells_paths = True

    def test_tells_what_is_in_a_package(self):
        self.write("t.tpk", package(**{"day.png": b"x" * 999}))
        info = self.json("theme", "info", "t.tpk")
        day, night = info.pop("schemes")
        self.assertEqual(info, info | {"identifier": IDENTIFIER.hex().upper(), "name": "Größe", "author": "Ada",
                                       "dropped": []})
        self.assertEqual(day, day | {
            "name": "Day", "background": "day.png", "fullFrameTemplate": "f.png", "uwidth": 3,
            "groups": [{"name": "Book", "image": "b.png", "olx": 1, "oly": 0, "olwidth": 0, "olheight": 0}]})
        self.assertEqual(night["name"], "Night")
        self.assertEqual([(file["entry"], file["name"], file["size"]) for file in info["files"]],
                         [(1, "main.xml", len(MAIN)), (2, "day.png", 999)])
        with open(self.folder / "t.tpk", "rb") as file:
            text = self.tool("theme", "info", "-", stdin=file).out
        for expected in ("Größe", "Ada", "Scheme 1", "Night", "day.png"):
            self.assertIn(expected, text)

    def test_unpacks_into_a_folder_of_its_own(self):
        data = os.urandom(100000)
        self.write("t.tpk", package(**{"day.png": data}))
        done = self.json("theme", "unpack", "t.tpk", "new/out")
        folder = self.folder / "new" / "out" / IDENTIFIER.hex().upper()
        self.assertEqual(self.folder / done["folder"], folder)
        self.assertEqual([(path.name, path.read_bytes()) for path in folder.iterdir()], [("day.png", data)])
        # Nothing of a folder stays that was made for what cannot be written.
        failed = self.tool("theme", "unpack", "t.tpk", "newer/out\x1b[31m", code=74, preexec_fn=limit(50000))
        self.assertIn("day.png", failed.err)
        self.assertFalse((self.folder / "newer").exists())
        self.assertNotIn("\x1b", self.tool("theme", "unpack", "t.tpk", "newer/out\x1b[31m").out)

    def test_dropped_entries_are_told_and_fail(self):
        bad = {"../evil": "another folder", "nul.png": "device", "DAY.png": "only in case"}
        self.write("t.tpk", package(**{"day.png": b"day"}, **dict.fromkeys(bad, b"bad")))
        for verb, *more in (("info",), ("unpack", "out")):
            lines = self.tool("theme", verb, "t.tpk", *more, code=1, lines=len(bad)).err.splitlines()
            for line, (name, reason) in zip(lines, bad.items()):
                self.assertRegex(line, rf'^tessaron: t\.tpk: entry \d+ "{re.escape(name)}": .*{reason}')
        self.assertEqual([path.name for path in self.folder.rglob("*") if path.is_file()], ["t.tpk", "day.png"])

    def test_packs_what_it_unpacks_again(self):
        folder = self.folder / "theme"
        folder.mkdir()
        files = {"main.xml": MAIN, "day & night.png": os.urandom(5000), "ä'.png": b"\0"}
        for name, content in files.items():
            (folder / name).write_bytes(content)
        warned = self.tool("theme", "pack", "a.tpk", "theme").err.splitlines()
        self.assertEqual(len(warned), 7)  # six, and what was done
        self.assertEqual(warned[0], 'tessaron: theme: scheme 0: "day.png": the package lacks this file, the screenshot')
        os.utime(folder / "main.xml", (0, 0))
        with open(self.folder / "b.tpk", "wb") as piped:
            self.tool("theme", "pack", "-", "theme/", stdout=piped)
        subprocess.run([SOURCE / "scripts/pack-theme", self.folder / "c.tpk", folder], check=True)
        for checked in ("theme", "c.tpk"):
            self.assertEqual([warning["name"] for warning in json.loads(self.tool(
                "-q", "theme", "check", checked, "--json", code=1, lines=0).out)],
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
        schemes = self.json("theme", "info", "DefaultTheme.tpk")["schemes"]
        self.assertEqual([(scheme["name"], len(scheme["groups"])) for scheme in schemes], [("Wood", 4), ("Night", 4)])
        for group in (group for scheme in schemes for group in scheme["groups"]):
            width, height = png_size(folder / group["image"])
            self.assertLessEqual(group["olx"] + group["olwidth"], width)
            self.assertLessEqual(group["oly"] + group["olheight"], height)

    def test_lists_and_selects_what_the_data_folder_has(self):
        self.needs_linux("a data folder of one's choice")
        settings, data = self.folder / "settings.db", self.folder / "home" / "Data"
        self.setting(TESSARON_HOME=self.folder / "home", TESSARON_SETTINGS=settings)
        self.assertIn("no themes", self.tool("theme", "list", code=1).err)
        data.mkdir(parents=True)
        index = "".join(f'<x id="2" filename="{name}"/>' for name in range(16))
        bomb = package()[:1044] + entry(0, f"<i>{index}</i>".encode()) + entry(2, bytes(65 << 20))
        dropped = {"main.xml": MAIN.replace(b"f.png", b"nul.png"), "nul.png": b"x", "day.png": b"x"}
        for name, content in [("DefaultTheme.tpk", package(**{"a.png": b"a"})), ("Foreign.TPK", b"none"),
                              ("other.zip", b"none"), ("bomb", bomb), ("dropped", package(**dropped))]:
            (data / name).write_bytes(content)
        self.tool("theme", "check", data / "bomb", code=65)
        chosen = {"file": "DefaultTheme.tpk", "scheme": 0}
        listed = {"selected": chosen | {"fault": None}, "inForce": chosen, "packages": [
            {"file": "DefaultTheme.tpk", "isPackage": True, "name": "Größe", "schemes": ["Day", "Night"]},
            {"file": "Foreign.TPK", "isPackage": False, "name": "", "schemes": []}]}
        self.assertEqual(self.json("theme", "list"), listed)
        for name, scheme, fault in [
            ("Gone.tpk", 0, "cannot be read: No such file"), ("DefaultTheme.tpk", 7, "has no scheme 7"),
            ("../Data/DefaultTheme.tpk", 0, "is no file of the data folder"), ("Foreign.TPK", 0, "is no package"),
            ("bomb", 0, "cannot be unpacked: it unpacks to more than 1024 MiB"),
        ]:
            self.tool("settings", "set", "ThemeFile", name)
            self.tool("settings", "set", "ThemeScheme", scheme)
            found = self.json("theme", "list")
            self.assertIn(fault, found["selected"]["fault"])
            self.assertEqual(found["inForce"], chosen)
            self.assertIn('"DefaultTheme.tpk" is in force', self.tool("theme", "list").err)

        self.assertIn("Night selected", self.tool("theme", "select", "DefaultTheme.tpk", 1).err)
        listed["selected"]["scheme"] = chosen["scheme"] = 1
        self.assertEqual(self.json("theme", "list"), listed)
        unpacked = data / IDENTIFIER.hex().upper()
        self.assertTrue((unpacked / "a.png").is_file())
        self.assert_failures([(code, message, "theme", "select", *arguments) for code, message, *arguments in [
            (1, "no scheme 2; it has 2", "DefaultTheme.tpk", 2),
            (1, '"nul.png" was dropped, the frame .* device', "dropped", 0),
            (2, r"0 to 2147483647 \(", "DefaultTheme.tpk", -1),
            (65, "no package", "Foreign.TPK"), (66, "No such file", "Missing.tpk"),
            (2, "another folder", "../Data/DefaultTheme.tpk"),
        ]], untouched=[settings])
        self.assertIn("nul.png", self.tool("theme", "select", "dropped", 1).err)
        self.assertEqual(self.json("theme", "list")["selected"]["file"], "dropped")
        self.tool("theme", "select", "DefaultTheme.tpk", 1)
        shutil.rmtree(unpacked)
        unpacked.write_text("in the way")
        self.assert_failures([(73, "cannot be used", "theme", "select", "DefaultTheme.tpk", 0)], untouched=[settings])
        self.assertRegex(self.tool("theme", "list").out, r"DefaultTheme\.tpk +Größe +Day, Night +Night")
        unpacked.unlink()
        settings.unlink()
        settings.mkdir()
        self.assertIn("settings", self.tool("theme", "select", "DefaultTheme.tpk", code=73).err)

    def test_failures(self):
        good = self.write("good.tpk", package())
        self.write("foreign", "no package")
        for folder, file, content in [("empty", "a", b""), ("device", "aux.png", b"a"), ("case", "MAIN.xml", b"a"),
                                      ("damaged", "main.xml", b"<p>")]:
            (self.folder / folder).mkdir()
            self.write(folder + "/main.xml", MAIN)
            self.write(f"{folder}/{file}", content)
        for folder in ("none", "link"):
            (self.folder / folder).mkdir()
        (self.folder / "link" / "main.xml").symlink_to(good)
        self.assert_failures([
            (65, "no package", "theme", "info", "foreign"),
            (66, "No such file", "theme", "info", "missing"),
            (66, "directory", "theme", "info", "none"),
            (73, "foreign/out: Not a directory", "theme", "unpack", "good.tpk", "foreign/out"),
            (73, "No such file", "theme", "pack", "no/x.tpk", SOURCE / "examples/themes/default"),
            (66, "No such file", "theme", "pack", "x.tpk", "missing"),
            (65, "empty", "theme", "pack", "x.tpk", "empty"),
            (65, "no main.xml", "theme", "pack", "x.tpk", "none"),
            (65, "device", "theme", "pack", "x.tpk", "device"),
            (65, "only in case from main", "theme", "pack", "x.tpk", "case"),
            (65, "line 1", "theme", "pack", "x.tpk", "damaged"),
            (65, "only files", "theme", "pack", "x.tpk", "link"),
            (2, "verb", "theme"),
            (2, '^tessaron: theme info: "--csv" is no option', "theme", "info", "good.tpk", "--csv"),
            (66, r"no\\xE9\.tpk: .* not UTF-8", "theme", "info", os.fsdecode(b"no\xE9.tpk")),
            (66, r"no\\xE9\.xml: .* not UTF-8", "list", "-c", os.fsdecode(b"no\xE9.xml")),
        ], untouched=[good])
