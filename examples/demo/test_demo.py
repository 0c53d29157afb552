#!/usr/bin/env python3
"""Test the demonstration as a person meets it: what it says, and how it ends when its surroundings fail.

usage: test_demo.py PROGRAM [TEST ...]

Nothing here waits for time to pass: a run that is to end early would last ten minutes, or ends by itself much later than
what it is told to do.
"""
import contextlib
import os
import pathlib
import resource
import shutil
import signal
import subprocess
import sys
import unittest

PROGRAM = ""
GIB = 1 << 30
FAILED = "demo: FAILED: "
VERDICT = "nothing lost, nothing twice at once, nothing hung"


def children(process):
    """The processes that a process has started."""
    found = []
    for status in pathlib.Path("/proc").glob("[0-9]*/stat"):
        with contextlib.suppress(OSError):  # it has ended meanwhile
            parent = status.read_text().rpartition(")")[2].split()[1]
            if parent == str(process):
                found.append(int(status.parent.name))
    return found


class Demo:
    """A run of the demonstration, in a process group of its own as a terminal makes it."""

    def __init__(self, test, *options, prepare=None, before=(), **streams):
        def begin():
            signal.signal(signal.SIGINT, signal.SIG_DFL)
            if prepare is not None:
                prepare()

        streams.setdefault("stdout", subprocess.PIPE)
        self._process = subprocess.Popen([*before, PROGRAM, *options], stderr=subprocess.PIPE, text=True,
                                         start_new_session=True, preexec_fn=begin, **streams)
        self._test = test
        self.output = ""
        self.error = ""
        test.addCleanup(self._clean_up)

    def _clean_up(self):
        self.signal(signal.SIGKILL)
        self._process.wait()
        for stream in (self._process.stdout, self._process.stderr):
            if stream is not None:
                stream.close()

    def read_until(self, text):
        """Read its output up to a line with this text."""
        while True:
            line = self._process.stdout.readline()
            self.output += line
            if text in line:
                return
            if line == "":
                self._test.fail(f"never said '{text}', but: {self.output}{self._process.stderr.read()}")

    def signal(self, number):
        """Send a signal to both of its processes, as a terminal does."""
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self._process.pid, number)

    def publisher(self):
        (publisher,) = children(self._process.pid)
        return publisher

    def close_output(self):
        self._process.stdout.close()

    def end(self):
        """Wait for its end. Returns: its exit code."""
        if self._process.stdout is not None and not self._process.stdout.closed:
            self.output += self._process.stdout.read()
        self.error += self._process.stderr.read()
        return self._process.wait()


class Tests(unittest.TestCase):
    maxDiff = None

    def assert_ends_with_cause(self, demo, cause):
        """It ends with 1 and says why, and nothing else on standard error; no tables and no verdict."""
        self.assertEqual(demo.end(), 1, demo.output + demo.error)
        self.assertRegex(demo.error, f"^{FAILED}{cause}\n$")
        self.assertNotIn("topic", demo.output)
        self.assertNotIn("FAILED", demo.output)
        self.assertNotIn("OK", demo.output)

    def test_a_killed_publisher_ends_the_run_at_once(self):
        demo = Demo(self, "--seconds", "600")
        demo.read_until("start")
        os.kill(demo.publisher(), signal.SIGKILL)
        self.assert_ends_with_cause(demo, "the publisher was ended by signal 9 .*")

    def test_a_missing_loopback_interface_ends_the_run_before_it_begins(self):
        alone = ("unshare", "--map-root-user", "--net")  # a network namespace has a loopback interface that is down
        if shutil.which("unshare") is None or subprocess.run([*alone, "true"], stderr=subprocess.DEVNULL).returncode:
            self.skipTest("no network namespace can be made here")
        demo = Demo(self, "--seconds", "600", before=alone)
        self.assert_ends_with_cause(demo, r"127\.0\.0\.1: .*; is the loopback interface up\?")
        self.assertEqual(demo.output, "")

    def test_a_closed_standard_output_ends_the_run_before_it_begins(self):
        demo = Demo(self, "--seconds", "600", stdout=None, prepare=lambda: os.close(1))
        self.assert_ends_with_cause(demo, "standard output is closed")

    def test_an_output_that_nobody_reads_any_more_ends_the_run_at_once(self):
        demo = Demo(self, "--seconds", "600")
        demo.read_until("start")
        demo.close_output()
        self.assert_ends_with_cause(demo, "standard output: .*")

    def test_an_output_that_cannot_be_written_ends_the_run_at_once(self):
        with open("/dev/full", "w", encoding="ascii") as full:
            demo = Demo(self, "--seconds", "600", stdout=full)
            self.assert_ends_with_cause(demo, "standard output: .*")
            demo = Demo(self, "--help", stdout=full)
            self.assert_ends_with_cause(demo, "standard output: .*")

    def test_a_closed_standard_input_changes_nothing(self):
        demo = Demo(self, "--seconds", "1", prepare=lambda: os.close(0))
        self.assertEqual(demo.end(), 0, demo.error)
        self.assertIn(f"\nOK: {VERDICT}\n", demo.output)

    def test_a_thread_that_cannot_be_had_ends_the_run_at_once(self):
        causes = set()
        for threads in range(1, 20):  # so many fit into the address space beside the program, with their stacks
            space = threads * GIB + GIB * 3 // 4

            def limit():
                resource.setrlimit(resource.RLIMIT_STACK, (GIB, GIB))
                resource.setrlimit(resource.RLIMIT_AS, (space, space))

            demo = Demo(self, "--seconds", "1", prepare=limit)
            if demo.end() == 0:
                break
            self.assertNotIn("handled", demo.output)
            said = [line for line in demo.error.splitlines() if not line.startswith("[2] ")]  # the library's own
            self.assertEqual(len(said), 1, demo.error)
            self.assertTrue(said[0].startswith(FAILED), demo.error)
            causes.add(said[0].removeprefix(FAILED).partition(":")[0])
        self.assertEqual(causes, {"a thread could not be had", "the request 'start' failed with return code 1"})

    def test_the_value_of_an_option_may_follow_an_equals_sign(self):
        demo = Demo(self, "--seconds=1", "--threads=2", "--seed=7")
        self.assertEqual(demo.end(), 0, demo.error)
        self.assertIn("1 s of sensor data, a pool of 2 threads\n", demo.output)

    def test_ctrl_c_prints_the_summary_so_far(self):
        # While the pool serves, while it serves one topic more, while it is suspended, while it is stopped.
        runs = [(Demo(self, "--seconds", "10"), event) for event in ("start", "attach", "suspend", "stop")]
        for demo, event in runs:
            demo.read_until(event)
            demo.signal(signal.SIGINT)
        for demo, event in runs:
            with self.subTest(event):
                self.assertEqual(demo.end(), 130, demo.output + demo.error)
                self.assertEqual(demo.error, "")
                self.assertRegex(demo.output, r"\n +[0-9.]+ s  received +[0-9]+  handled +[0-9]+  interrupted\n")
                self.assertRegex(demo.output, r"\nimu +500 ")
                self.assertRegex(demo.output, r"\nstart +[0-9.]+ ")
                self.assertTrue(demo.output.endswith(f"\nINTERRUPTED; so far {VERDICT}\n"), demo.output)

    def test_a_second_ctrl_c_ends_a_run_that_does_not_come_to_its_summary(self):
        demo = Demo(self, "--seconds", "600")
        demo.read_until("start")
        os.kill(demo.publisher(), signal.SIGSTOP)
        demo.signal(signal.SIGINT)
        demo.read_until("interrupted")
        demo.signal(signal.SIGINT)
        self.assertEqual(demo._process.wait(), -signal.SIGINT)

    def test_ctrl_c_stays_ignored_where_the_caller_ignores_it(self):
        demo = Demo(self, "--seconds", "1", prepare=lambda: signal.signal(signal.SIGINT, signal.SIG_IGN))
        demo.read_until("start")
        demo.signal(signal.SIGINT)
        self.assertEqual(demo.end(), 0, demo.output + demo.error)

    def test_every_line_fits_80_columns(self):
        for options in (("--seconds", "2"), ("--help",), ("--colour",)):
            demo = Demo(self, *options)
            demo.end()
            lines = (demo.output + demo.error).splitlines()
            self.assertGreater(len(lines), 0)
            self.assertEqual([line for line in lines if len(line) > 80], [])


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
