"""kor record: text telemetry into a recorder."""
import json
import random
import struct

import support
from support import (DONE, FAILED, INCOMPLETE, NOTHING, WRONG_USAGE, inflate,
                     stamp, telemetry, text)

HEADER = f"{stamp(0)},CPU0 Temp,DISK0 READ"
GOOD = f"{stamp(1)},45.5,1200"
LAST = f"{stamp(9)},46.5,1300"
TOO_LONG = ",1" * 40000

# One row for each kind of bad line: the line, and what is said of it.
BAD_LINES = {
    "empty": ("", "empty line"),
    "malformed time stamp": ("2014021414:30:00x,1,2", "letters where"),
    "digits missing in the time stamp": ("20140214:14:3:00,1,2",
                                         "bad time stamp"),
    "month 13": ("20141314:14:30:00,1,2", "bad time stamp"),
    "month 00": ("20140014:14:30:00,1,2", "bad time stamp"),
    "day a month does not have": ("20140230:14:30:00,1,2", "bad time stamp"),
    "hour 24": ("20140214:24:30:00,1,2", "bad time stamp"),
    "before the epoch's 32 bits": ("19000101:00:00:00,1,2", "bad time stamp"),
    "behind the epoch's 32 bits": ("20990101:00:00:00,1,2", "bad time stamp"),
    "the null time": ("19700101:00:00:00,1,2", "bad time stamp"),
    "time stamp alone": (stamp(2), "too few values: 0, for 2 sensors"),
    "too few values": (f"{stamp(2)},1", "too few values: 1, for 2 sensors"),
    "too many values": (f"{stamp(2)},1,2,3",
                        "too many values: 3, for 2 sensors"),
    "empty value": (f"{stamp(2)},1,", "value 2: no value"),
    "letters for a value": (f"{stamp(2)},1,abc", "value 2: not a number"),
    "letters behind a value": (f"{stamp(2)},1.5kg,2", "value 1: not a number"),
    "hexadecimal value": (f"{stamp(2)},0x10,2", "value 1: not a number"),
    "value beyond single precision": (f"{stamp(2)},1e39,2",
                                      "value 1: beyond single precision"),
    "letters in the time stamp": ("hello,1,2", "letters where"),
    "letter as the first value's sign": ("20140214:14:30:0x,1,2",
                                         "letters where"),
    "NUL byte": (f"{stamp(2)},1,2\0", "a byte with the value 0"),
    "control character": (f"{stamp(2)},1\x07,2", "a byte with the value 7"),
    "carriage return inside": (f"{stamp(2)},1\r,2", "a byte with the value 13"),
    "line too long": (stamp(2) + TOO_LONG, "line too long"),
}

# Bad headers: the samples behind them belong to sensors unknown.
BAD_HEADERS = {
    "empty name": (f"{stamp(2)},CPU0,,CPU1", "no name for sensor 2"),
    "comma before the newline": (f"{stamp(2)},CPU0,", "no name for sensor 2"),
    "carriage return before the newline": (f"{stamp(2)},CPU0\r",
                                           "ends in a carriage return"),
    "letters in the time stamp": ("2014O214:14:30:00,CPU0,CPU1",
                                  "malformed time stamp"),
    "time stamp too short": ("2014:14:30:00,1234,CPU0",
                             "malformed time stamp"),
    "name too long": (f"{stamp(2)},CPU{'0' * 300}",
                      "longer than 255 characters"),
    "NUL byte": (f"{stamp(2)},CPU0\0,CPU1", "a byte with the value 0"),
    "too many sensors": (f"{stamp(2)},CPU" + ",0" * 10001,
                         "header with 10002 sensors"),
    "too long": (f"{stamp(2)},CPU" + ",CPU" * 20000, "line too long"),
}


class BadLines(support.ToolTest):
    def test_each_kind_is_reported_skipped_and_counted(self):
        for kind, (line, said) in BAD_LINES.items():
            with self.subTest(kind):
                self.write("in.vorn", text([HEADER, GOOD, line, LAST]))
                base = kind.replace(" ", "-")
                run = self.kor("record", base, "in.vorn", expect=INCOMPLETE)
                self.assertIn("in.vorn:3: ", run.err)
                self.assertIn(said, run.err)
                self.assertIn("2 samples", run.err)
                self.assertIn("1 lines skipped", run.err)
                self.assertEqual(len(self.vorn(base)), 3)

    def test_no_sample_is_taken_under_a_bad_header(self):
        for kind, (line, said) in BAD_HEADERS.items():
            with self.subTest(kind):
                again = f"{stamp(5)},CPU7"
                lines = [HEADER, GOOD, line, GOOD, GOOD, again, f"{stamp(6)},7"]
                self.write("in.vorn", text(lines))
                base = kind.replace(" ", "-")
                run = self.kor("record", base, "in.vorn", expect=INCOMPLETE)
                self.assertIn("in.vorn:3: ", run.err)
                self.assertIn(said, run.err)
                self.assertNotIn("in.vorn:4: ", run.err)
                self.assertIn("3 lines skipped", run.err)
                self.assertEqual(self.vorn(base)[2:],
                                 [f"{stamp(6)},CPU7", f"{stamp(6)},7.000"])

    def test_samples_without_any_header_are_reported_once(self):
        run = self.record([GOOD, LAST], expect=INCOMPLETE)
        self.assertIn("standard input:1: no header before this line", run.err)
        self.assertNotIn("standard input:2", run.err)
        self.assertIn("2 lines skipped", run.err)
        self.assertEqual(self.names(), [])

    def test_reports_of_a_long_row_of_bad_lines_come_to_an_end(self):
        run = self.record([HEADER, *["x"] * 5000, GOOD], expect=INCOMPLETE)
        self.assertIn("5000 lines skipped", run.err)
        self.assertLess(len(run.err.splitlines()), 110)

    def test_junk_never_aborts(self):
        random_numbers = random.Random(4711)
        for n in range(60):
            junk = random_numbers.randbytes(random_numbers.randrange(3000))
            run = self.kor("record", f"junk{n}", stdin=junk)
            self.assertIn(run.status, (INCOMPLETE, NOTHING), run.err)

    def test_damaged_telemetry_never_aborts(self):
        random_numbers = random.Random(4712)
        whole = text(telemetry(40)).encode()
        for n in range(60):
            damaged = bytearray(whole)
            for _ in range(random_numbers.randrange(1, 30)):
                place = random_numbers.randrange(len(damaged))
                damaged[place] = random_numbers.choice(
                    b"\0\n\r,:.-+eEnNxX09PSpsTemp::" + bytes(range(256)))
            run = self.kor("record", f"d{n}", "--samples", 4, "--intervals",
                           2, stdin=bytes(damaged))
            self.assertIn(run.status, (DONE, INCOMPLETE), run.err)
            if self.names(f"d{n}.*"):
                self.kor("check", f"d{n}", expect=DONE)


class GoodLines(support.ToolTest):
    def test_what_the_format_allows_is_taken(self):
        rows = ["+1.5,-2", " 3,4e2", "nan,-nan", "inf,-inf", ".5,5.",
                "1e-320,-0"]
        lines = [HEADER, *(f"{stamp(i)},{row}" for i, row in enumerate(rows))]
        self.record(lines)
        self.assertEqual([row.split(",", 1)[1] for row in self.vorn()[1:]],
                         ["1.500,-2.000", "3.000,400.000", "nan,nan",
                          "inf,-inf", "0.500,5.000", "0.000,-0.000"])

    def test_data_lines_may_end_in_carriage_returns(self):
        self.record([HEADER, GOOD + "\r"])
        self.assertEqual(self.vorn()[1], f"{stamp(1)},45.500,1200.000")

    def test_the_last_newline_may_be_missing(self):
        self.kor("record", "r", stdin=HEADER + "\n" + GOOD, expect=DONE)
        self.assertEqual(len(self.vorn()), 2)

    def test_generic_names_make_a_header(self):
        self.record([f"{stamp(0)},::SENSOR0,::SENSOR1", GOOD])
        self.assertEqual(self.vorn()[0], f"{stamp(1)},::SENSOR0,::SENSOR1")

    def test_a_header_may_change_the_sensors(self):
        second = f"{stamp(2)},PS0"
        self.record([HEADER, GOOD, second, f"{stamp(3)},1", HEADER, LAST])
        self.assertEqual(
            self.vorn(),
            [f"{stamp(1)},CPU0 Temp,DISK0 READ", f"{stamp(1)},45.500,1200.000",
             f"{stamp(3)},PS0", f"{stamp(3)},1.000",
             f"{stamp(9)},CPU0 Temp,DISK0 READ", f"{stamp(9)},46.500,1300.000"])

    def test_the_clock_may_step_back(self):
        times = [5, 6, 7, 2, 3, 4, 1, 8, 9, 0]
        lines = [HEADER, *(f"{stamp(i)},{i},0" for i in times)]
        self.record(lines, "r", 4, 2)
        shown = [line for line in self.vorn()[1:]]
        self.assertEqual(shown, [f"{stamp(i)},{i}.000,0.000" for i in times])

    def test_the_most_sensors_are_taken(self):
        names = ",".join(f"n{i}" for i in range(10000))
        values = ",".join("1" for i in range(10000))
        self.record([f"{stamp(0)},{names}", f"{stamp(0)},{values}"])
        self.assertEqual(len(self.vorn()[0].split(",")), 10001)


class Resuming(support.ToolTest):
    def test_fifty_runs_equal_one(self):
        lines = telemetry(400)
        self.record(lines, "once", 16, 4)
        random_numbers = random.Random(4713)
        cuts = sorted(random_numbers.sample(range(1, 400), 49))
        for begin, end in zip([0, *cuts], [*cuts, 400]):
            part = [lines[0], *lines[1 + begin:1 + end]]
            self.record(part, "many", 16, 4)
        once = self.names("once.*")
        self.assertEqual([name.replace("many", "once")
                          for name in self.names("many.*")], once)
        for name in once:
            if name.endswith(".z"):
                self.assertEqual(
                    inflate(self.folder / name.replace("once", "many")),
                    inflate(self.folder / name), name)

    def test_a_recorder_keeps_its_parameters(self):
        self.record(telemetry(3), "r", 8, 4)
        run = self.record(telemetry(1, first=3), "r", 16, 8)
        self.assertIn("goes on with 8 samples and 4 intervals", run.err)

    def test_a_torn_tail_is_repaired_and_reported(self):
        self.record(telemetry(5))
        path = self.folder / "r.1.cbuf.z"
        path.write_bytes(path.read_bytes()[:-3])
        run = self.record(telemetry(1, first=5))
        self.assertIn("incomplete tail cut off", run.err)
        self.assertEqual(len(self.vorn()), 1 + 4 + 1)

    def test_the_newest_samples_are_kept_as_they_were(self):
        lines = telemetry(100)
        self.record(lines)
        shown = self.vorn()
        nsamples = len(shown) - 1
        self.assertGreater(nsamples, 8)
        self.assertEqual(shown[1:], lines[-nsamples:])
        self.assertEqual(shown[0].split(",")[1:], lines[0].split(",")[1:])

    def test_counts_add_up_to_the_readings_put_in(self):
        lines = telemetry(100)
        self.record(lines)
        info = json.loads(self.kor("info", "r", "--json").out)
        columns = list(zip(*(line.split(",")[1:] for line in lines[1:])))
        expected = {name: sum(v != "nan" for v in column) for name, column
                    in zip(lines[0].split(",")[1:], columns)}
        found = {s["name"]: s["readings"] for s in info["sensors"]}
        self.assertEqual(found, expected)
        self.assertEqual(info["recorder"]["state"], "HCC")


class Events(support.ToolTest):
    def shown(self):
        """What is kept, as letters: samples and events."""
        return [line.split()[1:] for line in
                self.kor("cat", "r", "--utc", expect=DONE).out.splitlines()]

    def kinds(self):
        return "".join(words[0][0] for words in self.shown())

    def test_they_are_merged_in_time_order(self):
        self.write("e", text([f"{stamp(1)},2,fan fail, hot",
                              f"{stamp(2)},5,fan works"]))
        self.record(telemetry(4), "r", 8, 4, DONE, "--events", "e")
        self.assertEqual(self.kinds(), "sesess")
        self.assertIn("type 2: fan fail, hot",
                      self.kor("cat", "r").out.splitlines()[1])

    def test_none_comes_before_the_first_sample_of_a_file(self):
        self.write("e", text(f"{stamp(i)},1,note {i}" for i in range(9)))
        self.record(telemetry(9, first=1), "r", 2, 2, DONE, "--events", "e")
        for name in self.names("*.cbuf.z"):
            self.assertEqual(inflate(self.folder / name)[9:13], b"\0\0\0\1")
        info = self.kor("info", "r", "--json").out
        events = json.loads(info)["events"]
        self.assertEqual(events["1"], 9)

    def test_those_behind_the_last_sample_are_kept(self):
        self.write("e", f"{stamp(8)},3,late\n")
        self.record(telemetry(2), "r", 2, 2, DONE, "--events", "e")
        self.assertEqual(self.kinds(), "sse")

    def test_without_samples_they_are_not_recorded(self):
        self.write("e", f"{stamp(8)},3,late\n")
        run = self.record([], "r", 2, 2, INCOMPLETE, "--events", "e")
        self.assertIn("no events are recorded", run.err)
        self.assertEqual(self.names("r*"), [])

    def test_bad_ones_are_reported_and_skipped(self):
        rows = {"": "empty line", "x,1,t": "bad time stamp",
                f"{stamp(0)},6,t": "not an event type",
                f"{stamp(0)},0,t": "not an event type",
                f"{stamp(0)},12,t": "not an event type",
                f"{stamp(0)},1,": "event without a text",
                f"{stamp(0)},1": "event without a text",
                f"{stamp(0)},1,a\0b": "a byte with the value 0",
                f"{stamp(0)},1," + "x" * 10001: "longer than 10000 bytes"}
        self.write("e", text(rows))
        run = self.record(telemetry(1), "r", 2, 2, INCOMPLETE, "--events", "e")
        for number, said in enumerate(rows.values(), 1):
            self.assertRegex(run.err, f"(?m)^e:{number}: .*{said}")
        self.assertEqual(self.kinds(), "s")


def long_base(length):
    """A base name of so many characters, in the current folder."""
    leaf = "r" if length % 2 else "rr"
    return "./" * ((length - len(leaf)) // 2) + leaf


class Usage(support.ToolTest):
    def test_statuses(self):
        self.write("in", text(telemetry(1)))
        rows = [
            (WRONG_USAGE, ["record"]),
            (WRONG_USAGE, ["record", ""]),
            (WRONG_USAGE, ["record", "b" * 2000, "in"]),
            (WRONG_USAGE, ["record", "r", "in", "--samples", 7]),
            (WRONG_USAGE, ["record", "r", "in", "--samples", 0]),
            (WRONG_USAGE, ["record", "r", "in", "--samples", "x"]),
            (WRONG_USAGE, ["record", "r", "in", "--intervals", 3]),
            (WRONG_USAGE, ["record", "r", "in", "--samples", 8,
                           "--intervals", 6]),
            (WRONG_USAGE, ["record", "r", "in", "--samples", 131072,
                           "--intervals", 65536]),
            (WRONG_USAGE, ["record", "r", "in", "--nonsense"]),
            (WRONG_USAGE, ["record", "./", "in"]),
            (WRONG_USAGE, ["record", long_base(981), "in"]),
            (FAILED, ["record", "r", "missing"]),
            (FAILED, ["record", "no/such/folder/r", "in"]),
            (FAILED, ["record", "r", "in", "--events", "missing"]),
            (NOTHING, ["record", "r", "/dev/null"]),
            (DONE, ["record", "r", "in"]),
            (DONE, ["record", long_base(980), "in"]),
            (DONE, ["record", "most", "in", "--samples", 131068,
                    "--intervals", 65534]),
        ]
        for status, arguments in rows:
            with self.subTest(arguments=arguments):
                run = self.kor(*arguments, expect=status)
                self.assertEqual(run.out, "")
                self.assertEqual(run.err == "", status == DONE)

    def test_a_recorder_that_cannot_be_folded_is_not_written_to(self):
        self.record(telemetry(1), "r", 140000, 2)
        path = self.folder / "r.state"
        told = struct.pack(">3I", 140000, 2, 70000)
        self.assertIn(told, path.read_bytes())
        self.write("r.state", path.read_bytes().replace(
            told, struct.pack(">3I", 140000, 70000, 2)))
        before = self.contents()
        run = self.record(telemetry(1, first=1), "r", 8, 4, FAILED)
        self.assertIn("70000 intervals", run.err)
        self.assertEqual(self.contents(), before)
        self.kor("cat", "r", expect=DONE)


if __name__ == "__main__":
    support.main()
