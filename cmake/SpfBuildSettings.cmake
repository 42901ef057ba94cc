# Compiler settings shared by every target, applied through spf_target_defaults() and never globally,
# but for instrumentation, which has to reach everything that shares memory.
include_guard()
find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS log)
find_program(SPF_CCACHE ccache)
mark_as_advanced(SPF_CCACHE)
if(SPF_CCACHE AND PROJECT_IS_TOP_LEVEL AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # pch_defines,time_macros: precompiled headers and ccache agree only with this sloppiness.
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime "${SPF_CCACHE}")
endif()

if(PROJECT_IS_TOP_LEVEL)
  if(SPF_SANITIZE)
    add_compile_options(-fsanitize=${SPF_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${SPF_SANITIZE})
  endif()
  if(SPF_BUILD_FUZZERS)
    add_compile_options(-fsanitize=fuzzer-no-link)
  endif()
  if(SPF_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
  endif()
endif()

# The configurations that harden what they build. _FORTIFY_SOURCE works in optimised code only, and sanitizers check the
# same calls themselves.
set(SPF_HARDENED_CONFIGURATIONS)
foreach(configuration IN ITEMS Release RelWithDebInfo MinSizeRel)
  string(TOUPPER ${configuration} upper)
  if("${CMAKE_CXX_FLAGS_${upper}}" MATCHES "-O([1-9sgz]|fast)" AND NOT SPF_SANITIZE
     AND NOT "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${upper}}" MATCHES "-fsanitize=")
    list(APPEND SPF_HARDENED_CONFIGURATIONS ${configuration})
  endif()
endforeach()
list(JOIN SPF_HARDENED_CONFIGURATIONS "," SPF_HARDENED_CONFIGURATIONS)

# Stack protector, checked calls of the C library, and read-only relocations for one target of ours in release builds.
function(spf_harden target)
  if(NOT SPF_HARDENED_CONFIGURATIONS)
    return()
  endif()
  set(hardened "$<CONFIG:${SPF_HARDENED_CONFIGURATIONS}>")
  # Undefined first: some compilers define it by themselves.
  target_compile_options(${target} PRIVATE
    "$<${hardened}:-fstack-protector-strong;-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  target_link_options(${target} PRIVATE "$<${hardened}:LINKER:-z,relro,-z,now,-z,noexecstack>")
endfunction()

# The warnings that targets of ours are compiled with.
function(spf_warn target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    $<$<BOOL:${SPF_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()

# Language level, warnings, hidden visibility and hardening for one target of ours.
function(spf_target_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON
    BUILD_RPATH_USE_ORIGIN ON
    INSTALL_RPATH "$ORIGIN;$ORIGIN/../${SPF_LIB_DIR}"
    INSTALL_RPATH_USE_LINK_PATH ON)
  spf_warn(${target})
  spf_harden(${target})
endfunction()

# spf_join_sources(<target>): compiles the target's sources eight at a time, which takes little more than half as long as
# one by one, since they share what they include and the templates of it. Their local names must differ:
# spf_keep_apart(<file>...) takes those out that use each other's, or that replace functions of others. Both come after the
# target, in its folder.
function(spf_join_sources target)
  if(SPF_JOIN_SOURCES)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
    # g++ takes the files that are joined for headers, which unnamed namespaces do not belong in.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
  endif()
endfunction()

function(spf_keep_apart)
  set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# spf_precompile(<target> <standard|runtime>): lets a target of ours use precompiled headers, which are most of what the
# compiler reads for a small file: those of the standard library, or these with the runtime's and property trees. All
# targets share them, and so must have hidden visibility and position independent code. Sources include what they need
# all the same: other projects that add this one compile without.
function(spf_precompile target kind)
  if(NOT SPF_PRECOMPILE_HEADERS)
    return()
  endif()
  if(NOT TARGET spf_precompiled_${kind})
    spf_add_precompiled(${kind})
  endif()
  target_precompile_headers(${target} REUSE_FROM spf_precompiled_${kind})
endfunction()

function(spf_add_precompiled kind)
  set(headers
    <algorithm> <any> <atomic> <chrono> <condition_variable> <deque> <exception> <filesystem> <functional> <future> <list>
    <map> <memory> <mutex> <optional> <ostream> <set> <sstream> <stdexcept> <string> <string_view> <system_error> <thread>
    <tuple> <type_traits> <unordered_map> <utility> <variant> <vector>)
  if(kind STREQUAL "runtime")
    list(APPEND headers
      <cppmicroservices/AnyMap.h> <cppmicroservices/Bundle.h> <cppmicroservices/BundleContext.h>
      <cppmicroservices/ServiceReference.h> <cppmicroservices/ServiceRegistration.h>
      <cppmicroservices/cm/ConfigurationAdmin.hpp> <boost/property_tree/ptree.hpp>)
  endif()
  set(empty "${PROJECT_BINARY_DIR}/precompiled/${kind}.cpp")
  file(CONFIGURE OUTPUT "${empty}" CONTENT "")
  add_library(spf_precompiled_${kind} OBJECT "${empty}")
  spf_target_defaults(spf_precompiled_${kind})
  target_precompile_headers(spf_precompiled_${kind} PRIVATE ${headers})
  if(kind STREQUAL "runtime")
    target_link_libraries(spf_precompiled_${kind} PRIVATE spf::cppmicroservices)
    # Its definitions would have to be those of every target.
    target_include_directories(spf_precompiled_${kind} PRIVATE
      $<TARGET_PROPERTY:Boost::headers,INTERFACE_INCLUDE_DIRECTORIES>)
  endif()
endfunction()
