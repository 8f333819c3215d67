#!/usr/bin/env python3
"""Calls the library from Python: errors of the C interface, and what it promises about files.

    c_interface_test.py LIBRARY TOOL ABI-DUMP HEADER
"""

import ctypes
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

LIBRARY, TOOL, DUMP, HEADER = map(pathlib.Path, sys.argv[1:5])
(OK, END, INVALID, NOT_FOUND, UNREADABLE, DAMAGED, UNWRITABLE, REFUSED) = range(8)

library = ctypes.CDLL(LIBRARY)
library.tsr_last_error.restype = ctypes.c_char_p
library.tsr_free.restype = None
library.tsr_free.argtypes = [ctypes.c_void_p]


def call(name, *arguments):
    """A function whose last argument gives a text: its status, and the text or the error."""
    text = ctypes.c_char_p()
    values = [value.encode() if isinstance(value, str) else value for value in arguments]
    status = getattr(library, name)(*values, ctypes.byref(text))
    if status != OK:
        return status, library.tsr_last_error().decode()
    result = text.value.decode()
    library.tsr_free(text)
    return status, result


class Edit:
    def __init__(self, path):
        self.handle = ctypes.c_void_p()
        assert library.tsr_edit_begin(str(path).encode(), ctypes.byref(self.handle)) == OK

    def __getattr__(self, name):
        def do(*arguments):
            values = [value.encode() if isinstance(value, str) else value for value in arguments]
            return getattr(library, "tsr_edit_" + name)(self.handle, *values)
        return do


def records(path, query=""):
    handle = ctypes.c_void_p()
    assert library.tsr_collection_open(str(path).encode(), ctypes.byref(handle)) == OK
    assert library.tsr_collection_query(handle, query.encode()) == OK
    found = []
    while True:
        status, text = call("tsr_collection_next", handle)
        if status != OK:
            library.tsr_collection_close(handle)
            return found, status, text
        found.append(json.loads(text))


class CInterface(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        os.environ["XDG_STATE_HOME"] = self.folder.name + "/state"
        self.shelf = pathlib.Path(self.folder.name, "shelf.xml")
        edit = Edit(self.shelf)
        self.assertEqual([edit.add(json.dumps({"ASIN": key, "Title": title}), 0, None)
                          for key, title in [("A1", "Salt Roads"), ("A2", "Tin Moon")]], [OK, OK])
        self.assertEqual(edit.commit(None), OK)

    def test_a_failed_edit_says_why_and_changes_nothing(self):
        cases = [
            (NOT_FOUND, [("update", "A9", '{"Notes": "x"}')], "there is no item A9"),
            (NOT_FOUND, [("remove", "A1"), ("remove", "A9")], "there is no item A9"),
            (REFUSED, [("add", '{"ASIN": "A1", "Title": "x"}', 0, None)],
             'A1 "Salt Roads" is there already'),
            (REFUSED, [("return", "A1", "Mira")], "A1: "),
            (REFUSED, [("lend", "A1", "Mira", None), ("lend", "A1", "Ada", None)], "A1: "),
            (INVALID, [("update", "A1", '{"Title": " "}')], "the item would lose its title"),
        ]
        before = self.shelf.read_bytes()
        for status, steps, reason in cases:
            with self.subTest(steps):
                edit = Edit(self.shelf)
                for name, *arguments in steps:
                    self.assertEqual(getattr(edit, name)(*arguments), OK)
                self.assertEqual(edit.commit(None), status)
                self.assertIn(reason, library.tsr_last_error().decode())
                self.assertEqual(self.shelf.read_bytes(), before)

    def test_a_wrong_argument_is_refused_at_once(self):
        edit = Edit(self.shelf)
        cases = [
            ("add", ('{"Titel": "x"}', 0, None), 'a record has no "Titel"'),
            ("add", ('{"Title": 5}', 0, None), '"Title" is a number, not a text'),
            ("add", ('["x"]', 0, None), "a record is an object of JSON"),
            ("add", ('{"Title": "x"', 0, None), ""),
            ("add", ("{}", 0, None), "the item has no title"),
            ("lend", ("A1", "Mira", "tomorrow"), '"tomorrow" is no date'),
            ("update", (None, "{}"), "a pointer is null"),
        ]
        for name, arguments, reason in cases:
            with self.subTest(arguments):
                self.assertEqual(getattr(edit, name)(*arguments), INVALID)
                self.assertIn(reason, library.tsr_last_error().decode())
        library.tsr_edit_drop(edit.handle)
        self.assertEqual(Edit(self.shelf).commit("two\nlines"), INVALID)

    def test_an_update_keeps_what_it_does_not_name(self):
        edit = Edit(self.shelf)
        edit.update("A1", json.dumps({"authors": ["Ada", "Bo"], "icon": 3, "Notes": "old",
                                      "status": {"value": 4, "target": "shop"}}))
        self.assertEqual(edit.commit("set"), OK)
        edit = Edit(self.shelf)
        edit.update("A1", '{"authors": ["Cy"], "icon": null, "status": null}')
        self.assertEqual(edit.commit("set"), OK)
        (record,), status, _ = records(self.shelf, "roads")
        self.assertEqual(status, END)
        self.assertEqual((record["authors"], record["Notes"], record["icon"], record["status"]),
                         (["Cy"], "old", None, None))
        log = subprocess.run([TOOL, "log", "-c", self.shelf], capture_output=True, text=True)
        self.assertEqual(log.stdout.count(" set "), 2, log)

    def test_a_walk_tells_where_a_collection_is_damaged(self):
        self.shelf.write_text("<PriceTracker><Items><Item><ItemAttributes><Title>a</Title></ItemAttributes></Item>\n"
                              "<Item></Items>")
        found, status, reason = records(self.shelf)
        self.assertEqual(([each["Title"] for each in found], status), (["a"], DAMAGED))
        self.assertIn("line 2, column", reason)
        self.shelf.write_text("<html/>")
        self.assertEqual(records(self.shelf)[1], DAMAGED)

    def test_lists_a_package_as_it_was_packed(self):
        theme = pathlib.Path(self.folder.name, "theme")
        theme.mkdir()
        (theme / "main.xml").write_text('<package name="Oak"><theme name="t"/></package>')
        (theme / "wood.png").write_bytes(b"not really")
        package = pathlib.Path(self.folder.name, "oak.tpk")
        subprocess.run([TOOL, "theme", "pack", package, theme], check=True, capture_output=True)
        status, text = call("tsr_list_package", str(package))
        self.assertEqual(status, OK, text)
        names = [name for entry in json.loads(text)["entries"] for name in entry["names"]]
        self.assertEqual(sorted(names), ["main.xml", "wood.png"])

    def test_an_unwritable_file_stays(self):
        edit = Edit("/proc/none/shelf.xml")
        edit.add('{"Title": "x"}', 0, None)
        self.assertEqual(edit.commit(None), UNWRITABLE)
        names, values = (ctypes.c_char_p * 1)(b"a"), (ctypes.c_double * 1)(1)
        self.assertEqual(library.tsr_draw_chart(names, values, 1, 300, 240, b"/proc/none.png"),
                         UNWRITABLE)
        values[0] = float("nan")
        self.assertEqual(library.tsr_draw_chart(names, values, 1, 300, 240, b"x.png"), INVALID)

    def test_exports_what_the_header_declares_and_breaks_nothing(self):
        declared = set(re.findall(r"\b(tsr_\w+)\(", re.sub(r"/\*.*?\*/", "", HEADER.read_text(),
                                                           flags=re.S)))
        symbols = subprocess.run(["nm", "-D", "--defined-only", LIBRARY], check=True,
                                 capture_output=True, text=True).stdout
        exported = {line.split()[-1].split("@")[0] for line in symbols.splitlines()}
        self.assertEqual(declared, {name for name in exported if name.startswith("tsr_")})
        result = subprocess.run(["abidiff", "--header-file2", HEADER, "--no-added-syms",
                                 "--suppressions", pathlib.Path(__file__).with_name("only_c.abignore"),
                                 DUMP, LIBRARY], capture_output=True, text=True)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
