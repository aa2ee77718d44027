"""Lists the small changes that could be made to a C++ source, each a mistake that a test should notice.

The sources are formatted by scripts/check-format, and that is relied on: a binary operator has a
space on both sides, while the signs of templates, references, pointers and signs of numbers have
not, and nothing in an operand stands apart but in brackets.
"""

import re

TOKEN = re.compile(
    r"""(?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:[^\n\\]|\\.|\\\n)*|\s+|u8R?"(?:[^"\\]|\\.)*"|
                 L?"(?:[^"\\]|\\.)*"|L?'(?:[^'\\]|\\.)*')
      | (?P<number>(?:0[xX][0-9a-fA-F']+|(?:\d[\d']*)?\.?\d[\d']*(?:[eE][+-]?\d+)?\.?)[uUlLfFzZ]*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<sign><<=|>>=|<=>|->\*|\.\.\.|<<|>>|<=|>=|==|!=|&&|\|\||\+\+|--|->|::|[-+*/%&|^]=|.)""",
    re.VERBOSE | re.DOTALL | re.MULTILINE)

OPERATORS = {  # where both sides have a space
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==",
    "&&": "||", "||": "&&", "+": "-", "-": "+", "+=": "-=", "-=": "+=",
    "<<": ">>", ">>": "<<", "<<=": ">>=", ">>=": "<<=",
    "&": "|", "|": "&", "^": "|", "&=": "|=", "|=": "&=", "^=": "|="}
WORDS = {"true": "false", "false": "true", "min": "max", "max": "min"}
OPENING, CLOSING = "([{", ")]}"
MATRIX = re.compile(r"[Mm]atrix(?![\[(])|[Tt]rafo|transform\d|[Pp]rojection")  # and not its elements


class Mutant:
    """One change: old at begin of the text becomes new."""

    def __init__(self, path, text, begin, old, new, kind, sign=None):
        self.path, self.begin, self.old, self.new, self.kind = path, begin, old, new, kind
        self.sign = begin if sign is None else sign  # where the operator of swapped operands is
        self.line = text.count("\n", 0, begin) + 1
        first = text.rfind("\n", 0, begin) + 1
        last = text.find("\n", begin + len(old))
        self.column = begin - first + 1
        change = text[first:begin] + f"[{old} -> {new}]" + text[begin + len(old):last]
        # Says what changes where, also after other lines were added to the file.
        self.name = f"{path}: {' '.join(change.split())}"
        self.place = f"{path}:{self.line}:{self.column}:{kind}"

    def apply(self, text):
        return text[:self.begin] + self.new + text[self.begin + len(self.old):]


def tokens_of(text):
    return [match for match in TOKEN.finditer(text) if match.lastgroup != "skip"]


def partners_of(tokens):
    """For each opening or closing bracket the index of the other."""
    partners, opened = {}, []
    for index, token in enumerate(tokens):
        if token.group() in OPENING:
            opened.append(index)
        elif token.group() in CLOSING and opened:
            partners[index] = opened.pop()
            partners[partners[index]] = index
    return partners


def other_numbers(number):
    """The number before it, or after 0; of a mask one with the lowest and one with the highest bit
    changed."""
    is_mask = number[:2] in ("0x", "0X")
    digits = number.rstrip("uUlLzZ" if is_mask else "uUlLzZfF")
    suffix = number[len(digits):]
    plain = digits.replace("'", "")
    if is_mask:
        value = int(plain, 16)
        highest = 1 << max(value.bit_length() - 1, 0)
        return [f"0x{changed:X}{suffix}" for changed in sorted({value ^ 1, value ^ highest})]
    value = float(plain) if "." in plain or "e" in plain else int(plain)
    return [f"{value - 1 if value else value + 1!r}{suffix}"]


def is_operator(text, token):
    return token.group() in OPERATORS and text[token.start() - 1].isspace() \
        and text[token.end()].isspace()


def ends_term(text, token):
    """Whether no product goes on here."""
    sign = token.group()
    return sign in OPENING + CLOSING + ";,:?=" or sign == "return" or is_operator(text, token)


def term_before(text, tokens, partners, index):
    """The first token of the product that ends with token index, and where it begins."""
    while True:
        if tokens[index].group() in CLOSING:
            index = partners[index]
        if index == 0 or (
                ends_term(text, tokens[index - 1]) and tokens[index - 1].group() not in CLOSING):
            return index, tokens[index].start()
        index -= 1


def term_after(text, tokens, partners, index):
    """Where the product ends that begins with token index."""
    while True:
        if tokens[index].group() in OPENING:
            index = partners[index]
        index += 1
        if ends_term(text, tokens[index]) and tokens[index].group() not in OPENING:
            return tokens[index - 1].end()


def swapped_operands(text, tokens, partners, index):
    """b - a for a - b: the old text's begin, it, and the new."""
    _, begin = term_before(text, tokens, partners, index - 1)
    end = term_after(text, tokens, partners, index + 1)
    sign, behind = tokens[index - 1].end(), tokens[index + 1].start()
    return begin, text[begin:end], text[behind:end] + text[sign:behind] + text[begin:sign]


def swapped_sum(text, tokens, partners, index):
    """(a + b) + c as (a + c) + b, whose roundings differ: the old text's begin, it, and the new."""
    close = index - 1
    if tokens[index].group() != "+" or tokens[close].group() != ")":
        return None
    inner = close - 1
    while inner > partners[close] and tokens[inner].group() != "+":
        inner = partners[inner] - 1 if tokens[inner].group() in CLOSING else inner - 1
    if inner == partners[close]:
        return None
    begin, end = tokens[inner + 1].start(), term_after(text, tokens, partners, index + 1)
    b, c = text[begin:tokens[close].start()], text[tokens[index + 1].start():end]
    between = text[tokens[close].start():tokens[index + 1].start()]
    return begin, text[begin:end], c + between + b


def conditions_of(text, tokens, partners):
    """Conditions that hold no operator which is changed anyway."""
    for index, token in enumerate(tokens[:-1]):
        if token.group() in ("if", "while") and tokens[index + 1].group() == "(":
            inside = tokens[index + 2:partners[index + 1]]
            if not any(inner.group() in OPERATORS or inner.group() in ("!", ";") for inner in inside):
                condition = text[inside[0].start():inside[-1].end()]
                yield inside[0].start(), condition, f"!({condition})", "condition"


def changes_of(text):
    tokens = tokens_of(text)
    partners = partners_of(tokens)
    yield from conditions_of(text, tokens, partners)
    end_of_skipped = 0
    for index, token in enumerate(tokens):
        begin, old = token.start(), token.group()
        if old == "static_assert":
            end_of_skipped = partners[index + 1]
        if index < end_of_skipped:
            continue
        previous = tokens[index - 1] if index else None
        if token.lastgroup == "number":
            for new in other_numbers(old):
                yield begin, old, new, "constant"
        elif old in WORDS and (old in ("true", "false") or text[begin - 5:begin] == "std::"):
            yield begin, old, WORDS[old], "constant" if old in ("true", "false") else "order"
        elif old in ("++", "--"):
            yield begin, old, "--" if old == "++" else "++", "step"
        elif old == "!" and not text[token.end()].isspace():
            yield begin, old, "", "condition"
        elif is_operator(text, token):
            yield begin, old, OPERATORS[old], "operator"
            if old == "-":
                first, _ = term_before(text, tokens, partners, index - 1)
                if tokens[first - 1].group() != "-":
                    yield *swapped_operands(text, tokens, partners, index), "order", begin
            swapped = swapped_sum(text, tokens, partners, index)
            if swapped is not None:
                yield *swapped, "order"
        elif old == "*" and text[begin - 1].isspace() and text[token.end()].isspace():
            # Of numbers the order does not matter.
            swapped = swapped_operands(text, tokens, partners, index)
            if MATRIX.search(swapped[1]):
                yield *swapped, "order", begin


def mutants_of(path, text):
    names = {}
    for change in sorted(changes_of(text)):
        mutant = Mutant(path, text, *change)
        number = names[mutant.name] = names.get(mutant.name, 0) + 1
        if number > 1:
            mutant.name += f" ({number})"
        yield mutant
