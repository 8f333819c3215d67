"""`tessaron serve` as its clients see it, well-meaning and other."""

import contextlib
import http.client
import json
import os
import random
import re
import socket
import ssl
import subprocess
import threading
import time
import unittest

from served import Served
from support import RESPONSES, ToolTest, collection, item, png

SHELF = collection(item("A1", "Tides"), item("A2", "Fox &amp; Weir"), item("A3", "Low Tide"), item("", "No key"))
JSON = "application/json"


class ServeTest(ToolTest):
    def setUp(self):
        super().setUp()
        self.setting(XDG_STATE_HOME=self.folder / "state")
        self.file = self.write("c.xml", SHELF)

    def serve(self, *arguments, **options):
        served = Served(self.folder, "-c", "c.xml", *arguments, **options)
        self.addCleanup(served.stop)
        return served


class Answers(ServeTest):
    def test_reading(self):
        served = self.serve()
        for target, kind, expected in [
            ("/", "text/html", "<script src=\"page_edit.js\""),
            ("/page.css", "text/css", "{"),
            ("/page.js", "text/javascript", "use strict"),
            ("/page_edit.js", "text/javascript", "use strict"),
            ("/api/collection", JSON, r'^{"title":"c","count":4,"version":"\w{16}","readOnly":false,"undo":null,"redo":null}'),
            ("/api/items/A2", JSON, '"Fox & Weir"'),
            ("/api/items?query=tide&sort=-title", JSON, r'(?s)"total":2,.*"Tides".*"Low Tide"'),
            ("/api/items?from=1&count=1", JSON, r'(?s)"total":4,"from":1,"items":\[\n{"key":"A2"'),
            ("/api/items?from=9", JSON, r'"total":4,"from":9,"items":\[\]'),
            ("/api/items?query=%20&sort=", JSON, '"total":4'),
        ]:
            with self.subTest(target=target):
                answer = served.get(target)
                self.assertEqual((answer.status, answer.headers.get_content_type()), (200, kind))
                self.assertRegex(answer.body.decode(), expected)
                for header, value in [("Content-Security-Policy", "default-src 'none'; script-src 'self';.*"
                                       "frame-ancestors 'none'$"), ("X-Content-Type-Options", "nosniff"),
                                      ("Referrer-Policy", "no-referrer"), ("Cache-Control", "no-")]:
                    self.assertRegex(answer.headers[header] or "", value)
                head = served.ask("HEAD", target)
                self.assertEqual((head.status, head.body, head.headers["Content-Length"]),
                                 (200, b"", str(len(answer.body))))
                if tag := answer.headers["ETag"]:
                    self.assertEqual(served.get(target, If_None_Match=f'"x", {tag}').status, 304)
        keyless = served.items()[3]
        self.assertEqual(keyless["key"], "@" + keyless["version"])
        self.assertEqual(served.get("/api/items/%40" + keyless["version"]).json()["Title"], "No key")

    def test_covers(self):
        served = self.serve()
        tags = set()
        for width in (300, 20):  # there before the first request, and attached while the server runs
            picture = self.write("p.png", png(width))
            self.tool("covers", "attach", "-c", "c.xml", "A2", picture)
            whole = served.get("/covers/A2")
            self.assertEqual((whole.status, whole.body, whole.headers["Content-Type"]), (200, picture.read_bytes(), "image/png"))
            small = served.get("/covers/A2?size=small")
            self.assertEqual((small.body[:3], small.headers["Content-Type"]), (b"\xff\xd8\xff", "image/jpeg"))
            for answer in (whole, small):
                self.assertEqual(served.get("/covers/A2" + "?size=small" * (answer is small),
                                            If_None_Match=answer.headers["ETag"]).status, 304)
            tags.add(whole.headers["ETag"])
        self.assertEqual(len(tags), 2, "another cover has the ETag of the first")
        self.assertEqual(["cover" in item for item in served.items()], [False, True, False, False])

    def test_refused_requests(self):
        served = self.serve()
        own = f"http://{served.host}"
        hostile = [
            (421, "known by that name", "GET", "/", {"Host": "evil.example"}),
            (421, "known by that name", "GET", "/api/items", {"Host": f"evil.example:{served.port}"}),
            (421, "known by that name", "GET", "/api/items", {"Host": "127.0.0.1:1"}),
            (403, "another site", "GET", "/api/items", {"Origin": "http://evil.example"}),
            (403, "another site", "GET", "/api/items", {"Origin": "null"}),
            (403, "another site", "POST", "/api/undo", {"Origin": f"http://127.0.0.1:{served.port + 1}"}),
            (403, "another site", "GET", "/page.js", {"Sec-Fetch-Site": "same-site", "Sec-Fetch-Mode": "no-cors"}),
            (200, ".", "GET", "/", {"Sec-Fetch-Site": "cross-site", "Sec-Fetch-Mode": "navigate"}),
            (200, ".", "GET", "/api/items", {"Origin": own, "Sec-Fetch-Site": "same-origin"}),
            (401, "address that tessaron serve has printed", "GET", "/api/items", {"Cookie": ""}),
            (401, "address that", "GET", "/", {"Cookie": served.cookie[:-1]}),
            (401, "address that", "GET", "/?token=" + "0" * 64, {"Cookie": ""}),
            (401, "address that", "GET", "/api/items" + served.address[served.address.index("?"):], {"Cookie": ""}),
            (404, "nothing at this", "GET", "/../../etc/passwd", {}),
            (404, "nothing at this", "GET", "/%2e%2e/%2e%2e/etc/passwd", {}),
            (404, "nothing at this", "GET", "/page.css/..%2f..%2fetc%2fpasswd", {}),
            (404, "no such item", "GET", "/api/items/..%2f..%2fc.xml", {}),
            (404, "no such cover", "GET", "/covers/..%2fc.xml", {}),
            (404, "no such cover", "GET", "/covers/A1?size=small", {}),
            (400, "size must be", "GET", "/covers/A1?size=huge", {}),
            (400, "no text in UTF-8", "GET", "/api/items/%ff", {}),
            (400, "no text in UTF-8", "GET", "/api/items?query=%c3", {}),
            (400, "no text in UTF-8", "GET", "/api/items/a%00b", {}),
            (400, "no text in UTF-8", "GET", "/api/items?count=1&count=2", {}),
            (400, "no text in UTF-8", "GET", "/%zz", {}),
            (400, "no text in UTF-8", "CONNECT", "evil.example:443", {}),
            (414, "too long", "GET", "/" + "a" * 9000, {}),
            (400, "from must be a number", "GET", "/api/items?from=-1", {}),
            (400, "count must be a number up to 1000", "GET", "/api/items?count=1001", {}),
            (400, 'query \\\\"x:y\\\\", character 1: ', "GET", "/api/items?query=x:y", {}),
            (400, "is no field", "GET", "/api/items?sort=nothing", {}),
            (405, "does not take POST", "POST", "/api/items/A1", {}),
            (405, "does not take TRACE", "TRACE", "/", {}),
            (405, "does not take OPTIONS", "OPTIONS", "/api/items", {}),
            (200, '"total":4', "GET", "/api/items", {"Range": "bytes=0-1"}),
        ]
        for status, message, method, target, headers in hostile:
            with self.subTest(method=method, target=target[:60], headers=headers):
                answer = served.ask(method, target, **headers)
                self.assertEqual(answer.status, status, answer.body)
                self.assertRegex(answer.body.decode(), message)
                self.assertNotIn(str(self.folder), answer.body.decode())
                self.assertIn("frame-ancestors 'none'", answer.headers["Content-Security-Policy"])
        self.assertEqual(served.ask("DELETE", "/api/items/A1/lend").headers["Allow"], "POST")

    def test_bytes_that_are_no_request(self):
        served = self.serve()
        good = f"GET /api/collection HTTP/1.1\r\nHost: {served.host}\r\nCookie: {served.cookie}\r\n"
        post = good.replace("GET /api/collection", "POST /api/items") + "Content-Type: application/json\r\n"
        end = "Connection: close\r\n\r\n"
        for name, sent, pattern in [
            ("10 MB of headers", good + "X: " + "a" * 10_000_000, b"HTTP/1.1 431 "),
            ("many headers", good + "X: y\r\n" * 50_000, b"HTTP/1.1 431 "),
            ("no HTTP", "\x16\x03\x01hello\r\n\r\n", b"HTTP/1.1 400 "),
            ("two hosts", good + "Host: evil.example\r\n" + end, b"HTTP/1.1 421 "),
            ("no host", f"GET / HTTP/1.0\r\n\r\n", b"HTTP/1.1 421 "),
            ("pipelined", good + "\r\n" + good + "\r\n" + good + end, b"(?s)(HTTP/1.1 200 .*){3}$"),
            ("a large body", post + "Content-Length: 1048577\r\n\r\n" + "a" * 1048577, b"HTTP/1.1 413 "),
            ("a huge body", post + "Content-Length: 99999999999\r\n\r\n", b"HTTP/1.1 413 "),
            ("large chunks", post + "Transfer-Encoding: chunked\r\n\r\n" + ("10000\r\n" + "a" * 65536 + "\r\n") * 20,
             b"HTTP/1.1 413 "),
            ("two lengths", post + "Content-Length: 1\r\nContent-Length: 2\r\n\r\n{}", b"HTTP/1.1 400 "),
            ("length and chunks", post + "Content-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
             b"HTTP/1.1 400 "),
            ("a body that waits for leave", post + "Expect: 100-continue\r\nContent-Length: 2\r\n" + end + "{}",
             b"(?s)HTTP/1.1 100 .*HTTP/1.1 400 .*title"),
            ("a body without leave", post.replace(served.cookie, "x=y") + "Content-Length: 900000\r\n\r\n",
             b"HTTP/1.1 401 "),
            ("a body for nothing", good + "Content-Length: 2\r\n\r\n{}", b"HTTP/1.1 413 "),
        ]:
            with self.subTest(name):
                self.assertRegex(served.raw(sent.encode("latin-1")), pattern)
        self.assertEqual(served.get("/api/items/A1").status, 200)

    def test_slow_and_many(self):
        served = self.serve()
        began = time.monotonic()
        half = served.connect()
        half.sendall(b"GET / HTTP/1.1\r\n")

        def drip():
            try:
                while time.monotonic() - began < 25:
                    half.sendall(b"X: y\r\n")
                    time.sleep(0.5)
            except OSError:
                pass
        dripping = threading.Thread(target=drip)
        dripping.start()
        busy = [served.connect() for _ in range(63)]
        for each in busy[:40]:  # these wait for the rest of a request, the others are idle
            each.sendall(b"GET ")
        time.sleep(0.5)
        self.assertEqual(served.get("/api/collection").status, 200)  # in the place of an idle one
        busy += [served.connect() for _ in range(30)]
        for each in busy[63:]:
            each.sendall(b"GET ")
        answer = b""
        while b"503 " not in answer and time.monotonic() - began < 8:  # until the server has read all of these
            with contextlib.suppress(TimeoutError):
                answer = served.raw(b"GET / HTTP/1.1\r\n", wait=0.5)
        self.assertIn(b"503 ", answer)
        half.settimeout(20)
        try:
            self.assertEqual(half.recv(1), b"")  # closed although something came all the time
        except ConnectionResetError:
            pass
        self.assertTrue(8 < time.monotonic() - began < 15)
        dripping.join()
        for each in [half, *busy]:
            each.close()
        self.assertEqual(served.get("/api/collection").status, 200)

    def test_first_address_and_ports(self):
        served = self.serve()
        first = served.ask("GET", served.address[served.address.index("/?"):], Cookie="")
        self.assertEqual((first.status, first.headers["Location"]), (303, "/"))
        self.assertRegex(first.headers["Set-Cookie"],
                         rf"^tessaron-{served.port}=[0-9a-f]{{64}}; Path=/; HttpOnly; SameSite=Strict$")
        self.assertNotIn(re.search("token=(.*)", served.address)[1], first.headers["Set-Cookie"])
        self.assertEqual(served.ask("GET", "/", Host=f"localhost:{served.port}").status, 200)
        self.assert_failures([
            (1, f"port {served.port}: ", "serve", "-c", "c.xml", "--port", served.port),
            (2, "--listen needs --password-file", "serve", "-c", "c.xml", "--listen", "0.0.0.0"),
            (2, "go with --listen only", "serve", "-c", "c.xml", "--password-file", "p"),
            (2, "in a file", "serve", "-c", "-"),
            (65, "d.xml:1:", "serve", "-c", self.write("d.xml", "<PriceTracker><Items>")),
        ], untouched=[self.file])

    def test_signals_end_it(self):
        for how in (15, 2):
            with self.subTest(signal=how):
                self.assertEqual(self.serve().stop(how), 0)

    def test_open_hands_the_browser_a_token_for_one_use(self):
        seen = self.folder / "seen"
        opener = self.write("bin/xdg-open", f'#!/bin/sh\necho "$1" >{seen}.part; mv {seen}.part {seen}\n')
        opener.chmod(0o755)
        self.setting(PATH=f"{opener.parent}:{os.environ['PATH']}")
        served = self.serve("--open")
        for _ in range(100):
            if seen.exists():
                break
            time.sleep(0.05)
        target = seen.read_text().strip().partition(served.host)[2]
        self.assertNotIn(target, served.address)
        self.assertEqual([served.ask("GET", target, Cookie="").status for _ in range(2)], [303, 401])

    def test_password_and_tls(self):
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "key.pem", "-out",
                        "cert.pem", "-days", "2", "-subj", "/CN=localhost"], cwd=self.folder, check=True,
                       capture_output=True)
        password = self.write("password", "correct horse\nignored\n")
        arguments = ["--listen", "127.0.0.1", "--certificate", "cert.pem", "--key", "key.pem", "--password-file",
                     "password"]
        password.chmod(0o644)
        self.assert_failures([
            (2, "others may read the password", "serve", "-c", "c.xml", *arguments),
            (66, "cannot be used for TLS", "serve", "-c", "c.xml", *arguments[:2], "--certificate", "c.xml", *arguments[4:]),
        ])
        password.chmod(0o600)
        context = ssl.create_default_context(cafile=self.folder / "cert.pem")
        context.check_hostname = False
        served = self.serve(*arguments, tls=context)
        self.assertNotIn("token", served.address)
        wrong, right = ({"Authorization": "Basic " + text} for text in ("eDp4", "bWU6Y29ycmVjdCBob3JzZQ=="))
        self.assertEqual(served.get("/api/items").headers["WWW-Authenticate"][:5], "Basic")
        self.assertEqual(served.get("/api/items", **right).status, 200)
        began = time.monotonic()
        self.assertEqual(served.get("/api/items", **wrong).status, 401)
        self.assertGreater(time.monotonic() - began, 0.9)
        threads = [threading.Thread(target=served.get, args=("/api/items",), kwargs=wrong) for _ in range(3)]
        for thread in threads:
            thread.start()
        time.sleep(0.3)
        self.assertEqual(served.get("/api/items", **right).status, 429)
        for thread in threads:
            thread.join()
        time.sleep(1)
        first = served.get("/", **right)
        self.assertRegex(first.headers["Set-Cookie"], "; HttpOnly; SameSite=Strict; Secure$")
        served.cookie = first.headers["Set-Cookie"].partition(";")[0]
        self.assertEqual([served.get("/").status, served.get("/api/items", **wrong).status], [200, 200])
        self.assertEqual(served.get("/", Host=f"evil.example:{served.port}").status, 421)
        with socket.create_connection(("127.0.0.1", served.port)) as plain:
            plain.sendall(b"GET / HTTP/1.1\r\n\r\n")
            self.assertNotIn(b"HTTP", plain.recv(100))


class Edits(ServeTest):
    def test_a_day_at_the_shelf(self):
        served = self.serve()

        def state(key="A1"):
            shown = self.json("show", "-c", "c.xml", key)
            return [shown["Notes"], (shown["status"] or {}).get("name"), (shown["status"] or {}).get("target") or "",
                    {field["name"]: field["value"] for field in shown["customFields"]}]

        version = served.get("/api/items/A1").json()["version"]
        for method, action, body, expected in [
            ("PATCH", "", {"notes": "signed", "set": ["shelf=A3"]}, ["signed", None, "", {"shelf": "A3"}]),
            ("PATCH", "", {"fields": {"author": ["Ines", "Bo"], "custom.shelf": None, "pages": 12}},
             ["signed", None, "", {}]),
            ("PATCH", "", {"status": "favorite"}, ["signed", "Favorite", "", {}]),
            ("POST", "/lend", {"to": " Mira ", "due": "+14d"}, ["signed", "Lent", "Mira", {}]),
            ("POST", "/return", {}, ["signed", "Favorite", "", {}]),
            ("PATCH", "", {"noStatus": True, "notes": ""}, ["", None, "", {}]),
        ]:
            with self.subTest(body=body):
                answer = served.edit(method, "/api/items/A1" + action, body, version)
                self.assertEqual(answer.status, 200, answer.body)
                self.assertEqual(state(), expected)
                before, version = version, answer.json()["version"]
                self.assertEqual(answer.headers["ETag"], f'"{version}"')
                self.assertEqual(served.get("/api/items/A1").json(), answer.json())
                second = served.edit(method, "/api/items/A1" + action, body, before)
                self.assertEqual((second.status, second.json()["item"]["version"]), (412, version))
                self.assertEqual(state(), expected)
        added = served.edit("POST", "/api/items", {"title": "The Cartographer", "authors": ["Ines Vale"],
                                                   "group": "book", "isbn": "0-306-40615-2", "fields": {"pages": "9"}})
        self.assertEqual((added.status, added.json()["Title"], added.json()["ProductGroup"]),
                         (201, "Cartographer, The", "Book"))
        again = served.edit("POST", "/api/items", {"title": "x", "isbn": "0306406152"})
        self.assertEqual((again.status, again.json()["key"]), (409, added.json()["key"]))
        self.assertEqual(served.get("/api/items/" + added.json()["key"]).json(), added.json())
        removed = served.edit("DELETE", "/api/items/A2", version=served.get("/api/items/A2").json()["version"])
        self.assertEqual(removed.status, 200)
        self.assertEqual(served.get("/api/collection").json()["undo"], "remove A2")
        self.assertEqual(served.edit("POST", "/api/undo").json()["verb"], "remove")
        self.assertEqual(served.get("/api/collection").json()["redo"], "undo A2")
        self.assertEqual(served.get("/api/items/A2").status, 200)
        self.assertEqual(served.edit("POST", "/api/redo", {}).status, 200)
        self.assertEqual(self.asins("c.xml"), ["A1", "A3", "", added.json()["key"]])
        keyless = served.items()[2]
        kept = served.edit("PATCH", "/api/items/" + keyless["key"], {"notes": "n"}, keyless["version"]).json()
        self.assertEqual((kept["key"], kept["Notes"]), ("@" + kept["version"], "n"))
        self.assertRegex(self.tool("log", "-c", "c.xml").out, r"(?s)set.*redo.*undo.*remove.*add.*return.*lend")

    def test_import(self):
        served = self.serve()
        content = RESPONSES[0].read_bytes()
        done = served.ask("POST", "/api/import?name=response.xml", content).json()
        self.assertEqual((done["added"], done["changed"], done["sources"][0]["file"]), (done["read"], 0, "response.xml"))
        self.assertEqual(served.ask("POST", "/api/import?name=r.xml", content).json()["skipped"], done["read"])
        table = b"title,author\nSalt Roads,Orla Finch\n"
        self.assertEqual(served.ask("POST", "/api/import?name=t.csv", table).json()["added"], 1)
        book = b'<package xmlns="http://www.idpf.org/2007/opf"><metadata><title>Dunes</title></metadata></package>'
        self.assertEqual(served.ask("POST", "/api/import?name=metadata.opf", book).json()["added"], 1)
        text = self.file.read_bytes()
        for status, message, body in [(422, "no place for items", b"<a/>"), (422, "", b"<PriceTracker><Items>"),
                                      (413, "16777216 bytes", b" " * (16 << 20) + b" ")]:
            answer = served.ask("POST", "/api/import?name=../x", body)
            self.assertEqual(answer.status, status)
            self.assertIn(message, answer.json()["error"])
        self.assertEqual(self.file.read_bytes(), text)

    def test_refused_edits(self):
        served = self.serve()
        version = served.get("/api/items/A1").json()["version"]
        rows = [
            (428, "If-Match", "PATCH", "/api/items/A1", {"notes": "n"}, None),
            (412, "changed meanwhile", "DELETE", "/api/items/A1", None, "0" * 16),
            (404, "removed meanwhile", "PATCH", "/api/items/A9", {"notes": "n"}, version),
            (404, "removed meanwhile", "PATCH", "/api/items/@" + "0" * 16, {"notes": "n"}, version),
            (404, "removed meanwhile", "PATCH", "/api/items/Tides", {"notes": "n"}, version),
            (400, "a JSON object", "PATCH", "/api/items/A1", [], version),
            (400, "a JSON object", "PATCH", "/api/items/A1", "[" * 500_000, version),
            (400, "a JSON object", "PATCH", "/api/items/A1", b'{"notes": "\xff"}', version),
            (400, "at least one thing", "PATCH", "/api/items/A1", {}, version),
            (400, '"note" is not known here', "PATCH", "/api/items/A1", {"note": "n"}, version),
            (400, '"notes" must be a text', "PATCH", "/api/items/A1", {"notes": 1}, version),
            (400, "cannot hold", "PATCH", "/api/items/A1", {"notes": "a\u0000b"}, version),
            (400, "is no date", "PATCH", "/api/items/A1", {"set": ["added=soon"]}, version),
            (400, "NAME=VALUE", "PATCH", "/api/items/A1", {"set": ["x"]}, version),
            (400, "did you mean", "PATCH", "/api/items/A1", {"fields": {"titel": "x"}}, version),
            (409, "another item has the key A2", "PATCH", "/api/items/A1", {"fields": {"ASIN": "A2"}}, version),
            (409, "has no status", "PATCH", "/api/items/A1", {"target": "Mira"}, version),
            (409, "neither lent nor", "POST", "/api/items/A1/return", {}, version),
            (400, '"to" is required', "POST", "/api/items/A1/lend", {"to": " "}, version),
            (400, "is no date", "POST", "/api/items/A1/lend", {"to": "x", "due": "2026-02-30"}, version),
            (400, '"title" is required', "POST", "/api/items", {}, None),
            (400, "no such number", "POST", "/api/items", {"title": "x", "ean": "1"}, None),
            (409, "no edit to take back", "POST", "/api/undo", None, None),
            (409, "no undo to take back", "POST", "/api/redo", None, None),
        ]
        for status, message, method, target, body, known in rows:
            with self.subTest(target=target, body=str(body)[:60]):
                headers = {"Content-Type": JSON, **({"If-Match": f'"{known}"'} if known else {})}
                answer = served.ask(method, target, body, **headers)
                self.assertEqual((answer.status, self.file.read_text()), (status, SHELF), answer.body)
                self.assertRegex(answer.json()["error"], message)
                self.assertNotIn("c.xml", answer.json()["error"])
        self.assertEqual(served.ask("PATCH", "/api/items/A1", "{}", If_Match=f'"{version}"').status, 415)
        self.file.write_text("<PriceTracker><Items>")
        self.assertEqual((served.get("/api/items").status, served.edit("POST", "/api/items", {"title": "x"}).status),
                         (500, 422))
        self.file.unlink()
        self.assertEqual(served.get("/api/items").json()["total"], 0)
        self.assertEqual(served.edit("POST", "/api/items", {"title": "First"}).status, 201)
        reader = self.serve("--read-only")
        self.assertTrue(reader.get("/api/collection").json()["readOnly"])
        self.assertNotIn(b"page_edit", reader.get("/").body)
        self.assertEqual({reader.edit(*row[2:]).status for row in rows}, {403})

    def test_events_tell_of_edits_here_and_elsewhere(self):
        served = self.serve()
        stream = served.connect()
        stream.sendall(f"GET /api/events HTTP/1.1\r\nHost: {served.host}\r\nCookie: {served.cookie}\r\n\r\n".encode())
        lines = stream.makefile("r", encoding="utf-8")

        def next_version():
            for line in lines:
                if line.startswith("data: "):
                    return json.loads(line[6:])["version"]

        self.assertEqual(next_version(), served.get("/api/collection").json()["version"])
        for change in (lambda: served.edit("POST", "/api/items", {"title": "Here"}),
                       lambda: self.tool("set", "-c", "c.xml", "A1", "--notes", "there")):
            change()
            version = served.get("/api/collection").json()["version"]
            self.assertEqual(next_version(), version)
        stream.close()
        lines.close()


class Stress(ServeTest):
    """Many clients at once, for as many seconds as $SERVE_STRESS says; then killed in their midst."""

    def test_nothing_is_lost(self):
        seconds = float(os.environ.get("SERVE_STRESS", "3"))
        clients = 50 if seconds > 10 else 12
        count = 1000 if seconds > 10 else 60
        kills = 50 if seconds > 10 else 3
        self.file.write_text(collection(*(item(f"K{i}", f"Title {i}") for i in range(count))))
        served = self.serve()
        done = [0] * clients
        conflicts = [0] * clients
        problems = []
        end = time.monotonic() + seconds

        def edit(client):
            choice = random.Random(client)
            try:
                while time.monotonic() < end:
                    key = f"K{choice.randrange(count)}"
                    mark = f"c{client}.{done[client]}"
                    while True:
                        known = served.get("/api/items/" + key).json()
                        notes = f"{known.get('Notes') or ''} {mark}".strip()
                        answer = served.edit("PATCH", "/api/items/" + key, {"notes": notes}, known["version"])
                        if answer.status == 200:
                            break
                        if answer.status != 412:
                            problems.append((answer.status, answer.body))
                            return
                        conflicts[client] += 1
                    done[client] += 1
            except Exception as error:  # pylint: disable=broad-except
                problems.append(error)
        threads = [threading.Thread(target=edit, args=(i,)) for i in range(clients)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(problems, [])
        marks = sorted(mark for record in self.json("show", "-c", "c.xml", "--query", "notes:c")
                       for mark in record["Notes"].split())
        self.assertEqual(marks, sorted(f"c{i}.{n}" for i in range(clients) for n in range(done[i])))
        print(f"{sum(done)} edits, {sum(conflicts)} conflicts", flush=True)
        served.stop()
        for _ in range(kills):
            served = self.serve()
            acknowledged = [0] * 4

            def write(writer):
                """Counts in the notes of an item of its own."""
                try:
                    while True:
                        known = served.get(f"/api/items/K{writer}").json()
                        answer = served.edit("PATCH", f"/api/items/K{writer}", {"notes": f"{acknowledged[writer] + 1}"},
                                             known["version"])
                        if answer.status != 200:
                            problems.append((answer.status, answer.body))
                            return
                        acknowledged[writer] += 1
                except (OSError, ValueError, http.client.HTTPException):  # the server is gone
                    pass
            for writer in range(4):
                self.tool("set", "-c", "c.xml", f"K{writer}", "--notes", "0")
            writers = [threading.Thread(target=write, args=(i,)) for i in range(4)]
            for writer in writers:
                writer.start()
            time.sleep(random.uniform(0.02, 0.5))
            served.stop(9)
            for writer in writers:
                writer.join()
            self.assertEqual((self.tool("list", "-c", "c.xml", "--count").out, problems), (f"{count}\n", []))
            for i in range(4):  # the last edit may have been made without an answer
                kept = int(self.json("show", "-c", "c.xml", f"K{i}")["Notes"])
                self.assertIn(kept - acknowledged[i], (0, 1))
        self.tool("undo", "-c", "c.xml")


if __name__ == "__main__":
    unittest.main()
