"""Makes the pictures of the documents, NAME.svg beside each NAME.dot, by Graphviz (Debian: graphviz).

    python3 tools/pictures.py            makes them
    python3 tools/pictures.py --check    ends with 1 when one was made of another text than stands there; needs no Graphviz

A picture tells of which text it was made; its colours follow the reader's light or dark.
"""

import hashlib
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
DARK = {"#e8eef7": "#22304a", "#fbefd9": "#46371c", "#1b2a41": "#e6edf7", "#44618c": "#9ab6de"}


def mark(source: Path) -> str:
    return "<!-- made of %s %s -->" % (source.name, hashlib.sha256(source.read_bytes()).hexdigest())


def style() -> str:
    rules = (
        '[fill="%s"]{fill:%s}[stroke="%s"]{stroke:%s}' % (light, dark, light, dark) for light, dark in DARK.items()
    )
    return "<style>@media (prefers-color-scheme:dark){%s}</style>" % "".join(rules)


def draw(source: Path) -> str:
    drawn = subprocess.run(["dot", "-Tsvg", str(source)], check=True, stdout=subprocess.PIPE, text=True).stdout
    picture = re.sub(r"<!--.*?-->\n?", "", drawn[drawn.index("<svg") :], flags=re.DOTALL)
    return re.sub(r">", ">\n%s\n%s" % (mark(source), style()), picture, count=1)


stale = 0
for source in sorted((ROOT / "docs").rglob("*.dot")):
    picture = source.with_suffix(".svg")
    if sys.argv[1:] != ["--check"]:
        picture.write_text(draw(source), encoding="utf-8")
    elif not picture.exists() or mark(source) not in picture.read_text(encoding="utf-8"):
        print("%s is stale: python3 tools/pictures.py" % picture.relative_to(ROOT))
        stale = 1
sys.exit(stale)
