#!/usr/bin/env python3
"""zut.dll and zutsh.exe from outside: what they export and what they need."""
import re
import unittest

from zutheader import BUILD, declared, run

# Part of every Windows; whatever else a program needs, it would have to ship.
SYSTEM = {"kernel32.dll", "msvcrt.dll", "ws2_32.dll", "advapi32.dll",
          "api-ms-win-core-synch-l1-2-0.dll"}


def dump(name):
    return run("i686-w64-mingw32-objdump", "-p", BUILD / "bin" / name)


class Dll(unittest.TestCase):
    def test_exports_the_header(self):
        names = dump("zut.dll").split("[Ordinal/Name Pointer] Table")[1].split("\n\n")[0]
        self.assertEqual(set(re.findall(r"\[\s*\d+\] (\S+)", names)), set(declared()))

    def test_needs_nothing_but_the_system(self):
        for name, own in ("zut.dll", set()), ("zutsh.exe", {"zut.dll"}):
            needed = {dll.lower() for dll in re.findall(r"DLL Name: (\S+)", dump(name))}
            self.assertLessEqual(own, needed)
            self.assertLessEqual(needed, SYSTEM | own, name)

    def test_is_a_32_bit_library_with_an_import_library(self):
        self.assertIn("pei-i386", dump("zut.dll"))
        self.assertTrue((BUILD / "lib" / "libzut.dll.a").exists())


if __name__ == "__main__":
    unittest.main()
