"""The check of what each part may see finds every kind of wrong include, and nothing in the tree as it is."""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
# file, line added to it, what is said of it
WRONG = (
    ("src/store/streams.cpp", '#include "items/CItemReader.h"', "includes items, which src/store does not use"),
    ("src/matrix/CCmpMatrix.h", '#  include "dupsearch/CItems.h"', "includes dupsearch, which src/matrix does not use"),
    ("src/base/text.h", '#include "log/CLog.h"', "includes log, which src/base does not use"),
    ("host/main.cpp", '#include "base/text.h"', "includes base, which host does not use"),
    ("mailbox/text.h", '#include "host/text.h"', "includes host, which mailbox does not use"),
    ("src/log/loose.h", "#include <string>\nextern int g_nLoose;  // in no namespace", "has no namespace logging"),
    ("src/log/CMakeLists.txt", "# DEPENDS store)", "log uses itself by way of others"),
)


def check(root):
    return subprocess.run([sys.executable, ROOT / "cmake/layers.py", root], capture_output=True, text=True, check=False)


class Layers(unittest.TestCase):
    def test_the_tree(self):
        done = check(ROOT)
        self.assertEqual((done.returncode, done.stdout), (0, "every part sees only what it uses, and has its own namespace\n"))

    def test_wrong_includes(self):
        for name, line, said in WRONG:
            with self.subTest(name), tempfile.TemporaryDirectory() as scratch:
                for folder in ("src", "host", "mailbox"):
                    shutil.copytree(ROOT / folder, pathlib.Path(scratch, folder))
                with pathlib.Path(scratch, name).open("a", encoding="utf-8") as file:
                    file.write(f"\n{line}\n")
                done = check(scratch)
                self.assertEqual(done.returncode, 1, "it was not found")
                self.assertIn(f"{name}: {said}", done.stdout)


if __name__ == "__main__":
    unittest.main()
