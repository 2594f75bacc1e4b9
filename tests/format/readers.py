"""The two readers under test, with what they show in a form to compare."""
import contextlib
import io
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
sys.path.insert(0, str(SCRIPT.parent))
import kor_reader  # noqa: E402

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

    def __init__(self, status, out, said):
        self.status = status
        self.out = out
        self.said = said
        self.lost = sorted(complaints(said))

    @property
    def items(self):
        return parsed(self.out)

    def everything(self):
        return self.status, self.items, self.lost


def run(command, name, folder, **variables):
    done = subprocess.run([*command, name], capture_output=True,
                          cwd=folder, check=False,
                          env={**os.environ, "TZ": "UTC", **variables})
    return Shown(done.returncode, done.stdout.decode(),
                 done.stderr.decode(errors="replace"))


def by_kor(name, folder, utc=True, **variables):
    command = [*KOR, "cat", "--format", "jsonl", "--utc" if utc else "--local"]
    return run(command, name, folder, **variables)


def by_reader(name, folder, utc=True, **variables):
    command = READER + ["--utc"] * utc
    return run(command, name, folder, **variables)


def by_module(name, folder):
    """The same reader without a process of its own, in UTC."""
    out, said = io.StringIO(), io.StringIO()
    os.chdir(folder)
    with contextlib.redirect_stdout(out), contextlib.redirect_stderr(said):
        status = kor_reader.run(name, utc=True)
    return Shown(status, out.getvalue(), said.getvalue())
