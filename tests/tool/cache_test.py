import fcntl
import os
import resource
import struct
import subprocess
import unittest

from support import ON_WINDOWS, TOOL, ToolTest, limit

HEADER = struct.Struct("<2s1024s")
SECTION = struct.Struct("<II16s16sI64s")
KEY = bytes(range(16))


def cache(sections):
    """The bytes of a cache file with sections (key, second key, variant, tag, data)."""
    return HEADER.pack(b"CM", b"") + b"".join(
        SECTION.pack(len(data), 0, key, key2, variant, tag.encode("utf-16-le")) + data
        for key, key2, variant, tag, data in sections)


SECTIONS = [(KEY, bytes(16), 0, "", b"data"), (KEY, KEY[::-1], 1, "Größe 日本 🎵", os.urandom(3000)),
            (KEY[::-1], bytes(16), (1 << 32) - 1, "x" * 31, b"\0")]


class Cache(ToolTest):
    def options(self, section):
        key, key2, variant, tag, _ = section
        second = ["--key2", key2.hex()] if any(key2) else []
        return ["--key", key.hex().upper(), *second, "--variant", variant, "--tag", tag]

    def put(self, section, **options):
        self.write("image", section[4])
        return self.tool("cache", "put", "c.db", "image", *self.options(section), **options)

    def test_puts_lists_and_gets(self):
        for section in SECTIONS:
            self.put(section)
        self.assertEqual((self.folder / "c.db").read_bytes(), cache(SECTIONS))
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()), ["c.db", "image"])
        listed = self.json("cache", "list", "c.db")
        at = HEADER.size
        for section, entry in zip(SECTIONS, listed, strict=True):
            key, key2, variant, tag, data = section
            at += SECTION.size
            self.assertEqual(entry, {
                "dataOffset": at, "dataSize": len(data), "primaryKey": key.hex(),
                "secondaryKey": key2.hex() if any(key2) else None, "variant": variant, "tag": tag})
            at += len(data)
            self.tool("cache", "get", "c.db", *self.options(section), "-o", "out")
            self.assertEqual((self.folder / "out").read_bytes(), data)
        self.assertIn("Größe 日本 🎵", self.tool("cache", "list", "c.db").out)
        with open(self.folder / "c.db", "rb") as piped:
            self.assertEqual(self.json("cache", "list", "-", stdin=piped), listed)
        self.assertEqual(self.tool("cache", "list", "c.db", "--tsv").out.splitlines()[0].split(),
                         list(listed[0]))

    @unittest.skipUnless(ON_WINDOWS or "SHIM" in os.environ, "sanitizers take more memory")
    def test_lists_without_keeping_the_rows(self):
        self.write("c.db", cache([(KEY, KEY, 1, "", b"x")] * 20000))
        for form in ([], ["--json"], ["--csv"]):
            done = self.tool("cache", "list", "c.db", *form, preexec_fn=limit(12 << 20, resource.RLIMIT_DATA))
            self.assertEqual(done.out.count(KEY.hex()), 40000)

    def test_failures_leave_the_file_alone(self):
        sound = cache([(KEY, bytes(16), 0, "", b"data"), (KEY, KEY, 0, "", b"second")])
        db = self.write("c.db", sound)
        cut = self.write("cut.db", sound[:-1])
        foreign = self.write("foreign.db", b"XM" + sound[2:])
        self.write("empty", "")
        key = ["--key", KEY.hex()]
        self.assert_failures([
            (1, "no such image", "cache", "get", "c.db", *key, "--variant", 1, "-o", "out"),
            (2, "standard input cannot", "cache", "put", "-", *key, "c.db"),
            (2, "32 hexadecimal", "cache", "get", "c.db", "--key", "0g" * 16, "-o", "out"),
            (2, "--key", "cache", "put", "c.db", "empty"),
            (2, "variant", "cache", "get", "c.db", *key, "--variant", 1 << 32, "-o", "out"),
            (65, "empty", "cache", "put", "c.db", *key, "empty"),
            (65, "damaged", "cache", "get", "cut.db", *key, "--key2", KEY.hex(), "-o", "out"),
            (65, "damaged", "cache", "put", "cut.db", *key, "c.db"),
            (65, "no image cache", "cache", "list", "foreign.db"),
            (65, "no image cache", "cache", "put", "foreign.db", *key, "c.db"),
            (66, "No such file", "cache", "list", "missing.db"),
            (66, "No such file", "cache", "put", "c.db", *key, "missing.png"),
            (73, "No such file", "cache", "put", "missing/c.db", *key, "c.db"),
            (73, "No such file", "cache", "get", "c.db", *key, "-o", "missing/out"),
            (2, "replace the input", "cache", "get", "c.db", *key, "-o", "./c.db"),
        ], untouched=[db, cut, foreign])
        self.assertEqual(self.tool("cache", "get", "cut.db", *key).out, "data")
        self.assertIn(KEY.hex(), self.tool("cache", "list", "cut.db", code=65).out)
        self.needs_linux("locks that others heed")
        with open(db, "rb") as holder:
            fcntl.flock(holder, fcntl.LOCK_EX)
            self.assert_failures([(73, "another process", "cache", verb, "c.db", *more)
                                  for verb, *more in [("list",), ("get", *key, "-o", "out"),
                                                      ("put", *key, "foreign.db")]],
                                 untouched=[db])
        self.put((KEY, KEY, 0, "", bytes(1000)), code=74, preexec_fn=limit(len(sound) + 500))
        self.assertEqual(db.read_bytes(), sound)

        self.assertIn("31", self.put((KEY, bytes(16), 0, "t" * 32, b"data")).err)
        self.tool("cache", "get", "c.db", *key, "--tag", "t" * 32, code=1)
        self.assertEqual(self.tool("cache", "get", "c.db", *key, "--tag", "T" * 31).out, "data")

    def test_simultaneous_puts_lose_nothing(self):
        old, new = (KEY, KEY, 1, "", os.urandom(1 << 20)), (KEY, KEY, 2, "", os.urandom(4 << 20))
        db = self.write("c.db", cache([old]))
        self.write("image", new[4])
        command = [TOOL, "cache", "put", "c.db", *map(str, self.options(new)), "image"]
        processes = [subprocess.Popen(command, cwd=self.folder) for _ in range(4)]
        self.assertEqual([process.wait() for process in processes], [0] * 4)
        self.assertEqual(db.read_bytes(), cache([old] + [new] * 4))
