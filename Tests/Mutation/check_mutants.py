"""Makes small mistakes in the libraries' own sources, one at a time, and sees whether a test notices.

All mistakes in a source are compiled at once where that can be, with a switch for each (switched.py),
into copies of the objects, libraries and test programs that they reach, in a folder beside the build,
so that neither sources nor build are touched. The few that this cannot say anything about, and those
that nothing noticed, are compiled again, each by itself. The results are appended to
a file there: a run that was stopped goes on where it was, and a change that left a test unnoticed is
tried again with --again once there is a test for it.
"""

import argparse
import collections
import concurrent.futures
import hashlib
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
from switched import switched

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.path.join(ROOT, "build", "mutants")
TRIALS = os.path.join(BUILD, "trials", str(os.getpid()))  # of this run alone
MISTAKES = os.path.join(ROOT, "Tests", "Mutation", "Mistakes.h")
SURVIVORS = os.path.join(ROOT, "Tests", "Mutation", "Survivors.txt")

FOLDERS = ("DataLayer", "Base/Math")
LIBRARIES = ("Veko2_Base", "Veko2_DataLayer", "Veko2_PointCloudEditing")
# Which programs are asked, the nearest first, by the longest beginning of the source's path.
PROGRAMS = {
    "Base/Math": "Base DataLayer PointCloudEditing ModifyOperation",
    "DataLayer": "DataLayer PointCloudEditing ModifyOperation",
    "DataLayer/PointCloud/CN": "NearestNeighbor ModifyOperation",
    "DataLayer/PointCloud/CNearestNeighborTree": "Unexported NearestNeighbor ModifyOperation",
    "DataLayer/PointCloud/Neighbor": "NearestNeighbor ModifyOperation",
    "DataLayer/PointCloud/SPosition": "NearestNeighbor DataLayer ModifyOperation",
    "DataLayer/PointCloud/Kernels": "NearestNeighbor ModifyOperation",
    "DataLayer/PointCloud/RecordSelection": "Unexported NearestNeighbor ModifyOperation",
    "DataLayer/Base3D/CheckTriangles": "Unexported DataLayer PointCloudEditing ModifyOperation",
    "DataLayer/Base3D/PointCloudEditing": "PointCloudEditing ModifyOperation",
    "DataLayer/Base3D/PointCloudEditing/CCutWith": "ModifyOperation",
    "DataLayer/Base3D/PointCloudEditing/CSmall": "ModifyOperation",
    "DataLayer/Base3D/PointCloudEditing/Kernels": "PointCloudEditingKernel PointCloudEditing "
                                                  "ModifyOperation"}
QUICK = 0.05  # seconds; slower tests are asked after all the quick ones
# Tests asked first: those that noticed the last mistakes in a source, or most of those in any.
MOST_LATELY, MOST_OFTEN = 12, 8
FEWEST_AT_ONCE = 4  # mistakes in one source, for which it is worth it to compile them at once
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
            if words and os.path.basename(words[0]) == "ccache":  # each mistake is compiled once
                words = words[1:]
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
        self.optimised = {}  # the objects of the right source that was last asked for, by place
        self.noticing = {}  # what noticed the mistakes in a source so far, the last one last
        self.often = {}  # what noticed most mistakes, by program
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
                name = hashlib.sha1(repr(flags).encode()).hexdigest()
                header = os.path.join(BUILD, "headers", name, "standard.h")
                os.makedirs(os.path.dirname(header), exist_ok=True)
                found = subprocess.run(["git", "grep", "-h", "^#include <[a-z_]*>$", "--", "Base",
                                        *FOLDERS], cwd=ROOT, capture_output=True, check=True)
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


def read(path):
    with open(path, "rb") as file:
        return file.read()


def same_bytes(first, second):
    return read(first) == read(second)


class Trial:
    """One mistake, made at one place, a folder that holds what is different from the build."""

    flags, number = (), None

    def __init__(self, build, mutant, text, place):
        self.build, self.mutant, self.place = build, mutant, place
        subprocess.run(["rm", "-rf", place], check=True)
        self.made, self.linked, self.is_compiled, self.errors = {}, set(), True, []
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
                self.made[output] = self.build.compile(output, self.place, self.mutant.path,
                                                       later_flags=self.flags, errors=self.errors)
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

        def right(output):
            known = self.build.optimised.setdefault(self.place, {"path": self.mutant.path})
            if known["path"] != self.mutant.path:
                known.clear()
                known["path"] = self.mutant.path
            if output not in known:
                known[output] = read(optimised(output, text, ".right"))
            return known[output]

        def wrong(output):
            return read(optimised(output, self.mutant.apply(text), ".wrong"))
        return all(wrong(output) == right(output) for output in self.made)

    def ask(self, program, tests, seconds):
        """None when all of the tests pass, else what noticed."""
        if program not in self.linked:
            self.link(program)
        binary = os.path.join(self.place, "lib", program)
        if program not in self.linked:
            binary = os.path.join(BUILD, self.build.output_of(program))
        environment = {**os.environ, "LD_LIBRARY_PATH": os.path.join(self.place, "lib"),
                       "GTEST_FILTER": tests}
        if self.number is not None:
            environment["VEKO2_MISTAKE"] = str(self.number)
            environment["VEKO2_MISTAKE_MADE"] = self.is_made
        status, output = run([binary, "--gtest_fail_fast", "--gtest_brief=1"], seconds,
                             env=environment)
        if status == 0:
            return None
        failed = re.search(rb"\[  FAILED  \] (\S+?)[,\s]", output)
        reason = "time" if status is None else f"exit {status}"
        if failed:
            noticing = self.build.noticing.setdefault(self.mutant.path, [])
            entry = (program, failed.group(1).decode())
            if entry in noticing:
                noticing.remove(entry)
            noticing.append(entry)
        return f"{program} {failed.group(1).decode() if failed else reason}"

    def likely_tests(self, programs):
        """What to ask first, in order."""
        stem = os.path.basename(self.mutant.path).rsplit(".", 1)[0]
        noticing = self.build.noticing.get(self.mutant.path, ())
        for program in programs:
            slow = self.build.slow[program]
            lately = [test for other, test in noticing if other == program and test not in slow]
            often = [test for test in self.build.often.get(program, ()) if test not in slow]
            asked = {*lately[-MOST_LATELY:], *(often[:MOST_OFTEN] if program == programs[0] else ())}
            if asked:
                yield program, ":".join(sorted(asked))
        yield programs[0], f"*{stem}*-{':'.join(self.build.slow[programs[0]])}"

    def quick_tests(self, programs):
        for program in programs:
            yield program, f"-{':'.join(self.build.slow[program])}"

    def slow_tests(self, programs):
        for program in programs:
            if self.build.slow[program]:
                yield program, ":".join(self.build.slow[program])

    def ask_all(self, tests_of_programs, seconds):
        """What of it noticed first, or None."""
        return next(filter(None, (self.ask(program, tests, seconds)
                                  for program, tests in tests_of_programs)), None)

    def judge(self, text, is_asked=False):
        """What becomes of the mistake: ("noticed", by what), "same", "invalid" or "survived". When
        the quick tests have been asked before, they are not again."""
        programs = programs_for(self.mutant.path)
        for target in (*LIBRARIES, programs[0]):
            self.link(target)
            if not self.is_compiled:
                return "invalid", ""
        if not self.linked:
            return "same", ""
        noticed = not is_asked and self.ask_all(
            (*self.likely_tests(programs), *self.quick_tests(programs)), QUICK_LIMIT)
        if noticed:
            return "noticed", noticed
        if self.is_same_optimised(text):
            return "same", "optimised"
        noticed = self.ask_all(self.slow_tests(programs), PROCESSOR_LIMIT)
        return ("noticed", noticed) if noticed else ("survived", "")


class Switched(Trial):
    """Many mistakes in one source, compiled at once; the environment says which one is made."""

    flags = ("-include", MISTAKES, "-Wno-narrowing")

    def __init__(self, build, mutants, text, place):
        self.mutants, self.path, self.left_out = mutants, mutants[0].path, set()
        super().__init__(build, self, text, place)
        programs = programs_for(self.path)
        while self.mutants:
            for target in (*LIBRARIES, *programs):
                self.link(target)
                if not self.is_compiled:
                    break
            if self.is_compiled or not self.leave_out():
                break
            self.made, self.linked, self.is_compiled, self.errors = {}, set(), True, []
            self.write(self.apply(text))
        self.is_usable, self.passed = self.is_compiled and bool(self.linked), set()
        self.is_made = os.path.join(place, "made")

    def ask(self, program, tests, seconds):
        """As of one mistake; but what fails without one notices none."""
        noticed = super().ask(program, tests, seconds)
        if noticed and noticed not in self.passed:
            number, self.number = self.number, None
            name = noticed.split()[1]
            if super().ask(program, tests if name in ("exit", "time") else name, seconds):
                self.is_usable = False
            else:
                self.passed.add(noticed)
            self.number = number
        return noticed if self.is_usable else None

    def apply(self, text):
        made, held = switched(text, self.mutants)
        self.held = [(number, self.mutants[number]) for number in sorted(held)
                     if "constexpr" not in self.mutants[number].name]  # a constant, see Mistakes.h
        return made

    def leave_out(self):
        """Leaves out what the compiler complains of, as long as there is something."""
        lines, mentioned = set(), []
        for line in "".join(self.errors).splitlines():
            mentioned += re.findall(re.escape(self.path) + r":(\d+)", line)
            if "error:" in line and mentioned:
                # Where it is, or else where it comes from, the innermost place first.
                lines.add(int(mentioned[-1] if self.path in line else mentioned[0]))
                mentioned = []
        if not lines:
            lines = {int(number) for number in mentioned}
        # Most often it is an instruction's constant that has to be one.
        for reach, kinds in ((0, ("constant",)), (0, ()), (1, ()), (2, ()), (3, ())):
            left_out = {mutant for mutant in self.mutants
                        if any(abs(line - mutant.line) <= reach for line in lines)
                        and (not kinds or mutant.kind in kinds)}
            if left_out:
                break
        self.mutants = [mutant for mutant in self.mutants if mutant not in left_out]
        return bool(left_out)

    def judge_likely(self):
        """The mistakes that are noticed by tests that are likely to, each with what noticed it. The
        others are held on."""
        programs, held, self.held = programs_for(self.path), self.held, []
        for self.number, mutant in held:
            noticed = self.is_usable and self.ask_all(self.likely_tests(programs), QUICK_LIMIT)
            if noticed:
                yield mutant, noticed
            else:
                self.held.append((self.number, mutant))

    def judge_others(self):
        """The mistakes that could be made, each with what noticed it, if anything."""
        programs = programs_for(self.path)
        for self.number, mutant in self.held:
            if not self.is_usable:
                return
            if os.path.exists(self.is_made):
                os.remove(self.is_made)
            # What noticed one of them is likely to notice another.
            noticed = self.ask_all(
                (*self.likely_tests(programs), *self.quick_tests(programs)), QUICK_LIMIT)
            # In a constant, or where no test comes, it is not made.
            if self.is_usable and (noticed or os.path.exists(self.is_made)):
                yield mutant, noticed


class Results:
    """What is known of each mistake by its name, kept in a file that lines are appended to."""

    # And it is not known yet whether it makes the same code, and what slow tests say.
    ASKED = ("survived", "quick tests")

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


def try_all(mutants, results, jobs, is_singly):
    build = Build({mutant.path for mutant, _ in mutants})
    often = collections.Counter()
    for name, (outcome, detail) in results.known.items():
        program, _, test = detail.partition(" ")
        if outcome == "noticed" and "." in test:
            noticing = build.noticing.setdefault(name.split(": ")[0], [])
            if (program, test) not in noticing:
                noticing.append((program, test))
            often[program, test] += 1
    for (program, test), _ in often.most_common():
        build.often.setdefault(program, []).append(test)
    places = queue.Queue()
    for number in range(jobs):
        places.put(os.path.join(TRIALS, str(number)))

    def tell(mutant, outcome, detail, begin):
        with build.lock:
            results.add(mutant, outcome, detail)
            print(f"{outcome:8} {time.monotonic() - begin:5.1f} s  {mutant.place}  {detail}",
                  flush=True)

    left = {mutant: (text, results.known.get(mutant.name) == Results.ASKED and not is_singly)
            for mutant, text in mutants}

    def try_likely(source):
        """Compiles all the mistakes in a source at once."""
        path, entries = source
        begin = time.monotonic()
        trial = Switched(build, [mutant for mutant, _ in entries], entries[0][1],
                         os.path.join(TRIALS, path))
        print(f"{len(trial.held) if trial.is_usable else 0} of {len(entries)} mistakes in "
              f"{path} compiled at once", flush=True)
        for mutant, noticed in trial.judge_likely():
            del left[mutant]
            tell(mutant, "noticed", noticed, begin)
            begin = time.monotonic()
        return trial

    def try_others(trial):
        begin = time.monotonic()
        for mutant, noticed in trial.judge_others():
            tell(mutant, *(("noticed", noticed) if noticed else Results.ASKED), begin)
            begin = time.monotonic()
            if noticed:
                del left[mutant]
            else:
                left[mutant] = left[mutant][0], True
        subprocess.run(["rm", "-rf", trial.place], check=True)

    def try_one(mutant):
        place, begin = places.get(), time.monotonic()
        text, is_asked = left[mutant]
        try:
            tell(mutant, *Trial(build, mutant, text, place).judge(text, is_asked), begin)
        finally:
            places.put(place)

    sources = {}
    for mutant, (text, is_asked) in left.items():
        if not is_asked and not is_singly:
            sources.setdefault(mutant.path, []).append((mutant, text))
    sources = [source for source in sources.items() if len(source[1]) >= FEWEST_AT_ONCE]
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        trials = list(pool.map(try_likely, sources))
        list(pool.map(try_others, trials))
        list(pool.map(try_one, list(left)))
    subprocess.run(["rm", "-rf", TRIALS], check=True)


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
    parser.add_argument("--again", action="store_true",
                        help="those once more that had survived, each compiled by itself")
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
    tried = {name for name, known in results.known.items()
             if known != Results.ASKED and not (arguments.again and known[0] == "survived")}
    untried = [(mutant, text) for mutant, text in mutants if mutant.name not in tried]
    if untried and not arguments.report:
        try_all(untried, results, arguments.jobs, arguments.again)
    is_all = not (arguments.file or arguments.without or arguments.only or arguments.sample)
    return report(mutants, results, is_all)


def report(mutants, results, is_all):
    outcomes = {}
    for mutant, _ in mutants:
        known = results.known.get(mutant.name, ("untried", ""))
        outcomes.setdefault("open" if known == Results.ASKED else known[0], []).append(mutant)
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
    print(f"{len(mutants)} mistakes, {count.get('untried', 0)} of them not made yet, "
          f"{count.get('open', 0)} not noticed by the quick tests and not asked further; "
          f"{count.get('invalid', 0)} do not compile, {count.get('same', 0)} make the same code; "
          f"of the other {judged} {noticed} are noticed "
          f"({100 * noticed / max(judged, 1):.1f} %), {len(survived)} survive, "
          f"{len(unexplained)} of these without a reason")
    # When none could be judged, something else is wrong.
    return 1 if unexplained or stale or judged == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
