# Builds a small project with spf_add_bundle and looks at the bundles that come out.
#   cmake -DMODULES=<folder of SpfAddBundle.cmake> -DFOLDER=<empty folder to work in> -P CheckAddBundle.cmake
cmake_minimum_required(VERSION 3.25)

set(source "${FOLDER}/source with blank")
set(build "${FOLDER}/build with blank")
file(REMOVE_RECURSE "${FOLDER}")

function(write_project)
  file(WRITE "${source}/code.cpp" "int answer() { return 42; }\n")
  file(WRITE "${source}/modules/SpfBundleInit.cpp.in" "int initialised() { return 1; }\n")
  file(COPY "${MODULES}/SpfAddBundle.cmake" DESTINATION "${source}/modules")
  file(WRITE "${source}/CMakeLists.txt" "
cmake_minimum_required(VERSION 3.25)
project(check LANGUAGES CXX)
add_library(runtime INTERFACE)
add_library(spf::cppmicroservices ALIAS runtime)
include(modules/SpfAddBundle.cmake)
spf_add_bundle(coded SYMBOLIC_NAME coded MANIFEST coded.json DIRECTORY some SOURCES code.cpp)
spf_add_bundle(data SYMBOLIC_NAME da.ta MANIFEST data.json OUTPUT_DIRECTORY out)
")
endfunction()

function(run expected_to_work)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(expected_to_work AND NOT result EQUAL 0)
    message(FATAL_ERROR "'${ARGN}' failed:\n${output}")
  elseif(NOT expected_to_work AND result EQUAL 0)
    message(FATAL_ERROR "'${ARGN}' should have failed:\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

function(expect_text_once file text)
  file(READ "${file}" content HEX)
  string(HEX "${text}" hex)
  string(REGEX MATCHALL "${hex}" matches "${content}")
  list(LENGTH matches count)
  if(NOT count EQUAL 1)
    message(FATAL_ERROR "${file} holds '${text}' ${count} times instead of once")
  endif()
endfunction()

set(configure "${CMAKE_COMMAND}" -G "${GENERATOR}" -S "${source}" -B "${build}")
set(build_it "${CMAKE_COMMAND}" --build "${build}")
set(coded "${build}/bin/win64/spf/some/libcoded.so")
set(data "${build}/out/data.zip")
string(ASCII 80 75 5 6 end_of_archive)

write_project()
file(WRITE "${source}/coded.json" "{\"bundle.symbolic_name\": \"coded\"}")
run(FALSE ${configure})
if(NOT output MATCHES "manifest" OR NOT output MATCHES "data\\.json")
  message(FATAL_ERROR "the missing manifest is not named:\n${output}")
endif()

file(WRITE "${source}/data.json" "{\"bundle.symbolic_name\": \"da.ta\"}")
run(TRUE ${configure})
run(TRUE ${build_it})
expect_text_once("${coded}" "${end_of_archive}")
expect_text_once("${data}" "${end_of_archive}")
file(SHA256 "${coded}" before)
file(SHA256 "${data}" data_before)

# Nothing changes, nothing is appended again.
run(TRUE ${build_it})
file(SHA256 "${coded}" unchanged)
if(NOT unchanged STREQUAL before)
  message(FATAL_ERROR "building again without a change changed ${coded}")
endif()

# Only the manifests change.
execute_process(COMMAND "${CMAKE_COMMAND}" -E sleep 1.1)  # for file systems that count in seconds
file(WRITE "${source}/coded.json" "{\"bundle.symbolic_name\": \"coded\", \"changed\": true}")
file(WRITE "${source}/data.json" "{\"bundle.symbolic_name\": \"da.ta\", \"changed\": true}")
run(TRUE ${build_it})
expect_text_once("${coded}" "${end_of_archive}")
file(SHA256 "${coded}" after)
file(SHA256 "${data}" data_after)
if(after STREQUAL before OR data_after STREQUAL data_before)
  message(FATAL_ERROR "a change of the manifest did not reach the bundles")
endif()

# What makes no sense is refused.
foreach(call
    "spf_add_bundle(bad SYMBOLIC_NAME not.a.name MANIFEST coded.json OUTPUT_DIRECTORY out SOURCES code.cpp)"
    "spf_add_bundle(bad SYMBOLIC_NAME ../up MANIFEST coded.json OUTPUT_DIRECTORY out)"
    "spf_add_bundle(bad SYMBOLIC_NAME bad MANIFEST coded.json)"
    "spf_add_bundle(bad SYMBOLIC_NAME bad OUTPUT_DIRECTORY out)"
    "spf_add_bundle(bad SYMBOLIC_NAME bad MANIFEST coded.json OUTPUT_DIRECTORY out UNKNOWN)")
  write_project()
  file(APPEND "${source}/CMakeLists.txt" "${call}\n")
  run(FALSE ${configure})
  if(NOT output MATCHES "spf_add_bundle\\(bad\\)")
    message(FATAL_ERROR "'${call}' is not refused by name:\n${output}")
  endif()
endforeach()
