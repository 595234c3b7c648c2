import subprocess

from support import CheckTest, TOOLS

PROJECT = f"""\
cmake_minimum_required(VERSION 3.25)
project(Small LANGUAGES CXX DESCRIPTION "small")
set(QUORVEL_VERSION 0.1.0)
include("{TOOLS.parent}/cmake/QuorvelInstall.cmake")
add_library(QuorvelCore SHARED core/Value.cpp)
set_target_properties(QuorvelCore PROPERTIES VERSION 0.1.0 SOVERSION 0)
target_include_directories(QuorvelCore PUBLIC $<INSTALL_INTERFACE:include>)
target_link_options(QuorvelCore PRIVATE -Wl,-z,nodelete)
quorvel_install_library(QuorvelCore FILE QuorvelCore HEADERS core/Quorvel)
add_executable(ctl core/ctl.cpp)
quorvel_install_program(ctl)
foreach(target IN ITEMS QuorvelCore ctl)
   set_target_properties(${{target}} PROPERTIES POSITION_INDEPENDENT_CODE ON)
   target_link_options(${{target}} PRIVATE $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie> -Wl,-z,relro -Wl,-z,now)
endforeach()
"""
README = """\
```cmake
find_package(QuorvelCore 0.1 REQUIRED)
add_executable(agent main.cpp)
target_link_libraries(agent PRIVATE QuorvelCore::QuorvelCore)
```
    c++ -std=c++20 main.cpp $(pkg-config --cflags --libs QuorvelCore) -o agent
"""
HEADER = "core/Quorvel/Core/Value.h"
CLIENT = "core/test/installed-client/main.cpp"


class CheckInstalled(CheckTest):
    check = "check-installed"

    def setUp(self):
        super().setUp()
        self.write("cmake/QuorvelBuild.cmake", "add_compile_options(-Wall -Wextra)\n")
        self.write("README.md", README)
        self.write(HEADER, "#pragma once\nint value();\n")
        self.write("core/Value.cpp", "int value() { return 7; }\n")
        self.write("core/ctl.cpp", "int main() {}\n")
        self.write(CLIENT, "#include <Quorvel/Core/Value.h>\nint main() { return value() - 7; }\n")
        self.build()

    def build(self, more="", project=PROJECT):
        self.write("CMakeLists.txt", project + more)
        for arguments in (["-B", "build/release"], ["--build", "build/release"]):
            subprocess.run(["cmake", *arguments], cwd=self.root, check=True, capture_output=True)

    def assert_refuses_link(self, option, *words):
        self.build(f"target_link_options(QuorvelCore PRIVATE {option})\n")
        self.assert_complains("lib/libQuorvelCore.so.0.1.0:", *words)

    def test_accepts_what_can_be_moved_and_used(self):
        self.assert_passes()

    def test_refuses_a_file_in_the_wrong_component(self):
        self.build('install(FILES README.md DESTINATION lib COMPONENT runtime)\n')
        self.assert_complains("component runtime: installs lib/README.md")

    def test_refuses_a_file_in_no_component(self):
        self.build("install(FILES README.md DESTINATION share/doc/small)\n")
        self.assert_complains("share/doc/small/README.md: is installed, but in none")

    def test_refuses_a_component_without_files(self):
        self.build(project=PROJECT.replace("quorvel_install_program(ctl)\n", ""))
        self.assert_complains("component tools: is empty")

    def test_refuses_headers_that_are_not_the_public_ones(self):
        self.write("core/inside/Inside.h", "#pragma once\n")
        self.build("install(DIRECTORY core/inside DESTINATION include COMPONENT development)\n")
        self.write("platform/low/Low/Low.h", "#pragma once\n")
        self.assert_complains("include/Low/Low.h: is a public header, and is not installed", complaints=2)
        self.assert_complains("include/inside/Inside.h: is installed, and is no public header", complaints=2)

    def test_refuses_texts_that_name_a_place(self):
        self.write(HEADER, f"#pragma once\nint value(); // {self.root}\n")
        self.assert_complains(f"include/Quorvel/Core/Value.h: names {self.root}")

    def test_refuses_libraries_that_are_not_linked_as_they_are_meant_to_be(self):
        self.assert_refuses_link("-Wl,-z,execstack", "executed")
        self.assert_refuses_link("-Wl,-z,lazy", "late")
        self.assert_refuses_link("-Wl,-z,norelro", "writable")
        self.build("set_target_properties(QuorvelCore PROPERTIES NO_SONAME ON)\n")
        self.assert_complains("lib/libQuorvelCore.so: its soname, none, is no link to it", complaints=2)
        self.build(project=PROJECT.replace(" -Wl,-z,nodelete", ""))
        self.assert_complains("lib/libQuorvelCore.so.0.1.0: can be unloaded")

    def test_refuses_a_program_at_a_fixed_address(self):
        self.build("set_target_properties(ctl PROPERTIES POSITION_INDEPENDENT_CODE OFF)\ntarget_link_options(ctl PRIVATE -no-pie)\n")
        self.assert_complains("bin/ctl: is linked to a fixed address")

    def test_refuses_an_interface_that_is_gone(self):
        self.write("core/Value.cpp", "int other() { return 7; }\n")
        self.build()
        for how in ("with CMake", "with pkg-config and g++", "with pkg-config and clang++"):
            self.assert_complains(how, "undefined reference", "value()", complaints=3)

    def test_refuses_a_client_that_finds_something_wrong(self):
        self.write(CLIENT, '#include <cstdio>\nint main() { std::puts("wrong: the value"); return 1; }\n')
        self.assert_complains("with CMake: agent ended with 1: wrong: the value", complaints=3)

    def test_refuses_a_header_that_leans_on_one_that_is_not_installed(self):
        self.write("core/src/Inside.h", "#pragma once\n")
        self.write("core/Quorvel/Core/Lean.h", '#pragma once\n#include <src/Inside.h>\n')
        self.assert_complains("headers", "src/Inside.h")

    def test_asks_for_the_lines_of_the_readme(self):
        self.write("README.md", README.replace("```cmake", "```"))
        result = self.run_check()
        self.assertEqual(result.returncode, 1)
        self.assertIn("README.md says no longer how", result.stderr)
