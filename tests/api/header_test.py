#!/usr/bin/env python3
"""The public header by itself, and the shared library's exports against it."""
import itertools
import re
import unittest

from zutheader import BUILD, HEADERS, INCLUDE, declared, run

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wstrict-prototypes", "-Werror"]
SYSTEM_HEADERS = {"setjmp.h", "stdarg.h", "stddef.h", "stdint.h", "stdio.h"}
SHARED_COMMENT = 6  # declarations at most under one comment: a pair, or the forms of one operation


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

    def test_every_operation_is_documented(self):
        lines = {header.resolve(): header.read_text().splitlines() for header in HEADERS}
        bare = []
        for name, (file, number) in declared().items():
            shared = 0
            for line in reversed(lines[file.resolve()][:number - 1]):
                section = line.startswith("/* ---") and line.endswith("---- */")
                if line.startswith(("/*", " *")) and line.endswith("*/") and not section:
                    break
                shared += line.startswith("Z_EXPORT")
                if shared >= SHARED_COMMENT or not line or section:
                    bare.append(f"{name} ({file.name}:{number})")
                    break
        self.assertEqual(bare, [], "operations without a comment of their own")

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
