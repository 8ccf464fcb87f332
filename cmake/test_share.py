#!/usr/bin/python3
"""Prints how much of the code is tests, in lines that are neither blank nor comment: at most a third is wanted.

usage: test_share.py ROOT
"""
import io
import re
import sys
import tokenize
from pathlib import Path

COUNTED = ("src", "include", "host", "mailbox", "bench", "tests")
C_COMMENT = re.compile(r'//[^\n]*|/\*.*?\*/|("(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\')', re.S)
NO_CODE = {tokenize.COMMENT, tokenize.NL, tokenize.NEWLINE, tokenize.INDENT, tokenize.DEDENT, tokenize.ENCODING, tokenize.ENDMARKER}


def lines_of_c(text):
    kept = C_COMMENT.sub(lambda found: found.group(1) or re.sub(r"[^\n]", "", found.group(0)), text)
    return sum(1 for line in kept.split("\n") if line.strip())


def lines_of_python(text):
    """Documentation is what stands as a statement of its own and is a text."""
    lines, first = set(), True
    for token in tokenize.generate_tokens(io.StringIO(text).readline):
        if token.type == tokenize.STRING and first:
            continue
        if token.type in (tokenize.NEWLINE, tokenize.INDENT, tokenize.DEDENT):
            first = True
        elif token.type not in NO_CODE:
            first = False
            lines.update(range(token.start[0], token.end[0] + 1))
    return len(lines)


def lines(path):
    text = path.read_text(encoding="utf-8")
    if path.suffix in (".h", ".cpp", ".c", ".cs", ".js", ".css"):
        return lines_of_c(text)
    if path.suffix == ".py" or text.startswith("#!/usr/bin/python3"):
        return lines_of_python(text)
    if path.name == "CMakeLists.txt":
        return sum(1 for line in text.split("\n") if line.strip() and not line.lstrip().startswith("#"))
    return 0


def main():
    root = Path(sys.argv[1])
    counts = {
        folder: sum(lines(path) for path in (root / folder).rglob("*") if path.is_file() and "__pycache__" not in path.parts)
        for folder in COUNTED
    }
    tests, total = counts["tests"], sum(counts.values())
    print(f"tests are {100 * tests / total:.1f} % of the code: {tests} of {total} lines")


if __name__ == "__main__":
    main()
