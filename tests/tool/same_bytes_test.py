"""What a recorder stores, inflated, is the same bytes on every machine.

stored_bytes.txt holds the SHA-256 of each file; with --renew before the name of
the program it is written anew, for a change of the format that is meant.
"""
import hashlib
import pathlib
import sys
import unittest

import support
from support import inflate, stamp, text

TELEMETRY = (pathlib.Path(__file__).parents[2] / "examples" /
             "telemetry.vorn").read_text()
TABLE = pathlib.Path(__file__).with_name("stored_bytes.txt")
RENEWS = sys.argv[1:2] == ["--renew"]
# Readings on which processors and libraries may differ.
ODD_READINGS = ("nan", "-nan", "inf", "-inf", "0", "-0", "1e-42", "-1e-45",
                "1e20", "-1e20", "3.4028235e38", "-3.4028235e38", "16777217",
                "0.1", "1e9", "-7.25")


def odd_telemetry(nsamples):
    """Every odd reading beside and behind every other one; changing names."""
    lines = []
    for i in range(nsamples):
        if i % 17 == 0:
            names = (f"S{i % 3}", "DISK0 READ", f"T{i % 5}")
            lines.append(",".join((stamp(i), *names)))
        readings = [ODD_READINGS[place * i // (1 + i % place)
                                 % len(ODD_READINGS)] for place in (1, 3, 5)]
        lines.append(",".join((stamp(i), *readings)))
    return text(lines)


# Name: input, samples a buffer holds, intervals it is folded into.
INPUTS = {
    "telemetry": (TELEMETRY, 64, 8),
    "telemetry in small files": (TELEMETRY, 8, 2),
    "odd readings": (odd_telemetry(400), 16, 4),
    "odd readings, no fold yet": (odd_telemetry(40), 16, 4),
}


class StoredBytes(support.ToolTest):
    def stored(self):
        for name, (lines, samples, intervals) in INPUTS.items():
            base = name.replace(" ", "-").replace(",", "")
            self.kor("record", base, "-q", "--samples", samples,
                     "--intervals", intervals, stdin=lines, expect=support.DONE)
            for path in sorted(self.folder.glob(f"{base}.*")):
                content = (inflate(path) if path.suffix == ".z"
                           else path.read_bytes())
                yield f"{hashlib.sha256(content).hexdigest()}  {path.name}\n"

    def test_are_the_same_on_every_machine(self):
        stored = list(self.stored())
        if RENEWS:
            TABLE.write_text("".join(stored))
        self.assertEqual(stored, TABLE.read_text().splitlines(keepends=True))


if __name__ == "__main__":
    if RENEWS:
        del sys.argv[1]
    support.main()
