#!/usr/bin/env python3
"""Print one line for each result file that ctest wrote: how many tests passed and how many did not.

usage: count_tests.py FILE...    A file that is missing is a run that did not take place; the last one must exist.
"""
import pathlib
import sys
import xml.etree.ElementTree


def count(path):
    """(passed, failed, skipped), from the results of the single tests."""
    passed = failed = skipped = 0
    for case in xml.etree.ElementTree.parse(path).getroot().iter("testcase"):
        status = case.get("status")
        if status == "run":
            passed += 1
        elif status in ("notrun", "disabled"):
            skipped += 1
        else:
            failed += 1
    return passed, failed, skipped


def main(arguments):
    result = 1
    for argument in arguments:
        path = pathlib.Path(argument)
        if not path.exists():
            print(f"{path.parent.name}: no tests were run")
            result = 1
            continue
        passed, failed, skipped = count(path)
        note = f", {skipped} skipped" if skipped else ""
        print(f"{path.parent.name}: {passed} passed, {failed} failed{note}")
        result = 0 if passed > 0 and failed == 0 else 1
    return result


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
