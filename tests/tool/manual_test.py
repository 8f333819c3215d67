"""The manual, and what the shells complete."""

import fcntl
import os
import pty
import re
import subprocess
import termios
import time

from support import SOURCE, TOOL, ToolTest, collection, item

COMPLETIONS = SOURCE / "tools/tessaron/completions"
SHELLS = {
    "bash": (["bash", "--norc", "-i"], f"source {COMPLETIONS}/tessaron.bash"),
    "zsh": (["zsh", "-f", "-i"], f"fpath=({COMPLETIONS} $fpath); autoload -U compinit; compinit -u -D"),
    "fish": (["fish", "--no-config", "-i"], f"source {COMPLETIONS}/tessaron.fish"),
}


def options(text):
    return set(re.findall(r"(?<![\w-])--?[a-z][a-z-]*", text))


class Manual(ToolTest):
    def verbs(self, *path):
        """The verbs that --help lists, inner ones too, as tuples."""
        for line in re.findall(r"^  ([a-z]+) {2,}\w", self.tool(*path, "--help").out.split("\nOptions:")[1], re.M):
            yield (*path, line)
            if "SUBCOMMAND" in self.tool(*path, line, "--help").out:
                yield from self.verbs(*path, line)

    def test_pages_and_help_tell_of_the_same(self):
        self.tool("help", "--pages", "pages")
        verbs = list(self.verbs())
        pages = {path.stem for path in self.folder.glob("pages/man1/*")}
        self.assertEqual(pages, {"tessaron", *("tessaron-" + verb[0] for verb in verbs)})
        for verb in verbs:
            with self.subTest(verb):
                page = self.tool("help", verb[0]).out
                part = page.split("\nOPTIONS\n")[1].split("\nEXAMPLES\n")
                if len(verb) > 1:
                    part[0] = re.split(r"\n   tessaron .*\n", part[0].split("   tessaron " + " ".join(verb) + "\n")[1])[0]
                else:
                    part[0] = part[0].split("\n   tessaron ")[0]
                told = options("\n".join(re.findall(r"^       (-.*)", part[0], re.M)))
                listed = options("\n".join(re.findall(r"^  (-\S+)", self.tool(*verb, "--help").out, re.M)))
                self.assertEqual(told, listed)
                shown = re.findall(r"^ {11}.*\btessaron (.*)", page.split("\nEXAMPLES\n")[1], re.M)
                self.assertTrue(shown)
                allowed = options(page) | {"-q"}
                for line in shown:
                    if line.split()[0] == verb[0]:
                        used = re.sub(r"'[^']*'|\| .*|\"?\$\(.*?\)\"?|[a-z]+:\S+", "", line)
                        self.assertLessEqual(options(used) - {"-added"}, allowed, line)

    def test_man_renders_each_page(self):
        self.tool("help", "--pages", "pages")
        for path in sorted(self.folder.glob("pages/*/*")):
            done = subprocess.run(["man", "--warnings=w", "-l", path], capture_output=True, text=True,
                                  env={**os.environ, "MANWIDTH": "80", "MAN_KEEP_FORMATTING": ""}, check=True)
            self.assertEqual(done.stderr, "", path)
            self.assertRegex(done.stdout, rf"\n *{path.stem} - \S")
        on_terminal = self.on_terminal("help", "list", width=80, env={"MANPAGER": "cat", "PAGER": "cat", "TERM": "dumb"})
        self.assertIn("LIST(1)", on_terminal)
        plain = self.on_terminal("help", "list", width=80, env={"PATH": "/nonexistent", "PAGER": "/bin/cat"})
        self.assertIn("--columns", plain)
        self.assertNotIn("LIST(1)", plain)
        self.assertEqual(self.tool("help", "--man").out, (self.folder / "pages/man1/tessaron.1").read_text())


class Completion(ToolTest):
    ROWS = [
        ("tessaron dupl\t", ["duplicates"]),
        ("tessaron list --colu\ttitle", ["list", "--columns", "title"]),
        ("tessaron show -c c.xml cart\t", ["show", "-c", "c.xml", "Cartographer's \"Rain\", The $x"]),
        ("tessaron show -c c.xml \"salt r\t", ["show", "-c", "c.xml", "Salt Roads"]),
        ("tessaron show -c c.xml K2\t", ["show", "-c", "c.xml", "K2"]),
        ("tessaron stats --by=pub\tgroup:book", ["stats", "--by=publisher", "group:book"]),
        ("tessaron settings set Collat\t2", ["settings", "set", "CollationOption", "2"]),
        ("tessaron import with\t", ["import", "with blank.xml"]),
        ("tessaron theme unpack x the\t", ["theme", "unpack", "x", "themes"]),
    ]

    def test_real_shells_complete(self):
        self.write("c.xml", collection(item("K1", "Cartographer's \"Rain\", The $x"), item("K2", "Salt Roads"),
                                       item("K3", "Sea"), item("K4", "Sea")))
        self.write("with blank.xml", "")
        (self.folder / "themes").mkdir()
        (self.folder / "bin").mkdir()
        program = self.write("bin/tessaron", f"""#!/bin/sh
[ "$1" != complete ] || exec {TOOL} "$@"
printf '%s\\n' "$@" > "{self.folder}/arguments.new"
mv "{self.folder}/arguments.new" "{self.folder}/arguments"
""")
        program.chmod(0o755)
        for shell, (command, setup) in SHELLS.items():
            with self.subTest(shell):
                typed, meant = zip(*self.ROWS)
                self.assertEqual(self.typed(command, setup, typed), list(meant))

    def typed(self, command, setup, lines):
        """The arguments that the program gets when the lines are typed into a shell."""
        environment = {**os.environ, "PATH": f"{self.folder}/bin:{os.environ['PATH']}", "HOME": str(self.folder),
                       "TERM": "xterm", "PS1": "$ "}
        ours, theirs = pty.openpty()
        shell = subprocess.Popen(command, stdin=theirs, stdout=theirs, stderr=theirs, cwd=self.folder,
                                 env=environment, start_new_session=True,
                                 preexec_fn=lambda: fcntl.ioctl(theirs, termios.TIOCSCTTY))
        os.close(theirs)
        os.set_blocking(ours, False)
        got, seen = [], b""

        def wait(ready):
            nonlocal seen
            end = time.monotonic() + 20
            while not ready():
                try:
                    seen += os.read(ours, 4096)
                except OSError:  # nothing there yet, or the shell has ended
                    time.sleep(0.02)
                self.assertLess(time.monotonic(), end, f"{command[0]}: {seen.decode(errors='replace')}")

        arguments, prepared = self.folder / "arguments", self.folder / "prepared"
        try:
            os.write(ours, f"{setup}; echo > prepared\r".encode())
            wait(prepared.exists)
            for line in lines:
                os.write(ours, line.encode())
                os.write(ours, b"\r")
                wait(arguments.exists)
                got.append(arguments.read_text().replace("/\n", "\n").splitlines())  # zsh removes the slash
                arguments.unlink()
        finally:
            prepared.unlink(missing_ok=True)
            shell.kill()
            shell.wait()
            os.close(ours)
        return got

    def test_tells_what_can_follow(self):
        self.write("c.xml", collection(*(item(f"K{i}", f"Sea &amp; {i % 2}") for i in range(4)), item("Z", "-x\u202e")))
        rows = [
            (["list", "--status=bo"], "words --status=borrowed"),
            (["lend", "x", "--until", "to"], "words today tomorrow"),
            (["list", "--columns", "title,publis"], "words title,Publisher title,published"),
            (["show", "-cc.xml", "sea & 1"], "words Sea & 1 K3"),
            (["show", "-c", "c.xml", "--", "-x"], "words Z"),
            (["show", "-c", "none.xml", "x"], "words"),
            (["undo", "1", ""], "words"),
            (["nonsense", "--", "x"], "words"),
            (["export", "-o", ""], "files"),
            (["help", "coll"], "words collection"),
        ]
        for words, expected in rows:
            with self.subTest(words):
                out = self.tool("complete", "--", *words).out
                self.assertEqual(" ".join(line.split("\t")[0] for line in out.splitlines()), expected)
