from support import CheckTest

EXCUSED = "tools/tests-mirror-excused.txt"


class CheckTestsMirror(CheckTest):
    check = "check-tests-mirror"

    def setUp(self):
        super().setUp()
        self.write(EXCUSED, "# reasons\n")
        self.write("core/Quorvel/Core/Memory/Info/Mount.cpp")
        self.write("core/test/Memory/Info/MountTest.cpp")
        self.write("platform/low/Low/Detail/L.cpp")
        self.write("platform/low/test/Detail/LTest.cpp")
        self.write("core/test/CMakeLists.txt", "quorvel_test(core-test SOURCES Memory/Info/MountTest.cpp)\n")
        self.write("platform/low/CMakeLists.txt", "quorvel_test(low-test\n   SOURCES\n      test/Detail/LTest.cpp)\n")

    def test_accepts_sources_with_their_tests(self):
        self.assert_passes()

    def test_refuses_a_source_of_the_core_whose_test_is_elsewhere(self):
        self.write("core/Quorvel/Core/Memory/Control/Chunk.cpp")
        self.write("core/test/ChunkTest.cpp")
        self.write("core/CMakeLists.txt", "quorvel_test(chunk-test SOURCES test/ChunkTest.cpp)\n")
        self.assert_complains("Control/Chunk.cpp:1:", "Write core/test/Memory/Control/ChunkTest.cpp")

    def test_refuses_a_platform_source_whose_test_is_in_another_library(self):
        self.write("platform/high/High/H.cpp")
        self.write("platform/low/test/HTest.cpp")
        self.write("platform/low/test/CMakeLists.txt", "quorvel_test(h-test SOURCES HTest.cpp)\n")
        self.assert_complains("platform/high/High/H.cpp:1:", "Write platform/high/test/HTest.cpp")

    def test_accepts_an_excused_source(self):
        self.write("platform/high/High/H.cpp")
        self.write(EXCUSED, "platform/high/High/H.cpp: one line, tested through L\n")
        self.assert_passes()

    def test_refuses_an_excuse_without_a_reason(self):
        self.write(EXCUSED, "platform/high/High/H.cpp:\n")
        result = self.run_check()
        self.assertEqual(result.returncode, 1)
        self.assertIn(f"{EXCUSED}:1: gives no reason", result.stderr)

    def test_refuses_an_excuse_for_a_source_that_has_a_test(self):
        self.write(EXCUSED, "platform/low/Low/Detail/L.cpp: no reason any more\n")
        self.assert_complains(f"{EXCUSED}:1:", "which has a test")

    def test_refuses_an_excuse_for_nothing(self):
        self.write(EXCUSED, "platform/low/Low/Gone.cpp: is gone\n")
        self.assert_complains(f"{EXCUSED}:1:", "which is no source file")

    def test_refuses_a_test_that_no_project_names(self):
        self.write("core/test/scenario/RestartTest.cpp")
        self.assert_complains("core/test/scenario/RestartTest.cpp:1: is never built")

    def test_refuses_a_test_that_only_a_comment_a_longer_name_or_another_project_names(self):
        self.write("core/test/ATest.cpp")
        self.write("core/test/CMakeLists.txt", "Memory/Info/MountTest.cpp other/ATest.cpp # ATest.cpp\n")
        self.write("platform/low/test/CMakeLists.txt", "ATest.cpp\n")
        self.assert_complains("core/test/ATest.cpp:1: is never built")
