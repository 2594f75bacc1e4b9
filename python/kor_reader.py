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


class Findings:
    """What a scan tells about a file, without its records."""

    def __init__(self, path):
        self.header = None
        self.values = 0  # samples or intervals
        self.has_record = self.is_damaged = False
        self.begin = self.end = 0  # of the first record, the last values
        for item in scan(path):
            if isinstance(item, Header):
                self.header = item
            elif isinstance(item, Damage):
                self.is_damaged = True
            else:
                self.add_record(item)

    def add_record(self, item):
        is_interval = isinstance(item, Interval)
        if not self.has_record:
            self.begin = item.start if is_interval else item.time
        self.has_record = True
        if isinstance(item, (Sample, Interval)):
            self.values += 1
            self.end = item.end if is_interval else item.time


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
        yield from (names for k, names in self.first if k == kind
                    and (kind != HISTORY or len(set(names)) == len(names)))
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
    """The files of a recorder, each known by its number and kind."""

    def __init__(self, base):
        self.base = base
        self.all = sorted(self.list_files(), key=lambda f: (f[0], -f[1]))
        self.found = {f: Findings(self.path(f)) for f in self.all}
        self.state = self.saved_state()
        self.capacity = self.capacities()

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

    def path(self, file):
        number, kind = file
        letter = "h" if kind == HISTORY else "c"
        return f"{self.base}.{number}.{letter}buf.z"

    def saved_state(self):
        """The state file, with the live files as known; None if damaged."""
        try:
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
            return state._replace(files=files)
        except (Malformed, OSError):
            return None

    def capacities(self):
        if self.state:
            return {CURRENT: self.state.samples,
                    HISTORY: 2 * self.state.intervals}
        headers = ((kind, self.found[number, kind].header)
                   for number, kind in self.all)
        return {kind: header.capacity for kind, header in headers
                if header and header.kind == kind}

    def takes_part(self, file):
        """Whether a file has a record, and a header of this recorder."""
        found = self.found.get(file)
        if not found or not found.has_record:
            return False
        return found.header in (
            None, Header(file[1], self.capacity.get(file[1])))

    def is_full(self, file):
        return (self.takes_part(file) and
                self.found[file].values == self.capacity.get(file[1]))

    def missing(self):
        if not self.state:
            return [self.base + ".state"]
        return [self.path(f) for f in self.state.files if f not in self.found]

    # --- by the state file ---

    def is_state_all(self):
        """Whether there is nothing that the state file does not name."""
        *closed, (last, _) = self.state.files
        others = (f for f in self.all if f not in self.state.files and
                  not (f[1] == HISTORY and f[0] > last))
        return (all(f in self.found for f in closed) and
                not any(os.path.getsize(self.path(f)) for f in others))

    def is_state_usable(self):
        numbers = [number for number, _ in self.state.files]
        between = [(n, CURRENT) for n in range(min(numbers), max(numbers))
                   if (n, CURRENT) not in self.state.files]
        return (all(map(self.is_full, self.state.files[:-1])) and
                not any(map(self.takes_part, between)) and
                not self.has_gone_on())

    def has_gone_on(self):
        """Whether there is a buffer that came after what was saved."""
        last = self.state.files[-1]
        newer = [f for f in self.all if f[1] == CURRENT and
                 f[0] > last[0] and self.takes_part(f)]
        if not newer or last not in self.found:
            return bool(newer) and len(self.state.files) == 1
        return self.is_full(last) and (
            self.comes_next(newer[0]) or
            self.found[newer[0]].begin >= self.found[last].end and
            (self.needs_no_fold() or self.are_explained(last, newer[0])))

    def comes_next(self, buffer):
        """Whether the next transition gives a buffer its number."""
        fold = len(self.state.files) == 3
        history = (self.state.next, HISTORY)
        return (buffer[0] == self.state.next + fold and
                (not fold or self.takes_part(history)))

    def needs_no_fold(self):
        buffers = [f for f in self.all
                   if f[1] == CURRENT and self.takes_part(f)]
        return len(self.state.files) < 3 and not any(
            f[1] == HISTORY and self.is_full(f) and buffers[-1] > f
            for f in self.all)

    def are_explained(self, last, newer):
        """Whether numbers without a file stand singly before one with."""
        there = {number for number, _ in self.all}
        return all(n in there or n + 1 in there
                   for n in range(last[0] + 1, newer[0]))

    # --- by the folder ---

    def found_files(self):
        taken = list(filter(self.takes_part, self.all))
        histories = [f for f in taken
                     if f[1] == HISTORY and self.found[f].values]
        buffers = [f for f in taken if f[1] == CURRENT]
        for history in reversed(histories):
            if self.is_in_use(history, buffers, histories):
                newer = [f for f in buffers if f[0] >= history[0]]
                older = [f for f in buffers if f[0] < history[0]]
                return ([history] + older[-1:] + newer if len(newer) <= 1
                        else self.all_files(histories))
        return buffers if len(buffers) <= 3 else self.all_files(histories)

    def is_in_use(self, history, buffers, histories):
        """Whether a fold is over: behind it is a record, or a source gone."""
        number, _ = history
        if any(n >= number for n, _ in buffers):
            return True
        older = [n for n, _ in buffers if n < number]
        below = [n for n, _ in histories if n < number]
        return len(older) < (2 if below else 3)

    def all_files(self, histories):
        return histories[-1:] + [f for f in self.all if f[1] == CURRENT]

    def last_folded(self, live):
        """The number up to which current buffers went into the history."""
        if not live or live[0][1] != HISTORY:
            return 0
        below = [n for n, kind in live if n < live[0][0]]
        taken = {n for n, _ in self.all}
        return below[0] if below else max(
            n for n in range(live[0][0]) if n not in taken)

    def is_loss(self, file, live):
        """Whether a file that holds damage alone once was in use."""
        number, kind = file
        history = live[0] if live and live[0][1] == HISTORY else None
        if kind == CURRENT:
            return number > self.last_folded(live)
        buffers = [f for f in self.all if f[1] == CURRENT]
        histories = [f for f in self.all if f[1] == HISTORY]
        if history and number < history[0]:
            return False
        return (any(n >= number and self.found[n, k].has_record
                    for n, k in buffers) or
                self.is_in_use(file, [f for f in buffers if f[0] < number],
                               histories))

    def damaged_files(self, live, is_usable):
        """Those not in use that hold damage alone, and are a loss."""
        for file in self.all:
            found = self.found[file]
            if found.is_damaged and not found.has_record and file not in live:
                if (self.state and file in self.state.files) or (
                        not is_usable and self.is_loss(file, live)):
                    yield file

    def files(self):
        """The files to read, oldest first."""
        if self.state and (self.is_state_all() or self.is_state_usable()):
            live = [f for f in self.state.files if f in self.found]
        else:
            live = self.found_files()
        is_usable = self.state and not self.missing()
        return [*self.damaged_files(live, is_usable), *live]


def read(name):
    """Everything in a recorder or in one of its files, oldest first."""
    is_recorder = os.path.exists(name + ".state")
    if os.path.isfile(name) and not is_recorder:
        yield from named_items([name])
        return
    recorder = Recorder(name)
    if not recorder.all and not is_recorder:
        raise FileNotFoundError(f"{name}: no recorder and no buffer file")
    yield from map(Missing, recorder.missing())
    yield from named_items(list(map(recorder.path, recorder.files())))


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
