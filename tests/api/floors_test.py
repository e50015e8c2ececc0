#!/usr/bin/env python3
"""The floors of docs/design.md, held on the library's own objects: a symbol's user stands on the
floor of its definition or above, except where a port opens the floor upwards."""
import os
import re
import unittest

from zutheader import BUILD, SOURCE, run

ROOT = SOURCE / "src"
OBJECTS = BUILD / "CMakeFiles" / "zut.dir" / "src"
NM = os.environ.get("NM", "i686-w64-mingw32-nm" if BUILD.name == "win32" else "nm")

# The picture in the document, lowest first: a line a floor, its folders do not know each other.
PICTURE = re.search(r"^```floors\n(.*?)^```", (SOURCE / "docs" / "design.md").read_text(), re.M | re.S)
FLOORS = [line.split() for line in reversed(PICTURE.group(1).splitlines())]
# The headers of base/ that declare what a higher floor answers.
PORTS = ["report.h", "print.h", "stop.h", "setting.h", "socketlayer.h"]


def floor(name):
    """The row and the folder of a source file below src/."""
    folders = [(row, folder) for row, row_folders in enumerate(FLOORS) for folder in row_folders
               if name.startswith(folder + "/")]
    if not folders:
        raise AssertionError(f"{name} stands on no floor")
    return max(folders, key=lambda found: len(found[1]))


def may_use(user, used):
    (user_row, user_folder), (used_row, used_folder) = floor(user), floor(used)
    return used_row < user_row or used_folder == user_folder


def port_symbols():
    text = "".join((ROOT / "base" / header).read_text() for header in PORTS)
    code = re.sub(r"//.*", "", text)
    return (set(re.findall(r"^using ::(\w+);", code, re.M)) |
            set(re.findall(r"^(?!inline|template|constexpr)\w[\w :*]*?\b(ut\w+)\([^;{]*\);", code,
                           re.M)))


def objects():
    """(source file below src/, its object) for each source that is there today."""
    for path in sorted(OBJECTS.rglob("*.o*")):
        source = path.relative_to(OBJECTS).with_suffix("")
        if path.suffix in (".o", ".obj") and (ROOT / source).exists():
            yield str(source), path


def symbols():
    """What each source defines and what it needs, by its C++ name without arguments."""
    for source, path in objects():
        defined, needed = set(), set()
        for line in run(NM, "-C", "--format=posix", path).splitlines():
            found = re.match(r"(.+?) ([A-Za-z])(?: |$)", line)
            name, kind = found.group(1), found.group(2)
            name = re.sub(r"\(.*", "", name).lstrip("_")
            if kind == "U":
                needed.add(name)
            elif kind.isupper() and kind not in "VW":
                defined.add(name)
        yield source, defined, needed


class Floors(unittest.TestCase):
    def test_symbols_are_used_from_above(self):
        ports = port_symbols()
        self.assertIn("utReportNumber", ports)
        modules = list(symbols())
        self.assertGreater(len(modules), 80)
        owner = {name: source for source, defined, _ in modules for name in defined}
        upwards, edges, answered = [], 0, set()
        for source, _, needed in modules:
            for name in needed & owner.keys():
                edges += source != owner[name]
                if may_use(source, owner[name]):
                    continue
                if name in ports:
                    answered.add(name)
                else:
                    upwards.append(f"{source} uses {name} of {owner[name]}")
        self.assertEqual(sorted(upwards), [])
        self.assertGreater(edges, 500)
        self.assertEqual(sorted(ports - answered), [], "declared as ports and not needed as such")

    def test_headers_are_included_from_above(self):
        upwards = [f"{path.relative_to(ROOT)} includes {included}"
                   for path in sorted(ROOT.rglob("*")) if path.suffix in (".cpp", ".h")
                   for included in re.findall(r'#include "([^"]+/[^"]+)"', path.read_text())
                   if not may_use(str(path.relative_to(ROOT)), included)]
        self.assertEqual(upwards, [])


if __name__ == "__main__":
    unittest.main()
