"""One mistake, made and judged."""

import os
import re
import subprocess

from build import FOLDER, LIBRARIES, PROCESSOR_LIMIT, QUICK_LIMIT, programs_for, read, run

# Tests asked first: those that noticed the last mistakes in a source, or most of those in any.
MOST_LATELY, MOST_OFTEN = 12, 8


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
            if not same_bytes(self.made[output], os.path.join(FOLDER, output)):
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
            binary = os.path.join(FOLDER, self.build.output_of(program))
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
