#!/usr/bin/env python3
"""Mutation testing: makes one small change in the sources at a time, and runs the tests that reach it.

usage: mutation.py [options] ROOT WORK FOLDER ...

ROOT is a CMake project; its tests in CTest are Qt Test programs whose names begin with "tst_". Mutates the C++ sources of each
FOLDER (relative to ROOT), without its subfolders. Nothing is written to ROOT: WORK has a copy of it, the build of the copy, what
the tests reach, and results.jsonl, so that the next run continues. A result is valid as long as the mutated file is the same; a
survivor is tried again when a test has changed.

  --sample N        how many mutants are asked for, over all folders in proportion to their sizes (default: all of them)
  --seed S          which ones (default 1)
  --minutes M       stop after this time
  --kills P         percentage of mutants that the tests have to find (default 95)
  --equivalent FILE mutants that behave as the original, one line each: "FILE: OLD => NEW # REASON", as reported
  --source-test T   a test in CTest that reads the sources, for mutants that survive all others
  --configure ARG   further argument for CMake
  --match TEXT      only mutants with this text in their line
  --report          only shows what is known

A mutant that does not compile, or whose object files are those of the original, does not count. One whose test ends by a limit of
processor time counts as found by time-out. Memory is limited, too.
"""
import argparse
import bisect
import collections
import fcntl
import hashlib
import json
import math
import os
import pathlib
import re
import resource
import select
import shlex
import shutil
import signal
import subprocess
import sys
import time

import mutants

SUFFIXES = (".h", ".cpp", ".def")
MEMORY = 6 << 30
COMMON_FLAGS = "-O0"
BASE_FLAGS = "-gline-tables-only -fsanitize-coverage=inline-8bit-counters,pc-table,no-prune"
BATCH_SECONDS = (0.3, 1.0, 5.0)  # the first runs are short
MAX_OBJECTS = 20  # object files that are compiled for one mutant
MAX_TEST_SECONDS = 10.0  # of processor time, for one mutant


def sha(*parts):
    digest = hashlib.sha1()
    for part in parts:
        digest.update(part if isinstance(part, bytes) else str(part).encode())
        digest.update(b"\0")
    return digest.hexdigest()


def sha_of_file(path):
    return sha(pathlib.Path(path).read_bytes())


def run(command, **options):
    options = {"check": True, "capture_output": True, "text": True, **options}
    return subprocess.run(command, **options)


class Copy:
    """A copy of the project: edits of the project during a run, and an interrupted run, change nothing."""

    def __init__(self, root, folder):
        self.folder = folder
        listed = subprocess.run(["git", "-C", root, "ls-files", "-z", "-co", "--exclude-standard", "."], capture_output=True)
        names = listed.stdout.decode().split("\0") if listed.returncode == 0 else []
        names = {name for name in names if name and (root / name).is_file()}
        if not names:
            names = {str(path.relative_to(root)) for path in root.rglob("*") if path.is_file()}
        for name in names:
            source, target = root / name, folder / name
            if not target.exists() or source.read_bytes() != target.read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, target)
                os.utime(target)
        for path in folder.rglob("*"):
            if path.is_file() and str(path.relative_to(folder)) not in names:
                path.unlink()

    def sources(self, folders):
        for folder in folders:
            for path in sorted((self.folder / folder).iterdir()):
                if path.is_file() and (path.suffix in SUFFIXES):
                    yield folder, f"{folder}/{path.name}"


class Module:
    """A library or program: how it is linked, and from which object files."""

    def __init__(self, output, name, objects, used):
        self.output, self.name, self.objects, self.used = output, name, objects, used
        self.archive_objects = []
        self.command = None


class Build:
    def __init__(self, source, folder, arguments):
        self.source, self.folder = source, folder
        work = folder.parent
        reached = pathlib.Path(__file__).parent / "Reached.cpp"
        library = work / "libreach.so"
        if not library.exists() or library.stat().st_mtime < reached.stat().st_mtime:
            run(["clang++", "-std=c++17", "-O1", "-shared", "-fPIC", str(reached), "-o", str(library)])
        link = f"-fuse-ld=lld -fno-sanitize-link-runtime -L{work} -lreach -Wl,-rpath,{work}"
        command = [
            "cmake", "-S", str(source), "-B", str(folder), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
            "-DCMAKE_CXX_COMPILER=clang++", f"-DCMAKE_CXX_FLAGS={COMMON_FLAGS} {BASE_FLAGS}", "-DCMAKE_CXX_FLAGS_DEBUG=",
            f"-DCMAKE_SHARED_LINKER_FLAGS={link}", f"-DCMAKE_EXE_LINKER_FLAGS={link}",
            f"-DCMAKE_MODULE_LINKER_FLAGS={link}", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", *arguments,
        ]  # fmt: skip
        configured = work / "configured"
        if not configured.exists() or configured.read_text() != str(command):
            run(command)
            configured.write_text(str(command))
        subprocess.run(["ninja", "-C", str(folder), "-j2"], check=True, stdout=sys.stderr)
        self.read_modules()
        self.read_dependencies()
        self.compile_commands = {
            entry["output"] if "output" in entry else re.search(r" -o (\S+) -c ", entry["command"])[1]: shlex.split(entry["command"])
            for entry in json.loads((folder / "compile_commands.json").read_text())
        }
        self.originals = {}

    def ninja(self, *arguments):
        return run(["ninja", "-C", str(self.folder), *arguments]).stdout

    def read_modules(self):
        self.modules, archives = {}, {}
        soname = re.compile(r"^  SONAME = (\S+)$", re.M)
        for block in (self.folder / "build.ninja").read_text().split("\n\n"):
            match = re.search(r"^build (\S+)[^:\n]*: CXX_(STATIC|SHARED|MODULE|EXECUTABLE)_\S+ ([^|\n]*)([^\n]*)$", block, re.M)
            if not match:
                continue
            output, kind, objects, others = match.groups()
            objects = [name for name in objects.split() if name.endswith(".o")]
            if kind == "STATIC":
                archives[output] = objects
                continue
            name = soname.search(block)[1] if kind == "SHARED" else os.path.basename(output)
            self.modules[output] = Module(output, name, objects, others.split())
        for module in self.modules.values():
            module.archive_objects = [name for used in dict.fromkeys(module.used) for name in archives.get(used, [])]

    def read_dependencies(self):
        """{source file: object files made from it}"""
        self.users = collections.defaultdict(list)
        prefix = str(self.source) + "/"
        target = None
        for line in self.ninja("-t", "deps").splitlines():
            if line and not line.startswith(" "):
                target = line.split(":")[0]
            elif line.strip() and target.endswith(".o"):
                path = os.path.normpath(self.folder / line.strip())  # ccache makes relative ones
                if path.startswith(prefix):
                    self.users[path[len(prefix):]].append(target)

    def libraries_of(self, output):
        return sorted(name for name in self.modules[output].used if name in self.modules)

    def system_headers(self, sources):
        """What the sources include of other projects."""
        own = {"include", "service", "qtpromise"} | {path.name for path in self.source.iterdir() if path.is_dir()}
        found = set()
        for name in sources:
            for header in re.findall(r"^#include <([^>]*)>", name.read_text(encoding="utf-8"), re.M):
                first = header.split("/")[0]
                if first in own or first in ("Correction", "hwy", "QtPromise") or (self.source / "include" / header).exists():
                    continue
                found.add(f"#include <{header}>")
        return sorted(found)

    def precompiled(self, command, flags, is_own):
        """A precompiled header for compiling an object file: of all that its source includes, or of what others provide."""
        source = pathlib.Path(command[-1])
        if is_own:
            lines = []
            for line in source.read_text(encoding="utf-8").splitlines():
                if line.startswith("#include "):
                    lines.append(re.sub(r'"([^"/]*)"', lambda m: f'"{source.parent / m[1]}"', line))
                elif line.startswith("#"):
                    break
            lines = [line for line in lines if "hwy/" not in line and ".moc" not in line and ".def" not in line]
        else:
            used = [self.source / name for name, objects in self.users.items() if command[-3] in objects]
            lines = self.system_headers(used)
        if not lines:
            return []
        name = sha(*flags, *lines)
        header = self.folder.parent / "headers" / f"{name}.h"
        # Its own headers may have changed since.
        stamp = sha(*[sha_of_file(self.source / n) for n, o in sorted(self.users.items()) if command[-3] in o]) if is_own else ""
        compiled = header.with_suffix(f".{stamp[:12]}.pch")
        if not compiled.exists():
            header.parent.mkdir(parents=True, exist_ok=True)
            for old in header.parent.glob(f"{name}.*.pch"):
                old.unlink()
            header.write_text("\n".join(lines) + "\n")
            made = run(
                [command[0], *flags, "-Xclang", "-fpch-instantiate-templates", "-x", "c++-header", str(header), "-o", str(compiled)],
                check=False, cwd=self.folder,
            )  # fmt: skip
            if made.returncode != 0:
                compiled.write_text("")
        return ["-include-pch", str(compiled)] if compiled.stat().st_size else []

    def compile(self, name, file, overlay, output):
        """Compiles an object file, fast. False when that fails."""
        command = self.compile_commands[name]
        flags, skip = [], 0
        for i, word in enumerate(command[1:], 1):
            if skip:
                skip -= 1
            elif word in ("-o", "-c"):
                skip = 1
            elif word == "-Xclang" and command[i + 1] in ("-include-pch", "-include", "-emit-pch"):
                skip = 3
            elif word.startswith("-W") or word in BASE_FLAGS.split() or word == "-Winvalid-pch" or word == "-fpch-instantiate-templates":
                continue
            else:
                flags.append(word)
        flags.append("-w")
        is_own = str(self.source / file) == command[-1]
        arguments = [*flags, *self.precompiled(command, flags, is_own)]
        if overlay:
            arguments += ["-ivfsoverlay", str(overlay)]
        made = run([command[0], *arguments, "-c", command[-1], "-o", str(output)], check=False, cwd=self.folder)
        return made.returncode == 0

    def original(self, name, file):
        """The hash of the object file of the unchanged source, compiled in the same way."""
        output = self.folder.parent / "original.o"
        key = (name, self.compile_commands[name][-1] == str(self.source / file))
        if key not in self.originals:
            self.originals[key] = sha_of_file(output) if self.compile(name, file, None, output) else ""
        return self.originals[key]

    def link(self, module, changed, output):
        """Links a module with changed object files: {object: file}."""
        if module.command is None:
            lines = self.ninja("-t", "commands", module.output).splitlines()
            line = next(line for line in reversed(lines) if f" -o {module.output} " in line)
            module.command = re.sub(r"^: && | && :$", "", line)
        # Changed object files come first: the linker takes inline functions from the first one, and nothing from an archive that
        # it has already.
        used = [name for name in [*module.objects, *module.archive_objects] if name in changed]
        where = f" -o {module.output} "
        before, _, after = module.command.partition(where)
        words = [word for word in after.split(" ") if word not in changed]
        before = " ".join(word for word in before.split(" ") if word not in changed)
        command = " ".join([before, "-o", str(output), *[str(changed[name]) for name in used], *words])
        made = subprocess.run(command, shell=True, cwd=self.folder, capture_output=True, text=True)
        return made.returncode == 0


class Tests:
    """The test functions, and what each of them reaches."""

    def __init__(self, build, work, source_tests):
        self.build, self.work = build, work
        self.programs = {}
        self.source_tests = {}  # {name: command}
        listed = json.loads(run(["ctest", "--show-only=json-v1"], cwd=build.folder).stdout)
        for test in listed["tests"]:
            command = test.get("command", [])
            if test["name"] in source_tests:
                self.source_tests[test["name"]] = command
                run(command)
            if len(command) == 1 and os.path.basename(command[0]).startswith("tst_"):
                properties = {entry["name"]: entry["value"] for entry in test["properties"]}
                environment = dict(entry.split("=", 1) for entry in properties.get("ENVIRONMENT", []))
                output = os.path.relpath(command[0], build.folder)
                self.programs[test["name"]] = (output, environment, properties.get("WORKING_DIRECTORY", str(build.folder)))
        self.functions = []  # (program, function, seconds, processor seconds, number of lines)
        self.reached = {}  # {file: {line: {module: set of functions, as bits}}}
        self.measure()

    def environment(self, program):
        return {**os.environ, "QTEST_DISABLE_STACK_DUMP": "1", "QT_LOGGING_TO_CONSOLE": "1", **self.programs[program][1]}

    def places(self, module):
        """{address: source file} of the lines of a module, as (addresses, places), sorted."""
        cache = self.work / "lines" / f"{sha_of_file(self.build.folder / module)}.json"
        if cache.exists():
            return json.loads(cache.read_text())
        prefix = str(self.build.source) + "/"
        output = run(["llvm-dwarfdump", "--debug-line", str(self.build.folder / module)]).stdout
        rows, directories, files = [], {}, {}
        number = None
        for line in output.splitlines():
            if line.startswith("0x"):
                words = line.split()
                name = files.get(int(words[3]))
                if name and words[1] != "0":
                    rows.append((int(words[0], 16), f"{name}:{words[1]}"))
            elif line.startswith("include_directories["):
                key, _, value = line.partition("] = ")
                directories[int(key[20:])] = value.strip().strip('"')
            elif line.startswith("file_names["):
                number = int(line[11:].partition("]")[0])
            elif line.strip().startswith("name: "):
                name = line.split("name: ", 1)[1].strip('"')
            elif line.strip().startswith("dir_index: "):
                compiled_in = directories.get(0, "/")  # an object file from a compiler cache may come from another copy
                path = os.path.join(compiled_in, directories.get(int(line.split(": ")[1]), ""), name)
                path = os.path.normpath(os.path.join(self.build.folder, os.path.relpath(path, compiled_in)))
                if path.startswith(prefix):
                    files[number] = path[len(prefix):]
            elif line.startswith("debug_line["):
                directories, files = {}, {}
        rows.sort()
        result = [[row[0] for row in rows], [row[1] for row in rows]]
        cache.parent.mkdir(parents=True, exist_ok=True)
        cache.write_text(json.dumps(result))
        return result

    def read_reached(self, folder):
        """{module: (addresses that ran, all addresses)}"""
        found = {}
        for path in folder.iterdir():
            ran = every = None
            for line in path.read_text(errors="replace").splitlines():
                if line[:1] in "+-":
                    address = int(line[1:], 16)
                    every.append(address)
                    if line[0] == "+":
                        ran.append(address)
                else:
                    name = os.path.relpath(os.path.realpath(line), self.build.folder)
                    ran, every = found.setdefault(name, ([], []))
            path.unlink()
        return found

    def measure(self):
        folder = self.work / "reached"
        folder.mkdir(exist_ok=True)
        for name, (output, _, _) in sorted(self.programs.items()):
            program = self.build.folder / output
            cache = folder / f"{name}.json"
            key = sha(*[sha_of_file(self.build.folder / used) for used in [output, *self.build.libraries_of(output)]])
            if not cache.exists() or json.loads(cache.read_text())["key"] != key:
                print(f"what {name} reaches", file=sys.stderr, flush=True)
                cache.write_text(json.dumps({"key": key, **self.measure_program(name, program)}))
            self.take(name, json.loads(cache.read_text()))

    def measure_program(self, name, program):
        folder = self.work / "reached.now"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        environment = {**self.environment(name), "MUTATION_REACHED": str(folder), "MUTATION_ALL": "1"}
        listed = run([str(program), "-functions"], env=environment, check=False).stdout
        blocks = {}  # {module: {address of a block: its lines}}
        for module, (_, every) in self.read_reached(folder).items():
            if module not in self.build.modules:
                continue
            every = sorted(set(every))
            addresses, places = self.places(module)
            lines = collections.defaultdict(set)
            for address, place in zip(addresses, places):
                i = bisect.bisect_right(every, address) - 1
                if i >= 0:
                    lines[every[i]].add(place)
            blocks[module] = lines
        del environment["MUTATION_ALL"]
        functions, reached = [], collections.defaultdict(lambda: collections.defaultdict(list))
        for function in re.findall(r"^(\w+)\(\)$", listed, re.M):
            begin = time.monotonic()
            used = resource.getrusage(resource.RUSAGE_CHILDREN)
            code = self.run_functions(name, [function], environment, 600, 600)[0]
            now = resource.getrusage(resource.RUSAGE_CHILDREN)
            seconds = time.monotonic() - begin
            processor = now.ru_utime + now.ru_stime - used.ru_utime - used.ru_stime
            found = self.read_reached(folder)
            if code != "passed":
                print(f"not used: {name}::{function}: {code}", file=sys.stderr, flush=True)
                continue
            count = 0
            for module, (ran, _) in found.items():
                lines = set()
                for address in ran:
                    lines |= blocks.get(module, {}).get(address, set())
                count += len(lines)
                for place in lines:
                    reached[place][module].append(len(functions))
            functions.append([function, seconds, processor, count])
        return {"functions": functions, "reached": reached}

    def take(self, name, known):
        first = len(self.functions)
        self.functions += [(name, *entry) for entry in known["functions"]]
        for place, modules in known["reached"].items():
            file, _, line = place.rpartition(":")
            lines = self.reached.setdefault(file, {}).setdefault(int(line), {})
            for module, numbers in modules.items():
                lines.setdefault(module, set()).update(first + number for number in numbers)

    def that_reach(self, file, first, last):
        """{function: modules in which it reaches the lines}. Where there is no code in these lines, a table for example, the
        whole file counts."""
        lines = self.reached.get(file, {})
        found = collections.defaultdict(set)
        self.weights = collections.Counter()  # a test that reaches most of a file is the likeliest one for its tables
        for line in [line for line in range(first, last + 1) if line in lines] or lines:
            for module, functions in lines[line].items():
                for function in functions:
                    found[function].add(module)
                    self.weights[function] += 1
        return found

    def run_functions(self, name, functions, environment, seconds, processor_seconds, program=None):
        """(passed, failed, time-out or crashed, the function). Ends at the first failure."""
        output, _, directory = self.programs[name]
        program = program or self.build.folder / output

        def limit():
            resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            bound = int(math.ceil(processor_seconds))
            resource.setrlimit(resource.RLIMIT_CPU, (bound, bound + 2))

        process = subprocess.Popen(
            [str(program), *functions], cwd=directory, env=environment, preexec_fn=limit, start_new_session=True,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
        )  # fmt: skip
        end = time.monotonic() + seconds
        text, result, last = b"", None, ""
        descriptor = process.stdout.fileno()
        while result is None:
            left = end - time.monotonic()
            ready = select.select([descriptor], [], [], max(left, 0))[0] if left > 0 else []
            if not ready:
                result = "time-out"
                break
            chunk = os.read(descriptor, 1 << 16)
            if not chunk:
                break
            text += chunk
            *lines, text = text.split(b"\n")
            for line in lines:
                match = re.match(rb"(PASS|FAIL!|XPASS|QFATAL|QDEBUG)\s*: \w+::(\w+)\(", line)
                if match:
                    last = match[2].decode()
                    if match[1] in (b"FAIL!", b"XPASS", b"QFATAL"):
                        result = "failed"
                        break
        if result is not None:
            self.end(process)
        else:
            try:
                process.wait(max(end - time.monotonic(), 1))
            except subprocess.TimeoutExpired:
                result = "time-out"
        self.end(process)
        process.wait()
        process.stdout.close()
        if result is None:
            code = process.returncode
            result = "passed" if code == 0 else "time-out" if code in (-signal.SIGXCPU, -signal.SIGKILL) else "failed"
        return result, last if last in functions else functions[0]

    @staticmethod
    def end(process):
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass


class Trial:
    """Tries mutants."""

    def __init__(self, build, tests, work):
        self.build, self.tests, self.work = build, tests, work
        self.tries, self.kills, self.good_objects = collections.Counter(), collections.Counter(), collections.Counter()

    def learn(self, file, by):
        if by:
            self.kills[(file, by)] += 1

    def score(self, file, number, objects):
        program, function, _, processor, lines = self.tests.functions[number]
        name = f"{program}::{function}"
        likely = (self.kills[(file, name)] + 30 / (30 + lines)) / (self.tries[(file, name)] + 1)
        return likely * self.tests.weights[number] ** 2 / (processor + 0.05 + 0.1 * objects)

    def batches(self, file, found, users):
        """(program, modules that they need with the mutant, functions), the fastest likely ones first; some that follow each
        other run together."""
        costs = {}

        def cost(modules):
            if modules not in costs:
                costs[modules] = sum(len(self.needed(module, users)) for module in modules)
            return costs[modules]

        keys = {number: (self.tests.functions[number][0], frozenset(modules)) for number, modules in found.items()}
        order = sorted(found, key=lambda number: -self.score(file, number, cost(keys[number][1])))
        batches, current = [], {}
        for position, number in enumerate(order):
            seconds = self.tests.functions[number][3]
            batch = current.get(keys[number])
            if batch is None or batch[0] + seconds > batch[1]:
                batch = current[keys[number]] = [0.0, max(BATCH_SECONDS[min(position // 20, 2)], seconds), keys[number], []]
                batches.append(batch)
            batch[0] += seconds
            batch[3].append(number)
        return [(*key, numbers) for _, _, key, numbers in batches]

    def needed(self, output, users):
        module = self.build.modules[output]
        return [name for name in [*module.objects, *module.archive_objects] if name in users]

    def attempt(self, file, source, mutant):
        """(result, by which test)"""
        changed_file = self.work / "now" / os.path.basename(file)
        shutil.rmtree(changed_file.parent, ignore_errors=True)
        changed_file.parent.mkdir()
        changed_file.write_text(mutants.applied(source, mutant), encoding="utf-8")
        overlay = self.work / "overlay.yaml"
        roots = [{"type": "file", "name": str(self.build.source / file), "external-contents": str(changed_file)}]
        overlay.write_text(json.dumps({"version": 0, "use-external-names": False, "roots": roots}))
        folder = self.work / "changed"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        self.clean()
        users = set(self.build.users.get(file, ()))
        objects = {}  # {name: (path, whether it differs from the original)}

        def compiles(name):
            if name not in objects:
                path = folder / f"{len(objects)}.o"
                if not self.build.compile(name, file, overlay, path):
                    if not self.build.original(name, file):
                        sys.exit(f"{name}: the unchanged source does not compile")
                    return False
                objects[name] = (path, sha_of_file(path) != self.build.original(name, file))
            return True

        first = source.count("\n", 0, mutant.offset) + 1
        found = self.tests.that_reach(file, first, first + source.count("\n", mutant.offset, mutant.offset + mutant.length))
        if not found:
            if not all(compiles(name) for name in sorted(users)[:1]):
                return "invalid", ""
            return "survived" if any(differs for _, differs in objects.values()) else "same", ""
        # Of a header at first one source in each module, which finds most.
        result = "same", ""
        for is_whole in (False, True) if len(users) > 1 else (True,):
            tried = self.run_tests(file, folder, found, users, objects, compiles, is_whole)
            result = tried if tried[0] != "same" else result
            if result[0] not in ("same", "survived"):
                break
        return self.run_source_tests(file, changed_file) if result[0] == "survived" else result

    def run_source_tests(self, file, changed_file):
        """These read the copy of the sources: the mutant is there meanwhile."""
        path = self.build.source / file
        source, times = path.read_bytes(), path.stat()
        try:
            path.write_bytes(changed_file.read_bytes())
            for name, command in self.tests.source_tests.items():
                if run(command, check=False).returncode != 0:
                    return "killed", name
        finally:
            path.write_bytes(source)
            os.utime(path, ns=(times.st_atime_ns, times.st_mtime_ns))
        return "survived", ""

    def run_tests(self, file, folder, found, users, objects, compiles, is_whole):
        modules = {}  # {output: whether it differs}
        self.clean()
        for library in folder.glob("*.so*"):
            library.unlink()

        def builds(output):
            """What is wrong, or nothing."""
            if output in modules:
                return None
            needed = self.needed(output, users)
            if not is_whole and needed:
                needed = [max(needed, key=lambda name: self.good_objects[(file, name)])]
            if not all(compiles(name) for name in needed):
                return "invalid"
            modules[output] = any(objects[name][1] for name in needed)
            if not modules[output]:
                return None
            module = self.build.modules[output]
            target = folder / module.name if ".so" in output else self.build.folder / (output + ".mutant")
            return None if self.build.link(module, {name: objects[name][0] for name in needed}, target) else "not linked"

        spent = 0.0
        for program, needed_modules, numbers in self.batches(file, found, users):
            missing = {name for output in needed_modules for name in self.needed(output, users)} - objects.keys()
            if is_whole and missing and len(missing) + len(objects) > MAX_OBJECTS:
                continue
            wrong = next(filter(None, (builds(output) for output in sorted(needed_modules))), None)
            if wrong:
                return wrong, ""
            if not any(modules[output] for output in needed_modules):
                continue
            names = [self.tests.functions[number][1] for number in numbers]
            wall = sum(self.tests.functions[number][2] for number in numbers)
            processor = sum(self.tests.functions[number][3] for number in numbers)
            mutated = self.build.folder / (self.tests.programs[program][0] + ".mutant")
            result, by = self.tests.run_functions(
                program, names, {**self.tests.environment(program), "LD_LIBRARY_PATH": str(folder)}, 10 * wall + 15,
                5 * processor + 0.5, mutated if mutated.exists() else None,
            )  # fmt: skip
            for name in names:
                self.tries[(file, f"{program}::{name}")] += 1
                if name == by and result != "passed":
                    break
            if result != "passed":
                for name in objects:
                    self.good_objects[(file, name)] += 1 if len(objects) == 1 else 0
                return "killed" if result == "failed" else "time-out", f"{program}::{by}"
            spent += processor
            if spent > (MAX_TEST_SECONDS if is_whole else 2.0):
                break
        for name in objects:
            self.good_objects[(file, name)] -= 0 if is_whole else 1
        return "survived" if any(modules.values()) else "same", ""

    def clean(self):
        for program in self.tests.programs.values():
            (self.build.folder / (program[0] + ".mutant")).unlink(missing_ok=True)


def read_equivalent(path):
    known = {}
    if path:
        for number, line in enumerate(pathlib.Path(path).read_text(encoding="utf-8").splitlines(), 1):
            if not line.strip() or line.startswith("#"):
                continue
            what, _, reason = line.rpartition(" # ")
            if not reason.strip() or " => " not in what:
                sys.exit(f'{path}:{number}: not "FILE: OLD => NEW # REASON"')
            known[what] = reason
    return known


def candidates_of(copy, folders, match):
    """{folder: [(file, source, mutant, what, key)]}"""
    headers = [path.read_text(encoding="utf-8") for path in sorted(copy.folder.rglob("*.h"))]
    enumerators = mutants.enumerators_of(headers)
    found = {}
    for folder, file in copy.sources(folders):
        source = (copy.folder / file).read_text(encoding="utf-8")
        content = sha(source)
        all_of_file = mutants.mutants_of(source, enumerators)
        shown = [mutants.shown(source, mutant) for mutant in all_of_file]
        counts = collections.Counter(shown)
        seen = collections.Counter()
        for mutant, (old, new) in zip(all_of_file, shown):
            before = ""
            if counts[(old, new)] > 1:  # also the line before
                lines = source[: mutant.offset].rstrip("\n").split("\n")[:-1]
                before = next((" ".join(line.split()) for line in reversed(lines) if line.strip()), "") + " / "
            what = f"{file}: {before}{old} => {new}"
            seen[what] += 1
            if match not in what:
                continue
            stable = sha(what, seen[what])
            key = sha(content, mutant.offset, mutant.length, mutant.new)
            found.setdefault(folder, []).append((file, source, mutant, what, key, stable))
    return found


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--sample", type=int)
    parser.add_argument("--seed", default="1")
    parser.add_argument("--minutes", type=float)
    parser.add_argument("--kills", type=float, default=95.0)
    parser.add_argument("--equivalent")
    parser.add_argument("--source-test", action="append", default=[])
    parser.add_argument("--configure", action="append", default=[])
    parser.add_argument("--match", default="")
    parser.add_argument("--report", action="store_true")
    parser.add_argument("root", type=pathlib.Path)
    parser.add_argument("work", type=pathlib.Path)
    parser.add_argument("folders", nargs="+")
    options = parser.parse_args()
    begin = time.monotonic()
    root, work = options.root.resolve(), options.work.resolve()
    equivalent = read_equivalent(options.equivalent)
    work.mkdir(parents=True, exist_ok=True)
    lock = open(work / "lock", "w", encoding="utf-8")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        sys.exit(f"another run uses {work}")
    copy = Copy(root, work / "source")
    candidates = candidates_of(copy, options.folders, options.match)
    tests_state = sha(*[path.read_bytes() for path in sorted((work / "source" / "tests").rglob("*")) if path.is_file()])

    results_file = work / "results.jsonl"
    results = {}
    if results_file.exists():
        for line in results_file.read_text(encoding="utf-8").splitlines():
            try:
                entry = json.loads(line)
            except ValueError:
                continue  # cut off by an interruption
            results[entry["key"]] = entry

    total = sum(len(entries) for entries in candidates.values())
    quotas = {}
    for folder, entries in candidates.items():
        entries.sort(key=lambda entry: sha(options.seed, entry[5]))
        share = options.sample * len(entries) / total if options.sample else len(entries)
        quotas[folder] = min(len(entries), math.ceil(share))

    trial = None
    if not options.report:
        build = Build(work / "source", work / "build", options.configure)
        trial = Trial(build, Tests(build, work, options.source_test), work)
        for entry in results.values():
            trial.learn(entry["file"], entry["by"])
    positions = dict.fromkeys(candidates, 0)
    counted = {folder: [] for folder in candidates}
    left_out = collections.Counter()
    out_of_time = False
    ready = time.monotonic()
    tried = unknown = 0
    with open(results_file, "a", encoding="utf-8") as log:
        while True:
            open_folders = [f for f in candidates if positions[f] < len(candidates[f]) and len(counted[f]) < quotas[f]]
            if not open_folders:
                break
            folder = min(open_folders, key=lambda name: len(counted[name]) / quotas[name])
            file, source, mutant, what, key, _ = candidates[folder][positions[folder]]
            positions[folder] += 1
            entry = results.get(key)
            out_of_time = out_of_time or bool(options.minutes) and time.monotonic() - begin > 60 * options.minutes
            is_old = entry and entry["result"] == "survived" and entry["tests"] != tests_state and what not in equivalent
            if is_old and not options.report and not out_of_time:
                entry = None  # a changed test may find it
            if entry is None and not options.report and not out_of_time:
                start = time.monotonic()
                result, by = trial.attempt(file, source, mutant)
                seconds = round(time.monotonic() - start, 2)
                entry = {"key": key, "file": file, "what": what, "kind": mutant.kind, "result": result, "by": by,
                         "seconds": seconds, "tests": tests_state}  # fmt: skip
                trial.learn(file, by)
                tried += 1
                log.write(json.dumps(entry) + "\n")
                log.flush()
                print(f"{seconds:6.2f} s {result:8} {what} {by}", file=sys.stderr, flush=True)
            if entry is None:
                unknown += 1
                continue
            if entry["result"] in ("invalid", "not linked", "same"):
                left_out[entry["result"]] += 1
            else:
                counted[folder].append((what, entry))
    if trial:
        trial.clean()

    survivors, stale, sums = [], set(), collections.Counter()
    explained_used = set()
    for folder, entries in counted.items():
        count = collections.Counter()
        for what, entry in entries:
            result = entry["result"]
            if result == "survived" and what in equivalent:
                result = "equivalent"
                explained_used.add(what)
            elif result == "survived":
                survivors.append(what)
            elif what in equivalent:
                stale.add(what)
            count[result] += 1
        sums.update(count)
        decided = sum(count.values()) - count["equivalent"]
        share = 100.0 * (decided - count["survived"]) / decided if decided else 100.0
        print(f"{folder}: {sum(count.values())} mutants, {share:.1f} % killed ({count['time-out']} by time-out),"
              f" {count['survived']} survived, {count['equivalent']} equivalent")  # fmt: skip
    all_names = {entry[3] for entries in candidates.values() for entry in entries}
    if not options.match:
        gone = {what for what in equivalent if what not in all_names}
        stale |= {what for what in gone if os.path.dirname(what.partition(": ")[0]) in options.folders}
    (work / "survivors").write_text("".join(f"{what}\n" for what in survivors), encoding="utf-8")
    for what in sorted(stale - explained_used):
        print(f"named equivalent, but killed or gone: {what}")
    decided = sum(sums.values()) - sums["equivalent"]
    share = 100.0 * (decided - sums["survived"]) / decided if decided else 0.0
    average = (time.monotonic() - ready) / tried if tried else 0.0
    print(f"all: {sum(sums.values())} mutants, {share:.1f} % killed ({sums['time-out']} by time-out), {sums['survived']} survived,"
          f" {sums['equivalent']} equivalent; {left_out['invalid']} did not compile, {left_out['not linked']} did not link, {left_out['same']} changed nothing")  # fmt: skip
    if tried:
        print(f"tried now: {tried}, {average:.1f} s each")
    if unknown:
        print(f"not finished: {sum(quotas.values())} mutants are asked for")
        return 1
    return 1 if share < options.kills or stale - explained_used else 0


if __name__ == "__main__":
    sys.exit(main())
