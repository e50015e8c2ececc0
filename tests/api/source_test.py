#!/usr/bin/env python3
"""The library's sources keep to the rules of docs/design.md that a program can check."""
import re
import unittest
from pathlib import PurePath

from zutheader import SOURCE

ROOT = SOURCE / "src"

SYSTEM_NAMES = re.compile(
    r"#\s*include\s*<(windows\.h|winsock2\.h|ws2tcpip\.h|process\.h|io\.h|direct\.h|unistd\.h"
    r"|pthread\.h|semaphore\.h|dirent\.h|dlfcn\.h|netdb\.h|fcntl\.h|poll\.h|pwd\.h|termios\.h"
    r"|sys/\w+\.h|netinet/\w+\.h|arpa/inet\.h|linux/\w+\.h)>"
    r"|\b(_WIN32|__WIN32__|__MINGW32__|__linux__|__unix__)\b")
# What allocates without the checked allocator, or needs exceptions.
FOREIGN = re.compile(
    r"#\s*include\s*<(string|vector|map|set|unordered_map|unordered_set|list|deque|queue|stack"
    r"|functional|memory|iostream|fstream|sstream|ostream|istream|filesystem|regex|thread|mutex"
    r"|shared_mutex|condition_variable|future|locale|format|any)>")
WORDS = re.compile(r"\b(try|catch|throw|malloc|calloc|realloc|free|getenv|dynamic_cast"
                   r"|sprintf|vsprintf|gets)\s*[({]")
ALLOWED_WORDS = {"base/memory.cpp": {"malloc", "calloc", "realloc", "free", "getenv"},
                 "base/env.cpp": {"getenv"}}


def sources():
    for path in sorted(ROOT.rglob("*")):
        if path.suffix in (".cpp", ".h", ".def"):
            yield PurePath(path.relative_to(ROOT)), path.read_text()


def code(text):
    """The text without comments and string literals."""
    return re.sub(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"', '""', text, flags=re.DOTALL)


class Sources(unittest.TestCase):
    def test_only_platform_knows_the_system(self):
        found = [f"{path}: {match.group(0)}" for path, text in sources()
                 if path.parts[0] != "platform" for match in SYSTEM_NAMES.finditer(text)]
        self.assertEqual(found, [])

    def test_memory_and_texts_go_through_the_checked_functions(self):
        found = []
        for path, text in sources():
            if path.parts[0] == "platform":
                continue
            found += [f"{path}: {match.group(0)}" for match in FOREIGN.finditer(text)]
            allowed = ALLOWED_WORDS.get(str(path), set())
            found += [f"{path}: {word}" for word in WORDS.findall(code(text))
                      if word not in allowed]
        self.assertEqual(found, [])

    def test_messages_have_the_severity_of_the_level_they_are_printed_at(self):
        texts = "".join(text for _, text in sources())
        letters = {name: letter for letter, name in re.findall(r"Z_MSG\(\d+, '(.)', (\w+)", texts)}
        used = re.findall(r"<Msg::(\w+)>\(\s*Z_TRACE_LEVEL_([^D])\w*", texts)
        self.assertGreater(len(used), 100)
        self.assertEqual([name for name, level in used if level != letters[name]], [])


if __name__ == "__main__":
    unittest.main()
