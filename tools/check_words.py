#!/usr/bin/env python3
"""Comments and documents in the field's terms: words that hide what is meant are listed by line."""
import re
import subprocess
import sys
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
VAGUE = re.compile(r"\b(nobody|somebody|foresee|foretell|meanwhile|is told|are told|who knows"
                   r"|doomed|the house|behind)\b", re.IGNORECASE)
COMMENT = re.compile(r"//(.*)|/\*(.*?)(\*/|$)|^\s*\*(.*)")
FOLDERS = ("src", "include", "apps", "drivers", "examples", "tests", "tools", "bench", "docs")


def prose(name, text):
    """(line number, words) of a document, or of the comments of a source."""
    for number, line in enumerate(text.splitlines(), 1):
        if name.endswith((".md", ".txt")):
            yield number, line
        elif name.endswith((".py", ".sh")) or name == "dev":
            if "#" in line:
                yield number, line[line.index("#"):]
        else:
            for found in COMMENT.finditer(line):
                yield number, found.group(0)


def main():
    names = subprocess.run(["git", "ls-files", *FOLDERS, "*.md", "dev"], cwd=SOURCE, check=True,
                           capture_output=True, text=True).stdout.split()
    found = 0
    for name in names:
        if not name.endswith((".cpp", ".h", ".hpp", ".c", ".def", ".md", ".py", ".sh", "dev")):
            continue
        if name == "tools/check_words.py":
            continue
        for number, words in prose(name, (SOURCE / name).read_text(errors="replace")):
            if VAGUE.search(words):
                found += 1
                print(f"{name}:{number}: {words.strip()}")
    return found > 0


if __name__ == "__main__":
    sys.exit(main())
