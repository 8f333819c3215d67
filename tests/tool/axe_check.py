"""What axe-core finds on the exported page: nothing. Run by scripts/axe, which fetches axe-core."""

import os
import pathlib

from browser import Browser
from support import RESPONSES, ToolTest

RUN = "return axe.run().then(r => [r.passes.length, r.violations.map(v => [v.id, v.nodes.map(n => n.html)])])"


class Accessibility(ToolTest):
    def test_page(self):
        browser = Browser()
        self.addCleanup(browser.close)
        self.tool("import", "-c", "c.xml", *RESPONSES)
        self.tool("set", "-c", "c.xml", "EXB0000001", "--status", "lent", "--until", "tomorrow")
        self.tool("export", "-c", "c.xml", "--html", "--covers", "none", "-o", "page.html")
        axe = pathlib.Path(os.environ["AXE"]).read_text()
        for scheme in "light", "dark":
            browser.command("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
            for width in 320, 1440:
                browser.resize(width, 900)
                for state in "", "view=table", "view=overview", "item=EXB0000001", "query=x:", "query=nothing fits":
                    with self.subTest(scheme=scheme, width=width, state=state):
                        browser.open("about:blank")
                        browser.open((self.folder / "page.html").as_uri() + "#" + state)
                        browser.command("Runtime.evaluate", expression=axe)
                        passes, violations = browser.run(RUN)
                        self.assertEqual(violations, [])
                        self.assertGreater(passes, 15)
