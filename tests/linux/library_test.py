#!/usr/bin/env python3
"""Checks what is built for Linux: what the library exports, and how all of it is hardened.

    library_test.py BUILD-DIR EXPORTS CONFIGURATION [--update]

EXPORTS is the list of the exported symbols, one a line; --update writes it anew.
"""

import pathlib
import re
import subprocess
import sys
import unittest

BUILD, EXPORTS, CONFIGURATION = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
LIBRARY = BUILD / "lib/libTessaronBF.so"


def run(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


def exported():
    symbols = run("nm", "-D", "--defined-only", LIBRARY).splitlines()
    names = {line.split()[-1].split("@")[0] for line in symbols}
    return sorted(name for name in names if not name.startswith("TESSARON_"))  # the version itself


def demangled(names):
    return run("c++filt", input="\n".join(names)).splitlines()


def built():
    """All programs and libraries of the build tree."""
    files = [path for folder in ("bin", "lib") for path in sorted((BUILD / folder).rglob("*"))
             if path.is_file() and not path.is_symlink()]
    return [path for path in files if path.read_bytes()[:4] == b"\x7fELF"]


class Library(unittest.TestCase):
    def test_exports_what_is_listed(self):
        names, listed = set(exported()), set(EXPORTS.read_text().split())
        self.assertGreater(len(names), 100)
        self.assertEqual(demangled(sorted(names - listed)), [], "not in the list")
        self.assertEqual(demangled(sorted(listed - names)), [], "no longer exported")

    def test_exports_nothing_of_others(self):
        foreign = re.compile(r"(?:(?:typeinfo(?: name)?|vtable|VTT|guard variable) for )?"
                             r"(?:std|fmt|nlohmann|Gdiplus|ATL|__gnu_cxx)::")
        self.assertEqual([name for name in demangled(exported()) if foreign.match(name)], [])


class Hardening(unittest.TestCase):
    def for_each(self, check):
        files = built()
        self.assertIn(BUILD / "bin/tessaron", files)
        for path in files:
            with self.subTest(path.name):
                check(path)

    def test_looks_for_libraries_beside_itself_only(self):
        def check(path):
            dynamic = run("readelf", "-dW", path)
            for paths in re.findall(r"\((?:RUNPATH|RPATH)\).*\[(.*)\]", dynamic):
                for entry in paths.split(":"):
                    self.assertRegex(entry, r"^\$ORIGIN(/|$)", paths)
        self.for_each(check)

    def test_fixes_relocations_and_addresses_are_random(self):
        def check(path):
            headers, dynamic = run("readelf", "-hlW", path), run("readelf", "-dW", path)
            self.assertRegex(headers, r"Type:\s+DYN")
            self.assertIn("GNU_RELRO", headers)
            self.assertRegex(headers, r"GNU_STACK.* RW ")
            if path.suffix == "":  # a program
                self.assertRegex(dynamic, r"\(FLAGS_1\).*PIE")
            self.assertRegex(dynamic, r"\(FLAGS_1\).*NOW")
        self.for_each(check)

    def test_checks_stack_and_jumps(self):
        def check(path):
            self.assertIn("__stack_chk_fail", run("nm", "-D", path))
            code = run("objdump", "-d", "--no-show-raw-insn", path)
            functions = len(re.findall(r"^[0-9a-f]+ <.*>:$", code, re.MULTILINE))
            if "x86-64" in code:
                self.assertGreater(code.count("endbr64"), functions // 4)
        for name in ("bin/tessaron", "lib/libTessaronBF.so"):
            check(BUILD / name)

    @unittest.skipIf(CONFIGURATION == "Debug", "an unoptimized build has no checked functions")
    def test_checks_lengths(self):
        self.assertRegex(run("nm", "-D", LIBRARY), r"U __(?!stack)\w+_chk")


if __name__ == "__main__":
    if sys.argv[4:] == ["--update"]:
        EXPORTS.write_text("\n".join(exported()) + "\n")
    else:
        unittest.main(argv=sys.argv[:1], verbosity=2)
