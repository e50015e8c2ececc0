#!/usr/bin/env python3
"""The public header by itself, and the shared library's exports against it."""
import itertools
import re
import unittest

from zutheader import BUILD, HEADERS, INCLUDE, declared, run

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wstrict-prototypes", "-Werror"]
SYSTEM_HEADERS = {"setjmp.h", "stdarg.h", "stddef.h", "stdint.h", "stdio.h"}
COMMENTED = 0.9  # of the operations, at least, have a comment directly above them


class Header(unittest.TestCase):
    def test_compiles_alone(self):
        languages = [("c", "c11"), ("c", "c17"), ("c++", "c++17"), ("c++", "c++20")]
        for compiler, (language, standard) in itertools.product(["gcc", "clang"], languages):
            warnings = [w for w in WARNINGS if language == "c" or w != "-Wstrict-prototypes"]
            with self.subTest(compiler=compiler, standard=standard):
                run(compiler, "-fsyntax-only", *warnings, f"-std={standard}", "-x", language,
                    "-include", INCLUDE / "zut.h", "/dev/null", f"-I{INCLUDE}")

    def test_includes_no_platform_header(self):
        for header in HEADERS:
            included = set(re.findall(r"#\s*include\s*<(.*?)>", header.read_text()))
            self.assertLessEqual(included, SYSTEM_HEADERS, header.name)

    def test_operations_have_a_comment_of_their_own(self):
        lines = {header.resolve(): header.read_text().splitlines() for header in HEADERS}
        bare = []
        for name, (file, number) in declared().items():
            before = number - 1
            while not lines[file.resolve()][before].startswith("Z_EXPORT"):
                before -= 1
            above = lines[file.resolve()][before - 1]
            if not above.endswith("*/") or above.startswith("/* ---"):
                bare.append(f"{name} ({file.name}:{number})")
        share = 1 - len(bare) / len(declared())
        self.assertGreaterEqual(share, COMMENTED, f"no comment directly above: {bare}")

    def test_index_names_every_family(self):
        text = HEADERS[0].read_text()
        index = set(re.findall(r"\bZut\w+", re.search(r"/\* The families.*?\*/", text, re.S)[0]))
        for section in re.split(r"^/\* ---- ", text, flags=re.M)[1:]:
            operations = re.findall(r"\bZ_CALL\s+(Zut\w+)\(", section)
            title = section[:section.index("--")].strip()
            self.assertTrue([name for name in operations if name.startswith(tuple(index))], title)

    def test_formats_are_checked_by_the_compiler(self):
        text = "".join(header.read_text() for header in HEADERS)
        for declaration in re.findall(r"^Z_EXPORT[^;]*\bconst char \*format\b[^;]*;", text, re.M):
            if "..." in declaration or "va_list" in declaration:
                self.assertIn("Z_PRINTF(", declaration)


class Exports(unittest.TestCase):
    def test_library_exports_the_header(self):
        listing = run("nm", "-D", "--defined-only", BUILD / "bin" / "libzut.so.1")
        exported = {line.split()[2] for line in listing.splitlines()}
        self.assertIn("ZUT_1", exported)
        self.assertEqual({name for name in exported if not name.endswith("@@ZUT_1")}, {"ZUT_1"})
        self.assertEqual({name.split("@")[0] for name in exported} - {"ZUT_1"}, set(declared()))


if __name__ == "__main__":
    unittest.main()
