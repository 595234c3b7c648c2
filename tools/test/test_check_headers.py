from support import CheckTest


class CheckHeaders(CheckTest):
    check = "check-headers"

    def setUp(self):
        super().setUp()
        self.write("cmake/QuorvelBuild.cmake", "add_compile_options(-Wall -Wextra -Wshadow -Wconversion)\n")
        self.write("core/Quorvel/Core/A.h", "#pragma once\n#include <Low/L.h>\ninline Low::Number a() { return 1; }\n")
        self.write("platform/low/Low/L.h", "#pragma once\nnamespace Low { using Number = int; }\n")

    def test_accepts_headers_that_stand_alone(self):
        self.assert_passes()

    def test_refuses_a_header_that_leans_on_its_includer(self):
        self.write("core/Quorvel/Core/B.h", "#pragma once\ninline std::string b() { return {}; }\n")
        self.assert_complains("core/Quorvel/Core/B.h:1:", "with g++", complaints=2)
        self.assert_complains("core/Quorvel/Core/B.h:1:", "with clang++", complaints=2)

    def test_refuses_a_header_that_compiles_with_a_warning(self):
        self.write("platform/low/Low/M.h", "#pragma once\ninline short m(int x) { return x; }\n")
        self.assert_complains("platform/low/Low/M.h:1:", complaints=2)

    def test_leaves_private_headers_alone(self):
        self.write("platform/low/src/Private.h", "std::string s;\n")
        self.write("platform/low/test/Private.h", "std::string s;\n")
        self.assert_passes()

    def test_takes_the_public_folder_from_the_build_file(self):
        self.write("platform/small/CMakeLists.txt", "quorvel_library(small OUTPUT small\n   HEADERS small SOURCES a.cpp)\n")
        self.write("platform/small/small/S.h", "#pragma once\nstd::string s;\n")
        self.assert_complains("platform/small/small/S.h:1:", complaints=2)
