"""Makes the n-th call of each kind fail, or kills the program there, for n = 1, 2, ... until none is reached: the
exit code is honest, each file is the old or the new one, nothing stays beside it. With FAILURES=all every verb that
writes goes through all kinds; without, a few verbs through some of them."""

import concurrent.futures
import errno
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

TOOL = os.environ["TESSARON"]
SOURCE = pathlib.Path(os.environ["TESSARON_SOURCE"])
EVERYTHING = os.environ.get("FAILURES") == "all"
NO_INPUT, CANNOT_CREATE, CANNOT_WRITE = 66, 73, 74

# A verb: what it is called with, whether its files stand for themselves or by what `reader` prints of them, and
# kinds that libraries which abort keep from it.
VERBS = {
    "set": ("set -c shelf.xml EXB0000001 --status lent --target Mira --from 2005-09-01", None),
    "settings set": ("settings set AccountEmail me@example.org", "settings list --json"),
    "cache put": ("cache put c.db {icon} --key {key}", "cache list c.db --json"),
    "remove": ("remove -c shelf.xml EXB0000001", None),
    "import": ("import -c shelf.xml {source}/examples/response_v3.xml", None),
    "import new": ("import -c new.xml {source}/examples/response_v3.xml", None),
    "recover": ("recover cut.xml -o saved.xml", None),
    "export": ("export -c shelf.xml --html -o page.html", None),
    "chart": ("chart shares --png -o chart.png", None),
    "scan": ("scan {source}/examples --xml -o scan.xml", None),
    "settings reset": ("settings reset", "settings list --json"),
    "settings new": ("settings set AccountEmail me@example.org", "settings list --json"),
    "settings get": ("settings get ViewType", "settings list --json"),
    "theme pack": ("theme pack t.tpk {source}/examples/themes/default", None),
    "theme unpack": ("theme unpack theme.tpk out", None),
}
TRANSFERS = ("read", "pread", "write", "pwrite")
KINDS = ("open", *TRANSFERS, "fsync", "rename", "change", "flock", "setlk", "mmap", "malloc")


def plan(verb):
    """The kinds, modes and errors that a verb goes through."""
    for kind in KINDS:
        if kind in ("malloc", "mmap"):
            if verb != "chart":  # fonts and what draws abort without memory
                yield from ((kind, mode, "ENOMEM") for mode in ("once", "always"))
            continue
        reads = kind in ("read", "pread")
        yield from ((kind, mode, "EIO" if reads else "ENOSPC") for mode in ("once", "always"))
        if kind in ("open", "fsync", "flock", *TRANSFERS):
            yield kind, "once", "EINTR"
        if kind in TRANSFERS:
            yield from ((kind, mode, "short") for mode in ("once", "always"))
        if not reads and kind not in ("flock", "setlk"):
            yield kind, "kill", "EIO"


SHORT = {
    "set": [("write", "once", "ENOSPC"), ("rename", "kill", "EIO"), ("read", "always", "short"),
            ("fsync", "once", "EINTR"), ("malloc", "always", "ENOMEM")],
    "settings set": [("pread", "once", "EIO"), ("fsync", "kill", "EIO")],
    "cache put": [("write", "once", "EIO"), ("write", "kill", "EIO")],
}


def numbers(kind):
    """Which calls fail: all, of the many allocations all in the beginning, then fewer and fewer."""
    n = 1
    while True:
        yield n
        n += 1 if kind != "malloc" else max(n // (20 if EVERYTHING else 4), 1)


class Scene:
    """What a verb finds, and what it makes of that when nothing fails."""

    def __init__(self, verb, folder):
        command, reader = VERBS[verb]
        names = {"source": SOURCE, "icon": SOURCE / "docs/export.png", "key": "0123456789abcdef" * 2}
        self.command = [word.format(**names) for word in command.split()]
        self.reader = reader and reader.split()
        self.folder = folder
        self.before = folder / "before"
        self.before.mkdir()
        self.prepare(verb)
        self.old = self.content(self.before)
        after = self.copy("after")
        self.done = self.run(after)
        assert self.done.returncode == 0, self.done.stderr
        self.new = self.content(after)

    def prepare(self, verb):
        examples = SOURCE / "examples"
        (self.before / "config").mkdir()
        first = self.copy("first")

        def make(*command):
            assert self.run(first, command=list(map(str, command))).returncode == 0, command

        make("import", "-c", "shelf.xml", examples / "response.xml")
        (first / "cut.xml").write_bytes((first / "shelf.xml").read_bytes()[:-300])
        (first / "shares").write_text("Books\t3\t3\nMusic\t2\t2\n")
        if verb != "settings new":
            make("settings", "set", "ViewType", "3")
        make("theme", "pack", "theme.tpk", examples / "themes/default")
        make("cache", "put", "c.db", SOURCE / "docs/statusbar.png", "--key", "ab" * 16)
        for name in ("page.html", "saved.xml", "chart.png", "scan.xml", "t.tpk"):
            if verb != "recover":
                (first / name).write_text("the old file")
        shutil.rmtree(self.before)
        first.rename(self.before)

    def copy(self, name):
        return pathlib.Path(shutil.copytree(self.before, self.folder / name))

    def run(self, folder, failure="", command=None, **options):
        environment = dict(os.environ, LC_ALL="C.UTF-8", TESSARON_SETTINGS=str(folder / "config/settings.db"),
                           TESSARON_HOME=str(folder / "home"), XDG_RUNTIME_DIR=str(self.folder))
        if failure:
            environment.update(FAILURE=failure, LD_PRELOAD=os.environ["SHIM"])
        return subprocess.run([TOOL, *(command or self.command)], cwd=folder, env=environment, capture_output=True,
                              check=False, timeout=60, **options)

    def content(self, folder):
        """All files by their names; those that a reader tells of, by what it tells."""
        told = {}
        if self.reader:
            read = self.run(folder, command=self.reader)
            told[""] = read.returncode, read.stdout
        for path in sorted(folder.rglob("*")):
            if path.is_file():
                binary = self.reader and path.name in ("settings.db", "c.db")
                told[str(path.relative_to(folder))] = b"" if binary else path.read_bytes()
        return told


def whole(found, scene):
    """Whether each file is the old or the new one, and no other is there."""
    return all(
        name in scene.old | scene.new and text in (scene.old.get(name), scene.new.get(name))
        for name, text in found.items()
    ) and all(name in found for name in scene.old if name in scene.new)


def fault(scene, kind, mode, error, n):
    """What is wrong with the n-th call's failure; None when there is no such call."""
    number = 0 if error == "short" else getattr(errno, error)
    reached, told = os.pipe()
    folder = scene.copy(f"{kind}-{mode}-{error}-{n}")
    try:
        done = scene.run(folder, f"{kind} {n} {mode} {number} {told}", pass_fds=(told,))
        os.close(told)
        told = -1
        if not os.read(reached, 1):
            return None
        if mode == "kill":
            found = scene.content(folder)
            again = scene.run(folder)
            if again.returncode != 0 and found != scene.new:
                return f"a second run ends with {again.returncode}: {again.stderr.decode()}"
            stray = set(scene.content(folder)) - set(scene.new)
            found = {name: text for name, text in found.items() if name in scene.old | scene.new}
            return f"{stray} stay" if stray else "" if whole(found, scene) else "the file is damaged"
        message = done.stderr.decode()
        found = scene.content(folder)
        if "config/settings.db-journal" in found and done.returncode != 0:
            scene.run(folder)  # what could not be rolled back goes with the next change
            found.pop("config/settings.db-journal")
            if (folder / "config/settings.db-journal").exists():
                return "the journal stays"
        if not whole(found, scene):
            return f"{done.returncode}: the file is damaged, or a file stays: {sorted(found)} {message}"
        if done.returncode == 0:
            same = found == scene.new and done.stdout == scene.done.stdout
            return "" if same else f"done, but the result is not whole: {message}"
        if error in ("EINTR", "short") and kind != "fsync":
            return f"{done.returncode}, though it had only to go on: {message}"
        codes = (1,) * (kind in ("malloc", "mmap")) + (NO_INPUT, CANNOT_CREATE, CANNOT_WRITE)
        honest = done.returncode in codes and message.startswith("tessaron: ")
        return "" if honest else f"exit code {done.returncode}: {message}"
    except subprocess.TimeoutExpired:
        return "it hangs"
    finally:
        os.close(reached)
        if told != -1:
            os.close(told)
        shutil.rmtree(folder, ignore_errors=True)


class FailuresTest(unittest.TestCase):
    def test_ends_honestly_whatever_call_fails(self):
        chosen = os.environ.get("FAILURES_VERBS", "").split(",") if os.environ.get("FAILURES_VERBS") else None
        jobs = []
        with tempfile.TemporaryDirectory() as name, concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            for verb in chosen or (VERBS if EVERYTHING else SHORT):
                folder = pathlib.Path(name, verb.replace(" ", "-"))
                folder.mkdir()
                scene = Scene(verb, folder)
                for case in plan(verb) if EVERYTHING else SHORT[verb]:
                    jobs.append((verb, case, pool.submit(self.walk, scene, *case)))
            reached = {}
            for verb, case, job in jobs:
                with self.subTest(verb=verb, case=" ".join(case)):
                    count, faults = job.result()
                    reached[case[0]] = reached.get(case[0], 0) + count
                    self.assertFalse(faults, "\n".join(faults))
        print("failures reached:", reached, file=sys.stderr)
        for kind, count in reached.items():
            self.assertTrue(count or kind == "mmap" or chosen, kind)

    @staticmethod
    def walk(scene, kind, mode, error):
        faults = []
        count = 0
        for n in numbers(kind):
            wrong = fault(scene, kind, mode, error, n)
            if wrong is None:
                return count, faults
            count += 1
            if wrong:
                faults.append(f"call {n}: {wrong}")
        return count, faults


if __name__ == "__main__":
    unittest.main()
