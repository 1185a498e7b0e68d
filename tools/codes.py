"""Writes docs/events-and-codes.md, the numbers and texts of the public headers, out of their comments.

    python3 tools/codes.py            writes the page
    python3 tools/codes.py --check    ends with 1 when the page is not what it would write
"""

import re
import sys
from pathlib import Path
from typing import Callable, Iterable, List, NamedTuple, Tuple

ROOT = Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs/events-and-codes.md"
INCLUDE = ROOT / "include"

SCOPE = re.compile(r"^(?:enum|namespace|class|struct) (?:KBL_\w+ )?(\w+)")
CONSTANT = re.compile(r"^inline constexpr int (\w+) = (-?\d+);")
ENUMERATOR = re.compile(r"^(\w+) = (-?\d+),")
ALIAS = re.compile(r"^using (\w+) =()")
FUNCTION = re.compile(r"^(?:virtual )?[\w:<>&* ]+?[ *&](\w+)\(")
WITHIN = "Calls back within itself: "


class Entry(NamedTuple):
    """A name of the headers with its comment."""

    scope: str
    name: str
    value: str
    text: str
    header: str


class Parts(NamedTuple):
    """A comment such as "Meaning. Arguments: a; b. Results: 0." in its parts."""

    meaning: str
    first: str
    second: str


def entries(header: str) -> Iterable[Entry]:
    scopes, comment = [], []  # type: List[Tuple[int, str]], List[str]
    for line in (INCLUDE / header).read_text(encoding="utf-8").splitlines():
        stripped = line.strip()
        indent = len(line) - len(line.lstrip())
        if stripped.startswith("///") and not stripped.startswith("///<"):
            comment.append(stripped[3:].strip())
            continue
        if stripped.startswith("}") and scopes and scopes[-1][0] == indent:
            scopes.pop()
        opened = SCOPE.match(stripped)
        if opened and stripped.endswith("{"):
            scopes.append((indent, opened.group(1)))
        for pattern in (CONSTANT, ENUMERATOR, ALIAS, FUNCTION):
            found = pattern.match(stripped)
            if found:
                value = found.group(2) if pattern is not FUNCTION else ""
                yield Entry(scopes[-1][1] if scopes else "", found.group(1), value, " ".join(comment), header)
                break
        comment = []


def of_scope(header: str, scope: str) -> List[Entry]:
    found = [entry for entry in entries(header) if entry.scope == scope]
    if not found:
        sys.exit("codes: %s has no %s" % (header, scope))
    return found


def parts(entry: Entry, first: str, second: str = "") -> Parts:
    meaning, _, rest = entry.text.partition(" %s: " % first)
    one, _, two = rest.partition(" %s: " % second) if second else (rest, "", "")
    if not rest or (second and not two):
        sys.exit("codes: %s: %s lacks its %s" % (entry.header, entry.name, second or first))
    return Parts(meaning.rstrip("."), one.rstrip("."), two.rstrip("."))


def texts(quoted: str) -> str:
    """The texts of an error as code, what varies as an ellipsis."""
    return re.sub(r'"([^"]*)"', lambda text: "`%s`" % text.group(1) if text.group(1) else "none", quoted)


def table(heads: str, rows: Iterable[Iterable[str]]) -> str:
    names = heads.split("|")
    lines = ["| %s |" % " | ".join(names), "|" + "---|" * len(names)]
    return "\n".join(lines + ["| %s |" % " | ".join(row) for row in rows]) + "\n"


def numbers(header: str, scope: str, last: str, of: Callable[[Entry], List[str]]) -> str:
    rows = [[entry.value, "`%s`" % entry.name] + of(entry) for entry in of_scope(header, scope)]
    return table("number|name|" + last, rows)


def meaning(entry: Entry) -> List[str]:
    return [entry.text.rstrip(".")]


def told_texts(entry: Entry) -> List[str]:
    found = parts(entry, "Texts")
    return [found.meaning, texts(found.first)]


def arguments(entry: Entry) -> List[str]:
    return list(parts(entry, "Arguments", "Results"))


def event(entry: Entry) -> List[str]:
    return list(parts(entry, "Value", "Text"))


def platforms() -> str:
    managers = of_scope("ExternlMediaTransfer/ExternlMediaPlatform.h", "ExternlMediaPlatform")
    named = {entry.name[len("ema_") :]: entry for entry in managers if int(entry.value) >= 0}
    rows = []
    for entry in of_scope("ExternlMediaTransfer/TransferNumbers.h", "TransferPlatform"):
        manager = named.get(entry.name[len("transfer") :].lower())
        rows.append(
            [entry.value, "`%s`" % entry.name] + (["%s `%s`" % (manager.value, manager.name)] if manager else [""])
        )
    return table("number|name|of the manager, where there is one", rows)


def callbacks() -> str:
    found = of_scope("BsNet/IBsRequstCallback.h", "IBsRequstCallback")
    found += of_scope("ExternlMediaTransfer/IExternlMediaAuthCallback.h", "IExternlMediaAuthCallback")
    return table("call|meaning", (["`%s`" % entry.name] + meaning(entry) for entry in found))


def media_callbacks() -> str:
    found = [entry for entry in entries("ExternlMediaTransfer/DownloadRecords.h") if entry.name.endswith("Callback")]
    return table("function|meaning", (["`%s`" % entry.name] + meaning(entry) for entry in found))


def calls_within() -> str:
    rows = []
    for path in sorted(INCLUDE.glob("ExternlMediaTransfer/**/*.h")):
        for entry in entries(str(path.relative_to(INCLUDE))):
            _, found, when = entry.text.partition(WITHIN)
            if found:
                rows.append(["`%s::%s`" % (entry.scope, entry.name), when.rstrip(".")])
    return table("call|when", rows)


def page() -> str:
    transfer = "ExternlMediaTransfer/TransferNumbers.h"
    sections = (
        ("Results of calls", "", numbers("KblUtils/Result.h", "_Result", "meaning", meaning)),
        (
            "Error codes",
            "The code of an `IBsErrorInfo` and of an upload's error event. `...` stands for what varies. Any other code is "
            "a server's\nown with its text, an HTTP status of 400 to 599 with the reply's first 4 KiB, or 200000 and "
            "libcurl's own number with\nlibcurl's text (200007: could not connect, 200028: timed out).\n\n",
            numbers("KblUtils/Result.h", "ErrorCode", "meaning|texts", told_texts),
        ),
        (
            "Error codes of listings and downloads",
            "The code of a `hostErrorRecord`. Any other number is the service's, with its text; -10000 where that number "
            "cannot be read.\n\n",
            numbers("ExternlMediaTransfer/DownloadRecords.h", "MediaError", "meaning|texts", told_texts),
        ),
        ("Platforms", "The two sides number them in their own ways.\n\n", platforms()),
        ("Commands", "", numbers(transfer, "TransferCommand", "meaning|arguments|results", arguments)),
        ("Queries", "", numbers(transfer, "TransferQuery", "meaning|arguments|results", arguments)),
        ("Events of an upload", "", numbers(transfer, "TransferEvent", "meaning|value|text", event)),
        ("Values of the error event", "", numbers(transfer, "TransferErrorValue", "codes", meaning)),
        ("Calls of a manager", "", callbacks()),
        ("Functions of listings and downloads", "", media_callbacks()),
        (
            "Types of records",
            "",
            numbers("ExternlMediaTransfer/RecordInterfaces.h", "ExternlMediaInfoType", "meaning", meaning),
        ),
        (
            "Calls that call back within themselves",
            "On the caller's own thread: hold no lock there that your callback takes. Everything else is told on threads "
            "of the\nlibrary.\n\n",
            calls_within(),
        ),
    )
    text = (
        "# Events, codes and texts\n\nMade from the comments of the public headers by `tools/codes.py`: change those.\n"
    )
    for head, words, rows in sections:
        text += "\n## %s\n\n%s%s" % (head, words, rows)
    return text


def main() -> None:
    if sys.argv[1:] == ["--check"]:
        if not PAGE.exists() or PAGE.read_text(encoding="utf-8") != page():
            sys.exit("%s is stale: python3 tools/codes.py" % PAGE.relative_to(ROOT))
        return
    PAGE.write_text(page(), encoding="utf-8")


main()
