import html
import http.server
import threading
import time

from browser import Browser
from support import RESPONSES, SOURCE, ToolTest, collection, item

EVIL = "\"'><script>hit('x')</script><img src=x onerror=hit('y')>&amp;"
DESCRIPTION = """Plain<BR/> <b onclick="hit(1)">bold<p>one<p style="position:fixed">two <i>three</b>
<script>hit(2)</script><style>body{display:none}</style><img src=x onerror=hit(3)><!-- <b> -->
four <a href="javascript:hit(4)">link</a><iframe src="javascript:hit(5)"></iframe><svg onload=hit(6)>
<ul><li>five<li>six</ul>a < b &amp; c &lt;u&gt; AT&T <scr<script>ipt>hit(7)</script></div></main>"""
TIDIED = ("Plain<br> <b>bold<p>one</p></b><p><b>two <i>three</i></b><i> four link </i></p>"
          "<ul><li><i>five</i></li><li><i>six</i></li></ul><i>a &lt; b &amp; c &lt;u&gt; AT&amp;T ipt&gt;hit(7)</i>")


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

    def show(self, file, *options, state=""):
        self.tool("export", "-c", file, "--html", "-o", "page.html", *options)
        self.go(state)

    def go(self, state=""):
        self.browser.open("about:blank")
        self.browser.open((self.folder / "page.html").as_uri() + state)
        self.assert_soon(lambda: self.run_script("return performance.getEntriesByName('loaded').length"), 1)

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

    def printed(self, selector):
        """The number of such elements when the browser prints the page."""
        self.run_script(f"addEventListener('beforeprint', () => printed = document.querySelectorAll('{selector}').length)")
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
            "return new Promise(done => setTimeout(done, 100))", text)

    def test_search_narrows_the_cards(self):
        self.show_examples()
        self.assertEqual((len(self.shown()), self.each("#count", "e.value")), (15, ["15 items"]))
        for query, expected in [
            ("TIDES  quillFEATHER", ["EXB0000001"]),
            ("tides übelmesser", []),
            ("coeurdeloup", ["EXD0000009"]),
            ("🚂", ["EXG0000010"]),
            (".*", []),
        ]:
            with self.subTest(query=query):
                self.search(query)
                self.assertEqual(self.shown(), expected)
                self.assertEqual(self.each("#count", "e.value"), [f"{len(expected)} of 15 items"])
                self.assertEqual(self.each("#none", "e.offsetHeight > 0"), [not expected])
        self.run_script("document.getElementById('clear').click()")
        self.search("titel:x")
        self.assertEqual((self.each("#error", "e.textContent"), len(self.shown())), (["“titel” is no field."], 15))
        loaded = "return performance.getEntriesByType('resource').map(e => e.initiatorType)"
        self.assertEqual(set(self.run_script(loaded)), {"img"}, "all but the covers is in the file")

    def test_queries_are_those_of_the_tool(self):
        samples = SOURCE / "tests" / "catalogue" / "samples"
        leap_day = 1709208000000  # 2024-02-29, 12:00
        script = self.browser.command("Page.addScriptToEvaluateOnNewDocument", source=f"Date.now = () => {leap_day}")
        self.addCleanup(self.browser.command, "Page.removeScriptToEvaluateOnNewDocument", **script)
        self.show(samples / "queried.xml")
        rows = [line.split("\t") for line in (samples / "queries.txt").read_text().splitlines()]
        found = [(row[1], "\t".join(row[2:])) for row in rows if row[0] == "found"]
        wrong = ["\t".join(row[3:]) for row in rows if row[0] == "wrong"]
        self.assertGreater(min(len(found), len(wrong)), 20)
        for expected, query in [*found, *((None, query) for query in wrong)]:
            with self.subTest(query=query):
                self.search(query)
                error = self.each("#error", "e.textContent")[0]
                if expected is None:
                    self.assertNotEqual(error, "")
                else:
                    self.assertEqual(("".join(self.shown()), error), (expected, ""))

    def test_keys_and_the_way_back(self):
        """Rows of keys, then the focused or open item, the number of items, and the address."""
        self.show_examples()
        here = ("return [document.querySelector('dialog[open] .item')?.dataset.id || document.activeElement.dataset.key"
                " || document.activeElement.id, document.querySelectorAll('main .card, main tr[data-id]').length,"
                " location.hash]")
        down, left, right, enter, escape, tab = "\ue015\ue012\ue014\ue007\ue00c\ue004"
        self.run_script("document.body.tabIndex = -1; document.body.focus()")
        for keys, *expected in [
            ("/nine", "query", 1, "#query=nine"),
            (down, "EXD0000008", 1, "#query=nine"),
            (enter, "EXD0000008", 1, "#query=nine&item=EXD0000008"),
            (escape, "EXD0000008", 1, "#query=nine"),
            ("/" + escape, "query", 15, ""),
            (down + right + right + left + down, "EXM0000006", 15, ""),
            (tab + enter, "EXM0000007", 15, "#item=EXM0000007"),
            (right, "EXD0000008", 15, "#item=EXD0000008"),
            (lambda: self.run_script("history.back()"), "EXD0000008", 15, ""),
            (lambda: self.run_script("history.back()"), "", 1, "#query=nine"),
        ]:
            with self.subTest(keys=keys):
                self.browser.type(keys) if isinstance(keys, str) else keys()
                self.assert_soon(lambda: self.run_script(here), expected)

    def test_views_sort_and_languages(self):
        self.show_examples()
        first = ["EXB0000001", "EXB0000003"]
        for state, *arguments in [
            ("sort=title", "--sort", "title"),
            ("sort=-price", "--sort", "-price", "price:0.."),
            ("sort=due", "--sort", "due", "due:2000.."),
            ("sort=-due&view=table", "--sort", "-due", "due:2000.."),
            ("sort=added", ), ("query=status:lent", "status:lent"), ("view=table&status=0", "status:lent"),
        ]:
            with self.subTest(state=state):
                self.go("#" + state)
                expected = self.asins("shelf.xml", *arguments)
                self.assertEqual(self.each("main [data-id]", "e.dataset.id")[:len(expected)], expected)
        self.go("#view=overview&query=group:book")
        charts = self.each(".chart", "[e.querySelector('h2').textContent, ...[...e.querySelectorAll('tr')].map(r => r.textContent)]")
        self.assertEqual(charts[:2], [["Group", "Book5"], ["Status", "No status3", "Lent2"]])
        self.run_script("document.querySelector('.chart:nth-of-type(2) tr:last-child a').click()")
        self.assertEqual(self.shown(), first)
        for tag, words in [("de-CH", ["de", "15 Einträge", "Verliehen"]), ("ja", ["ja", "15 件", "貸出中"]),
                           ("fr-CA", ["fr", "15 éléments", "Prêté"]), ("es", ["es", "15 elementos", "Prestado"]), ("nl", ["en", "15 items", "Lent"])]:
            self.browser.command("Emulation.setUserAgentOverride", userAgent="x", acceptLanguage=tag)
            self.addCleanup(self.browser.command, "Emulation.setUserAgentOverride", userAgent="x", acceptLanguage="en")
            self.go()
            said = self.run_script("return [document.documentElement.lang, document.getElementById('count').value,"
                                   "document.querySelector('.mark').textContent]")
            self.assertEqual(said, words)

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
        self.assertEqual(self.each("#group option, #status option", "e.label"), [
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
        self.run_script("document.querySelector('.open').click()")
        self.assertIsNone(self.browser.dialog())
        said = [line for line in self.browser.messages() if "127.0.0.1" not in line]
        self.assertEqual(said, [], "the security policy had something to stop")
        for selector in (".card h2", ".item h2", ".note", "ol li"):
            self.assertEqual(self.each(selector, "e.textContent")[0], EVIL)
        self.assertEqual(self.each(".card", "e.dataset.id"), [EVIL, "http"])
        self.assertEqual(len(self.each("script:not([type])", "1")), 1)
        ours = "a article b br button dd div dl dt h2 h3 i img li ol p section span ul"
        self.assertLessEqual(set(self.each("main *, dialog *", "e.localName")), set(ours.split()))
        attributes = sum(self.each("body *", "e.getAttributeNames()"), [])
        self.assertFalse([name for name in attributes if name.startswith("on")])
        self.assertEqual(self.each("style", "e.textContent.includes('display: none')"), [True])
        tidied = self.each(".item .text", "e.innerHTML")[0]
        self.assertEqual(" ".join(tidied.split()), TIDIED)
        self.assertEqual(self.each("dd a", "e.href"), [])
        self.go("#item=http")
        self.assertEqual(self.each("dd a", "e.href"), ["https://example.com/?a=1&b=%222"])
        self.choose("group", "=" + EVIL)
        self.assertEqual(self.shown(), [EVIL])

    def test_long_collections_come_piece_by_piece(self):
        self.write("long.xml", collection(*(item(f"A{i}", f"No. {i}") for i in range(1201))))
        self.browser.messages()
        for view, seen in ("cards", ".card"), ("table", "tr[data-id]"):
            with self.subTest(view=view):
                self.show("long.xml", state="#view=" + view)
                count = lambda: len(self.each(seen, "1"))
                self.assertEqual(self.each("#count", "e.value"), ["1,201 items"])
                self.assertLess(count(), 500)
                self.run_script("scrollTo(0, document.body.scrollHeight)")
                self.assert_soon(lambda: self.each(seen, "e.dataset.id")[-1:], ["A1200"])
                self.assertLess(count(), 500)
                self.assertEqual(self.printed(seen), 1201)
                self.assertLess(count(), 500)
                self.search("no. 1199")
                self.assert_soon(lambda: self.each(seen, "e.dataset.id"), ["A1199"])
        said = [line for line in self.browser.messages() if "images.example" not in line]  # of the page before
        self.assertEqual((self.browser.dialog(), said), (None, []))

    def test_without_the_script_all_items_can_be_read(self):
        self.write("long.xml", collection(*(item(f"A{i}", f"No. {i}") for i in range(600)), item("evil", html.escape(EVIL))))
        self.tool("export", "-c", "long.xml", "--html", "-o", "page.html")
        self.browser.command("Emulation.setScriptExecutionDisabled", value=True)
        self.addCleanup(self.browser.command, "Emulation.setScriptExecutionDisabled", value=False)
        self.browser.open((self.folder / "page.html").as_uri())
        document = self.browser.command("DOM.getDocument", depth=-1)["root"]
        lines = self.browser.command("DOM.querySelectorAll", nodeId=document["nodeId"], selector="li b")["nodeIds"]
        self.assertEqual(len(lines), 601)
        self.assertIn(html.escape(EVIL, quote=False), self.browser.command("DOM.getOuterHTML", nodeId=lines[-1])["outerHTML"]
                      .replace("&nbsp;", " "))

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

    def test_covers_from_the_cache(self):
        self.write("c.xml", collection(item("ITEM/1", inner="<LargeImage><URL>http://127.0.0.1:9/x.png</URL></LargeImage>"),
                                       item("ITEM2")))
        self.tool("covers", "attach", "-c", "c.xml", "ITEM/1", SOURCE / "docs" / "export.png")
        self.browser.messages()
        for covers, width, address in ("embed", 400, "data:image/jpeg"), ("folder", 1184, "page_covers/cover-"), ("none", 0, ""):
            with self.subTest(covers=covers):
                self.show("c.xml", "--covers", covers)
                loaded = lambda: self.each(".cover.loaded img", "[e.naturalWidth, e.getAttribute('src')]")
                self.assert_soon(lambda: len(loaded()), 1 if width else 0)
                self.assertEqual(len(self.each("img", "1")), 1 if width else 0)
                if width:
                    self.assertEqual(loaded()[0][0], width)
                    self.assertTrue(loaded()[0][1].startswith(address), loaded()[0][1][:40])
                blocked = ("return new Promise(done => { addEventListener('securitypolicyviolation', e => done(e.blockedURI));"
                           "const other = new Image(); other.onload = other.onerror = () => setTimeout(done, 100);"
                           "other.src = 'http://127.0.0.1:9/y.png' })")
                self.assertEqual(self.run_script(blocked), "http://127.0.0.1:9/y.png")
        self.assert_failures([(2, "needs -o", "export", "-c", "c.xml", "--html", "--covers", "folder"),
                              (2, "for --html", "export", "-c", "c.xml", "--json", "--covers", "none")])

    def test_fits_every_screen_and_scheme(self):
        self.write("c.xml", collection(
            item("A1" * 40, "W" * 90, f"<Notes>{'n' * 300}</Notes>", ' status="0"'),
            item("A2", "Word " * 60)))
        self.show_examples()
        for file, key in ("shelf.xml", "EXB0000001"), ("c.xml", "A1" * 40):
            self.show(file)
            for state in "", "view=table", "view=overview", "item=" + key:
                self.go("#" + state)
                for width in (320, 360, 768, 1280):
                    self.browser.resize(width, 800)
                    with self.subTest(file=file, width=width, state=state):
                        self.assertLessEqual(max(self.each("html, main, .card, dialog", "e.scrollWidth")), width)

        for scheme, sign in (("light", 1), ("dark", -1)):
            self.browser.command("Emulation.setEmulatedMedia",
                                 features=[{"name": "prefers-color-scheme", "value": scheme}])
            page, ink = (sum(map(int, self.each("body", f"getComputedStyle(e).{name}.match(/\\d+/g)")[0]))
                         for name in ("backgroundColor", "color"))
            self.assertGreater((page - ink) * sign, 0.6 * 3 * 255, scheme)
