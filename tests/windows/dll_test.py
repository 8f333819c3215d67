#!/usr/bin/env python3
"""Looks at the DLL as it is shipped: what it needs, what it gives, and what it gives away.

    dll_test.py DLL TRIPLE EXPORTS [--update]

EXPORTS is the list of the exported symbols, one a line; --update writes it anew.
"""

import pathlib
import re
import struct
import subprocess
import sys
import unittest

DLL, TRIPLE, EXPORTS = (pathlib.Path(sys.argv[1]), sys.argv[2], pathlib.Path(sys.argv[3]))

STRINGS = pathlib.Path(__file__).resolve().parents[2] / "src/resources/strings.def"
# Every supported Windows has these.
SYSTEM_LIBRARIES = {
    "advapi32.dll", "comctl32.dll", "gdi32.dll", "gdiplus.dll", "kernel32.dll", "msvcrt.dll",
    "ole32.dll", "oleaut32.dll", "shell32.dll", "shlwapi.dll", "user32.dll", "usp10.dll", "uxtheme.dll",
}
# The compiler's runtime, which it shares with the programs that use it, in their folder.
RUNTIME = {"libgcc_s_dw2-1.dll", "libgcc_s_seh-1.dll", "libstdc++-6.dll", "libwinpthread-1.dll"}


def objdump(*options):
    return subprocess.run([f"{TRIPLE}-objdump", *options, DLL], check=True, capture_output=True,
                          text=True).stdout


def exported():
    table = objdump("-p").split("[Ordinal/Name Pointer] Table", 1)[1].split("\n\n", 1)[0]
    return sorted(re.findall(r"^\s*\[\s*\d+\](?: \+base\[\s*\d+\])?\s+(?:[0-9a-f]+ )?(\S+)$",
                             table, re.MULTILINE))


def resources(kind):
    """The numbers of all resources of a kind."""
    content = DLL.read_bytes()
    header = struct.unpack_from("<I", content, 60)[0]
    sections, optional = struct.unpack_from("<H", content, header + 6)[0], struct.unpack_from(
        "<H", content, header + 20)[0]
    for i in range(sections):
        entry = header + 24 + optional + 40 * i
        if content[entry:entry + 8].rstrip(b"\0") == b".rsrc":
            start = struct.unpack_from("<I", content, entry + 20)[0]
            break
    else:
        return set()

    def children(offset):
        named, numbered = struct.unpack_from("<HH", content, start + offset + 12)
        return dict(struct.unpack_from("<II", content, start + offset + 16 + 8 * i)
                    for i in range(named, named + numbered))
    return set(children(children(0)[kind] & 0x7FFFFFFF)) if kind in children(0) else set()


def demangled(names):
    text = subprocess.run([f"{TRIPLE}-c++filt", "--no-strip-underscore"], input="\n".join(names),
                          check=True, capture_output=True, text=True).stdout
    return text.splitlines()


class Dll(unittest.TestCase):
    def test_needs_nothing_but_windows_and_the_shared_runtime(self):
        needed = {name.lower() for name in re.findall(r"DLL Name: (\S+)", objdump("-p"))}
        self.assertIn("kernel32.dll", needed)
        self.assertLessEqual(needed, SYSTEM_LIBRARIES | RUNTIME)
        self.assertIn("libstdc++-6.dll", needed)

    def test_exports_what_is_documented(self):
        names = exported()
        self.assertGreater(len(names), 100)
        listed = EXPORTS.read_text().split()
        self.assertEqual(demangled(sorted(set(names) - set(listed))), [], "not in the list")
        self.assertEqual(demangled(sorted(set(listed) - set(names))), [], "no longer exported")

    def test_is_hardened(self):
        content = DLL.read_bytes()
        header = struct.unpack_from("<I", content, 60)[0]
        flags = struct.unpack_from("<H", content, header + 24 + 70)[0]
        wanted = {0x0040: "dynamic base", 0x0100: "no execution of data"}
        if TRIPLE.startswith("x86_64"):
            wanted[0x0020] = "64-bit addresses"
        self.assertEqual([name for flag, name in wanted.items() if not flags & flag], [])
        self.assertIn(".reloc", objdump("-h"))  # without relocations the base cannot move
        self.assertIn(b"stack smashing detected", content)

    def test_carries_its_resources(self):
        bitmaps, strings, versions = (resources(kind) for kind in (2, 6, 16))
        self.assertEqual(bitmaps, {102, 103, 104})
        numbers = {int(number) for number in re.findall(r"^TESSARON_STRING\((\d+),",
                                                        STRINGS.read_text(), re.MULTILINE)}
        self.assertEqual(strings, {number // 16 + 1 for number in numbers})
        self.assertEqual(versions, {1})

    def test_tells_nothing_of_where_it_was_built(self):
        content = DLL.read_bytes()
        here = pathlib.Path(__file__).resolve()
        places = {str(here.parents[2]), str(DLL.resolve().parents[1]), str(pathlib.Path.home()),
                  "/usr/", "/winlibs/", "/tmp/"}
        for place in places - {"/"}:
            for encoding in ("utf-8", "utf-16-le"):
                found = content.find(place.encode(encoding))
                self.assertEqual(found, -1, f"{place} at {found}: "
                                 f"{content[max(found - 40, 0):found + 80]!r}")


if __name__ == "__main__":
    if sys.argv[4:] == ["--update"]:
        EXPORTS.write_text("\n".join(exported()) + "\n")
    else:
        unittest.main(argv=sys.argv[:1], verbosity=2)
