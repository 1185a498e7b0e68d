"""Finds the places of a C++ file that can be mutated, and writes each mutation beside the original text.

Every mutation stands behind a switch that is asked when the program runs, so that one build holds many: the original
expression or statement stays in the text, and `kblMutant(N)` chooses. The reader below is no compiler: it knows strings,
comments, brackets and our own way of writing, and whatever it takes for a place but the compiler refuses is dropped when
the tree is built.
"""

import re
from dataclasses import dataclass
from typing import Dict, Iterator, List, Optional, Tuple

KINDS = ("condition", "constant", "order", "call", "text", "severity")


@dataclass(frozen=True)
class Place:
    """One mutation: where it stands and what the text becomes."""

    path: str
    line: int
    column: int
    kind: str
    start: int
    end: int
    template: str
    told: str

    def describe(self) -> str:
        return f"{self.path}:{self.line}:{self.column} [{self.kind}] {self.told}"

    def text(self, number: int) -> str:
        return self.template.replace("@N@", str(number))


SIGNS = {"<": "<=", ">": ">=", "<=": "<", ">=": ">"}
EQUALITIES = {"==": "!=", "!=": "=="}  # where turning the whole condition round is no mutation of its own

_TOKEN = re.compile(
    r"""//[^\n]*|/\*.*?\*/|R"(?P<raw>[^(]*)\(.*?\)(?P=raw)"|"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])+'""", re.DOTALL
)
_DIRECTIVE = re.compile(r"^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*", re.MULTILINE)


def masked(source: str) -> Tuple[str, List[Tuple[int, int]]]:
    """The source with comments, directives and the insides of texts blanked, and where the plain string texts stand."""
    texts = []
    out = list(source)

    def blank(start: int, end: int) -> None:
        for index in range(start, end):
            if out[index] != "\n":
                out[index] = " "

    for found in _TOKEN.finditer(source):
        first = found.group()[0]
        if first == '"':
            texts.append((found.start(), found.end()))
            blank(found.start() + 1, found.end() - 1)
        elif first == "'":
            if re.match(r"[0-9a-fA-F]", source[found.start() - 1]):
                continue  # a digit separator
            blank(found.start() + 1, found.end() - 1)
        else:
            blank(found.start(), found.end())
    text = "".join(out)
    for found in _DIRECTIVE.finditer(text):
        blank(found.start(), found.end())
    return "".join(out), texts


def closing(mask: str, start: int) -> int:
    """The place of the bracket that closes the one at `start`; the text's end without one."""
    pairs = {"(": ")", "{": "}", "[": "]"}
    depth = 0
    for index in range(start, len(mask)):
        if mask[index] in pairs:
            depth += 1
        elif mask[index] in pairs.values():
            depth -= 1
            if depth == 0:
                return index
    return len(mask)


def top_level(mask: str, start: int, end: int, pattern: str) -> List[Tuple[int, int]]:
    """Where `pattern` matches between `start` and `end` outside of all brackets."""
    places = []
    depth = 0
    index = start
    wanted = re.compile(pattern)
    while index < end:
        if mask[index] in "([{":
            depth += 1
        elif mask[index] in ")]}":
            depth -= 1
        elif depth == 0:
            found = wanted.match(mask, index, end)
            if found:
                places.append((found.start(), found.end()))
                index = found.end()
                continue
        index += 1
    return places


_SETTER = re.compile(r"((?:\w+(?:\.|->|::))*(?:set\w*|\w*_setopt|required|optional|read(?:Text|Number)))\s*\(")
_TARGET = re.compile(r"[*]?([\w:.\[\]\"()>\-]+?)\s*=(?!=)|([\w.>\-]+?)(?:\.|->)(?:clear|reset|reserve)\(\)")
_CALL = re.compile(r"(\w+)\s*\(")
# Functions that only read, by the way in which we name them.
_READER = re.compile(
    r"json\w*|text\w*|field\w*|get\w*|\w*_cast|move|c_str|size|empty|begin|end|to_string|clear|reset|\w+Of"
)


def tell_apart(first: str, second: str) -> bool:
    """Whether somebody could notice that two statements changed places: nobody does of two that set different options,
    or that give values to different places and only read besides."""
    setters = [_SETTER.match(text) for text in (first, second)]
    if setters[0] and setters[1] and setters[0].group(1) == setters[1].group(1):
        return False
    targets = []
    for text in (first, second):
        found = _TARGET.match(text)
        if not found or any(not _READER.fullmatch(call) for call in _CALL.findall(text)):
            return True
        targets.append(found.group(1) or found.group(2))
    return targets[0] in second or targets[1] in first


_DECLARATION_HEAD = re.compile(r"\b(namespace|class|struct|enum|union)\b[^;{}()]*$")
_CONTROL_HEAD = re.compile(r"^\s*(?:\}?\s*else\s*)?(?:if|for|while|switch|do|try|catch|else)\b")


class Reader:
    """Walks one file and lists its places."""

    def __init__(self, path: str, source: str) -> None:
        self.path = path
        self.source = source
        self.mask, self.texts = masked(source)
        self.places: List[Place] = []
        self.statements: List[Tuple[int, int, int]] = []  # from, behind the semicolon, number of the block

    def read(self) -> List[Place]:
        self._walk()
        self._simple_statements()
        self._conditions()
        self._constants()
        self._texts()
        return self.places

    def _add(self, kind: str, start: int, end: int, template: str, told: str) -> None:
        line = self.source.count("\n", 0, start) + 1
        column = start - self.source.rfind("\n", 0, start)
        told = re.sub(r"\s+", " ", told)
        self.places.append(Place(self.path, line, column, kind, start, end, template, told))

    def _walk(self) -> None:
        """Notes the statements of all bodies of functions."""
        stack: List[Tuple[str, int, int, int]] = []  # kind of block, statement's begin and depth outside, number
        kind, begin, depth, number, blocks = "space", 0, 0, 0, 0
        self.code: List[Tuple[int, int]] = []
        opened: List[int] = []
        for index, character in enumerate(self.mask):
            if character in "([":
                depth += 1
            elif character in ")]":
                depth -= 1
            elif character == "{":
                head = self.mask[begin:index]
                stack.append((kind, begin, depth, number))
                kind = self._block_kind(kind, head, depth)
                blocks += 1
                begin, depth, number = index + 1, 0, blocks
                opened.append(index)
            elif character == "}" and stack:
                inner, start = kind, opened.pop()
                kind, begin, depth, number = stack.pop()
                if inner == "code" and kind != "code":
                    self.code.append((start, index))
                if inner in ("code", "space") and depth == 0 and not self._goes_on(begin, start):
                    begin = index + 1
            elif character == ";" and depth == 0:
                if kind == "code":
                    self.statements.append((begin, index + 1, number))
                begin = index + 1

    def _goes_on(self, begin: int, brace: int) -> bool:
        """Whether the block that opened at `brace` is a lambda inside a statement that goes on behind it."""
        head = self.mask[begin:brace]
        return (
            "[" in head and not _CONTROL_HEAD.match(head) and re.search(r"=\s*\[|return\s*\[|\(\s*\[", head) is not None
        )

    @staticmethod
    def _block_kind(outer: str, head: str, depth: int) -> str:
        if _DECLARATION_HEAD.search(head):
            return "space" if "namespace" in head else "class"
        stripped = head.rstrip()
        if outer != "code":
            return (
                "code"
                if re.search(r"\)\s*(const|noexcept|override|final|\s)*(->[^;]*)?$", stripped)
                or (re.search(r"\)\s*:\s", stripped) and stripped.endswith(")"))
                else "values"
            )
        if re.search(r"(\belse|\bdo|\btry)$", stripped) or stripped == "":
            return "code"
        if stripped.endswith(")") and (_CONTROL_HEAD.match(head) or depth > 0 or "](" in stripped or "] (" in stripped):
            return "code"
        if stripped.endswith("]") or re.search(r"\)\s*(mutable|->\s*[\w:<>*& ]+)$", stripped):
            return "code"
        return "values"

    def _bare(self, start: int) -> int:
        """The begin of the statement behind the heads of its controls (`if (...)`, `else`, `case X:`)."""
        head = re.compile(
            r"\s*(?:else\b|(?:if(?:\s+constexpr)?|for|while)\s*(?=\()|(?:case\b[^:;]*(?:::[^:;]*)*|default)\s*:(?!:))"
        )
        while True:
            found = head.match(self.mask, start)
            if not found:
                break
            start = found.end()
            if self.mask[start : start + 1] == "(" and not found.group().rstrip().endswith(":"):
                start = closing(self.mask, start) + 1
        return start + len(self.mask[start:]) - len(self.mask[start:].lstrip())

    def _is_simple(self, start: int, end: int) -> bool:
        """A call or an assignment that stands alone and declares nothing."""
        text = self.mask[start:end]
        if re.match(
            r"(return|throw|delete|goto|break|continue|using|typedef|static|const|auto|constexpr|do|try|new)\b", text
        ):
            return False
        if re.match(r"KBL_(MANAGER_)?LOG", text):
            return True
        found = re.match(r"(?:\(void\)\s*)?[*]?[\w:]+(?:<[\w:<>, *]+>)?(?=[\s.(\-\[+=])", text)
        if not found:
            return False
        rest = text[found.end() :]
        return re.match(r"\s*(\(|\.|->|\[|[-+*/|&^]?=(?!=)|\+\+|--)", rest) is not None

    def _simple_statements(self) -> None:
        former: Optional[Tuple[int, int, int, int]] = None
        for begin, end, block in self.statements:
            start = self._bare(begin)
            if start >= end - 1 or not self._is_simple(start, end):
                former = None
                continue
            text = self.source[start:end]
            found = re.match(r"(KBL_(?:MANAGER_)?LOG(?:_AS)?\(\s*)(\w+)(\s*,)", text)
            if found:
                other = "severityError" if found.group(2) == "severityInfo" else "severityInfo"
                changed = found.group(1) + other + text[found.end(2) :]
                template = "do { if (kblMutant(@N@)) { " + changed + " } else { " + text + " } } while (false);"
                self._add("severity", start, end, template, f"{found.group(2)} -> {other}: {text}")
            if ("KBL_" not in text or "LOG" not in text or found) and not re.search(r"\breserve\(", text):
                self._add(
                    "call",
                    start,
                    end,
                    "do { if (!kblMutant(@N@)) { " + text + " } } while (false);",
                    f"dropped: {text}",
                )
            plain = not self.mask[begin:start].strip()
            if former and plain and former[2] == block and former[1] == begin and former[3]:
                first, second = self.source[former[0] : former[1]], text
                template = "if (kblMutant(@N@)) { " + second + first + " } else { " + first + second + " }"
                if tell_apart(self.mask[former[0] : former[1]], self.mask[start:end]):
                    self._add("order", former[0], end, template, f"swapped: {first} {second}")
            former = (start, end, block, plain)

    def _conditions(self) -> None:
        for found in re.finditer(r"\b(if|while|for)\s*\(", self.mask):
            if not self._in_code(found.start()):
                continue
            start, end = found.end(), closing(self.mask, found.end() - 1)
            semicolons = top_level(self.mask, start, end, ";")
            if found.group(1) == "for":
                if len(semicolons) != 2 or not self.mask[semicolons[0][1] : semicolons[1][0]].strip():
                    continue
                start, end = semicolons[0][1], semicolons[1][0]
            elif semicolons:
                start = semicolons[-1][1]
            if top_level(self.mask, start, end, r"(?<![=!<>+\-*/|&^])=(?!=)"):
                continue
            self._condition(start, end)
        for begin, end, _ in self.statements:
            start = self._bare(begin)
            if re.match(r"return\b", self.mask[start:end]):
                self._comparisons(start + len("return"), end - 1, {**SIGNS, **EQUALITIES})
                if top_level(self.mask, start, end, r"&&|\|\|"):
                    self._atoms(start + len("return"), end - 1)

    def _condition(self, start: int, end: int) -> None:
        text = self.source[start:end].strip()
        self._add("condition", start, end, f"kblMutant(@N@) ? !({text}) : bool({text})", f"not ({text})")
        self._atoms(start, end)
        self._comparisons(start, end)

    def _atoms(self, start: int, end: int) -> None:
        joints = top_level(self.mask, start, end, r"&&|\|\|")
        if not joints:
            return
        edges = [start] + [edge for joint in joints for edge in joint] + [end]
        for left, right in zip(edges[::2], edges[1::2]):
            text = self.source[left:right].strip()
            template = f" (kblMutant(@N@) ? !({text}) : bool({text})) "
            self._add("condition", left, right, template, f"not ({text}) in {self.source[start:end].strip()}")

    def _comparisons(self, start: int, end: int, others: Dict[str, str] = SIGNS) -> None:
        edges = (
            [start]
            + [edge for joint in top_level(self.mask, start, end, r"&&|\|\||\?|:(?!:)") for edge in joint]
            + [end]
        )
        for left, right in zip(edges[::2], edges[1::2]):
            found = top_level(self.mask, left, right, r"(?<= )(<=|>=|<|>|==|!=)(?= )")
            if len(found) != 1:
                continue
            sign = self.source[found[0][0] : found[0][1]]
            if sign not in others:
                continue
            before, behind = self.source[left : found[0][0]], self.source[found[0][1] : right]
            template = f" (kblMutant(@N@) ? ({before}{others[sign]}{behind}) : ({before}{sign}{behind})) "
            self._add("condition", left, right, template, f"{sign} -> {others[sign]}: {before}{sign}{behind}")

    def _in_code(self, index: int) -> bool:
        return any(start < index < end for start, end in self.code)

    def _declares_constant(self, index: int) -> Optional[int]:
        """Where the word `constexpr` of the declaration around `index` stands."""
        begin = max(self.mask.rfind(mark, 0, index) for mark in ";{}")
        found = re.search(r"\bconstexpr\b", self.mask[begin + 1 : index])
        return begin + 1 + found.start() if found else None

    def _constants(self) -> None:
        for found in re.finditer(r"(?<![\w.'\"])(\d[\d']*)([uUlL]*)(?![\w.'])", self.mask):
            if re.search(
                r"(\bcase\b[^:]*|\[|<|static_assert\([^;]*|\benum\b[^;]*)$",
                self.mask[max(0, found.start() - 80) : found.start()].split("\n")[-1],
            ):
                continue
            value = int(found.group(1).replace("'", ""), 8 if re.fullmatch(r"0\d+", found.group(1)) else 10)
            changed = f"{0 if value == 1 else value + 1}{found.group(2)}"
            self._value("constant", found.start(), found.end(), changed)

    def _texts(self) -> None:
        for start, end in self.texts:
            before, behind = self.mask[:start].rstrip(), self.mask[end:].lstrip()
            if before.endswith('"') or behind.startswith('"') or before.endswith(("operator", "extern")):
                continue
            body = self.source[start + 1 : end - 1]
            changed = '"' + (body + "~" if body else "~") + '"'
            self._value("text", start, end, changed)

    def _value(self, kind: str, start: int, end: int, changed: str) -> None:
        """A literal, inside a function or as the value of a constant."""
        original = self.source[start:end]
        choice = f"(kblMutant(@N@) ? {changed} : {original})"
        line = self.source[self.source.rfind("\n", 0, start) + 1 : self.source.find("\n", end)]
        told = f"{original} -> {changed}: {line.strip()}"
        constant = self._declares_constant(start)
        if constant is None:
            if self._in_code(start):
                self._add(kind, start, end, choice, told)
            return
        between = self.source[constant + len("constexpr") : start]
        if re.match(r"\s*(const\s+char\s*\*|[\w:]+)\s+\w+\s*=", between) and "{" not in between:
            self._add(
                kind,
                constant,
                end,
                "const" + (between if "const" not in between else between.replace("const", "", 1)) + choice
                if "*" not in between
                else between.lstrip() + choice,
                told,
            )


def find_places(path: str, source: str) -> List[Place]:
    return Reader(path, source).read()


def by_kind(places: List[Place]) -> Dict[str, List[Place]]:
    sorted_places: Dict[str, List[Place]] = {kind: [] for kind in KINDS}
    for place in places:
        sorted_places[place.kind].append(place)
    return sorted_places


def overlaps(place: Place, others: Iterator[Place]) -> bool:
    return any(place.path == other.path and place.start < other.end and other.start < place.end for other in others)
