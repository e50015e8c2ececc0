#!/usr/bin/env python3
"""Runs the built tests of each way and judges them by what they counted.

tools/run_tests.py [--seed N] [--only PATTERN] [--not-built WAY] [--without-win32 REASON] WAY...

Every case runs in a process and a directory of its own, in an order shuffled by the seed, so that
no case can depend on another. Exit codes alone are not believed: a case counts by its framework's
own summary, and one that did not run, or whose summary does not add up, is a failure.
"""
import argparse
import concurrent.futures
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
LIMIT = float(os.environ.get("ZUT_TEST_LIMIT", "150"))  # seconds for one case
SHOWN_LINES = 150  # of a failing case's output
BATCH = 12  # cases that share one start of the Windows programs' root
SCRIPTS = {"linux": ["header_test.py", "source_test.py", "floors_test.py", "install_test.py"],
           "win32": ["dll_test.py", "floors_test.py", "courier_test.py"]}
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


def execute(way, command, limit):
    """Runs a command in a directory of its own: its output, its exit code."""
    with tempfile.TemporaryDirectory(prefix="zut-test-", ignore_cleanup_errors=True) as scratch:
        process = subprocess.Popen(command, cwd=scratch, env=environment(scratch, way),
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, start_new_session=True)
        try:
            output, _ = process.communicate(timeout=limit)
            late = ""
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            output, _ = process.communicate()
            late = f"\nended after {limit:g} seconds\n"
    return output.decode(errors="replace").replace("\r", "") + late, process.returncode


class Job:
    """Some cases of one program, or a script: what it yields is (case, output, exit code)."""

    def __init__(self, way, program, cases, prefix):
        self.way, self.program, self.cases, self.prefix = way, program, cases, prefix

    def run(self):
        if not self.cases:
            yield "", *execute(self.way, self.prefix, LIMIT)
        elif self.way == "win32":
            yield from self.run_in_one_root()
        else:
            for case in self.cases:
                yield case, *execute(self.way, self.prefix + [f"--gtest_filter={case}"], LIMIT)

    def run_in_one_root(self):
        output, _ = execute(self.way, self.prefix + self.cases, LIMIT * len(self.cases))
        for case in self.cases:
            found = re.search(rf"^{re.escape(f'<<<{case}')}\n(.*?)^>>>(\d+)$", output, re.M | re.S)
            yield case, *((found[1], int(found[2])) if found else (output, 1))


# Runs each named case of a Windows program, in a directory of its own, between two marks. The
# server is started first: one that ends after its last client would refuse the next one.
WINDOWS_CASES = """program=$1 limit=$2
shift 2
wineserver -p
for name; do
  mkdir "case-$name" && cd "case-$name" || exit 1
  echo "<<<$name"
  code=0
  timeout -k 5 "$limit" wine "$program" "--gtest_filter=$name" </dev/null 2>&1 || code=$?
  printf '\n>>>%s\n' "$code"
  cd .. && rm -rf "case-$name"
done"""
WINDOWS_LISTS = """wineserver -p
for program; do echo "<<<$program"; wine "$program" --gtest_list_tests </dev/null; done"""


def cases_in(listing):
    """The names that a program lists as its own."""
    cases, suite = [], ""
    for line in listing.splitlines():
        name = line.split("#")[0].rstrip()
        if name.startswith("  "):
            cases.append(suite + name.strip())
        elif name.endswith("."):
            suite = name
    return [case for case in cases if ".DISABLED_" not in case]


def list_cases(way, wine, prefix, paths):
    """The cases of each program."""
    if way == "win32":
        output, _ = execute(way, [wine, "--shell", WINDOWS_LISTS, "lists", *paths], LIMIT)
        lists = dict(part.split("\n", 1) for part in output.split("<<<")[1:])
    else:
        lists = {path: execute(way, prefix + [path, "--gtest_list_tests"], LIMIT)[0]
                 for path in paths}
    cases = {path: cases_in(lists.get(path, "")) for path in paths}
    for path in paths:
        if not cases[path]:
            raise RuntimeError(f"{way} {path} lists no cases:\n{lists.get(path)}")
    return cases


def jobs_of(way, order, only):
    build = SOURCE / "build" / way
    wine = str(SOURCE / "tools" / "wine.sh")
    suffix = ".exe" if way == "win32" else ""
    prefix = fixed_addresses() if way == "tsan" else []
    programs = {str(build / "bin" / (name + suffix)): name
                for name in (build / "tests.txt").read_text().split()}
    size = BATCH if way == "win32" else 1
    jobs = []
    for path, cases in list_cases(way, wine, prefix, list(programs)).items():
        program = programs[path]
        command = ([wine, "--shell", WINDOWS_CASES, "cases", path, f"{LIMIT:g}"]
                   if way == "win32" else prefix + [path])
        cases = [case for case in cases if re.search(only, f"{program}.{case}")]
        order.shuffle(cases)
        jobs += [Job(way, program, cases[at:at + size], command)
                 for at in range(0, len(cases), size)]
    jobs += [Job(way, script, [], [sys.executable, str(SOURCE / "tests" / "api" / script)])
             for script in SCRIPTS.get(way, []) if re.search(only, script)]
    order.shuffle(jobs)
    return jobs


def run_way(way, order, only):
    total, programs = Counts(), {}

    def run(job):
        return job, list(job.run())

    with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
        try:
            jobs = jobs_of(way, order, only)
        except RuntimeError as error:
            print(error)
            return Counts(failed=1)
        for future in concurrent.futures.as_completed([pool.submit(run, job) for job in jobs]):
            job, results = future.result()
            for case, output, code in results:
                counts = judge(output, code)
                total.add(counts)
                programs.setdefault(job.program, Counts()).add(counts)
                if counts.failed:
                    print(f"---- {way} {job.program} {case}: exit code {code}")
                    print("\n".join(output.splitlines()[-SHOWN_LINES:]))
                    print("----", flush=True)
    for program, counts in sorted(programs.items()):
        print(f"{way:6} {program:20} {counts}")
    if total.passed + total.failed == 0:
        total.failed = 1
    return total


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--seed", type=int, default=random.randrange(100000))
    parser.add_argument("--only", default="", help="cases whose PROGRAM.SUITE.CASE matches")
    parser.add_argument("--not-built", action="append", default=[])
    parser.add_argument("--without-win32")
    parser.add_argument("ways", nargs="+")
    arguments = parser.parse_args()
    print(f"order: --seed {arguments.seed}", flush=True)
    ways = [way for way in arguments.ways if not (way == "win32" and arguments.without_win32)]
    results, seconds = {}, {}
    for way in ways:
        started = time.monotonic()
        results[way] = (Counts(failed=1) if way in arguments.not_built
                        else run_way(way, random.Random(arguments.seed), arguments.only))
        seconds[way] = time.monotonic() - started
    total = Counts()
    print()
    for way, counts in results.items():
        total.add(counts)
        print(f"{way:6} {counts} ({seconds[way]:.0f} s)" +
              (" (does not build)" if way in arguments.not_built else ""))
    if arguments.without_win32:
        print(f"win32  not run: {arguments.without_win32}")
        total.failed += os.environ.get("CI") == "true"
    print(total)
    return 1 if total.failed or not total.passed else 0


if __name__ == "__main__":
    sys.exit(main())
