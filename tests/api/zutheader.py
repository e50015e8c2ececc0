"""What the header declares, for the tests of the header, the libraries and the sources."""
import os
import re
import subprocess
import tempfile
from pathlib import Path

SOURCE = Path(os.environ.get("ZUT_SOURCE", Path(__file__).resolve().parents[2]))
BUILD = Path(os.environ.get("ZUT_BUILD", SOURCE / "build" / "linux"))
INCLUDE = SOURCE / "include"
HEADERS = [INCLUDE / "zut.h"]


def run(*command, **options):
    """The command's standard output; its error output is the failure's text."""
    result = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                            **options)
    if result.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))}\n{result.stdout}{result.stderr}")
    return result.stdout


def declared():
    """Every operation, as the compiler reads the header: name -> (file, line)."""
    with tempfile.TemporaryDirectory() as scratch:
        listing = Path(scratch) / "prototypes"
        run("gcc", "-std=c11", "-fsyntax-only", "-aux-info", listing, f"-I{INCLUDE}",
            "-x", "c", INCLUDE / "zut.h")
        found = re.findall(r"^/\* (\S+):(\d+):\w+ \*/ extern .*?\b(Zut\w+) \(", listing.read_text(),
                           re.MULTILINE)
    return {name: (Path(file), int(line)) for file, line, name in found}
