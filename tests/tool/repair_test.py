"""kor check and kor recover: verifying and repairing."""
import json

import support
from support import (DONE, FAILED, INCOMPLETE, NOTHING, WRONG_USAGE,
                     telemetry)


class Checking(support.ToolTest):
    def setUp(self):
        super().setUp()
        self.lines = telemetry(100)
        self.record(self.lines)
        self.history, = self.names("*.hbuf.z")
        self.closed, self.open = sorted(
            self.names("*.cbuf.z"), key=lambda name: int(name.split(".")[1]))

    def path(self, name):
        return self.folder / name

    def findings(self, expect=INCOMPLETE):
        before = self.contents()
        run = self.kor("check", "r", "--json", expect=expect)
        found = json.loads(run.out)
        self.assertEqual(found["clean"], expect == DONE)
        self.assertEqual(self.contents(), before, "check changed a file")
        return found["findings"]

    def test_a_recorder_in_order_is_clean_in_every_state(self):
        for n in (1, 7, 8, 9, 16, 17, 24, 25, 33, 41, 100):
            base = f"n{n}"
            self.record(telemetry(n), base)
            run = self.kor("check", base, expect=DONE)
            self.assertIn("are in order", run.out)

    def test_each_file_alone_is_clean(self):
        for name in (self.history, self.closed, self.open):
            self.kor("check", name, expect=DONE)

    def test_a_torn_tail_is_found(self):
        content = self.path(self.open).read_bytes()
        self.path(self.open).write_bytes(content[:-4])
        found = self.findings()
        self.assertIn(self.open, [f["filename"] for f in found])
        self.assertTrue(any(f["offset"] for f in found))

    def test_every_flipped_byte_is_found(self):
        for name in (self.history, self.closed, self.open):
            content = self.path(name).read_bytes()
            for place in range(0, len(content), max(1, len(content) // 7)):
                with self.subTest(name=name, place=place):
                    flipped = bytearray(content)
                    flipped[place] ^= 0x55
                    self.path(name).write_bytes(flipped)
                    self.kor("check", "r", expect=INCOMPLETE)
                    self.kor("check", name, expect=INCOMPLETE)
            self.path(name).write_bytes(content)
        self.findings(DONE)

    def test_every_missing_file_is_found(self):
        for name in (self.history, self.closed, "r.state"):
            content = self.path(name).read_bytes()
            self.path(name).unlink()
            found = [f["filename"] for f in self.findings()]
            self.assertIn(name, found)
            self.path(name).write_bytes(content)

    def test_a_state_file_that_was_changed_is_found(self):
        content = self.path("r.state").read_bytes()
        for place in range(len(content)):
            with self.subTest(place=place):
                flipped = bytearray(content)
                flipped[place] ^= 0x01
                self.path("r.state").write_bytes(flipped)
                # Another, higher next number is as good as the old one.
                run = self.kor("check", "r")
                if run.status == DONE:
                    raised = int.from_bytes(flipped) > int.from_bytes(content)
                    self.assertTrue(raised, place)
                else:
                    self.assertEqual(run.status, INCOMPLETE)

    def test_a_recorder_of_another_folder_is_told_from_a_damaged_one(self):
        moved = self.folder / "moved"
        moved.mkdir()
        for name in self.names("r.*"):
            (moved / name).write_bytes(self.path(name).read_bytes())
        run = self.kor("check", "moved/r", expect=INCOMPLETE)
        self.assertIn("moved/r.state: names the files as they are named "
                      "elsewhere", run.out)
        self.kor("recover", "moved/r", expect=DONE)
        self.kor("check", "moved/r", expect=DONE)

    def test_a_short_closed_file_is_found(self):
        for name in (self.history, self.closed):
            content = self.path(name).read_bytes()
            start = content.rfind(b"\x78\x9c")
            self.path(name).write_bytes(content[:start])
            found = self.findings()
            self.assertTrue(any("closed with" in f["text"] for f in found))
            self.path(name).write_bytes(content)

    def test_a_leftover_file_is_found(self):
        self.path("r.1.cbuf.z").write_bytes(
            self.path(self.closed).read_bytes())
        found = self.findings()
        self.assertIn("r.1.cbuf.z", [f["filename"] for f in found])


class Recovering(support.ToolTest):
    def setUp(self):
        super().setUp()
        self.lines = telemetry(30)
        self.record(self.lines)
        self.open = max(self.names("*.cbuf.z"),
                        key=lambda name: int(name.split(".")[1]))

    def recover(self, *arguments, expect):
        run = self.kor("recover", "r", "--json", *arguments, expect=expect)
        return json.loads(run.out)

    def test_nothing_is_done_to_a_recorder_in_order(self):
        before = self.contents()
        found = self.recover(expect=DONE)
        self.assertEqual((found["repaired"], found["state"]), (False, "HCC"))
        self.assertEqual({f["action"] for f in found["files"]}, {"kept"})
        self.assertEqual(self.contents(), before)
        self.assertIn("nothing repaired",
                      self.kor("recover", "r", expect=DONE).out)

    def test_a_dry_run_tells_and_changes_nothing(self):
        path = self.folder / self.open
        path.write_bytes(path.read_bytes()[:-2])
        before = self.contents()
        dry = self.recover("--dry-run", expect=INCOMPLETE)
        self.assertEqual(self.contents(), before)
        done = self.recover(expect=INCOMPLETE)
        self.assertNotEqual(self.contents(), before)
        self.assertEqual({**dry, "dry_run": False}, done)
        cut, = [f for f in done["files"] if f["action"] == "cut"]
        self.assertEqual(cut["filename"], self.open)
        self.assertGreater(cut["bytes_cut"], 0)
        self.kor("check", "r", expect=DONE)
        self.kor("recover", "r", expect=DONE)

    def test_a_lost_state_file_is_rebuilt_without_loss(self):
        shown = self.kor("cat", "r", expect=DONE).out
        state = (self.folder / "r.state").read_bytes()
        for damage in (None, b"", state[:20], b"x" * 100):
            (self.folder / "r.state").unlink()
            if damage is not None:
                self.write("r.state", damage)
            found = self.recover(expect=DONE)
            self.assertTrue(found["state_file_rebuilt"])
            self.assertEqual(self.kor("cat", "r", expect=DONE).out, shown)
            self.kor("check", "r", expect=DONE)

    def test_parameters_that_are_lost_are_asked_for(self):
        self.record(telemetry(3), "young")
        (self.folder / "young.state").unlink()
        run = self.kor("recover", "young", expect=FAILED)
        self.assertIn("--samples", run.err)
        self.kor("recover", "young", "--samples", 8, "--intervals", 4,
                 expect=DONE)
        self.kor("check", "young", expect=DONE)

    def test_statuses(self):
        self.kor("recover", "missing", expect=NOTHING)
        self.kor("recover", expect=WRONG_USAGE)
        self.kor("recover", "", expect=WRONG_USAGE)
        self.kor("recover", "r", "--samples", 7, expect=WRONG_USAGE)
        self.kor("recover", "r", "--samples", 8, expect=WRONG_USAGE)


if __name__ == "__main__":
    support.main()
