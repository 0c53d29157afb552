#!/usr/bin/env python3
"""Check the text of every file of the tree: words that must not stay, paths of somebody's machine, layout.

usage: check_words.py [ROOT]
"""
import pathlib
import re
import subprocess
import sys

from source_text import ROOT, SUFFIXES

# Put together here, so that this file passes its own check.
NOTES = ("TO" + "DO", "FIX" + "ME", "XX" + "X", "HA" + "CK")
FOLDERS = ("home", "root", "work", "tmp", "Users", "build", "mnt", "opt")

UNFINISHED = re.compile(r"\b(?:%s)\b" % "|".join(NOTES))
MACHINE_PATH = re.compile(r"(?<![\w.}$*)/>-])/(?:%s)/\w" % "|".join(FOLDERS))
LONGEST_LINE = 120
LONGEST_FILE = 500
LONGEST_FUNCTION = 45  # of the library, unless the comment before it says "Long:" and why


def tree_files(root):
    """What is or could be committed, relative to the root."""
    command = ["git", "-C", str(root), "ls-files", "--cached", "--others", "--exclude-standard", "-z"]
    try:
        listed = subprocess.run(command, capture_output=True, check=True, text=True).stdout.split("\0")
        return sorted(pathlib.Path(name) for name in listed if name and (root / name).is_file())
    except (OSError, subprocess.CalledProcessError):  # no repository: everything that is not hidden or built
        paths = (path.relative_to(root) for path in root.rglob("*") if path.is_file())
        return sorted(path for path in paths if path.parts[0] not in ("build", ".git"))


def long_functions(path, lines):
    """The functions of a file that are too long. A body begins and ends with a brace in the first column."""
    begin = None
    for number, line in enumerate(lines):
        if line == "{":
            begin = number
        elif line == "}" and begin is not None:
            head = begin
            while head > 0 and lines[head - 1].strip() and not lines[head - 1].startswith("}"):
                head -= 1
            if number - begin + 1 > LONGEST_FUNCTION and "Long:" not in "".join(lines[head:begin]):
                yield f"{path}:{begin + 1}: a function of {number - begin + 1} lines; split it or say why it is long"
            begin = None


def check_text(path, text):
    findings = []
    lines = text.split("\n")
    is_source = path.suffix in SUFFIXES
    for number, line in enumerate(lines, 1):
        where = f"{path}:{number}"
        for match in UNFINISHED.finditer(line):
            findings.append(f"{where}: '{match[0]}' must not stay")
        for match in MACHINE_PATH.finditer(line):
            findings.append(f"{where}: a path of one machine: {line[match.start():].split()[0]}")
        if line != line.rstrip() and path.suffix != ".md":
            findings.append(f"{where}: blanks at the end of the line")
        if is_source and len(line) > LONGEST_LINE:
            findings.append(f"{where}: {len(line)} characters")
    if text and not text.endswith("\n"):
        findings.append(f"{path}: the last line does not end")
    if is_source and len(lines) > LONGEST_FILE + 1 and path.parts[0] != "test":
        findings.append(f"{path}: {len(lines) - 1} lines; look for the seam")
    if is_source and path.parts[0] in ("srcC", "include"):
        findings += long_functions(path, lines)
    if is_source and "@file" not in "\n".join(lines[:3]):
        findings.append(f"{path}: the first lines do not say what the file is about")
    return findings


def check_tree(root):
    findings = []
    for path in tree_files(root):
        try:
            text = (root / path).read_text(encoding="utf-8")
        except UnicodeDecodeError:
            continue  # not a text
        if path.name != "LICENSE":
            findings += check_text(path, text)
    return findings


def main(arguments):
    findings = check_tree(pathlib.Path(arguments[0]).resolve() if arguments else ROOT)
    for finding in findings:
        print(finding)
    print(f"words: {len(findings)} findings")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
