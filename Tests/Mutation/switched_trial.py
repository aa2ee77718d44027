"""All mistakes in one source, made by a program that is compiled once."""

import os
import re

from build import LIBRARIES, QUICK_LIMIT, ROOT, programs_for
from switched import switched
from trial import Trial

MISTAKES = os.path.join(ROOT, "Tests", "Mutation", "Mistakes.h")


class SwitchedTrial(Trial):
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
            if re.match(r"(In file included|\s+) from ", line):
                continue  # the line of an #include
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
