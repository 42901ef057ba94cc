# The build tree and the install tree have one shape, so that everything runs in place:
#   <root>/bin/spfctl
#   <root>/bin/win64/spf/<directory>/*.so
#   <root>/lib/*.so
# The host finds its root relative to its own library, which is why these are fixed names and not
# the platform's (possibly multi-arch) defaults.
set(SPF_BIN_DIR bin)
set(SPF_LIB_DIR lib)
set(SPF_SHARE_DIR share)
set(SPF_INCLUDE_DIR include)
set(SPF_RUNTIME_INCLUDE_DIR "${SPF_INCLUDE_DIR}/spf-runtime")
set(SPF_BUNDLE_ROOT "${SPF_BIN_DIR}/win64/spf")

set(SPF_TREE_ROOT "${PROJECT_BINARY_DIR}")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${SPF_TREE_ROOT}/${SPF_BIN_DIR}")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${SPF_TREE_ROOT}/${SPF_LIB_DIR}")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${SPF_TREE_ROOT}/${SPF_LIB_DIR}")

# Where all of it is installed below the prefix. Headers, texts and package files stay where compilers and shells look.
set(SPF_INSTALL_BASE "")
set(SPF_INSTALL_TEXT_LIB_DIR "${SPF_LIB_DIR}")
if(SPF_INSTALL_ROOT)
  cmake_path(SET SPF_INSTALL_BASE NORMALIZE "${SPF_INSTALL_ROOT}/")
  cmake_path(SET SPF_INSTALL_TEXT_LIB_DIR NORMALIZE "${SPF_INSTALL_ROOT}/..")
  string(REGEX REPLACE "/$" "" SPF_INSTALL_TEXT_LIB_DIR "${SPF_INSTALL_TEXT_LIB_DIR}")
endif()
set(SPF_INSTALL_BIN_DIR "${SPF_INSTALL_BASE}${SPF_BIN_DIR}")
set(SPF_INSTALL_LIB_DIR "${SPF_INSTALL_BASE}${SPF_LIB_DIR}")
set(SPF_INSTALL_BUNDLE_ROOT "${SPF_INSTALL_BASE}${SPF_BUNDLE_ROOT}")
set(SPF_PACKAGE_DIR "${SPF_INSTALL_TEXT_LIB_DIR}/cmake/spf-frameworksetup")
set(SPF_PKGCONFIG_DIR "${SPF_INSTALL_TEXT_LIB_DIR}/pkgconfig")
