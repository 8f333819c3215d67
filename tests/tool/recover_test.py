"""Damaged collections, carts, and the options that all verbs share."""

import unittest

from support import ToolTest, collection, item

CART = "<CartResponse><Cart><Id>1</Id><PurchaseURL>{}</PurchaseURL></Cart></CartResponse>"


class Recover(ToolTest):
    def test_saves_the_items_before_the_fault(self):
        whole = collection(*(item(f"A{i}", "Ü") for i in range(3))).encode()
        ends = [i for i in range(len(whole)) if whole.startswith(b"</Item>", i)]
        cuts = [*range(ends[0] - 3, ends[0] + 12), ends[1] + 7, ends[2] + 6, len(whole) - 3]
        for cut in cuts:
            with self.subTest(cut=cut):
                damaged = self.write("cut.xml", whole[:cut])
                complete = sum(end + len("</Item>") <= cut for end in ends)
                out = self.folder / "out.xml"
                done = self.tool("recover", "cut.xml", "-o", "out.xml", code=0 if complete else 1)
                self.assertEqual(out.exists(), complete > 0)
                self.assertEqual(damaged.read_bytes(), whole[:cut])
                self.assertRegex(done.err, r"line 2, column \d+")
                if complete:
                    self.assertIn(f"{complete} item", done.err)
                    asins = [record["ASIN"] for record in self.json("list", "-c", "out.xml")]
                    self.assertEqual(asins, ["A0", "A1", "A2"][:complete])
                    out.unlink()

    def test_failures(self):
        damaged = self.write("d.xml", collection(item("A1"))[:-5])
        (self.folder / "link.xml").symlink_to("d.xml")
        self.assert_failures([
            (2, "damaged file itself", "recover", "d.xml", "-o", "d.xml"),
            (2, "damaged file itself", "recover", "d.xml", "-o", "link.xml"),
            (2, "--output", "recover", "d.xml"),
            (66, "no.xml", "recover", "no.xml", "-o", "out.xml"),
            (73, "no/out.xml", "recover", "d.xml", "-o", "no/out.xml"),
            (74, "/dev/full", "recover", "d.xml", "-o", "/dev/full"),
        ], untouched=[damaged])
        out = self.tool("recover", "-", "-o", "-", "-q", text=damaged.read_text())
        self.assertEqual((out.err, out.out.count("<ASIN>")), ("", 1))


class Cart(ToolTest):
    def test_purchase_address(self):
        rows = [
            ("https://x/?a=1&amp;MergeCart=False", [], "https://x/?a=1&MergeCart=False"),
            ("https://x/?a=1&amp;MergeCart=False", ["--merge"], "https://x/?a=1&MergeCart=True"),
            ("https://x/", ["--merge"], "https://x/MergeCart=True"),
        ]
        for address, arguments, expected in rows:
            with self.subTest(address=address, arguments=arguments):
                out = self.tool("cart", "-", *arguments, text=CART.format(address)).out
                self.assertEqual(out, expected + "\n")
        self.write("cart.xml", CART.format("https://x/"))
        self.assertEqual(self.json("cart", "cart.xml"), {"PurchaseURL": "https://x/"})
        self.write("none.xml", CART.format(""))
        self.write("other.xml", collection(item("A1")))
        self.write("cut.xml", CART.format("u")[:-3])
        self.assert_failures([
            (1, "none.xml: ", "cart", "none.xml"),
            (1, "other.xml: ", "cart", "other.xml"),
            (65, r"cut.xml:1:\d+: ", "cart", "cut.xml"),
            (66, "no.xml", "cart", "no.xml"),
        ])


class Help(ToolTest):
    def test_help_and_version(self):
        self.assertIn("import", self.tool("--help").out)
        self.assertIn("--dry-run", self.tool("import", "--help").out)
        self.assertRegex(self.tool("--version").out, r"\Atessaron \d+\.\d+\.\d+\n\Z")
        with open("/dev/full", "wb") as full:
            self.tool("--help", code=74, stdout=full)


if __name__ == "__main__":
    unittest.main()
