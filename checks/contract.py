#!/usr/bin/env python3
"""contract.py ROOT: the tables of promised aborts name what the code asserts.

Every KOR_ASSERT in src/ has a row "function<TAB>expression" in one of the
files tests/contract/assertions/*.tsv, and every row its KOR_ASSERT.  The
function is the one that the message prints: the innermost one around the
assertion, without its class or namespace.
"""
import pathlib
import re
import sys

# Comments, strings and characters; 10'000 holds no character.
QUOTED = re.compile(
    r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"|(?<!\w)'(?:\\.|[^'\\\n])*'",
    re.S)
DIRECTIVE = re.compile(r"^[ \t]*#(?:[^\n\\]|\\.)*", re.M | re.S)
ASSERTION = re.compile(r"\bKOR_ASSERT\b\s*(\(?)")
ATTRIBUTE = re.compile(r"\[\[.*?\]\]", re.S)
ACCESS = re.compile(r"\b(?:public|protected|private)\s*:(?!:)")
SCOPE = re.compile(r"^(?:extern|namespace|inline namespace)\b[^()=]*$|"
                   r"\b(?:class|struct|union|enum)\b[^()=]*$")
LAMBDA = re.compile(r"\[[^\[\]]*\]\s*(?:\([^{}]*\))?[^(){};]*$")
NAME = re.compile(r"(operator[^(]*\(\)|operator\s*[^\s(]+|~?\w+)\s*\(")


def blanked(pattern, text):
    """The text with blanks for what matches; places and lines stay."""
    return pattern.sub(lambda m: re.sub(r"[^\n]", " ", m[0]), text)


def without_templates(header):
    """The header of a block without <...> behind a name."""
    previous = None
    while previous != header:
        previous = header
        header = re.sub(r"(\w\s*)<[^<>]*>", r"\1", header)
    return header


class Block:
    """What a pair of braces encloses, told by the text before them."""

    def __init__(self, header, outer):
        header = ACCESS.sub("", ATTRIBUTE.sub(" ", header))
        header = without_templates(header).strip()
        in_function = outer is not None and outer.function is not None
        name = NAME.search(header)
        self.is_scope = bool(SCOPE.search(header))
        if self.is_scope:
            self.function = None
        elif LAMBDA.search(header):
            self.function = "operator()"
        elif in_function:
            self.function = outer.function
        elif name and "=" not in header[:name.start()]:
            self.function = name[1]
        else:
            self.function = None


def blocks(code):
    """Yields (start, end, function) of each block, the inner ones first."""
    stack = []
    begin = 0
    for place in re.finditer(r"[{};]", code):
        mark = place.start()
        if place[0] == "{":
            outer = stack[-1][0] if stack else None
            stack.append((Block(code[begin:mark], outer), mark))
        elif place[0] == "}":
            block, start = stack.pop()
            yield start, mark, block.function
        begin = place.end()
    if stack:
        raise ValueError("unbalanced braces")


def closing(code, opening):
    """Where the parenthesis that opens at `opening` closes."""
    depth = 0
    for place in re.finditer(r"[()]", code[opening:]):
        depth += 1 if place[0] == "(" else -1
        if depth == 0:
            return opening + place.start()
    raise ValueError("unbalanced parentheses")


def stated(path):
    """Yields (line, function, expression) for each assertion of a file, or
    (line, None, what is wrong with it)."""
    text = path.read_text()
    code = blanked(QUOTED, text)
    for directive in DIRECTIVE.finditer(code):
        defines_it = re.match(r"\s*#\s*define\s+KOR_ASSERT\b", directive[0])
        if ASSERTION.search(directive[0]) and not defines_it:
            line = code.count("\n", 0, directive.start()) + 1
            yield line, None, "an assertion within another macro"
    code = blanked(DIRECTIVE, code)
    enclosing = list(blocks(code))
    for place in ASSERTION.finditer(code):
        line = code.count("\n", 0, place.start()) + 1
        function = next((name for start, end, name in enclosing
                         if start < place.start() < end), None)
        if not place[1]:
            yield line, None, "an assertion without its words"
        elif function in (None, "operator()"):
            yield line, None, "an assertion that names no function"
        else:
            opening = place.end() - 1
            expression = text[opening + 1:closing(code, opening)]
            yield line, function, " ".join(expression.split())


def rows(folder):
    """Yields (place, function, expression) for each row of the tables."""
    for table in sorted(folder.glob("*.tsv")):
        for number, line in enumerate(table.read_text().splitlines(), 1):
            if line and not line.startswith("#"):
                fields = line.split("\t") + [""]
                yield f"{table.name}:{number}", fields[0], fields[1]


def check(root):
    errors = []
    asserted = {}
    for path in sorted((root / "src").glob("*/*.[ch]pp")):
        for line, function, expression in stated(path):
            place = f"{path.relative_to(root)}:{line}"
            if function is None:
                errors.append(f"{place}: {expression}")
            else:
                asserted.setdefault((function, expression), place)
    promised = {}
    for place, function, expression in rows(root / "tests/contract/assertions"):
        if (function, expression) in promised:
            errors.append(f"{place}: {function}: {expression}: stands twice")
        promised[function, expression] = place
    for key in sorted(asserted.keys() - promised.keys()):
        errors.append(f"{asserted[key]}: {key[0]}: {key[1]}: has no row")
    for key in sorted(promised.keys() - asserted.keys()):
        errors.append(f"{promised[key]}: {key[0]}: {key[1]}: is not asserted")
    return errors, len(asserted), len(promised)


if __name__ == "__main__":
    found, nasserted, npromised = check(pathlib.Path(sys.argv[1]))
    for error in found:
        print(error)
    print(f"{nasserted} assertions, {npromised} rows")
    sys.exit(1 if found else 0)
