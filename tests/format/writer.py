"""Writes the files of a recorder byte by byte, in order or not."""
import struct
import zlib

CURRENT, HISTORY = 1, 2
MISSING = b"\x7f\xff\xff\xff"


def u8(n):
    return struct.pack(">B", n)


def u32(n):
    return struct.pack(">I", n & 0xFFFFFFFF)


def f32(reading):
    return MISSING if reading is None else struct.pack(">f", reading)


def string(text):
    content = text if isinstance(text, bytes) else text.encode()
    return u32(len(content)) + content


def time_stamp(seconds, version=1, rest=0):
    return u8(version) + u32(seconds) + u32(rest)


def header(kind=CURRENT, capacity=4, version=1):
    return u32(kind) + u8(version) + u32(capacity)


def names(time, *sensors):
    return (u32(1) + u8(1) + time_stamp(time) + u8(1) + u32(len(sensors)) +
            b"".join(u8(1) + string(name) for name in sensors))


def values(time, *readings):
    return (u32(2) + u8(1) + time_stamp(time) + u32(len(readings)) +
            b"".join(map(f32, readings)))


def event(time, kind, text):
    return u32(3) + u8(1) + u32(kind) + time_stamp(time) + string(text)


def summary(*readings):
    """The summary of readings, of which None are left out."""
    found = [r for r in readings if r is not None]
    if not found:
        return u8(1) + u32(0) + 8 * f32(0)
    sums = [sum(r**power for r in found) for power in (1, 2, 3, 4)]
    figures = [min(found), max(found), found[0], found[-1], *sums]
    return u8(1) + u32(len(found)) + b"".join(map(f32, figures))


def event_counts(events):
    return u8(1) + b"".join(u32(events.get(kind, 0))
                            for kind in (1, 4, 2, 3, 5))


def interval(start, end, *summaries, events=None, version=2):
    counts = event_counts(events or {}) if version == 2 else b""
    return (u32(2) + u8(version) + time_stamp(start) + time_stamp(end) +
            u32(len(summaries)) + b"".join(summaries) + counts)


def stream(*records, level=-1):
    return zlib.compress(b"".join(records), level)


def streams(*records):
    """One stream for each record, or for each tuple of records."""
    return [stream(*r) if isinstance(r, tuple) else stream(r)
            for r in records]


def state(base, number, files, samples=4, intervals=2, next_number=9,
          own_version=1):
    return (u8(1) + string(base) + string(base + ".state") + u32(number) +
            u32(samples) + u32(intervals) + u32(samples // intervals) +
            u32(next_number) + u8(own_version) + b"".join(map(string, files)))
