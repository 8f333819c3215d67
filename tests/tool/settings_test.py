import json
import os
import pathlib
import re

from support import ToolTest, item, response

# Apart from the library's table: type, default, names.
DEFAULTS = [
    ("bool", "true", "LoadLastCollectionOnStart WebcamStrictMode RememberWindowPositionSize "
     "EnableSplashScreen HideNonRelevantPages HighlightDueItems UpdatePriceTrackerOnStart "
     "FetchLowPriceOffer ViewToolbar ViewStatusBar"),
    ("bool", "false", "AutoSaveCollection UseCaseInsensitiveSorting SwapCategoryPane SwapListPane "
     "NewVersion"),
    ("int", "0", "WebcamDevice CollationOption ItemListingStyle AmazonECSSite SortType ThemeScheme "
     "WeekLastChecked"),
    ("int", "1", "InterfaceMode"), ("int", "2", "ViewType"), ("int", "5", "AutoSaveCollectionInterval"),
    ("int", "10", "WindowCmdShow"), ("int", "20", "CategoryPanePosition"),
    ("int", "50", "ListPanePosition"), ("int", "70", "TabPanePosition"),
    ("int", "85000", "ImageSizePixels"), ("rectangle", "[-1, -1, 749, 549]", "WindowRect"),
    ("string", '""', "LastCollectionFileName AccountEmail"),
    ("string", '"DefaultTheme.tpk"', "ThemeFile"), ("strings", "[]", "CustomIcons"),
    ("flags", json.dumps([True] * 4), "LVShowFields"), ("flags", json.dumps([True] * 22), "ShowHide"),
]


class Settings(ToolTest):
    def setUp(self):
        super().setUp()
        self.store = self.folder / "own" / "settings.db"
        self.setting(TESSARON_SETTINGS=self.store, TESSARON_HOME=self.folder)

    def get(self, name):
        return self.json("settings", "get", name)["value"]

    def test_lists_the_defaults_and_makes_nothing(self):
        listed = self.json("settings", "list")
        self.assertCountEqual(
            [(entry["type"], entry["default"], entry["value"], entry["name"]) for entry in listed],
            [(kind, json.loads(text), json.loads(text), name) for kind, text, names in DEFAULTS
             for name in names.split()])
        self.tool("settings", "reset")
        lists = self.json("settings", "lists")
        self.assertEqual(lists["custom"], {})
        self.assertEqual(lists["general"]["Region"], [*"12345678", "All"])
        self.assertEqual(len(lists["general"]["MediaTypes"]), 10)
        self.assertRegex(self.tool("settings", "lists").out, "general +ESRBAgeRating +Adults Only; Early Childhood;")
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_sets_and_resets_values_of_every_type(self):
        rows = [
            ("swapLISTpane", ["on"], True, "true"),
            ("AutoSaveCollectionInterval", ["2147483647"], 2**31 - 1, "2147483647"),
            ("AccountEmail", ["Zoë 世 <z@x>"], "Zoë 世 <z@x>", "Zoë 世 <z@x>"),
            ("AccountEmail", [""], "", ""),
            ("LVShowFields", ["1,0,yes,false"], [True, False, True, False], "1,0,1,0"),
            ("CustomIcons", ["a b.ico", "ü.png"], ["a b.ico", "ü.png"], "a b.ico\nü.png"),
            ("WindowRect", ["-5,0,7,2147483647"], [-5, 0, 7, 2**31 - 1], "-5,0,7,2147483647"),
        ]
        for name, values, value, text in rows:
            with self.subTest(name=name, values=values):
                self.tool("settings", "set", name, "--", *values)
                self.assertEqual(self.get(name), value)
                self.assertEqual(self.tool("settings", "get", name).out, text + "\n")
        self.assertRegex(self.tool("settings", "list").out, r"SwapListPane +bool +true +false\n")
        self.tool("settings", "reset", "LVShowFields")
        self.assertEqual((self.get("LVShowFields"), self.get("SwapListPane")), ([True] * 4, True))
        self.tool("settings", "reset")
        self.assertTrue(all(entry["value"] == entry["default"]
                            for entry in self.json("settings", "list")))

    def test_failures_change_nothing(self):
        self.tool("settings", "set", "ViewType", "7")
        self.assert_failures([
            (2, "'ViewTipe'.*nearest.* ViewType", "settings", "get", "ViewTipe"),
            (2, "nearest.* ShowHide", "settings", "set", "show", "1"),
            (2, "nearest.* CustomIcons", "settings", "reset", "icons"),
            (2, r"'Nope'; \"settings list\"", "settings", "set", "Nope", "1"),
            (2, "takes a whole number from 0 to 3", "settings", "set", "CollationOption", "4"),
            (2, "ViewType takes a whole number", "settings", "set", "ViewType", "2147483648"),
            (2, "ViewType takes one value", "settings", "set", "ViewType", "1", "2"),
            (2, "SwapListPane takes true or false", "settings", "set", "SwapListPane", "maybe"),
            (2, "LVShowFields takes 4 flags", "settings", "set", "LVShowFields", "1,1,1"),
            (2, "ShowHide takes true or false", "settings", "set", "ShowHide", "1,,1"),
            (2, "WindowRect takes four", "settings", "set", "WindowRect", "1,2,3,"),
            (2, "not empty", "settings", "set", "CustomIcons", ""),
            (2, "VALUE", "settings", "set", "ViewType"),
            (2, "UTF-8", "settings", "set", "AccountEmail", os.fsdecode(b"\xff")),
        ], untouched=[self.store])
        self.assertEqual(self.get("ViewType"), 7)

    def test_a_damaged_file_is_refused_until_a_change_sets_it_aside(self):
        self.tool("settings", "set", "ViewType", "7")
        sound = self.store.read_bytes()
        readers = [("settings", "list"), ("settings", "lists"), ("theme", "list"),
                   ("import", "-c", "shelf.xml", self.write("r.xml", response(item("A1"))))]
        for number, change in enumerate([("set", "ViewType", "3"), ("reset",), ("reset", "ViewType")], 1):
            self.store.write_bytes(sound[:5000])
            self.assert_failures([(65, "settings.db: .*damaged", *reader) for reader in readers],
                                 untouched=[self.store])
            aside = f"{self.store}.damaged-{number}"
            self.assertRegex(self.tool("settings", *change).err,
                             rf"\Atessaron: settings: [^\n]*{re.escape(aside)}[^\n]*\n\Z")
            self.assertEqual(pathlib.Path(aside).read_bytes(), sound[:5000])
        self.assertEqual(self.tool("settings", "get", "ViewType").err, "")

    def test_what_is_no_store_is_left_alone(self):
        self.store.parent.mkdir()
        self.store.write_text("my notes")
        self.assert_failures([(65, "settings.db: .*something else", "settings", *arguments)
                              for arguments in (["list"], ["set", "ViewType", "1"], ["reset"])],
                             untouched=[self.store])
        self.setting(TESSARON_SETTINGS="/dev/null/settings.db")
        self.tool("settings", "set", "ViewType", "1", code=73)
