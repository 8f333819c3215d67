import html
import http.server
import threading
import time

from browser import Browser
from support import RESPONSES, ToolTest, collection, item

EVIL = "\"'><script>hit('x')</script><img src=x onerror=hit('y')>&amp;"
DESCRIPTION = """Plain<BR/> <b onclick="hit(1)">bold<p>one<p style="position:fixed">two <i>three</b>
<script>hit(2)</script><style>body{display:none}</style><img src=x onerror=hit(3)><!-- <b> -->
four <a href="javascript:hit(4)">link</a><iframe src="javascript:hit(5)"></iframe><svg onload=hit(6)>
<ul><li>five<li>six</ul>a < b &amp; c &lt;u&gt; AT&T <scr<script>ipt>hit(7)</script></div></main>"""
TIDIED = (
    "Plain<br> <b>bold<p>one</p><p>two <i>three</i></p></b> four link <ul><li>five</li>"
    "<li>six</li></ul>a &lt; b &amp; c &lt;u&gt; AT&amp;T ipt&gt;hit(7)"
)


def picture(width, height):
    return f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}"/>'.encode()


class Covers(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        content = {"/cover.svg": picture(60, 90), "/dot.svg": picture(1, 1)}.get(self.path)
        self.send_response(200 if content else 404)
        self.send_header("Content-Type", "image/svg+xml")
        self.end_headers()
        self.wfile.write(content or b"")

    def log_message(self, *_):
        pass


class Page(ToolTest):
    @classmethod
    def setUpClass(cls):
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        super().setUp()
        self.run_script = self.browser.run
        self.browser.command("Emulation.setEmulatedMedia", features=[])
        self.browser.resize(1280, 900)

    def show(self, file):
        self.tool("export", "-c", file, "--html", "-o", "page.html")
        self.browser.open((self.folder / "page.html").as_uri())

    def show_examples(self):
        self.tool("import", "-c", "shelf.xml", *RESPONSES)
        for asin, *options in [
            ("EXB0000001", "--status", "lent", "--until", "tomorrow"),
            ("EXB0000003", "--status", "lent", "--until", "+30d"),
            ("EXM0000006", "--status", "favorite", "--notes", "Für Zoë"),
        ]:
            self.tool("set", "-c", "shelf.xml", asin, *options)
        self.show("shelf.xml")

    def each(self, selector, expression):
        """What `expression` makes of each element `e`."""
        found = f"[...document.querySelectorAll('{selector}')]"
        return self.run_script(f"return {found}.map(e => {expression})")

    def shown(self):
        """The cards that take up room on the page."""
        return [asin for asin in self.each(".card", "e.offsetHeight > 0 && e.dataset.id") if asin]

    def printed(self):
        """The number of cards on the page when the browser prints it."""
        self.run_script("addEventListener('beforeprint', () => printed = document.querySelectorAll('.card').length)")
        self.browser.command("Page.printToPDF")
        return self.run_script("return window.printed")

    def assert_soon(self, look, expected):
        """For what the page does in its own time."""
        end = time.monotonic() + 10
        while look() != expected and time.monotonic() < end:
            time.sleep(0.05)
        self.assertEqual(look(), expected)

    def choose(self, name, value):
        self.run_script(
            "const [name, value] = arguments, select = document.getElementById(name);"
            "select.value = value; if (select.value !== value) throw value;"
            "select.dispatchEvent(new Event('change'))", name, value)

    def search(self, text):
        self.run_script(
            "const query = document.getElementById('query'); query.value = arguments[0];"
            "query.dispatchEvent(new Event('input'));"
            "return new Promise(done => setTimeout(done, 20))", text)

    def test_search_narrows_the_cards(self):
        self.show_examples()
        self.assertEqual((len(self.shown()), self.each("#count", "e.value")), (15, ["15 items"]))
        for query, expected in [
            ("TIDES  quillFEATHER", ["EXB0000001"]),
            ("tides übelmesser", []),
            ("grossenwahn", ["EXB0000002"]),
            ("elastiques éloise", ["EXB0000004"]),
            ("coeurdeloup", ["EXD0000009"]),
            ("ｎｉｎｅ minutes", ["EXD0000008"]),
            ("終電", ["EXM0000006"]),
            ("zoe", ["EXM0000006"]),
            ("🚂", ["EXG0000010"]),
            ("paper moose", ["EXD0000008", "EXD0000023"]),
            ("<sofort>", ["EXS0000012"]),
            (".*", []),
        ]:
            with self.subTest(query=query):
                self.search(query)
                self.assertEqual(self.shown(), expected)
                self.assertEqual(self.each("#count", "e.value"), [f"{len(expected)} of 15 items"])
                self.assertEqual(self.each("#none", "e.offsetHeight > 0"), [not expected])
        self.run_script("document.getElementById('clear').click()")
        loaded = "return performance.getEntriesByType('resource').map(e => e.initiatorType)"
        self.assertEqual(set(self.run_script(loaded)), {"img"}, "all but the covers is in the file")

        self.run_script("document.activeElement.blur()")
        self.browser.type("/nine")
        self.search(self.run_script("return document.activeElement.value"))
        self.assertEqual(self.shown(), ["EXD0000008"])
        self.browser.type("\ue00c")  # Escape
        self.assertEqual(len(self.shown()), 15)
        self.run_script("document.querySelector('summary').focus()")
        self.browser.type("\ue007")  # Enter
        self.assertTrue(self.each("details", "e.open")[0])

    def test_filters(self):
        self.show_examples()
        marks = self.each(".card", "[...e.querySelectorAll('.mark')].map(m => m.textContent)")
        self.assertEqual(marks[:3], [["Lent", "due"], [], ["Lent"]])
        music = ["EXM0000005", "EXM0000006", "EXM0000007", "EXM0000022"]
        for group, status, query, expected in [
            ("=Music", "*", "", music),
            ("=Music", "7", "", ["EXM0000006"]),
            ("=Music", "none", "", [asin for asin in music if asin != "EXM0000006"]),
            ("*", "due", "", ["EXB0000001"]),
            ("=DVD", "due", "", []),
            ("=DVD", "*", "nine", ["EXD0000008"]),
        ]:
            with self.subTest(group=group, status=status, query=query):
                self.choose("group", group)
                self.choose("status", status)
                self.search(query)
                self.assertEqual(self.shown(), expected)
        self.assertEqual(self.each("option", "e.label"), [
            "All groups", "Book (5)", "DVD (3)", "Music (4)", "Software (1)", "Video Games (2)",
            "Any status", "Due or due soon (1)", "No status (12)", "Lent (2)", "Favorite (1)"])

    def test_foreign_text_stays_text(self):
        evil = html.escape(EVIL)
        names = ("Author", "Binding", "Publisher", "Feature", "Platform", "ISBN", "ProductGroup")
        self.write("evil.xml", collection(
            f"<Item status='0'><ASIN>{evil}</ASIN><DetailPageURL>javascript:hit(8)</DetailPageURL>"
            f"<LargeImage><URL>javascript:hit(9)</URL></LargeImage>"
            f"<MediumImage><URL>http://127.0.0.1:9/{evil}</URL></MediumImage>"
            f"<Notes>{evil}</Notes><StatusTarget>{evil}</StatusTarget>"
            f"<ItemAttributes><Title>{evil}</Title>"
            + "".join(f"<{name}>{evil}</{name}>" for name in names) +
            f"<ListPrice><FormattedPrice>{evil}</FormattedPrice></ListPrice></ItemAttributes>"
            f"<Tracks><Disc><Track>{evil}</Track></Disc></Tracks><EditorialReviews>"
            f"<EditorialReview>{html.escape(DESCRIPTION)}</EditorialReview></EditorialReviews>"
            f"<CustomerReviews><AverageRating>{evil}</AverageRating><Review><Rating>{evil}</Rating>"
            f"<Summary>{evil}</Summary><Content>{evil}</Content></Review></CustomerReviews>"
            f'<CustomFields><CustomField name="{evil}" value="{evil}"/></CustomFields></Item>',
            item("http", inner='<DetailPageURL>HTTPS://example.com/?a=1&amp;b="2</DetailPageURL>')))
        self.browser.messages()
        self.show("evil.xml")
        self.each("details", "e.open = true")
        self.assertIsNone(self.browser.dialog())
        said = [line for line in self.browser.messages() if "127.0.0.1" not in line]
        self.assertEqual(said, [], "the security policy had something to stop")
        for selector in ("h2", ".note", "ol li"):
            self.assertEqual(self.each(selector, "e.textContent")[0], EVIL)
        self.assertEqual(self.each(".card", "e.dataset.id"), [EVIL, "http"])
        self.assertEqual(len(self.each("script", "1")), 1)
        ours = "a article b br dd details div dl dt h2 h3 i img li ol p section span summary ul"
        self.assertLessEqual(set(self.each("main *", "e.localName")), set(ours.split()))
        attributes = sum(self.each("body *", "e.getAttributeNames()"), [])
        self.assertFalse([name for name in attributes if name.startswith("on") or name == "style"])
        self.assertEqual(self.each("a", "e.href"), ["https://example.com/?a=1&b=%222"])
        tidied = self.each(".text", "e.innerHTML")[0]
        self.assertEqual(" ".join(tidied.split()), TIDIED)
        self.choose("group", "=" + EVIL)
        self.assertEqual(self.shown(), [EVIL])

    def test_long_collections_come_piece_by_piece(self):
        evil = item("evil", html.escape(EVIL), f"<Notes>caf&amp;eacute; {html.escape(EVIL)}</Notes>")
        self.write("long.xml", collection(*(item(f"A{i}", f"No. {i}") for i in range(1200)), evil))
        self.browser.messages()
        self.show("long.xml")
        self.assertEqual((len(self.shown()), self.each("#count", "e.value")), (500, ["1201 items"]))
        self.run_script("scrollTo(0, document.body.scrollHeight)")
        self.assert_soon(lambda: len(self.shown()), 1000)
        self.assertEqual(self.printed(), 1201)
        self.assertEqual(len(self.shown()), 1000)
        self.search("no. 1199")
        self.assert_soon(self.shown, ["A1199"])
        self.assertEqual(self.printed(), 1)
        self.search("hit('X') eacute")
        self.assert_soon(self.shown, ["evil"])
        self.assertEqual(self.each("h2", "e.textContent"), [EVIL])
        self.assertEqual((self.browser.dialog(), self.browser.messages()), (None, []))

    def test_covers(self):
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Covers)
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        here = f"http://127.0.0.1:{server.server_port}"

        def cover(asin, **images):
            return item(asin, inner="".join(f"<{size}Image><URL>{address}</URL></{size}Image>"
                                            for size, address in images.items()))

        self.write("c.xml", collection(
            cover("A1", Small=here + "/no.svg", Large=here + "/cover.svg"),
            cover("A2", Large="file:///x.svg", Small=here + "/cover.svg"),
            cover("A3", Large=here + "/gone.svg"),
            cover("A4", Medium=here + "/dot.svg"),
            cover("A5")))
        self.show("c.xml")
        self.assert_soon(lambda: self.each(".cover:not(.loaded) img", "1"), [])
        drawn = self.each(".drawn", "getComputedStyle(e).visibility")
        self.assertEqual(drawn, ["hidden", "hidden", "visible", "visible", "visible"])
        self.assertEqual(self.each(".cover", "e.querySelectorAll('img').length"), [1, 1, 0, 0, 0])

    def test_fits_every_screen_and_scheme(self):
        self.write("c.xml", collection(
            item("A1" * 40, "W" * 90, f"<Notes>{'n' * 300}</Notes>", ' status="0"'),
            item("A2", "Word " * 60)))
        self.show_examples()
        for file in ("shelf.xml", "c.xml"):
            self.show(file)
            for opened in ("false", "true"):
                self.each("details", "e.open = " + opened)
                for width in (320, 360, 768, 1280):
                    self.browser.resize(width, 800)
                    with self.subTest(file=file, width=width, opened=opened):
                        self.assertLessEqual(max(self.each("html, .card", "e.scrollWidth")), width)

        for scheme, sign in (("light", 1), ("dark", -1)):
            self.browser.command("Emulation.setEmulatedMedia",
                                 features=[{"name": "prefers-color-scheme", "value": scheme}])
            page, ink = (sum(map(int, self.each("body", f"getComputedStyle(e).{name}.match(/\\d+/g)")[0]))
                         for name in ("backgroundColor", "color"))
            self.assertGreater((page - ink) * sign, 0.6 * 3 * 255, scheme)
