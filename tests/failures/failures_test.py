# Makes the n-th call of each kind fail, or kills the program there, for n = 1, 2, ... until none is reached: the exit
# code is honest, each file is the old or the new one, nothing stays beside it. With FAILURES=all every verb that
# writes goes through all kinds (FAILURES_VERBS names some of them); without, a few verbs through some of them.

import concurrent.futures
import errno
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

TOOL = os.environ["TESSARON"]
SOURCE = pathlib.Path(os.environ["TESSARON_SOURCE"])
EXAMPLES = SOURCE / "examples"
EVERYTHING = os.environ.get("FAILURES") == "all"
CODES = (66, 73, 74)  # no such input, cannot be made, writing failed

# What a verb is called with, and where its file has no fixed bytes, what tells of its content.
VERBS = {
    "set": ("set -c shelf.xml EXB0000001 --status lent --target Mira --from 2005-09-01", ""),
    "set by title": ("set -c shelf.xml tides horloger --notes x", ""),
    "add": ("add -c new.xml --title Other --isbn 0261102214", ""),
    "remove": ("remove -c shelf.xml EXB0000001", ""),
    "import": (f"import -c shelf.xml {EXAMPLES}/response_v3.xml", ""),
    "import new": (f"import -c new.xml {EXAMPLES}/response_v3.xml", ""),
    "recover": ("recover cut.xml -o saved.xml", ""),
    "export": ("export -c shelf.xml --html -o page.html", ""),
    "chart": ("chart shares --png -o chart.png", ""),
    "scan": (f"scan {EXAMPLES} --xml -o scan.xml", ""),
    "settings get": ("settings get ViewType", "settings list --json"),
    "settings set": ("settings set AccountEmail me@example.org", "settings list --json"),
    "settings new": ("settings set AccountEmail me@example.org", "settings list --json"),
    "settings reset": ("settings reset", "settings list --json"),
    "cache put": (f"cache put c.db {SOURCE}/docs/export.png --key {'01' * 16}", "cache list c.db --json"),
    "theme pack": (f"theme pack t.tpk {EXAMPLES}/themes/default", ""),
    "theme unpack": ("theme unpack theme.tpk out", ""),
}
TRANSFERS = ("read", "pread", "write", "pwrite")
KINDS = ("open", *TRANSFERS, "stream", "fsync", "rename", "change", "flock", "setlk", "mmap", "malloc")
SHORT = {
    "set": [("write", "once", "ENOSPC"), ("rename", "kill", "EIO"), ("read", "always", "short"),
            ("fsync", "once", "EINTR"), ("malloc", "always", "ENOMEM")],
    "settings set": [("pread", "once", "EIO"), ("fsync", "kill", "EIO")],
}


# The kinds, modes and errors that a verb goes through.
def plan(verb):
    if not EVERYTHING:
        yield from SHORT[verb]
        return
    for kind in KINDS:
        if kind in ("malloc", "mmap"):
            if verb != "chart":  # fonts and what draws abort without memory
                yield from ((kind, mode, "ENOMEM") for mode in ("once", "always"))
            continue
        yield from ((kind, mode, "EIO" if "read" in kind else "ENOSPC") for mode in ("once", "always"))
        if kind in ("open", "fsync", "flock", *TRANSFERS):
            yield kind, "once", "EINTR"
        if kind in TRANSFERS:
            yield from ((kind, mode, "short") for mode in ("once", "always"))
        if kind in ("open", "write", "pwrite", "stream", "fsync", "rename", "change"):
            yield kind, "kill", "EIO"


# What a verb finds, and what it makes of that when nothing fails.
class Scene:
    def __init__(self, verb, folder):
        self.command, self.reader = (text.split() for text in VERBS[verb])
        self.isPartial = verb in ("scan", "theme unpack")  # what cannot be read is left out, and told
        self.folder = folder
        self.before = folder / "before"
        (self.before / "config").mkdir(parents=True)
        self.make("import", "-c", "shelf.xml", EXAMPLES / "response.xml")
        self.make("theme", "pack", "theme.tpk", EXAMPLES / "themes/default")
        self.make("cache", "put", "c.db", SOURCE / "docs/statusbar.png", "--key", "ab" * 16)
        if verb != "settings new":
            self.make("settings", "set", "ViewType", "3")
        (self.before / "cut.xml").write_bytes((self.before / "shelf.xml").read_bytes()[:-300])
        (self.before / "shares").write_text("Books\t3\t3\nMusic\t2\t2\n")
        for name in ("page.html", "chart.png", "scan.xml", "t.tpk"):
            (self.before / name).write_text("the old file")
        self.old = self.content(self.before)
        after = self.copy("after")
        self.done = self.run(after)
        self.done.check_returncode()
        self.new = self.content(after)

    def make(self, *command):
        self.run(self.before, command=command).check_returncode()

    def copy(self, name):
        return pathlib.Path(shutil.copytree(self.before, self.folder / name))

    def run(self, folder, failure="", command=None, **options):
        environment = dict(os.environ, LC_ALL="C.UTF-8", TESSARON_SETTINGS=str(folder / "config/settings.db"),
                           TESSARON_HOME=str(folder / "home"), XDG_RUNTIME_DIR=str(self.folder), XDG_STATE_HOME=str(self.folder / "state"))
        if failure:
            environment.update(FAILURE=failure, LD_PRELOAD=os.environ["SHIM"])
        return subprocess.run([TOOL, *map(str, command or self.command)], cwd=folder, env=environment,
                              capture_output=True, check=False, timeout=120, **options)

    # All files by their names; those that a reader tells of, by what it tells.
    def content(self, folder):
        told = {"": self.run(folder, command=self.reader).stdout} if self.reader else {}
        for path in folder.rglob("*"):
            if path.is_file():
                told[str(path.relative_to(folder))] = b"" if self.reader and path.suffix == ".db" else path.read_bytes()
        return told

    # Whether each file is the old or the new one, and no other is there.
    def isWhole(self, found, isDone):
        known = self.old | self.new
        return all(name in found for name in self.old if name in self.new) and all(
            name in known and (text in (self.old.get(name), self.new.get(name)) or self.isPartial and not isDone)
            for name, text in found.items())

    # What is wrong with the n-th call's failure; None when there is no such call.
    def fault(self, kind, mode, error, n):
        number = 0 if error == "short" else getattr(errno, error)
        reached, told = os.pipe()
        folder = self.copy(f"{kind}-{mode}-{error}-{n}")
        try:
            done = self.run(folder, f"{kind} {n} {mode} {number} {told}", pass_fds=(told,))
        except subprocess.TimeoutExpired:
            return "it hangs"
        finally:
            os.close(told)
            with os.fdopen(reached, "rb") as pipe:
                isReached = pipe.read(1)
        found = self.content(folder)
        if not isReached:
            return None
        message = f"{done.returncode}: {done.stderr.decode()}"
        if mode == "kill" or "config/settings.db-journal" in found:  # what stays goes with the next change
            again = self.run(folder)
            if again.returncode != 0 and found != self.new:
                return "a second run fails: " + again.stderr.decode()
            if stray := set(self.content(folder)) - set(self.new):
                return f"{stray} stay"
            found = {name: text for name, text in found.items() if name in self.old | self.new}
        shutil.rmtree(folder)
        if not self.isWhole(found, done.returncode == 0):
            return f"the file is damaged, or a file stays: {sorted(found)}, {message}"
        if mode == "kill":
            return ""
        if done.returncode == 0:
            return "" if (found, done.stdout) == (self.new, self.done.stdout) else f"the result is not whole: {message}"
        if error in ("EINTR", "short") and kind != "fsync":
            return f"it had only to go on: {message}"
        codes = (*CODES, *(1,) * (error == "ENOMEM" or self.isPartial))
        return "" if done.returncode in codes and b"tessaron: " in done.stderr else message

    # How many calls there are, and what is wrong with each; of many allocations fewer and fewer are tried.
    def walk(self, kind, mode, error):
        count, n, faults = 0, 1, []
        while (fault := self.fault(kind, mode, error, n)) is not None:
            if fault:
                faults.append(f"call {n}: {fault}")
            count += 1
            n += 1 if kind != "malloc" else max(n // (20 if EVERYTHING else 4), 1)
        return count, faults


class FailuresTest(unittest.TestCase):
    def test_ends_honestly_whatever_call_fails(self):
        verbs = os.environ.get("FAILURES_VERBS", ",".join(VERBS if EVERYTHING else SHORT)).split(",")
        reached = {}
        with tempfile.TemporaryDirectory() as name, concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            scenes = {verb: Scene(verb, pathlib.Path(name, verb.replace(" ", "-"))) for verb in verbs}
            jobs = [(verb, case, pool.submit(scenes[verb].walk, *case)) for verb in verbs for case in plan(verb)]
            for verb, case, job in jobs:
                with self.subTest(verb=verb, case=" ".join(case)):
                    count, faults = job.result()
                    reached[case[0]] = reached.get(case[0], 0) + count
                    self.assertFalse(faults, "\n".join(faults))
        print("calls that failed:", reached)
        self.assertTrue(all(reached.values()) or EVERYTHING, reached)


if __name__ == "__main__":
    unittest.main()
