import http.server
import os
import signal
import ssl
import subprocess
import threading
import time

from support import TOOL, ToolTest, collection, item, png, png_size


class Host(http.server.BaseHTTPRequestHandler):
    """Answers by path: a picture so many pixels wide, a redirect, or what a bad host sends."""
    asked = []
    busy = 0
    other = None

    def do_GET(self):
        Host.asked.append((time.monotonic(), self.path))
        name, _, value = self.path[1:].partition("/")
        if name == "png":
            return self.send(200, png(int(value)))
        if name == "hops":
            return self.send(302, b"", Location=f"/hops/{int(value) - 1}" if int(value) else "/png/20")
        if name == "to":
            return self.send(302, b"", Location=value)
        if name == "elsewhere":
            return self.send(302, b"", Location=f"http://127.0.0.1:{Host.other}/png/20")
        if name == "busy":
            Host.busy += 1
            return self.send(503 if Host.busy == 1 else 200, png(20))
        if name == "page":
            return self.send(200, b"<html>" + png(20), **{"Content-Type": "image/png"})
        if name == "damaged":
            return self.send(200, png(20)[:60])
        if name == "endless":
            self.send_response(200)
            self.end_headers()
            try:
                for _ in range(20):
                    self.wfile.write(b"\x89PNG\r\n\x1a\n" * 131072)
            except OSError:
                pass
            return None
        return self.send(404, b"")

    def send(self, code, body, **headers):
        self.send_response(code)
        for name, value in {"Content-Length": len(body), **headers}.items():
            self.send_header(name, str(value))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


def serve(test, certificate=None):
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Host)
    if certificate:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate)
        server.socket = context.wrap_socket(server.socket, server_side=True)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    test.addCleanup(server.server_close)
    test.addCleanup(server.shutdown)
    return server.server_port


class Covers(ToolTest):
    def setUp(self):
        super().setUp()
        Host.asked, Host.busy = [], 0
        self.here = f"http://127.0.0.1:{serve(self)}"
        Host.other = serve(self)

    def shelf(self, *covers):
        """A collection with an item per tuple of addresses: large, medium, small."""
        names = ("Large", "Medium", "Small")
        self.write("c.xml", collection(*(
            item(f"ITEM{i}", inner="".join(f"<{name}Image><URL>{address}</URL></{name}Image>"
                                           for name, address in zip(names, addresses)))
            for i, addresses in enumerate(covers))))

    def has(self):
        return [row["ASIN"] for row in self.json("covers", "list", "-c", "c.xml") if row["cover"]]

    def test_fetch_keeps_pictures_and_nothing_else(self):
        certificate = self.folder / "own.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=127.0.0.1",
                        "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", certificate, "-out", self.folder / "c.pem"],
                       check=True, capture_output=True)
        certificate.write_bytes(certificate.read_bytes() + (self.folder / "c.pem").read_bytes())
        rows = [  # addresses below the server, and what the failure is told to be; None: a cover
            (("/png/500",), None),
            (("/png/1001", "/png/1000", "/png/40"), None),
            (("/png/1001",), "1001 pixels wide"),
            (("/none", "/png/40"), None),
            (("/hops/4",), None),
            (("/hops/5",), "more than 5 times"),
            (("/elsewhere",), "private network"),
            (("/to/ftp://127.0.0.1/x",), "no http or https"),
            (("/to/file:///etc/passwd",), "no http or https"),
            (("/busy",), None),
            (("/page",), "no JPEG, PNG"),
            (("/damaged",), "damaged|no picture"),
            (("/png/1",), None),  # 1 by 2 pixels
            (("/endless",), "more than 16 MiB"),
            (("/none",), "answers 404"),
            ((f"https://127.0.0.1:{serve(self, certificate)}/png/30",), "certificate|no secure connection"),
            (("http://127.0.0.1:1/x",), "connect|reached"),
        ]
        self.shelf(*((a if "//" in a[:8] else self.here + a for a in addresses) for addresses, _ in rows), ("file:///x.png",))
        expected = [f"ITEM{i}" for i, (_, failure) in enumerate(rows) if failure is None]
        done = self.tool("covers", "fetch", "-c", "c.xml", code=1, lines=len(rows) - len(expected) + 1)
        for i, (addresses, failure) in enumerate(rows):
            with self.subTest(addresses=addresses):
                if failure:
                    self.assertRegex(done.err, rf"ITEM{i}: .*({failure})")
        self.assertIn(f"{len(expected)} fetched, 0 there already, 1 without an address, {len(rows) - len(expected)} failed", done.err)
        self.assertEqual(self.has(), expected)
        self.tool("covers", "show", "-c", "c.xml", "ITEM1", "-o", "cover.png")
        self.assertEqual(png_size(self.folder / "cover.png"), (1000, 2))
        self.tool("covers", "show", "-c", "c.xml", "ITEM1", "--size", "medium", "-o", "medium.jpg")
        self.assertEqual((self.folder / "medium.jpg").read_bytes()[:3], b"\xff\xd8\xff")
        starts = sorted(when for when, _ in Host.asked)
        self.assertGreater(starts[-1] - starts[0], 0.2 * 12, "no pauses between requests to a host")

        asked = len(Host.asked)
        self.tool("covers", "fetch", "-c", "c.xml", "asin:item0")
        self.assertEqual(len(Host.asked), asked, "a cover that was there was fetched again")
        self.tool("covers", "fetch", "-c", "c.xml", "asin=item0", "--again")
        self.assertEqual(len(Host.asked), asked + 1)
        self.assertEqual(self.has(), expected)

    def test_attached_covers_are_listed_exported_and_pruned(self):
        self.shelf((), (), ())
        picture = self.write("p.png", png(300, 200))
        self.write("text.png", "no picture")
        for asin in ("ITEM0", "ITEM2", "ITEM2"):
            self.tool("covers", "attach", "-c", "c.xml", asin, picture)
        self.assertEqual(self.json("covers", "list", "-c", "c.xml", "--missing")[0]["ASIN"], "ITEM1")
        self.tool("cache", "verify", "ImageCache.db")
        self.tool("covers", "export", "-c", "c.xml", "out")
        self.assertEqual(sorted(os.listdir(self.folder / "out")), ["ITEM0.png", "ITEM2.png"])
        self.assertEqual((self.folder / "out" / "ITEM2.png").read_bytes(), picture.read_bytes())
        self.tool("remove", "-c", "c.xml", "ITEM2")
        self.assertEqual(self.tool("covers", "prune", "-c", "c.xml", "--dry-run").out, "ITEM2\n")
        self.tool("covers", "prune", "-c", "c.xml")
        self.assertEqual(len(self.json("cache", "list", "ImageCache.db")), 3)
        self.assert_failures([
            (1, "no cover", "covers", "show", "-c", "c.xml", "ITEM1", "-o", "x"),
            (65, "no JPEG", "covers", "attach", "-c", "c.xml", "ITEM1", "text.png"),
            (1, "nobody", "covers", "attach", "-c", "c.xml", "nobody", picture),
            (2, "standard input", "covers", "list", "-c", "-"),
        ], [self.folder / "ImageCache.db"])

    def test_a_damaged_cache_is_repaired_and_never_in_the_way(self):
        self.shelf((), ())
        picture = self.write("p.png", png(30))
        cache = self.folder / "ImageCache.db"
        key = "00112233445566778899aabbccddeeff"
        self.tool("cache", "put", cache, picture, "--key", key)
        for asin in ("ITEM0", "ITEM1"):
            self.tool("covers", "attach", "-c", "c.xml", asin, picture)
        sound = cache.read_bytes()
        for damage, kept in [(sound[:-10], ["ITEM0", "ITEM1"]), (sound[:1300], []), (sound + b"x" * 50, ["ITEM0", "ITEM1"]),
                             (b"PK" + sound[2:], [])]:
            with self.subTest(size=len(damage), head=damage[:2]):
                cache.write_bytes(damage)
                self.assertRegex(self.tool("cache", "verify", cache, code=65).err, "no image")
                self.tool("export", "-c", "c.xml", "--html", "--covers", "embed", "-o", "page.html")
                self.assertEqual(self.has(), kept)
                self.tool("cache", "repair", cache)
                self.assertEqual(self.has(), kept)
                if kept:
                    self.tool("cache", "verify", cache)
                    self.tool("cache", "get", cache, "--key", key, "-o", "got.png")
                    self.assertEqual((self.folder / "got.png").read_bytes(), picture.read_bytes())
                saved = max(self.folder.glob("ImageCache.db.damaged*"), key=lambda path: path.stat().st_mtime_ns)
                self.assertEqual(saved.read_bytes(), damage)
                saved.unlink()
        cache.write_bytes(sound[:-10])
        self.tool("covers", "attach", "-c", "c.xml", "ITEM1", picture)
        self.tool("cache", "verify", cache)

    def test_no_number_of_images_drops_a_cover(self):
        self.shelf(())
        picture = self.write("p.png", png(30))
        self.tool("covers", "attach", "-c", "c.xml", "ITEM0", picture)
        for i in range(203):
            self.tool("cache", "put", "ImageCache.db", picture, "--key", f"{i:032x}")
        self.assertEqual(self.has(), ["ITEM0"])
        self.assertEqual(len(self.json("cache", "list", "ImageCache.db")), 203)

    def test_an_interrupted_fetch_keeps_what_it_has(self):
        self.shelf(*((f"{self.here}/png/{20 + i}",) for i in range(60)))
        process = subprocess.Popen([TOOL, "covers", "fetch", "-c", "c.xml"], cwd=self.folder, stderr=subprocess.DEVNULL)
        while len(Host.asked) < 8:
            time.sleep(0.05)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(20), -signal.SIGINT)
        self.assertGreater(len(self.has()), 2)
        self.assertLess(len(self.has()), 60)
        self.tool("cache", "verify", "ImageCache.db")
