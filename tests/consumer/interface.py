#!/usr/bin/env python3
"""Checks that the library exports every function that an installed header declares, and that the
page about the interface names every header.

    interface.py BUILD-DIR INCLUDE-DIR LIBRARY [TOOL-PREFIX]

BUILD-DIR is the consumer's, whose compile command is used; INCLUDE-DIR holds tessaron/tessaron.h;
LIBRARY is the shared library, on Windows its import library. The declarations are taken from the
compiler's debug information: those of members are in it for every class, those of free functions
for every name that a using-declaration imports.
"""

import json
import pathlib
import re
import shlex
import subprocess
import sys

BUILD, INCLUDE, LIBRARY = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
PREFIX = sys.argv[4] if len(sys.argv) > 4 else ""
HEADERS = INCLUDE / "tessaron"
PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs/interface.md"
DEBUG = ["-g", "-gdwarf-4", "-O0", "-fkeep-inline-functions", "-fno-eliminate-unused-debug-types"]


def run(*command):
    result = subprocess.run(command, capture_output=True, text=True, cwd=BUILD)
    if result.returncode != 0:
        raise SystemExit(f"{command[0]} failed:\n{result.stderr}")
    return result.stdout


def compile_command():
    """The consumer's compiler and its options, without input and output."""
    entry, = (entry for entry in json.loads((BUILD / "compile_commands.json").read_text())
              if entry["file"].endswith("consumer.cpp"))
    words = shlex.split(entry["command"])
    at = words.index("-o")
    return [word for word in words[:at] + words[at + 2:] if word not in ("-c", entry["file"])]


def candidates():
    """Every identifier of the headers that a parenthesis follows, in both namespaces."""
    texts = (re.sub(r"//.*|/\*.*?\*/", "", header.read_text()) for header in HEADERS.rglob("*.h"))
    names = {name for text in texts for name in re.findall(r"\b([A-Za-z_]\w*)\s*\(", text)}
    return [f"{scope}::{name}" for name in sorted(names) for scope in ("", "tessaron")]


def write_probe(source, names):
    lines = ["#include <tessaron/tessaron.h>"]
    lines += [f"namespace probe{i} {{ using {name}; }}" for i, name in enumerate(names)]
    source.write_text("\n".join(lines) + "\n")


def probe():
    """Compiles a source that imports every free function; returns the object file."""
    source, compiled = BUILD / "probe.cpp", BUILD / "probe.o"
    command = compile_command()
    names = candidates()
    write_probe(source, names)
    result = subprocess.run([*command, "-fsyntax-only", "-fmax-errors=0", source], text=True,
                            capture_output=True, cwd=BUILD)
    # The candidates that are no names of a namespace are members, macros, or calls in a body.
    wrong = {int(line) for line in re.findall(rf"^{re.escape(str(source))}:(\d+):\d+: error",
                                              result.stderr, re.MULTILINE)}
    write_probe(source, [name for i, name in enumerate(names) if i + 2 not in wrong])
    run(*command, *DEBUG, "-c", str(source), "-o", str(compiled))
    return compiled


def file_numbers(compiled):
    """The numbers of our headers in the debug information's table of files."""
    raw = run(f"{PREFIX}objdump", "--dwarf=rawline", str(compiled))
    folders, files = (dict((int(number), rest) for number, rest in re.findall(
        r"^\s+(\d+)\t(.*)$", raw.split(title, 1)[1].split("\n\n", 1)[0], re.MULTILINE))
                      for title in ("The Directory Table", "The File Name Table"))
    rows = ((number, row.split("\t")) for number, row in files.items())
    return {number for number, (folder, _, _, name) in rows
            if (BUILD / folders.get(int(folder), "") / name).resolve().is_relative_to(HEADERS)}


def declared(compiled):
    """The mangled names of the functions that our headers declare and something must define."""
    ours = file_numbers(compiled)
    found = set()
    text = run(f"{PREFIX}objdump", "--dwarf=info", str(compiled))
    for entry in re.split(r"^ *<[0-9a-f]+><[0-9a-f]+>: ", text, flags=re.MULTILINE):
        if "(DW_TAG_subprogram)" not in entry.split("\n", 1)[0]:
            continue
        values = {key: value.rsplit(": ", 1)[-1].strip() for key, value in re.findall(
            r"DW_AT_(\w+)\s*:\s*(.*)$", entry, re.MULTILINE)}
        name = values.get("linkage_name") or values.get("MIPS_linkage_name")
        is_pure = values.get("virtuality", "").startswith("2")
        if not name or is_pure or "deleted" in values or "defaulted" in values:
            continue
        if int(values.get("decl_file", "0").split()[0]) in ours:
            found.add(re.sub(r"([CD])4(?=E)", r"\g<1>1", name))
    return found


def defined(*arguments):
    """The global symbols that a file defines."""
    lines = run(f"{PREFIX}nm", "-g", "--defined-only", *arguments).splitlines()
    symbols = {line.split()[-1].split("@")[0] for line in lines if " " in line}
    # There every symbol begins with one more underscore.
    return {symbol.removeprefix("_") for symbol in symbols} if PREFIX.startswith("i686") else symbols


def check_page():
    text = PAGE.read_text()
    everywhere, windows = (set(re.findall(r"`(\w+/[\w/]+\.h)`", part))
                           for part in text.split("## On Windows only"))
    installed = {str(path.relative_to(HEADERS)) for path in HEADERS.glob("*/**/*.h")}
    named = (everywhere | windows if PREFIX else everywhere) - {"tessaron/tessaron.h"}
    if installed != named:
        raise SystemExit(f"{PAGE.name} and the installed headers differ in "
                         f"{', '.join(sorted(installed ^ named))}")


def main():
    check_page()
    compiled = probe()
    functions = declared(compiled)
    dynamic = ["-D"] if ".so" in LIBRARY.name else []
    missing = sorted(functions - defined(str(compiled)) - defined(*dynamic, str(LIBRARY)))
    if len(functions) < 300:
        raise SystemExit(f"only {len(functions)} functions were found in {HEADERS}")
    names = run("c++filt", *missing).splitlines() if missing else []
    # Whoever uses a class template instantiates it.
    names = [name for name in names if "<" not in name.split("(")[0].replace("operator<", "")]
    if names:
        raise SystemExit("\n".join(["declared in an installed header, but not exported:", *names]))


main()
