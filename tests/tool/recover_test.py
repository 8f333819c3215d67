"""Damaged collections, carts, and the options that all verbs share."""


from support import ToolTest, collection, item

CART = "<CartResponse><Cart><Id>1</Id><PurchaseURL>{}</PurchaseURL></Cart></CartResponse>"


class Recover(ToolTest):
    def test_saves_what_is_whole_and_tells_every_fault(self):
        whole = collection(*(item(f"A{i}", "Ü") for i in range(5)))
        damaged = self.write("d.xml", whole.replace("A1<", "A1\n</x><").replace("A3<", "A3\n&#;<"))
        before = damaged.read_bytes()
        out = self.write("out.xml", "mine")
        arguments = ("recover", "d.xml", "-o", "out.xml")
        self.assertIn("--force", self.tool(*arguments, code=73).err)
        self.assertEqual(out.read_text(), "mine")
        err = self.tool(*arguments, "--force").err
        self.assertRegex(err, r"d.xml:3:1: .*; 2 items behind it\nd.xml:4:1: .*; 1 item behind it\n"
                              r".*3 items saved")
        self.assertEqual(self.asins("out.xml"), ["A0", "A2", "A4"])
        self.assertEqual(damaged.read_bytes(), before)

    def test_failures(self):
        damaged = self.write("d.xml", collection(item("A1"))[:-5])
        self.write("other.xml", b"<?xml encoding='x-none'?><R>\xe9</R>")
        (self.folder / "link.xml").symlink_to("d.xml")
        self.assert_failures([
            (1, "no item to save; damaged at line 1, column 1: ", "recover", "-o", "o.xml", "/dev/null"),
            (2, "replace the input", "recover", "d.xml", "-o", "d.xml"),
            (2, "replace the input", "recover", "d.xml", "-o", "link.xml", "--force"),
            (65, "x-none", "recover", "other.xml", "-o", "out.xml"),
            (65, r"other.xml:1:17: .*x-none", "list", "-c", "other.xml"),
            (73, "no/out.xml", "recover", "d.xml", "-o", "no/out.xml"),
            (74, "/dev/full", "recover", "d.xml", "-o", "/dev/full"),
        ], untouched=[damaged])
        out = self.tool("recover", "-", "-q", text=damaged.read_text())
        self.assertEqual((out.err, out.out.count("<ASIN>")), ("", 1))


class Cart(ToolTest):
    def test_purchase_address(self):
        address = "HTTP://x/?a=1&amp;MergeCart=False"
        self.assertEqual(self.tool("cart", "-", "--merge", text=CART.format(address)).out,
                         "HTTP://x/?a=1&MergeCart=True\n")
        for name, text in [
            ("cart", CART.format("https://x/")), ("none", CART.format("")), ("cut", CART.format("u")[:-3]),
            ("script", CART.format("javascript:alert(1)")),
            ("other", collection(item("A1"))),
        ]:
            self.write(name + ".xml", text)
        self.assertEqual(self.json("cart", "cart.xml"), {"PurchaseURL": "https://x/"})
        self.assert_failures([
            (1, "none.xml: ", "cart", "none.xml"),
            (1, "other.xml: ", "cart", "other.xml"),
            (65, r"cut.xml:1:\d+: ", "cart", "cut.xml"),
            (65, "script.xml: .*refused.*none of http or https: javascript:", "cart", "script.xml"),
        ])


class Help(ToolTest):
    def test_help_and_version(self):
        self.assertIn("import", self.tool("--help").out)
        self.assertIn("--dry-run", self.tool("import", "--help").out)
        self.assertRegex(self.tool("--version").out, r"\Atessaron \d+\.\d+\.\d+\n\Z")
        with open("/dev/full", "wb") as full:
            self.tool("--help", code=74, stdout=full)
