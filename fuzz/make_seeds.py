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


def u16(n):
    return struct.pack(">H", n)


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


def state(number, following, files, name="r.state", samples=4, intervals=2):
    return (u8(1) + string("r") + string(name) + u32(number) + u32(samples) +
            u32(intervals) + u32(samples // intervals) + u32(following) +
            u8(1) + b"".join(map(string, files)))


FILES = ["r.state", "r.1.cbuf.z", "r.2.cbuf.z", "r.3.cbuf.z", "r.4.hbuf.z",
         "r.5.cbuf.z", "r.6.hbuf.z", "r.7.cbuf.z"]
# Of the recorder at each of the stages in small_recorder.cpp.
STATES = {
    "c00": state(1, 2, FILES[1:2]),
    "cc0": state(2, 3, FILES[1:3]),
    "ccc": state(3, 4, FILES[1:4]),
    "hcc": state(4, 6, [FILES[4], FILES[3], FILES[5]]),
    "hcc2": state(4, 8, [FILES[6], FILES[5], FILES[7]])}


def state_seeds():
    """Each stage goes on for 15 samples, so that it folds."""
    huge = 1 << 31
    seeds = {name: (i, content)
             for i, (name, content) in enumerate(STATES.items())}
    seeds["many samples"] = 1, state(2, 3, FILES[1:3], samples=huge)
    seeds["many intervals"] = 2, state(3, 4, FILES[1:4], samples=huge,
                                       intervals=huge)
    seeds["no state file"] = 2, state(3, 4, FILES[1:4], name=".")
    return {name: u8(15 * len(STATES) + stage) + content
            for name, (stage, content) in seeds.items()}


def matrix(rows, columns):
    values = b"".join(struct.pack(">d", i) for i in range(rows * columns))
    return u8(1) + u32(1) + u8(1) + u32(rows) + u32(columns) + values


def telemetry():
    return (u8(1) + u32(3) + u8(1) + matrix(1, 2) + sensors(NAMES) + u8(1) +
            u32(1) + time(T0))


CB = cb_streams(45.5, 4)

# Records that are well-formed, but that a recorder would not have written.
ODD_CURRENT = {
    "unknown event": CB[:2] + [event_record(T0, 9, "x")] + CB[2:],
    "null time": [CB[0], values_record(0, [1, 2])] + CB[2:],
    "no text": CB[:3] + [event_record(T0, 1, "")]}
ODD_HISTORY = {
    "no names": [hb_header()],
    "names inside a pair": hb_streams()[:1] +
                           [names_record(T0 + 1, NAMES)] * 2 +
                           hb_streams()[1:],
    "name twice": [hb_header() + names_record(T0, NAMES[:1] * 2) +
                   interval_record(T0)] + hb_streams()[1:]}

# Kinds of damage, and which of them have a position or a content.
REPLACE, REPLACE_DEFLATED, APPEND, APPEND_DEFLATED, OVERWRITE, CUT, REMOVE = (
    range(7))
PAUSE = u8(7 * len(FILES))


def damage(kind, name, content=b"", at=0):
    piece = u8(kind * len(FILES) + FILES.index(name))
    if kind in (OVERWRITE, CUT):
        piece += u16(at)
    if kind <= OVERWRITE:
        piece += u16(len(content)) + content
    return piece


def replaced(parts):
    return b"".join(damage(REPLACE, name, content)
                    for name, content in parts.items())


# Damage to the recorder at a stage: the stage and the pieces.
DAMAGE = {
    "c00": (0, b""),
    "cc0": (1, damage(CUT, "r.2.cbuf.z", at=40)),
    "ccc": (2, damage(REMOVE, "r.2.cbuf.z")),
    "hcc": (3, damage(OVERWRITE, "r.4.hbuf.z", b"\xff" * 4, 90)),
    "hcc2": (4, damage(APPEND, "r.7.cbuf.z", b"torn")),
    "state": (4, damage(REMOVE, "r.state") +
              damage(APPEND_DEFLATED, "r.7.cbuf.z",
                     values_record(T0 + 30, [1, 2]))),
    "zeros": (1, damage(CUT, "r.2.cbuf.z", at=1000)),
    **{name: (4, damage(REPLACE, "r.5.cbuf.z", deflated(streams)))
       for name, streams in ODD_CURRENT.items()},
    **{name: (4, damage(REPLACE, "r.6.hbuf.z", deflated(streams)))
       for name, streams in ODD_HISTORY.items()}}


def buffer_file_seeds():
    seeds = {f"{kind}{form}": u8(form) + (
        b"".join(streams) if form % 2 else deflated(streams))
        for kind, streams in (("current", CB), ("history", hb_streams()))
        for form in range(8)}
    seeds |= {name: u8(4) + deflated(streams)
              for name, streams in ODD_CURRENT.items()}
    return seeds | {name: u8(6) + deflated(streams)
                    for name, streams in ODD_HISTORY.items()}


def playback_seeds():
    seeds = {"current": u8(0) + deflated(CB),
             "history": u8(0) + deflated(hb_streams()),
             "inside": u8(1) + b"".join(CB)}
    for name, (stage, pieces) in DAMAGE.items():
        seeds[name] = u8(2) + u8(stage) + pieces
    # A recorder that goes on while it is followed.
    seeds["followed"] = u8(2) + u8(1) + PAUSE + damage(
        APPEND, "r.2.cbuf.z", deflated([values_record(T0 + 6, [1, 2])]))
    return seeds


# The other files of a recorder that consists of nothing else.
ALONE = {
    "alone c00": {"r.state": STATES["c00"], "r.1.cbuf.z": deflated(CB[:2])},
    "alone cc0": {"r.state": STATES["cc0"], "r.1.cbuf.z": deflated(CB[:4]),
                  "r.2.cbuf.z": deflated(cb_streams(9, 1, T0 + 9))},
    "alone hcc": {"r.state": STATES["hcc"],
                  "r.4.hbuf.z": deflated(hb_streams()),
                  "r.3.cbuf.z": deflated(cb_streams(1, 4, T0 + 8)),
                  "r.5.cbuf.z": deflated(cb_streams(2, 1, T0 + 20))},
    "alone files": {"r.1.cbuf.z": deflated(CB[:4]),
                    "r.2.cbuf.z": deflated(cb_streams(9, 4, T0 + 9))}}


def recover_seeds():
    seeds = {}
    for form, verb in enumerate(("recover", "resume")):
        for name, (stage, pieces) in DAMAGE.items():
            seeds[f"{verb} {name}"] = u8(form) + u8(2 * stage) + pieces
        for name, parts in ALONE.items():
            seeds[f"{verb} {name}"] = u8(form) + u8(1) + replaced(parts)
    return seeds


def resume_seeds():
    """Each goes on for 15 samples, so that it folds."""
    return {name: u8(15 * len(STATES) + stage) + pieces
            for name, (stage, pieces) in DAMAGE.items()}


HEADER = "20070101:00:00:00,CPU0 Temp,DISK0 READ\n"
TEXT = HEADER + "20070101:00:00:01,45.5,1200\n20070101:00:00:02,46.25,nan\n"


def stamp(seconds):
    return f"20070101:00:00:{seconds:02}"


# Long enough for a recorder of four samples to fold its history twice.
LONG = HEADER + "".join(f"{stamp(i)},{i},{i / 2}\n" for i in range(1, 25))
EVENTS = "".join(f"{stamp(2 * i)},{1 + i % 5},fan fail\n" for i in range(14))

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
    "buffer_file": buffer_file_seeds(),
    "state_file": state_seeds(),
    "playback": playback_seeds(),
    "recover": recover_seeds(),
    "resume": resume_seeds(),
    "config": {"keys": b"a 1\n# note\nb 2 3\na 4\n"},
    "vorn_reader": {"text": TEXT.encode()},
    "text": {"text": TEXT.encode(),
             "headers": (TEXT + HEADER.replace("DISK0", "DISK1") +
                         "20070101:00:00:03,1,2\n").encode(),
             "long": LONG.encode(),
             "events": f"{LONG}\f{EVENTS}".encode(),
             "resumed": f"{TEXT}\f{EVENTS}\f{LONG}".encode()}}

if __name__ == "__main__":
    for target, seeds in SEED.items():
        folder = SEEDS / target
        folder.mkdir(parents=True, exist_ok=True)
        for old in folder.iterdir():
            old.unlink()
        for name, content in seeds.items():
            (folder / name.replace(" ", "-")).write_bytes(content)
