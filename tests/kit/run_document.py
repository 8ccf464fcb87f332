"""Runs every line of the documents that a maker of hosts is given, from the packed kit in an empty folder.

usage: run_document.py ARCHIVE WINE DOCUMENT...

In a block without a language each line that begins with "$ " is a command and what follows is all that it prints; a line
of three points stands for any lines. The commands of a document run one after the other in one shell. Each line of a block
of C or CMake has to stand in a file of the kit. Every relative link of every document of the kit has to lead to a file of it.
"""
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

MARK = "-- end of command"


def blocks(text):
    """(language, lines, number of the first line) of each fenced block."""
    found, language, lines = [], None, []
    for number, line in enumerate(text.splitlines(), 1):
        if not line.startswith("```"):
            lines.append(line)
        elif language is None:
            language, lines, start = line[3:], [], number + 1
        else:
            found.append((language, lines, start))
            language, lines = None, []
    return found


def commands(text):
    """(line number, command, lines that it prints) of each command."""
    found = []
    for language, lines, start in blocks(text):
        for number, line in enumerate(lines, start):
            if language == "" and line.startswith("$ "):
                found.append((number, line[2:], []))
            elif language == "":
                found[-1][2].append(line)
    return found


def matches(printed, expected):
    pattern = "".join(".*" if line == "..." else re.escape(line + "\n") for line in expected)
    return re.fullmatch(pattern, printed, flags=re.S) is not None


def run_commands(document, folder, environment):
    """One shell for all of them: what one sets or makes, the next one finds."""
    faults = []
    listed = commands(document)
    script = "".join(f"{command}\nprintf '%s %d\\n' '{MARK}' $?\n" for _, command, _ in listed)
    # Into a file: a pipe would stay open as long as the services that a first window starts under Wine.
    with tempfile.TemporaryFile() as output:
        subprocess.run(["bash", "-c", script], cwd=folder, env=environment, stdin=subprocess.DEVNULL, stdout=output,
                       stderr=subprocess.STDOUT, timeout=600, check=False)
        output.seek(0)
        printed = output.read().decode("utf-8", "replace").replace("\r\n", "\n")
    outputs = re.split(re.escape(MARK) + r" (\d+)\n", printed)
    for (number, command, expected), printed, status in zip(listed, outputs[::2], outputs[1::2]):
        if not matches(printed, expected):
            faults.append(f"line {number}: {command}\n  ended with {status} and printed\n{printed}  where the document has\n"
                          + "".join(line + "\n" for line in expected))
    if len(outputs) != 2 * len(listed) + 1:
        faults.append(f"only {len(outputs) // 2} of {len(listed)} commands ran:\n{outputs[-1]}")
    return faults, len(listed)


def check_code(document, kit):
    sources = [path for pattern in ("examples/*", "include/*") for path in kit.glob(pattern) if path.is_file()]
    known = {line.strip() for path in sources for line in path.read_text(encoding="utf-8").splitlines()}
    return [f"line {start + i}: no file of the kit has \"{line}\"" for language, lines, start in blocks(document)
            if language in ("c", "cmake") for i, line in enumerate(lines) if line.strip() not in known | {"", "..."}]


def check_links(kit):
    faults = []
    for page in kit.rglob("*.md"):
        for link in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", page.read_text(encoding="utf-8")):
            if not (page.parent / link).exists():
                faults.append(f"{page.relative_to(kit)}: the link {link} leads nowhere")
    return faults


def main():
    archive, wine, documents = Path(sys.argv[1]).resolve(), sys.argv[2], sys.argv[3:]
    faults = []
    with tempfile.TemporaryDirectory(prefix="quorvel-kit-") as scratch:
        tools, kit = Path(scratch, "tools"), Path(scratch, "kit")
        tools.mkdir()
        # The documents say "wine"; here that is the tree's own way to it, which then looks for the real one.
        (tools / "wine").write_text(f"#!/bin/sh\nPATH='{os.environ['PATH']}' exec '{Path(wine).resolve()}' \"$@\"\n")
        (tools / "wine").chmod(0o755)
        environment = {**os.environ, "PATH": f"{tools}:{os.environ['PATH']}"}
        subprocess.run(["unzip", "-q", str(archive), "-d", str(kit)], check=True)
        kit = kit / "quorvel"
        faults += check_links(kit)
        for name in documents:
            folder = Path(scratch, "empty-for-" + Path(name).stem)
            folder.mkdir()
            (folder / archive.name).symlink_to(archive)
            text = (kit / name).read_text(encoding="utf-8")
            found, count = run_commands(text, folder, environment)
            found += check_code(text, kit)
            faults += [f"{name}, {fault}" for fault in found]
            print(f"{name}: {count} commands")
            if count == 0:
                faults.append(f"{name}: no command was found")
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
