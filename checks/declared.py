#!/usr/bin/env python3
"""declared.py FOLDER: the functions and data that the C headers declare."""
import pathlib
import re
import sys

COMMENT = re.compile(r"/\*.*?\*/", re.S)
POINTER = re.compile(r"\(\*\w+\)\([^)]*\)")
FUNCTION = re.compile(r"\b(?!KOR_STRUCT\b)(\w+)\([^;{}]*\);")
DATA = re.compile(r"^extern [^;(]*?\b(\w+);", re.M)
MACRO = re.compile(r"^#.*(?:\\\n.*)*", re.M)


def declared(folder):
    for header in sorted(pathlib.Path(folder).glob("*.h")):
        text = COMMENT.sub("", header.read_text())
        text = POINTER.sub("", MACRO.sub("", text))
        yield from FUNCTION.findall(text)
        yield from DATA.findall(text)


if __name__ == "__main__":
    print("\n".join(declared(sys.argv[1])))
