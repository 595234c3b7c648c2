import json

from support import TOOLS, CheckTest

FAULT = "#include <string>\nbool isLong(std::string const text)\n{\n   return text.size() > 9;\n}\n"
FINE = "#include <string>\nbool isLong(std::string const& text)\n{\n   return text.size() > 9;\n}\n"


class CheckTidy(CheckTest):
    check = "check-tidy"

    def setUp(self):
        super().setUp()
        self.write(".clang-tidy", (TOOLS.parent / ".clang-tidy").read_text())

    def compile_commands(self, *names):
        entries = [
            {"directory": str(self.root), "file": name, "command": f"g++ -std=c++20 -c {name}"} for name in names
        ]
        self.write("build/dev/compile_commands.json", json.dumps(entries))

    def test_accepts_a_fine_source(self):
        self.write("core/a.cpp", FINE)
        self.compile_commands("core/a.cpp")
        self.assert_passes()

    def test_refuses_a_fault_with_file_and_line(self):
        self.write("core/a.cpp", FAULT)
        self.compile_commands("core/a.cpp")
        self.assert_complains("core/a.cpp:2:", "performance-unnecessary-value-param", complaints=2)

    def test_refuses_a_fault_in_a_header_of_ours(self):
        self.write("core/Quorvel/a.h", "inline " + FAULT.split("\n", 1)[1])
        self.write("core/a.cpp", '#include <string>\n#include "Quorvel/a.h"\n')
        self.compile_commands("core/a.cpp")
        self.assert_complains("core/Quorvel/a.h:1:", complaints=2)

    def test_leaves_tests_alone(self):
        self.write("core/a.cpp", FINE)
        self.write("core/test/aTest.cpp", FAULT)
        self.compile_commands("core/a.cpp", "core/test/aTest.cpp")
        self.assert_passes()

    def test_refuses_a_folder_that_is_not_configured(self):
        self.assert_complains("not configured")
