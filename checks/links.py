#!/usr/bin/env python3
"""links.py ROOT: relative links in the documents lead somewhere."""
import pathlib
import re
import subprocess
import sys

LINK = re.compile(r"\[[^\]]*\]\(([^)#\s]*)(#[^)\s]*)?\)")
HEADING = re.compile(r"^#+\s+(.*)$", re.M)


def anchor(heading):
    kept = re.sub(r"[^\w\- ]", "", heading.replace("`", "").lower())
    return "#" + kept.strip().replace(" ", "-")


def check(root):
    names = subprocess.run(["git", "ls-files", "*.md"], cwd=root, check=True,
                           capture_output=True, text=True).stdout.split()
    for name in names:
        page = root / name
        for target, fragment in LINK.findall(page.read_text()):
            if re.match(r"[a-z]+:", target):
                continue
            goal = (page.parent / target) if target else page
            if not goal.exists():
                yield f"{name}: no such file: {target}"
            elif fragment and goal.suffix == ".md":
                headings = HEADING.findall(goal.read_text())
                if fragment not in map(anchor, headings):
                    yield f"{name}: no such heading: {target}{fragment}"


if __name__ == "__main__":
    found = list(check(pathlib.Path(sys.argv[1])))
    print("\n".join(found))
    sys.exit(1 if found else 0)
