"""Compares this library with the restatement of its operations in these modules, bit by bit.

The cases are made from a seed by the program Veko2_OracleCases, which writes them to a file and this
library's answers to another. The modules read the cases, answer them as the contracts tell, and
every array of the answers must be the same. The two sides share no code. NaNs that were computed
count as equal whatever their bits, since no contract tells which they are.
"""

import argparse
import os
import shlex
import subprocess
import sys
import tempfile
import time

try:
    import numpy as np
except ImportError:
    print("Skipped: python3-numpy is not installed; scripts/install-dependencies installs it.")
    sys.exit(77)  # not 0: nothing was compared

import arithmetic
import cached_models
import cut_operation
import cutting
import normals
import scans
import small_components
from arrays import read_arrays, write_arrays


class Kind:
    def __init__(self, answer, share, chunk, counted=None, needs_answers=False,
                 has_floats=True, has_borders=False):
        self.answer = answer
        self.share = share  # how many cases for each one that is asked for
        self.chunk = chunk  # how many are made at once
        self.counted = counted  # the offsets that tell how many surfels there were
        self.needs_answers = needs_answers
        self.has_floats = has_floats
        self.has_borders = has_borders  # whether surfels at a border of the mask are counted
        self.has_kernels = counted is not None  # whether a loop does the work


KINDS = {
    "arithmetic": Kind(arithmetic.answer, 1, 50000),
    "box": Kind(arithmetic.answer_boxes, 1, 50000),
    "normal": Kind(normals.answer, 1, 100000, needs_answers=True),
    "freeze": Kind(cut_operation.answer_freezing, 1, 50000, has_floats=False),
    "nearest": Kind(small_components.answer_nearest, 0.1, 2000, "query_offsets"),
    "cut": Kind(cutting.answer, 1, 4000, "position_offsets", has_borders=True),
    "cut-operation": Kind(cut_operation.answer, 0.1, 1000, "position_offsets"),
    "small-component-operation": Kind(small_components.answer, 0.1, 1000, "position_offsets"),
    "cached-model": Kind(cached_models.answer, 0.1, 1000, "vertex_offsets"),
}
# Where the sign of a zero depends on the order in which corners are visited, which is open.
UNSIGNED_ZEROS = {"transformed_box"}
# How many values of an array are shown when a case fails.
SHOWN_VALUES = 48
# One in so many cases holds a directed float at least, and one in so many has a surfel at a border.
DIRECTED_INTERVAL = 5


class Comparison:
    def __init__(self, program, kernel, folder):
        self.program = program  # with the emulator in front, if any
        self.kernel = kernel
        self.folder = folder

    def start(self, kind, seed, first, count, slot):
        """Starts to make and answer cases; the result is for finish()."""
        cases = os.path.join(self.folder, f"cases{slot}")
        answers = os.path.join(self.folder, f"answers{slot}")
        command = [*self.program, "--kind", kind, "--cases", cases, "--answers", answers]
        if seed is not None:
            command += ["--seed", str(seed), "--first", str(first), "--count", str(count)]
        if self.kernel:
            command += ["--kernel", self.kernel]
        return subprocess.Popen(command), cases, answers, kind

    def finish(self, started):
        """The cases, how many of them hold a directed float and have a surfel at a border, and the
        arrays that differ."""
        process, cases_path, answers_path, kind = started
        if process.wait() != 0:
            raise SystemExit(f"{self.program[-1]} failed.")
        cases, answers = read_arrays(cases_path), read_arrays(answers_path)
        os.remove(cases_path)
        os.remove(answers_path)
        directed = int(np.count_nonzero(cases.pop("directed", ())))
        with np.errstate(all="ignore"):
            if KINDS[kind].needs_answers:
                expected = KINDS[kind].answer(cases, answers)
            else:
                expected = KINDS[kind].answer(cases)
        at_border = int(np.count_nonzero(expected.pop("at_border", ())))
        return cases, np.array([directed, at_border]), differences(answers, expected)

    def compare(self, kind, cases):
        """The arrays that differ in the answers to given cases."""
        write_arrays(os.path.join(self.folder, "cases0"), cases)
        return self.finish(self.start(kind, None, 0, 0, 0))[2]

    def run(self, kind, seed, first, count):
        return self.finish(self.start(kind, seed, first, count, 0))

    def failing_cases(self, kind, seed, first, count, limit):
        """The single cases that fail, found by halving, and how large each is."""
        cases, _, different = self.run(kind, seed, first, count)
        if not different:
            return []
        if count == 1:
            return [(sum(values.nbytes for values in cases.values()), first, cases, different)]
        half = count // 2
        found = self.failing_cases(kind, seed, first, half, limit)
        if len(found) < limit:
            found += self.failing_cases(kind, seed, first + half, count - half, limit)
        return found


def bits(name, values):
    """The values as integers; all NaNs of floats are one."""
    values = np.ascontiguousarray(values).ravel()
    if values.dtype.kind != "f":
        return values
    if name in UNSIGNED_ZEROS:
        values = values + values.dtype.type(0)
    unsigned = np.dtype(f"u{values.dtype.itemsize}")
    return np.where(np.isnan(values), values.dtype.type(np.nan), values).view(unsigned)


def differences(answers, expected):
    """The names of the arrays that are not the same, with what they hold."""
    result = {}
    for name in sorted(set(answers) | set(expected)):
        ours, theirs = answers.get(name), expected.get(name)
        if ours is None or theirs is None or ours.dtype != theirs.dtype.newbyteorder("<"):
            result[name] = (ours, theirs)
        elif not np.array_equal(bits(name, ours), bits(name, theirs)):
            result[name] = (ours, theirs)
    return result


def shown(values):
    """Values for a person, floats with their bits."""
    if values is None:
        return "missing"
    flat = values.ravel()
    texts = [
        f"{value:.9g}[{int(value.view(f'u{flat.dtype.itemsize}')):0{2 * flat.dtype.itemsize}x}]"
        if flat.dtype.kind == "f" else str(value)
        for value in flat[:SHOWN_VALUES]
    ]
    more = f" ... {flat.size} in all" if flat.size > SHOWN_VALUES else ""
    return f"{list(values.shape)} {' '.join(texts)}{more}"


def report(comparison, kind, seed, first, count):
    """Prints the smallest of the cases that fail."""
    found = comparison.failing_cases(kind, seed, first, count, 20)
    if not found:
        print(f"{kind}: cases {first} to {first + count - 1} of seed {seed} differ together only.")
        return
    _, index, cases, different = min(found, key=lambda entry: entry[0])
    print(f"\n{kind}, seed {seed}: the smallest of {len(found)} failing cases found is {index}")
    for name, values in cases.items():
        print(f"  {name} {shown(values)}")
    print("  answers that differ:")
    for name, (ours, theirs) in different.items():
        print(f"  {name}\n    is       {shown(ours)}\n    must be  {shown(theirs)}")
    print(f"Again: scripts/check-oracle --kind {kind} --seed {seed} --first {index} --cases 1")


def check(comparison, kind, seed, first, count):
    """Compares that many cases in chunks.

    Returns how many of them hold a directed float, how many have a surfel at a border, and the
    number of surfels, or None after a difference.
    """
    chunk = KINDS[kind].chunk
    starts = list(range(first, first + count, chunk))
    total, surfels = np.zeros(2, np.int64), 0

    def start(position):
        at = starts[position]
        return comparison.start(kind, seed, at, min(chunk, first + count - at), position % 2)

    # While one chunk is compared the next one is made.
    started = start(0)
    for position, at in enumerate(starts):
        following = start(position + 1) if position + 1 < len(starts) else None
        cases, numbers, different = comparison.finish(started)
        if different:
            if following:
                following[0].wait()
            report(comparison, kind, seed, at, min(chunk, first + count - at))
            return None
        total += numbers
        if KINDS[kind].counted:
            surfels += int(cases[KINDS[kind].counted][-1])
        started = following
    directed, at_border = total.tolist()
    return directed, at_border, surfels


def stored_cases(path):
    """The cases that once failed: lines of kind, seed, first, count."""
    with open(path, encoding="utf-8") as file:
        for line in file:
            fields = line.split("#")[0].split()
            if fields:
                yield fields[0], int(fields[1]), int(fields[2]), int(fields[3])


def jobs(options):
    """What is compared: kind, seed, first, count, and whether all sorts of cases are among them."""
    if options.kind:
        return [(kind, options.seed, options.first, options.cases, options.long)
                for kind in options.kind]
    stored = [(*case, False) for case in stored_cases(
        os.path.join(os.path.dirname(os.path.abspath(__file__)), "Seeds.txt"))]
    made = [(name, options.seed, options.first, max(1, round(options.cases * kind.share)),
             options.long) for name, kind in KINDS.items()]
    return [job for job in stored + made if not options.kernel or KINDS[job[0]].has_kernels]


def check_scans(comparison, folder):
    """Compares the operations on all scans of a folder; whether there is no difference."""
    paths = scans.scan_paths(folder)
    if not paths:
        raise SystemExit(f"There are no scans in {folder}.")
    points, calls = 0, 0
    for path in paths:
        begin = time.monotonic()
        positions = scans.read_positions(path)
        for kind, cases in scans.cases(positions):
            different = comparison.compare(kind, cases)
            if different:
                print(f"{path}: {kind} differs in")
                for name, (ours, theirs) in different.items():
                    print(f"  {name}\n    is       {shown(ours)}\n    must be  {shown(theirs)}")
                return False
            calls += 1
        points += len(positions)
        missing = len(positions) - int(np.isfinite(positions).all(axis=1).sum())
        print(f"{os.path.relpath(path, folder)}: {len(positions)} points, {missing} not finite, "
              f"0 differences, {time.monotonic() - begin:.1f} s", flush=True)
    print(f"{len(paths)} scans, {calls} cases, {points} points, 0 differences")
    return True


def main():
    parser = argparse.ArgumentParser(prog="check-oracle", description=__doc__.splitlines()[0])
    parser.add_argument("--program", required=True, help="the built Veko2_OracleCases")
    parser.add_argument("--emulator", default="", metavar="COMMAND",
                        help="runs the program, which is made for another processor")
    parser.add_argument("--cases", type=int, default=2000,
                        help="of each kind; of whole batches a tenth (default: 2000)")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--first", type=int, default=0, help="the index of the first case")
    parser.add_argument("--kind", choices=KINDS, action="append", help="only this kind")
    parser.add_argument("--kernel", help="the instruction set that has to answer, or all")
    parser.add_argument("--long", action="store_true",
                        help="10^6 cases, 10^5 whole batches; more than 10^8 surfels")
    parser.add_argument("--scans", metavar="FOLDER", help="only the scans of this folder")
    options = parser.parse_args()
    if options.long:
        options.cases = 1000000
    if options.cases < 1:
        parser.error("--cases must be at least 1")

    program = [*shlex.split(options.emulator), options.program]
    kernels = [options.kernel]
    if options.kernel == "all":
        kernels = subprocess.run([*program, "--kernels", "all"], check=True,
                                 stdout=subprocess.PIPE, text=True).stdout.split()
        if not kernels:
            print(f"Nothing was compared: {options.program} lists no kernel.")
            return 1
    total_cases, total_surfels = 0, 0
    with tempfile.TemporaryDirectory(prefix="check-oracle-") as folder:
        for kernel in kernels:
            comparison = Comparison(program, kernel, folder)
            if options.scans:
                if not check_scans(comparison, options.scans):
                    return 1
                continue
            for kind, seed, first, count, is_long in jobs(options):
                begin = time.monotonic()
                numbers = check(comparison, kind, seed, first, count)
                if numbers is None:
                    print(f"There are differences; seed {seed}.")
                    return 1
                directed, at_border, surfels = numbers
                total_cases += count
                total_surfels += surfels
                shares = []
                if KINDS[kind].has_floats:
                    shares.append((directed, "with directed floats"))
                if KINDS[kind].has_borders:
                    shares.append((at_border, "with surfels at a border of the mask"))
                print("".join([f"{kind}{' by ' + kernel if kernel else ''}: {count} cases, ",
                               *(f"{number} of them {which}, " for number, which in shares),
                               f"{surfels} points, 0 differences, "
                               f"{time.monotonic() - begin:.1f} s"]), flush=True)
                for number, which in shares:
                    if is_long and number * DIRECTED_INTERVAL < count:
                        print(f"Less than one in {DIRECTED_INTERVAL} cases is one {which}.")
                        return 1
    if options.scans:
        return 0
    print(f"{total_cases} cases, {total_surfels} points, 0 differences")
    return 0 if total_cases > 0 else 1


if __name__ == "__main__":
    sys.exit(main())
