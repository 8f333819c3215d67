"""Statistics and charts: what is counted, what a table says, what becomes of a picture's file."""

from support import ToolTest, collection, limit, png_size

PIECES = "Rock\t12\t37.5\nPop\t3\t50\nRock\t1\t12.5\n"


def thing(number, attributes="", price="", status=""):
    listed = f"<ListPrice><FormattedPrice>{price}</FormattedPrice></ListPrice>" if price else ""
    return (f"<Item{status}><ASIN>A{number}</ASIN><ItemAttributes><Title>T</Title>{attributes}{listed}"
            "</ItemAttributes></Item>")


def group(name):
    return f"<ProductGroup>{name}</ProductGroup>"


class ChartTest(ToolTest):
    def shares(self, *arguments, **options):
        document = self.json(*arguments, **options)
        return {item["name"]: (item["count"], item["value"]) for item in document["items"]}

    def test_counts_by_every_property(self):
        path = self.write("c.xml", collection(
            thing(1, group("Book") + "<Binding>Hardcover</Binding><Publisher>P</Publisher>"
                  "<Author>Ann</Author><Author>Bo</Author><Author>Ann</Author>"
                  "<PublicationDate>2005-09-01</PublicationDate>"
                  "<Languages><Language><Name>English</Name><Type>Original</Type></Language>"
                  "<Language><Name>English</Name><Type>Published</Type></Language>"
                  "<Language><Name>Deutsch</Name></Language></Languages>"),
            thing(2, group("Music") + "<Artist>Käuze</Artist><ReleaseDate>May 2005</ReleaseDate>",
                  status=' status="0"'),
            thing(3, group("Book") + "<Author>Bo</Author><Studio>S</Studio>"),
        ))
        rows = dict(
            group={"Book": 2, "Music": 1}, binding={"Hardcover": 1, "Book": 1, "Music": 1}, publisher={"P": 1},
            studio={"S": 1}, author={"Bo": 2, "Ann": 1}, artist={"Käuze": 1}, year={"2005": 2},
            status={"No status": 2, "Lent": 1}, language={"Deutsch": 1, "English": 1})
        for name, expected in rows.items():
            with self.subTest(by=name):
                got = self.shares("stats", "-c", path, "--by", name)
                self.assertEqual(got, {key: (n, n) for key, n in expected.items()})
        done = self.tool("stats", "-c", path, "--by", "author", "--tsv")
        self.assertEqual(done.out, "name\tcount\tvalue\tpercent\nBo\t2\t2\t66.6667\nAnn\t1\t1\t33.3333\n")
        self.assertEqual(done.err, "left out: 1 of 3 items without author\n")
        done = self.tool("-q", "stats", "-c", path, "--by", "author")
        self.assertEqual((done.out, done.err),
                         ("Author  Count    Share\nBo          2  66.67 %\nAnn         1  33.33 %\n", ""))

    def test_adds_prices_of_one_currency(self):
        prices = ["$12.99", "$ 1,980", "Too low to show", "€12,34", "9.99", ""]
        path = self.write("c.xml", collection(
            *(thing(i, group("g"), price) for i, price in enumerate(prices))))
        document = self.json("stats", "-c", path, "--by", "group", "--value", "price")
        self.assertEqual(document, {"by": "group", "value": "price", "currency": "$", "items": [
            {"name": "g", "count": 2, "value": 1992.99, "percent": 100.0}]})
        done = self.tool("stats", "-c", path, "--by", "group", "--value", "price")
        self.assertIn("2 of 6 items without a list price", done.err)
        self.assertIn("2 of 6 items priced in other currencies than $", done.err)

    def test_charts_lines_of_any_items(self):
        expected = "name,count,value,percent\r\nPop,3,50,50\r\nRock,13,50,50\r\n"
        for text in ("\ufeff" + PIECES[:-1], PIECES.replace("\n", "\r\n"), PIECES.replace("\n", "%\n\n")):
            self.assertEqual(self.tool("chart", "-", "--csv", text=text).out, expected)
        self.assertEqual(self.tool("chart", self.write("a.tsv", PIECES)).out,
                         "Name  Count  Value    Share\nPop       3  50.00  50.00 %\n"
                         "Rock     13  50.00  50.00 %\n")
        below = self.shares("chart", "-", text="a\t1\t-3\nb\t2\t50\nc\t1\t-1e-3\n")
        self.assertEqual(below, {"a": (1, -3), "b": (2, 50), "c": (1, -0.001)})
        done = self.tool("chart", "-", "--csv", text="a\t1\t-5\nb\t1\t2\nb\t1\t3\n")
        self.assertEqual(done.out.splitlines()[1:], ["b,2,5,", "a,1,-5,"])  # no shares of nothing
        many = "".join(f"{name}\t1\t{50 - i}\n" for i, name in enumerate("ABCDEFGHIJKLMNO"))
        self.assertEqual(len(self.shares("chart", "-", text=many)), 15)
        grouped = self.shares("chart", "-", "--group-rest", text=many)
        self.assertEqual((len(grouped), grouped["L, M, N, O"]), (12, (4, 39 + 38 + 37 + 36)))

    def test_writes_pictures(self):
        items = self.write("a.tsv", PIECES)
        picture = self.write("a.png", "an old picture")
        link = self.folder / "link.png"
        link.symlink_to("a.png")
        self.tool("chart", items, "--png", "-o", link)
        self.assertEqual(png_size(picture), (600, 400))
        self.assertTrue(link.is_symlink())
        with (self.folder / "out.png").open("wb") as out:
            self.tool("chart", items, "--png", "--size", "200x240", stdout=out)
        self.assertEqual(png_size(self.folder / "out.png"), (200, 240))
        self.tool("chart", items, "--png", "-o", "full.png", code=74, preexec_fn=limit(1000))
        things = self.write("c.xml", collection(thing(1, group("音楽"))))
        done = self.tool("stats", "-c", things, "--by", "group", "--png", "-o", "ä.png")
        self.assertEqual((done.err, png_size(self.folder / "ä.png")), ("ä.png: 1 slice\n", (600, 400)))
        names = {path.name for path in self.folder.iterdir()}
        self.assertEqual(names, {"a.tsv", "a.png", "link.png", "out.png", "c.xml", "ä.png"})

    def test_tells_what_is_wrong(self):
        items = self.write("a.tsv", PIECES)
        picture = self.write("a.png", "an old picture")
        things = self.write("c.xml", collection(thing(1, group("Book"))))
        bad = ["Pop\t3", "Pop\t3\t4\t5", "Pop\t3.5\t1", "Pop\t1\tnan", "Pop\t1\tinf", "Pop\t1\t 1", "Pop\t\t1"]
        paths = [self.write(f"bad{i}.tsv", f"Rock\t1\t1\n\n{line}\n") for i, line in enumerate(bad)]
        self.assert_failures(
            [(65, rf"bad{i}\.tsv:3: not a name", "chart", path) for i, path in enumerate(paths)] + [
                (66, "none.tsv", "chart", "none.tsv"),
                (66, "none.xml", "stats", "-c", "none.xml", "--by", "group"),
                (1, "add up to nothing", "chart", self.write("zero.tsv", "a\t1\t0\n"), "--png", "-o", "z.png"),
                (1, "a. is below zero", "chart", self.write("minus.tsv", "a\t1\t-1\nb\t1\t9\n"), "--png", "-o", "z.png"),
                (1, "too great", "chart", self.write("nearly.tsv", "a\t1\t3e38\nb\t1\t-3e38\nc\t1\t1\n")),
                (1, "no items", "chart", self.write("empty.tsv", "")),
                (65, r":1: the count is too great", "chart", self.write("count.tsv", "a\t99999999999\t1")),
                (65, r":1: the value is too great", "chart", self.write("value.tsv", "a\t1\t1e39")),
                (1, "too great", "chart", self.write("great.tsv", "a\t1\t3e38\nb\t1\t3e38\n")),
                (1, "1 of 1 items without author", "stats", "-c", things, "--by", "author"),
                (73, "none/a.png", "chart", items, "--png", "-o", "none/a.png"),
                (2, "size", "chart", items, "--png", "-o", picture, "--size", "600"),
                (2, "size", "chart", items, "--png", "-o", picture, "--size", "199x400"),
                (2, "size", "chart", items, "--png", "-o", picture, "--size", "600x9000"),
                (2, "size", "chart", items, "--size", "600x400"),
                (2, '^tessaron: chart: "--json" takes no value', "chart", items, "--json=false"),
                (2, "by", "stats", "-c", things),
                (2, "title", "stats", "-c", things, "--by", "title"),
            ],
            untouched=[picture, items, things],
        )
