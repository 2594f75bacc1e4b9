"""all_files_test.py KOR PROGRAM...: both readers agree on what tests make.

Runs test programs, and the tests of kor, with KOR_KEEP_FILES set.  Of every
buffer file and every recorder that they leave there, kor and kor_reader must
show the same and complain of the same.  They may differ where neither the state
file nor the numbers tell whether a history is in use: kor folds its sources
again and compares, which the reader does not.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import readers

TOOL_TESTS = pathlib.Path(__file__).parents[1] / "tool"
DURABILITY = (("kills", "0", "2"), ("failed-calls", "0"),
              ("power-cuts", "0", "3"), ("damages", "0"))
# Tests that die leave nothing; the other swaps files at random, so that names
# belie what is inside, of which the page tells nothing.
LEFT_OUT = "*DeathTest.*:*.*WhateverTheDiskHolds"
PROGRAMS = []
MEMORY = "/dev/shm"
FEWEST_FILES, FEWEST_RECORDERS = 1000, 1000
OF_RECORDER = re.compile(r"(.+)\.(state|[0-9]+\.[ch]buf\.z)", re.DOTALL)


def commands():
    for program in PROGRAMS:
        if pathlib.Path(program).name.startswith("durability"):
            yield from ((program, *seed) for seed in DURABILITY)
        else:
            yield (program, "--gtest_brief=1", f"--gtest_filter=-{LEFT_OUT}")
    for script in sorted(TOOL_TESTS.glob("*_test.py")):
        yield sys.executable, "-B", str(script), *readers.KOR


def make_files(folder):
    for command in commands():
        done = subprocess.run(command, capture_output=True, check=False,
                              env={**os.environ, "TMPDIR": folder,
                                   "KOR_KEEP_FILES": f"{folder}/kept"})
        if done.returncode != 0:
            raise RuntimeError(f"{command}: {done.stdout} {done.stderr}")


def content_key(base, path):
    """What of a file readers can tell from that of another one."""
    name = path.name[len(base):]
    return name, path.read_bytes().replace(base.encode(), b"r")


def files_in(folder):
    """Each buffer file, and what is no buffer file, once."""
    seen = set()
    for path in sorted(folder.rglob("*")):
        if path.is_file() and path.suffix != ".state":
            kind = re.search(r"(\.[ch]buf\.z)?$", path.name)[0]
            key = kind, path.read_bytes()
            if key not in seen:
                yield path
            seen.add(key)


def recorders_in(folder):
    """Each recorder once, as the path of its base name."""
    seen = set()
    for inner in [folder, *sorted(filter(pathlib.Path.is_dir,
                                         folder.rglob("*")))]:
        matches = [OF_RECORDER.fullmatch(path.name)
                   for path in sorted(inner.iterdir()) if path.is_file()]
        for base in sorted({m[1] for m in matches if m}):
            key = tuple(content_key(base, inner / m[0])
                        for m in matches if m and m[1] == base)
            if key not in seen:
                yield inner / base
            seen.add(key)


def is_proof_needed(name):
    """Whether a history may be in use although all its sources are there."""
    recorder = readers.kor_reader.Recorder(name)
    taken = list(filter(recorder.takes_part, recorder.all))
    histories = [f for f in taken if f[1] == readers.kor_reader.HISTORY]
    buffers = [f for f in taken if f not in histories]
    if recorder.state and recorder.is_state_usable():
        return False
    return not all(recorder.is_in_use(h, buffers, histories)
                   for h in histories)


class AllFiles(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        # In memory, if there is such a folder: the tests sync much.
        folder = tempfile.TemporaryDirectory(
            dir=MEMORY if os.access(MEMORY, os.W_OK) else None)
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        self.folder = pathlib.Path(folder.name) / "kept"
        self.undecided = 0
        make_files(folder.name)

    def compare(self, paths):
        number = 0
        for number, path in enumerate(paths, 1):
            kor = readers.by_kor(path.name, path.parent)
            reader = readers.by_module(path.name, path.parent)
            if kor.everything() != reader.everything() and \
                    is_proof_needed(path.name):
                self.undecided += 1
                continue
            with self.subTest(path.relative_to(self.folder)):
                self.assertEqual(kor.status, reader.status)
                self.assertEqual(kor.lost, reader.lost)
                if kor.out != reader.out:
                    self.assertEqual(kor.items, reader.items)
        return number

    def test_readers_agree(self):
        files = self.compare(files_in(self.folder))
        recorders = self.compare(recorders_in(self.folder))
        print(f"{files} files and {recorders} recorders compared,"
              f" {self.undecided} of them left to kor's proof")
        self.assertLess(self.undecided, recorders / 100)
        self.assertGreater(files, FEWEST_FILES)
        self.assertGreater(recorders, FEWEST_RECORDERS)


if __name__ == "__main__":
    readers.KOR[:], PROGRAMS[:] = sys.argv[1:2], sys.argv[2:]
    unittest.main(argv=sys.argv[:1])
