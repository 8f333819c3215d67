import subprocess
import unittest

from support import SOURCE, ToolTest


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
        self.assert_failures([
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


class Strips(unittest.TestCase):
    def test_the_bitmaps_have_the_form_that_the_library_needs(self):
        subprocess.run([SOURCE / "scripts/strips", "--check"], check=True)
