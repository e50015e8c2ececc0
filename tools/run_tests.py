#!/usr/bin/env python3
"""Runs the built tests of each way and judges them by what they counted.

tools/run_tests.py [--not-built WAY] [--without-win32 REASON] WAY...

Exit codes alone are not believed: a program counts by its framework's own summary, and one that
ran no test, or whose summary does not add up, is a failure.
"""
import argparse
import concurrent.futures
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
LIMIT = float(os.environ.get("ZUT_TEST_LIMIT", "150"))  # seconds for one program
SHOWN_LINES = 150  # of a failing program's output
SCRIPTS = {"linux": ["header_test.py", "source_test.py", "install_test.py"],
           "win32": ["dll_test.py", "courier_test.py"]}
SANITIZERS = {
    "ASAN_OPTIONS": "detect_leaks=1:strict_string_checks=1:check_initialization_order=1",
    "UBSAN_OPTIONS": "print_stacktrace=1:halt_on_error=1",
    "TSAN_OPTIONS": "halt_on_error=1:second_deadlock_stack=1",
}


class Counts:
    def __init__(self, passed=0, failed=0, skipped=0):
        self.passed, self.failed, self.skipped = passed, failed, skipped

    def add(self, other):
        self.passed += other.passed
        self.failed += other.failed
        self.skipped += other.skipped

    def __str__(self):
        text = f"{self.passed} passed, {self.failed} failed"
        return text + (f", {self.skipped} skipped" if self.skipped else "")


def number(pattern, text):
    found = re.findall(pattern, text, re.MULTILINE)
    return int(found[-1]) if found else 0


def judge(output, code):
    """The counts of one program's output; at least one failure unless all is well."""
    output = output.replace("\r", "")
    ran = number(r"^\[==========\] (\d+) tests? from .* ran\.", output)
    if ran:
        counts = Counts(number(r"^\[  PASSED  \] (\d+) tests?\.", output),
                        number(r"^\[  FAILED  \] (\d+) tests?, listed below", output),
                        number(r"^\[  SKIPPED \] (\d+) tests?, listed below", output))
    else:  # Python's unittest
        ran = number(r"^Ran (\d+) tests? in ", output)
        failed = number(r"failures=(\d+)", output) + number(r"errors=(\d+)", output)
        skipped = number(r"skipped=(\d+)", output)
        counts = Counts(ran - failed - skipped, failed, skipped)
    complete = ran > 0 and counts.passed + counts.failed + counts.skipped == ran
    if (not complete or code != 0) and counts.failed == 0:
        counts.failed = 1
    return counts


def environment(scratch, way):
    """The caller's, without what would change the library's behaviour."""
    kept = {name: value for name, value in os.environ.items()
            if not name.startswith("VN") and name not in ("EDITOR", "TMP", "TEMP")}
    kept.update(SANITIZERS)
    kept.update(HOME=str(scratch), TMPDIR=str(scratch), ZUT_SOURCE=str(SOURCE),
                ZUT_BUILD=str(SOURCE / "build" / way))
    if way == "win32":
        # Wine's root is found from these.
        kept["HOME"] = os.environ.get("HOME", "/root")
    return kept


def fixed_addresses():
    """A prefix that keeps the loader from placing things where the thread sanitizer cannot."""
    prefix = ["setarch", "-R"]
    works = shutil.which("setarch") and subprocess.run(prefix + ["true"], capture_output=True)
    return prefix if works and works.returncode == 0 else []


def run(way, name, command):
    started = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="zut-test-", ignore_cleanup_errors=True) as scratch:
        process = subprocess.Popen(command, cwd=scratch, env=environment(scratch, way),
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, start_new_session=True)
        try:
            output, _ = process.communicate(timeout=LIMIT)
            late = ""
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            output, _ = process.communicate()
            late = f"\nended after {LIMIT:g} seconds\n"
    output = output.decode(errors="replace") + late
    counts = judge(output, process.returncode)
    return name, counts, output, process.returncode, time.monotonic() - started


def commands(way):
    build = SOURCE / "build" / way
    before = {"tsan": fixed_addresses(), "win32": [str(SOURCE / "tools" / "wine.sh")]}.get(way, [])
    suffix = ".exe" if way == "win32" else ""
    for name in (build / "tests.txt").read_text().split():
        yield name, before + [str(build / "bin" / (name + suffix))]
    for script in SCRIPTS.get(way, []):
        yield script, [sys.executable, str(SOURCE / "tests" / "api" / script)]


def run_way(way):
    total = Counts()
    with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
        jobs = [pool.submit(run, way, name, command) for name, command in commands(way)]
        for job in concurrent.futures.as_completed(jobs):
            name, counts, output, code, seconds = job.result()
            total.add(counts)
            print(f"{way:6} {name:20} {counts} ({seconds:.1f} s)", flush=True)
            if counts.failed:
                print(f"---- {way} {name}: exit code {code}")
                print("\n".join(output.splitlines()[-SHOWN_LINES:]))
                print("----", flush=True)
    if total.passed + total.failed == 0:
        total.failed = 1
    return total


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--not-built", action="append", default=[])
    parser.add_argument("--without-win32")
    parser.add_argument("ways", nargs="+")
    arguments = parser.parse_args()
    ways = [way for way in arguments.ways if not (way == "win32" and arguments.without_win32)]
    results = {way: Counts(failed=1) if way in arguments.not_built else run_way(way)
               for way in ways}
    total = Counts()
    print()
    for way, counts in results.items():
        total.add(counts)
        print(f"{way:6} {counts}" + (" (does not build)" if way in arguments.not_built else ""))
    if arguments.without_win32:
        print(f"win32  not run: {arguments.without_win32}")
        total.failed += os.environ.get("CI") == "true"
    print(total)
    return 1 if total.failed or not total.passed else 0


if __name__ == "__main__":
    sys.exit(main())
