#!/usr/bin/env python3
"""The tests' share of the code: lines that are neither blank nor only a comment."""
import re
import subprocess
import sys
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
CODE = ("src", "include", "apps", "drivers", "examples")
LIMIT = 33  # per cent
NO_CODE = re.compile(r"\s*(//.*|#.*|\*.*|/\*.*)?$")


def lines(folder, kinds):
    files = subprocess.run(["git", "ls-files", folder], cwd=SOURCE, check=True,
                           capture_output=True, text=True).stdout.split()
    text = [line for name in files if Path(name).suffix in kinds
            for line in (SOURCE / name).read_text().splitlines()]
    comment = NO_CODE if kinds == {".py"} else re.compile(r"\s*(//.*|\*.*|/\*.*)?$")
    return sum(1 for line in text if not comment.match(line))


def main():
    sources = {".cpp", ".h", ".hpp", ".c", ".def"}
    code = sum(lines(folder, sources) for folder in CODE)
    tests = lines("tests", sources) + lines("tests", {".py"})
    share = 100 * tests / code
    print(f"tests: {tests} lines for {code} lines of code, {share:.1f} % (at most {LIMIT} %)")
    return share > LIMIT


if __name__ == "__main__":
    sys.exit(main())
