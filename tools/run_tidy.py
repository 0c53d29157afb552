#!/usr/bin/env python3
"""Run clang-tidy on the library, the examples and the benchmarks, several files at a time.

usage: run_tidy.py [--jobs N] [--all] BUILD_FOLDER    (a configured one, with compile_commands.json; --all: the tests, too)
"""
import argparse
import concurrent.futures
import json
import pathlib
import subprocess
import sys

from source_text import ROOT


def files_to_check(build, with_tests):
    folders = ("srcC", "examples", "bench") + (("test",) if with_tests else ())
    commands = json.loads((build / "compile_commands.json").read_text())
    files = {pathlib.Path(command["file"]).resolve() for command in commands}
    return sorted(file for file in files
                  if file.is_relative_to(ROOT) and file.relative_to(ROOT).parts[0] in folders)


def check(build, file):
    result = subprocess.run(["clang-tidy", "--quiet", "-p", str(build), str(file)], capture_output=True, text=True)
    # What remains on standard error are counts of warnings in system headers.
    return result.returncode, result.stdout + (result.stderr if result.returncode != 0 else "")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--all", action="store_true")
    parser.add_argument("build", type=pathlib.Path)
    options = parser.parse_args()
    files = files_to_check(options.build, options.all)
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for code, output in pool.map(lambda file: check(options.build, file), files):
            if code != 0:
                failed += 1
                print(output.strip())
    print(f"clang-tidy: {len(files)} files, {failed} with findings")
    return 1 if failed or not files else 0


if __name__ == "__main__":
    sys.exit(main())
