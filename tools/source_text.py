"""What the checks of this folder share: which files there are, and their text without comments or strings."""
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parent.parent
SUFFIXES = (".h", ".hpp", ".c", ".cpp")

_TOKEN = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'', re.DOTALL)


def source_files(root, *folders):
    """The C and C++ files below some folders of the tree, as paths relative to its root."""
    found = []
    for folder in folders:
        found += [path.relative_to(root) for path in (root / folder).rglob("*") if path.suffix in SUFFIXES]
    return sorted(found)


def _blank(text):
    return re.sub(r"[^\n]", " ", text)


def without_comments(text):
    """The same text, every comment replaced by blanks: positions and line numbers stay."""
    return _TOKEN.sub(lambda match: _blank(match[0]) if match[0].startswith("/") else match[0], text)


def without_comments_and_strings(text):
    """The same with the contents of strings blanked, too."""
    return _TOKEN.sub(lambda match: _blank(match[0]), text)


def line_of(text, position):
    return text.count("\n", 0, position) + 1
