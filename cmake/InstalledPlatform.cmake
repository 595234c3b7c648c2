# Builds platform/ and installs it into a prefix below the build folder, then builds core/ as an integrator would:
# alone, against the installed packages.
include(ExternalProject)
enable_testing()

set(prefix "${CMAKE_BINARY_DIR}/prefix")
set(settings
   -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE}
   -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}
   -DCMAKE_CXX_FLAGS_RELEASE=${CMAKE_CXX_FLAGS_RELEASE}
   -DCMAKE_INSTALL_PREFIX=${prefix}
   -DQUORVEL_WARNINGS_AS_ERRORS=${QUORVEL_WARNINGS_AS_ERRORS})

ExternalProject_Add(platform
   SOURCE_DIR "${CMAKE_SOURCE_DIR}/platform"
   BINARY_DIR "${CMAKE_BINARY_DIR}/platform"
   CMAKE_ARGS ${settings} -DQUORVEL_BUILD_TESTS=OFF -DQUORVEL_BUILD_BENCHMARKS=OFF
   BUILD_ALWAYS ON USES_TERMINAL_BUILD ON)
ExternalProject_Add(core
   DEPENDS platform
   SOURCE_DIR "${CMAKE_SOURCE_DIR}/core"
   BINARY_DIR "${CMAKE_BINARY_DIR}/core"
   CMAKE_ARGS ${settings} -DCMAKE_PREFIX_PATH=${prefix} -DQUORVEL_BUILD_BENCHMARKS=OFF
   BUILD_ALWAYS ON USES_TERMINAL_BUILD ON)

add_test(NAME core-against-installed-platform
   COMMAND ${CMAKE_CTEST_COMMAND} --test-dir "${CMAKE_BINARY_DIR}/core" --output-on-failure --parallel 2
           --no-tests=error)
