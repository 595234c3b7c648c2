import subprocess

from support import CheckTest

PROGRAM = """
#include <cstdlib>

static volatile int plain = 0;

namespace {space} {{

[[gnu::noinline]] void knownName(long names, long rounds)
{{
   for (; rounds > 0; --rounds) {{
      for (long step = {steps}; step > 0; --step) {{
         plain = plain + 1;
      }}
   }}
}}

}}

int main(int, char** arguments)
{{
   {space}::knownName(std::atol(arguments[1]), std::atol(arguments[2]));
}}
"""


class CheckNameCost(CheckTest):
    check = "check-name-cost"

    def build(self, steps, space="Probe"):
        self.write("probe.cpp", PROGRAM.format(steps=steps, space=space))
        subprocess.run(["g++", "-std=c++20", "-O1", "probe.cpp", "-o", "probe"], cwd=self.root, check=True)

    def run_check(self, *arguments):
        return super().run_check("--program", "probe", *arguments)

    def test_accepts_what_hardly_grows(self):
        self.build("names > 10 ? 110 : 100")
        self.assertRegex(self.assert_passes(), r"known name: \d+\.\d among 10, \d+\.\d among 10000")

    def test_refuses_what_grows_with_the_names(self):
        self.build("names > 10 ? 140 : 100")
        self.assertIn("Look at how Catalog finds a name", self.run_check().stdout)
        self.assertEqual(self.run_check().returncode, 1)

    def test_refuses_a_program_of_which_nothing_is_counted(self):
        self.build("1", space="Elsewhere")
        self.assertIn("nothing was counted", self.run_check().stdout)

    def test_refuses_a_program_that_is_not_built(self):
        result = self.run_check()
        self.assertEqual(result.returncode, 1)
        self.assertIn("probe is not built", result.stdout)
