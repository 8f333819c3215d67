"""What axe-core finds on the exported and the served page: nothing. Run by scripts/axe, which fetches it."""

import os
import pathlib
import time

from browser import Browser
from served import Served
from support import RESPONSES, ToolTest

RUN = "return axe.run().then(r => [r.passes.length, r.violations.map(v => [v.id, v.nodes.map(n => n.html)])])"


STATES = "", "view=table", "view=overview", "item=EXB0000001", "query=x:", "query=nothing fits"


class Accessibility(ToolTest):
    def setUp(self):
        super().setUp()
        self.setting(XDG_STATE_HOME=self.folder / "state")
        self.browser = Browser()
        self.addCleanup(self.browser.close)
        self.tool("import", "-c", "c.xml", *RESPONSES)
        self.tool("set", "-c", "c.xml", "EXB0000001", "--status", "lent", "--until", "tomorrow")
        self.axe = pathlib.Path(os.environ["AXE"]).read_text()

    def check(self, address, states):
        """States are what stands behind "#", and a button to press."""
        for scheme in "light", "dark":
            self.browser.command("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
            for width in 320, 1440:
                self.browser.resize(width, 900)
                for state, button in states:
                    with self.subTest(scheme=scheme, width=width, state=state, button=button):
                        self.browser.open("about:blank")
                        self.browser.open(address + "#" + state)
                        end = time.monotonic() + 15
                        while not self.browser.run("return performance.getEntriesByName('loaded').length"):
                            self.assertLess(time.monotonic(), end)
                        if button:
                            self.browser.run("[...document.querySelectorAll('button')]"
                                             ".find((each) => each.textContent === arguments[0]).click()", button)
                        self.browser.command("Runtime.evaluate", expression=self.axe)
                        passes, violations = self.browser.run(RUN)
                        self.assertEqual(violations, [])
                        self.assertGreater(passes, 15)

    def test_exported_page(self):
        self.tool("export", "-c", "c.xml", "--html", "--covers", "none", "-o", "page.html")
        self.check((self.folder / "page.html").as_uri(), [(state, None) for state in STATES])

    def test_served_page(self):
        served = Served(self.folder, "-c", "c.xml")
        self.addCleanup(served.stop)
        first = served.edit("PATCH", "/api/items/EXB0000001", {"notes": "x"}, served.get("/api/items/EXB0000001").json()["version"])
        self.assertEqual(first.status, 200)
        self.browser.open(f"http://{served.host}/favicon")
        name, _, value = served.cookie.partition("=")
        self.browser.command("Network.setCookie", name=name, value=value, url=f"http://{served.host}/", httpOnly=True,
                             sameSite="Strict")
        self.check(f"http://{served.host}/", [("", None), ("view=table", None), ("item=EXB0000001", None),
                                              ("item=EXB0000001", "Edit"), ("item=EXB0000001", "Lend"), ("", "Add an item")])
