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
import os
import queue
import random
import subprocess
import sys
import time

from build import FOLDER, ROOT, SOURCES, Build
from mutants import mutants_of
from results import Results, report
from switched_trial import SwitchedTrial
from trial import Trial

TRIALS = os.path.join(FOLDER, "trials", str(os.getpid()))  # of this run alone
FEWEST_AT_ONCE = 4  # mistakes in one source, for which it is worth it to compile them at once


def is_asked_for(path, arguments):
    return ((not arguments.file or any(part in path for part in arguments.file)) and
            not any(part in path for part in arguments.without))


def list_mutants(arguments):
    """The mistakes that were asked for, each with its source's text."""
    listed = subprocess.run(["git", "ls-files", "--", *SOURCES], cwd=ROOT, capture_output=True,
                            check=True, text=True).stdout.split()
    paths = [path for path in listed if path.endswith((".h", ".cpp")) and
             is_asked_for(path, arguments)]
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
        trial = SwitchedTrial(build, [mutant for mutant, _ in entries], entries[0][1],
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
    parser.add_argument("--at-least", type=float, metavar="PERCENT",
                        help="fail when fewer are noticed, or when any were not made or asked on")
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
    are_sources_whole = not (arguments.only or arguments.sample)
    return report(mutants, results, arguments.at_least,
                  lambda path: are_sources_whole and is_asked_for(path, arguments))


if __name__ == "__main__":
    sys.exit(main())
