#!/usr/bin/env python3
"""Reads the files of a recorder, as docs/file-format.md describes them.

    python3 kor_reader.py [--utc] BASE|FILE

prints one JSON object a line, like `kor cat BASE|FILE --format jsonl`, and
what is damaged or missing on standard error.  As a module:

    for item in kor_reader.read("BASE"):
        if isinstance(item, kor_reader.Sample): ...

No more than a record is held in memory, however long the recording is.
"""
import argparse
import collections
import datetime
import itertools
import json
import math
import os
import re
import struct
import sys
import zlib

# What read() yields.  Times are seconds since 1970 UTC; names and texts are
# bytes; a missing reading is NaN.
Sample = collections.namedtuple("Sample", "time names values")
Event = collections.namedtuple("Event", "time type text")
Interval = collections.namedtuple("Interval",
                                  "start end names summaries events")
Damage = collections.namedtuple("Damage", "file offset length")
Missing = collections.namedtuple("Missing", "file")

# The parts of the above, and what the files are made of.
Summary = collections.namedtuple(
    "Summary", "count min max first last sum sum2 sum3 sum4")
Header = collections.namedtuple("Header", "kind capacity")
Names = collections.namedtuple("Names", "time names")
State = collections.namedtuple(
    "State", "base name state samples intervals next files")

CURRENT, HISTORY = 1, 2
NAMES, VALUES_OR_INTERVAL, EVENT = 1, 2, 3
MOST = 10000  # of everything that is counted
LONGEST_STATE_FILE = 6 * MOST
COUNTED_TYPES = (1, 4, 2, 3, 5)  # in the order of the file
LIVE_FILES = {1: 1, 2: 2, 3: 3, 4: 3}  # of each state
MOST_FILES = 2**31 - 1  # the largest number of a file
FILE_NAME = re.compile(r"(.*)\.([1-9][0-9]*)\.([ch])buf\.z", re.DOTALL)
ANY_NAME = re.compile(r".*\.([ch])buf\.z", re.DOTALL)
KIND_OF = {"c": CURRENT, "h": HISTORY}
ANY_STREAM = b"\x78"
OWN_STREAM = b"\x78\x9c"


class Malformed(Exception):
    """What was read breaks a rule of the format."""


def require(condition):
    if not condition:
        raise Malformed


# Bytes, and the fields that they make ------------------------------------

class Stream:
    """The content of the zlib stream at an offset of a file."""

    FIRST_READ, LARGEST_READ = 256, 65536

    def __init__(self, file, offset):
        file.seek(offset)
        self.file = file
        self.offset = offset
        self.taken = 0  # bytes of the file
        self.next_read = self.FIRST_READ
        self.inflater = zlib.decompressobj()
        self.content = b""
        self.position = 0

    def take(self, length):
        while self.available() < length:
            require(self.inflate_more())
        self.position += length
        return self.content[self.position - length:self.position]

    def is_at_end(self):
        while not self.available():
            if not self.inflate_more():
                return True
        return False

    def end(self):
        """Where the stream ends in the file, once it is at its end."""
        return self.offset + self.taken - len(self.inflater.unused_data)

    def available(self):
        return len(self.content) - self.position

    def inflate_more(self):
        if self.inflater.eof:
            return False
        source = self.inflater.unconsumed_tail or self.read_more()
        try:
            more = self.inflater.decompress(source, self.LARGEST_READ)
        except zlib.error:
            raise Malformed from None
        require(source or more)
        self.content = self.content[self.position:] + more
        self.position = 0
        return True

    def read_more(self):
        read = self.file.read(self.next_read)
        self.taken += len(read)
        self.next_read = min(2 * self.next_read, self.LARGEST_READ)
        return read


class Plain:
    """Bytes that are not compressed, taken like those of a stream."""

    def __init__(self, content):
        self.content = content

    def take(self, length):
        require(len(self.content) >= length)
        taken, self.content = self.content[:length], self.content[length:]
        return taken


def unpack(source, layout):
    layout = ">" + layout
    return struct.unpack(layout, source.take(struct.calcsize(layout)))


def u32(source):
    return unpack(source, "I")[0]


def version(source, *known):
    found = source.take(1)[0]
    require(found in known)
    return found


def count(source):
    n = u32(source)
    require(1 <= n <= MOST)
    return n


def string(source):
    content = source.take(count(source))
    require(b"\0" not in content)
    return content


def time_stamp(source):
    version(source, 1)
    seconds, rest = unpack(source, "iI")
    require(rest == 0)
    return seconds


# Records -----------------------------------------------------------------

def header(source):
    kind = u32(source)
    require(kind in (CURRENT, HISTORY))
    version(source, 1)
    return Header(kind, u32(source))


def sensor(source):
    version(source, 1)
    return string(source)


def names_record(source):
    version(source, 1)
    time = time_stamp(source)
    version(source, 1)
    return Names(time, [sensor(source) for _ in range(count(source))])


def values_record(source):
    version(source, 1)
    time = time_stamp(source)
    return Sample(time, None, unpack(source, f"{count(source)}f"))


def event_record(source):
    version(source, 1)
    kind = u32(source)
    return Event(time_stamp(source), kind, string(source))


def summary(source):
    version(source, 1)
    return Summary(*unpack(source, "I8f"))


def event_counts(source):
    version(source, 1)
    return dict(sorted(zip(COUNTED_TYPES, unpack(source, "5I"))))


def interval_record(source):
    found = version(source, 1, 2)
    start, end = time_stamp(source), time_stamp(source)
    summaries = [summary(source) for _ in range(count(source))]
    events = event_counts(source) if found == 2 else dict.fromkeys(
        sorted(COUNTED_TYPES), 0)
    return Interval(start, end, None, summaries, events)


READERS = {
    CURRENT: {NAMES: names_record, VALUES_OR_INTERVAL: values_record,
              EVENT: event_record},
    HISTORY: {NAMES: names_record, VALUES_OR_INTERVAL: interval_record},
}


def records(stream, kind):
    """What a stream holds; kind is None where it begins with the header."""
    if kind is None:
        found = header(stream)
        yield found
        kind = found.kind
    while not stream.is_at_end():
        read = READERS[kind].get(u32(stream))
        require(read)
        yield read(stream)


# Buffer files ------------------------------------------------------------

def end_of_stream(file, offset, kind):
    """Where a whole stream of whole records ends; None where none begins."""
    stream = Stream(file, offset)
    try:
        for _ in records(stream, kind):
            pass
    except Malformed:
        return None
    return stream.end()


def kinds_that_fit(file, offset, kinds):
    """Those of the kinds as which a whole stream can be read, and its end."""
    ends = {kind: end_of_stream(file, offset, kind) for kind in kinds}
    fitting = [kind for kind in kinds if ends[kind]]
    return fitting, ends[fitting[0]] if fitting else offset


def places_of(pattern, file, offset):
    """Where behind an offset a pattern stands."""
    while True:
        file.seek(offset)
        block = file.read(Stream.LARGEST_READ)
        place = block.find(pattern)
        while place >= 0:
            yield offset + place
            place = block.find(pattern, place + 1)
        if len(block) < Stream.LARGEST_READ:
            return
        offset += len(block) - len(pattern) + 1


def next_stream(file, offset, kinds):
    """The next stream that can be read: where, its end, as which kinds."""
    file.seek(offset)
    starts = places_of(OWN_STREAM, file, offset + 1)
    if file.read(1) == ANY_STREAM:
        starts = itertools.chain([offset], starts)
    for start in starts:
        fitting, end = kinds_that_fit(file, start, kinds)
        if fitting:
            return start, end, fitting
    end = file.seek(0, os.SEEK_END)
    return end, end, kinds


def kind_by_name(path):
    found = ANY_NAME.fullmatch(path)
    return KIND_OF[found.group(1)] if found else None


def possible_kinds(path):
    """What a file may be as long as its header was not seen."""
    kind = kind_by_name(path)
    return [kind] if kind else [CURRENT, HISTORY]


def kind_at_start(path):
    """By the header, if a whole stream begins with it; or else by the name."""
    with open(path, "rb") as file:
        try:
            items = records(Stream(file, 0), None)
            found = next(items)
            for _ in items:
                pass
            return found.kind
        except Malformed:
            return kind_by_name(path)


def scan(path):
    """Header, records and damage of a file, as they stand in it."""
    with open(path, "rb") as file:
        end = file.seek(0, os.SEEK_END)
        offset, kinds = 0, [None] + possible_kinds(path)
        while offset < end:
            start, behind, fitting = next_stream(file, offset, kinds)
            if start > offset:
                yield Damage(path, offset, start - offset)
            offset = behind
            if start == end:
                return
            for item in records(Stream(file, start), fitting[0]):
                if isinstance(item, Header):
                    fitting = [item.kind]
                yield item
            kinds = fitting


def holds_a_record(path):
    return any(not isinstance(item, (Header, Damage)) for item in scan(path))


# Names of readings -------------------------------------------------------

def bucket(name):
    return sum(name) % 256


def in_history_order(names):
    """The order of a history; nothing where it depends on the past."""
    if len(set(map(bucket, names))) < len(names):
        return []
    return sorted(names, key=bucket)


def first_names(path):
    found = (item.names for item in scan(path) if isinstance(item, Names))
    return next(found, [])


class NamesInForce:
    """The names of readings, also where their record is damaged."""

    def __init__(self, paths):
        self.first = [(kind_at_start(path), first_names(path))
                      for path in paths]
        self.kind = None  # of the file before
        self.now = []

    def begin_file(self):
        """The first of the paths that did not begin yet."""
        kind, _ = self.first[0]
        if (self.kind, kind) != (CURRENT, CURRENT):
            self.now = []
        self.kind = kind

    def end_file(self):
        self.first.pop(0)

    def candidates(self, kind):
        yield self.now
        yield from (names for k, names in self.first if k == kind)
        if kind == HISTORY:
            yield from (in_history_order(names)
                        for k, names in self.first if k != kind)

    def made_up(self, number):
        return [b"sensor %d" % (i + 1) for i in range(number)]

    def of(self, readings, kind):
        fitting = (names for names in self.candidates(kind)
                   if len(names) == len(readings))
        self.now = next(fitting, None) or self.made_up(len(readings))
        return self.now


def named_items(paths):
    """Samples, intervals, events and damage of files, oldest first."""
    names = NamesInForce(paths)
    for path in paths:
        names.begin_file()
        for item in scan(path):
            if isinstance(item, Names):
                names.now = item.names
            elif isinstance(item, Sample):
                yield item._replace(names=names.of(item.values, CURRENT))
            elif isinstance(item, Interval):
                yield item._replace(names=names.of(item.summaries, HISTORY))
            elif not isinstance(item, Header):
                yield item
        names.end_file()


# Recorders ---------------------------------------------------------------

def state_record(source):
    version(source, 1)
    base, name = string(source), string(source)
    state, samples, intervals, quotient, following = unpack(source, "5I")
    require(state in LIVE_FILES and intervals > 0)
    require(samples == intervals * quotient and samples % 2 == 0)
    require(0 < samples <= MOST_FILES and 0 < following <= MOST_FILES)
    version(source, 1)
    files = [string(source) for _ in range(LIVE_FILES[state])]
    return State(base, name, state, samples, intervals, following, files)


class Recorder:
    """The files of a recorder, known by their numbers."""

    def __init__(self, base):
        self.base = base
        self.kinds = dict(sorted(self.list_files()))

    def list_files(self):
        for name in os.listdir(os.path.dirname(self.base) or "."):
            known = self.known(name)
            if known:
                yield known

    def known(self, name):
        """Number and kind by the name of a file; None for another one."""
        found = FILE_NAME.fullmatch(name)
        if not found or found.group(1) != os.path.basename(self.base):
            return None
        number = int(found.group(2))
        return (number, KIND_OF[found.group(3)]) if (
            number <= MOST_FILES) else None

    def path(self, number, kind):
        letter = "h" if kind == HISTORY else "c"
        return f"{self.base}.{number}.{letter}buf.z"

    def holds_a_record(self, number):
        return holds_a_record(self.path(number, self.kinds[number]))

    def saved_files(self):
        """Live files by the state file, and the number behind them."""
        with open(self.base + ".state", "rb") as file:
            state = state_record(Plain(file.read(LONGEST_STATE_FILE)))
        files = [self.known(os.path.basename(os.fsdecode(name)))
                 for name in state.files]
        require(all(files))
        kinds = [kind for _, kind in files]
        first = HISTORY if state.state == 4 else CURRENT
        require(kinds == [first] + [CURRENT] * (len(kinds) - 1))
        numbers = [number for number, _ in files] + [state.next]
        if first == HISTORY:
            numbers[:2] = numbers[1::-1]
        require(all(a < b for a, b in zip(numbers, numbers[1:])))
        return files, state.next

    def follow(self, files, following):
        """The files in use now, when they once were those given."""
        while True:
            fold = len(files) == 3
            history = [(following, HISTORY)] if fold else []
            buffer = (following + len(history), CURRENT)
            if (self.kinds.get(buffer[0]) != CURRENT
                    or not self.holds_a_record(buffer[0])):
                return files
            files = history + files[2 if fold else 0:] + [buffer]
            following = buffer[0] + 1

    def found_files(self):
        """The files in use, as the folder tells."""
        histories = [n for n, kind in self.kinds.items() if kind == HISTORY]
        buffers = [n for n, kind in self.kinds.items() if kind == CURRENT]
        for history in reversed(histories):
            if self.is_in_use(history, buffers, histories):
                newer = [n for n in buffers if n > history]
                older = [n for n in buffers if n < history][-1:]
                return [(history, HISTORY)] + [
                    (n, CURRENT) for n in older + newer]
        return [(n, CURRENT) for n in buffers]

    def is_in_use(self, history, buffers, histories):
        """Whether a fold is over: behind it is a record, or a source gone."""
        if any(self.holds_a_record(n) for n in buffers if n > history):
            return True
        older = [n for n in buffers if n < history]
        return len(older) < (2 if any(n < history for n in histories) else 3)

    def files(self):
        """The live files, oldest first, and those that are missing."""
        try:
            saved, following = self.saved_files()
        except (Malformed, OSError):
            return self.found_files(), [(self.base + ".state")]
        missing = [self.path(*file) for file in saved
                   if self.kinds.get(file[0]) != file[1]]
        if missing:
            return self.found_files(), missing
        return self.follow(saved, following), []


def read(name):
    """Everything in a recorder or in one of its files, oldest first."""
    is_recorder = os.path.exists(name + ".state")
    if os.path.isfile(name) and not is_recorder:
        yield from named_items([name])
        return
    recorder = Recorder(name)
    files, missing = recorder.files()
    if not recorder.kinds and not is_recorder:
        raise FileNotFoundError(f"{name}: no recorder and no buffer file")
    yield from map(Missing, missing)
    yield from named_items([recorder.path(*file) for file in files])


# As JSON -----------------------------------------------------------------

def text(content):
    return json.dumps(content.decode(errors="replace"), ensure_ascii=False)


def single(number):
    """The shortest decimal number that a float of 4 bytes is closest to."""
    if not math.isfinite(number):
        return "null"
    packed = struct.pack(">f", number)
    for digits in range(1, 10):
        shown = f"{number:.{digits}g}"
        try:
            if struct.pack(">f", float(shown)) == packed:
                break
        except OverflowError:
            pass  # Rounded up beyond the largest one.
    return shown


def double(number):
    return repr(number) if math.isfinite(number) else "null"


def mean(s):
    """The mean of an interval and how far it may be off."""
    if not all(map(math.isfinite, (s.sum, s.min, s.max))):
        return math.nan, math.nan
    low, high = sorted((s.min, s.max))
    error = (s.count - 1) * 2.0**-24 * max(abs(low), abs(high))
    return (min(max(s.sum / s.count, low), high), min(error, high - low))


def summary_json(s):
    if s.count == 0:
        return '{"count":0}'
    value, error = mean(s)
    return (f'{{"count":{s.count},"min":{single(s.min)},'
            f'"max":{single(s.max)},"mean":{double(value)},'
            f'"mean_error":{double(error)},"first":{single(s.first)},'
            f'"last":{single(s.last)}}}')


def by_name(names, values):
    return ",".join(f"{text(name)}:{value}"
                    for name, value in zip(names, values))


def by_type(events):
    return ",".join(f'"{kind}":{number}' for kind, number in events.items())


def time_of_day(seconds, utc):
    epoch = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)
    time = epoch + datetime.timedelta(seconds=seconds)
    if utc:
        return time.strftime("%Y-%m-%dT%H:%M:%SZ")
    return time.astimezone().isoformat()


def to_json(item, utc=True):
    """One line for a sample, an event or an interval."""
    def time(seconds):
        return time_of_day(seconds, utc)

    if isinstance(item, Sample):
        values = by_name(item.names, map(single, item.values))
        return (f'{{"kind":"sample","time":"{time(item.time)}",'
                f'"values":{{{values}}}}}')
    if isinstance(item, Event):
        return (f'{{"kind":"event","time":"{time(item.time)}",'
                f'"type":{item.type},"text":{text(item.text)}}}')
    sensors = by_name(item.names, map(summary_json, item.summaries))
    return (f'{{"kind":"interval","start":"{time(item.start)}",'
            f'"end":"{time(item.end)}","sensors":{{{sensors}}},'
            f'"events":{{{by_type(item.events)}}}}}')


# The program -------------------------------------------------------------

DONE, FAILED, WRONG_USAGE, INCOMPLETE, NOTHING = range(5)


def complaint(item):
    if isinstance(item, Missing):
        return f"{item.file}: missing"
    return (f"{item.file}:{item.offset}: {item.length} bytes that hold no "
            "readable record")


def show(name, utc):
    status = NOTHING
    for item in read(name):
        if isinstance(item, (Damage, Missing)):
            print(complaint(item), file=sys.stderr)
            status = INCOMPLETE
        else:
            print(to_json(item, utc))
            status = DONE if status == NOTHING else status
    return status


def run(name, utc):
    """What the program does; returns its exit status."""
    try:
        status = show(name, utc)
        sys.stdout.flush()
        return status
    except BrokenPipeError:
        # Whoever reads the output has seen enough of it.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return DONE
    except OSError as error:
        print(f"kor_reader: {error}", file=sys.stderr)
        return FAILED


def main():
    parser = argparse.ArgumentParser(description="Prints a recording as JSON.")
    parser.add_argument("name", metavar="BASE|FILE")
    parser.add_argument("--utc", action="store_true",
                        help="times in UTC, not in local time")
    arguments = parser.parse_args()
    sys.stdout.reconfigure(encoding="utf-8", newline="\n")
    return run(arguments.name, arguments.utc)


if __name__ == "__main__":
    sys.exit(main())
