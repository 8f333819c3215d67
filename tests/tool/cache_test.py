import fcntl
import os
import random
import resource
import struct
import subprocess

from support import TOOL, ToolTest, file_limit

HEADER = struct.Struct("<2s1024s")
SECTION = struct.Struct("<II16s16sI64s")
KEY = bytes(range(16))


def write_cache(sections):
    """The bytes of a cache file with sections (key, second key, variant, tag, data)."""
    content = HEADER.pack(b"CM", b"")
    for key, key2, variant, tag, data in sections:
        tag = tag.encode("utf-16-le")
        content += SECTION.pack(len(data), 0, key, key2, variant, tag) + data
    return content


def read_cache(content):
    """What write_cache was given; fails on anything that is not exactly a cache file."""
    signature, reserved = HEADER.unpack_from(content)
    assert signature == b"CM" and not any(reserved)
    at = HEADER.size
    sections = []
    while at < len(content):
        size, _, key, key2, variant, tag = SECTION.unpack_from(content, at)
        at += SECTION.size
        assert 0 < size <= len(content) - at
        text, _, rest = tag.decode("utf-16-le", "surrogatepass").partition("\0")
        assert not rest.strip("\0")
        sections.append((key, key2, variant, text, content[at : at + size]))
        at += size
    return sections


def sample(count, seed=1):
    rng = random.Random(seed)
    return [
        (rng.randbytes(16), rng.choice([bytes(16), rng.randbytes(16)]), rng.getrandbits(32),
         rng.choice(["", "Cover", "Größe 日本 🎵", "x" * 31]), rng.randbytes(rng.randint(1, 3000)))
        for _ in range(count)
    ]


class Cache(ToolTest):
    def options(self, section):
        key, key2, variant, tag, _ = section
        second = ["--key2", key2.hex()] if any(key2) else []
        return ["--key", key.hex().upper(), *second, "--variant", variant, "--tag", tag]

    def put(self, section, **options):
        self.write("image", section[4])
        return self.tool("cache", "put", "c.db", "image", *self.options(section), **options)

    def read(self):
        return read_cache((self.folder / "c.db").read_bytes())

    def test_reads_what_another_program_has_written(self):
        sections = sample(20)
        self.write("c.db", write_cache(sections))
        listed = self.json("cache", "list", "c.db")
        at = HEADER.size
        for section, entry in zip(sections, listed, strict=True):
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
        self.assertEqual(self.read(), sections)

        def limit():  # of the memory that is written to
            resource.setrlimit(resource.RLIMIT_DATA, (12 << 20, resource.RLIM_INFINITY))

        small = write_cache([(KEY, KEY, 1, "", b"x")])
        self.write("c.db", small[:HEADER.size] + small[HEADER.size:] * 20000)
        for form in ([], ["--json"], ["--csv"]):
            done = self.tool("cache", "list", "c.db", *form, preexec_fn=limit)
            self.assertEqual(done.out.count(KEY.hex()), 40000)

    def test_writes_what_another_program_reads(self):
        sections = sample(5)
        for section in sections:
            self.put(section)
        self.assertEqual(self.read(), sections)
        many = sample(199, seed=2)
        self.write("c.db", write_cache(sections + many))
        self.put(sections[0])
        self.assertEqual(self.read(), (sections + many + sections[:1])[-200:])
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()), ["c.db", "image"])

    def test_failures_leave_the_file_alone(self):
        first = (KEY, bytes(16), 0, "", b"data")
        sound = write_cache([first, (KEY, KEY, 0, "", b"second")])
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
            (65, "damaged", "cache", "list", "cut.db"),
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

        with open(db, "rb") as holder:
            fcntl.flock(holder, fcntl.LOCK_EX)
            self.assert_failures([(73, "another process", "cache", verb, "c.db", *more)
                                  for verb, *more in [("list",), ("get", *key, "-o", "out"),
                                                      ("put", *key, "foreign.db")]],
                                 untouched=[db])
        limit = file_limit(len(sound) + 500)
        self.put((KEY, KEY, 0, "", bytes(1000)), code=74, preexec_fn=limit)
        self.assertEqual(db.read_bytes(), sound)

    def test_tags_longer_than_can_be_found_are_told(self):
        self.assertIn("31", self.put((KEY, bytes(16), 0, "t" * 32, b"data")).err)
        self.tool("cache", "get", "c.db", "--key", KEY.hex(), "--tag", "t" * 32, "-o", "-", code=1)
        self.tool("cache", "get", "c.db", "--key", KEY.hex(), "--tag", "T" * 31, "-o", "-")

    def test_simultaneous_puts_lose_nothing(self):
        old = [(KEY, KEY, 1, "", os.urandom(1 << 20))]
        new = (KEY, KEY, 2, "", os.urandom(4 << 20))
        self.write("c.db", write_cache(old))
        self.write("image", new[4])
        command = [TOOL, "cache", "put", "c.db", *map(str, self.options(new)), "image"]
        processes = [subprocess.Popen(command, cwd=self.folder) for _ in range(4)]
        self.assertEqual([process.wait() for process in processes], [0] * 4)
        self.assertEqual(self.read(), old + [new] * 4)
