#!/usr/bin/env python3
"""An installed copy, moved after its installation, serves programs outside the tree."""
import os
import re
import shutil
import tempfile
import unittest
from pathlib import Path

from zutheader import BUILD, SOURCE, run

HERE = Path(__file__).resolve().parent
PROJECT = """cmake_minimum_required(VERSION 3.22)
project(consumer C CXX)
set(CMAKE_C_STANDARD 11)
set(CMAKE_CXX_STANDARD 20)
find_package(zut 1.0 REQUIRED)
add_executable(consumer_c consumer.c)
target_link_libraries(consumer_c zut::zut)
add_executable(consumer_cpp consumer.cpp)
target_link_libraries(consumer_cpp zut::zut)
"""


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = Path(tempfile.mkdtemp(prefix="zut-install-"))
        cls.addClassCleanup(shutil.rmtree, cls.scratch)
        run("cmake", "--install", BUILD, "--prefix", cls.scratch / "first")
        cls.prefix = cls.scratch / "moved here"
        (cls.scratch / "first").rename(cls.prefix)
        for name in "consumer.c", "consumer.cpp":
            shutil.copy(HERE / name, cls.scratch)

    def test_cmake_package(self):
        (self.scratch / "CMakeLists.txt").write_text(PROJECT)
        build = self.scratch / "build"
        run("cmake", "-G", "Ninja", "-S", self.scratch, "-B", build,
            f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run("cmake", "--build", build)
        for name in "consumer_c", "consumer_cpp":
            self.assertEqual(run(build / name), "NULL pointer\n")

    def test_pkg_config(self):
        # pkg-config's words are for a shell, which keeps the space in the path.
        environment = dict(os.environ, PKG_CONFIG_PATH=str(self.prefix / "lib" / "pkgconfig"))
        for compiler, source in ("cc -std=c11", "consumer.c"), ("c++ -std=c++20", "consumer.cpp"):
            run("sh", "-c", f"eval {compiler} -Wall -Werror {source} -o program"
                " $(pkg-config --cflags --libs zut)", cwd=self.scratch, env=environment)
            output = run(self.scratch / "program",
                         env={"LD_LIBRARY_PATH": str(self.prefix / "lib")})
            self.assertEqual(output, "NULL pointer\n")

    def test_only_what_is_meant_is_installed(self):
        files = {str(path.relative_to(self.prefix)) for path in self.prefix.rglob("*")
                 if path.is_file() and not path.is_symlink()}
        data = {f"share/zut/{path.relative_to(SOURCE / 'share')}"
                for path in (SOURCE / "share").rglob("*") if path.is_file()}
        self.assertLessEqual(data, files)
        outside = {name for name in files - data
                   if not name.startswith(("bin/zutsh", "include/zut", "lib/libzut.so.1",
                                           "lib/drivers/", "lib/cmake/zut/", "lib/pkgconfig/zut.pc"))}
        self.assertEqual(outside, set())

    def test_shell_finds_its_data(self):
        shell = self.prefix / "bin" / "zutsh"
        output = run(shell, "-n", "-c", "setopt trace_level info", env={}, cwd=self.scratch)
        self.assertEqual(output, "Option trace_level set to info.\n")
        output = run(shell, "-n", "-c", "setopt catalog_file", env={}, cwd=self.scratch)
        catalog = re.fullmatch(r'catalog_file "(.*)"\n', output).group(1)
        self.assertEqual(Path(catalog).resolve(),
                         self.prefix.resolve() / "share" / "zut" / "standard" / "orl_wl.cat")


if __name__ == "__main__":
    unittest.main()
