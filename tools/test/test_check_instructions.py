import subprocess

from support import CheckTest

PROGRAM = """
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string_view>

static bool hasThreads = false;
static volatile int plain = 0;
static std::atomic<int> atomic = 0;

[[gnu::noinline]] static void exchange() {{ atomic.exchange(1); }}

namespace {space} {{

[[gnu::noinline]] void pointerCopyAndDrop(unsigned long rounds)
{{
   for (; rounds > 0; --rounds) {{
      {body}
   }}
}}

}}

int main(int count, char** arguments)
{{
   if (count == 1) {{
      std::puts("{name}");
      return 0;
   }}
   hasThreads = std::string_view(arguments[2]) == "threads";
   exchange();
   {space}::pointerCopyAndDrop(std::strtoul(arguments[3], nullptr, 10));
}}
"""
RIGHT = "if (hasThreads) { ++atomic; --atomic; } else { plain = plain + 1; plain = plain - 1; }"


class CheckInstructions(CheckTest):
    check = "check-instructions"

    def build(self, body, space="Probe", name="pointerCopyAndDrop"):
        self.write("probe.cpp", PROGRAM.format(body=body, space=space, name=name))
        subprocess.run(["g++", "-std=c++20", "-O1", "probe.cpp", "-o", "probe"], cwd=self.root, check=True)

    def run_check(self, *arguments):
        return super().run_check("--program", "probe", *arguments)

    def assert_complains(self, *words, complaints=1):
        result = self.run_check()
        self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
        lines = [line for line in result.stdout.splitlines() if line.startswith("probe: ")]
        self.assertEqual(len(lines), complaints, result.stdout)
        self.assertTrue(any(all(word in line for word in words) for line in lines), result.stdout)

    def test_accepts_locking_only_with_threads_and_prints_what_an_operation_takes(self):
        self.build(RIGHT)
        output = self.assert_passes()
        self.assertRegex(output, r"pointerCopyAndDrop +\d+\.\d +\d+\.\d +2\.0\n")

    def test_refuses_the_prefix_lock_without_threads(self):
        self.build("++atomic; if (hasThreads) --atomic;")
        self.assert_complains("pointerCopyAndDrop: probe runs 'lock", "1000 times in 1000")

    def test_refuses_an_exchange_with_memory_in_a_called_function(self):
        self.build(RIGHT + " if (rounds == 7) exchange();")
        self.assert_complains("pointerCopyAndDrop: probe runs 'xchg", "1 times in 1000")

    def test_refuses_counting_without_locking_with_threads(self):
        self.build("plain = plain + 1; plain = plain - 1;")
        self.assert_complains("pointerCopyAndDrop: counts without locking")

    def test_refuses_locking_once_where_copy_and_drop_need_it_twice(self):
        self.build("if (hasThreads) ++atomic; else plain = plain + 1;")
        self.assert_complains("pointerCopyAndDrop: counts without locking")

    def test_refuses_a_program_of_which_nothing_is_counted(self):
        self.build(RIGHT, space="Elsewhere")
        self.assert_complains("is the function Probe::pointerCopyAndDrop there", complaints=3)

    def test_refuses_a_program_without_the_operation_that_must_lock(self):
        self.build(RIGHT, name="other")
        self.assert_complains("does not know pointerCopyAndDrop")

    def test_refuses_a_program_that_is_not_built(self):
        result = self.run_check()
        self.assertEqual(result.returncode, 1)
        self.assertIn("probe is not built", result.stdout)
