"""What the tests of the program share: runs of it, telemetry, inflated files."""
import datetime
import hashlib
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import unittest
import zlib

# kor, or an emulator and kor.
COMMAND = []

DONE, FAILED, WRONG_USAGE, INCOMPLETE, NOTHING = range(5)

START = datetime.datetime(2014, 2, 14, 14, 30)
STEP = datetime.timedelta(minutes=5)


def stamp(i):
    return (START + i * STEP).strftime("%Y%m%d:%H:%M:%S")


def rfc3339(i):
    return (START + i * STEP).strftime("%Y-%m-%dT%H:%M:%SZ")


def telemetry(nsamples, sensors=("CPU0 Temp", "DISK0 READ", "FAN V_0"),
              seed=1, first=0):
    """A header and rows of readings, some of them missing."""
    random_numbers = random.Random(seed)
    lines = [",".join((stamp(first), *sensors))]
    for i in range(first, first + nsamples):
        readings = [f"{random_numbers.uniform(-1000, 1000):.3f}"
                    if random_numbers.random() > 0.05 else "nan"
                    for _ in sensors]
        lines.append(",".join((stamp(i), *readings)))
    return lines


def text(lines):
    return "".join(line + "\n" for line in lines)


def inflate(path):
    """The bytes of all complete streams of a file."""
    rest, inflated = pathlib.Path(path).read_bytes(), b""
    while rest:
        stream = zlib.decompressobj()
        inflated += stream.decompress(rest)
        assert stream.eof, f"{path} ends in an incomplete stream"
        rest = stream.unused_data
    return inflated


def looks_like_a_recorders(path):
    """As tests/support/kept_files.cpp has it."""
    return (path.is_file() and not path.is_symlink() and
            os.access(path, os.R_OK) and
            (path.suffix == ".state" or "buf.z" in path.name or
             path.read_bytes().startswith(b"\x78\x9c")))


def keep_files(name, folder):
    """Copies recorders and buffer files to $KOR_KEEP_FILES, if it is set."""
    kept = {path.relative_to(folder): path.read_bytes()
            for path in sorted(folder.rglob("*"))
            if looks_like_a_recorders(path)}
    if not kept:
        return
    digits = hashlib.sha256(repr(kept).encode()).hexdigest()[:16]
    target = pathlib.Path(os.environ["KOR_KEEP_FILES"]) / f"{name}-{digits}"
    for path, content in kept.items():
        (target / path).parent.mkdir(parents=True, exist_ok=True)
        (target / path).write_bytes(content)


class Result:
    def __init__(self, run):
        self.status = run.returncode
        self.out = run.stdout
        self.err = run.stderr


class ToolTest(unittest.TestCase):
    """Runs in a folder of its own, in UTC unless a test says otherwise."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        if "KOR_KEEP_FILES" in os.environ:
            self.addCleanup(keep_files, self.id(), self.folder)

    def kor(self, *arguments, stdin="", expect=None, **variables):
        environment = {**os.environ, "TZ": "UTC", **variables}
        if isinstance(stdin, str):
            stdin = stdin.encode()
        run = subprocess.run([*COMMAND, *map(str, arguments)], input=stdin,
                             capture_output=True, cwd=self.folder,
                             env=environment, check=False)
        result = Result(run)
        result.out = run.stdout.decode(errors="replace")
        result.err = run.stderr.decode(errors="replace")
        if expect is not None:
            self.assertEqual(result.status, expect,
                             f"{arguments}: {result.err}")
        return result

    def record(self, lines, base="r", samples=8, intervals=4, expect=DONE,
               *arguments):
        return self.kor("record", base, "--samples", samples, "--intervals",
                        intervals, *arguments, stdin=text(lines),
                        expect=expect)

    def write(self, name, content):
        path = self.folder / name
        if isinstance(content, str):
            content = content.encode()
        path.write_bytes(content)
        return path

    def names(self, pattern="*"):
        return sorted(p.name for p in self.folder.glob(pattern))

    def contents(self):
        return {p.name: p.read_bytes() for p in self.folder.iterdir()}

    def vorn(self, name="r", expect=DONE):
        return self.kor("cat", name, "--format", "vorn",
                        expect=expect).out.splitlines()


def main():
    COMMAND[:] = sys.argv[1:]
    unittest.main(argv=sys.argv[:1], verbosity=1)
