# Makes the n-th call of each kind fail, or kills the program there, for n = 1, 2, ... until none is reached: the exit
# code is honest, each file is the old or the new one, nothing stays beside it. With FAILURES=all every verb that
# writes goes through all kinds (FAILURES_VERBS names some of them); without, a few verbs through some of them.

import concurrent.futures
import errno
import os
import pathlib
import re
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
SAMPLES = SOURCE / "tests/catalogue/samples"
ONE = "shelf.xml EXB0000001"
CONTACT = "settings set AccountEmail me@example.org"
LIST = "settings list --json"
# Edits, which undo takes back: the collection is shelf.xml.
EDITS = {
    "set": (f"set -c {ONE} --status lent --target Mira --from 2005-09-01", ""),
    "set by title": ("set -c shelf.xml tides horloger --notes x", ""),
    "add": ("add -c shelf.xml --title Other --isbn 0261102214", ""),
    "edit": (f"edit -c {ONE}", ""),
    "remove": (f"remove -c {ONE}", ""),
    "lend": (f"lend -c {ONE} --to Mira --since 2005-09-01", ""),
    "borrow": (f"borrow -c {ONE} --from Mira --since 2005-09-01", ""),
    "merge": ("merge -c shelf.xml other.xml", ""),
    "link": (f"link -c {ONE} other.json", ""),
    **{"import " + name: (f"import -c shelf.xml {path}", "") for name, path in (
        ("response", EXAMPLES / "response_v3.xml"), ("json", "other.json"), ("csv", EXAMPLES / "goodreads.csv"),
        ("tsv", SAMPLES / "librarything.tsv"), ("tellico", SAMPLES / "tellico.xml"),
        ("packed", SAMPLES / "music.tc"), ("folders", SAMPLES / "library"))},
}
# What a verb is called with, where its file has no fixed bytes what tells of its content, and what is done before.
VERBS = {
    **EDITS,
    "add new": ("add -c new.xml --title Other --isbn 0261102214", ""),
    "import new": (f"import -c new.xml {EXAMPLES}/response_v3.xml", ""),
    "return": (f"return -c {ONE} --on 2005-10-01", "", f"lend -c {ONE} --to Mira --since 2005-09-01"),
    "undo": ("undo -c shelf.xml", "", f"remove -c {ONE}"),
    "redo": ("undo -c shelf.xml --redo", "", f"remove -c {ONE}", "undo -c shelf.xml"),
    "duplicates": ("duplicates -c twins.xml --merge", ""),
    "recover": ("recover cut.xml -o saved.xml", ""),
    "export": ("export -c shelf.xml --html -o page.html", ""),
    "list": ("list -c shelf.xml --json -o list.json", ""),
    "chart": ("chart shares --png -o chart.png", ""),
    "scan": (f"scan {EXAMPLES} --xml -o scan.xml", ""),
    "use": ("use shelf.xml", "use"),
    "settings get": ("settings get ViewType", LIST),
    "settings set": (CONTACT, LIST),
    "settings new": (CONTACT, LIST),
    "settings reset": ("settings reset", LIST),
    "cache put": (f"cache put c.db {SOURCE}/docs/export.png --key {'01' * 16}", "cache list c.db --json"),
    "cache repair": ("cache repair cut.db", "cache list cut.db --json"),
    "covers attach": (f"covers attach -c {ONE} {SOURCE}/docs/statusbar.png", "cache list ImageCache.db --json"),
    "theme pack": (f"theme pack t.tpk {EXAMPLES}/themes/default", ""),
    "theme unpack": ("theme unpack theme.tpk out", ""),
    "CRecordSet": ("CALLS save", ""),
    "Config": ("CALLS change", LIST),
    "CRegKeyEx": ("CALLS value", LIST),
    "CPackage": ("CALLS unpack", ""),
    "CImageCacheMan": ("CALLS cache", "cache list c.db --json"),
}
TRANSFERS = ("read", "pread", "write", "pwrite")
KINDS = ("open", *TRANSFERS, "stream", "fsync", "rename", "change", "flock", "setlk", "mmap", "malloc")
CUT = ("any", "record", "EIO")
SHORT = {
    "set": [("write", "once", "ENOSPC"), ("rename", "kill", "EIO"), ("read", "always", "short"),
            ("fsync", "once", "EINTR"), ("malloc", "always", "ENOMEM"), CUT],
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
    yield "any", "kill", "EIO"
    yield CUT


# Operations that a program did, as the shim recorded them: name, file, offset, paths, bytes. A file is its inode
# and how often that was taken before.
def read_record(text):
    generations, at = {}, 0
    while at < len(text):
        end = text.index(b"\n", at)
        name, inode, offset, size, path, other = text[at:end].decode().split("\t")
        at = end + 1 + int(size)
        generations[inode] = generations.get(inode, 0) + (name == "create")
        folders = (path and os.path.normpath(path), other and os.path.normpath(other))
        yield name, (int(inode), generations[inode]), int(offset), *folders, text[end + 1:at]


# What a disk holds after some of the operations: files by their paths. What needs a lost one does not happen.
def replay(files, names, operations):
    files, names = {key: bytearray(text) for key, text in files.items()}, dict(names)
    for name, key, offset, path, other, data in operations:
        file = files.setdefault(key, bytearray())
        if name == "truncate":
            file[:] = file[:offset].ljust(offset, b"\0")
        elif name == "write":
            file[:] = file.ljust(offset, b"\0")[:offset] + data + file[offset + len(data):]
        elif name in ("create", "link") and path:
            names[path] = key
        elif name == "remove":
            names.pop(path, None)
        elif name == "rename":
            moved = {old: key for old, key in names.items() if old == path or old.startswith(path + "/")}
            names = {old: key for old, key in names.items() if old not in moved}
            names.update({other + old[len(path):]: key for old, key in moved.items()})
    return {path: bytes(files[key]) for path, key in names.items()}


# What a power cut may leave: after each operation, what was not flushed is lost, or there, or but one of it; only
# data, only names, only the first of it, and half of the last write. Of many operations some are tried.
def remains(files, names, operations):
    def is_flushed(i, end):
        name, key, _, path, other, _ = operations[i]
        folder = os.path.dirname(other or path)
        return name in ("folder", "sync") or name == "create" and not path or any(
            later[0] == "sync" and (later[1] == key if name in ("write", "truncate") else later[3] == folder)
            for later in operations[i + 1:end])
    seen = set()
    for end in {*range(0, len(operations), len(operations) // 100 + 1), len(operations)}:
        flushed = {i for i in range(end) if is_flushed(i, end)}
        open_ = [i for i in range(end) if i not in flushed]
        data = [i for i in open_ if operations[i][0] in ("write", "truncate")]
        choices = [open_, data, [i for i in open_ if i not in data], [i for i in open_ if i + 1 < end]]
        some = open_[::len(open_) // 10 + 1]
        choices += [[i for i in open_ if i < lost] for lost in some] + [[i] for i in some] + [
            [i for i in open_ if i != lost] for lost in some]
        for half in (False, True):
            for choice in choices:
                done = [operations[i] for i in sorted(flushed.union(choice))]
                if half and (not done or done[-1][0] != "write"):
                    continue
                if half:
                    done[-1] = (*done[-1][:5], done[-1][5][:len(done[-1][5]) // 2])
                found = replay(files, names, done)
                if (key := hash(frozenset(found.items()))) not in seen:
                    seen.add(key)
                    yield found


# What a verb finds, and what it makes of that when nothing fails.
class Scene:
    def __init__(self, verb, folder):
        self.command, self.reader, *self.first = (text.split() for text in VERBS[verb])
        self.isPartial = verb in ("scan", "theme unpack", "import folders", "CPackage")  # what cannot be read is left out, and told
        self.isDrawn = verb == "chart"
        self.isEdit, self.isInPlace = verb in EDITS, verb == "CImageCacheMan"
        self.folder = folder
        self.before = folder / "before"
        for name in ("config", "out", "tmp"):
            (self.before / name).mkdir(parents=True)
        self.make("import", "-c", "shelf.xml", EXAMPLES / "response.xml")
        self.make("import", "-c", "other.xml", EXAMPLES / "response_v3.xml")
        self.make("export", "-c", "other.xml", "--json", "-o", "other.json")
        for _ in range(2):
            self.make("add", "-c", "twins.xml", "--again", "--title", "Twin", "--isbn", "0261102214")
        self.make("theme", "pack", "theme.tpk", EXAMPLES / "themes/default")
        self.make("cache", "put", "c.db", SOURCE / "docs/statusbar.png", "--key", "ab" * 16)
        if verb != "settings new":
            self.make("settings", "set", "ViewType", "3")
        (self.before / "cut.xml").write_bytes((self.before / "shelf.xml").read_bytes()[:-300])
        (self.before / "cut.db").write_bytes((self.before / "c.db").read_bytes() + b"cut")
        (self.before / "shares").write_text("Books\t3\t3\nMusic\t2\t2\n")
        for name in ("page.html", "chart.png", "scan.xml", "t.tpk", "list.json"):
            (self.before / name).write_text("the old file")
        shutil.rmtree(self.before / "state")
        after = self.copy("after")
        self.old = self.content(after)
        self.done = self.run(after)
        self.done.check_returncode()
        self.new = self.content(after)

    def make(self, *command, folder=None):
        self.run(folder or self.before, command=command).check_returncode()

    def copy(self, name):
        folder = pathlib.Path(shutil.copytree(self.before, self.folder / name))
        for command in self.first:
            self.make(*command, folder=folder)
        return folder

    def run(self, folder, failure="", command=None, **options):
        environment = dict(os.environ, LC_ALL="C.UTF-8", TESSARON_SETTINGS=str(folder / "config/settings.db"),
                           TESSARON_HOME=str(folder / "home"), XDG_RUNTIME_DIR=str(self.folder), TMPDIR=str(folder / "tmp"),
                           XDG_STATE_HOME=str(folder / "state"), VISUAL="sed -i 's/^Title:.*/Title: Changed/'")
        if failure:
            environment.update(FAILURE=failure, LD_PRELOAD=os.environ["SHIM"])
        if self.command[0] == "edit" or (self.isPartial and " kill " in failure):
            environment.update(FAILURE_ALONE="1")  # the editor works, and so do processes whose files would be left out
        words = [TOOL, *map(str, command or self.command)]
        if words[1] == "CALLS":
            words[:2] = [os.environ["CALLS"]]
        done = subprocess.run(words, cwd=folder, env=environment, capture_output=True, check=False, timeout=120, **options)
        done.stdout = done.stdout.replace(str(folder).encode(), b"@")
        return done

    # All files by their names; those that a reader tells of, by what it tells. Of the history that undo reads no more
    # than what does not belong there.
    def content(self, folder):
        told = {"": self.run(folder, command=self.reader).stdout} if self.reader else {}
        for path in folder.rglob("*"):
            name = str(path.relative_to(folder))
            if path.is_file() and not re.fullmatch(r"state/.*/history/[0-9a-f]{16}/\d{10}\.(edit|part)", name):
                told[name] = b"" if self.reader and path.suffix == ".db" else path.read_bytes()
        return told

    # Whether each file is the old or the new one, and no other is there.
    def is_whole(self, found, isDone):
        known = self.old | self.new
        if self.isDrawn and found.get("chart.png", b"").endswith(b"IEND\xaeB`\x82"):  # in another font
            found = found | {"chart.png": self.new["chart.png"]}
        return all(name in found for name in self.old if name in self.new) and all(
            name in known and (self.isInPlace or text in (self.old.get(name), self.new.get(name))
                               or self.isPartial and not isDone)
            for name, text in found.items())

    # What is wrong with what a program left that was killed: nothing when its files are whole, the verb or undo
    # can go on, and what was left beside them is gone then.
    def aftermath(self, folder):
        found = self.content(folder)
        isNew = all(found.get(name) == text for name, text in self.new.items())
        again = self.run(folder, command=("undo", "-c", "shelf.xml") if isNew and self.isEdit else None)
        after = self.content(folder)
        if again.returncode != 0 and not isNew or isNew and self.isEdit and after["shelf.xml"] != self.old["shelf.xml"]:
            return f"it cannot go on: {again.returncode} {again.stderr.decode()}"
        if stray := {name for name in set(after) - set(self.new) if not name.startswith("tmp/")}:
            return f"{stray} stay"
        found = {name: text for name, text in found.items() if name in self.old | self.new}
        return "" if self.is_whole(found, True) else f"the file is damaged: {sorted(found)}"

    # What is wrong after a power cut. Yields an empty text for what is whole.
    def cut(self):
        folder = self.copy("cut")
        files, names = {}, {}
        for path in folder.rglob("*"):
            if path.is_file():
                names[str(path)] = key = (path.stat().st_ino, 0)
                files[key] = path.read_bytes()
        with tempfile.TemporaryFile() as log:
            self.run(folder, f"any 0 record 0 {log.fileno()}", pass_fds=(log.fileno(),)).check_returncode()
            log.seek(0)
            operations = list(read_record(log.read()))
        for number, found in enumerate(remains(files, names, operations)):
            shutil.rmtree(folder)
            for name in ("config", "out", "tmp"):
                (folder / name).mkdir(parents=True)
            for name, text in found.items():
                path = pathlib.Path(name)
                if folder in path.parents:
                    path.parent.mkdir(parents=True, exist_ok=True)
                    path.write_bytes(text)
            fault = self.aftermath(folder)
            yield fault and f"state {number}: {fault}"

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
        if not isReached:
            shutil.rmtree(folder)
            return None
        fault = self.aftermath(folder) if mode == "kill" else self.verdict(folder, done, error, kind, mode)
        shutil.rmtree(folder)
        return fault

    def verdict(self, folder, done, error, kind, mode):
        found = self.content(folder)
        message = f"{done.returncode}: {done.stderr.decode()}"
        # Goes with the next change, as where nothing can be deleted or memory is missing for that.
        if "config/settings.db-journal" in found or (
                error == "ENOMEM" or kind in ("change", "flock")) and any("~tmp~" in name or ".tmp" in name for name in found):
            return self.aftermath(folder)
        isMute = (kind, mode, done.stderr) == ("write", "always", b"")  # nothing can be told, either
        isKept = "your text is kept in" in message or isMute and self.command[0] == "edit"
        if kind == "change" or isKept:  # it cannot be deleted, or is not meant to be
            found = {name: text for name, text in found.items() if not name.startswith("tmp/")}
        if not self.is_whole(found, done.returncode == 0):
            return f"the file is damaged, or a file stays: {sorted(found)}, {message}"
        if done.returncode == 0:
            same = self.isInPlace or self.isDrawn or (found, done.stdout) == (self.new, self.done.stdout)
            return "" if same else f"the result is not whole: {message}"
        if error in ("EINTR", "short") and kind != "fsync":
            return f"it had only to go on: {message}"
        codes = (*CODES, *(1,) * (error == "ENOMEM" or self.isPartial))
        return "" if done.returncode in codes and (b"tessaron: " in done.stderr or isMute) else message

    # How many calls there are, and what is wrong with each; of many allocations fewer and fewer are tried.
    def walk(self, kind, mode, error):
        if mode == "record":
            found = list(self.cut())
            return len(found), [fault for fault in found if fault]
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
