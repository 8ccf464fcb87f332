"""Holds the C# binding against the public header.

usage: check_binding.py SOURCE INCLUDES WINDOWS_COMPILER WINE

It compiles without a warning. Its records, enumerations and constants are laid out as a C program prints them of the header,
compiled for Windows. Every function is called with values that follow from its name and the position of the argument; a
native library made of the header's declarations, which stands in for Quorvel.dll, looks at each of them and gives values
back that follow in the same way.
"""
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

NUMBERS = {"int", "long", "unsigned int", "unsigned long", "HRESULT", "ECompareMethod"}
# Read by the library as well as written: the sizes of buffers, and the value that is left for a store without a service.
READ_TOO = {"entryIdSize", "storeIdSize", "local"}
PREFIX = r"""
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <wchar.h>
typedef struct { uint16_t vt, r1, r2, r3; void *value, *record; } VARIANT;
static char last[64], faults[4096];
const char* StandIn_Last(void) { return last; }
const char* StandIn_Faults(void) { return faults; }
static void expect(bool holds, const char* what) {
    if (!holds && strlen(faults) + strlen(what) + 2 < sizeof faults) strcat(strcat(faults, what), "\n");
}
static bool same_wide(const wchar_t* a, const wchar_t* b) {
    while (*a && *a == *b) ++a, ++b;
    return *a == *b;
}
static bool is_list(const TComparyProps* list) {
    const TComparyProp* p = list->lpProps;
    return list->n == 1 && same_wide(p->lpszKey, L"key \u00e9") && same_wide(p->lpszName, L"name \u20ac") && p->nReserved == 1 &&
           p->ulPropTag == 2 && !strcmp(p->lpszGuid, "guid") && p->nID == -3 && same_wide(p->lpszID, L"id") && p->nType == 4 &&
           p->nInterface == 5 && p->bCompare == 6 && p->nCompareMethod == 7 && p->nGroup == -8;
}
static bool is_definition(const TOriginalDefinition* d) {
    return d->nKind == 1 && d->nField == 2 && d->nFieldType == 3 && d->reserved[35] == 4 && d->lpszValue == (void*)5;
}
"""


def declarations(header):
    """(result, name, [(type, name)]) of each export, and the texts of records and enumerations."""
    text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
    functions = []
    for line in re.findall(r"^QUORVEL_API\s+([^;]+);", text, flags=re.M):
        result, name, arguments = re.fullmatch(r"(.*?)(\w+)\((.*)\)", re.sub(r"\s+", " ", line)).groups()
        listed = [] if arguments == "void" else [re.fullmatch(r"(.*?)\s?(\w+)", one.strip()).groups()
                                                 for one in arguments.split(",")]
        functions.append((result.strip(), name, listed))
    records = re.findall(r"typedef struct (\w+) \{(.*?)\} \1;", text, flags=re.S)
    enums = re.findall(r"typedef enum (\w+) \{(.*?)\} \1;", text, flags=re.S)
    return functions, records, enums


def pattern(name, position):
    """A number that no other argument has, negative when it is taken for signed."""
    value = 2166136261
    for byte in f"{name}.{position}".encode():
        value = (value ^ byte) * 16777619 % 2**32
    return value | 0x80000000


def argument_check(kind, name, function, position):
    """(type of the stand-in's parameter, statements that check it and give something back)."""
    value, label, a = pattern(function, position), f"{function}.{position}", f"a{position}"

    def expect(condition):
        return f'expect({condition}, "{label} ({kind})");'

    if kind in NUMBERS:
        return "uint32_t", expect(f"{a} == {value}u")
    if kind == "bool*":
        return "uint8_t*", f"*{a} = 1;"
    if kind.endswith("**"):
        return "uintptr_t*", f"*{a} = {value}u;"
    if kind in {"unsigned long*", "unsigned int*", "long*", "int*"}:
        return "uint32_t*", (expect(f"*{a} == {value ^ 1}u") if name in READ_TOO else "") + f" *{a} = {value}u;"
    if kind == "const unsigned int*":
        return "uint32_t*", expect(f"*{a} == {value}u")
    if kind == "SPropTagArray*":
        return "uint32_t*", expect(f"{a}[0] == 1 && {a}[1] == {value}u")
    if kind in {"const char*", "char*"}:
        back = f' strcpy({a}, "back");' if kind == "char*" else ""
        return "char*", expect(f'!strcmp({a}, "{label}")') + back
    if kind in {"const wchar_t*", "wchar_t*"}:
        back = f" memcpy({a}, L\"back\", 5 * sizeof(wchar_t));" if kind == "wchar_t*" else ""
        return "wchar_t*", expect(f'same_wide({a}, L"{label}")') + back
    if kind in {"const TComparyProps*", "TComparyProps*"}:
        return "TComparyProps*", expect(f"is_list({a})")
    if kind == "const TOriginalDefinition*":
        return "TOriginalDefinition*", expect(f"is_definition({a})")
    if kind == "VARIANT":
        return "VARIANT", expect(f"{a}.vt == 13 && (uintptr_t){a}.value == {value}u")
    assert kind.endswith("*") or re.fullmatch(r"H[A-Z]\w+", kind), f"{function}: no check for {kind}"
    return "uintptr_t", expect(f"{a} == {value}u")


def stand_in(functions, records):
    lines = ["#include <stdint.h>", "#include <wchar.h>"]
    for name, fields in records:
        lines.append(f"typedef struct {name} {{{fields}}} {name};")
    lines.append(PREFIX)
    for result, function, arguments in functions:
        parts = [argument_check(kind, name, function, i) for i, (kind, name) in enumerate(arguments)]
        kind = "void" if result == "void" else "uint32_t" if result in NUMBERS else "uintptr_t"
        listed = ", ".join(f"{part[0]} a{i}" for i, part in enumerate(parts)) or "void"
        lines.append(f"{kind} {function}({listed}) {{")
        lines.append(f'    strcpy(last, "{function}");')
        lines += [f"    {part[1]}" for part in parts]
        if kind != "void":
            lines.append(f"    return {pattern(function, 'result')}u;")
        lines.append("}")
    return "\n".join(lines) + "\n"


def layouts(records, enums):
    lines = ["#include <quorvel.h>", "#include <stdio.h>", "int main(void) {"]
    listed = [(name, name, re.findall(r"(\w+)(?:\[\d+\])?;", fields)) for name, fields in records]
    for name, shown, fields in listed + [("VARIANT", "TVariant", ["vt"])]:
        lines.append(f'printf("{shown} %u\\n", (unsigned)sizeof({name}));')
        lines += [f'printf("{shown}.{field} %u\\n", (unsigned)offsetof({name}, {field}));' for field in fields]
    for name, constants in enums:
        lines.append(f'printf("{name} %u\\n", (unsigned)sizeof({name}));')
        lines += [f'printf("{constant} %d\\n", (int){constant});' for constant in re.findall(r"(\w+)\s*=", constants)]
    return "\n".join([*lines, "return 0; }"]) + "\n"


def run(*command, **more):
    done = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **more)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}\nended with {done.returncode}:\n{done.stdout}")
    return done.stdout.replace("\r\n", "\n")


def main():
    source, includes, compiler, wine = Path(sys.argv[1]), sys.argv[2].split(":"), sys.argv[3], sys.argv[4]
    functions, records, enums = declarations(source / "include/quorvel.h")
    binding = source / "bindings/csharp"
    with tempfile.TemporaryDirectory(prefix="quorvel-csharp-") as scratch:
        work = Path(scratch)
        (work / "stand_in.c").write_text(stand_in(functions, records))
        run("gcc", "-shared", "-fPIC", "-fshort-wchar", "-w", "-o", work / "libQuorvel.so", work / "stand_in.c")
        (work / "layouts.c").write_text(layouts(records, enums))
        run(compiler, *(f"-I{folder}" for folder in includes), "-o", work / "layouts.exe", work / "layouts.c")
        run("mcs", "-warnaserror", "-warn:4", f"-out:{work / 'call.exe'}", binding / "Quorvel.cs",
            source / "tests/csharp/CallEverything.cs")
        run("mcs", "-warnaserror", "-warn:4", f"-out:{work / 'example.exe'}", binding / "Quorvel.cs", binding / "Duplicates.cs")
        wanted = sorted(run(wine, work / "layouts.exe").splitlines())
        called = run("mono", work / "call.exe", cwd=work, env={**os.environ, "LD_LIBRARY_PATH": str(work)}).splitlines()
    have = sorted(line[7:] for line in called if line.startswith("layout "))
    faults = [f"the header has {line}, the binding not" for line in wanted if line not in have]
    faults += [f"the binding has {line}, the header not" for line in have if line not in wanted]
    reached = [line[5:] for line in called if line.startswith("call ")]
    faults += [f"{name}: not reached by the binding" for _, name, _ in functions if name not in reached]
    faults += [line for line in called if not line.startswith(("call ", "layout "))]
    print("\n".join(faults) or f"{len(reached)} of {len(functions)} exports reached, {len(wanted)} layouts and constants equal")
    return 1 if faults or not reached else 0


if __name__ == "__main__":
    sys.exit(main())
