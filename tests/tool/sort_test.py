import subprocess
import unittest

from support import ON_WINDOWS, SOURCE, ToolTest


class Sort(ToolTest):
    def test_gives_the_sort_form_of_each_line(self):
        lines = "\ufeffjohn smith\r\n\r\nThe End\nsmith, john"
        for arguments, expected in [
            ((), "Smith, John\n\nEnd, The\nSmith, John\n"),
            (("--names", "--option", 1), "John Smith\n\nThe End\nSmith, John\n"),
            (("--names", "--option", 3), "john smith\n\nThe End\nsmith, john\n"),
            (("--titles",), "john smith\n\nEnd, The\nsmith, john\n"),
            (("--titles", "--option", 2), "john smith\n\nThe End\nsmith, john\n"),
        ]:
            with self.subTest(arguments=arguments):
                self.assertEqual(self.tool("sortform", *arguments, text=lines).out, expected)
        for arguments, line, expected in [
            (("--explain",), "john smith", "Smith, John\tevery word gets a capital and small letters; "
                                           "the last word goes to the front\n"),
            (("--language", "nl"), "Vincent van Gogh", "Gogh, Vincent van\n"),
            (("--language", "en", "--particle", "x,van", "--explain"), "Vincent van Gogh",
             'Gogh, Vincent van\tthe family name is "Gogh" (AACR2 22.5D1: English); it goes to the front; '
             '"van" goes behind the given names (--particle)\n'),
            (("--titles", "--article", "Yr,l'"), "l'Avare", "Avare, l'\n"),
            (("--titles", "--language", "fr"), "The End", "The End\n"),
        ]:
            with self.subTest(arguments=arguments):
                self.assertEqual(self.tool("sortform", *arguments, text=line).out, expected)
        self.assertRegex(self.tool("sortform", "--language", "list").out, r"\nnl +dutch +family name last ")
        self.assert_failures([
            (2, "\"klingon\" are not known; there are af, ar", "sortform", "--language", "klingon"),
            (2, "excludes", "sortform", "--language", "nl", "--option", 1),
            (2, "no order for \"de-u-co-foo\"", "sort", "--locale", "de-u-co-foo"),
            (2, "no order for \"xx\"", "sort", "--locale", "xx"),
            (2, "--option", "sortform", "--option", 4),
            (2, "--names|--titles", "sortform", "--names", "--titles"),
            (66, "missing: No such file", "sortform", "missing"),
        ])

    def test_sorts_lines_and_keeps_their_bytes(self):
        self.write("lines", b"\xef\xbb\xbfb\r\nPart 10\n\xff\npart 9\r\na\nPART 9\n\n\xc3\xa9\nf")
        expected = b"\na\nb\n\xc3\xa9\nf\npart 9\nPART 9\nPart 10\n\xff\n"
        for arguments in ((), ("--no-case",)):
            with open(self.folder / "sorted", "wb") as out:  # no text: it is no UTF-8
                self.tool("sort", *arguments, "lines", stdout=out)
            self.assertEqual((self.folder / "sorted").read_bytes(), expected)
        self.assertEqual(self.tool("sort", text="").out, "")
        for locale, lines in [("de_DE.UTF-8", "Affe Ärger Azur"), ("de-u-co-phonebk", "Ärger Affe Azur"),
                              ("es", "chico cz llama luz"), ("es-u-co-trad", "cz chico luz llama"),
                              ("zh-u-co-pinyin", "李 王 一 张"), ("zh-u-co-stroke", "一 王 张 李")]:
            if ON_WINDOWS and locale == "zh-u-co-stroke":
                continue  # Wine does not know the numbers of strokes
            sorted_lines = self.tool("sort", "--locale", locale, text="\n".join(sorted(lines.split()))).out
            self.assertEqual(sorted_lines.split(), lines.split(), locale)


class Strips(unittest.TestCase):
    def test_the_bitmaps_have_the_form_that_the_library_needs(self):
        subprocess.run([SOURCE / "scripts/strips", "--check"], check=True)
