import subprocess

from support import CheckTest

RULES = "tools/links.txt"
LIBRARY = "quorvel_library(X OUTPUT {} HEADERS X)\n"


class CheckLinks(CheckTest):
    check = "check-links"

    def setUp(self):
        super().setUp()
        self.write("platform/low/CMakeLists.txt", LIBRARY.format("Low"))
        self.write("core/CMakeLists.txt", LIBRARY.format("High"))
        self.write(RULES, "* : libc libstdc++ libgcc_s libm\nlibLow :\nlibHigh : libLow\n")
        self.build("Other")
        self.build("Low")
        self.build("High", "Low")

    def build(self, name, *needs):
        self.write(f"lib/{name}.cpp", f"int value{name}() {{ return 1; }}\n")
        command = ["g++", "-shared", "-fPIC", f"{name}.cpp", "-o", f"lib{name}.so", "-L.", "-Wl,--no-as-needed"]
        command += [f"-Wl,-soname,lib{name}.so.0", *(f"-l{other}" for other in needs)]
        subprocess.run(command, cwd=self.root / "lib", check=True)

    def run_check(self, *arguments):
        return super().run_check("--libraries", "lib", *arguments)

    def test_accepts_what_the_rules_permit(self):
        self.assert_passes()

    def test_refuses_a_library_that_is_not_permitted(self):
        self.build("High", "Low", "Other")
        self.assert_complains("lib/libHigh.so: needs libOther", f"{RULES}:3")

    def test_refuses_a_link_upwards(self):
        self.build("Low", "High")
        self.assert_complains("lib/libLow.so: needs libHigh", f"{RULES}:2")

    def test_refuses_a_library_that_is_not_built(self):
        (self.root / "lib/libLow.so").unlink()
        self.assert_complains(f"{RULES}:2: lib/libLow.so is not built")

    def test_refuses_a_library_without_a_rule(self):
        self.write("platform/new/CMakeLists.txt", LIBRARY.format("New"))
        self.assert_complains("platform/new/CMakeLists.txt:1:", "libNew")
