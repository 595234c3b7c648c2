from support import CheckTest

# Put together here, so that this file passes the check itself.
FAULTS = [
    "see spec" + ".md",
    "requirements" + ".md has it",
    "the decisions" + ".md",
    "in ../" + "shared/x",
    "as Part " + "2.1 says",
    "parts " + "1.3 and more",
    "R1.1" + "-03 holds",
    "R2" + "-17",
    "open: Q" + "-12",
    "in /wor" + "k/main",
    "'/roo" + "t/x'",
    "// TO" + "DO later",
    "FIX" + "ME",
    "// XX" + "X",
    "a HA" + "CK",
]
FINE = """\
in the framework/ folder, under ~/root/x; part 7.1 of 9, R100, mkstemp("/tmp/aXXXXXX"), specification.md,
IQ-120, the hackers' path
"""


class CheckSelfContained(CheckTest):
    check = "check-self-contained"

    def test_accepts_text_that_speaks_for_itself(self):
        self.write("README.md", FINE)
        self.assert_passes()

    def test_refuses_each_kind_of_fault_with_its_line(self):
        for fault in FAULTS:
            with self.subTest(fault):
                self.write("docs/a.md", f"fine\n{fault}\n")
                self.assert_complains("docs/a.md:2:")

    def test_leaves_built_and_binary_files_alone(self):
        self.write("README.md")
        self.write("build/log.txt", FAULTS[0])
        self.write("picture.bin", "\0" + FAULTS[0])
        self.assert_passes()

    def test_refuses_to_look_at_nothing(self):
        self.assert_complains("found nothing to look at")
