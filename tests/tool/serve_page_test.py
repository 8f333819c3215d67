"""The served page in a browser: what is done there is done to the collection, and the other way round."""

import os
import pathlib
import time

from browser import Browser
from served import Served
from support import RESPONSES, ToolTest


class ServedPage(ToolTest):
    def setUp(self):
        super().setUp()
        self.setting(XDG_STATE_HOME=self.folder / "state")
        self.tool("import", "-c", "shelf.xml", *RESPONSES)
        self.browser = Browser()
        self.addCleanup(self.browser.close)
        self.browser.resize(1280, 900)
        self.served = Served(self.folder, "-c", "shelf.xml")
        self.addCleanup(self.served.stop)

    def soon(self, look, expected):
        end = time.monotonic() + 15
        while (found := look()) != expected and time.monotonic() < end:
            time.sleep(0.05)
        self.assertEqual(found, expected)

    def open(self, address):
        self.browser.open(address)
        self.soon(lambda: self.browser.run("return performance.getEntriesByName('loaded').length"), 1)

    def click(self, label, inside="body"):
        self.browser.run("[...document.querySelectorAll(`${arguments[1]} button`)]"
                         ".find((button) => button.textContent === arguments[0]).click()", label, inside)

    def fill(self, label, value):
        """Types into the control with that label."""
        self.browser.run("const label = [...document.querySelectorAll('dialog[open] label')]"
                         ".find((each) => each.textContent === arguments[0]);"
                         "document.getElementById(label.htmlFor).value = arguments[1]", label, value)

    def value(self, label):
        return self.browser.run("const label = [...document.querySelectorAll('dialog[open] label')]"
                                ".find((each) => each.textContent === arguments[0]);"
                                "return label && document.getElementById(label.htmlFor).value", label)

    def text(self, selector):
        return self.browser.run("return document.querySelector(arguments[0])?.textContent ?? ''", selector)

    def shown(self):
        return self.browser.run("return [...document.querySelectorAll('.card')]"
                                ".filter((card) => card.offsetHeight > 0).map((card) => card.dataset.id)")

    def show_item(self, key):
        self.browser.run("location.hash = '#item=' + arguments[0]", key)
        self.soon(lambda: self.browser.run("return document.querySelector('dialog[open] article')?.dataset.id"), key)

    def status(self, key):
        status = self.json("show", "-c", "shelf.xml", key)["status"]
        return status and (status["name"], status["target"])

    def picture(self, name):
        """For people to look at, into the folder of $SERVE_PICTURES."""
        if folder := os.environ.get("SERVE_PICTURES"):
            self.browser.picture(pathlib.Path(folder) / name)

    def test_search_lend_return_undo_and_two_tabs(self):
        self.open(self.served.address)
        self.assertEqual(self.browser.run("return location.search + document.cookie"), "")
        self.soon(lambda: len(self.shown()), 15)
        self.browser.run("const query = document.getElementById('query'); query.value = 'tides author:quill';"
                         "query.dispatchEvent(new Event('input'))")
        self.soon(self.shown, ["EXB0000001"])
        for scheme in ("light", "dark"):
            self.browser.command("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
            self.picture(f"found-{scheme}.png")

        self.show_item("EXB0000001")
        self.click("Lend", "dialog")
        self.fill("To whom", "Mira")
        self.click("Save", "dialog form")
        self.soon(lambda: self.status("EXB0000001"), ("Lent", "Mira"))
        self.soon(lambda: "Mira" in self.text("dialog[open] .state"), True)
        for scheme in ("dark", "light"):
            self.browser.command("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
            self.picture(f"item-{scheme}.png")

        first, second = self.browser.new_tab()
        self.open(f"http://{self.served.host}/#item=EXB0000001")
        self.soon(lambda: "Mira" in self.text("dialog[open] .state"), True)
        self.click("Return", "dialog")
        self.soon(lambda: self.status("EXB0000001"), None)
        self.browser.switch_to(first)
        self.soon(lambda: "Mira" in self.text("dialog[open] .state"), False)
        for label, expected in [("Undo", ("Lent", "Mira")), ("Redo", None), ("Undo", ("Lent", "Mira"))]:
            self.soon(lambda: self.browser.run("return document.getElementById(arguments[0]).disabled", label.lower()), False)
            self.click(label, "#tools")
            self.soon(lambda: self.status("EXB0000001"), expected)

        # One tab has a form open while the other one changes the item.
        self.show_item("EXB0000001")
        self.click("Edit", "dialog")
        self.fill("Notes", "mine")
        self.browser.switch_to(second)
        self.show_item("EXB0000001")
        self.soon(lambda: "Mira" in self.text("dialog[open] .state"), True)
        self.click("Edit", "dialog")
        self.fill("Notes", "theirs")
        self.click("Save", "dialog form")
        self.soon(lambda: self.json("show", "-c", "shelf.xml", "EXB0000001")["Notes"], "theirs")
        self.browser.switch_to(first)
        time.sleep(1.5)  # the event of the change has arrived
        self.assertEqual(self.value("Notes"), "mine")
        self.click("Save", "dialog form")
        self.soon(lambda: "There now: theirs" in self.text("dialog[open] form"), True)
        self.assertEqual(self.value("Notes"), "mine")
        self.picture("conflict.png")
        self.click("Save", "dialog form")
        self.soon(lambda: self.json("show", "-c", "shelf.xml", "EXB0000001")["Notes"], "mine")

        # A file that is dropped is imported.
        self.browser.run("const data = new DataTransfer(); data.items.add(new File([arguments[0]], 'list.csv'));"
                         "document.dispatchEvent(new DragEvent('drop', {dataTransfer: data, bubbles: true, cancelable: true}))",
                         "title,author\nSalt Roads,Orla Finch\n")
        self.soon(lambda: self.served.get("/api/items?query=title:salt").json()["total"], 1)
        self.soon(lambda: "list.csv: 1 added" in self.text("body"), True)
        self.tool("undo", "-c", "shelf.xml")

        # The tool edits, too.
        self.tool("remove", "-c", "shelf.xml", "EXB0000001")
        self.soon(lambda: self.browser.run("return document.querySelector('dialog[open]') === null"), True)
        self.browser.run("document.getElementById('clear')?.click(); location.hash = ''")
        self.soon(lambda: len(self.shown()), 14)
        self.browser.switch_to(second)
        self.browser.close_tab()
        self.browser.switch_to(first)
        refused = [message for message in self.browser.messages() if "412" not in message]
        self.assertEqual(refused, [])
