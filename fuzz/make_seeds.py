#!/usr/bin/env python3
"""make_seeds.py: writes the seeds of the fuzz targets below fuzz/seeds/.

Each seed is a small valid input; the fuzzer damages it.
"""
import pathlib
import struct
import zlib

SEEDS = pathlib.Path(__file__).parent / "seeds"
T0 = 1167609601
NAMES = ["CPU0 Temp", "DISK0 READ"]


def u8(n):
    return struct.pack(">B", n)


def u32(n):
    return struct.pack(">I", n)


def f32(x):
    return struct.pack(">f", x)


def string(text):
    return u32(len(text)) + text.encode()


def time(t):
    return u8(1) + u32(t) + u32(0)


def sensors(names):
    return u8(1) + u32(len(names)) + b"".join(u8(1) + string(n) for n in names)


def names_record(t, names):
    return u32(1) + u8(1) + time(t) + sensors(names)


def values_record(t, values):
    return u32(2) + u8(1) + time(t) + u32(len(values)) + b"".join(
        map(f32, values))


def event_record(t, kind, text):
    return u32(3) + u8(1) + u32(kind) + time(t) + string(text)


def summary(count, x):
    return u8(1) + u32(count) + f32(x) * 8


def counts():
    return u8(1) + u32(0) * 5


def interval_record(t, version=2):
    record = (u32(2) + u8(version) + time(t) + time(t + 1) + u32(2) +
              summary(2, 45.5) + summary(1, 1200))
    return record + (counts() if version == 2 else b"")


def cb_header(capacity=4):
    return u32(1) + u8(1) + u32(capacity)


def hb_header(capacity=4):
    return u32(2) + u8(1) + u32(capacity)


def cb_streams(first, samples, base=T0):
    """One stream a record, the header and the names in the first."""
    streams = []
    for i in range(samples):
        head = cb_header() + names_record(base, NAMES) if i == 0 else b""
        streams.append(head + values_record(base + i, [first + i, 7.5]))
    streams.append(event_record(base + samples, 2, "fan fail"))
    return streams


def hb_streams():
    streams = [hb_header() + names_record(T0, NAMES) + interval_record(T0)]
    return streams + [interval_record(T0 + 2 * i) for i in range(1, 4)]


def deflated(streams):
    return b"".join(zlib.compress(s) for s in streams)


def state(number, following, files):
    return (u8(1) + string("r") + string("r.state") + u32(number) + u32(4) +
            u32(2) + u32(2) + u32(following) + u8(1) +
            b"".join(map(string, files)))


def matrix(rows, columns):
    values = b"".join(struct.pack(">d", i) for i in range(rows * columns))
    return u8(1) + u32(1) + u8(1) + u32(rows) + u32(columns) + values


def telemetry():
    return (u8(1) + u32(3) + u8(1) + matrix(1, 2) + sensors(NAMES) + u8(1) +
            u32(1) + time(T0))


FILES = ["r.state", "r.1.cbuf.z", "r.2.cbuf.z", "r.3.cbuf.z", "r.4.hbuf.z",
         "r.5.cbuf.z"]


def recorder(parts):
    """The recover target's input: files by number, led by their lengths."""
    seed = u8(0)
    for name, content in parts.items():
        content += b"\0" * (-len(content) % 4 if name == "r.state" else 0)
        for start in range(0, len(content), 1020):
            # A piece longer than a length byte can say would begin its file
            # anew, so longer files are left as their first piece.
            if start > 0:
                break
            piece = content[:1020]
            seed += u8(FILES.index(name)) + u8((len(piece) + 3) // 4)
            seed += piece + b"\0" * (-len(piece) % 4)
    return seed


HEADER = "20070101:00:00:00,CPU0 Temp,DISK0 READ\n"
TEXT = HEADER + "20070101:00:00:01,45.5,1200\n20070101:00:00:02,46.25,nan\n"

CB = cb_streams(45.5, 4)
SEED = {
    "string": {"temp": string("Temp"), "two": string("a") + string("bc")},
    "timestamp": {"stored": u8(0) + time(T0),
                  "array": u8(1) + u8(1) + u32(2) + time(T0) * 2,
                  "text": u8(2) + b"20070101:00:00:00"},
    "sensor": {"one": u8(0) + u8(1) + string("Temp"),
               "array": u8(1) + sensors(NAMES)},
    "matrix": {"regular": u8(0) + matrix(2, 2),
               "view": u8(0) + u8(1) + u32(2) + u8(1) + matrix(1, 2),
               "telemetry": u8(0) + telemetry(),
               "optional": u8(1) + u8(1) + matrix(1, 1)},
    "cb_record": {"all": names_record(T0, NAMES) +
                  values_record(T0, [1, 2]) + event_record(T0, 1, "x")},
    "hb_record": {"summary": u8(0) + summary(2, 1.5), "counts": u8(1) +
                  counts(), "records": u8(2) + names_record(T0, NAMES) +
                  interval_record(T0) + interval_record(T0, 1)},
    "buffer_file": {f"{kind}{form}": u8(form) + (
        b"".join(s) if form % 2 else deflated(s))
        for kind, s in (("current", CB), ("history", hb_streams()))
        for form in range(8)},
    "state_file": {"c00": state(1, 2, ["r.1.cbuf.z"]),
                   "cc0": state(2, 3, ["r.1.cbuf.z", "r.2.cbuf.z"])},
    "playback": {"current": u8(0) + deflated(CB),
                 "history": u8(0) + deflated(hb_streams()),
                 "inside": u8(1) + b"".join(CB)},
    "recover": {
        "c00": recorder({"r.state": state(1, 2, FILES[1:2]),
                         "r.1.cbuf.z": deflated(CB[:2])}),
        "cc0": recorder({"r.state": state(2, 3, FILES[1:3]),
                         "r.1.cbuf.z": deflated(CB[:4]),
                         "r.2.cbuf.z": deflated(cb_streams(9, 1, T0 + 9))}),
        "hcc": recorder({"r.state": state(4, 6, [FILES[4], FILES[3],
                                                 FILES[5]]),
                         "r.4.hbuf.z": deflated(hb_streams()),
                         "r.3.cbuf.z": deflated(cb_streams(1, 4, T0 + 8)),
                         "r.5.cbuf.z": deflated(cb_streams(2, 1, T0 + 20))}),
        "files only": recorder({"r.1.cbuf.z": deflated(CB[:4]),
                                "r.2.cbuf.z": deflated(
                                    cb_streams(9, 4, T0 + 9))})},
    "config": {"keys": b"a 1\n# note\nb 2 3\na 4\n"},
    "vorn_reader": {"text": TEXT.encode()},
    "text": {"text": TEXT.encode(),
             "headers": (TEXT + HEADER.replace("DISK0", "DISK1") +
                         "20070101:00:00:03,1,2\n").encode()},
}

if __name__ == "__main__":
    for target, seeds in SEED.items():
        folder = SEEDS / target
        folder.mkdir(parents=True, exist_ok=True)
        for name, content in seeds.items():
            (folder / name.replace(" ", "-")).write_bytes(content)
