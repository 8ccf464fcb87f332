#!/usr/bin/python3
"""Writes a C++ source that holds the style and the script of the HTML report, with the hash by which the page permits the script.

usage: embed_page.py OUTPUT STYLE SCRIPT...
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
    output, style, *scripts = map(pathlib.Path, sys.argv[1:])
    script = b"".join(path.read_bytes() for path in scripts)
    lines = ['#include "host/page_files.h"', "namespace host {"]
    for name, data in (("Script", script), ("Style", style.read_bytes())):
        # Either would end the element, or begin what hides its end.
        for forbidden in (b"</", b"<!--"):
            if forbidden in data:
                sys.exit(f"the {name.lower()} of the page holds {forbidden.decode()}, which cannot stand in it")
        lines.append(f"static constexpr unsigned char k{name}Bytes[] = {literal(data)};")
        lines.append(f"const std::string_view kPage{name}(reinterpret_cast<const char*>(k{name}Bytes), sizeof k{name}Bytes);")
    digest = base64.b64encode(hashlib.sha256(script).digest()).decode()
    lines += [f'const std::string_view kPageScriptHash = "sha256-{digest}";', "}  // namespace host", ""]
    output.write_text("\n".join(lines), encoding="utf-8")


main()
