"""The binaries of the kit. Each carries the version. The import library for Microsoft's linker has the descriptors that this
linker wants, and lld-link, which takes the same, makes a program of it that runs.

usage: check_binaries.py KIT VERSION COMPILER WINE DEFINITION_FILE
"""
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

PROGRAM = """
__declspec(dllimport) int Quorvel_GetCompatibleCode(void);
__declspec(dllimport) void __stdcall ExitProcess(unsigned int status);
void start(void) { ExitProcess((unsigned int)(40 + Quorvel_GetCompatibleCode())); }
"""


def run(*command, status=0):
    done = subprocess.run([str(word) for word in command], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    if done.returncode != status:
        sys.exit(f"{' '.join(map(str, command))} ended with {done.returncode} instead of {status}:\n{done.stdout}")
    return done.stdout


def main():
    kit, version, compiler, wine, definitions = Path(sys.argv[1]), *sys.argv[2:5], Path(sys.argv[5])
    for name in ("Quorvel.dll", "quorvel.exe", "qvmailbox.dll"):
        for entry in ("FileVersion", "ProductVersion"):
            # A resource's text: the entry's name, padded to four bytes, then its value.
            text = entry.encode("utf-16-le") + b"\0\0"
            if not re.search(re.escape(text) + b"(\0\0)?" + re.escape(f"{version}\0".encode("utf-16-le")), (kit / "bin" / name).read_bytes()):
                sys.exit(f"{name} has no {entry} {version}")
    library = kit / "lib/Quorvel.lib"
    symbols = set(re.findall(r"\w ([^ \n]+)$", run("llvm-nm", library), flags=re.M))
    exports = re.findall(r"^    (\w+)", definitions.read_text(), flags=re.M)
    wanted = ["__IMPORT_DESCRIPTOR_Quorvel", "__NULL_IMPORT_DESCRIPTOR", "\x7fQuorvel_NULL_THUNK_DATA"]
    wanted += [f"__imp_{name}" for name in exports]
    missing = [name for name in wanted if name not in symbols]
    if missing or not exports:
        sys.exit(f"{library} lacks {', '.join(map(repr, missing))}")
    with tempfile.TemporaryDirectory(prefix="quorvel-link-") as scratch:
        work = Path(scratch)
        (work / "program.c").write_text(PROGRAM)
        (work / "kernel32.def").write_text("LIBRARY kernel32.dll\nEXPORTS\nExitProcess\n")
        run("llvm-dlltool", "-m", "i386:x86-64", "-d", work / "kernel32.def", "-l", work / "kernel32.lib")
        run(compiler, "-c", "-ffreestanding", "-o", work / "program.obj", work / "program.c")
        run("lld-link", "/machine:x64", "/entry:start", "/subsystem:console", "/nodefaultlib", f"/out:{work / 'program.exe'}",
            work / "program.obj", library, work / "kernel32.lib")
        shutil.copy(kit / "bin/Quorvel.dll", work)
        run(wine, work / "program.exe", status=44)
        # The CMake package takes this library for that linker, and the other one for all others.
        for simulated, chosen in (("MSVC", "Quorvel.lib"), ("", "libQuorvel.dll.a")):
            (work / "CMakeLists.txt").write_text(
                "cmake_minimum_required(VERSION 3.20)\nproject(Choice NONE)\nset(CMAKE_SIZEOF_VOID_P 8)\n"
                f"set(CMAKE_C_SIMULATE_ID \"{simulated}\")\nfind_package(Quorvel REQUIRED)\n"
                "get_target_property(library Quorvel::Quorvel IMPORTED_IMPLIB)\nmessage(STATUS \"chosen ${library}\")\n")
            printed = run("cmake", "-S", work, "-B", work / f"build{simulated}", f"-DCMAKE_PREFIX_PATH={kit.resolve()}")
            if f"/lib/{chosen}\n" not in printed:
                sys.exit(f"the CMake package does not take {chosen}:\n{printed}")
    print(f"{len(exports)} exports with their descriptors, linked and run")


if __name__ == "__main__":
    main()
