#!/usr/bin/python3
"""Writes a C++ source that holds the script and the style of the HTML report, with the hash by which the page permits the script.

usage: embed_page.py SCRIPT STYLE OUTPUT
"""
import base64
import hashlib
import pathlib
import sys


def literal(data: bytes) -> str:
    """A character array's initialiser: no raw string, which has a greatest length."""
    rows = [", ".join(str(byte) for byte in data[at : at + 32]) for at in range(0, len(data), 32)]
    return "{\n" + ",\n".join(rows) + "}"


def main() -> None:
    script, style, output = map(pathlib.Path, sys.argv[1:])
    lines = ['#include "host/page_files.h"', "namespace host {"]
    for name, path in (("Script", script), ("Style", style)):
        data = path.read_bytes()
        # Either would end the element, or begin what hides its end.
        for forbidden in (b"</", b"<!--"):
            if forbidden in data:
                sys.exit(f"{path} holds {forbidden.decode()}, which cannot stand in a page")
        lines.append(f"static constexpr unsigned char k{name}Bytes[] = {literal(data)};")
        lines.append(f"const std::string_view kPage{name}(reinterpret_cast<const char*>(k{name}Bytes), sizeof k{name}Bytes);")
    digest = base64.b64encode(hashlib.sha256(script.read_bytes()).digest()).decode()
    lines += [f'const std::string_view kPageScriptHash = "sha256-{digest}";', "}  // namespace host", ""]
    output.write_text("\n".join(lines), encoding="utf-8")


main()
