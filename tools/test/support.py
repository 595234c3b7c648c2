"""A small checkout below build/ for one test: write files into it, run a check on it, look at what it says."""

import pathlib
import shutil
import subprocess
import tempfile
import unittest

TOOLS = pathlib.Path(__file__).resolve().parent.parent


class CheckTest(unittest.TestCase):
    check = None  # name of the tool, set by each suite

    def setUp(self):
        scratch = TOOLS.parent / "build/tool-tests"
        scratch.mkdir(parents=True, exist_ok=True)
        self.root = pathlib.Path(tempfile.mkdtemp(dir=scratch))
        self.addCleanup(shutil.rmtree, self.root)

    def write(self, path, text=""):
        target = self.root / path
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(text)

    def run_check(self, *arguments):
        command = [TOOLS / self.check, "--root", self.root, *arguments]
        return subprocess.run(command, capture_output=True, text=True)

    def assert_passes(self, *arguments):
        result = self.run_check(*arguments)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        return result.stdout

    def assert_complains(self, *words, arguments=(), complaints=1):
        """The check fails, with so many complaints, and one line of them has all the words."""
        result = self.run_check(*arguments)
        self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
        lines = result.stdout.splitlines()
        self.assertEqual(len(lines), complaints, result.stdout)
        self.assertTrue(any(all(word in line for word in words) for line in lines), result.stdout)
