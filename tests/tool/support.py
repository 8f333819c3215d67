"""What the tests of the command-line tool share: a folder per test, and running the program."""

import fcntl
import json
import os
import pathlib
import pty
import re
import resource
import struct
import subprocess
import tempfile
import termios
import unittest
import unittest.mock
import zlib

TOOL = os.environ["TESSARON"]
SOURCE = pathlib.Path(os.environ["TESSARON_SOURCE"])
RESPONSES = [SOURCE / "examples" / name for name in ("response.xml", "response_v3.xml")]
os.environ["LC_ALL"] = "C.UTF-8"  # sorting and dates follow the user's language
os.environ.pop("NO_COLOR", None)
STATE = tempfile.TemporaryDirectory()  # of all tests of the program: the history of their collections
os.environ["XDG_STATE_HOME"] = STATE.name
os.environ["TESSARON_SETTINGS"] = "/dev/null/settings.db"  # not the user's: all have their defaults


ON_WINDOWS = os.environ.get("TESSARON_SYSTEM") == "Windows"
# Tests, by their names or the beginnings of these, that do not run on Windows, each with its reason.
LEFT_OUT = dict(line.split(None, 1) for line in
                (pathlib.Path(__file__).parent / "left_out.txt").read_text().splitlines()
                if ON_WINDOWS and line and not line.startswith("#"))


def item(asin, title="Title", inner="", attributes=""):
    """An item in the current dialect."""
    return (
        f"<Item{attributes}><ASIN>{asin}</ASIN>{inner}<ItemAttributes><Title>{title}</Title>"
        "<ProductGroup>Book</ProductGroup></ItemAttributes></Item>"
    )


def response(*items, root="ProductSearchResponse"):
    return f'<?xml version="1.0" encoding="UTF-8"?>\n<{root}><Items>{"".join(items)}</Items></{root}>\n'


def collection(*items):
    return response(*items, root="PriceTracker")


def png(width, height=2):
    """A picture of one color."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    rows = (b"\0" + b"\x40\x80\xc0" * width) * height
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def png_size(path):
    data = path.read_bytes()
    assert (data[:8], data[-8:-4]) == (b"\x89PNG\r\n\x1a\n", b"IEND"), path
    return struct.unpack_from(">II", data, 16)


def ffmpeg(*arguments):
    subprocess.run(["ffmpeg", "-loglevel", "error", "-nostdin", "-y", *map(str, arguments)],
                   check=True, timeout=60)


def limit(size, of=resource.RLIMIT_FSIZE):
    """For `preexec_fn`: no file may grow beyond so many bytes, or the limit of another resource."""
    return lambda: resource.setrlimit(of, (size, resource.RLIM_INFINITY))


class ToolTest(unittest.TestCase):
    tells_paths = False  # whether the output has paths, which have backslashes on Windows

    def setUp(self):
        for name, reason in LEFT_OUT.items():
            if self.id().startswith(name):
                self.skipTest(reason)
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def write(self, name, text):
        path = self.folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return path

    def needs_linux(self, what):
        """Ends the test on Windows, after what of it can be tested there."""
        if ON_WINDOWS:
            self.skipTest("from here on the test needs " + what)

    def setting(self, **environment):
        """Sets variables of the environment for the rest of the test."""
        change = unittest.mock.patch.dict(os.environ, {name: str(value) for name, value in environment.items()})
        change.start()
        self.addCleanup(change.stop)
        if ON_WINDOWS and "TESSARON_SETTINGS" in environment:  # the registry is that of all tests
            self.tool("settings", "reset")
            self.addCleanup(self.tool, "settings", "reset")

    def tool(self, *arguments, code=0, text=None, lines=1, **options):
        """Runs the program in the test's folder. A failure must be told in so many lines of its form."""
        if "preexec_fn" in options:
            self.needs_linux("a limit of the kernel's or a signal")
        options.setdefault("stdout", subprocess.PIPE)
        done = subprocess.run([TOOL, *map(str, arguments)], input=None if text is None else text.encode(),
                              stderr=subprocess.PIPE, cwd=self.folder, timeout=60, check=False, **options)
        done.out = (done.stdout or b"").decode()
        done.err = done.stderr.decode()
        if ON_WINDOWS and self.tells_paths:
            done.out, done.err = (re.sub(r"\\\\|\\", "/", text) for text in (done.out, done.err))
        self.assertEqual(done.returncode, code, f"{arguments}: {done.err or done.out[-500:]}")
        if code != 0:
            self.assertRegex(done.err, r"\A(tessaron: [^\n]+\n){%d}\Z" % lines, arguments)
        return done

    def on_terminal(self, *arguments, width=20, env=None, stdout=None):
        """What a terminal of that width gets from the program: both outputs, or standard error alone."""
        self.needs_linux("a terminal")
        ours, theirs = pty.openpty()
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, width, 0, 0))
        process = subprocess.Popen([TOOL, *arguments], stdin=subprocess.DEVNULL, stderr=theirs, cwd=self.folder,
                                   stdout=theirs if stdout is None else stdout, env={**os.environ, **(env or {})})
        os.close(theirs)
        received = b""
        try:
            while part := os.read(ours, 4096):
                received += part
        except OSError:  # the other end was closed
            pass
        os.close(ours)
        self.assertEqual(process.wait(60), 0)
        return received.decode()

    def asins(self, file, *arguments):
        return [record["ASIN"] for record in self.json("list", "-c", file, *arguments)]

    def json(self, *arguments, **options):
        return json.loads(self.tool(*arguments, "--json", **options).out)

    def assert_failures(self, rows, untouched=()):
        """Rows of (code, what the message matches, arguments...); the files keep their bytes."""
        before = sorted(self.folder.iterdir())
        content = [path.read_bytes() for path in untouched]
        for code, message, *arguments in rows:
            if ON_WINDOWS and any(re.match("/dev/|.*[\udc80-\udcff]|device$|link$", str(word)) for word in arguments):
                continue  # Windows has no such names, and Wine tells no links
            with self.subTest(arguments=arguments):
                self.assertRegex(self.tool(*arguments, code=code).err, message)
                self.assertEqual([path.read_bytes() for path in untouched], content)
                self.assertEqual(sorted(self.folder.iterdir()), before)
