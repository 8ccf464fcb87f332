"""What the module exports is what its definition file lists and its header declares; it imports the system only.

usage: check_exports.py OBJDUMP MODULE DEFINITION_FILE HEADER
"""
import re
import subprocess
import sys
from pathlib import Path

# What every installation of the system has had for two decades.
SYSTEM = {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "shell32.dll", "user32.dll"}


def listed(definition_file):
    """Names of the EXPORTS section, without the targets of aliases."""
    text = re.sub(r";.*", "", definition_file.read_text()).split("EXPORTS", 1)[1]
    return [re.split(r"[\s=]", line.strip())[0] for line in text.splitlines() if line.strip()]


def declared(header):
    text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
    declarations = re.findall(r"^QUORVEL_API\s+([^;]+);", text, flags=re.M)
    return [re.match(r"[^(]*?(\w+)\s*\(", declaration).group(1) for declaration in declarations]


def main():
    objdump, module, definition_file, header = sys.argv[1:]
    dump = subprocess.run([objdump, "-p", module], capture_output=True, text=True, check=True).stdout
    exported = re.findall(r"^\t\[ *\d+\] (\S+)$", dump.split("[Ordinal/Name Pointer] Table", 1)[1], flags=re.M)
    imported = re.findall(r"DLL Name: (\S+)", dump)
    faults = []

    def compare(have, wanted, what):
        faults.extend(f"{name}: {what}" for name in sorted(set(wanted) - set(have)))

    in_file, in_header = listed(Path(definition_file)), declared(Path(header))
    compare(exported, in_file, "in the definition file, but not exported")
    compare(in_file, exported, "exported, but not in the definition file")
    compare(in_header, in_file, "exported, but not declared in the header")
    compare(in_file, in_header, "declared in the header, but not exported")
    for name in sorted({name for name in in_file + in_header if (in_file + in_header).count(name) > 2}):
        faults.append(f"{name}: listed or declared more than once")
    for name in exported:
        if not re.fullmatch(r"(Quorvel|Search|SimilarSearch|CmpMatrix|FCI|Appointment|Normalize)_\w+", name):
            faults.append(f"{name}: decorated, or of no family")
    for name in imported:
        if name.lower() not in SYSTEM:
            faults.append(f"{name}: imported, but no system library")
    if not exported or not imported:
        faults.append("the module's tables could not be read")
    print("\n".join(faults) or f"{len(exported)} exports, imports {', '.join(sorted(imported))}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
