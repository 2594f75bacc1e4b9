"""Both readers show the same of fresh recorders, whole and damaged."""
import datetime
import pathlib
import random
import subprocess
import sys
import tempfile
import unittest

import readers

SENSORS = ("CPU0", "CPU1 Temp", "::a", "DISK0 READ", "V_3", "N0 IDLE", "PS")
START = datetime.datetime(2014, 2, 14, 14, 30)


class Telemetry:
    """Random lines of telemetry and events, the same for the same seed."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.time = START
        self.change_sensors()

    def change_sensors(self):
        self.sensors = self.random.sample(SENSORS, self.random.randint(1, 5))

    def line(self, *fields):
        return ",".join((self.time.strftime("%Y%m%d:%H:%M:%S"), *fields))

    def reading(self):
        if self.random.random() < 0.1:
            return "nan"
        scale = 10.0**self.random.randint(-3, 9)
        return f"{self.random.uniform(-scale, scale):.9g}"

    def next_lines(self):
        """A header, one to three samples, and their events."""
        if self.random.random() < 0.2:
            self.change_sensors()
        lines, events = [self.line(*self.sensors)], []
        for _ in range(self.random.randint(1, 3)):
            self.time += datetime.timedelta(seconds=self.random.randint(1, 9))
            lines.append(self.line(*(self.reading() for _ in self.sensors)))
            if self.random.random() < 0.3:
                kind = str(self.random.randint(1, 5))
                events.append(self.line(kind, f"event, of type \"{kind}\""))
        return lines, events


class FreshRecorders(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def record(self, samples, lines, events):
        (self.folder / "events").write_text("".join(e + "\n" for e in events))
        with_events = ["--events", "events"] if events else []
        subprocess.run(
            [*readers.KOR, "record", "r", "-q", "--samples", str(samples),
             "--intervals", str(samples // 2), *with_events],
            input="".join(line + "\n" for line in lines), text=True,
            cwd=self.folder, check=True)

    def files(self):
        return sorted(self.folder.glob("r.*buf.z"))

    def storage_state(self):
        return (any(path.name.endswith(".hbuf.z") for path in self.files()),
                len(self.files()))

    def compare_all(self):
        for name in ["r", *(path.name for path in self.files())]:
            kor = readers.by_kor(name, self.folder)
            reader = readers.by_reader(name, self.folder)
            self.assertEqual(kor.everything(), reader.everything(), name)
        return kor

    def test_every_state(self):
        for seed, samples in ((1, 4), (2, 8)):
            for path in self.folder.iterdir():
                path.unlink()
            telemetry, states = Telemetry(seed), set()
            for _ in range(3 * samples):
                self.record(samples, *telemetry.next_lines())
                with self.subTest(seed=seed, time=telemetry.time):
                    self.assertEqual(self.compare_all().lost, [])
                states.add(self.storage_state())
            self.assertEqual(states, {(False, 1), (False, 2), (False, 3),
                                      (True, 3)})

    def damage(self, chosen, path):
        """Flips a byte, clears some, or cuts the rest away."""
        content = bytearray(path.read_bytes())
        place = chosen.randrange(len(content))
        kind = chosen.choice(("flip", "clear", "cut"))
        if kind == "flip":
            content[place] ^= chosen.randint(1, 255)
        elif kind == "clear":
            content[place:place + 32] = bytes(len(content[place:place + 32]))
        else:
            del content[place:]
        path.write_bytes(content)

    def test_damage(self):
        telemetry = Telemetry(3)
        for _ in range(14):
            self.record(8, *telemetry.next_lines())
        whole = {path: path.read_bytes() for path in self.files()}
        chosen = random.Random(4)
        found = 0
        for turn in range(30):
            for path in chosen.choices(list(whole), k=chosen.randint(1, 3)):
                if path.stat().st_size > 0:
                    self.damage(chosen, path)
            with self.subTest(turn=turn):
                self.compare_all()
                found += len(readers.by_reader("r", self.folder).lost) > 0
            for path, content in whole.items():
                path.write_bytes(content)
        self.assertGreater(found, 20)


if __name__ == "__main__":
    readers.KOR[:] = sys.argv[1:]
    unittest.main(argv=sys.argv[:1])
