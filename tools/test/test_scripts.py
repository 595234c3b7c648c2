"""The scripts in a checkout of their own, with stand-ins for cmake, ctest and scripts/setup that write down how they are called."""

import os
import pathlib
import shutil
import subprocess

from support import CheckTest, TOOLS

STAND_IN = '#!/bin/sh\necho "${0##*/} $*" >>"$LOG"\n'


class Scripts(CheckTest):
    def setUp(self):
        super().setUp()
        shutil.copytree(TOOLS.parent / "scripts", self.root / "scripts")
        for path in ("scripts/setup", "bin/cmake", "bin/ctest"):
            self.program(path)

    def program(self, path, extra=""):
        self.write(path, STAND_IN + extra)
        (self.root / path).chmod(0o755)

    def run_script(self, name, *arguments, **settings):
        """Result and calls."""
        log = self.root / "log"
        log.write_text("")
        environment = {name: value for name, value in os.environ.items() if name != "QUORVEL_WARNINGS_AS_ERRORS"}
        environment |= {"LOG": str(log), "PATH": f"{self.root}/bin:{environment['PATH']}"} | settings
        command = [self.root / "scripts" / name, *arguments]
        result = subprocess.run(command, capture_output=True, text=True, env=environment)
        return result, [line for line in log.read_text().splitlines() if not line.startswith("setup")]

    def benchmarks(self, **programs):
        for name, extra in programs.items():
            self.program(f"build/release/bin/{name}", extra)
        names = "".join(f"{self.root}/build/release/bin/{name}\n" for name in programs)
        self.write("build/release/benchmarks.txt", names)

    def test_bench_runs_programs_that_list_something_and_skips_those_that_list_nothing(self):
        self.benchmarks(full="echo one\n", empty="")
        result, calls = self.run_script("bench")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("\n1 benchmark programs ran", result.stdout)
        self.assertEqual([call for call in calls if call.startswith("empty")], calls[-1:])

    def test_bench_fails_with_a_program_that_cannot_list_its_benchmarks(self):
        self.benchmarks(full="echo one\n", broken="echo no device >&2\nexit 3\n")
        result, _ = self.run_script("bench")
        self.assertEqual(result.returncode, 1)
        self.assertIn("broken", result.stderr)
        self.assertIn("status 3", result.stderr)
        self.assertIn("no device", result.stderr)

    def test_bench_fails_with_a_program_that_ends_badly(self):
        self.benchmarks(broken='echo one\n[ "$1" = --benchmark_list_tests ] || exit 4\n')
        result, _ = self.run_script("bench")
        self.assertEqual(result.returncode, 1)
        self.assertIn("status 4", result.stderr)

    def fuzzers(self, **programs):
        for name, extra in programs.items():
            self.program(f"build/fuzz/bin/{name}", extra)
        lines = "".join(f"{self.root}/build/fuzz/bin/{name}\t{self.root}/seeds/{name}\n" for name in programs)
        self.write("build/fuzz/fuzzers.txt", lines)

    def test_fuzz_runs_each_program_from_what_it_has_learnt_and_its_seeds(self):
        self.fuzzers(one="", other="")
        result, calls = self.run_script("fuzz", "--seconds=3")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("\n2 fuzzers ran and found nothing.", result.stdout)
        for name, call in zip(("one", "other"), calls[-2:]):
            self.assertIn(f"{name} -max_total_time=3 ", call)
            self.assertTrue(call.endswith(f" build/fuzz/corpus/{name} {self.root}/seeds/{name}"), call)

    def test_fuzz_runs_those_whose_name_matches(self):
        self.fuzzers(one="", other="")
        result, calls = self.run_script("fuzz", "oth")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertTrue(calls[-1].startswith("other -max_total_time=60 "), calls)
        self.assertFalse([call for call in calls if call.startswith("one")])

    def test_fuzz_fails_with_a_program_that_finds_something_and_where_no_name_matches(self):
        self.fuzzers(good="", bad="echo wrong >&2\nexit 77\n")
        result, _ = self.run_script("fuzz")
        self.assertEqual(result.returncode, 1)
        self.assertIn("wrong", result.stderr)
        self.assertIn("bad has found something", result.stderr)
        result, _ = self.run_script("fuzz", "none")
        self.assertEqual(result.returncode, 1)
        self.assertIn("no fuzzer's name matches 'none'", result.stderr)

    def test_check_ends_a_gate_whose_configuration_fails(self):
        self.program("bin/cmake", 'case "$1" in --preset) exit 5 ;; esac\n')
        for name in ("release", "exports", "links", "installed", "tidy", "asan", "tsan", "fuzz", "installed-platform"):
            with self.subTest(name):
                result, calls = self.run_script("check", name)
                self.assertEqual(result.returncode, 1)
                self.assertIn("1 of 1 gates failed", result.stdout)
                self.assertEqual(len(calls), 1, calls)

    def test_check_ends_a_gate_whose_build_fails(self):
        self.program("bin/cmake", 'case "$1" in --build) exit 5 ;; esac\n')
        for name in ("release", "asan", "tsan", "fuzz", "installed-platform"):
            with self.subTest(name):
                result, calls = self.run_script("check", name)
                self.assertEqual(result.returncode, 1)
                self.assertEqual(len(calls), 2, calls)

    def test_warnings_are_errors_in_check_and_where_the_environment_says_so(self):
        for expected, name, arguments, settings in (
            ("OFF", "test", [], {}),
            ("ON", "test", [], {"QUORVEL_WARNINGS_AS_ERRORS": "ON"}),
            ("ON", "check", ["asan"], {}),
            ("ON", "check", ["tsan"], {}),
        ):
            with self.subTest(name, settings=settings):
                _, calls = self.run_script(name, *arguments, **settings)
                self.assertIn(f"-DQUORVEL_WARNINGS_AS_ERRORS={expected}", calls[0])

    def test_the_run_of_a_submission_uses_one_setting_for_all(self):
        shutil.copytree(TOOLS.parent / ".ci", self.root / ".ci")
        self.program("scripts/check", 'echo "check $QUORVEL_WARNINGS_AS_ERRORS" >>"$LOG"\n')
        result, calls = self.run_script(pathlib.Path("../.ci/run"))
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("-DQUORVEL_WARNINGS_AS_ERRORS=ON", calls[0])
        self.assertEqual(calls[-1], "check ON")
