"""Writes a source that holds many mistakes, of which the environment says which one is made.

Compiled once, it is run for each of them. Mistakes in constants are not made in it, and there are
some that it cannot hold: those have to be made one at a time. See Mistakes.h.
"""

from mutants import CLOSING, OPENING, conditions_of, is_operator, partners_of, tokens_of

SUMS = ("+", "-")
ENDS = {"&&": ("&&", "||"), "||": ("||",)}


def is_end(token, text, signs):
    sign = token.group()
    return sign in (";", ",", "?", ":", "=", "return", "&&", "||") and sign not in signs or \
        sign.endswith("=") and len(sign) > 1 and sign not in ("==", "!=", "<=", ">=")


def operand_before(text, tokens, partners, index):
    """Where the left operand of && or || begins."""
    own = ("&&",) if tokens[index].group() == "&&" else ("&&", "||")
    index -= 1
    while index >= 0:
        sign = tokens[index].group()
        if sign in CLOSING:
            if sign == "}":
                return None
            index = partners[index]
        elif sign in OPENING or is_end(tokens[index], text, own):
            return tokens[index + 1].start()
        elif sign in (">", ">>", "<") and not is_operator(text, tokens[index]):
            return None  # a template's brackets may hold a comma
        index -= 1
    return None


def operand_after(text, tokens, partners, index):
    """Where the right operand of && or || ends."""
    own = () if tokens[index].group() == "&&" else ("&&",)
    index += 1
    while index < len(tokens):
        sign = tokens[index].group()
        if sign in OPENING:
            if sign == "{":
                return None
            index = partners[index]
        elif sign in CLOSING or is_end(tokens[index], text, own):
            return tokens[index - 1].end()
        elif sign in (">", ">>", "<") and not is_operator(text, tokens[index]):
            return None
        index += 1
    return None


class Edits:
    """Replaced pieces of a text, and what is put around others."""

    def __init__(self, text):
        self.text, self.pieces, self.around = text, {}, []

    def replace(self, begin, end, new):
        self.pieces[begin] = (end, new)

    def enclose(self, begin, end, before, after):
        self.around.append((begin, end, before, after))

    def applied(self):
        begins, ends = {}, {}
        for begin, end, before, after in sorted(self.around, key=lambda one: one[0] - one[1]):
            begins[begin] = begins.get(begin, "") + before
            ends[end] = after + ends.get(end, "")
        result, position = [], 0
        for place in sorted({*begins, *ends, *self.pieces}):
            if place < position:
                continue
            result.append(self.text[position:place])
            position = place
            result += [ends.get(place, ""), begins.get(place, "")]
            if place in self.pieces:
                end, new = self.pieces[place]
                result.append(new + "\n" * self.text.count("\n", place, end))
                position = end
        return "".join(result) + self.text[position:]


def switched(text, mutants):
    """The text with those of the mistakes that it can hold, and their numbers: of each its index."""
    tokens = tokens_of(text)
    partners = partners_of(tokens)
    index_at = {token.start(): index for index, token in enumerate(tokens)}
    conditions = {begin: condition for begin, condition, _, _ in conditions_of(text, tokens, partners)}
    at = {}
    for number, mutant in enumerate(mutants):
        at.setdefault(mutant.sign, []).append((number, mutant))
    edits, held = Edits(text), set()
    for place, here in at.items():
        index = index_at[place]
        token, previous = tokens[index], tokens[index - 1]
        old, begin, end = token.group(), token.start(), token.end()
        numbers = [number for number, mutant in here]
        whole = [(number, mutant) for number, mutant in here if mutant.kind == "condition" and
                 conditions.get(place) == mutant.old]
        for number, mutant in whole:
            if "=" not in mutant.old and "{" not in mutant.old:
                edits.enclose(begin, begin + len(mutant.old),
                              f"(Mistakes::Is({number}) != static_cast<bool>(", "))")
                held.add(number)
        here = [one for one in here if one not in whole]
        numbers = [number for number, _ in here]
        if not here:
            continue
        is_first = not previous.group() in ("*", "-", "~", "&", "!", "++", "--") or \
            text[previous.end()].isspace()
        if token.lastgroup == "number":
            if tokens[index - 2].group() == "vector_size" or tokens[index + 1].start() == end and \
                    tokens[index + 1].lastgroup == "word":  # 0x1p-20, of which 0x1 is a token
                continue
            new = old
            for number, mutant in here:
                new = f"(Mistakes::Is({number}) ? {mutant.new} : {new})"
            edits.replace(begin, end, new)
        elif old in ("true", "false"):
            edits.replace(begin, end, f"(Mistakes::Is({numbers[0]}) ? {here[0][1].new} : {old})")
        elif old in ("min", "max"):
            edits.replace(begin - 5, end, f"Mistakes::C{old.capitalize()}<{numbers[0]}>::Of")
        elif old in ("++", "--"):
            if not is_first or tokens[index + 1].lastgroup != "word" or \
                    text[end:end + 1].isspace() or (begin and text[begin - 1] not in " (\n;,"):
                continue
            name = "Increment" if old == "++" else "Decrement"
            edits.replace(begin, end, f"Mistakes::C{name}<{numbers[0]}>()->*")
        elif old == "!":
            if not is_first:
                continue
            edits.replace(begin, end, f"Mistakes::CNot<{numbers[0]}>()->*")
        elif old in ("&&", "||"):
            left = operand_before(text, tokens, partners, index)
            right = operand_after(text, tokens, partners, index)
            if left is None or right is None:
                continue
            made = f"Mistakes::Is({numbers[0]})"
            if old == "&&":
                edits.enclose(left, right, "((static_cast<bool>(", f") : {made})")
                edits.replace(begin, end, f") != {made}) ? static_cast<bool>(")
            else:
                edits.enclose(left, right, "((static_cast<bool>(", "))")
                edits.replace(begin, end, f") != {made}) ? !{made} : static_cast<bool>(")
        elif is_operator(text, token):
            operators = [number for number, mutant in here if mutant.kind == "operator"]
            swaps = [number for number, mutant in here if mutant.kind == "order" and
                     mutant.old != old and mutant.begin != place]
            if swaps:
                first = index_at[here[[n for n, _ in here].index(swaps[0])][1].begin]
                if tokens[first - 1].group() in SUMS:
                    swaps = []
            numbers = operators[:1] + swaps[:1]
            if not operators:
                continue
            edits.replace(begin, end, f"{old} Mistakes::COperator<" +
                          ", ".join(str(number) for number in numbers) + f">() {old}")
        else:
            continue
        held.update(numbers)
    return edits.applied(), held
