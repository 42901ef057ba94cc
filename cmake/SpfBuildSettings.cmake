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

# Language level, warnings and hidden visibility for one target of ours.
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
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    $<$<BOOL:${SPF_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()
