"""kor sample, and what holds for the whole program."""
import signal
import subprocess
import time

import support
from support import DONE, FAILED, WRONG_USAGE, inflate, telemetry


class Sampling(support.ToolTest):
    def events(self):
        out = self.kor("cat", "r", expect=DONE).out
        return [line.split(": ", 1)[1] for line in out.splitlines()
                if " event of type 1: " in line]

    def test_for_some_seconds(self):
        self.kor("sample", "r", "--every", 1, "--for", 3, "--vorn", "v",
                 "--samples", 64, "--intervals", 8, expect=DONE)
        written = (self.folder / "v").read_text().splitlines()
        self.assertEqual(self.vorn(), written)
        self.assertEqual(len(written), 1 + 3)
        names = written[0].split(",")[1:]
        self.assertGreaterEqual(len(names), 12)
        self.assertEqual(len(set(names)), len(names))
        self.assertEqual(self.events(), ["sampling started",
                                         "sampling stopped at its end"])
        self.assertEqual(inflate(self.folder / "r.1.cbuf.z")[9:13],
                         b"\0\0\0\1")
        # What it wrote is text telemetry.
        self.kor("record", "again", "v", expect=DONE)
        self.kor("check", "r", expect=DONE)

    def test_until_a_signal(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            with subprocess.Popen(
                    [*support.COMMAND, "sample", "r", "--every", "1",
                     "--vorn", "v"], cwd=self.folder,
                    stderr=subprocess.PIPE) as sampler:
                deadline = time.monotonic() + 60
                before = len(self.lines_of("v"))
                while (len(self.lines_of("v")) <= before
                       and time.monotonic() < deadline):
                    time.sleep(0.05)
                sampler.send_signal(number)
                _, errors = sampler.communicate(timeout=60)
            self.assertEqual((sampler.returncode, errors), (DONE, b""))
            self.kor("check", "r", expect=DONE)
        self.assertEqual(self.events(), ["sampling started",
                                         "sampling stopped by a signal"] * 2)

    def lines_of(self, name):
        path = self.folder / name
        return path.read_text().splitlines() if path.exists() else []

    def test_statuses(self):
        for status, arguments in (
                (WRONG_USAGE, []),
                (WRONG_USAGE, ["r", "--every", 0]),
                (WRONG_USAGE, ["r", "--every", "x"]),
                (WRONG_USAGE, ["r", "--every", 5, "--for", 2]),
                (WRONG_USAGE, ["r", "--samples", 3]),
                (FAILED, ["no/such/folder/r", "--every", 1, "--for", 1]),
                (FAILED, ["r", "--every", 1, "--for", 1, "--vorn",
                          "no/such/folder/v"])):
            with self.subTest(arguments=arguments):
                run = self.kor("sample", *arguments, expect=status)
                self.assertNotEqual(run.err, "")


class Program(support.ToolTest):
    def test_help_and_version(self):
        self.assertRegex(self.kor("--version", expect=DONE).out,
                         r"^kor \d+\.\d+\.\d+\n$")
        verbs = self.kor("--help", expect=DONE).out
        for verb in ("record", "sample", "info", "cat", "check", "recover"):
            self.assertIn(verb, verbs)
            self.assertIn("Usage: kor " + verb,
                          self.kor(verb, "--help", expect=DONE).out)

    def test_wrong_usage_is_said_on_standard_error(self):
        for arguments in ([], ["frobnicate"], ["cat"], ["cat", "--nonsense"],
                          ["cat", "r", "--format", "xml"],
                          ["cat", "r", "more"]):
            with self.subTest(arguments=arguments):
                run = self.kor(*arguments, expect=WRONG_USAGE)
                self.assertEqual(run.out, "")
                self.assertTrue(run.err.startswith("kor: "), run.err)
        self.assertIn("frobnicate", self.kor("frobnicate").err)

    def test_the_trace_is_shown_when_asked_for(self):
        shown = [len(self.kor(*verbose, "record", f"r{len(verbose)}",
                              stdin=support.text(telemetry(20)),
                              expect=DONE).err.splitlines())
                 for verbose in ([], ["-v"], ["-v", "-v"])]
        self.assertEqual(shown[0], 0)
        self.assertGreater(shown[1], 0)
        self.assertGreaterEqual(shown[2], shown[1] + 20)
        run = self.kor("record", "after", "-vv",
                       stdin=support.text(telemetry(1)), expect=DONE)
        self.assertIn("kor_current_buffer_create: file='after.1.cbuf.z'",
                      run.err)


if __name__ == "__main__":
    support.main()
