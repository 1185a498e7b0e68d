"""Prints the links in the repository's documents that lead nowhere, and ends with 1 if there are any.

    python3 tools/links.py

Links within the repository alone are looked at: to files, to folders and to headings.
"""

import os
import re
import subprocess
import sys
from typing import Iterator, Set, Tuple

LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)")
CODE = re.compile(r"^```.*?^```|`[^`\n]*`", re.MULTILINE | re.DOTALL)
HEADING = re.compile(r"^#+ (.*)$", re.MULTILINE)


def read(path: str) -> str:
    with open(path, encoding="utf-8") as file:
        return file.read()


def anchors(path: str) -> Set[str]:
    headings = (heading.lower().replace(" ", "-") for heading in HEADING.findall(read(path)))
    return {re.sub(r"[^\w-]", "", heading) for heading in headings}


def leads_nowhere(document: str, target: str) -> bool:
    path, _, anchor = target.partition("#")
    place = os.path.normpath(os.path.join(os.path.dirname(document), path)) if path else document
    return not os.path.exists(place) or (anchor != "" and anchor not in anchors(place))


def broken_links() -> Iterator[Tuple[str, str]]:
    command = ["git", "ls-files", "--cached", "--others", "--exclude-standard", "*.md"]
    for document in subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout.splitlines():
        for target in LINK.findall(CODE.sub("", read(document))):
            if "://" not in target and leads_nowhere(document, target):
                yield document, target


broken = list(broken_links())
for document, target in broken:
    print("%s: %s leads nowhere" % (document, target))
sys.exit(1 if broken else 0)
