#!/usr/bin/env python3
"""Test the script `run`: what a person sees of it while commands that are made up here do the work."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from source_text import ROOT

NOBODY = 65534
COMMANDS = {  # as a shell sees them: each says a lot
    "cmake": 'for line in $(seq 200); do echo "cmake $line"; done; exit "${CMAKE_RESULT-0}"',
    "ctest": 'echo "ctest $*"',
    "apt-get": 'for line in $(seq 200); do echo "apt-get $* $line"; done; exit "${APT_RESULT-0}"',
    "dpkg-query": 'echo "${PACKAGES-installed}"',
    "sudo": 'exec "$@"',
    "g++": "",
    "ninja": "",
}


class Run(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.folder.chmod(0o755)  # for everybody, also below
        self.tree = self.folder / "tree"
        for name, text in COMMANDS.items():
            self.command(self.folder / "bin" / name, text)
        self.tree.mkdir()
        shutil.copy(ROOT / "run", self.tree / "run")

    def command(self, path, text):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(f"#!/bin/sh\n{text}\n")
        path.chmod(0o755)

    def run_script(self, *arguments, user=None, **environment):
        """(exit code, standard output, standard error)"""
        environment = {**os.environ, **environment, "PATH": f"{self.folder / 'bin'}:{os.environ['PATH']}"}
        result = subprocess.run([self.tree / "run", *arguments], capture_output=True, text=True, env=environment,
                                stdin=subprocess.DEVNULL, user=user)
        return result.returncode, result.stdout, result.stderr

    def test_a_build_is_one_line_and_the_rest_is_in_a_log(self):
        self.command(self.tree / "build/demo/examples/demo/asyncwaitset_demo", 'echo "demo $*"; exit 7')
        self.assertEqual(self.run_script("demo", "--seconds", "3"), (7, "\n== build demo\ndemo --seconds 3\n", ""))
        self.assertIn("cmake 200\n", (self.tree / "build/log/build-demo.log").read_text())

    def test_a_failed_build_shows_the_end_of_its_log_and_names_it(self):
        code, output, error = self.run_script("demo", CMAKE_RESULT="3")
        self.assertEqual((code, output), (1, "\n== build demo\n"))
        lines = error.splitlines()
        self.assertEqual(lines[-2:], ["cmake 200", "run: build demo: failed; all of it is in build/log/build-demo.log"])
        self.assertNotIn("cmake 100", lines)

    def test_an_installation_is_one_line_and_the_rest_is_in_a_log(self):
        code, output, error = self.run_script("test", "-R", "X", JOBS="2", PACKAGES="unknown")
        self.assertEqual((code, error), (0, ""))
        self.assertEqual(output, "\n== install libgtest-dev libgmock-dev\n\n== build release\n\n== test release\n"
                                 "ctest --preset release --parallel 2 --output-junit tests.xml -R X\n")
        log = (self.tree / "build/log/install.log").read_text()
        self.assertIn("update 200\n", log)
        self.assertIn("install libgtest-dev libgmock-dev 200\n", log)

    def test_a_failed_installation_says_what_to_install_and_names_its_log(self):
        code, _, error = self.run_script("test", PACKAGES="unknown", APT_RESULT="100")
        self.assertEqual(code, 1)
        self.assertEqual(error.splitlines()[-1], "run: install libgtest-dev libgmock-dev: failed; all of it is in "
                                                 "build/log/install.log")

    def test_what_is_there_is_not_installed(self):
        self.assertNotIn("install", self.run_script("test", JOBS="2")[1])

    def test_a_tree_that_cannot_be_written_to_says_what_to_do(self):
        self.tree.chmod(0o555)
        self.addCleanup(self.tree.chmod, 0o755)
        try:
            code, output, error = self.run_script("demo", user=NOBODY if os.geteuid() == 0 else None)
        except PermissionError as refusal:
            self.skipTest(f"as root, and cannot become somebody else: {refusal}")
        self.assertEqual((code, output), (1, ""))
        self.assertIn(f"run: cannot write to build/ in {self.tree}", error)
        self.assertIn("chmod -R u+w ~/asyncwaitset && ~/asyncwaitset/run demo\n", error)
        self.assertNotIn("mkdir", error)

    def test_the_help_fits_80_columns(self):
        code, output, _ = self.run_script("help")
        self.assertEqual(code, 0)
        self.assertIn("usage: ./run VERB", output)
        self.assertEqual([line for line in output.splitlines() if len(line) > 80], [])


if __name__ == "__main__":
    unittest.main()
