from support import CheckTest

STYLE = "BasedOnStyle: LLVM\nIndentWidth: 3\n"
TIDY = "int f() { return 1; }\n"
UNTIDY = "int f() {\n  return 1; }\n"


class Format(CheckTest):
    check = "format"

    def setUp(self):
        super().setUp()
        self.write(".clang-format", STYLE)
        self.write("core/a.cpp", TIDY)

    def test_accepts_formatted_files(self):
        self.assert_passes("--check")

    def test_refuses_and_leaves_an_unformatted_file(self):
        self.write("core/b.h", UNTIDY)
        self.assert_complains("core/b.h:1:", "Run scripts/format", arguments=["--check"])
        self.assertEqual((self.root / "core/b.h").read_text(), UNTIDY)

    def test_formats_without_check(self):
        self.write("core/b.h", UNTIDY)
        self.assert_passes()
        self.assertEqual((self.root / "core/b.h").read_text(), TIDY)

    def test_fails_where_the_style_cannot_be_read(self):
        self.write(".clang-format", "NoSuchKey: 1\n")
        result = self.run_check("--check")
        self.assertEqual(result.returncode, 1)
        self.assertIn("NoSuchKey", result.stdout)
