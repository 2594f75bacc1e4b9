"""Both readers show of each file of the corpus what must be shown."""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import zlib

import readers

CORPUS = pathlib.Path(__file__).parent / "corpus"
PAGE = pathlib.Path(__file__).parents[2] / "docs" / "file-format.md"
BYTES = re.compile(r" +((?:[0-9a-f]{2}(?: {1,2}|$))+)")
DONE, FAILED, _, INCOMPLETE, NOTHING = range(5)
NO_ITEMS = ("damage", "missing")


class Expected:
    def __init__(self, path):
        shown = readers.parsed(path.read_text(encoding="utf-8"))
        self.items = [i for i in shown if dict(i)["kind"] not in NO_ITEMS]
        self.lost = sorted(i for i in shown if dict(i)["kind"] in NO_ITEMS)
        self.status = (INCOMPLETE if self.lost else
                       DONE if self.items else NOTHING)


def example_of_the_page():
    """The bytes of each block of the worked example."""
    text = PAGE.read_text(encoding="utf-8")
    _, *blocks = text[text.index("## A worked example"):].split("```")
    for block in blocks[::2]:
        found = filter(None, map(BYTES.match, block.split("\n")))
        yield b"".join(bytes.fromhex(m[1]) for m in found)


class Corpus(unittest.TestCase):
    maxDiff = None

    def check(self, name, folder, path):
        expected = Expected(path)
        for reader in (readers.by_kor, readers.by_reader):
            with self.subTest(path.stem, reader=reader.__name__):
                shown = reader(name, folder)
                self.assertEqual(shown.items, expected.items, shown.said)
                self.assertEqual(shown.lost, expected.lost)
                self.assertEqual(shown.status, expected.status, shown.said)

    def test_files(self):
        cases = sorted((CORPUS / "files").glob("*.jsonl"))
        self.assertGreater(len(cases), 50)
        for path in cases:
            self.check(path.stem, path.parent, path)

    def test_recorders(self):
        for part in ("recorders", "written"):
            cases = sorted((CORPUS / part).glob("*.jsonl"))
            self.assertGreater(len(cases), 3)
            for path in cases:
                self.check("r", path.parent / path.stem, path)

    def test_files_of_recorders_by_a_path(self):
        for part in ("recorders", "written"):
            for path in sorted((CORPUS / part).glob("*CC*/r.*buf.z")):
                name = str(path.relative_to(CORPUS))
                with self.subTest(name):
                    self.assertEqual(
                        readers.by_kor(name, CORPUS).everything(),
                        readers.by_reader(name, CORPUS).everything())

    def test_local_time(self):
        for zone in ("UTC", "XYZ-2", "XYZ3:30"):
            folder = CORPUS / "written" / "written-HCC"
            shown = [read("r", folder, utc=False, TZ=zone)
                     for read in (readers.by_kor, readers.by_reader)]
            self.assertEqual(*(s.everything() for s in shown))

    def test_closed_pipe(self):
        for command in ([*readers.KOR, "cat"], readers.READER):
            reading, writing = os.pipe()
            os.close(reading)
            done = subprocess.run(
                [*command, "r"], cwd=CORPUS / "written" / "written-HCC",
                stdout=writing, stderr=subprocess.PIPE, check=False)
            os.close(writing)
            self.assertEqual((done.returncode, done.stderr), (DONE, b""))

    def test_example_of_the_page(self):
        buffer, state, history = example_of_the_page()
        self.assertEqual(list(map(len, (buffer, state, history))),
                         [139, 58, 179])
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            (folder / "rec.1.cbuf.z").write_bytes(zlib.compress(buffer))
            (folder / "rec.state").write_bytes(state)
            (folder / "rec.2.hbuf.z").write_bytes(zlib.compress(history))
            for read in (readers.by_kor, readers.by_reader):
                self.check_example(read("rec", folder).everything(),
                                   read("rec.2.hbuf.z", folder).everything())

    def check_example(self, recorder, history):
        (status, (first, second, event), lost) = recorder
        self.assertEqual((status, lost), (DONE, []))
        self.assertEqual(dict(first)["time"], "2007-01-01T00:00:01Z")
        self.assertEqual(dict(first)["values"],
                         [("CPU0 Temp", 45.5), ("DISK0 READ", 1200)])
        self.assertEqual(dict(second)["values"],
                         [("CPU0 Temp", 46.25), ("DISK0 READ", None)])
        self.assertEqual(dict(event)["text"], "fan fail")
        (status, (interval,), lost) = history
        self.assertEqual((status, lost), (DONE, []))
        sensors = dict(dict(interval)["sensors"])
        self.assertEqual(list(sensors), ["DISK0 READ", "CPU0 Temp"])
        self.assertEqual(dict(sensors["CPU0 Temp"])["mean"], 91.75 / 2)
        self.assertEqual(dict(sensors["DISK0 READ"])["count"], 1)

    def test_what_is_not_there(self):
        with tempfile.TemporaryDirectory() as folder:
            for read in (readers.by_kor, readers.by_reader):
                self.assertEqual(read("r", folder).status, FAILED)


if __name__ == "__main__":
    readers.KOR[:] = sys.argv[1:]
    unittest.main(argv=sys.argv[:1])
