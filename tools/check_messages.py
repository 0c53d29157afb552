#!/usr/bin/env python3
"""List the messages of the library that no test names.

A message is a use of a log word (a macro that prints, or makes a step whose message its operation prints; see the
*Log.hpp files) in a function. It is known by its texts: the string literals among its arguments and the names that the
word makes strings of. A test file names it when it, with the test headers that it includes, contains the function's
name and all of these texts; a helper, which has no documented name and speaks for operations, need not be named. That
is a weak check on purpose: it finds what was forgotten.

usage: check_messages.py [ROOT]
"""
import pathlib
import re
import sys

from source_text import ROOT, line_of, source_files, without_comments

LIBRARY = ("srcC", "include")
PRIMITIVES = ("ZYLLogMessage_printWithParams", "ZYLLogParamString_printWithParams",
              "ZYLLogMessageParamString_printWithParams", "ZYLSequenceSupport_log", "AWSStep")
DOCUMENTED = re.compile(r"(?:DDS|VESK|ZYL)")
DEFINE = re.compile(r"^[ \t]*#[ \t]*define[ \t]+(\w+)\(([^)]*)\)((?:[^\n]*\\\n)*[^\n]*)", re.MULTILINE)
STRING = re.compile(r'"((?:\\.|[^"\\])*)"')
# A definition begins in the first column, and its name stands before the first parenthesis.
FUNCTION = re.compile(r"^(?!#|namespace|struct|class|enum|using|static_assert|extern \"C\" \{)[A-Za-z_][^;{}\n(]*?"
                      r"\b(\w+)\((?=[^;]*?\n\{)", re.MULTILINE)


def joined_literals(text):
    """The same text, adjacent string literals made one."""
    return re.sub(r'(?<!\\)"\s*(?:PRI\w+\s*)?"', "", text)


def arguments_at(text, opening):
    """The arguments of a call whose parenthesis opens at this position."""
    arguments, depth, begin, position = [], 0, opening + 1, opening
    while position < len(text):
        character = text[position]
        if character == '"':
            position = STRING.match(text, position).end() - 1
        elif character in "([{":
            depth += 1
        elif character in ")]}":
            depth -= 1
            if depth == 0:
                arguments.append(text[begin:position].strip())
                return arguments
        elif character == "," and depth == 1:
            arguments.append(text[begin:position].strip())
            begin = position + 1
        position += 1
    return arguments


def find_words(texts):
    """The log words: name -> (parameters, body). A word prints itself or uses a word."""
    macros = {}
    for text in texts.values():
        for name, parameters, body in DEFINE.findall(text):
            macros[name] = ([parameter.strip() for parameter in parameters.split(",")], body.replace("\\\n", " "))
    words = {}
    while True:
        printing = re.compile(r"\b(?:%s)\b" % "|".join((*PRIMITIVES, *words)))
        found = {name: macro for name, macro in macros.items() if name not in words and printing.search(macro[1])}
        if not found:
            return words
        words.update(found)


def texts_of(word, arguments, words):
    """What the message is known by: the literals of the arguments and the names that become strings."""
    parameters, body = words[word]
    texts = []
    for position, argument in enumerate(arguments):
        texts += STRING.findall(argument)
        if position < len(parameters) and re.search(r"#" + re.escape(parameters[position]) + r"\b", body):
            texts.append(argument)
    return [text.replace("%s\\n", "").replace("\\n", "").strip() for text in texts if re.search(r"\w", text)]


def messages_of(text, words):
    """(line, function, word, texts) of every use of a word outside of the definitions of words."""
    functions = [(match.start(), match[1]) for match in FUNCTION.finditer(text)]
    uses = re.compile(r"\b(%s)\s*\(" % "|".join(words))
    defines = [match.span() for match in DEFINE.finditer(text)]
    for match in uses.finditer(text):
        if any(begin <= match.start() < end for begin, end in defines):
            continue
        function = next((name for position, name in reversed(functions) if position < match.start()), "")
        arguments = arguments_at(text, match.end() - 1)
        yield line_of(text, match.start()), function, match[1], texts_of(match[1], arguments, words)


def pieces(text):
    """The parts of a format between its conversions: what a test can name of it."""
    return [piece for piece in re.split(r"%[-+ #0]*\d*(?:\.\d+)?(?:hh|h|ll|l|z|j)?[a-zA-Z]", text) if len(piece.strip()) > 1]


def test_texts(root):
    """The test files, each with the test headers that it includes: a fixture calls functions for its tests."""
    texts = {path: without_comments((root / path).read_text()) for path in source_files(root, "test")}
    headers = {path.name: text for path, text in texts.items() if path.suffix == ".hpp"}
    included = re.compile(r'#include "(?:\w+/)*(\w+\.hpp)"')
    return {path: text + "".join(headers.get(name, "") for name in included.findall(text))
            for path, text in texts.items()}


def is_named(function, texts, tests):
    for test in tests.values():
        if (function in test or not DOCUMENTED.match(function)) and all(piece in test for text in texts for piece in pieces(text)):
            return True
    return False


def check_tree(root):
    texts = {path: without_comments((root / path).read_text()) for path in source_files(root, *LIBRARY)}
    tests = {path: joined_literals(text) for path, text in test_texts(root).items()}
    words = find_words(texts)
    if not words:
        return ["no log words were found"]
    findings = []
    for path, text in texts.items():
        for line, function, word, message in messages_of(text, words):
            function = function.removesuffix("I") if path.as_posix().startswith("include/") else function
            if message and not is_named(function, message, tests):
                findings.append(f"{path}:{line}: no test names {word} {message} of {function}")
    return findings


def main(arguments):
    findings = check_tree(pathlib.Path(arguments[0]).resolve() if arguments else ROOT)
    for finding in findings:
        print(finding)
    print(f"messages: {len(findings)} findings")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
