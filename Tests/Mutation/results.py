"""What is known of the mistakes."""

import os

from build import FOLDER, ROOT

SURVIVORS = os.path.join(ROOT, "Tests", "Mutation", "Survivors.txt")


class Results:
    """What is known of each mistake by its name, kept in a file that lines are appended to."""

    # And it is not known yet whether it makes the same code, and what slow tests say.
    ASKED = ("survived", "quick tests")

    def __init__(self):
        self.path = os.path.join(FOLDER, "results.txt")
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


def report(mutants, results, at_least, is_whole):
    """Tells the outcomes; 1 when something is wrong. Sources are whole when all of their mistakes are
    among these: a reason for any other is stale."""
    outcomes = {}
    for mutant, _ in mutants:
        known = results.known.get(mutant.name, ("untried", ""))
        outcomes.setdefault("open" if known == Results.ASKED else known[0], []).append(mutant)
    count = {outcome: len(of_it) for outcome, of_it in outcomes.items()}
    survived, reasons = outcomes.get("survived", []), explained()
    unexplained = [mutant for mutant in survived if mutant.name not in reasons]
    for mutant in unexplained:
        print(f"survived without a reason: {mutant.place}\n    {mutant.name}")
    stale = {name for name in reasons - {mutant.name for mutant, _ in mutants}
             if is_whole(name.split(": ")[0])}
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
    is_enough = True
    if at_least is not None:
        is_enough = 100 * noticed >= at_least * judged
        if not is_enough:
            print(f"Less than {at_least:g} % are noticed")
        if count.get("untried") or count.get("open"):
            print("It is not known yet whether all of the others are noticed")
            is_enough = False
    # When none could be judged, something else is wrong.
    return 1 if unexplained or stale or judged == 0 or not is_enough else 0
