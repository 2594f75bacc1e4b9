"""make_corpus.py [KOR]: writes the corpus and what readers must make of it.

Every file is put together from its parts, and what it must be read as follows
from the same parts.  With the kor program, recorders written by it are added.
"""
import json
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import time

from writer import (HISTORY, event, header, interval, names, state, stream,
                    summary, time_stamp, u8, u32, values, zlib)

CORPUS = pathlib.Path(__file__).parent / "corpus"
START = 1400000000
NO_EVENTS = {str(kind): 0 for kind in range(1, 6)}


# What readers show -------------------------------------------------------

def shown_time(seconds):
    year_and_so_on = time.gmtime(START + seconds)
    return time.strftime("%Y-%m-%dT%H:%M:%SZ", year_and_so_on)


def single(number):
    return struct.unpack(">f", struct.pack(">f", number))[0]


def shown_summary(readings):
    found = [r for r in readings if r is not None]
    if not found:
        return {"count": 0}
    low, high = min(found), max(found)
    error = (len(found) - 1) * 2.0**-24 * max(abs(low), abs(high))
    return {"count": len(found), "min": low, "max": high,
            "mean": single(sum(found)) / len(found),
            "mean_error": min(error, high - low),
            "first": found[0], "last": found[-1]}


def shown_damage(name, offset, length):
    return {"kind": "damage", "file": name, "offset": offset,
            "length": length}


def shown_missing(name):
    return {"kind": "missing", "file": name}


class Pairs:
    """An object of JSON that may have a name more than once."""

    def __init__(self, names, values):
        self.pairs = list(zip(names, values))


def line(shown):
    if isinstance(shown, Pairs):
        return "{" + ",".join(f"{line(k)}:{line(v)}"
                              for k, v in shown.pairs) + "}"
    if isinstance(shown, dict):
        return line(Pairs(shown.keys(), shown.values()))
    return json.dumps(shown)


# Files and what they hold ------------------------------------------------

class Buffer:
    """A buffer file and what it must be read as.  Times count from START."""

    def __init__(self, *sensors, kind=1, capacity=4, begun=True):
        self.kind, self.capacity = kind, capacity
        self.content = b""
        self.items, self.damaged = [], []
        self.sensors = sensors
        self.waiting = []  # Records that travel with the next one,
        self.renamed = []  # and names that bear its time.
        if begun:
            self.begin()

    def begin(self):
        self.waiting.append(header(self.kind, self.capacity))
        return self.rename(*self.sensors)

    def rename(self, *sensors):
        self.sensors = sensors
        self.renamed.append(sensors)
        return self

    def place_names(self, at):
        self.waiting += (names(START + at, *names_) for names_ in self.renamed)
        self.renamed = []
        return self

    def flush(self, level=-1):
        self.content += stream(*self.waiting, level=level)
        self.waiting = []
        return self

    def sample(self, at, *readings, sensors=None, flush=True):
        self.place_names(at).waiting.append(values(START + at, *readings))
        shown = Pairs(sensors or self.sensors, readings)
        self.items.append({"kind": "sample", "time": shown_time(at),
                           "values": shown})
        return self.flush() if flush else self

    def event(self, at, kind, text, shown=None):
        self.waiting.append(event(START + at, kind, text))
        self.items.append({"kind": "event", "time": shown_time(at),
                           "type": kind, "text": shown or text})
        return self.flush()

    def interval(self, start, end, *readings, events=None, version=2,
                 sensors=None):
        self.place_names(start).waiting.append(interval(
            START + start, START + end, *(summary(*r) for r in readings),
            events=events, version=version))
        counts = {str(k): v for k, v in (events or {}).items()}
        self.items.append({
            "kind": "interval", "start": shown_time(start),
            "end": shown_time(end),
            "sensors": Pairs(sensors or self.sensors,
                             map(shown_summary, readings)),
            "events": {**NO_EVENTS, **counts}})
        return self.flush()

    def damage(self, content):
        """Bytes that no reader may take for records."""
        self.damaged.append((len(self.content), len(content)))
        self.content += content
        return self

    def expected(self, name):
        return self.items + [shown_damage(name, *d) for d in self.damaged]


def current(*sensors, **options):
    return Buffer(*(sensors or ("a", "b")), **options)


def history(*sensors, **options):
    return Buffer(*(sensors or ("a", "b")), kind=HISTORY, **options)


def flipped(content, place):
    changed = bytearray(content)
    changed[place] ^= 0xFF
    return bytes(changed)


def first_stream(kind=1):
    """Header, names and a record, which damage is to hit."""
    if kind == HISTORY:
        record = interval(START, START + 1, summary(1), summary(2))
    else:
        record = values(START, 1, 2)
    return stream(header(kind), names(START, "a", "b"), record)


def second(at=1):
    return stream(values(START + at, 5, 6))


# The cases ---------------------------------------------------------------

def valid_files():
    two = current().sample(0, 1, 2).sample(1, 1.5, -2)
    yield "current.1.cbuf.z", two
    yield "named-as-a-history.1.hbuf.z", two
    yield "named-as-nothing", two
    yield "empty.1.cbuf.z", Buffer(begun=False)
    yield "header-only.1.cbuf.z", header_only(1)
    yield "header-only.2.hbuf.z", header_only(HISTORY)
    yield "names-only.1.cbuf.z", current().place_names(0).flush()
    yield "one-stream.1.cbuf.z", current().sample(
        0, 1, 2, flush=False).sample(1, 3, 4, flush=False).event(1, 2, "x")
    yield "header-in-its-own-stream.1.cbuf.z", (
        header_only(1).rename("a", "b").sample(0, 1, 2))
    yield "levels.1.cbuf.z", levels()
    yield "empty-stream.1.cbuf.z", current().sample(
        0, 1, 2).flush().sample(1, 3, 4)
    yield "missing.1.cbuf.z", current("a", "b", "c").sample(
        0, 1, None, 3).sample(1, None, None, None)
    yield "any-nan-is-missing.1.cbuf.z", other_nans()
    yield "figures.1.cbuf.z", figures()
    yield "infinite.1.cbuf.z", infinite()
    yield "times.1.cbuf.z", times()
    yield "clock-steps-back.1.cbuf.z", current().sample(
        50, 1, 2).sample(-50, 3, 4).sample(60, 5, 6)
    yield "names-change.1.cbuf.z", (
        current().sample(0, 1, 2).rename("c").sample(1, 3)
        .rename("a", "b", "c").sample(2, 4, 5, 6))
    yield "names-twice.1.cbuf.z", (
        current().rename("c").sample(0, 1).sample(1, 2))
    yield "same-name.1.cbuf.z", current("a", "a").sample(0, 1, 2)
    yield "strange-names.1.cbuf.z", strange_names()
    yield "events.1.cbuf.z", events()
    yield "event-before-all.1.cbuf.z", current().event(0, 3, "first").sample(
        1, 2, 3)
    yield "more-than-fits.1.cbuf.z", more_than_fits()
    yield "history.2.hbuf.z", (
        history().interval(0, 1, (1, 2), (None, 5.5))
        .interval(2, 3, (None, None), (3, -3), events={2: 1}))
    yield "history-version-1.2.hbuf.z", (
        history().interval(0, 1, (1, 2), (3, 4), version=1)
        .interval(2, 3, (5, 6), (7, 8), version=1))
    yield "history-both-versions.2.hbuf.z", (
        history().interval(0, 1, (1,), (3,), version=1)
        .interval(2, 3, (5,), (7,), events={k: 10 + k for k in range(1, 6)}))
    yield "history-names-change.2.hbuf.z", (
        history().interval(0, 1, (1, 2), (3, 4)).rename("c")
        .interval(2, 7, (0.5, 0.25, 8)).rename("d", "e", "f")
        .interval(8, 9, (None,), (1,), (2, 2)))


def header_only(kind):
    empty = Buffer(begun=False, kind=kind)
    empty.waiting = [header(kind)]
    return empty.flush()


def levels():
    """Only the bytes of the streams differ, and the first two of each."""
    made = current().sample(0, 1, 2)
    for level in (0, 1, 6, 9):
        made.sample(1 + level, level, 4, flush=False).flush(level)
    return made


def other_nans():
    made = current("a", "b", "c").sample(0, 1, 2, 3)
    bits = bytes.fromhex("7f800001 ffc00000 ffffffff")
    made.sample(1, None, None, None, flush=False)
    made.waiting = [values(START + 1, 0, 0, 0)[:-12] + bits]
    return made.flush()


def figures():
    readings = (0.0, -0.0, 0.1, -1e30, 16777216, 1.1754944e-38, 1.4e-45,
                3.4028235e38, 1 / 3, 5.684342e-14)
    made = current(*"abcdefghij").sample(0, *readings)
    shortest = (0, 0, 0.1, -1e30, 16777216, 1.1754944e-38, 1e-45,
                3.4028235e38, 0.33333334, 5.684342e-14)
    made.items[0]["values"] = Pairs("abcdefghij", shortest)
    return made


def infinite():
    """JSON has no word for infinity."""
    made = current().sample(0, float("inf"), -float("inf"))
    made.items[0]["values"] = Pairs("ab", (None, None))
    return made


def times():
    made = current("a")
    for at in (-START, -START - 1, -START - 2**31, -START + 2**31 - 1):
        made.sample(at, 1)
    return made


def strange_names():
    names = ("CPU0 \u00b0C", '"quoted" \\ ,', "\x01\t\n\x7f", "x" * 255)
    made = current(*names).sample(0, 1, 2, 3, 4)
    made.rename(b"\xe4\xed\xa0\x80")
    return made.sample(1, 5, sensors=["\ufffd" * 4])


def events():
    made = current().sample(0, 1, 2)
    texts = ("fan fail", "a, b \"c\"\\", "\u00b5s \U0001f600", "\n\x1f", "-")
    for kind, text in enumerate(texts, 1):
        made.event(kind, kind, text)
    made.event(6, 7, "beyond those that a history counts")
    made.event(7, 2**32 - 1, "e" * 1000)
    return made.event(8, 5, b"\xff\xc3 \xf0\x9f", "\ufffd\ufffd \ufffd")


def more_than_fits():
    made = current("a", capacity=2)
    for i in range(5):
        made.sample(i, i)
    return made


def torn_files():
    whole = len(second())
    for label, kept in (("a-byte", 1), ("the-head", 2), ("half", whole // 2),
                        ("no-checksum", whole - 4),
                        ("all-but-a-byte", whole - 1)):
        yield f"torn-{label}.1.cbuf.z", current().sample(0, 1, 2).damage(
            second()[:kept])
    yield "torn-first.1.cbuf.z", current(begun=False).damage(
        first_stream()[:20])
    yield "torn-first.2.hbuf.z", history(begun=False).damage(
        first_stream(HISTORY)[:-1])
    yield "torn.2.hbuf.z", history().interval(0, 1, (1,), (2,)).damage(
        stream(interval(START, START, summary(1), summary(2)))[:-9])


def damaged_files():
    whole = len(second())
    for label, place in (("head", 0), ("head-check", 1), ("content", 9),
                         ("checksum", whole - 2), ("last-byte", whole - 1)):
        yield f"flipped-{label}.1.cbuf.z", (
            current().sample(0, 1, 2).damage(flipped(second(), place))
            .sample(2, 3, 4))
    for n in range(1, 5):
        yield f"checksum-short-{n}.1.cbuf.z", (
            current().sample(0, 1, 2).damage(second()[:-n]).sample(2, 3, 4))
    yield "flipped-last-stream.1.cbuf.z", current().sample(
        0, 1, 2).damage(flipped(second(), 12))
    yield "flipped.2.hbuf.z", (
        history().interval(0, 1, (1,), (2,))
        .damage(flipped(stream(interval(START, START, summary(1),
                                        summary(2))), 15))
        .interval(2, 3, (1, 2), (3, 4)))
    yield "two-places.1.cbuf.z", (
        current().sample(0, 1, 2).damage(flipped(second(), 9))
        .sample(2, 3, 4).damage(flipped(second(3) + second(4), whole - 1)
                                .replace(second(4), flipped(second(4), 9)))
        .sample(5, 6, 7))
    yield "zeroed.1.cbuf.z", current().sample(0, 1, 2).damage(
        bytes(512)).sample(2, 3, 4)
    yield "zeroed-across-streams.1.cbuf.z", current().sample(0, 1, 2).damage(
        second()[:-9] + bytes(20) + second(2)[11:]).sample(3, 4, 5)
    yield "zeroed-tail.1.cbuf.z", current().sample(0, 1, 2).damage(bytes(100))
    yield "zeroed-all.1.cbuf.z", current(begun=False).damage(bytes(256))
    yield "no-buffer.1.cbuf.z", current(begun=False).damage(
        b"not a buffer at all\n")
    yield "a-byte-between.1.cbuf.z", current().sample(0, 1, 2).damage(
        b"x").sample(1, 3, 4)
    yield "beginnings-of-streams.1.cbuf.z", current().sample(
        0, 1, 2).damage(b"\x78\x9c\x78\x9c\x78").sample(1, 3, 4)
    yield "stream-in-damage.1.cbuf.z", stream_in_damage()
    yield "damage-before-all.1.cbuf.z", current(begun=False).damage(
        b"before").begin().sample(0, 1, 2)
    yield "second-header.1.cbuf.z", current().sample(0, 1, 2).damage(
        first_stream()).sample(1, 3, 4)
    yield "no-zlib-head.1.cbuf.z", current().sample(0, 1, 2).damage(
        second()[2:]).sample(1, 3, 4)
    yield "found-by-own-head-only.1.cbuf.z", current().sample(0, 1, 2).damage(
        b"x" + stream(values(START, 3, 4), level=9))
    yield "dictionary.1.cbuf.z", current().sample(0, 1, 2).damage(
        with_dictionary()).sample(1, 3, 4)
    yield "small-window.1.cbuf.z", current().sample(0, 1, 2).damage(
        with_small_window()).sample(1, 3, 4)
    for label, content in refused_contents():
        yield f"refused-{label}.1.cbuf.z", current().sample(
            0, 1, 2).damage(stream(content)).sample(2, 3, 4)
    yield "refused-event.2.hbuf.z", history().interval(
        0, 1, (1,), (2,)).damage(stream(event(START, 1, "x"))).interval(
            2, 3, (3,), (4,))
    for label, head in (("kind", header(3)), ("version", header(1, 4, 2))):
        yield f"refused-header-{label}.1.cbuf.z", (
            current(begun=False)
            .damage(stream(head, names(START, "a"), values(START, 1)))
            .rename("a", "b").sample(1, 2, 3))


def stream_in_damage():
    """Stored, not compressed, a stream inside another can be found."""
    inner = stream(values(START + 7, 8, 9))
    outer = flipped(stream(values(START, 1, 2), inner, level=0), 20)
    place = outer.index(inner)
    made = current().sample(0, 1, 2).damage(outer[:place]).sample(7, 8, 9)
    return made.damage(outer[place + len(inner):]).sample(8, 1, 1)


def with_dictionary():
    maker = zlib.compressobj(9, zlib.DEFLATED, 15, 9, 0, b"dictionary")
    return maker.compress(values(START, 1, 2)) + maker.flush()


def with_small_window():
    maker = zlib.compressobj(6, zlib.DEFLATED, 9)
    return maker.compress(values(START, 1, 2)) + maker.flush()


def refused_contents():
    good = values(START, 1, 2)
    head = u32(2) + u8(1)
    yield "type", u32(9) + good[4:]
    yield "version", u32(2) + u8(2) + good[5:]
    yield "half-a-record", good[:-1]
    yield "more-than-records", good + b"\0\0"
    yield "time-version", head + time_stamp(START, version=2) + good[14:]
    yield "time-rest", head + time_stamp(START, rest=1) + good[14:]
    yield "no-readings", values(START)
    yield "too-many-readings", values(START, *10001 * [1.0])
    yield "empty-text", event(START, 1, "")
    yield "zero-in-text", event(START, 1, "a\0b")
    yield "long-text", event(START, 1, "x" * 10001)
    yield "no-names", names(START)
    yield "empty-name", names(START, "a", "")
    yield "interval", interval(START, START, summary(1), summary(2))


def files_with_lost_names():
    lost = flipped(first_stream(), 30)
    made_up = ["sensor 1", "sensor 2"]
    yield "names-lost.1.cbuf.z", (
        current(begun=False).damage(lost)
        .sample(1, 3, 4, sensors=made_up)
        .event(1, 1, "an event needs no names")
        .sample(2, 5, sensors=made_up))
    yield "names-lost.2.hbuf.z", (
        history(begun=False).damage(flipped(first_stream(HISTORY), 30))
        .interval(2, 3, (1, 2), (None,), sensors=made_up))
    yield "kind-lost", current(begun=False).damage(lost).sample(
        1, 3, 4, sensors=made_up)
    yield "kind-of-history-lost", (
        history(begun=False).damage(lost)
        .interval(2, 3, (1, 2), (3,), sensors=made_up, version=1)
        .interval(4, 5, (1, 2), (3,), sensors=made_up))
    yield "kind-against-name.2.hbuf.z", current(begun=False).damage(
        lost + second())
    yield "names-from-behind.1.cbuf.z", (
        current(begun=False).damage(lost).sample(1, 3, 4, sensors="cd")
        .rename("c", "d").sample(2, 5, 6).sample(3, 7, 8))
    yield "other-number.1.cbuf.z", (
        current().sample(0, 1, 2)
        .damage(flipped(stream(names(START, "x"), values(START, 1)), 12))
        .sample(2, 5, sensors=made_up).sample(3, 1, 2).sample(
            4, 1, 2, 3, sensors=made_up + ["sensor 3"]))


class Recording:
    """Files of a recorder r; live are those to be read, in that order.

    saved are those that the state file names, others what else there is, aside
    what there is by its whole name.
    """

    def __init__(self, live, saved=None, others=None, number=None,
                 missing=(), base="r", **options):
        self.live = {f"r.{name}buf.z": made for name, made in live.items()}
        self.files = {name: made.content for name, made in self.live.items()}
        for name, made in (others or {}).items():
            self.files[f"r.{name}buf.z"] = made.content
        self.files.update(options.get("aside", {}))
        saved = saved or list(live)
        number = number or (4 if "h" in saved[0] else len(saved))
        self.state = state(base, number,
                           [f"{base}.{name}buf.z" for name in saved],
                           next_number=options.get("next_number")
                           or 1 + max(int(n.split(".")[0]) for n in saved))
        self.state = options.get("state", self.state)
        self.missing = [f"r.{name}" for name in missing]

    def expected(self):
        damage = []
        for name, made in self.live.items():
            yield from made.items
            damage += [shown_damage(name, *d) for d in made.damaged]
        yield from damage
        yield from map(shown_missing, self.missing)


def filled(start, *sensors, number=4):
    made = current(*sensors)
    for i in range(start, start + number):
        made.sample(i, *(i + 0.5 * k for k in range(len(made.sensors))))
    return made


def folded(*lengths):
    """What so many samples of filled() are folded into, from the first on."""
    made, begin = history(), 0
    for length in lengths:
        ats = range(begin, begin + length)
        made.interval(ats[0], ats[-1], ats, [at + 0.5 for at in ats])
        begin += length
    return made


FIRST_FOLD, SECOND_FOLD = (2, 2, 2, 2), (4, 4, 2, 2)
FOURTH_FOLD = (12, 4, 2, 2)


def recorders_in_order():
    c1, c2, c3 = filled(0), filled(4), filled(8, number=1)
    yield "C00", Recording({"1.c": c1})
    yield "C00-empty", Recording({"1.c": Buffer(begun=False)})
    yield "CC0", Recording({"1.c": c1, "2.c": c2})
    yield "CCC", Recording({"1.c": c1, "2.c": c2, "3.c": c3})
    yield "CCC-open-is-empty", Recording(
        {"1.c": c1, "2.c": c2, "3.c": Buffer(begun=False)})
    yield "HCC", Recording(
        {"4.h": folded(*FIRST_FOLD), "3.c": filled(8),
         "5.c": filled(12, number=2)})
    yield "HCC-later", Recording(
        {"10.h": folded(*FOURTH_FOLD), "9.c": filled(20),
         "11.c": filled(24).event(27, 4, "full")})
    yield "HCC-names-change", Recording(
        {"4.h": folded(*FIRST_FOLD), "3.c": filled(8, "b", "c", "a"),
         "5.c": filled(12, "a", number=1).rename("c").sample(13, 9)})
    # A fold merges the columns of one name.
    yield "HCC-same-name", Recording(
        {"4.h": history("a").interval(0, 1, (0, 0.5, 1, 1.5)).interval(
            2, 3, (2, 2.5, 3, 3.5)),
         "3.c": filled(8, "a", "a"), "5.c": filled(12, "a", "a", number=1)})
    yield "state-with-folder", Recording({"1.c": c1, "2.c": c2},
                                         base="/var/lib/kor/r")
    longer = Recording({"1.c": c1})
    longer.state += b"left over"
    yield "state-with-more-behind", longer


def recorders_after_a_crash():
    c1, c2, c3 = filled(0), filled(4), filled(8)
    h4, c5 = folded(*FIRST_FOLD), filled(12)
    h6, c7 = folded(*SECOND_FOLD), filled(16, number=1)
    nothing = Buffer(begun=False)
    c_1_2_3 = {"1.c": c1, "2.c": c2, "3.c": c3}
    h_4_3_5 = {"4.h": h4, "3.c": c3, "5.c": c5}
    yield "CC0-state-C00", Recording({"1.c": c1, "2.c": c2}, saved=["1.c"])
    yield "CCC-state-C00", Recording(c_1_2_3, saved=["1.c"])
    yield "CCC-state-CC0", Recording(c_1_2_3, saved=["1.c", "2.c"])
    back = filled(-90, number=2)
    yield "CC0-state-C00-clock-stepped-back", Recording(
        {"1.c": c1, "2.c": back}, saved=["1.c"])
    yield "CCC-state-C00-clock-stepped-back", Recording(
        {"1.c": c1, "2.c": c2, "3.c": back}, saved=["1.c"])
    yield "CCC-state-CC0-clock-stepped-back", Recording(
        {"1.c": c1, "2.c": c2, "3.c": back}, saved=["1.c", "2.c"])
    yield "HCC-state-CCC-clock-stepped-back", Recording(
        {"4.h": h4, "3.c": c3, "5.c": back}, saved=list(c_1_2_3),
        others={"1.c": c1, "2.c": c2})
    yield "CC0-next-without-record", Recording(
        {"1.c": c1, "2.c": c2}, others={"3.c": header_only(1)})
    yield "fold-begun", Recording(c_1_2_3, others={"4.h": nothing})
    half = history().interval(0, 1, (1, 2), (3, 4)).damage(b"\x78\x9c\x63")
    yield "fold-half-done", Recording(c_1_2_3, others={"4.h": half})
    yield "fold-done-not-used", Recording(
        c_1_2_3, others={"4.h": h4, "5.c": nothing})
    yield "HCC-state-CCC", Recording(
        h_4_3_5, saved=list(c_1_2_3), others={"1.c": c1, "2.c": c2})
    yield "HCC-sources-left", Recording(
        h_4_3_5, others={"1.c": c1, "2.c": c2})
    yield "HCC-state-HCC-before", Recording(
        {"6.h": h6, "5.c": c5, "7.c": c7}, saved=list(h_4_3_5),
        others={"4.h": h4, "3.c": c3})
    yield "HCC-state-HCC-before-a-number-used-up", Recording(
        {"7.h": h6, "5.c": c5, "8.c": c7}, saved=list(h_4_3_5),
        others={"4.h": h4, "3.c": c3})
    yield "CCC-state-CC0-another-next-number", Recording(
        c_1_2_3, saved=["1.c", "2.c"], next_number=4)
    yield "HCC-second-fold-not-used", Recording(
        h_4_3_5, others={"6.h": h6})
    yield "HCC-state-two-folds-before", Recording(
        {"6.h": h6, "5.c": c5, "7.c": c7}, saved=list(c_1_2_3),
        others={**c_1_2_3, "4.h": h4})
    yield "torn-open", Recording(
        {"1.c": c1, "2.c": filled(4, number=1).damage(second()[:-3])})


def recorders_with_loss():
    c1, c2, c3 = filled(0), filled(4), filled(8)
    h4, c5 = folded(*FIRST_FOLD), filled(12)
    c_1_2_3 = {"1.c": c1, "2.c": c2, "3.c": c3}
    h_4_3_5 = {"4.h": h4, "3.c": c3, "5.c": c5}
    for saved in (c_1_2_3, h_4_3_5):
        for name in saved:
            left = {n: made for n, made in saved.items() if n != name}
            yield f"{name}-of-{len(saved)}{list(saved)[0]}-missing", (
                Recording(left, saved=list(saved), missing=[name + "buf.z"]))
    no_state = {"state": None, "missing": ["state"]}
    yield "no-state-C00", Recording({"1.c": c1}, **no_state)
    yield "no-state-CCC", Recording(c_1_2_3, **no_state)
    yield "no-state-HCC", Recording(h_4_3_5, **no_state)
    for files in (c_1_2_3, h_4_3_5):
        for name in files:
            kind = HISTORY if "h" in name else 1
            yield f"no-state-{name}-of-{len(files)}{list(files)[0]}-zeroed", (
                Recording({n: zeroed(kind) if n == name else made
                           for n, made in files.items()}, **no_state))
    yield "no-state-all-zeroed", Recording({"1.c": zeroed()}, **no_state)
    yield "no-state-first-record-torn", Recording(
        {"1.c": c1, "2.c": current(begun=False).damage(first_stream()[:20])},
        **no_state)
    yield "no-state-fold-begun-zeroed", Recording(
        c_1_2_3, others={"4.h": zeroed(HISTORY)}, **no_state)
    yield "no-state-fold-not-used", Recording(
        c_1_2_3, others={"4.h": h4}, **no_state)
    yield "no-state-sources-left", Recording(
        h_4_3_5, others={"1.c": c1, "2.c": c2}, **no_state)
    yield "no-state-a-source-gone", Recording(
        {"4.h": h4, "3.c": c3}, others={"2.c": c2}, **no_state)
    h6 = folded(*SECOND_FOLD)
    yield "no-state-second-fold-not-used", Recording(
        h_4_3_5, others={"6.h": h6}, **no_state)
    yield "no-state-a-source-of-the-second-fold-gone", Recording(
        {"6.h": h6, "5.c": filled(12)}, others={"4.h": h4}, **no_state)
    whole = Recording(h_4_3_5).state
    for label, content in (("empty", b""), ("cut", whole[:-1]),
                           ("version", flipped(whole, 0)),
                           ("of-another", whole.replace(b"r.3", b"q.3"))):
        yield f"state-{label}", Recording(h_4_3_5, state=content,
                                          missing=["state"])
    yield from recorders_with_wrong_numbers(c_1_2_3, h_4_3_5, no_state)
    short = history().interval(0, 1, (0, 1), (0.5, 1.5)).damage(bytes(99))
    yield "HCC-state-CCC-clock-stepped-back-history-damaged", Recording(
        {"4.h": short, "3.c": c3, "5.c": filled(-90, number=2)},
        saved=list(c_1_2_3), others={"1.c": c1, "2.c": c2})
    h8 = {"8.h": folded(*FIRST_FOLD), "7.c": filled(8), "9.c": filled(12)}
    for saved in (["1.c"], ["1.c", "2.c"], ["1.c", "2.c", "3.c"],
                  ["4.h", "3.c", "5.c"]):
        yield f"state-of-{len(saved)}{saved[0]}-long-ago", Recording(
            h8, saved=saved, missing=[name + "buf.z" for name in saved])
    yield "damage-everywhere", damage_everywhere()


def recorders_with_wrong_numbers(c_1_2_3, h_4_3_5, no_state):
    lost_state = {"missing": ["state"]}
    c_1_2 = {name: c_1_2_3[name] for name in ("1.c", "2.c")}
    for label, live, saved in (("CC0", c_1_2, ["2.c", "1.c"]),
                               ("CCC", c_1_2_3, ["1.c", "3.c", "2.c"]),
                               ("HCC", h_4_3_5, ["4.h", "5.c", "3.c"])):
        yield f"state-{label}-out-of-order", Recording(
            live, saved=saved, **lost_state)
    yield "state-alone", Recording({}, saved=["1.c"], missing=["1.cbuf.z"])
    yield "state-alone-empty", Recording(
        {}, saved=["1.c"], state=b"", **lost_state)
    yield "state-one-file-twice", Recording(
        {"1.c": c_1_2["1.c"]}, saved=["1.c", "1.c"], **lost_state)
    yield "state-next-is-taken", Recording(c_1_2, next_number=2, **lost_state)
    largest = 2**31 - 1
    yield "state-next-is-the-largest", Recording(c_1_2, next_number=largest)
    yield "state-next-is-too-large", Recording(
        c_1_2, next_number=largest + 1, **lost_state)
    yield "number-is-the-largest", Recording(
        {f"{largest}.c": c_1_2["1.c"]}, **no_state)
    yield "number-is-too-large", Recording(
        c_1_2, others={f"{largest + 1}.c": filled(4),
                       "4000000000.h": folded(*FIRST_FOLD)})
    yield "number-is-too-large-for-32-bits", Recording(
        c_1_2, others={f"{2**32 + 3}.c": filled(4)})
    yield "number-has-a-leading-zero", Recording(
        c_1_2, others={"03.c": filled(4)})
    yield "HCC-state-of-which-two-are-missing", Recording(
        h_4_3_5, saved=["6.h", "5.c", "7.c"],
        missing=["6.hbuf.z", "7.cbuf.z"])
    yield "CCC-state-of-which-two-are-missing", Recording(
        {"1.c": header_only(1)}, saved=["1.c", "2.c", "3.c"],
        missing=["2.cbuf.z", "3.cbuf.z"])
    lost = flipped(first_stream(HISTORY), 30)
    short = history(begun=False).damage(lost)
    for start, end in ((2, 3), (4, 5), (6, 7)):
        short.interval(start, end, (1, 2), (3, 4), sensors="ab")
    yield "no-state-number-of-intervals-lost", Recording(
        {"4.h": short, "3.c": h_4_3_5["3.c"],
         "5.c": h_4_3_5["5.c"]},
        others={"1.c": c_1_2["1.c"], "2.c": c_1_2["2.c"]}, **no_state)
    yield "fold-begun-a-source-gone", Recording(
        {"2.c": c_1_2["2.c"], "3.c": c_1_2_3["3.c"]},
        saved=["1.c", "2.c", "3.c"], others={"4.h": header_only(HISTORY)},
        missing=["1.cbuf.z"])
    yield "kinds-against-names", Recording(
        {"7.c": filled(12)}, others={"5.c": folded(*FIRST_FOLD),
                                     "6.h": filled(8)}, **no_state)
    yield "buffer-of-another-recorder", Recording(
        {"1.c": filled(0, number=2)}, others={"2.c": current(
            capacity=8).sample(4, 5, 6)}, next_number=2)
    yield "buffer-behind-one-that-is-not-full", Recording(
        {"1.c": filled(0, number=2)}, others={"2.c": filled(4)})
    yield "two-buffers-behind-the-history", Recording(
        {"4.h": folded(*FIRST_FOLD), "1.c": filled(0), "2.c": filled(4),
         "3.c": filled(8), "5.c": filled(12), "6.c": filled(16)}, **no_state)
    yield "set-aside", Recording(
        {"4.h": folded(*FIRST_FOLD), "3.c": filled(8)},
        saved=["4.h", "3.c", "5.c"], missing=["5.cbuf.z"],
        aside={"r.5.cbuf.z.orphan": filled(12).content,
               "r.5.cbuf.z.orphan.2": filled(16).content})


def zeroed(kind=1):
    return Buffer(begun=False, kind=kind).damage(bytes(200))


def damage_everywhere():
    lost = flipped(first_stream(HISTORY), 30)
    h4 = history(begun=False).damage(lost).interval(2, 3, (1, 2), (3, None),
                                                    sensors="ab")
    h4.sensors = "ab"
    c3 = filled(8, "b", "a", number=2).damage(bytes(64)).sample(11, 3, 4)
    c5 = current(begun=False).damage(flipped(first_stream(), 30)).sample(
        13, 5, 6, sensors="ba").damage(second()[:5])
    return Recording({"4.h": h4, "3.c": c3, "5.c": c5})


def recorders_that_lost_names():
    lost = flipped(first_stream(), 30)
    after = current(begun=False).damage(lost)
    yield "names-from-before", Recording(
        {"1.c": filled(0, "x", number=3).rename("c", "d").sample(3, 1, 2),
         "2.c": after.sample(5, 6, 7, sensors="cd"), "3.c": filled(8)})
    yield "names-from-the-next-file", Recording(
        {"1.c": current(begun=False).damage(lost).sample(1, 2, 3,
                                                         sensors="cd"),
         "2.c": filled(4, "x"), "3.c": filled(8, "c", "d")})
    yield "names-from-nowhere", Recording(
        {"1.c": filled(0, "x"), "2.c": current(begun=False).damage(
            lost).sample(5, 6, 7, sensors=["sensor 1", "sensor 2"])})
    # "DISK0 READ" sums up to 151 and "CPU0 Temp" to 206, of 256.
    machine = ("CPU0 Temp", "DISK0 READ")
    yield "history-names-from-a-buffer", Recording(
        {"4.h": history(begun=False).damage(
            flipped(first_stream(HISTORY), 30)).interval(
                2, 3, (1, 2), (3, 4), sensors=machine[::-1]),
         "3.c": filled(8, *machine), "5.c": filled(12, number=1)})
    yield "history-names-not-from-equal-ones", Recording(
        {"4.h": history(begun=False).damage(
            flipped(first_stream(HISTORY), 30)).interval(
                2, 3, (1, 2), (3, 4), sensors=["sensor 1", "sensor 2"]),
         "3.c": filled(8, "a", "a"), "5.c": filled(12, "a", "a", number=1)})
    yield "never-names-from-a-history", Recording(
        {"4.h": folded(*FIRST_FOLD),
         "3.c": current(begun=False).damage(lost).sample(9, 6, 7,
                                                         sensors="cd"),
         "5.c": filled(12, "c", "d", number=1)})


# Recorders that kor writes -----------------------------------------------

def telemetry(number):
    """Every two seconds, readings that single precision holds exactly."""
    for i in range(number):
        yield 2 * i, (0.125 * i, None if i % 5 == 3 else 100 - 2.5 * i)


def text_telemetry(number):
    lines = [stamp(0) + ",CPU0 Temp,DISK0 READ"]
    for at, readings in telemetry(number):
        shown = ("nan" if r is None else str(r) for r in readings)
        lines.append(",".join((stamp(at), *shown)))
    return "\n".join(lines) + "\n"


def stamp(at):
    return time.strftime("%Y%m%d:%H:%M:%S", time.gmtime(START + at))


EVENT = (19, 2, "fan fail")


def expected_of_written(number):
    """Of 4 samples a buffer, in 2 intervals; up to 16 samples."""
    made = list(telemetry(number))
    sensors = ("CPU0 Temp", "DISK0 READ")
    fold = 8 if number > 12 else 0
    shown = history(*sensors[::-1])
    for i in range(0, fold, 2):
        (start, first), (end, last) = made[i:i + 2]
        shown.interval(start, end, *list(zip(first, last))[::-1])
    yield from shown.items
    shown = current(*sensors)
    for at, readings in made[fold:]:
        if at - 2 < EVENT[0] < at:
            shown.event(*EVENT)
        shown.sample(at, *readings)
    yield from shown.items


def write_with_kor(kor, folder, number):
    at, kind, text = EVENT
    events = folder / "events"
    events.write_text(f"{stamp(at)},{kind},{text}\n")
    command = [kor, "record", "r", "--samples", "4", "--intervals", "2"]
    if 2 * number > at:
        command += ["--events", "events"]
    subprocess.run(command, cwd=folder, input=text_telemetry(number),
                   text=True, check=True, env={**os.environ, "TZ": "UTC"})
    events.unlink()


# Writing it all ----------------------------------------------------------

def write_lines(path, shown):
    path.write_text("".join(line(item) + "\n" for item in shown))


def write_files(folder):
    folder.mkdir(parents=True)
    for cases in (valid_files, torn_files, damaged_files,
                  files_with_lost_names):
        for name, made in cases():
            (folder / name).write_bytes(made.content)
            write_lines(folder / (name + ".jsonl"), made.expected(name))


def write_recorders(folder):
    for cases in (recorders_in_order, recorders_after_a_crash,
                  recorders_with_loss, recorders_that_lost_names):
        for name, made in cases():
            case = folder / name
            case.mkdir(parents=True)
            for file, content in made.files.items():
                (case / file).write_bytes(content)
            if made.state is not None:
                (case / "r.state").write_bytes(made.state)
            write_lines(folder / (name + ".jsonl"), made.expected())


def write_recorders_of_kor(kor, folder):
    for label, number in (("C00", 3), ("CC0", 7), ("CCC", 12), ("HCC", 15)):
        case = folder / f"written-{label}"
        case.mkdir(parents=True)
        write_with_kor(kor, case, number)
        write_lines(folder / f"written-{label}.jsonl",
                    expected_of_written(number))


def main():
    with_kor = [os.path.abspath(path) for path in sys.argv[1:2]]
    for part in ["files", "recorders"] + ["written"] * len(with_kor):
        shutil.rmtree(CORPUS / part, ignore_errors=True)
    write_files(CORPUS / "files")
    write_recorders(CORPUS / "recorders")
    for kor in with_kor:
        write_recorders_of_kor(kor, CORPUS / "written")


if __name__ == "__main__":
    main()
