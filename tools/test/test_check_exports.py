import subprocess

from support import CheckTest

SOURCE = """
#include <string>
#include <vector>
#define EXPORT __attribute__((visibility("default")))
namespace Lib {
EXPORT int first(std::string const& text) { return static_cast<int>(text.size()); }
struct EXPORT Thing { virtual ~Thing(); std::vector<int> values; };
Thing::~Thing() = default;
int hidden() { return 1; }
EXTRA
}
"""


class CheckExports(CheckTest):
    check = "check-exports"

    def setUp(self):
        super().setUp()
        self.write("cmake.txt")
        self.write("core/exports.txt")
        self.build("")
        self.assert_passes("--update", "lib.so")

    def build(self, extra):
        self.write("lib.cpp", SOURCE.replace("EXTRA", extra))
        command = ["g++", "-std=c++20", "-shared", "-fPIC", "-fvisibility=hidden", "lib.cpp", "-o", "lib.so"]
        subprocess.run(command, cwd=self.root, check=True)

    def test_lists_what_is_exported_and_nothing_that_compilers_emit_on_the_way(self):
        names = [line for line in (self.root / "core/exports.txt").read_text().splitlines() if line[0] != "#"]
        self.assertIn("Lib::first(std::string const&)", names)
        self.assertIn("Lib::Thing::~Thing()", names)
        self.assertFalse([name for name in names if "hidden" in name or "vector" in name])

    def test_accepts_the_library_that_the_list_was_made_from(self):
        self.assert_passes("lib.so")

    def test_refuses_a_name_that_is_not_in_the_list(self):
        self.build("EXPORT void second() {}")
        self.assert_complains("unexpected: Lib::second()", arguments=["lib.so"])

    def test_refuses_a_name_that_is_gone(self):
        listing = self.root / "core/exports.txt"
        number = len(listing.read_text().splitlines()) + 1
        listing.write_text(listing.read_text() + "Lib::gone()\n")
        self.assert_complains(f"core/exports.txt:{number}: missing: Lib::gone()", arguments=["lib.so"])

    def test_refuses_a_library_that_is_not_built(self):
        self.assert_complains("none.so is not built", arguments=["none.so"])
