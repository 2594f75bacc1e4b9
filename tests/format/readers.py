"""The two readers under test, with what they show in a form to compare."""
import json
import os
import pathlib
import re
import subprocess
import sys

# kor, or an emulator and kor.
KOR = []
SCRIPT = pathlib.Path(__file__).parents[2] / "python" / "kor_reader.py"
READER = [sys.executable, "-B", str(SCRIPT)]

DAMAGE = re.compile(r"^(.+?):(\d+): (\d+) bytes")
MISSING = re.compile(r"^(?:kor: )?(.+?): missing")


def parsed(text):
    """JSON lines; objects as pairs, since names may be there twice."""
    return [json.loads(line, object_pairs_hook=lambda pairs: pairs)
            for line in text.split("\n") if line]


def complaints(text):
    """Damaged and missing places, as they stand in the corpus."""
    for line in text.splitlines():
        damaged, missing = DAMAGE.match(line), MISSING.match(line)
        if damaged:
            yield [("kind", "damage"), ("file", damaged[1]),
                   ("offset", int(damaged[2])), ("length", int(damaged[3]))]
        elif missing:
            yield [("kind", "missing"), ("file", missing[1])]


class Shown:
    """What a reader made of a recorder or file."""

    def __init__(self, command, name, folder, **variables):
        run = subprocess.run([*command, name], capture_output=True,
                             cwd=folder, check=False,
                             env={**os.environ, "TZ": "UTC", **variables})
        self.status = run.returncode
        self.items = parsed(run.stdout.decode())
        self.said = run.stderr.decode(errors="replace")
        self.lost = sorted(complaints(self.said))

    def everything(self):
        return self.status, self.items, self.lost


def by_kor(name, folder, utc=True, **variables):
    command = [*KOR, "cat", "--format", "jsonl", "--utc" if utc else "--local"]
    return Shown(command, name, folder, **variables)


def by_reader(name, folder, utc=True, **variables):
    command = READER + ["--utc"] * utc
    return Shown(command, name, folder, **variables)
