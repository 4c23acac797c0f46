"""Builds the library again with one file changed: that file's objects are compiled, the others stay as they are."""

import hashlib
import json
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
import re
import shlex
import subprocess

# A changed text may keep the compiler busy for ever, too.
LIMITED = ["prlimit", f"--as={4 << 30}", "--cpu=60"]
# Warnings are no errors here, and an object holds no line numbers.
FLAGS = ["-w"]
# With the optimiser on, two texts that mean the same mostly give the same object; it may not take for granted that a
# changed text is free of undefined behaviour.
OPTIMISED = ["-O2", "-fwrapv", "-fno-strict-aliasing", "-fno-finite-loops", "-fno-aggressive-loop-optimizations",
             "-fno-delete-null-pointer-checks"]


class DoesNotBuild(Exception):
    pass


def run_tool(command, folder):
    done = subprocess.run(LIMITED + command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=False,
                          stderr=subprocess.STDOUT, text=True, errors="replace")
    if done.returncode != 0:
        raise DoesNotBuild(done.stdout)


class Unit:
    """One file that is compiled, and how."""

    def __init__(self, entry, flags):
        words = shlex.split(entry["command"])
        self.folder = entry["directory"]
        self.path = Path(entry["file"])
        self.object = words[words.index("-o") + 1]
        left_out = {words.index(flag) + further for flag in ("-o", "-c") for further in (0, 1)}
        words = [word for index, word in enumerate(words) if index not in left_out and not re.match("-[gOW]", word)]
        self.compiler, *self.flags = words
        self.more_flags = FLAGS + flags
        self.depends_on = ()

    def run_compiler(self, before, *arguments):
        run_tool([self.compiler, *before, *self.flags, *self.more_flags, *map(str, arguments)], self.folder)

    def compile(self, source, target, before):
        self.run_compiler(before, "-c", source, "-o", target)

    def precompile(self, header):
        """What the file includes: reading it takes longer than all the rest."""
        lines = self.path.read_text(encoding="utf-8").splitlines()
        header.write_text("\n".join(line for line in lines if line.startswith("#include")) + "\n", encoding="utf-8")
        self.run_compiler([], "-x", "c++-header", header, "-o", f"{header}.gch")

    def compile_as_it_is(self, target):
        """Remembers what it includes."""
        makefile = target.with_suffix(".d")
        self.run_compiler([], "-MMD", "-MF", makefile, "-c", self.path, "-o", target)
        words = makefile.read_text().replace("\\\n", " ").split(":", 1)[1].split()
        self.depends_on = {Path(word) for word in words}


class Library:
    def __init__(self, build, name, sources, folder, flags):
        self.build, self.sources, self.folder = Path(build).resolve(), Path(sources).resolve(), folder
        self.link_words = self.find_link_command(name)
        compiled = json.loads((self.build / "compile_commands.json").read_text())
        units = [Unit(entry, flags) for entry in compiled if "command" in entry]
        linked = set(self.link_words)
        self.units = [unit for unit in units if unit.object in linked]
        self.base = {unit.object: folder / "base" / unit.object.replace("/", "_") for unit in self.units}
        soname = [word for word in self.link_words if word.startswith("-Wl,-soname,")]
        self.file_name = soname[0].split(",")[2] if soname else Path(name).name

    def find_link_command(self, name):
        commands = subprocess.run(["ninja", "-C", str(self.build), "-t", "commands", name], check=True, text=True,
                                  stdout=subprocess.PIPE).stdout
        *_, command = [line for line in commands.splitlines() if " -shared " in line]
        return [word for word in shlex.split(command) if word not in (":", "&&")]

    def build_base(self, workers):
        (self.folder / "base").mkdir(parents=True, exist_ok=True)
        with ThreadPoolExecutor(workers) as pool:
            list(pool.map(lambda unit: unit.compile_as_it_is(self.base[unit.object]), self.units))

    def files(self):
        """The library's own sources and headers."""
        seen = {unit.path for unit in self.units}.union(*(unit.depends_on for unit in self.units))
        return sorted(path for path in seen if path.suffix in (".cpp", ".h") and path.is_relative_to(self.sources))

    def dependents(self, path):
        return [unit for unit in self.units if path in unit.depends_on]

    def precompile(self, path):
        """For the file that is changed next."""
        for unit in self.units:
            if unit.path == path:
                unit.precompile(self.folder / "prefix.h")

    def link(self, objects, target):
        replaced = {name: str(objects.get(name, self.base[name])) for name in self.base}
        words = [replaced.get(word, word) for word in self.link_words]
        words[words.index("-o") + 1] = str(target)
        run_tool(words, self.build)


class Bench:
    """One worker's own place: the changed file, its objects, the library that is made of them."""

    def __init__(self, library, number):
        self.library = library
        self.folder = library.folder / f"worker-{number}"
        self.changed = self.folder / "changed"
        self.objects = self.folder / "objects"
        self.lib = self.folder / "lib"
        for folder in (self.changed, self.objects, self.lib):
            folder.mkdir(parents=True, exist_ok=True)

    def compile(self, path, text):
        """The objects of every unit that the file is part of, and a sum over them."""
        copy = self.changed / path.relative_to(self.library.sources)
        copy.parent.mkdir(parents=True, exist_ok=True)
        copy.write_bytes(text)
        objects, total = {}, hashlib.sha256()
        try:
            for unit in self.library.dependents(path):
                target = self.objects / unit.object.replace("/", "_")
                if unit.path == path:
                    unit.compile(copy, target, ["-include", str(self.library.folder / "prefix.h")])
                else:
                    unit.compile(unit.path, target, ["-I" + str(self.changed)])
                total.update(target.read_bytes())
                objects[unit.object] = target
        finally:
            copy.unlink()
        return objects, total.hexdigest()

    def link(self, objects):
        self.library.link(objects, self.lib / self.library.file_name)
