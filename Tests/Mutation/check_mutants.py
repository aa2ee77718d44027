"""Makes small mistakes in the libraries' own sources, one at a time, and sees whether a test notices.

Each mistake is compiled into copies of the objects, libraries and test programs that it reaches, in
a folder beside the build, so that neither sources nor build are touched. The results are appended to
a file there: a run that was stopped goes on where it was, and a change that left a test unnoticed is
tried again with --again once there is a test for it.
"""

import argparse
import concurrent.futures
import json
import os
import queue
import random
import re
import resource
import shlex
import subprocess
import sys
import threading
import time

from mutants import mutants_of

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.path.join(ROOT, "build", "mutants")
SURVIVORS = os.path.join(ROOT, "Tests", "Mutation", "Survivors.txt")

FOLDERS = ("DataLayer", "Base/Math")
LIBRARIES = ("Veko2_Base", "Veko2_DataLayer", "Veko2_PointCloudEditing")
# Which programs are asked, the nearest first, by the longest beginning of the source's path.
PROGRAMS = {
    "Base/Math": "Base DataLayer PointCloudEditing ModifyOperation",
    "DataLayer": "DataLayer NearestNeighbor PointCloudEditing ModifyOperation",
    "DataLayer/PointCloud/CN": "NearestNeighbor DataLayer ModifyOperation PointCloudEditing",
    "DataLayer/PointCloud/Kernels": "NearestNeighbor DataLayer ModifyOperation",
    "DataLayer/PointCloud/RecordSelection": "Unexported NearestNeighbor DataLayer ModifyOperation",
    "DataLayer/Base3D/CheckTriangles": "Unexported DataLayer PointCloudEditing ModifyOperation",
    "DataLayer/Base3D/PointCloudEditing": "PointCloudEditing ModifyOperation",
    "DataLayer/Base3D/PointCloudEditing/CCutWith": "ModifyOperation",
    "DataLayer/Base3D/PointCloudEditing/CSmall": "ModifyOperation",
    "DataLayer/Base3D/PointCloudEditing/Kernels": "PointCloudEditingKernel PointCloudEditing "
                                                  "ModifyOperation"}
QUICK = 0.1  # seconds; slower tests are asked after all the quick ones
# Seconds of a processor's time after which quick tests, or anything else, count as without end; and
# seconds on the clock, long enough for a busy machine.
QUICK_LIMIT, PROCESSOR_LIMIT, CLOCK_LIMIT = 10, 60, 900
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
        done = subprocess.run(command, cwd=BUILD, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              timeout=CLOCK_LIMIT, preexec_fn=limit, **options)
    except subprocess.TimeoutExpired:
        return None, b""
    return (None if done.returncode in (-9, -24) else done.returncode), done.stdout


class Build:
    """What the build folder knows: how objects are compiled and programs linked."""

    def __init__(self, paths):
        targets = [*LIBRARIES, *sorted({name for path in paths for name in programs_for(path)})]
        for command in ("cmake --preset mutants --log-level=WARNING",
                        "cmake --build --preset mutants --target " + " ".join(targets)):
            subprocess.run(command.split(), cwd=ROOT, check=True, stdout=sys.stderr)
        self.objects, self.links = {}, {}
        listed = subprocess.run(["ninja", "-t", "compdb"], cwd=BUILD, capture_output=True, check=True)
        for edge in json.loads(listed.stdout):
            words = shlex.split(edge["command"])
            if "-c" in words and edge["output"].endswith(".o"):
                self.objects[edge["output"]] = (words, os.path.relpath(edge["file"], ROOT))
            target = re.sub(r"^lib|\.so.*$", "", os.path.basename(edge["output"]))
            if target in targets and "-o" in words:
                self.links[target] = words[words.index("&&") + 1:]  # a shell's ": && LINK && :"
                self.links[target] = self.links[target][:self.links[target].index("&&")]
        self.needed = {output: set() for output in self.objects}
        dependencies = subprocess.run(["ninja", "-t", "deps"], cwd=BUILD, capture_output=True,
                                      check=True, text=True).stdout
        for line in dependencies.splitlines():
            if line.startswith("    ") and output in self.needed:
                self.needed[output].add(os.path.relpath(os.path.join(BUILD, line.strip()), ROOT))
            elif line:
                output = line.split(":")[0]
        self.headers, self.lock = {}, threading.Lock()
        self.slow = {name: self.slow_tests(name) for name in targets if name.endswith("Tests")}

    def slow_tests(self, program):
        """Runs the tests as they are, which have to pass, and returns those that are not quick."""
        report = os.path.join(BUILD, f"{program}.json")
        binary = os.path.join(BUILD, self.output_of(program))
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
                header = os.path.join(BUILD, "headers", str(len(self.headers)), "standard.h")
                os.makedirs(os.path.dirname(header), exist_ok=True)
                found = subprocess.run(["git", "grep", "-h", "^#include <[a-z_]*>$", "--", "Base",
                                        *FOLDERS], cwd=ROOT, capture_output=True, check=True)
                with open(header, "wb") as file:
                    file.write(b"\n".join(sorted(set(found.stdout.splitlines()))) + b"\n")
                run([*flags, "-x", "c++-header", header, "-o", f"{header}.gch"], PROCESSOR_LIMIT)
                self.headers[flags] = header
            return self.headers[flags]

    def compile(self, output, place, source, suffix="", flags=()):
        """Compiles an object at place, its source too if that is the changed one."""
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
        status, _ = run([*words, *flags], PROCESSOR_LIMIT)
        return made if status == 0 else None


def same_bytes(first, second):
    with open(first, "rb") as one, open(second, "rb") as other:
        return one.read() == other.read()


class Trial:
    """One mistake, made at one place, a folder that holds what is different from the build."""

    def __init__(self, build, mutant, text, place):
        self.build, self.mutant, self.place = build, mutant, place
        subprocess.run(["rm", "-rf", place], check=True)
        self.made, self.linked, self.is_compiled = {}, set(), True
        os.makedirs(os.path.join(place, "lib"))
        self.write(mutant.apply(text))

    def write(self, text):
        path = os.path.join(self.place, self.mutant.path)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)

    def link(self, target):
        """Makes a library or program with the mistake, unless it has none of it."""
        different = {}
        for output in self.build.reached(target, self.mutant.path):
            if output not in self.made:
                self.made[output] = self.build.compile(output, self.place, self.mutant.path)
                if self.made[output] is None:
                    self.is_compiled = False
                    return
            if not same_bytes(self.made[output], os.path.join(BUILD, output)):
                different[output] = self.made[output]
        if different:
            words = [different.get(word, word) for word in self.build.links[target]]
            soname = [word.split(",")[-1] for word in words if "-soname," in word]
            words[words.index("-o") + 1] = os.path.join(self.place, "lib", (soname or [target])[0])
            if run(words, PROCESSOR_LIMIT)[0] != 0:
                self.is_compiled = False
                return
            self.linked.add(target)

    def is_same_optimised(self, text):
        """Whether the optimiser makes the same of the mistake and of the right source."""
        def optimised(output, text, suffix):
            self.write(text)
            made = self.build.compile(output, self.place, self.mutant.path, suffix, ["-O2"])
            return made or os.devnull
        return all(same_bytes(optimised(output, self.mutant.apply(text), ".wrong"),
                              optimised(output, text, ".right")) for output in self.made)

    def ask(self, program, tests, seconds):
        """None when all of the tests pass, else what noticed."""
        self.link(program)
        binary = os.path.join(self.place, "lib", program)
        if program not in self.linked:
            binary = os.path.join(BUILD, self.build.output_of(program))
        environment = {**os.environ, "LD_LIBRARY_PATH": os.path.join(self.place, "lib"),
                       "GTEST_FILTER": tests}
        status, output = run([binary, "--gtest_fail_fast", "--gtest_brief=1"], seconds,
                             env=environment)
        if status == 0:
            return None
        failed = re.search(rb"\[  FAILED  \] (\S+?)[,\s]", output)
        reason = "time" if status is None else f"exit {status}"
        return f"{program} {failed.group(1).decode() if failed else reason}"

    def judge(self, text):
        """What becomes of the mistake: ("noticed", by what), "same", "invalid" or "survived"."""
        programs = programs_for(self.mutant.path)
        stem = os.path.basename(self.mutant.path).rsplit(".", 1)[0]
        slow = {program: ":".join(self.build.slow[program]) for program in programs}
        for target in (*LIBRARIES, programs[0]):
            self.link(target)
            if not self.is_compiled:
                return "invalid", ""
        if not self.linked:
            return "same", ""
        quick = [(programs[0], f"*{stem}*-{slow[programs[0]]}")]
        quick += [(program, f"-{slow[program]}") for program in programs]
        for program, tests in quick:
            noticed = self.ask(program, tests, QUICK_LIMIT)
            if noticed:
                return "noticed", noticed
        if self.is_same_optimised(text):
            return "same", "optimised"
        for program, tests in slow.items():
            noticed = tests and self.ask(program, tests, PROCESSOR_LIMIT)
            if noticed:
                return "noticed", noticed
        return "survived", ""


class Results:
    """What is known of each mistake by its name, kept in a file that lines are appended to."""

    def __init__(self):
        self.path = os.path.join(BUILD, "results.txt")
        self.known = {}
        if os.path.exists(self.path):
            with open(self.path, encoding="utf-8") as file:
                for line in file:
                    outcome, detail, name = line.rstrip("\n").split("\t")
                    self.known[name] = (outcome, detail)

    def add(self, mutant, outcome, detail):
        self.known[mutant.name] = (outcome, detail)
        with open(self.path, "a", encoding="utf-8") as file:
            file.write(f"{outcome}\t{detail}\t{mutant.name}\n")


def explained():
    """The mistakes that no test can notice, or need not, with a reason each."""
    with open(SURVIVORS, encoding="utf-8") as file:
        return {line.strip() for line in file if line.startswith("    ")}


def list_mutants(arguments):
    """The mistakes that were asked for, each with its source's text."""
    listed = subprocess.run(["git", "ls-files", "--", *FOLDERS], cwd=ROOT, capture_output=True,
                            check=True, text=True).stdout.split()
    paths = [path for path in listed if path.endswith((".h", ".cpp")) and
             (not arguments.file or any(part in path for part in arguments.file)) and
             not any(part in path for part in arguments.without)]
    paths.sort(key=lambda path: [part in path for part in arguments.file].index(True)
               if arguments.file else 0)
    mutants = []
    for path in paths:
        with open(os.path.join(ROOT, path), encoding="utf-8") as file:
            text = file.read()
        mutants += [(mutant, text) for mutant in mutants_of(path, text)]
    if arguments.only:
        mutants = [(mutant, text) for mutant, text in mutants
                   if any(part in mutant.place or part in mutant.name for part in arguments.only)]
    if arguments.sample and arguments.sample < len(mutants):
        mutants = random.Random(arguments.seed).sample(mutants, arguments.sample)
    return mutants


def try_all(mutants, results, jobs):
    build = Build({mutant.path for mutant, _ in mutants})
    places = queue.Queue()
    for number in range(jobs):
        places.put(os.path.join(BUILD, "trials", str(number)))

    def try_one(entry):
        mutant, text = entry
        place = places.get()
        begin = time.monotonic()
        try:
            outcome, detail = Trial(build, mutant, text, place).judge(text)
        finally:
            places.put(place)
        return mutant, outcome, detail, time.monotonic() - begin

    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        tries = [pool.submit(try_one, entry) for entry in mutants]
        for done in concurrent.futures.as_completed(tries):
            mutant, outcome, detail, seconds = done.result()
            results.add(mutant, outcome, detail)
            print(f"{outcome:8} {seconds:5.1f} s  {mutant.place}  {detail}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--file", action="append", default=[], metavar="PART",
                        help="only sources with this in their path; repeatable, in that order")
    parser.add_argument("--without", action="append", default=[], metavar="PART",
                        help="no sources with this in their path")
    parser.add_argument("--only", action="append", default=[], metavar="TEXT",
                        help="only mistakes with this in their place or line")
    parser.add_argument("--sample", type=int, metavar="N", help="only N of them, by chance")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--again", action="store_true", help="those once more that had survived")
    parser.add_argument("--list", action="store_true", help="list the mistakes, make none")
    parser.add_argument("--report", action="store_true", help="tell what is known, make none")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    arguments = parser.parse_args()

    mutants = list_mutants(arguments)
    if arguments.list:
        for mutant, _ in mutants:
            print(f"{mutant.place}  {mutant.name.split(': ', 1)[1]}")
        return 0
    results = Results()
    tried = {name for name, (outcome, _) in results.known.items()
             if not (arguments.again and outcome == "survived")}
    untried = [(mutant, text) for mutant, text in mutants if mutant.name not in tried]
    if untried and not arguments.report:
        try_all(untried, results, arguments.jobs)
    is_all = not (arguments.file or arguments.without or arguments.only or arguments.sample)
    return report(mutants, results, is_all)


def report(mutants, results, is_all):
    outcomes = {}
    for mutant, _ in mutants:
        outcomes.setdefault(results.known.get(mutant.name, ("untried",))[0], []).append(mutant)
    count = {outcome: len(of_it) for outcome, of_it in outcomes.items()}
    survived, reasons = outcomes.get("survived", []), explained()
    unexplained = [mutant for mutant in survived if mutant.name not in reasons]
    for mutant in unexplained:
        print(f"survived without a reason: {mutant.place}\n    {mutant.name}")
    stale = reasons - {mutant.name for mutant, _ in mutants} if is_all else set()
    for name in sorted(stale):
        print(f"Tests/Mutation/Survivors.txt: there is no such mistake:\n    {name}")
    noticed = count.get("noticed", 0)
    judged = noticed + len(survived)
    print(f"{len(mutants)} mistakes, {count.get('untried', 0)} of them not made yet; "
          f"{count.get('invalid', 0)} do not compile, {count.get('same', 0)} make the same code; "
          f"of the other {judged} {noticed} are noticed "
          f"({100 * noticed / max(judged, 1):.1f} %), {len(survived)} survive, "
          f"{len(unexplained)} of these without a reason")
    # When none could be judged, something else is wrong.
    return 1 if unexplained or stale or judged == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
