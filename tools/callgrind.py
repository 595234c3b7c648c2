"""Which instructions a program runs, counted by valgrind: numbers that no load of the machine changes."""

import collections
import os
import pathlib
import re
import subprocess
import sys
import tempfile

COST = re.compile(r"(0x[0-9a-f]+) \d+ (\d+)$")


def executed(command, space):
    """Runs a program. (object file, address in it) -> how often the instruction there ran in functions of that name space, and
    in what they call."""
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder) / "callgrind.out"
        command = [
            "valgrind", "--tool=callgrind", f"--callgrind-out-file={file}", "--dump-instr=yes", "--compress-strings=no",
            "--compress-pos=no", f"--toggle-collect={space}::*", *map(str, command),
        ]  # fmt: skip
        environment = {**os.environ, "LD_BIND_NOW": "1"}  # or the loader's work at the first call would be counted
        result = subprocess.run(command, capture_output=True, text=True, env=environment)
        if result.returncode != 0:
            sys.exit(f"{' '.join(command)} ended with status {result.returncode}:\n{result.stderr}")
        lines = file.read_text().splitlines()
    costs = collections.Counter()
    current, is_call = "", False
    for line in lines:
        if line.startswith("ob="):
            current = line[3:]
        elif line.startswith("calls="):
            is_call = True  # the next line is what the called function has cost, which stands there too
        elif match := COST.match(line):
            if not is_call:
                costs[current, int(match[1], 16)] += int(match[2])
            is_call = False
    return costs
