# How every library, test and benchmark of this repository is built. Included by each CMake project in it.
include_guard(GLOBAL)
include("${CMAKE_CURRENT_LIST_DIR}/QuorvelInstall.cmake")

set(QUORVEL_VERSION 0.1.0)
set(QUORVEL_SOVERSION 0)
# What is installed binds its symbols while it is loaded, after which nothing may write to its tables.
set(QUORVEL_LINK_OPTIONS -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

option(QUORVEL_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
option(QUORVEL_BUILD_TESTS "Build the tests" ON)
option(QUORVEL_PRECOMPILE_TEST_HEADERS "Read the test framework's headers once a program: half the time of compiling tests" OFF)
option(QUORVEL_BUILD_BENCHMARKS "Build the benchmarks" ON)
option(QUORVEL_BUILD_FUZZERS "Build the fuzzers; Clang alone, QUORVEL_SANITIZE has fuzzer-no-link" OFF)
set(QUORVEL_SANITIZE "" CACHE STRING "Value of -fsanitize= for everything that is built here, or empty")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
# Messages that name a source file name it from the top of the repository.
cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH quorvelTop)
add_compile_options(-fmacro-prefix-map=${quorvelTop}/=)
if(QUORVEL_WARNINGS_AS_ERRORS)
   add_compile_options(-Werror)
endif()
if(QUORVEL_SANITIZE)
   add_compile_options(-fsanitize=${QUORVEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
   add_link_options(-fsanitize=${QUORVEL_SANITIZE})
else()
   # A shared library names every library it needs. (Sanitizer run-times stay undefined until the executable is linked.)
   add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY>:-Wl,-z,defs>)
endif()

if(QUORVEL_BUILD_TESTS)
   enable_testing()
   find_package(GTest REQUIRED)
   include(GoogleTest)
   add_custom_target(thread-tests COMMENT "The test programs labelled threads") # all that the race detector needs
endif()
if(QUORVEL_BUILD_BENCHMARKS)
   find_package(benchmark REQUIRED)
   add_custom_target(benchmarks COMMENT "The benchmark programs")
   cmake_language(DEFER DIRECTORY "${CMAKE_SOURCE_DIR}" CALL quorvel_list_benchmarks) # once all are known
endif()
if(QUORVEL_BUILD_FUZZERS)
   add_custom_target(fuzzers COMMENT "The fuzzers")
   cmake_language(DEFER DIRECTORY "${CMAKE_SOURCE_DIR}" CALL quorvel_list_fuzzers)
endif()

# quorvel_library(<package> OUTPUT <file name without lib> HEADERS <folder of the public headers, relative>
#                 SOURCES <files> [DEPENDS <packages of this repository>] [LINKS <other public link libraries>]
#                 [PRIVATE_LINKS <libraries>] [FIND <packages that an installed user must find>])
# Makes the shared library <package>::<package> from the current folder and installs it with a CMake package and a pkg-config file
# of its own.
function(quorvel_library package)
   cmake_parse_arguments(arg "" "OUTPUT;HEADERS" "SOURCES;DEPENDS;LINKS;PRIVATE_LINKS;FIND" ${ARGN})
   add_library(${package} SHARED ${arg_SOURCES})
   add_library(${package}::${package} ALIAS ${package})
   set_target_properties(${package} PROPERTIES
      OUTPUT_NAME ${arg_OUTPUT} VERSION ${QUORVEL_VERSION} SOVERSION ${QUORVEL_SOVERSION} INSTALL_RPATH "$ORIGIN")
   target_compile_features(${package} PUBLIC cxx_std_20)
   target_include_directories(${package} PUBLIC
      $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
   # Type records and module descriptors of a library stay in use for as long as the process lives.
   target_link_options(${package} PRIVATE -Wl,-z,nodelete ${QUORVEL_LINK_OPTIONS})
   foreach(dependency IN LISTS arg_DEPENDS)
      target_link_libraries(${package} PUBLIC ${dependency}::${dependency})
   endforeach()
   target_link_libraries(${package} PUBLIC ${arg_LINKS} PRIVATE ${arg_PRIVATE_LINKS})

   quorvel_install_library(${package} FILE ${arg_OUTPUT} HEADERS ${arg_HEADERS} DEPENDS ${arg_DEPENDS} FIND ${arg_FIND})
endfunction()

# quorvel_program(<target> SOURCES <files> LINKS <libraries> [MANUAL <page of section 1>])
# A program that is installed, with its manual page.
function(quorvel_program target)
   cmake_parse_arguments(arg "" "MANUAL" "SOURCES;LINKS" ${ARGN})
   add_executable(${target} ${arg_SOURCES})
   target_link_libraries(${target} PRIVATE ${arg_LINKS})
   target_link_options(${target} PRIVATE -pie ${QUORVEL_LINK_OPTIONS})
   quorvel_install_program(${target} ${arg_MANUAL})
endfunction()

# quorvel_test(<target> SOURCES <files> LINKS <libraries> [LABELS <labels>] [DEFINITIONS <definitions>] [INCLUDES <folders>])
# One GoogleTest program; every test in it becomes a test of ctest. The label `threads` puts it under the race detector.
function(quorvel_test target)
   if(NOT QUORVEL_BUILD_TESTS)
      return()
   endif()
   cmake_parse_arguments(arg "" "" "SOURCES;LINKS;LABELS;DEFINITIONS;INCLUDES" ${ARGN})
   add_executable(${target} ${arg_SOURCES})
   target_link_libraries(${target} PRIVATE ${arg_LINKS} GTest::gmock GTest::gtest_main)
   target_compile_definitions(${target} PRIVATE ${arg_DEFINITIONS})
   target_include_directories(${target} PRIVATE ${arg_INCLUDES})
   list(LENGTH arg_SOURCES sources)
   if(QUORVEL_PRECOMPILE_TEST_HEADERS AND sources GREATER 2)
      target_precompile_headers(${target} PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
      # A library's own source in a test program needs none of it, and clang-tidy cannot read what GCC precompiled.
      foreach(source IN LISTS arg_SOURCES)
         get_filename_component(path "${source}" ABSOLUTE)
         if(NOT path MATCHES "/test/")
            set_source_files_properties("${source}" PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
         endif()
      endforeach()
   endif()
   if(NOT arg_LABELS)
      set(arg_LABELS unit)
   endif()
   if("threads" IN_LIST arg_LABELS)
      add_dependencies(thread-tests ${target})
   endif()
   gtest_discover_tests(${target} TEST_PREFIX "${target}." DISCOVERY_TIMEOUT 60
      PROPERTIES LABELS "${arg_LABELS}" TIMEOUT 300)
endfunction()

# quorvel_benchmark(<target> SOURCES <files> LINKS <libraries>)
# One Google Benchmark program, built with the target `benchmarks` too. scripts/bench runs all that benchmarks.txt in the
# build folder lists; with --smoke each runs for an instant.
function(quorvel_benchmark target)
   if(NOT QUORVEL_BUILD_BENCHMARKS)
      return()
   endif()
   cmake_parse_arguments(arg "" "" "SOURCES;LINKS" ${ARGN})
   add_executable(${target} ${arg_SOURCES})
   target_link_libraries(${target} PRIVATE ${arg_LINKS} benchmark::benchmark benchmark::benchmark_main)
   set_property(GLOBAL APPEND PROPERTY QUORVEL_BENCHMARKS ${target})
   add_dependencies(benchmarks ${target})
endfunction()

function(quorvel_list_benchmarks)
   get_property(targets GLOBAL PROPERTY QUORVEL_BENCHMARKS)
   list(TRANSFORM targets REPLACE "(.+)" "$<TARGET_FILE:\\1>\n" OUTPUT_VARIABLE lines)
   list(JOIN lines "" content)
   file(GENERATE OUTPUT "${CMAKE_BINARY_DIR}/benchmarks.txt" CONTENT "${content}")
endfunction()

# quorvel_fuzzer(<target> SOURCES <files> LINKS <libraries>)
# One libFuzzer program, built with the target `fuzzers` too. Its seeds are the files of fuzz/corpus/<target> below the
# current folder. scripts/fuzz runs all that fuzzers.txt in the build folder lists: on each line a program, a tab, its seeds.
function(quorvel_fuzzer target)
   if(NOT QUORVEL_BUILD_FUZZERS)
      return()
   endif()
   cmake_parse_arguments(arg "" "" "SOURCES;LINKS" ${ARGN})
   add_executable(${target} ${arg_SOURCES})
   target_link_libraries(${target} PRIVATE ${arg_LINKS})
   target_link_options(${target} PRIVATE -fsanitize=fuzzer)
   set_property(GLOBAL APPEND PROPERTY QUORVEL_FUZZERS
      "$<TARGET_FILE:${target}>\t${CMAKE_CURRENT_SOURCE_DIR}/fuzz/corpus/${target}")
   add_dependencies(fuzzers ${target})
endfunction()

function(quorvel_list_fuzzers)
   get_property(lines GLOBAL PROPERTY QUORVEL_FUZZERS)
   list(JOIN lines "\n" content)
   file(GENERATE OUTPUT "${CMAKE_BINARY_DIR}/fuzzers.txt" CONTENT "${content}\n")
endfunction()

# Names the package: as a target of this build where there is one, else as an installed one of any version, since a
# library that takes the place of one of ours counts its versions as it likes.
macro(quorvel_find package)
   if(NOT TARGET ${package}::${package})
      find_package(${package} REQUIRED)
   endif()
endmacro()
