# Every option of the project, in one place. Inside another project only the libraries and the
# bundles are built unless the parent asks for more.

set(SPF_CPPMICROSERVICES auto CACHE STRING
    "Which CppMicroServices to build on: system (an installed one), bundled (runtime/), auto (system if found)")
set_property(CACHE SPF_CPPMICROSERVICES PROPERTY STRINGS auto system bundled)
if(NOT SPF_CPPMICROSERVICES MATCHES "^(auto|system|bundled)$")
  message(FATAL_ERROR "SPF_CPPMICROSERVICES is '${SPF_CPPMICROSERVICES}'; expected auto, system or bundled")
endif()

option(SPF_BUILD_TOOLS "Build the command line host spfctl" ${PROJECT_IS_TOP_LEVEL})
option(SPF_BUILD_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(SPF_BUILD_EXAMPLES "Build the examples" ${PROJECT_IS_TOP_LEVEL})
option(SPF_BUILD_BENCHMARKS "Build the benchmarks (needs Google Benchmark)" OFF)
option(SPF_BUILD_FUZZERS "Build the fuzzers of what reads foreign bytes (needs clang)" OFF)
option(SPF_INSTALL "Add install rules and the CMake package" ${PROJECT_IS_TOP_LEVEL})
set(SPF_SYSTEMD_UNIT_DIR lib/systemd/system CACHE STRING
    "Where the unit of spfctl for systemd is installed: absolute, or below the prefix")
set(SPF_INSTALL_ROOT "" CACHE STRING
    "Folder below the prefix that the installed tree lies in, without its headers, as packages of a distribution want it")
option(SPF_STRIP "Link bundles without their symbols, since they cannot be stripped once they are built" OFF)
option(SPF_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
option(SPF_PRECOMPILE_HEADERS "Precompile the headers that most files read" ${PROJECT_IS_TOP_LEVEL})
option(SPF_JOIN_SOURCES "Compile several sources of tests, tools and the embedded runtime at a time" OFF)
set(SPF_SANITIZE "" CACHE STRING "Sanitizers to compile everything with, as in -fsanitize=<value>")
option(SPF_COVERAGE "Compile everything for gcov" OFF)
