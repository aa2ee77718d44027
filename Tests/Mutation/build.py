"""The build with its tests that mistakes are made beside."""

import hashlib
import json
import os
import re
import resource
import shlex
import subprocess
import sys
import threading

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FOLDER = os.path.join(ROOT, "build", "mutants")
SOURCES = ("DataLayer", "Base/Math")  # folders of what mistakes are made in
LIBRARIES = ("Veko2_Base", "Veko2_DataLayer", "Veko2_PointCloudEditing")
# Which programs are asked, the nearest first, by the longest beginning of the source's path.
PROGRAMS = {
    "Base/Math": "Base DataLayer PointCloudEditing ModifyOperation",
    "DataLayer": "DataLayer PointCloudEditing ModifyOperation",
    "DataLayer/PointCloud/CDeferred": "NearestNeighbor ModifyOperation",
    "DataLayer/PointCloud/CN": "NearestNeighbor ModifyOperation",
    "DataLayer/PointCloud/CNearestNeighborTree": "Unexported NearestNeighbor ModifyOperation",
    "DataLayer/PointCloud/Neighbor": "NearestNeighbor ModifyOperation",
    "DataLayer/PointCloud/NeighborPlacement": "Unexported NearestNeighbor ModifyOperation",
    "DataLayer/PointCloud/SPosition": "NearestNeighbor DataLayer ModifyOperation",
    "DataLayer/PointCloud/Kernels": "NearestNeighbor ModifyOperation",
    "DataLayer/PointCloud/Kernels/NearestNeighborTree": "Unexported NearestNeighbor "
                                                        "ModifyOperation",
    "DataLayer/PointCloud/Kernels/PackedBounds": "Unexported DataLayer ModifyOperation",
    "DataLayer/PointCloud/Kernels/TPackedBounds": "Unexported DataLayer ModifyOperation",
    "DataLayer/PointCloud/RecordSelection": "Unexported NearestNeighbor ModifyOperation",
    "DataLayer/Base3D/CheckTriangles": "Unexported DataLayer PointCloudEditing ModifyOperation",
    "DataLayer/Base3D/PointCloudEditing": "PointCloudEditing ModifyOperation",
    "DataLayer/Base3D/PointCloudEditing/CCutWith": "ModifyOperation",
    "DataLayer/Base3D/PointCloudEditing/CSmall": "ModifyOperation",
    "DataLayer/Base3D/PointCloudEditing/Kernels": "PointCloudEditingKernel PointCloudEditing "
                                                  "ModifyOperation"}
QUICK = 0.05  # seconds; slower tests are asked after all the quick ones
# Seconds of a processor's time after which quick tests, or anything else, count as without end; and
# seconds on the clock, long enough for a busy machine.
QUICK_LIMIT, PROCESSOR_LIMIT, CLOCK_LIMIT = 8, 60, 900
MEMORY_LIMIT = 6 << 30


def programs_for(path):
    longest = max((begin for begin in PROGRAMS if path.startswith(begin)), key=len)
    return [f"Veko2_{name}Tests" for name in PROGRAMS[longest].split()]


def run(command, seconds, **options):
    """The exit status, or None when it took too long, and the output."""
    def limit():
        resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds))
        resource.setrlimit(resource.RLIMIT_DATA, (MEMORY_LIMIT, MEMORY_LIMIT))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    try:
        done = subprocess.run(command, cwd=FOLDER, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              timeout=CLOCK_LIMIT, preexec_fn=limit, **options)
    except subprocess.TimeoutExpired:
        return None, b""
    return (None if done.returncode in (-9, -24) else done.returncode), done.stdout


def read(path):
    with open(path, "rb") as file:
        return file.read()


class Build:
    """What the build folder knows: how objects are compiled and programs linked."""

    def __init__(self, paths):
        targets = [*LIBRARIES, *sorted({name for path in paths for name in programs_for(path)})]
        for command in ("cmake --preset mutants --log-level=WARNING",
                        "cmake --build --preset mutants --target " + " ".join(targets)):
            subprocess.run(command.split(), cwd=ROOT, check=True, stdout=sys.stderr)
        self.objects, self.links = {}, {}
        listed = subprocess.run(["ninja", "-t", "compdb"], cwd=FOLDER, capture_output=True, check=True)
        for edge in json.loads(listed.stdout):
            words = shlex.split(edge["command"])
            if words and os.path.basename(words[0]) == "ccache":  # each mistake is compiled once
                words = words[1:]
            if "-c" in words and edge["output"].endswith(".o"):
                self.objects[edge["output"]] = (words, os.path.relpath(edge["file"], ROOT))
            target = re.sub(r"^lib|\.so.*$", "", os.path.basename(edge["output"]))
            if target in targets and "-o" in words:
                self.links[target] = words[words.index("&&") + 1:]  # a shell's ": && LINK && :"
                self.links[target] = self.links[target][:self.links[target].index("&&")]
        self.needed = {output: set() for output in self.objects}
        dependencies = subprocess.run(["ninja", "-t", "deps"], cwd=FOLDER, capture_output=True,
                                      check=True, text=True).stdout
        for line in dependencies.splitlines():
            if line.startswith("    ") and output in self.needed:
                self.needed[output].add(os.path.relpath(os.path.join(FOLDER, line.strip()), ROOT))
            elif line:
                output = line.split(":")[0]
        self.headers, self.lock = {}, threading.Lock()
        self.optimised = {}  # the objects of the right source that was last asked for, by place
        self.noticing = {}  # what noticed the mistakes in a source so far, the last one last
        self.often = {}  # what noticed most mistakes, by program
        self.slow = {name: self.slow_tests(name) for name in targets if name.endswith("Tests")}

    def slow_tests(self, program):
        """Runs the tests as they are, which have to pass, and returns those that are not quick."""
        report = os.path.join(FOLDER, f"{program}.json")
        binary = os.path.join(FOLDER, self.output_of(program))
        if not os.path.exists(report) or os.path.getmtime(report) < os.path.getmtime(binary):
            status, output = run([binary, f"--gtest_output=json:{report}.new"], PROCESSOR_LIMIT * 4)
            if status != 0:
                sys.exit(f"{program} fails as it is:\n{output.decode()[-2000:]}")
            os.replace(f"{report}.new", report)
        with open(report, encoding="utf-8") as file:
            suites = json.load(file)["testsuites"]
        return [f"{suite['name']}.{test['name']}" for suite in suites for test in suite["testsuite"]
                if float(test["time"].rstrip("s")) > QUICK]

    def output_of(self, target):
        return self.links[target][self.links[target].index("-o") + 1]

    def reached(self, target, path):
        """The objects of a target that a change in path reaches. Of a program's own objects a
        changed header reaches its own test, since what others take from it is in the libraries."""
        stem = os.path.basename(path).rsplit(".", 1)[0]
        for output in self.links[target]:
            if output in self.objects and path in self.needed[output]:
                source = self.objects[output][1]
                if path.endswith(".cpp") or not source.startswith("Tests/") or stem in source:
                    yield output

    def standard_headers(self, flags):
        """What the sources include of the standard library, precompiled: half of the time. The
        objects stay the same to the byte."""
        with self.lock:
            if flags not in self.headers:
                name = hashlib.sha1(repr(flags).encode()).hexdigest()
                header = os.path.join(FOLDER, "headers", name, "standard.h")
                os.makedirs(os.path.dirname(header), exist_ok=True)
                found = subprocess.run(["git", "grep", "-h", "^#include <[a-z_]*>$", "--", "Base",
                                        *SOURCES], cwd=ROOT, capture_output=True, check=True)
                wanted = b"\n".join(sorted(set(found.stdout.splitlines()))) + b"\n"
                wanted = b"// " + " ".join(flags).encode() + b"\n" + wanted
                if not os.path.exists(f"{header}.gch") or read(header) != wanted:
                    with open(header, "wb") as file:
                        file.write(wanted)
                    run([*flags, "-x", "c++-header", header, "-o", f"{header}.gch"],
                        PROCESSOR_LIMIT)
                self.headers[flags] = header
            return self.headers[flags]

    def compile(self, output, place, source, suffix="", flags=(), later_flags=(), errors=None):
        """Compiles an object at place, its source too if that is the changed one. The later flags
        are such that headers may have been precompiled without them."""
        words, path = self.objects[output]
        flags = [*flags, "-w"]
        if "-include" in words and suffix:  # precompiled with other flags
            words = [*words]
            words[words.index("-include"):words.index("-include") + 2] = []
        elif "-include" not in words:
            known = tuple([*words[:words.index("-MD")], *flags])
            flags += ["-include", self.standard_headers(known)]
        words = [words[0], f"-I{place}", *words[1:]]
        for option in ("-MT", "-MF"):
            words[words.index(option):words.index(option) + 2] = []
        words.remove("-MD")
        made = os.path.join(place, "objects", output + suffix)
        os.makedirs(os.path.dirname(made), exist_ok=True)
        words[words.index("-o") + 1] = made
        if path == source:
            words[words.index("-c") + 1] = os.path.join(place, path)
        status, told = run([*words, *flags, *later_flags], PROCESSOR_LIMIT)
        if status != 0 and errors is not None:
            errors.append(told.decode(errors="replace"))
        return made if status == 0 else None
