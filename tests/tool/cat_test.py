"""kor cat and kor info: what a recording holds."""
import csv
import fnmatch
import json
import os
import subprocess

import support
from support import (DONE, FAILED, INCOMPLETE, NOTHING, WRONG_USAGE, rfc3339,
                     stamp, telemetry, text)

SENSORS = ("CPU0 Temp", "DISK0 READ", "FAN V_0")


class Recorded(support.ToolTest):
    """A recorder with a history: 100 samples, one event a buffer."""

    def setUp(self):
        super().setUp()
        self.lines = telemetry(100)
        self.write("e", text(f"{stamp(i)},2,\"quoted\", note {i}"
                             for i in range(2, 100, 8)))
        self.record(self.lines, "r", 8, 4, DONE, "--events", "e")
        self.rows = [line.split(",") for line in self.lines[1:]]


class Formats(Recorded):
    def items(self, *arguments):
        run = self.kor("cat", "r", "--format", "jsonl", "--utc", *arguments,
                       expect=DONE)
        return [json.loads(line) for line in run.out.splitlines()]

    def test_vorn_is_the_tail_of_the_input(self):
        shown = self.vorn()
        self.assertEqual(shown[1:], self.lines[-(len(shown) - 1):])

    def test_vorn_can_be_recorded_again(self):
        self.write("again", text(self.vorn()))
        self.kor("record", "copy", "again", expect=DONE)
        self.assertEqual(self.vorn("copy"), self.vorn())

    def test_jsonl_has_intervals_samples_and_events_in_time_order(self):
        items = self.items()
        kinds = [item["kind"] for item in items]
        self.assertEqual(set(kinds), {"interval", "sample", "event"})
        self.assertEqual(kinds[:8], ["interval"] * 8)
        self.assertNotIn("interval", kinds[8:])
        times = [item.get("start", item.get("time")) for item in items]
        self.assertEqual(times, sorted(times))
        event = next(item for item in items if item["kind"] == "event")
        self.assertEqual(event["type"], 2)
        self.assertTrue(event["text"].startswith('"quoted", note'))

    def test_jsonl_intervals_sum_up_the_readings(self):
        intervals = [i for i in self.items() if i["kind"] == "interval"]
        for interval in intervals:
            rows = [row for i, row in enumerate(self.rows)
                    if interval["start"] <= rfc3339(i) <= interval["end"]]
            for column, name in enumerate(SENSORS, 1):
                values = [float(row[column]) for row in rows
                          if row[column] != "nan"]
                found = interval["sensors"][name]
                self.assertEqual(found["count"], len(values))
                self.assertAlmostEqual(found["min"], min(values), 3)
                self.assertAlmostEqual(found["max"], max(values), 3)
                self.assertAlmostEqual(found["first"], values[0], 3)
                self.assertAlmostEqual(found["last"], values[-1], 3)
                mean = sum(values) / len(values)
                slack = found["mean_error"] + 1e-3
                self.assertLessEqual(abs(found["mean"] - mean), slack)
        events = sum(i["events"]["2"] for i in intervals)
        kept = sum(i["kind"] == "event" for i in self.items())
        self.assertEqual(events + kept, len(range(2, 100, 8)))

    def test_csv_rows_all_have_the_columns_of_the_header(self):
        run = self.kor("cat", "r", "--format", "csv", "--utc", expect=DONE)
        rows = list(csv.DictReader(run.out.splitlines()))
        for row in rows:
            self.assertNotIn(None, row)
            self.assertNotIn(None, row.values())
        samples = [row for row in rows if row["kind"] == "sample"]
        last = {row["sensor"]: row["value"] for row in samples[-3:]}
        self.assertEqual(tuple(last), SENSORS)
        for name, value in zip(SENSORS, self.rows[-1][1:]):
            self.assertAlmostEqual(float(last[name]), float(value), 3)
        event = next(row for row in rows if row["kind"] == "event")
        self.assertEqual(event["type"], "2")
        self.assertTrue(event["text"].startswith('"quoted", note'))
        interval = next(row for row in rows if row["kind"] == "interval")
        self.assertGreater(int(interval["count"]), 1)
        counted = [row for row in rows
                   if row["kind"] == "interval" and row["type"] == "2"]
        self.assertEqual({row["sensor"] for row in counted}, {""})
        self.assertGreater(sum(int(row["count"]) for row in counted), 0)

    def test_text_shows_each_sensor(self):
        out = self.kor("cat", "r", "--utc", expect=DONE).out
        for name in SENSORS:
            self.assertRegex(out, f"(?m)^    {name}: [0-9]+ readings, ")
        self.assertIn(f"{rfc3339(99)} sample  CPU0 Temp: ", out)
        self.assertIn('event of type 2: "quoted", note', out)

    def test_one_file_can_be_shown(self):
        for name in self.names("*.z"):
            self.kor("cat", name, expect=DONE)

    def test_a_missing_reading_is_never_a_figure(self):
        self.record([f"{stamp(0)},CPU0,CPU1", f"{stamp(0)},nan,1"], "gap")
        run = self.kor("cat", "gap", "--format", "jsonl", expect=DONE)
        self.assertEqual(json.loads(run.out)["values"],
                         {"CPU0": None, "CPU1": 1})
        self.assertIn("CPU0: n/a  CPU1: 1", self.kor("cat", "gap").out)

    def test_an_infinite_reading_is_null_in_jsonl_only(self):
        self.record([f"{stamp(0)},CPU0,CPU1", f"{stamp(0)},inf,-inf"], "far")
        run = self.kor("cat", "far", "--format", "jsonl", expect=DONE)
        self.assertEqual(json.loads(run.out)["values"],
                         {"CPU0": None, "CPU1": None})
        out = self.kor("cat", "far", "--format", "csv", expect=DONE).out
        self.assertIn("CPU0,inf,", out)
        self.assertIn("CPU1,-inf,", out)

    def test_names_are_escaped_where_they_must_be(self):
        names = 'CPU "0",\\CPU,CPU\xe4'
        self.record([f"{stamp(0)},{names}", f"{stamp(0)},1,2,3"], "n")
        run = self.kor("cat", "n", "--format", "jsonl", expect=DONE)
        self.assertEqual(list(json.loads(run.out)["values"]),
                         names.split(","))
        run = self.kor("cat", "n", "--format", "csv", expect=DONE)
        rows = list(csv.DictReader(run.out.splitlines()))
        self.assertEqual([row["sensor"] for row in rows], names.split(","))


class Ranges(Recorded):
    def times(self, *arguments, zone="--utc", **variables):
        run = self.kor("cat", "r", "--format", "jsonl", zone, *arguments,
                       expect=DONE, **variables)
        items = [json.loads(line) for line in run.out.splitlines()]
        return [i["time"] for i in items if i["kind"] == "sample"]

    def test_times_of_every_form_choose_samples(self):
        epoch = int(support.START.replace(
            tzinfo=support.datetime.timezone.utc).timestamp())
        rows = [rfc3339(97), rfc3339(97).replace("T", " "),
                rfc3339(97).rstrip("Z"), epoch + 97 * 300,
                "2014-02-14T23:35:00+01:00", "2014-02-14T17:05:00-05:30",
                "2014-02-14t22:35:00.75z"]
        for since in rows:
            with self.subTest(since):
                self.assertEqual(self.times("-S", since),
                                 [rfc3339(i) for i in (97, 98, 99)])
        self.assertEqual(self.times("-S", rfc3339(97), "-E", rfc3339(98)),
                         [rfc3339(97), rfc3339(98)])

    def test_a_bare_time_is_local(self):
        zone = {"TZ": "XYZ-2"}  # two hours east
        self.kor("record", "east", stdin=text(telemetry(3)), expect=DONE,
                 **zone)
        run = self.kor("cat", "east", "-S", "2014-02-14T14:40:00", expect=DONE,
                       **zone)
        self.assertTrue(run.out.startswith("2014-02-14T14:40:00+02:00 sample"))
        run = self.kor("cat", "east", "--utc", "-S", "2014-02-14T12:40:00",
                       expect=DONE, **zone)
        self.assertTrue(run.out.startswith("2014-02-14T12:40:00Z sample"))

    def test_a_distance_back_counts_from_now(self):
        now = support.datetime.datetime.now(support.datetime.timezone.utc)
        lines = [f"{stamp(0)},CPU0"]
        for hours in (30, 3, 1):
            time = now - support.datetime.timedelta(hours=hours)
            lines.append(time.strftime("%Y%m%d:%H:%M:%S") + f",{hours}")
        self.record(lines, "new")
        for since, expected in (("-2h", 1), ("-240m", 2), ("-10000s", 1),
                                ("-14400", 2), ("-2d", 3), ("-1w", 3)):
            with self.subTest(since):
                run = self.kor("cat", "new", "-S", since, expect=DONE)
                self.assertEqual(len(run.out.splitlines()), expected)

    def test_an_interval_that_overlaps_the_range_is_shown(self):
        run = self.kor("cat", "r", "--format", "jsonl", "--utc", "-E",
                       rfc3339(0), expect=DONE)
        item = json.loads(run.out)
        self.assertEqual(item["kind"], "interval")
        self.assertGreater(item["end"], rfc3339(0))

    def test_nothing_in_the_range_has_a_status_of_its_own(self):
        for arguments in (["-S", "2030-01-01"], ["-E", "2010-01-01"],
                          ["-S", "-1h"],
                          ["--sensor", "NONE*", "-S", rfc3339(99)]):
            run = self.kor("cat", "r", *arguments, expect=NOTHING)
            self.assertEqual(run.out, "")
            self.assertIn("nothing in the range", run.err)
        run = self.kor("cat", "r", "-q", "-S", "2030-01-01", expect=NOTHING)
        self.assertEqual(run.err, "")

    def test_sensors_are_chosen_by_patterns(self):
        for globs in (["CPU*"], ["*READ", "CPU?*"], ["*"], ["[DF]*"]):
            arguments = [a for glob in globs for a in ("--sensor", glob)]
            run = self.kor("cat", "r", "--format", "vorn", *arguments,
                           expect=DONE)
            chosen = [name for name in SENSORS
                      if any(fnmatch.fnmatch(name, g) for g in globs)]
            header = run.out.splitlines()[0].split(",")[1:]
            self.assertEqual(header, chosen)

    def test_times_that_cannot_be_read_are_wrong_usage(self):
        for since in ("yesterday", "2014-02-30", "2014-13-01", "-1y", "1h",
                      "2014-02-14T25:00:00", "--", "2014-02-14T14:30:00+1",
                      "99999999999999999999"):
            with self.subTest(since):
                run = self.kor("cat", "r", f"--since={since}",
                               expect=WRONG_USAGE)
                self.assertEqual(run.out, "")


class Output(Recorded):
    def test_a_file_takes_the_output(self):
        out = self.kor("cat", "r", "--format", "csv", expect=DONE).out
        run = self.kor("cat", "r", "--format", "csv", "-o", "out.csv",
                       expect=DONE)
        self.assertEqual(run.out, "")
        self.assertEqual((self.folder / "out.csv").read_text(), out)

    def test_a_file_of_the_recorder_is_never_overwritten(self):
        self.write("r.1.cbuf.z.orphan", "set aside")
        (self.folder / "folder").mkdir()
        os.symlink("../r.state", self.folder / "folder/link")
        before = self.files()
        one = self.names("*.cbuf.z")[0]
        for name in [*self.names("r.*"), "folder/link",
                     # Names that the recorder may give later.
                     "r.999.cbuf.z", "r.999.hbuf.z", "r.state.kor-tmp"]:
            with self.subTest(name):
                for shown in ("r", one):
                    for path in (name, "./" + name):
                        self.kor("cat", shown, "-o", path, expect=WRONG_USAGE)
                self.kor("sample", "r", "--every", 1, "--for", 1, "--vorn",
                         name, expect=WRONG_USAGE)
        self.assertEqual(self.files(), before)

    def files(self):
        return {path: path.read_bytes() for path in self.folder.rglob("*")
                if path.is_file()}

    def test_other_names_are_taken(self):
        for name in ("r", "r.csv", "r.txt", "r.1.cbuf.z.csv", "q.1.cbuf.z",
                     "rr.state", "folder/r.1.cbuf.z"):
            (self.folder / "folder").mkdir(exist_ok=True)
            with self.subTest(name):
                self.kor("cat", "r", "-o", name, expect=DONE)
                (self.folder / name).unlink()

    def test_a_full_disk_is_reported(self):
        with open("/dev/full", "wb") as full:
            for verb in ("cat", "info", "check"):
                run = subprocess.run(
                    [*support.COMMAND, verb, "r"], cwd=self.folder,
                    stdout=full, stderr=subprocess.PIPE, check=False)
                self.assertEqual(run.returncode, FAILED)
                self.assertIn(b"standard output: No space left", run.stderr)
        run = self.kor("cat", "r", "-o", "/dev/full", expect=FAILED)
        self.assertIn("/dev/full: No space left", run.err)

    def test_a_closed_pipe_ends_quietly(self):
        reader, writer = os.pipe()
        os.close(reader)
        for format in ("text", "csv", "jsonl", "vorn"):
            run = subprocess.run(
                [*support.COMMAND, "cat", "r", "--format", format],
                cwd=self.folder, stdout=writer, stderr=subprocess.PIPE,
                check=False)
            self.assertEqual((run.returncode, run.stderr), (DONE, b""))
        os.close(writer)

    def test_reading_changes_nothing(self):
        before = self.contents()
        for verb in ("cat", "info", "check"):
            self.kor(verb, "r", expect=DONE)
        self.assertEqual(self.contents(), before)


class Damaged(Recorded):
    def test_damage_is_reported_with_file_and_offset(self):
        name = self.names("*.cbuf.z")[0]
        path = self.folder / name
        content = bytearray(path.read_bytes())
        content[len(content) // 2] ^= 0xFF
        path.write_bytes(content)
        run = self.kor("cat", "r", "--format", "vorn", expect=INCOMPLETE)
        self.assertRegex(run.err, f"(?m)^{name}:[0-9]+: [0-9]+ bytes")
        shown = run.out.splitlines()[1:]
        self.assertGreater(len(shown), 2)
        self.assertLessEqual(set(shown), set(self.lines))
        info = json.loads(self.kor("info", "r", "--json",
                                   expect=INCOMPLETE).out)
        self.assertEqual([d["filename"] for d in info["damage"]], [name])

    def test_a_missing_file_is_reported(self):
        name = self.names("*.hbuf.z")[0]
        (self.folder / name).unlink()
        run = self.kor("cat", "r", expect=INCOMPLETE)
        self.assertIn(f"{name}: missing", run.err)
        self.assertIn("sample", run.out)
        out = self.kor("info", "r", expect=INCOMPLETE).out
        self.assertIn(f"{name}: missing", out)

    def test_a_lost_state_file_costs_no_record(self):
        expected = self.kor("cat", "r", expect=DONE).out
        (self.folder / "r.state").unlink()
        run = self.kor("cat", "r", expect=INCOMPLETE)
        self.assertEqual(run.out, expected)
        self.assertIn("r.state", run.err)

    def test_what_is_no_recorder_fails(self):
        self.write("junk", "no buffer\n" * 10)
        for verb in ("cat", "info", "check"):
            run = self.kor(verb, "missing", expect=FAILED)
            self.assertIn("missing: no recorder and no buffer file", run.err)
            self.kor(verb, "", expect=FAILED)
            run = self.kor(verb, "junk")
            self.assertIn(run.status, (FAILED, INCOMPLETE))


class Forbidden(support.ToolTest):
    """Files that may not be opened are named, with the reason."""

    # Root may open everything, unless it gives that up.
    GIVE_UP = ([] if os.geteuid() else
               ["setpriv", "--bounding-set=-dac_override,-dac_read_search"])

    def setUp(self):
        super().setUp()
        self.record(telemetry(1))
        self.write("in", text(telemetry(1, first=1)))

    def assert_said(self, said, *arguments):
        run = subprocess.run([*self.GIVE_UP, *support.COMMAND, *arguments],
                             cwd=self.folder, capture_output=True, check=False)
        self.assertEqual(run.returncode, FAILED, arguments)
        self.assertIn(said, run.stderr.decode())

    def test_files_that_may_not_be_read(self):
        for name in ("r.state", "r.1.cbuf.z"):
            os.chmod(self.folder / name, 0)
            for arguments in (["cat", "r"], ["info", "r"], ["check", "r"],
                              ["recover", "r"], ["record", "r", "in"]):
                with self.subTest(name=name, arguments=arguments):
                    self.assert_said(f"{name}: Permission denied", *arguments)
            os.chmod(self.folder / name, 0o600)
        os.chmod(self.folder / "r.1.cbuf.z", 0)
        self.assert_said("r.1.cbuf.z: Permission denied", "cat", "r.1.cbuf.z")

    def test_folders(self):
        (self.folder / "closed").mkdir(0)
        (self.folder / "read-only").mkdir(0o500)
        for said, arguments in (
                ("missing: No such file", ["cat", "missing/r"]),
                ("missing: No such file", ["record", "missing/r", "in"]),
                ("closed: Permission denied", ["cat", "closed/r"]),
                ("closed: Permission denied", ["record", "closed/r", "in"]),
                ("read-only: Permission denied",
                 ["record", "read-only/r", "in"])):
            with self.subTest(arguments=arguments):
                self.assert_said(said, *arguments)


class Info(Recorded):
    def test_json_tells_all(self):
        info = json.loads(self.kor("info", "r", "--json", "--utc",
                                   expect=DONE).out)
        self.assertEqual(
            info["recorder"],
            {"state_file_intact": True, "state": "HCC",
             "samples_per_buffer": 8, "intervals_per_buffer": 4,
             "next_file_number": info["recorder"]["next_file_number"]})
        kinds = [f["kind"] for f in info["files"]]
        self.assertEqual(kinds, ["history", "current", "current"])
        for f in info["files"]:
            path = self.folder / f["filename"]
            self.assertEqual(f["size"], path.stat().st_size)
            self.assertEqual((f["missing"], f["damaged_places"]), (False, 0))
        self.assertEqual(info["files"][0]["capacity"], 8)
        self.assertEqual(info["files"][0]["intervals"], 8)
        self.assertEqual(info["files"][0]["first"], rfc3339(0))
        self.assertEqual(info["files"][2]["last"], rfc3339(99))
        self.assertEqual(info["events"]["2"], len(range(2, 100, 8)))
        self.assertEqual(info["period"], 300)
        self.assertEqual(info["gaps"], [])

    def test_text_tells_the_same(self):
        out = self.kor("info", "r", "--utc", expect=DONE).out
        self.assertIn("state: HCC", out)
        self.assertIn("8 samples a buffer, summarised into 4 intervals", out)
        self.assertIn("8 of 8 intervals", out)
        self.assertIn("period: 5 min 0 s", out)
        self.assertIn("13 of type 2", out)

    def test_sensors_of_one_name_are_counted_together(self):
        lines = [f"{stamp(0)},CPU0,CPU0",
                 *(f"{stamp(i)},{i},{i}" for i in range(40))]
        self.record(lines, "twins")
        info = json.loads(self.kor("info", "twins", "--json",
                                   expect=DONE).out)
        self.assertEqual(info["sensors"], [{"name": "CPU0", "readings": 80}])

    def test_gaps_and_clock_steps_are_found(self):
        times = [*range(10), *range(30, 40), *range(20, 25)]
        lines = [f"{stamp(0)},CPU0", *(f"{stamp(i)},{i}" for i in times)]
        self.record(lines, "g", 64, 8)
        info = json.loads(self.kor("info", "g", "--json", "--utc",
                                   expect=DONE).out)
        self.assertEqual(info["gaps"],
                         [{"from": rfc3339(9), "to": rfc3339(30)}])
        self.assertEqual(info["clock_steps_back"], 1)


if __name__ == "__main__":
    support.main()
