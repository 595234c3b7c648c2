import os
import subprocess

from support import CheckTest, TOOLS


class Gate(CheckTest):
    check = "check-self-contained"

    def setUp(self):
        super().setUp()
        self.write("a.txt", "nothing wrong\n")

    def assert_says(self, *words, **environment):
        command = [TOOLS / self.check, "--root", self.root]
        result = subprocess.run(command, capture_output=True, text=True, env=os.environ | environment)
        self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
        self.assertNotIn("Traceback", result.stderr)
        for word in words:
            self.assertIn(word, result.stderr)

    def test_says_why_git_refuses_and_what_to_do_when_the_checkout_belongs_to_somebody_else(self):
        subprocess.run(["git", "init", "--quiet", self.root], check=True)
        settings = {"GIT_CONFIG_GLOBAL": "/dev/null", "GIT_CONFIG_SYSTEM": "/dev/null"}
        command = f"git config --global --add safe.directory {self.root}"
        self.assert_says("dubious ownership", command, GIT_TEST_ASSUME_DIFFERENT_OWNER="1", **settings)

    def test_says_why_git_refuses_otherwise(self):
        self.write(".git", "no git file")
        self.assert_says(f"git does not list the files of {self.root}", "invalid gitfile format")
